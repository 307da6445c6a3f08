#pragma once

#include "tests/support/windows/unistd.h"

inline int setfsuid(uid_t) { return unsupported(); }
