# What `cmake --install` puts below the prefix: the library, its headers, its texts, the private
# Python, and the descriptions by which CMake and pkg-config find them. The components are those
# that become packages.

include(CMakePackageConfigHelpers)

install(TARGETS KelmUtils EXPORT KelmUtilsTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Library
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Library
        NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
)
install(DIRECTORY data utils
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/KelmUtils" COMPONENT Development
    FILES_MATCHING PATTERN "*.h" PATTERN "*_p.h" EXCLUDE PATTERN "platform" EXCLUDE
    PATTERN "base" EXCLUDE PATTERN "catalogue" EXCLUDE
)
if(KELMUTILS_SCRIPTING)
    install(DIRECTORY bindings
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/KelmUtils" COMPONENT Development
        FILES_MATCHING
        PATTERN "*.sip" PATTERN "*.pyi" PATTERN "Modules.h" PATTERN "Restart.h"
    )
endif()
install(DIRECTORY res/locale DESTINATION "${KELMUTILS_RES_DIR}" COMPONENT Library)

if(KELMUTILS_SCRIPTING AND NOT CMAKE_INSTALL_RPATH)
    set_target_properties(KelmUtils PROPERTIES INSTALL_RPATH "${KELMUTILS_PYTHON_RPATH}")
endif()
if(KELMUTILS_INSTALL_PYTHON AND WIN32)
    # The DLL beside those that need it. Without what is for building and testing Python itself,
    # packages for modules that are not there, and compiled files: those tell the time of their source,
    # which an archive does not keep exactly.
    install(FILES "${Python27_HOME}/python27.dll"
        DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Python
    )
    install(DIRECTORY "${Python27_HOME}/DLLs" "${Python27_HOME}/Lib"
        DESTINATION "${KELMUTILS_PYTHON_DIR}" COMPONENT Python
        PATTERN "*.pyc" EXCLUDE
        REGEX "/Lib/(bsddb|ctypes|curses|distutils|ensurepip|msilib|sqlite3)$" EXCLUDE
        REGEX "/(test|tests)$" EXCLUDE
    )
    install(DIRECTORY "${Python27_HOME}/share/doc/"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/KelmUtils" COMPONENT Python
    )
    # For hosts that add modules of their own.
    install(DIRECTORY "${Python27_HOME}/include" "${Python27_HOME}/libs"
        DESTINATION "${KELMUTILS_PYTHON_DIR}" COMPONENT Development
    )
elseif(KELMUTILS_INSTALL_PYTHON)
    # Without what is for building and testing Python itself.
    install(DIRECTORY "${Python27_HOME}/lib/python2.7"
        DESTINATION "${KELMUTILS_PYTHON_DIR}/lib" COMPONENT Python USE_SOURCE_PERMISSIONS
        PATTERN "_ctypes_test.*" EXCLUDE
        PATTERN "_testcapi.*" EXCLUDE
        PATTERN "ensurepip" EXCLUDE
        REGEX "/python2.7/test$" EXCLUDE
    )
    install(DIRECTORY "${Python27_HOME}/${KELMUTILS_PYTHON_LIBDIR}/"
        DESTINATION "${KELMUTILS_PYTHON_DIR}/${KELMUTILS_PYTHON_LIBDIR}" COMPONENT Python
        USE_SOURCE_PERMISSIONS
        FILES_MATCHING PATTERN "lib*.so.*" PATTERN "engines-*" EXCLUDE
    )
    install(DIRECTORY "${Python27_HOME}/share/doc"
        DESTINATION "${KELMUTILS_PYTHON_DIR}/share" COMPONENT Python
        FILES_MATCHING
        PATTERN "copyright" PATTERN "LICENSE*"
        REGEX "/(libpython2.7|libpython2.7-dev|libpython2.7-stdlib|python2.7-minimal|sip-dev)$" EXCLUDE
    )
    # For hosts that add modules of their own.
    install(DIRECTORY "${Python27_HOME}/include"
        DESTINATION "${KELMUTILS_PYTHON_DIR}" COMPONENT Development
    )
    install(DIRECTORY "${Python27_HOME}/${KELMUTILS_PYTHON_LIBDIR}/"
        DESTINATION "${KELMUTILS_PYTHON_DIR}/${KELMUTILS_PYTHON_LIBDIR}" COMPONENT Development
        FILES_MATCHING PATTERN "lib*.so" PATTERN "engines-*" EXCLUDE
    )
endif()

install(EXPORT KelmUtilsTargets
    NAMESPACE Kelm:: DESTINATION "${KELMUTILS_PACKAGE_DIR}" COMPONENT Development)

set(path_vars KELMUTILS_RES_DIR)
if(KELMUTILS_SCRIPTING)
    list(APPEND path_vars KELMUTILS_PYTHON_DIR)
endif()
configure_package_config_file(cmake/KelmUtilsConfig.cmake.in KelmUtilsConfig.cmake
    INSTALL_DESTINATION "${KELMUTILS_PACKAGE_DIR}"
    PATH_VARS ${path_vars}
    NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(KelmUtilsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/KelmUtilsConfig.cmake"
    "${PROJECT_BINARY_DIR}/KelmUtilsConfigVersion.cmake"
    DESTINATION "${KELMUTILS_PACKAGE_DIR}" COMPONENT Development
)

# The .pc file finds its prefix from where it lies, so that an installed tree may be moved, unless
# the library goes to a folder of its own choice.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}"
    OR IS_ABSOLUTE "${CMAKE_INSTALL_DATADIR}")
    set(KELMUTILS_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH KELMUTILS_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" KELMUTILS_PC_PREFIX "\${pcfiledir}/${KELMUTILS_PC_PREFIX}")
endif()
# kelm_pc_path(VARIABLE path): \p path as the .pc file writes it.
function(kelm_pc_path variable path)
    if(NOT path STREQUAL "" AND NOT IS_ABSOLUTE "${path}")
        set(path "\${prefix}/${path}")
    endif()
    set(${variable} "${path}" PARENT_SCOPE)
endfunction()
kelm_pc_path(KELMUTILS_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
kelm_pc_path(KELMUTILS_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
kelm_pc_path(KELMUTILS_PC_RESDIR "${KELMUTILS_RES_DIR}")
kelm_pc_path(KELMUTILS_PC_PYTHONHOME "${KELMUTILS_PYTHON_DIR}")
configure_file(cmake/KelmUtils.pc.in KelmUtils.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/KelmUtils.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Development)
