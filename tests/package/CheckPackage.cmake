# Arguments, all required: METHOD (find_package or pkg-config), BUILD_DIR, SCRATCH_DIR, LIBDIR,
# DATADIR, EXAMPLE_DIR with the host example of the README and its output, COMPILER, SANITIZE.

set(prefix "${SCRATCH_DIR}/prefix")
set(example "${EXAMPLE_DIR}/example.cpp")
set(program "${SCRATCH_DIR}/consumer")
set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=${SANITIZE}")
endif()

macro(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output)
endmacro()

file(REMOVE_RECURSE "${SCRATCH_DIR}")
file(MAKE_DIRECTORY "${SCRATCH_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

file(GLOB_RECURSE internal "${prefix}/*_p.h" "${prefix}/*.cpp")
if(internal)
    message(FATAL_ERROR "Installed though internal: ${internal}")
endif()

set(resources "${prefix}/${DATADIR}/KelmUtils/res")
foreach(table IN ITEMS Data Framework Utils Widgets)
    foreach(language IN ITEMS de en)
        set(text "${resources}/locale/Kelm.${table}_${language}.xml")
        if(NOT EXISTS "${text}")
            message(FATAL_ERROR "Not installed: ${text}")
        endif()
    endforeach()
endforeach()

if(METHOD STREQUAL "find_package")
    run("${CMAKE_COMMAND}" -G Ninja -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${SCRATCH_DIR}"
        -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${COMPILER}
        -D CMAKE_CXX_FLAGS=${flags} -D EXAMPLE=${example}
        -D RESOURCES=${resources})
    run("${CMAKE_COMMAND}" --build "${SCRATCH_DIR}")
else()
    # Moved first: the description must not hold on to where it was installed.
    file(RENAME "${prefix}" "${SCRATCH_DIR}/moved")
    set(prefix "${SCRATCH_DIR}/moved")
    set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
    run(pkg-config --cflags --libs "KelmUtils >= 1" "KelmUtils < 2")
    set(flagsOutput "${output}")
    run(pkg-config --variable=resdir KelmUtils)
    string(STRIP "${output}" resources)
    if(NOT EXISTS "${resources}/locale/Kelm.Utils_de.xml")
        message(FATAL_ERROR "pkg-config tells a folder without texts: ${resources}")
    endif()
    separate_arguments(options UNIX_COMMAND "${flagsOutput}")
    run("${COMPILER}" -std=c++17 ${flags} "${example}" -o "${program}" ${options}
        "-Wl,-rpath,${prefix}/${LIBDIR}")
endif()

set(PROGRAM "${program}")
set(EXPECTED "${EXAMPLE_DIR}/output.txt")
include("${CMAKE_CURRENT_LIST_DIR}/../readme/CompareOutput.cmake")
