#pragma once

#include <QtGlobal>

/// Whether tests have the sizes that take minutes and gigabytes, which the environment variable
/// KELMUTILS_FULL_SIZE asks for.
inline bool isFullSize() { return qEnvironmentVariableIsSet("KELMUTILS_FULL_SIZE"); }

/// How many of something a test makes: \p count, or \p full at the full size.
inline int fullSize(int count, int full) { return isFullSize() ? full : count; }
