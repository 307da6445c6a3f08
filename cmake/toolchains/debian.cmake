# Cross-building for another architecture of Debian, with the tree of packages that tools/setup-port
# unpacks. CTest runs the programs inside that tree.

set(KELMUTILS_PORT "" CACHE STRING "The architecture of Debian: arm64, i386 or s390x")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELMUTILS_PORT)

if(KELMUTILS_PORT STREQUAL "arm64")
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(triplet aarch64-linux-gnu)
elseif(KELMUTILS_PORT STREQUAL "i386")
    set(CMAKE_SYSTEM_PROCESSOR i686)
    set(triplet i686-linux-gnu)
elseif(KELMUTILS_PORT STREQUAL "s390x")
    set(CMAKE_SYSTEM_PROCESSOR s390x)
    set(triplet s390x-linux-gnu)
else()
    message(FATAL_ERROR "KELMUTILS_PORT is no architecture that is known: '${KELMUTILS_PORT}'")
endif()
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

# Libraries and headers of the tree; programs such as moc and ccache are those of this machine.
set(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/deps/ports/${KELMUTILS_PORT}")
cmake_path(NORMAL_PATH CMAKE_SYSROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

set(CMAKE_CROSSCOMPILING_EMULATOR
    "${CMAKE_CURRENT_LIST_DIR}/../../tools/run-port" "${KELMUTILS_PORT}")
