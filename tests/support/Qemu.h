#pragma once

#include <QtTest>

/// Whether qemu runs the program, for another processor than this machine has: tools/run-port says
/// so. It does not do all that the system does.
inline bool isRunByQemu() { return qEnvironmentVariableIsSet("KELMUTILS_RUN_BY_QEMU"); }

#define SKIP_UNDER_QEMU(reason) \
    do {                        \
        if (isRunByQemu())      \
            QSKIP(reason);      \
    } while (false)
