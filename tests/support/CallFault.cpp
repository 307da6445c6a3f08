#include "tests/support/CallFault.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

static thread_local CallFault *innermost = nullptr;

CallFault::CallFault(const char *function, int error, int first, int times)
    : m_function(function), m_error(error), m_skipped(first), m_left(times), m_outer(innermost)
{
    innermost = this;
}

CallFault::CallFault(const char *function, std::function<void()> meanwhile, int first)
    : m_function(function), m_error(0), m_meanwhile(std::move(meanwhile)), m_skipped(first),
      m_left(1), m_outer(innermost)
{
    innermost = this;
}

CallFault::~CallFault() { innermost = m_outer; }

bool CallFault::isNext(const char *function)
{
    if (std::strcmp(function, m_function) != 0 || m_left == 0)
        return false;
    if (m_skipped > 0) {
        --m_skipped;
        return false;
    }
    --m_left;
    ++m_count;
    return true;
}

bool CallFault::fails(const char *function, int &error)
{
    const int before = errno;
    bool isFailed = false;
    for (CallFault *fault = innermost; fault; fault = fault->m_outer) {
        if (!fault->isNext(function))
            continue;
        if (fault->m_meanwhile) {
            CallFault *const faults = std::exchange(innermost, nullptr);
            fault->m_meanwhile();
            innermost = faults;
        } else {
            error = fault->m_error;
            isFailed = true;
        }
    }
    errno = before;
    return isFailed;
}

/// -1, with errno set to \p error, or 0 for no error.
static int failure(int error)
{
    if (error != 0)
        errno = error;
    return error == 0 ? 0 : -1;
}

// Each function has a name of its own here, and that of the C library for the linker: so the
// declarations of the headers, which differ from system to system, do not matter.

#define REPLACE(result, name, parameters)             \
    extern "C" __attribute__((visibility("default"))) \
    result replaced_##name parameters __asm__(#name); \
    result replaced_##name parameters

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define NEXT(name)                                               \
    [] {                                                         \
        static const auto plain = next(&replaced_##name, #name); \
        return plain;                                            \
    }()

/// A function that returns -1 and sets errno when it fails.
#define REPLACE_CALL(result, name, parameters, arguments)                              \
    REPLACE(result, name, parameters)                                                  \
    {                                                                                  \
        int error = 0;                                                                 \
        return CallFault::fails(#name, error) ? failure(error) : NEXT(name) arguments; \
    }

/// A function that returns its error.
#define REPLACE_PTHREAD(name, parameters, arguments)                          \
    REPLACE(int, name, parameters)                                            \
    {                                                                         \
        int error = 0;                                                        \
        return CallFault::fails(#name, error) ? error : NEXT(name) arguments; \
    }

// What is asked about files

REPLACE_CALL(int, access, (const char *path, int right), (path, right))
REPLACE_CALL(ssize_t, readlink, (const char *path, char *text, std::size_t size),
             (path, text, size))
REPLACE_CALL(int, stat, (const char *path, struct stat *status), (path, status))
REPLACE_CALL(int, lstat, (const char *path, struct stat *status), (path, status))
REPLACE_CALL(int, fstat, (int file, struct stat *status), (file, status))
REPLACE_CALL(int, fstatat, (int folder, const char *name, struct stat *status, int flags),
             (folder, name, status, flags))
REPLACE_CALL(int, statx,
             (int folder, const char *path, int flags, unsigned mask, struct statx *status),
             (folder, path, flags, mask, status))
REPLACE_CALL(ssize_t, flistxattr, (int file, char *names, std::size_t size), (file, names, size))
REPLACE_CALL(ssize_t, fgetxattr, (int file, const char *name, void *value, std::size_t size),
             (file, name, value, size))
REPLACE_CALL(int, fsetxattr,
             (int file, const char *name, const void *value, std::size_t size, int flags),
             (file, name, value, size, flags))
REPLACE_CALL(int, fremovexattr, (int file, const char *name), (file, name))

// Open files. The mode is passed on even where none was passed.

REPLACE_CALL(int, open, (const char *path, int flags, mode_t mode), (path, flags, mode))
REPLACE_CALL(int, openat, (int folder, const char *path, int flags, mode_t mode),
             (folder, path, flags, mode))
REPLACE_CALL(ssize_t, read, (int file, void *bytes, std::size_t size), (file, bytes, size))
REPLACE_CALL(ssize_t, write, (int file, const void *bytes, std::size_t size), (file, bytes, size))
REPLACE_CALL(ssize_t, pread, (int file, void *bytes, std::size_t size, off_t at),
             (file, bytes, size, at))
REPLACE_CALL(ssize_t, pwrite, (int file, const void *bytes, std::size_t size, off_t at),
             (file, bytes, size, at))
REPLACE_CALL(ssize_t, sendfile, (int to, int from, off_t *at, std::size_t size),
             (to, from, at, size))
REPLACE_CALL(off_t, lseek, (int file, off_t offset, int whence), (file, offset, whence))
REPLACE_CALL(off64_t, lseek64, (int file, off64_t offset, int whence), (file, offset, whence))
REPLACE_CALL(int, ftruncate, (int file, off_t size), (file, size))
REPLACE_CALL(int, fallocate, (int file, int mode, off_t at, off_t size), (file, mode, at, size))
REPLACE_CALL(int, fsync, (int file), (file))
REPLACE_CALL(int, flock, (int file, int operation), (file, operation))
REPLACE_CALL(int, fchmod, (int file, mode_t mode), (file, mode))
REPLACE_CALL(int, fchown, (int file, uid_t user, gid_t group), (file, user, group))
REPLACE_CALL(int, futimens, (int file, const struct timespec *times), (file, times))
REPLACE_CALL(int, ioctl, (int file, unsigned long request, void *argument),
             (file, request, argument))

// A file is closed even where that fails.
REPLACE(int, close, (int file))
{
    int error = 0;
    const bool isFailed = CallFault::fails("close", error);
    const int result = NEXT(close)(file);
    return isFailed ? failure(error) : result;
}

// The entries of a folder. A file system that lacks "d_type" lists no kinds of entries.

REPLACE(DIR *, opendir, (const char *path))
{
    int error = 0;
    if (!CallFault::fails("opendir", error))
        return NEXT(opendir)(path);
    errno = error;
    return nullptr;
}

template <typename Item>
static Item *readEntry(DIR *folder, Item *(*next)(DIR *))
{
    int error = 0;
    if (CallFault::fails("readdir", error)) {
        errno = error;
        return nullptr;
    }
    Item *const item = next(folder);
    if (item && CallFault::fails("d_type", error))
        item->d_type = DT_UNKNOWN;
    return item;
}

REPLACE(dirent *, readdir, (DIR * folder)) { return readEntry(folder, NEXT(readdir)); }
REPLACE(dirent64 *, readdir64, (DIR * folder)) { return readEntry(folder, NEXT(readdir64)); }

REPLACE_CALL(int, unlink, (const char *path), (path))
REPLACE_CALL(int, rename, (const char *from, const char *to), (from, to))
REPLACE_CALL(int, mkdir, (const char *path, mode_t mode), (path, mode))
REPLACE_CALL(int, rmdir, (const char *path), (path))

// Names in a folder. By the system, as a process that shares the memory of this one calls them.

#define REPLACE_NAMING(name, number, parameters, ...)                                           \
    REPLACE(int, name, parameters)                                                              \
    {                                                                                           \
        int error = 0;                                                                          \
        return CallFault::fails(#name, error) ? failure(error)                                  \
                                              : static_cast<int>(syscall(number, __VA_ARGS__)); \
    }

REPLACE_NAMING(linkat, SYS_linkat,
               (int fromFolder, const char *from, int toFolder, const char *to, int flags),
               fromFolder, from, toFolder, to, flags)
REPLACE_NAMING(renameat, SYS_renameat2,
               (int fromFolder, const char *from, int toFolder, const char *to), fromFolder, from,
               toFolder, to, 0)
REPLACE_NAMING(renameat2, SYS_renameat2,
               (int fromFolder, const char *from, int toFolder, const char *to, unsigned flags),
               fromFolder, from, toFolder, to, flags)
REPLACE_NAMING(unlinkat, SYS_unlinkat, (int folder, const char *name, int flags), folder, name,
               flags)

// Processes, signals, timers and threads

REPLACE_CALL(int, clone, (int (*function)(void *), void *stack, int flags, void *argument),
             (function, stack, flags, argument))
REPLACE_CALL(pid_t, waitpid, (pid_t id, int *status, int options), (id, status, options))
REPLACE_CALL(int, sigaction,
             (int number, const struct sigaction *action, struct sigaction *previous),
             (number, action, previous))
REPLACE_CALL(int, timer_create, (clockid_t clock, sigevent *event, timer_t *timer),
             (clock, event, timer))
REPLACE_PTHREAD(pthread_key_create, (pthread_key_t * key, void (*function)(void *)),
                (key, function))
REPLACE_PTHREAD(pthread_setspecific, (pthread_key_t key, const void *value), (key, value))
