# What holds for every installed tree. Wants PREFIX, LIBDIR, DATADIR, PYTHON_HOME relative to
# PREFIX, or empty, KELM, whether the console host is there, VERSION, and WORK_DIR.

macro(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output)
endmacro()

# The console host, called with the arguments after \p expected, must print that.
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

# gdb must find how it shows our types by the path of the library, which is below \p folder once it
# is installed.
function(check_gdb_file folder)
    set(file "${folder}/${LIBDIR}/libKelmUtils.so.${VERSION}-gdb.py")
    if(NOT EXISTS "${PREFIX}/${DATADIR}/gdb/auto-load${file}")
        message(FATAL_ERROR "Not installed: ${DATADIR}/gdb/auto-load${file}")
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
    # Nothing but what the tree itself has may be needed, nor anything written into it.
    unset(ENV{PYTHONDONTWRITEBYTECODE})
    set(stamp "${WORK_DIR}/stamp")
    file(TOUCH "${stamp}")
    check_kelm("kelm ${VERSION}" --version)
    if(PYTHON_HOME)
        check_kelm(2 eval "1+1")
        check_kelm("${PREFIX}/${PYTHON_HOME}" eval "__import__('sys').prefix")
        check_kelm(e3b0c442 eval "__import__('hashlib').sha256('').hexdigest()[:8]")
        check_kelm(4 eval "__import__('ctypes').sizeof(__import__('ctypes').c_int)")
        check_kelm(3 eval "cbrt(27)") # of the module mathex
    endif()
    run(find "${PREFIX}" -newer "${stamp}")
    if(output)
        message(FATAL_ERROR "kelm has written ${output}")
    endif()
    if(PYTHON_HOME)
        # A host that lets Python keep what it compiles finds the standard library compiled already.
        run("${CMAKE_COMMAND}" -E env PYTHONDONTWRITEBYTECODE=
            "${PREFIX}/bin/kelm" eval "__import__('json').dumps(1)")
        run(find "${PREFIX}/${PYTHON_HOME}" -newer "${stamp}")
        if(output)
            message(FATAL_ERROR "Python has written ${output}")
        endif()
    endif()
endfunction()
