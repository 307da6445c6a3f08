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
