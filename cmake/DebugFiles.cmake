# What a debugger needs of the installed programs, in files of their own for a build by mingw-w64, as
# their size is a multiple of that of the programs. cpack puts them in a zip of their own.

option(KELMUTILS_DEBUG_FILES "Make a debug file beside each installed program, by mingw-w64" OFF)

# kelm_make_debug_file(target compiled...): compiles \p compiled with debug information, and moves
# that of \p target, which is made of them, to a file beside it, which it refers to by its name.
function(kelm_make_debug_file target)
    if(NOT KELMUTILS_DEBUG_FILES)
        return()
    endif()
    foreach(compiled IN LISTS ARGN)
        # Sources have the same path wherever they were compiled.
        target_compile_options(${compiled} PRIVATE -g
            "-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=/KelmUtils-${PROJECT_VERSION}")
    endforeach()
    set(file "$<TARGET_FILE:${target}>")
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${file}" "${file}.debug"
        COMMAND "${CMAKE_STRIP}" "${file}"
        COMMAND "${CMAKE_OBJCOPY}" "--add-gnu-debuglink=${file}.debug" "${file}"
        VERBATIM
    )
    install(FILES "${file}.debug"
        DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Debug EXCLUDE_FROM_ALL)
endfunction()
