// libinject.so: preloaded, it is between a program and the C library, and makes the n-th call
// of a group fail. A program arms it by inject_arm(); a program that knows nothing of it is armed
// from its start by the environment:
//
//     INJECT_GROUP=write INJECT_NTH=3 INJECT_LASTING=1 LD_PRELOAD=libinject.so program
//
// It never lets a signal to an id of 1 and below through, armed or not: kill(-1, SIGKILL), which an
// id that was not looked at turns into, ends everything that a user runs.

#include "tests/inject/Inject.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

using namespace Inject;

namespace {

constexpr int errors[] = {0,      EMFILE, EIO, ENOSPC, ENOSPC, EIO, EACCES, ENOSPC,
                          EACCES, EACCES, EIO, EAGAIN, EMFILE, EIO, ENOLCK, ENOMEM};
static_assert(sizeof(errors) / sizeof(*errors) == GroupCount);

State beforeStart = {}; // until there is the shared one: the loader allocates, too
State *state = &beforeStart;

// Set while this library itself calls what may come back to it. Static memory of the thread, as
// getting memory for it would come back here as well.
thread_local bool isInside __attribute__((tls_model("initial-exec"))) = false;

class Inside
{
public:
    Inside() : m_before(isInside) { isInside = true; }
    ~Inside() { isInside = m_before; }

private:
    const bool m_before;
};

bool isArmed(Group group)
{
    return state->group == group && !isInside && state->process == getpid();
}

/// Counts a call. 0 when it is to pass, 1 for the one that is to fail, 2 for a later one.
int step(const char *call)
{
    const long number = __atomic_add_fetch(&state->calls, 1, __ATOMIC_SEQ_CST);
    if (number < state->nth || (number > state->nth && !state->isLasting))
        return 0;
    if (__atomic_add_fetch(&state->failures, 1, __ATOMIC_SEQ_CST) == 1) {
        const Inside inside;
        std::strncpy(state->call, call, sizeof(state->call) - 1);
        state->depth = backtrace(state->callers, sizeof(state->callers) / sizeof(void *));
    }
    return number == state->nth ? 1 : 2;
}

/// Whether this call is to fail. errno is set then.
bool fails(Group group, const char *call)
{
    if (!isArmed(group) || step(call) == 0)
        return false;
    errno = errors[group];
    return true;
}

template <typename Function>
Function next(Function &function, const char *name)
{
    if (!function) {
        const Inside inside;
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    }
    return function;
}

__attribute__((constructor)) void start()
{
    const Inside inside;
    void *const shared =
        mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::fputs("libinject: no memory\n", stderr);
        _exit(1);
    }
    state = static_cast<State *>(shared);
    void *callers[2];
    backtrace(callers, 2); // loads what it needs

    const char *const group = std::getenv("INJECT_GROUP");
    const char *const nth = std::getenv("INJECT_NTH");
    if (!group || !nth)
        return;
    for (int i = Open; i < GroupCount; ++i) {
        if (std::strcmp(group, groupNames[i]) == 0)
            inject_arm(i, std::atol(nth), std::getenv("INJECT_LASTING") != nullptr);
    }
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) State *inject_state() { return state; }

__attribute__((visibility("default"))) void inject_arm(int group, long nth, bool isLasting)
{
    const long signalled = state->signalled;
    *state = {};
    state->signalled = signalled;
    state->nth = nth;
    state->isLasting = isLasting;
    state->process = getpid();
    __atomic_store_n(&state->group, group, __ATOMIC_SEQ_CST);
}

__attribute__((visibility("default"))) void inject_disarm()
{
    __atomic_store_n(&state->group, static_cast<int>(None), __ATOMIC_SEQ_CST);
}

} // extern "C"

// Each function stands here under a name of its own, and under that of the C library for the
// linker: so the headers' declarations, which differ from system to system, say nothing about it.

#define REPLACE(result, name, arguments)              \
    extern "C" __attribute__((visibility("default"))) \
    result replaced_##name arguments __asm__(#name);  \
    static result(*next_##name) arguments = nullptr;  \
    result replaced_##name arguments

#define NEXT(name) next(next_##name, #name)

/// A function that does nothing but fail or pass.
#define REPLACE_PLAINLY(group, failure, result, name, parameters, arguments) \
    REPLACE(result, name, parameters)                                        \
    {                                                                        \
        return fails(group, #name) ? failure : NEXT(name) arguments;         \
    }

// open

static bool takesMode(int flags) { return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE; }

static mode_t modeOf(int flags, va_list arguments)
{
    return takesMode(flags) ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

#define REPLACE_OPEN(name)                                              \
    REPLACE(int, name, (const char *path, int flags, ...))              \
    {                                                                   \
        va_list arguments;                                              \
        va_start(arguments, flags);                                     \
        const mode_t mode = modeOf(flags, arguments);                   \
        va_end(arguments);                                              \
        return fails(Open, #name) ? -1 : NEXT(name)(path, flags, mode); \
    }
REPLACE_OPEN(open)
REPLACE_OPEN(open64)

#define REPLACE_OPENAT(name)                                                    \
    REPLACE(int, name, (int folder, const char *path, int flags, ...))          \
    {                                                                           \
        va_list arguments;                                                      \
        va_start(arguments, flags);                                             \
        const mode_t mode = modeOf(flags, arguments);                           \
        va_end(arguments);                                                      \
        return fails(Open, #name) ? -1 : NEXT(name)(folder, path, flags, mode); \
    }
REPLACE_OPENAT(openat)
REPLACE_OPENAT(openat64)

REPLACE_PLAINLY(Open, -1, int, __open_2, (const char *path, int flags), (path, flags))
REPLACE_PLAINLY(Open, -1, int, __open64_2, (const char *path, int flags), (path, flags))
REPLACE_PLAINLY(Open, -1, int, creat, (const char *path, mode_t mode), (path, mode))
REPLACE_PLAINLY(Open, -1, int, creat64, (const char *path, mode_t mode), (path, mode))
REPLACE_PLAINLY(Open, -1, int, mkstemp, (char *path), (path))
REPLACE_PLAINLY(Open, -1, int, mkstemp64, (char *path), (path))
REPLACE_PLAINLY(Open, -1, int, mkostemp, (char *path, int flags), (path, flags))
REPLACE_PLAINLY(Open, nullptr, FILE *, fopen, (const char *path, const char *mode), (path, mode))
REPLACE_PLAINLY(Open, nullptr, FILE *, fopen64, (const char *path, const char *mode), (path, mode))
REPLACE_PLAINLY(Open, nullptr, FILE *, fdopen, (int file, const char *mode), (file, mode))
REPLACE_PLAINLY(Open, nullptr, FILE *, freopen, (const char *path, const char *mode, FILE *stream),
                (path, mode, stream))

// read and write

enum class Kind
{
    File,
    Pipe,
    Socket,
    Other
};

static Kind kindOf(int file)
{
    const Inside inside;
    const int error = errno;
    struct stat status;
    const bool isThere = fstat(file, &status) == 0;
    errno = error;
    if (!isThere)
        return Kind::Other;
    if (S_ISREG(status.st_mode))
        return Kind::File;
    return S_ISFIFO(status.st_mode)   ? Kind::Pipe
           : S_ISSOCK(status.st_mode) ? Kind::Socket
                                      : Kind::Other;
}

static bool failsToRead(int file, const char *call)
{
    if (!isArmed(Read))
        return false;
    const Kind kind = kindOf(file);
    return (kind == Kind::File || kind == Kind::Socket) && fails(Read, call);
}

/// How many of \a size bytes a write may take. -1, with errno set, when it is to fail.
static ssize_t writable(int file, std::size_t size, const char *call)
{
    const bool isShort = isArmed(Short);
    if (!isShort && !isArmed(Write))
        return static_cast<ssize_t>(size);
    const Kind kind = kindOf(file);
    if (kind == Kind::Other || (isShort && size < 2 && state->calls < state->nth))
        return static_cast<ssize_t>(size);
    switch (step(call)) {
    case 0:
        return static_cast<ssize_t>(size);
    case 1:
        if (isShort && size > 1)
            return static_cast<ssize_t>(size / 2);
        break;
    }
    errno = kind == Kind::File ? ENOSPC : EPIPE;
    return -1;
}

REPLACE(ssize_t, read, (int file, void *bytes, std::size_t size))
{
    return failsToRead(file, "read") ? -1 : NEXT(read)(file, bytes, size);
}

REPLACE(ssize_t, __read_chk, (int file, void *bytes, std::size_t size, std::size_t room))
{
    return failsToRead(file, "read") ? -1 : NEXT(__read_chk)(file, bytes, size, room);
}

REPLACE(ssize_t, pread, (int file, void *bytes, std::size_t size, off_t at))
{
    return failsToRead(file, "pread") ? -1 : NEXT(pread)(file, bytes, size, at);
}

REPLACE(ssize_t, pread64, (int file, void *bytes, std::size_t size, off64_t at))
{
    return failsToRead(file, "pread") ? -1 : NEXT(pread64)(file, bytes, size, at);
}

REPLACE(ssize_t, readv, (int file, const iovec *pieces, int count))
{
    return failsToRead(file, "readv") ? -1 : NEXT(readv)(file, pieces, count);
}

REPLACE(ssize_t, recv, (int file, void *bytes, std::size_t size, int flags))
{
    return failsToRead(file, "recv") ? -1 : NEXT(recv)(file, bytes, size, flags);
}

REPLACE(ssize_t, write, (int file, const void *bytes, std::size_t size))
{
    const ssize_t count = writable(file, size, "write");
    return count < 0 ? -1 : NEXT(write)(file, bytes, static_cast<std::size_t>(count));
}

REPLACE(ssize_t, pwrite, (int file, const void *bytes, std::size_t size, off_t at))
{
    const ssize_t count = writable(file, size, "pwrite");
    return count < 0 ? -1 : NEXT(pwrite)(file, bytes, static_cast<std::size_t>(count), at);
}

REPLACE(ssize_t, pwrite64, (int file, const void *bytes, std::size_t size, off64_t at))
{
    const ssize_t count = writable(file, size, "pwrite");
    return count < 0 ? -1 : NEXT(pwrite64)(file, bytes, static_cast<std::size_t>(count), at);
}

REPLACE(ssize_t, writev, (int file, const iovec *pieces, int count))
{
    const std::size_t size = count > 0 ? pieces[0].iov_len : 0;
    const ssize_t taken = writable(file, size, "writev");
    if (taken < 0)
        return -1;
    if (static_cast<std::size_t>(taken) == size)
        return NEXT(writev)(file, pieces, count);
    const iovec piece = {pieces[0].iov_base, static_cast<std::size_t>(taken)};
    return NEXT(writev)(file, &piece, 1);
}

REPLACE(ssize_t, sendfile, (int to, int from, off_t *at, std::size_t size))
{
    const ssize_t count = writable(to, size, "sendfile");
    return count < 0 ? -1 : NEXT(sendfile)(to, from, at, static_cast<std::size_t>(count));
}

REPLACE(ssize_t, sendfile64, (int to, int from, off64_t *at, std::size_t size))
{
    const ssize_t count = writable(to, size, "sendfile");
    return count < 0 ? -1 : NEXT(sendfile64)(to, from, at, static_cast<std::size_t>(count));
}

REPLACE(ssize_t, copy_file_range,
        (int from, off64_t *fromAt, int to, off64_t *toAt, std::size_t size, unsigned flags))
{
    const ssize_t count = writable(to, size, "copy_file_range");
    return count < 0 ? -1
                     : NEXT(copy_file_range)(from, fromAt, to, toAt,
                                             static_cast<std::size_t>(count), flags);
}

REPLACE_PLAINLY(Write, -1, int, ftruncate, (int file, off_t size), (file, size))
REPLACE_PLAINLY(Write, -1, int, ftruncate64, (int file, off64_t size), (file, size))
REPLACE_PLAINLY(Write, ENOSPC, int, posix_fallocate, (int file, off_t from, off_t size),
                (file, from, size))
REPLACE_PLAINLY(Write, ENOSPC, int, posix_fallocate64, (int file, off64_t from, off64_t size),
                (file, from, size))
REPLACE_PLAINLY(Fsync, -1, int, fsync, (int file), (file))
REPLACE_PLAINLY(Fsync, -1, int, fdatasync, (int file), (file))

// The streams of the C library do not go through read() and write() as others see them.

static void setError(FILE *stream) { stream->_flags |= _IO_ERR_SEEN; }

static bool failsToRead(FILE *stream, const char *call)
{
    if (!isArmed(Read) || !stream || !failsToRead(fileno(stream), call))
        return false;
    setError(stream);
    return true;
}

REPLACE(std::size_t, fread, (void *bytes, std::size_t size, std::size_t count, FILE *stream))
{
    return failsToRead(stream, "fread") ? 0 : NEXT(fread)(bytes, size, count, stream);
}

REPLACE(std::size_t, fread_unlocked,
        (void *bytes, std::size_t size, std::size_t count, FILE *stream))
{
    return failsToRead(stream, "fread") ? 0 : NEXT(fread_unlocked)(bytes, size, count, stream);
}

REPLACE(std::size_t, __fread_chk,
        (void *bytes, std::size_t room, std::size_t size, std::size_t count, FILE *stream))
{
    return failsToRead(stream, "fread") ? 0 : NEXT(__fread_chk)(bytes, room, size, count, stream);
}

REPLACE(char *, fgets, (char *bytes, int size, FILE *stream))
{
    return failsToRead(stream, "fgets") ? nullptr : NEXT(fgets)(bytes, size, stream);
}

REPLACE(char *, __fgets_chk, (char *bytes, std::size_t room, int size, FILE *stream))
{
    return failsToRead(stream, "fgets") ? nullptr : NEXT(__fgets_chk)(bytes, room, size, stream);
}

#define REPLACE_GETC(name)                                            \
    REPLACE(int, name, (FILE * stream))                               \
    {                                                                 \
        return failsToRead(stream, #name) ? EOF : NEXT(name)(stream); \
    }
REPLACE_GETC(fgetc)
REPLACE_GETC(getc)
REPLACE_GETC(_IO_getc)
REPLACE_GETC(fgetc_unlocked)
REPLACE_GETC(getc_unlocked)
REPLACE_GETC(__uflow) // what getc_unlocked() fills its buffer by as a macro

/// How many of \a count items of \a size bytes a write to \a stream may take.
static std::size_t writable(FILE *stream, std::size_t size, std::size_t count, const char *call)
{
    if (!isArmed(Write) && !isArmed(Short))
        return count;
    const std::size_t bytes = size * count;
    const ssize_t taken = writable(fileno(stream), bytes, call);
    return taken < 0 ? 0 : size == 0 ? count : static_cast<std::size_t>(taken) / size;
}

#define REPLACE_FWRITE(name)                                                                  \
    REPLACE(std::size_t, name,                                                                \
            (const void *bytes, std::size_t size, std::size_t count, FILE *stream))           \
    {                                                                                         \
        const std::size_t allowed = writable(stream, size, count, #name);                     \
        const std::size_t taken = allowed > 0 ? NEXT(name)(bytes, size, allowed, stream) : 0; \
        if (allowed < count) {                                                                \
            setError(stream);                                                                 \
            errno = ENOSPC;                                                                   \
        }                                                                                     \
        return taken;                                                                         \
    }
REPLACE_FWRITE(fwrite)
REPLACE_FWRITE(fwrite_unlocked)

REPLACE(int, fputs, (const char *text, FILE *stream))
{
    if (writable(stream, 1, std::strlen(text), "fputs") == std::strlen(text))
        return NEXT(fputs)(text, stream);
    setError(stream);
    return EOF;
}

#define REPLACE_PUTC(name)                            \
    REPLACE(int, name, (int character, FILE *stream)) \
    {                                                 \
        if (writable(stream, 1, 1, #name) == 1)       \
            return NEXT(name)(character, stream);     \
        setError(stream);                             \
        return EOF;                                   \
    }
REPLACE_PUTC(fputc)
REPLACE_PUTC(putc)
REPLACE_PUTC(__overflow)

/// Whether what waits in \a stream cannot be written now.
static bool failsToFlush(FILE *stream, const char *call)
{
    if (!stream || (!isArmed(Write) && !isArmed(Short)) || __fpending(stream) == 0)
        return false;
    const auto waiting = static_cast<ssize_t>(__fpending(stream));
    if (writable(fileno(stream), static_cast<std::size_t>(waiting), call) == waiting)
        return false;
    errno = ENOSPC;
    return true;
}

REPLACE(int, fflush, (FILE * stream))
{
    if (!failsToFlush(stream, "fflush"))
        return NEXT(fflush)(stream);
    setError(stream);
    return EOF;
}

REPLACE(int, fclose, (FILE * stream))
{
    if (!failsToFlush(stream, "fclose"))
        return NEXT(fclose)(stream);
    __fpurge(stream); // the stream is closed all the same, and what waited in it is lost
    NEXT(fclose)(stream);
    errno = ENOSPC;
    return EOF;
}

// Names in folders

REPLACE_PLAINLY(Rename, -1, int, rename, (const char *from, const char *to), (from, to))
REPLACE_PLAINLY(Rename, -1, int, renameat,
                (int fromFolder, const char *from, int toFolder, const char *to),
                (fromFolder, from, toFolder, to))
REPLACE_PLAINLY(Rename, -1, int, renameat2,
                (int fromFolder, const char *from, int toFolder, const char *to, unsigned flags),
                (fromFolder, from, toFolder, to, flags))
REPLACE_PLAINLY(Rename, -1, int, link, (const char *from, const char *to), (from, to))
REPLACE_PLAINLY(Rename, -1, int, linkat,
                (int fromFolder, const char *from, int toFolder, const char *to, int flags),
                (fromFolder, from, toFolder, to, flags))
REPLACE_PLAINLY(Rename, -1, int, symlink, (const char *from, const char *to), (from, to))
REPLACE_PLAINLY(Mkdir, -1, int, mkdir, (const char *path, mode_t mode), (path, mode))
REPLACE_PLAINLY(Mkdir, -1, int, mkdirat, (int folder, const char *path, mode_t mode),
                (folder, path, mode))
REPLACE_PLAINLY(Unlink, -1, int, unlink, (const char *path), (path))
REPLACE_PLAINLY(Unlink, -1, int, unlinkat, (int folder, const char *path, int flags),
                (folder, path, flags))
REPLACE_PLAINLY(Unlink, -1, int, rmdir, (const char *path), (path))
REPLACE_PLAINLY(Unlink, -1, int, remove, (const char *path), (path))

// stat

REPLACE_PLAINLY(Stat, -1, int, stat, (const char *path, void *status), (path, status))
REPLACE_PLAINLY(Stat, -1, int, stat64, (const char *path, void *status), (path, status))
REPLACE_PLAINLY(Stat, -1, int, fstat, (int file, void *status), (file, status))
REPLACE_PLAINLY(Stat, -1, int, fstat64, (int file, void *status), (file, status))
REPLACE_PLAINLY(Stat, -1, int, lstat, (const char *path, void *status), (path, status))
REPLACE_PLAINLY(Stat, -1, int, lstat64, (const char *path, void *status), (path, status))
REPLACE_PLAINLY(Stat, -1, int, fstatat, (int folder, const char *path, void *status, int flags),
                (folder, path, status, flags))
REPLACE_PLAINLY(Stat, -1, int, fstatat64, (int folder, const char *path, void *status, int flags),
                (folder, path, status, flags))
REPLACE_PLAINLY(Stat, -1, int, __xstat, (int version, const char *path, void *status),
                (version, path, status))
REPLACE_PLAINLY(Stat, -1, int, __xstat64, (int version, const char *path, void *status),
                (version, path, status))
REPLACE_PLAINLY(Stat, -1, int, __fxstat, (int version, int file, void *status),
                (version, file, status))
REPLACE_PLAINLY(Stat, -1, int, __fxstat64, (int version, int file, void *status),
                (version, file, status))
REPLACE_PLAINLY(Stat, -1, int, __lxstat, (int version, const char *path, void *status),
                (version, path, status))
REPLACE_PLAINLY(Stat, -1, int, __lxstat64, (int version, const char *path, void *status),
                (version, path, status))
REPLACE_PLAINLY(Stat, -1, int, statx,
                (int folder, const char *path, int flags, unsigned mask, void *status),
                (folder, path, flags, mask, status))
REPLACE_PLAINLY(Stat, -1, int, access, (const char *path, int mode), (path, mode))
REPLACE_PLAINLY(Stat, -1, int, faccessat, (int folder, const char *path, int mode, int flags),
                (folder, path, mode, flags))
REPLACE_PLAINLY(Stat, -1, ssize_t, readlink, (const char *path, char *target, std::size_t size),
                (path, target, size))
REPLACE_PLAINLY(Stat, nullptr, char *, realpath, (const char *path, char *resolved),
                (path, resolved))

// readdir

#define REPLACE_OPENDIR(name, parameters, arguments) \
    REPLACE(DIR *, name, parameters)                 \
    {                                                \
        if (!fails(ReadDir, #name))                  \
            return NEXT(name) arguments;             \
        errno = EMFILE;                              \
        return nullptr;                              \
    }
REPLACE_OPENDIR(opendir, (const char *path), (path))
REPLACE_OPENDIR(fdopendir, (int file), (file))
REPLACE_PLAINLY(ReadDir, nullptr, dirent *, readdir, (DIR * folder), (folder))
REPLACE_PLAINLY(ReadDir, nullptr, dirent64 *, readdir64, (DIR * folder), (folder))

// fork

REPLACE_PLAINLY(Fork, -1, pid_t, fork, (), ())

// The child of a vfork() runs in the frame of its caller, which this function would tear down.
REPLACE(pid_t, vfork, ())
{
    (void)next_vfork;
    return fails(Fork, "vfork") ? -1 : NEXT(fork)();
}

REPLACE_PLAINLY(Fork, EAGAIN, int, posix_spawn,
                (pid_t * id, const char *path, const posix_spawn_file_actions_t *actions,
                 const posix_spawnattr_t *attributes, char *const *arguments,
                 char *const *environment),
                (id, path, actions, attributes, arguments, environment))
REPLACE_PLAINLY(Fork, EAGAIN, int, posix_spawnp,
                (pid_t * id, const char *path, const posix_spawn_file_actions_t *actions,
                 const posix_spawnattr_t *attributes, char *const *arguments,
                 char *const *environment),
                (id, path, actions, attributes, arguments, environment))
REPLACE_PLAINLY(Fork, nullptr, FILE *, popen, (const char *command, const char *mode),
                (command, mode))
REPLACE_PLAINLY(Fork, -1, int, system, (const char *command), (command))

// pipe

REPLACE_PLAINLY(Pipe, -1, int, pipe, (int *files), (files))
REPLACE_PLAINLY(Pipe, -1, int, pipe2, (int *files, int flags), (files, flags))
REPLACE_PLAINLY(Pipe, -1, int, socketpair, (int domain, int type, int protocol, int *files),
                (domain, type, protocol, files))
REPLACE_PLAINLY(Pipe, -1, int, eventfd, (unsigned value, int flags), (value, flags))

// seek

REPLACE_PLAINLY(Seek, -1, off_t, lseek, (int file, off_t at, int whence), (file, at, whence))
REPLACE_PLAINLY(Seek, -1, off64_t, lseek64, (int file, off64_t at, int whence), (file, at, whence))
REPLACE_PLAINLY(Seek, -1, int, fseek, (FILE * stream, long at, int whence), (stream, at, whence))
REPLACE_PLAINLY(Seek, -1, int, fseeko, (FILE * stream, off_t at, int whence), (stream, at, whence))
REPLACE_PLAINLY(Seek, -1, int, fseeko64, (FILE * stream, off64_t at, int whence),
                (stream, at, whence))
REPLACE_PLAINLY(Seek, -1, long, ftell, (FILE * stream), (stream))
REPLACE_PLAINLY(Seek, -1, off_t, ftello, (FILE * stream), (stream))
REPLACE_PLAINLY(Seek, -1, off64_t, ftello64, (FILE * stream), (stream))

REPLACE(void, rewind, (FILE * stream))
{
    if (fails(Seek, "rewind"))
        setError(stream);
    else
        NEXT(rewind)(stream);
}

// lock

REPLACE_PLAINLY(Lock, -1, int, flock, (int file, int operation), (file, operation))
REPLACE_PLAINLY(Lock, -1, int, lockf, (int file, int command, off_t size), (file, command, size))
REPLACE_PLAINLY(Lock, -1, int, lockf64, (int file, int command, off64_t size),
                (file, command, size))

static bool isLocking(int command)
{
    switch (command) {
    case F_GETLK:
    case F_SETLK:
    case F_SETLKW:
    case F_OFD_GETLK:
    case F_OFD_SETLK:
    case F_OFD_SETLKW:
        return true;
    default:
        return false;
    }
}

#define REPLACE_FCNTL(name)                                                                    \
    REPLACE(int, name, (int file, int command, ...))                                           \
    {                                                                                          \
        va_list arguments;                                                                     \
        va_start(arguments, command);                                                          \
        void *const argument = va_arg(arguments, void *);                                      \
        va_end(arguments);                                                                     \
        return isLocking(command) && fails(Lock, #name) ? -1                                   \
                                                        : NEXT(name)(file, command, argument); \
    }
REPLACE_FCNTL(fcntl)
REPLACE_FCNTL(fcntl64)

// malloc. What the C library exports its own functions by, as dlsym() allocates.

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
}

#define REPLACE_MALLOC(name, parameters, arguments)                                             \
    extern "C"                                                                                  \
        __attribute__((visibility("default"))) void *replaced_##name parameters __asm__(#name); \
    void *replaced_##name parameters                                                            \
    {                                                                                           \
        return fails(Malloc, #name) ? nullptr : __libc_##name arguments;                        \
    }
REPLACE_MALLOC(malloc, (std::size_t size), (size))
REPLACE_MALLOC(calloc, (std::size_t count, std::size_t size), (count, size))
REPLACE_MALLOC(realloc, (void *memory, std::size_t size), (memory, size))
REPLACE_MALLOC(memalign, (std::size_t alignment, std::size_t size), (alignment, size))

extern "C" __attribute__((visibility("default"))) void *
replaced_aligned_alloc(std::size_t alignment, std::size_t size) __asm__("aligned_alloc");
void *replaced_aligned_alloc(std::size_t alignment, std::size_t size)
{
    return fails(Malloc, "aligned_alloc") ? nullptr : __libc_memalign(alignment, size);
}

extern "C" __attribute__((visibility("default"))) int
replaced_posix_memalign(void **memory, std::size_t alignment,
                        std::size_t size) __asm__("posix_memalign");
int replaced_posix_memalign(void **memory, std::size_t alignment, std::size_t size)
{
    void *const found =
        fails(Malloc, "posix_memalign") ? nullptr : __libc_memalign(alignment, size);
    if (!found)
        return ENOMEM;
    *memory = found;
    return 0;
}

// Signals

/// Notes a signal that does not go out.
static int refuse(const char *call, long id)
{
    __atomic_add_fetch(&state->signalled, 1, __ATOMIC_SEQ_CST);
    const Inside inside;
    char text[80];
    const int size = std::snprintf(text, sizeof(text), "libinject: refused %s to %ld\n", call, id);
    if (next_write)
        (void)!NEXT(write)(STDERR_FILENO, text, static_cast<std::size_t>(size));
    errno = EPERM;
    return -1;
}

/// The process of \a handle; 0 when it cannot be determined, -1 when the process has ended.
static long processOf(int handle)
{
    const Inside inside;
    char name[48];
    std::snprintf(name, sizeof(name), "/proc/self/fdinfo/%d", handle);
    const int file = NEXT(open)(name, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return 0;
    char text[512];
    const ssize_t size = NEXT(read)(file, text, sizeof(text) - 1);
    close(file);
    text[size > 0 ? size : 0] = '\0';
    const char *const line = std::strstr(text, "Pid:");
    return line ? std::atol(line + 4) : 0;
}

/// Whether a signal by the handle of \a id goes to another process than a child.
static bool reachesOthers(long id) { return id == 0 || id == 1; }

REPLACE(int, kill, (pid_t id, int signal))
{
    return id <= 1 ? refuse("kill", id) : NEXT(kill)(id, signal);
}

REPLACE(int, killpg, (pid_t group, int signal))
{
    return group <= 1 ? refuse("killpg", group) : NEXT(killpg)(group, signal);
}

REPLACE(int, tgkill, (pid_t process, pid_t thread, int signal))
{
    return process <= 1 || thread <= 1 ? refuse("tgkill", process)
                                       : NEXT(tgkill)(process, thread, signal);
}

REPLACE(int, sigqueue, (pid_t id, int signal, void *value))
{
    return id <= 1 ? refuse("sigqueue", id) : NEXT(sigqueue)(id, signal, value);
}

REPLACE(int, pidfd_send_signal, (int handle, int signal, void *info, unsigned flags))
{
    const long id = processOf(handle);
    return reachesOthers(id) ? refuse("pidfd_send_signal", id)
                             : NEXT(pidfd_send_signal)(handle, signal, info, flags);
}

// What is asked for by its number. Qt starts a process so, and the library signals one so.

REPLACE(long, syscall, (long number, ...))
{
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);

    const long id = number == SYS_pidfd_send_signal ? processOf(static_cast<int>(arguments[0]))
                                                    : static_cast<pid_t>(arguments[0]);
    switch (number) {
    case SYS_kill:
    case SYS_tkill:
    case SYS_tgkill:
    case SYS_rt_sigqueueinfo:
    case SYS_rt_tgsigqueueinfo:
        if (id <= 1)
            return refuse("syscall", id);
        break;
    case SYS_pidfd_send_signal:
        if (reachesOthers(id))
            return refuse("syscall", id);
        break;
    case SYS_clone:
    case SYS_clone3:
#ifdef SYS_fork
    case SYS_fork:
#endif
        if (fails(Fork, "clone"))
            return -1;
        break;
    case SYS_openat:
        if (fails(Open, "openat"))
            return -1;
        break;
    case SYS_renameat2:
        if (fails(Rename, "renameat2"))
            return -1;
        break;
    case SYS_statx:
        if (fails(Stat, "statx"))
            return -1;
        break;
    default:
        break;
    }
    return NEXT(syscall)(number, arguments[0], arguments[1], arguments[2], arguments[3],
                         arguments[4], arguments[5]);
}
