# Cross-building for Windows by mingw-w64, with the Qt that tools/setup-windows builds. CTest runs
# the programs by Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KELMUTILS_WINDOWS_ROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/deps/windows" CACHE PATH
    "The folder with Qt for Windows")
cmake_path(NORMAL_PATH KELMUTILS_WINDOWS_ROOT)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELMUTILS_WINDOWS_ROOT)

# The compilers with threads: the others lack std::mutex and std::thread.
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

# Libraries of the compiler and Qt; programs such as moc and ccache are those of this machine.
list(APPEND CMAKE_FIND_ROOT_PATH "/usr/${triplet}" "${KELMUTILS_WINDOWS_ROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../tools/run-windows")
