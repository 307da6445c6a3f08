# What holds for every installed tree. Wants PREFIX, LIBDIR, DATADIR, PYTHON_HOME relative to
# PREFIX, or empty, KELM, whether the console host is there, VERSION, and WORK_DIR.

macro(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output)
endmacro()

# What the console host says to the arguments behind \p expected must be that.
function(check_kelm expected)
    execute_process(
        COMMAND "${PREFIX}/bin/kelm" ${ARGN}
        COMMAND_ERROR_IS_FATAL ANY
        OUTPUT_VARIABLE output
        OUTPUT_STRIP_TRAILING_WHITESPACE
    )
    if(NOT output STREQUAL expected)
        message(FATAL_ERROR "kelm ${ARGN} prints\n${output}\ninstead of\n${expected}")
    endif()
endfunction()

function(check_tree)
    file(GLOB_RECURSE internal "${PREFIX}/include/*_p.h" "${PREFIX}/include/*.cpp")
    if(internal)
        message(FATAL_ERROR "Installed though internal: ${internal}")
    endif()

    foreach(table IN ITEMS Data Framework Utils Widgets)
        foreach(language IN ITEMS de en)
            set(text "${PREFIX}/${DATADIR}/KelmUtils/res/locale/Kelm.${table}_${language}.xml")
            if(NOT EXISTS "${text}")
                message(FATAL_ERROR "Not installed: ${text}")
            endif()
        endforeach()
    endforeach()

    if(NOT KELM)
        return()
    endif()
    # Nothing but what the tree itself has may be needed, nor written into it.
    set(stamp "${WORK_DIR}/stamp")
    file(TOUCH "${stamp}")
    check_kelm("kelm ${VERSION}" --version)
    run(find "${PREFIX}" -newer "${stamp}")
    if(output)
        message(FATAL_ERROR "kelm has written ${output}")
    endif()
endfunction()
