# The packages for Windows that cpack makes: a zip of all components, with what a program needs that
# its user does not have, and one of the debug files.
#
#   Library      KelmUtils and its texts
#   Development  headers, the import library, the descriptions for CMake and pkg-config
#   Console      the console host with its resources
#   Python       the DLL of Python, its standard library and the SIP runtime
#   Runtime      the libraries of Qt and of the compiler, and the licences of all
#   Debug        what debuggers need of the programs; in the second zip

# A build by another compiler, whose runtime its own tools deploy, has no such component.
set(CPACK_COMPONENTS_ALL Library Development Console)
set(folder "${PROJECT_BINARY_DIR}/packages")
set(licences "${CMAKE_INSTALL_DATADIR}/doc/KelmUtils")
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
    foreach(module Core Gui Network Xml)
        list(APPEND libraries "$<TARGET_FILE:Qt5::${module}>")
    endforeach()
    install(FILES ${libraries}
        DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime EXCLUDE_FROM_ALL)

    # Beside the programs, where Qt looks for its plugins.
    set(platforms "")
    foreach(plugin ${Qt5Gui_PLUGINS})
        get_target_property(file ${plugin} LOCATION)
        if(file MATCHES "/platforms/q(windows|offscreen)\\.dll$")
            list(APPEND platforms "${file}")
        endif()
    endforeach()
    install(FILES ${platforms}
        DESTINATION "${CMAKE_INSTALL_BINDIR}/platforms" COMPONENT Runtime EXCLUDE_FROM_ALL)

    install(DIRECTORY "${KELMUTILS_WINDOWS_ROOT}/share/doc/qt"
        DESTINATION "${licences}" COMPONENT Runtime EXCLUDE_FROM_ALL)
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
