#pragma once

#include "tests/support/windows/unistd.h"

#define WIFEXITED(status) false
#define WEXITSTATUS(status) 0
#define WIFSIGNALED(status) false
#define WTERMSIG(status) 0
#define WNOHANG 0

inline pid_t waitpid(pid_t, int *, int) { return unsupported(); }
