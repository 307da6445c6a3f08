#include "tests/support/ByteDisk.h"

#include <QFile>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static bool isLimited;
static bool hasFailed;
static dev_t disk;
static std::size_t bytesLeft;

ByteDisk::ByteDisk(const QString &path, qint64 bytes)
{
    struct stat status;
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        qFatal("there is no disk to fill");
    disk = status.st_dev;
    bytesLeft = static_cast<std::size_t>(bytes);
    hasFailed = false;
    isLimited = true;
}

ByteDisk::~ByteDisk() { isLimited = false; }

bool ByteDisk::isFull() { return hasFailed; }

/// Reduces \p size to what fits on the disk. False, with errno set, when nothing does.
static bool takeRoom(int file, std::size_t &size)
{
    struct stat status;
    if (!isLimited || fstat(file, &status) != 0 || status.st_dev != disk)
        return true;
    if (size > 0 && bytesLeft == 0) {
        hasFailed = true;
        errno = ENOSPC;
        return false;
    }
    size = std::min(size, bytesLeft);
    bytesLeft -= size;
    return true;
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void *bytes,
                                                                std::size_t size)
{
    return takeRoom(file, size) ? syscall(SYS_write, file, bytes, size) : -1;
}

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(int file, const void *bytes,
                                                                 std::size_t size, off_t at)
{
    return takeRoom(file, size) ? syscall(SYS_pwrite64, file, bytes, size, at) : -1;
}
