#pragma once

#include "tests/support/windows/unistd.h"

#include <csignal>

#include <sys/time.h>

#define SIGXFSZ 25

using rlim_t = unsigned long long;
struct rlimit
{
    rlim_t rlim_cur;
    rlim_t rlim_max;
};
enum ResourceLimit
{
    RLIMIT_AS,
    RLIMIT_CORE,
    RLIMIT_DATA,
    RLIMIT_FSIZE,
    RLIMIT_NOFILE,
    RLIMIT_STACK
};
#define RLIM_INFINITY (~0ULL)

#define RUSAGE_SELF 0
struct rusage
{
    timeval ru_utime;
    timeval ru_stime;
};
inline int getrusage(int, rusage *usage)
{
    *usage = {};
    return unsupported();
}

inline int getrlimit(int, rlimit *limit)
{
    *limit = {RLIM_INFINITY, RLIM_INFINITY};
    return unsupported();
}
inline int setrlimit(int, const rlimit *) { return unsupported(); }
