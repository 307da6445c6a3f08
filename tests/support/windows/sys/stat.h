#pragma once

#include "tests/support/windows/unistd.h"

#include_next <sys/stat.h>

#include <ctime>

#define O_NONBLOCK 0
#define AT_FDCWD (-100)
#define AT_SYMLINK_NOFOLLOW 0
#define UTIME_OMIT (-2)
#ifndef S_ISUID
#define S_ISUID 04000
#define S_ISGID 02000
#endif
#ifndef S_ISLNK
#define S_ISLNK(mode) false
#endif

inline int mkfifo(const char *, int) { return unsupported(); }
inline int mkdir(const char *, int) { return unsupported(); }
inline int lstat(const char *path, struct stat *status) { return stat(path, status); }
int utimensat(int, const char *path, const timespec *times, int);
