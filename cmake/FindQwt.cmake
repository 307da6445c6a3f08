# Finds Qwt, the library for plots, for Qt 5: the target Qwt::Qwt.

find_path(Qwt_INCLUDE_DIR qwt_plot.h PATH_SUFFIXES qwt-qt5 qwt)
find_library(Qwt_LIBRARY NAMES qwt-qt5 qwt)
mark_as_advanced(Qwt_INCLUDE_DIR Qwt_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Qwt REQUIRED_VARS Qwt_LIBRARY Qwt_INCLUDE_DIR)

if(Qwt_FOUND AND NOT TARGET Qwt::Qwt)
    add_library(Qwt::Qwt UNKNOWN IMPORTED)
    set_target_properties(Qwt::Qwt PROPERTIES
        IMPORTED_LOCATION "${Qwt_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${Qwt_INCLUDE_DIR}"
    )
    if(WIN32) # its headers import from the DLL then
        set_target_properties(Qwt::Qwt PROPERTIES INTERFACE_COMPILE_DEFINITIONS QWT_DLL)
    endif()
endif()
