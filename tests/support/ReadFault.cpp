#include "tests/support/ReadFault.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>

#include <dlfcn.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static std::atomic<bool> isBroken;
static dev_t device;
static ino_t inode;
static qint64 firstBadByte;
static int errorNumber;
static std::atomic<int> timesLeft;
static std::atomic<bool> hasBadSeeks;
static std::atomic<int> failures;

ReadFault::ReadFault(const QString &path, qint64 offset, int error, int times)
{
    struct stat status;
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        qFatal("there is no file to break");
    device = status.st_dev;
    inode = status.st_ino;
    firstBadByte = offset;
    errorNumber = error;
    timesLeft = times;
    hasBadSeeks = false;
    failures = 0;
    isBroken = true;
}

void ReadFault::refuseSeeks() { hasBadSeeks = true; }

void ReadFault::repair() { isBroken = false; }

int ReadFault::count() const { return failures; }

int openFiles() { return QDir("/proc/self/fd").entryList(QDir::Files | QDir::System).size(); }

static bool isBrokenFile(int descriptor)
{
    struct stat status;
    return isBroken && timesLeft != 0 && fstat(descriptor, &status) == 0 &&
           status.st_dev == device && status.st_ino == inode;
}

static void fail()
{
    ++failures;
    if (timesLeft > 0)
        --timesLeft;
    errno = errorNumber;
}

/// How many of \p wanted bytes can be read at \p position, -1 when the first of them is bad.
static ssize_t goodBytes(qint64 position, std::size_t wanted)
{
    if (wanted > 0 && position >= firstBadByte) {
        fail();
        return -1;
    }
    return static_cast<ssize_t>(std::min<quint64>(wanted, firstBadByte - position));
}

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

KELM_IN_FRONT ssize_t read(int descriptor, void *bytes, std::size_t size)
{
    if (isBrokenFile(descriptor)) {
        const ssize_t good = goodBytes(lseek(descriptor, 0, SEEK_CUR), size);
        if (good < 0)
            return -1;
        size = static_cast<std::size_t>(good);
    }
    return syscall(SYS_read, descriptor, bytes, size);
}

KELM_IN_FRONT ssize_t sendfile(int to, int from, off_t *offset, std::size_t size) noexcept
{
    if (isBrokenFile(from)) {
        const ssize_t good = goodBytes(offset ? *offset : lseek(from, 0, SEEK_CUR), size);
        if (good < 0)
            return -1;
        size = static_cast<std::size_t>(good);
    }
    return next(&sendfile, "sendfile")(to, from, offset, size);
}

// A file system may share the blocks of two files, which reads none of them.
KELM_IN_FRONT int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == FICLONE && isBrokenFile(static_cast<int>(reinterpret_cast<qintptr>(argument)))) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

// The C library does not read by way of the function above.
KELM_IN_FRONT std::size_t fread(void *bytes, std::size_t size, std::size_t count, std::FILE *stream)
{
    static const auto plain = next(&fread, "fread");
    if (size == 0 || !isBrokenFile(fileno(stream)))
        return plain(bytes, size, count, stream);

    const auto wanted = static_cast<ssize_t>(size * count);
    const ssize_t good = goodBytes(std::ftell(stream), size * count);
    if (good == wanted)
        return plain(bytes, size, count, stream);
    const std::size_t taken =
        good > 0 ? plain(bytes, 1, static_cast<std::size_t>(good), stream) : 0;
    if (!std::feof(stream)) {
        if (good > 0) // where goodBytes() has counted none
            fail();
        stream->_flags |= _IO_ERR_SEEN;
    }
    return taken / size;
}

KELM_IN_FRONT int fseek(std::FILE *stream, long offset, int whence)
{
    static const auto plain = next(&fseek, "fseek");
    if (hasBadSeeks && isBrokenFile(fileno(stream))) {
        fail();
        return -1;
    }
    return plain(stream, offset, whence);
}

KELM_IN_FRONT int fseeko(std::FILE *stream, off_t offset, int whence)
{
    static const auto plain = next(&fseeko, "fseeko");
    if (hasBadSeeks && isBrokenFile(fileno(stream))) {
        fail();
        return -1;
    }
    return plain(stream, offset, whence);
}
