# Makes the zips of a build for Windows, looks them over, unpacks them, and builds and runs a host on
# what they have, as a user would.
#
# Arguments, all required: BUILD_DIR, SOURCE_DIR, SCRATCH_DIR, LIBDIR, DATADIR, VERSION, SCRIPTING,
# whether the library runs scripts, WORKBENCH, whether it is built, PYTHON_HOME relative to the zip,
# or empty, PYTHON (of this machine), COMPILER, DEBUG_FILES, whether there is a zip of them, OBJDUMP,
# NM and ADDR2LINE for it, and for a build by cross compilers TOOLCHAIN and EMULATOR.

cmake_policy(VERSION 3.25)

macro(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output)
endmacro()

file(REMOVE_RECURSE "${SCRATCH_DIR}")
file(MAKE_DIRECTORY "${SCRATCH_DIR}")
run(cpack --config "${BUILD_DIR}/CPackConfig.cmake" -B "${SCRATCH_DIR}/zip")
set(name "KelmUtils-${VERSION}-windows-x86_64")
if(SCRIPTING)
    string(APPEND name "-python27")
endif()
file(GLOB made RELATIVE "${SCRATCH_DIR}/zip" "${SCRATCH_DIR}/zip/*.zip")
set(expected "${name}.zip")
if(DEBUG_FILES)
    set(expected "${name}-debug.zip;${name}.zip")
endif()
if(NOT made STREQUAL expected)
    message(FATAL_ERROR "The zips are \"${made}\"")
endif()
run("${CMAKE_COMMAND}" -E chdir "${SCRATCH_DIR}"
    "${CMAKE_COMMAND}" -E tar xf "zip/${name}.zip")
file(GLOB tops RELATIVE "${SCRATCH_DIR}" "${SCRATCH_DIR}/*")
if(NOT tops STREQUAL "${name};zip")
    message(FATAL_ERROR "The zip has unpacked to ${tops}")
endif()
set(PREFIX "${SCRATCH_DIR}/${name}")

# What a user looks for.
set(wanted
    bin/libKelmUtils.dll bin/kelm.exe bin/platforms/qwindows.dll
    bin/Qt5Core.dll bin/Qt5Gui.dll bin/Qt5Network.dll bin/Qt5Xml.dll
    bin/libgcc_s_seh-1.dll bin/libstdc++-6.dll bin/libwinpthread-1.dll
    ${LIBDIR}/libKelmUtils.dll.a ${LIBDIR}/cmake/KelmUtils/KelmUtilsConfig.cmake
    ${LIBDIR}/pkgconfig/KelmUtils.pc
    include/KelmUtils/utils/KelmUtils.h
    ${DATADIR}/KelmUtils/res/locale/Kelm.Utils_de.xml ${DATADIR}/kelm/res/locale/Kelm.Utils_de.xml
    ${DATADIR}/doc/KelmUtils/LICENSE ${DATADIR}/doc/KelmUtils/CHANGELOG.md
    ${DATADIR}/doc/KelmUtils/qt/LICENSE.LGPL3 ${DATADIR}/doc/KelmUtils/qt/copyright
    ${DATADIR}/doc/KelmUtils/gcc-mingw-w64-base.txt ${DATADIR}/doc/KelmUtils/mingw-w64-common.txt
)
if(PYTHON_HOME)
    list(APPEND wanted
        bin/python27.dll ${PYTHON_HOME}/Lib/os.py ${PYTHON_HOME}/Lib/encodings/utf_8.py
        ${PYTHON_HOME}/Lib/site-packages/sip.pyd ${PYTHON_HOME}/DLLs/pyexpat.pyd
        ${PYTHON_HOME}/include/Python.h ${PYTHON_HOME}/libs/libpython27.dll.a
        ${DATADIR}/doc/KelmUtils/python/LICENSE ${DATADIR}/doc/KelmUtils/sip/LICENSE
    )
endif()
if(WORKBENCH)
    list(APPEND wanted
        bin/kelm-workbench.exe bin/kelm-workbench-solver.exe
        bin/Qt5Svg.dll bin/Qt5Widgets.dll bin/qwt-qt5.dll
        bin/iconengines/qsvgicon.dll bin/imageformats/qsvg.dll bin/styles/qwindowsvistastyle.dll
        ${DATADIR}/kelm/res/icons/kelm-workbench.svg
        ${DATADIR}/doc/KelmUtils/qtsvg/LICENSE.LGPL3 ${DATADIR}/doc/KelmUtils/qwt/COPYING
    )
endif()
foreach(file IN LISTS wanted)
    if(NOT EXISTS "${PREFIX}/${file}")
        message(FATAL_ERROR "Not in the zip: ${file}")
    endif()
endforeach()
file(GLOB_RECURSE unwanted
    "${PREFIX}/include/*_p.h" "${PREFIX}/include/*.cpp" "${PREFIX}/*/tst_*" "${PREFIX}/*/Qt5Test.dll"
    "${PREFIX}/*.debug" "${PREFIX}/*.pyc" "${PREFIX}/*/test_*.py")
if(unwanted)
    message(FATAL_ERROR "In the zip, though internal: ${unwanted}")
endif()

# The programs find all that they need beside themselves.
set(ENV{KELM_WINDOWS_DLLS} "")
execute_process(COMMAND ${EMULATOR} "${PREFIX}/bin/kelm.exe" --version
    OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT output STREQUAL "kelm ${VERSION}")
    message(FATAL_ERROR "kelm --version prints ${output}")
endif()
execute_process(
    COMMAND ${EMULATOR} "${PREFIX}/bin/kelm.exe"
        strings .Kelm.Console.msg.weight S235 812 --language de
    OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT output STREQUAL "Ein Rahmen aus S235 wiegt 812 kg.")
    message(FATAL_ERROR "kelm strings prints ${output}")
endif()

if(WORKBENCH) # which shows its version in a window, but does not start when a DLL is missing
    execute_process(COMMAND ${EMULATOR} "${PREFIX}/bin/kelm-workbench.exe" --version
        COMMAND_ERROR_IS_FATAL ANY)
endif()
if(PYTHON_HOME)
    # By its own Python, with modules of the DLL, of extensions and of the standard library.
    execute_process(COMMAND ${EMULATOR} "${PREFIX}/bin/kelm.exe" eval "1+1"
        OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT output STREQUAL "2")
        message(FATAL_ERROR "kelm eval prints ${output}")
    endif()
    file(WRITE "${SCRATCH_DIR}/modules.py" [[
import json, socket, sip, sys, zlib
from xml.etree import cElementTree
from KelmUtils import Utils
for module in json, socket, sip, cElementTree:
    print module.__file__
text = json.dumps([cElementTree.XML("<a/>").tag])
print zlib.decompress(zlib.compress(text)), Utils.File.base("/x/y.txt", False)
]])
    execute_process(COMMAND ${EMULATOR} "${PREFIX}/bin/kelm.exe" run "Z:${SCRATCH_DIR}/modules.py"
        OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]+" lines "${output}")
    list(POP_BACK lines last)
    if(NOT last STREQUAL "[\"a\"] y")
        message(FATAL_ERROR "The script prints ${output}")
    endif()
    foreach(file IN LISTS lines)
        string(REPLACE "\\" "/" file "${file}")
        if(NOT file MATCHES "/${name}/${PYTHON_HOME}/")
            message(FATAL_ERROR "The script has got ${file}, which is not in the zip")
        endif()
    endforeach()
endif()

# The host of the README, by find_package and beside the DLLs.
set(example "${SCRATCH_DIR}/example")
run("${PYTHON}" "${SOURCE_DIR}/tests/docs/examples.py" extract "${SOURCE_DIR}/README.md" "${example}")
set(work "${SCRATCH_DIR}/work")
set(home "")
if(PYTHON_HOME)
    set(home "${PREFIX}/${PYTHON_HOME}")
endif()
run("${CMAKE_COMMAND}" -G Ninja -S "${CMAKE_CURRENT_LIST_DIR}/consumer" -B "${work}"
    -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -D CMAKE_CXX_COMPILER=${COMPILER}
    -D CMAKE_FIND_ROOT_PATH=${PREFIX}
    -D EXAMPLE=${example}/program1.cpp
    -D RESOURCES=${PREFIX}/${DATADIR}/KelmUtils/res -D PYTHON_HOME=${home})
run("${CMAKE_COMMAND}" --build "${work}")
file(COPY "${work}/consumer.exe" DESTINATION "${PREFIX}/bin")
execute_process(COMMAND ${EMULATOR} "${PREFIX}/bin/consumer.exe"
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\r" "" output "${output}") # a text stream of the C library
file(READ "${example}/program1.txt" expected)
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "The host prints\n${output}instead of\n${expected}")
endif()

if(NOT DEBUG_FILES)
    return()
endif()

# The programs have no debug information themselves, but find that of the second zip beside them.
set(programs libKelmUtils.dll kelm.exe)
foreach(program IN LISTS programs)
    run("${OBJDUMP}" --section-headers "${PREFIX}/bin/${program}")
    if(output MATCHES "debug_info" OR NOT output MATCHES "gnu_debuglink")
        message(FATAL_ERROR "${program} has the wrong sections:\n${output}")
    endif()
endforeach()
run("${CMAKE_COMMAND}" -E chdir "${SCRATCH_DIR}"
    "${CMAKE_COMMAND}" -E tar xf "zip/${name}-debug.zip")
file(GLOB_RECURSE debug_files RELATIVE "${PREFIX}" "${PREFIX}/*.debug")
list(SORT debug_files)
if(NOT debug_files STREQUAL "bin/kelm.exe.debug;bin/libKelmUtils.dll.debug")
    message(FATAL_ERROR "The debug files are ${debug_files}")
endif()
set(functions "Utils::File::lastError\\(\\)" "main")
set(sources "utils/files/File_contents.cpp" "examples/console/main.cpp")
foreach(program function source IN ZIP_LISTS programs functions sources)
    run("${NM}" --demangle "${PREFIX}/bin/${program}.debug")
    if(NOT output MATCHES "([0-9a-f]+) T ${function}\n")
        message(FATAL_ERROR "${program}.debug has no function ${function}")
    endif()
    run("${ADDR2LINE}" "--exe=${PREFIX}/bin/${program}" "${CMAKE_MATCH_1}")
    string(REGEX REPLACE ":[0-9]+\n$" "" path "${output}")
    cmake_path(NORMAL_PATH path) # a compiler cache makes it relative to the build folder
    if(NOT path STREQUAL "/KelmUtils-${VERSION}/${source}")
        message(FATAL_ERROR "${function} is at ${output}")
    endif()
endforeach()
