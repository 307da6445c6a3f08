#include "tests/csv/BadFile.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static bool isBad;
static dev_t device;
static ino_t inode;
static qint64 firstBadByte;
static int errorNumber;
static int timesLeft;
static bool hasBadSeeks;
static int failures;

BadFile::BadFile(const QString &path, qint64 offset, int error, int times)
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
    isBad = true;
}

void BadFile::refuseSeeks() { hasBadSeeks = true; }
void BadFile::repair() { isBad = false; }
int BadFile::count() const { return failures; }

int openFiles() { return QDir("/proc/self/fd").entryList(QDir::Files | QDir::System).size(); }

static bool isTheBadOne(int descriptor)
{
    struct stat status;
    return isBad && timesLeft != 0 && fstat(descriptor, &status) == 0 && status.st_dev == device &&
           status.st_ino == inode;
}

static void fail()
{
    ++failures;
    timesLeft -= timesLeft > 0;
    errno = errorNumber;
}

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

KELM_IN_FRONT ssize_t read(int descriptor, void *bytes, std::size_t size)
{
    if (size > 0 && isTheBadOne(descriptor)) {
        const qint64 good = firstBadByte - lseek(descriptor, 0, SEEK_CUR);
        if (good <= 0) {
            fail();
            return -1;
        }
        size = std::min(size, static_cast<std::size_t>(good));
    }
    return syscall(SYS_read, descriptor, bytes, size);
}

static int descriptorOf(void *cookie)
{
    return static_cast<int>(reinterpret_cast<qintptr>(cookie));
}

static ssize_t readCookie(void *cookie, char *bytes, std::size_t size)
{
    return read(descriptorOf(cookie), bytes, size);
}

static int seekCookie(void *cookie, off64_t *offset, int whence)
{
    if (hasBadSeeks && isTheBadOne(descriptorOf(cookie))) {
        fail();
        return -1;
    }
    *offset = lseek(descriptorOf(cookie), *offset, whence);
    return *offset < 0 ? -1 : 0;
}

static int closeCookie(void *cookie) { return close(descriptorOf(cookie)); }

// The C library does not read by way of the function above, so that what is opened here does.
KELM_IN_FRONT std::FILE *fopen(const char *path, const char *mode)
{
    if (std::strcmp(mode, "rb") != 0) {
        using Function = std::FILE *(*)(const char *, const char *);
        return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "fopen"))(path, mode);
    }
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    void *const cookie = reinterpret_cast<void *>(static_cast<qintptr>(descriptor));
    std::FILE *const file =
        fopencookie(cookie, mode, {readCookie, nullptr, seekCookie, closeCookie});
    if (!file)
        close(descriptor);
    return file;
}
