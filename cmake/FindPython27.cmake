# Finds Python 2.7 to embed, with its SIP: the target Python27::Python, and in
#   Python27_HOME  its home, the folder that has lib/python2.7
#   Python27_SIP   the generator of SIP 4
#
# It is looked for in the folder Python27_ROOT alone, by default the one of tools/setup-python. Its
# runtime library may have the name python27klt, under which a host ships a Python of its own; that
# one goes before the platform's.

set(KELMUTILS_OWN_PYTHON "${PROJECT_SOURCE_DIR}/build/deps/python27")
if(WIN32)
    string(APPEND KELMUTILS_OWN_PYTHON "-windows")
elseif(KELMUTILS_PORT)
    string(APPEND KELMUTILS_OWN_PYTHON "-${KELMUTILS_PORT}")
endif()
set(Python27_ROOT "${KELMUTILS_OWN_PYTHON}"
    CACHE PATH "Folder of the Python 2.7 to embed")

find_path(Python27_INCLUDE_DIR Python.h
    PATHS "${Python27_ROOT}" PATH_SUFFIXES include/python2.7 include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_path(Python27_SIP_INCLUDE_DIR sip.h
    PATHS "${Python27_ROOT}" PATH_SUFFIXES include/python2.7 include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_library(Python27_LIBRARY NAMES python27klt python2.7 python27
    PATHS "${Python27_ROOT}" PATH_SUFFIXES "lib/${CMAKE_LIBRARY_ARCHITECTURE}" lib libs
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_program(Python27_SIP sip HINTS "${PROJECT_SOURCE_DIR}/build/deps/python27/bin")
mark_as_advanced(
    Python27_INCLUDE_DIR Python27_SIP_INCLUDE_DIR Python27_LIBRARY Python27_SIP)

if(Python27_INCLUDE_DIR)
    file(STRINGS "${Python27_INCLUDE_DIR}/patchlevel.h" line REGEX "define PY_VERSION ")
    string(REGEX MATCH "[0-9.]+" Python27_VERSION "${line}")
endif()
set(Python27_HOME "${Python27_ROOT}")

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Python27
    REQUIRED_VARS
        Python27_LIBRARY Python27_INCLUDE_DIR Python27_SIP_INCLUDE_DIR Python27_SIP
    VERSION_VAR Python27_VERSION
    HANDLE_VERSION_RANGE
    REASON_FAILURE_MESSAGE "tools/setup makes one, and -DKELMUTILS_SCRIPTING=OFF builds without."
)

if(Python27_FOUND AND NOT TARGET Python27::Python)
    add_library(Python27::Python SHARED IMPORTED)
    if(WIN32)
        set_target_properties(Python27::Python PROPERTIES IMPORTED_IMPLIB "${Python27_LIBRARY}")
    else()
        set_target_properties(Python27::Python PROPERTIES IMPORTED_LOCATION "${Python27_LIBRARY}")
    endif()
    # Debian's headers include one of a folder for each architecture, from the folder above.
    target_include_directories(Python27::Python INTERFACE
        "${Python27_INCLUDE_DIR}" "${Python27_INCLUDE_DIR}/.." "${Python27_SIP_INCLUDE_DIR}")
endif()
