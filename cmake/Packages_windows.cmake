# The packages for Windows that cpack makes: a zip of all components, with what a program needs that
# its user does not have, and one of the debug files.
#
#   Library      KelmUtils and its texts
#   Development  headers, the import library, the descriptions for CMake and pkg-config
#   Console      the console host with its resources
#   Workbench    the workbench, when it is built, with Qt SVG and Qwt in Runtime
#   Python       the DLL of Python, its standard library and the SIP runtime
#   Runtime      the libraries of Qt and of the compiler, and the licences of all
#   Debug        what debuggers need of the programs; in the second zip

# A build by another compiler, whose runtime its own tools deploy, has no such component.
set(CPACK_COMPONENTS_ALL Library Development Console)
set(folder "${PROJECT_BINARY_DIR}/packages")
set(licences "${CMAKE_INSTALL_DATADIR}/doc/KelmUtils")
if(TARGET workbench)
    list(APPEND CPACK_COMPONENTS_ALL Workbench)
endif()
if(KELMUTILS_INSTALL_PYTHON)
    list(APPEND CPACK_COMPONENTS_ALL Python)
endif()

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
    DESTINATION "${licences}" COMPONENT Library)

if(MINGW)
    list(APPEND CPACK_COMPONENTS_ALL Runtime)
    set(libraries "")
    foreach(name libgcc_s_seh-1 libstdc++-6 libwinpthread-1)
        execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${name}.dll
            OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE
            COMMAND_ERROR_IS_FATAL ANY
        )
        if(NOT IS_ABSOLUTE "${library}") # the compiler does not know where it is
            message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no ${name}.dll")
        endif()
        list(APPEND libraries "${library}")
    endforeach()
    set(modules Core Gui Network Xml)
    set(plugins platforms/qwindows platforms/qoffscreen)
    set(parts qt)
    if(TARGET workbench)
        list(APPEND libraries "${KELMUTILS_WINDOWS_ROOT}/bin/qwt-qt5.dll")
        list(APPEND modules Svg Widgets)
        list(APPEND plugins iconengines/qsvgicon imageformats/qsvg styles/qwindowsvistastyle)
        list(APPEND parts qtsvg qwt)
    endif()
    foreach(module IN LISTS modules)
        list(APPEND libraries "${KELMUTILS_WINDOWS_ROOT}/bin/Qt5${module}.dll")
    endforeach()
    install(FILES ${libraries}
        DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime EXCLUDE_FROM_ALL)

    # Beside the programs, where Qt looks for its plugins.
    foreach(plugin IN LISTS plugins)
        get_filename_component(kind "${plugin}" DIRECTORY)
        install(FILES "${KELMUTILS_WINDOWS_ROOT}/plugins/${plugin}.dll"
            DESTINATION "${CMAKE_INSTALL_BINDIR}/${kind}" COMPONENT Runtime EXCLUDE_FROM_ALL)
    endforeach()

    foreach(part IN LISTS parts)
        install(DIRECTORY "${KELMUTILS_WINDOWS_ROOT}/share/doc/${part}"
            DESTINATION "${licences}" COMPONENT Runtime EXCLUDE_FROM_ALL)
    endforeach()
    foreach(package gcc-mingw-w64-base mingw-w64-common)
        file(GLOB copyright "/usr/share/doc/${package}/copyright")
        install(FILES ${copyright} RENAME "${package}.txt"
            DESTINATION "${licences}" COMPONENT Runtime EXCLUDE_FROM_ALL)
    endforeach()
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME KelmUtils)
set(CPACK_PACKAGE_VENDOR "KelmUtils maintainers")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_FILE_NAME "KelmUtils-${PROJECT_VERSION}-windows-x86_64")
if(KELMUTILS_SCRIPTING)
    string(APPEND CPACK_PACKAGE_FILE_NAME "-python27")
endif()
set(CPACK_PACKAGE_DIRECTORY "${folder}")
set(CPACK_STRIP_FILES ON)
if(KELMUTILS_DEBUG_FILES)
    list(APPEND CPACK_COMPONENTS_ALL Debug)
endif()
# All components but one in one archive, both below the same folder.
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" name)
    set(CPACK_COMPONENT_${name}_GROUP Programs)
endforeach()
set(CPACK_COMPONENT_DEBUG_GROUP DebugFiles)
set(CPACK_ARCHIVE_PROGRAMS_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}")
set(CPACK_ARCHIVE_DEBUGFILES_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}-debug")

include(CPack)
