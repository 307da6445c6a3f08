# Builds the project in consumer/ on the tree installed at PREFIX, as a user would, and runs it. With
# find_package it does the same with the host of the guide.
#
# Arguments, all required: METHOD (find_package or pkg-config), PREFIX, WORK_DIR, LIBDIR, DATADIR,
# EXAMPLE (the host example of the README, less the .cpp and the .txt of its output), COMPILER,
# SANITIZE, PYTHON_HOME relative to PREFIX, or empty, HOST (the host of the guide: its project in
# files, and program1.txt), SOURCE_DIR.

set(example "${EXAMPLE}.cpp")
set(program "${WORK_DIR}/consumer")
set(resources "${PREFIX}/${DATADIR}/KelmUtils/res")
set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=${SANITIZE}")
endif()
set(home "")
if(PYTHON_HOME)
    set(home "${PREFIX}/${PYTHON_HOME}")
endif()

if(METHOD STREQUAL "find_package")
    run("${CMAKE_COMMAND}" -G Ninja -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${WORK_DIR}"
        -D CMAKE_PREFIX_PATH=${PREFIX} -D CMAKE_CXX_COMPILER=${COMPILER}
        -D CMAKE_CXX_FLAGS=${flags} -D EXAMPLE=${example}
        -D RESOURCES=${resources} -D PYTHON_HOME=${home})
    run("${CMAKE_COMMAND}" --build "${WORK_DIR}")

    set(host "${WORK_DIR}/host")
    run("${CMAKE_COMMAND}" -G Ninja -S "${HOST}/files" -B "${host}"
        -D CMAKE_PREFIX_PATH=${PREFIX} -D CMAKE_CXX_COMPILER=${COMPILER}
        -D CMAKE_CXX_FLAGS=${flags})
    run("${CMAKE_COMMAND}" --build "${host}")
    file(COPY "${SOURCE_DIR}/examples" DESTINATION "${host}")
    set(ENV{XDG_CONFIG_HOME} "${host}")
    run("${CMAKE_COMMAND}" -E chdir "${host}"
        "${CMAKE_COMMAND}" -D PROGRAM=${host}/bolts -D EXPECTED=${HOST}/program1.txt
        -P "${CMAKE_CURRENT_LIST_DIR}/../support/CompareOutput.cmake")
else()
    set(ENV{PKG_CONFIG_PATH} "${PREFIX}/${LIBDIR}/pkgconfig")
    run(pkg-config --cflags --libs "KelmUtils >= 1" "KelmUtils < 2")
    separate_arguments(options UNIX_COMMAND "${output}")
    run("${COMPILER}" -std=c++17 ${flags} "${example}" -o "${program}" ${options}
        "-Wl,-rpath,${PREFIX}/${LIBDIR}")

    foreach(pair IN ITEMS resdir=${resources} pythonhome=${home})
        string(REGEX MATCH "^[^=]*" variable "${pair}")
        string(REGEX REPLACE "^[^=]*=" "" expected "${pair}")
        run(pkg-config --variable=${variable} KelmUtils)
        string(STRIP "${output}" told)
        if(told)
            file(REAL_PATH "${told}" told)
        endif()
        if(NOT told STREQUAL expected)
            message(FATAL_ERROR "pkg-config tells ${variable} as ${told}")
        endif()
    endforeach()
endif()

set(PROGRAM "${program}")
set(EXPECTED "${EXAMPLE}.txt")
include("${CMAKE_CURRENT_LIST_DIR}/../support/CompareOutput.cmake")
