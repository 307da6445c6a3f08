# What `cmake --install` puts below the prefix: the library, its headers, its texts, and the
# descriptions by which CMake and pkg-config find them.

include(CMakePackageConfigHelpers)

set(KELMUTILS_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/KelmUtils")
set(KELMUTILS_RES_DIR "${CMAKE_INSTALL_DATADIR}/KelmUtils/res")

install(TARGETS KelmUtils EXPORT KelmUtilsTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
)
install(DIRECTORY data utils
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/KelmUtils"
    FILES_MATCHING PATTERN "*.h" PATTERN "*_p.h" EXCLUDE PATTERN "platform" EXCLUDE
)
install(DIRECTORY res/locale DESTINATION "${KELMUTILS_RES_DIR}")
install(EXPORT KelmUtilsTargets NAMESPACE Kelm:: DESTINATION "${KELMUTILS_PACKAGE_DIR}")

configure_package_config_file(cmake/KelmUtilsConfig.cmake.in KelmUtilsConfig.cmake
    INSTALL_DESTINATION "${KELMUTILS_PACKAGE_DIR}"
    PATH_VARS KELMUTILS_RES_DIR
    NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(KelmUtilsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/KelmUtilsConfig.cmake"
    "${PROJECT_BINARY_DIR}/KelmUtilsConfigVersion.cmake"
    DESTINATION "${KELMUTILS_PACKAGE_DIR}"
)

# The .pc file finds its prefix from where it lies, so that an installed tree may be moved, unless
# the library goes to a folder of its own choice.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}"
    OR IS_ABSOLUTE "${CMAKE_INSTALL_DATADIR}")
    set(KELMUTILS_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
    set(KELMUTILS_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(KELMUTILS_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
    set(KELMUTILS_PC_RESDIR "${CMAKE_INSTALL_FULL_DATADIR}/KelmUtils/res")
else()
    file(RELATIVE_PATH KELMUTILS_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" KELMUTILS_PC_PREFIX "\${pcfiledir}/${KELMUTILS_PC_PREFIX}")
    set(KELMUTILS_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(KELMUTILS_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
    set(KELMUTILS_PC_RESDIR "\${prefix}/${KELMUTILS_RES_DIR}")
endif()
configure_file(cmake/KelmUtils.pc.in KelmUtils.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/KelmUtils.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
