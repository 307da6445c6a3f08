#pragma once

#include <QtTest>

/// Skips a test on Windows, which does not have what it needs, such as named pipes or the rights of
/// other users.
#ifdef _WIN32
#define SKIP_ON_WINDOWS(reason) QSKIP(reason)
#else
#define SKIP_ON_WINDOWS(reason) \
    do {                        \
    } while (false)
#endif

/// The home of hosts with Python: one with a start-up program, which is a script of the shell. On
/// Windows one without.
#ifdef _WIN32
#define HOME_OF_HOSTS KELMUTILS_EXAMPLES_DIR "/data"
#else
#define HOME_OF_HOSTS KELMUTILS_EXAMPLES_DIR "/res"
#endif
