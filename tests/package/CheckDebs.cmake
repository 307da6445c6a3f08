# Makes the Debian packages of a build, looks them over, unpacks them into a scratch root, and builds
# and runs there what users would.
#
# Arguments, all required: those of Consumer.cmake and Tree.cmake but METHOD, PREFIX and WORK_DIR,
# BUILD_DIR, SOURCE_DIR, SCRATCH_DIR, ARCHITECTURE.

cmake_policy(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/Tree.cmake")

set(root "${SCRATCH_DIR}/root")
set(PREFIX "${root}/usr")
set(WORK_DIR "${SCRATCH_DIR}/work")
file(REMOVE_RECURSE "${SCRATCH_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
run(cpack --config "${BUILD_DIR}/CPackConfig.cmake" -B "${SCRATCH_DIR}"
    -D CPACK_DEBIAN_COMPRESSION_TYPE=none) # which takes a third of the time
file(REMOVE_RECURSE "${SCRATCH_DIR}/_CPack_Packages")

# expect(package FIELD pattern...): the field of the package must match each pattern.
function(expect package field)
    run(dpkg-deb --field "${${package}_file}" "${field}")
    string(STRIP "${output}" value)
    foreach(pattern IN LISTS ARGN)
        if(NOT value MATCHES "${pattern}")
            message(FATAL_ERROR "${field} of ${package} is \"${value}\", without \"${pattern}\"")
        endif()
    endforeach()
endfunction()

set(packages libkelmutils1 libkelmutils-dev)
if(PYTHON_HOME)
    list(APPEND packages libkelmutils-python27)
endif()
if(KELM)
    list(APPEND packages kelm)
endif()
if(WORKBENCH)
    list(APPEND packages kelm-workbench)
endif()
file(GLOB made RELATIVE "${SCRATCH_DIR}" "${SCRATCH_DIR}/*.deb")
set(expected "${packages}")
list(TRANSFORM expected APPEND "_${VERSION}_${ARCHITECTURE}.deb")
list(SORT made)
list(SORT expected)
if(NOT made STREQUAL expected)
    message(FATAL_ERROR "The packages are ${made} instead of ${expected}")
endif()

string(REPLACE "." "\\." version "${VERSION}")
foreach(package IN LISTS packages)
    set(file "${SCRATCH_DIR}/${package}_${VERSION}_${ARCHITECTURE}.deb")
    set(${package}_file "${file}")
    expect(${package} Package "^${package}$")
    expect(${package} Version "^${version}$")
    expect(${package} Architecture "^${ARCHITECTURE}$")
    expect(${package} Maintainer "^[A-Za-z ]+ <[^@ ]+@[^@ ]+>$")
    expect(${package} Priority "^optional$")
    expect(${package} Installed-Size "^[1-9][0-9]+$")
    expect(${package} Description "^[a-z][^\n]+\n [A-Z]")

    # Owned by root, and writable for no other user.
    run(dpkg-deb --contents "${file}")
    string(REGEX MATCHALL "[^\n]+" lines "${output}")
    list(FILTER lines EXCLUDE REGEX "^(l|[-d]rwxr-xr-x|-rw-r--r--)[^ ]* root/root ")
    if(lines)
        message(FATAL_ERROR "Owner or mode in ${package}: ${lines}")
    endif()

    run(dpkg-deb --extract "${file}" "${root}")
    if(NOT EXISTS "${PREFIX}/share/doc/${package}/copyright")
        message(FATAL_ERROR "${package} has no copyright")
    endif()
endforeach()
expect(libkelmutils1 Depends "libc6 \\(>=" "libqt5core5a \\(>= 5\\.15" "libqt5xml5")
expect(libkelmutils1 Section "^libs$")
expect(libkelmutils-dev Depends "libkelmutils1 \\(= ${version}\\)" "qtbase5-dev \\(>= 5\\.15\\)")
expect(libkelmutils-dev Section "^libdevel$")
if(KELM)
    expect(kelm Depends "libkelmutils1 \\(= ${version}\\)" "libqt5core5a")
endif()
if(WORKBENCH)
    expect(kelm-workbench Depends "libkelmutils1 \\(= ${version}\\)" "kelm \\(= ${version}\\)"
        "libqwt-qt5-6" "libqt5widgets5" "libqt5svg5")
    expect(kelm-workbench Recommends "^qttranslations5-l10n$")
    expect(kelm-workbench Section "^science$")
endif()
if(PYTHON_HOME)
    expect(libkelmutils1 Depends "libkelmutils-python27 \\(= ${version}\\)")
    expect(libkelmutils-dev Depends "libkelmutils-python27 \\(= ${version}\\)")
    expect(libkelmutils-python27 Depends "libc6 \\(>=" "zlib1g" "libsqlite3-0")
    file(READ "${PREFIX}/share/doc/libkelmutils-python27/copyright" licences)
    foreach(name IN ITEMS "PYTHON SOFTWARE FOUNDATION" "OpenSSL" "libffi" "SIP")
        if(NOT licences MATCHES "${name}")
            message(FATAL_ERROR "The licence of ${name} is missing")
        endif()
    endforeach()
endif()
execute_process(COMMAND dpkg-deb --ctrl-tarfile "${libkelmutils1_file}"
    COMMAND tar --extract --to-stdout ./shlibs ./triggers
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "libKelmUtils 1 libkelmutils1 \\(>= ${version}\\)"
    OR NOT output MATCHES "activate-noawait ldconfig")
    message(FATAL_ERROR "What dpkg is told of the library: ${output}")
endif()

# Programs and libraries: none looks for others in a folder of this machine, has a stack that may be
# executed, or brings the names of its variables along.
file(GLOB_RECURSE binaries "${PREFIX}/lib/*.so" "${PREFIX}/lib/*.so.*" "${PREFIX}/bin/*")
list(LENGTH binaries count)
run(readelf --wide --dynamic --segments --sections ${binaries})
string(REGEX MATCHALL "R(UN)?PATH\\) [^\n]*" paths "${output}")
list(FILTER paths EXCLUDE REGEX "\\[\\$ORIGIN(/[^:]*)?(:\\$ORIGIN/[^:]*)*\\]$")
if(paths)
    message(FATAL_ERROR "Libraries are looked for in ${paths}")
endif()
string(REGEX MATCHALL "GNU_STACK [^\n]* RW " stacks "${output}")
list(LENGTH stacks stackCount)
if(NOT stackCount EQUAL count)
    message(FATAL_ERROR "${stackCount} of ${count} programs and libraries have a plain stack")
endif()
if(output MATCHES "\\.debug_info|\\.symtab")
    message(FATAL_ERROR "A program or library is not stripped")
endif()
execute_process(COMMAND grep -rlF "${SOURCE_DIR}/" "${root}" OUTPUT_VARIABLE output)
if(output)
    message(FATAL_ERROR "The folder of the sources stands in ${output}")
endif()

check_tree()
check_gdb_file("/usr")
foreach(METHOD IN ITEMS find_package pkg-config)
    include("${CMAKE_CURRENT_LIST_DIR}/Consumer.cmake")
endforeach()

# Manual pages, and what a desktop knows the workbench by.
set(files "")
if(KELM)
    list(APPEND files man/man1/kelm.1.gz)
endif()
if(WORKBENCH)
    list(APPEND files
        man/man1/kelm-workbench.1.gz
        man/man1/kelm-workbench-solver.1.gz
        applications/kelm-workbench.desktop
        icons/hicolor/scalable/apps/kelm-workbench.svg
        metainfo/example.kelmutils.workbench.metainfo.xml
        mime/packages/kelm-workbench.xml
    )
endif()
foreach(file IN LISTS files)
    if(NOT EXISTS "${PREFIX}/share/${file}")
        message(FATAL_ERROR "Not installed: share/${file}")
    endif()
    if(file MATCHES "\\.gz$")
        run(gzip --test "${PREFIX}/share/${file}")
    endif()
endforeach()
if(WORKBENCH)
    run(env -u DISPLAY "${PREFIX}/bin/kelm-workbench" --version)
    if(NOT output STREQUAL "kelm-workbench ${VERSION}\n")
        message(FATAL_ERROR "kelm-workbench --version prints ${output}")
    endif()
    run(env -u DISPLAY "${PREFIX}/bin/kelm-workbench" --help)
    execute_process(
        COMMAND "${SOURCE_DIR}/tests/workbench/display"
            "${PYTHON}" "${CMAKE_CURRENT_LIST_DIR}/window.py"
            "${PREFIX}/bin/kelm-workbench" "${SOURCE_DIR}/examples/data/load_curve.csv"
            "${PREFIX}/share/applications/kelm-workbench.desktop"
        RESULT_VARIABLE result
    )
    if(result EQUAL 77)
        message(STATUS "The window of the installed workbench is not tested")
    elseif(result)
        message(FATAL_ERROR "The installed workbench shows no window as it should")
    endif()
endif()
