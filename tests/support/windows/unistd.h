#pragma once

#include <cerrno>

#include_next <unistd.h>

using uid_t = unsigned int;
using gid_t = unsigned int;

inline int unsupported()
{
    errno = ENOSYS;
    return -1;
}

inline uid_t getuid() { return 1000; }
inline uid_t geteuid() { return 1000; }
int link(const char *path, const char *newPath);
inline int symlink(const char *, const char *) { return unsupported(); }
inline int pipe(int *) { return unsupported(); }
inline int fork() { return unsupported(); }
inline int chroot(const char *) { return unsupported(); }
inline int fchdir(int) { return unsupported(); }
inline int unshare(int) { return unsupported(); }
inline void sync() {}

#define CLONE_NEWUSER 0

enum
{
    _SC_PAGESIZE,
    _SC_OPEN_MAX,
    _SC_AVPHYS_PAGES
};
inline long sysconf(int) { return unsupported(); }
