# Puts the files by which debuggers show our types where debuggers load them: docs/debugging.md.

# gdb reads a file that has the name of the library followed by "-gdb.py": beside the library, or
# below its folder "auto-load" in the path of the library, where Debian allows it to run.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(gdb_file
        "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/libKelmUtils.so.${PROJECT_VERSION}-gdb.py")
    configure_file(debugger/gdb_printers.py "${gdb_file}" COPYONLY)
    # The path is determined during the installation. For a package, it is not the path from which
    # cpack collects the file.
    string(CONFIGURE [[
        set(folder "${CMAKE_INSTALL_PREFIX}")
        if(folder MATCHES "/_CPack_Packages/")
            set(folder "/usr")
        endif()
        cmake_path(APPEND folder "@CMAKE_INSTALL_LIBDIR@")
        set(data "${CMAKE_INSTALL_PREFIX}")
        cmake_path(APPEND data "@CMAKE_INSTALL_DATADIR@")
        file(INSTALL DESTINATION "${data}/gdb/auto-load${folder}" TYPE FILE FILES "@gdb_file@")
    ]] install_gdb_file @ONLY)
    install(CODE "${install_gdb_file}" COMPONENT Development)
endif()

# Visual Studio reads the views from the debug information of the library.
if(MSVC)
    target_link_options(KelmUtils PRIVATE
        "/NATVIS:${PROJECT_SOURCE_DIR}/debugger/KelmUtils.natvis")
endif()
