# How everything of this project is compiled: language, warnings, sanitizers, compiler cache, places.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

add_compile_definitions(QT_NO_KEYWORDS)

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    add_compile_options(-Wall -Wextra -Wpedantic -Wshadow)
    if(KELMUTILS_WARNINGS_AS_ERRORS)
        add_compile_options(-Werror)
    endif()
endif()

# On 32-bit x86, compilers calculate by x87, which rounds to more bits than a double has: a number would
# differ from the same number read on another system, and from itself once it is stored.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang"
    AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86|x86_64|AMD64)$")
    add_compile_options(-msse2 -mfpmath=sse)
endif()

if(KELMUTILS_SANITIZE)
    add_compile_options(
        -fsanitize=${KELMUTILS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KELMUTILS_SANITIZE})
endif()

# What is compiled counts the ways that it takes, which leads the fuzzer to inputs with new ones.
if(KELMUTILS_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The cache must look through precompiled headers, which takes a flag of each compiler and a
# sloppiness of the cache.
find_program(KELMUTILS_CCACHE ccache)
mark_as_advanced(KELMUTILS_CCACHE)
if(KELMUTILS_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        "${KELMUTILS_CCACHE}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-fpch-preprocess)
    elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()
