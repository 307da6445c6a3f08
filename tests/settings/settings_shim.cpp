// Preloaded into a program, it lets chosen system calls on settings files fail: those that ask for
// bytes or for what is known of a file whose name ends in ".conf", or replace such a file; and
// those that flush a file to the disk, except locks.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int readsToPass = -1; // before the first failure; none fails when negative
int readsToFail = 0;
int statsToPass = -1;
int statsToFail = 0;
int renamesToFail = 0;
int flushesToFail = 0;

bool isSettings(const std::string &path)
{
    const std::string ending = ".conf";
    return path.size() > ending.size() &&
           path.compare(path.size() - ending.size(), ending.size(), ending) == 0;
}

std::string pathOf(int file)
{
    char path[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t size = readlink(link.c_str(), path, sizeof path);
    return size > 0 ? std::string(path, static_cast<std::size_t>(size)) : std::string();
}

bool isSettings(int file) { return isSettings(pathOf(file)); }

/// The lock of a settings file is flushed, too. The new file itself may have no name.
bool isLock(int file) { return pathOf(file).find(".conf.lock") != std::string::npos; }

bool fails(int &toPass, int &toFail)
{
    if (toPass < 0)
        return false;
    if (toPass > 0) {
        --toPass;
        return false;
    }
    return toFail > 0 && toFail-- > 0;
}

bool flushFails(int file)
{
    if (flushesToFail == 0 || isLock(file))
        return false;
    --flushesToFail;
    errno = EIO;
    return true;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) void failReads(int passed, int failed)
{
    readsToPass = passed;
    readsToFail = failed;
}

__attribute__((visibility("default"))) void failStats(int passed, int failed)
{
    statsToPass = passed;
    statsToFail = failed;
}

__attribute__((visibility("default"))) void failRenames(int failed) { renamesToFail = failed; }

__attribute__((visibility("default"))) int failRenamesLeft() { return renamesToFail; }

__attribute__((visibility("default"))) void failFlushes(int failed) { flushesToFail = failed; }

__attribute__((visibility("default"))) int failFlushesLeft() { return flushesToFail; }

__attribute__((visibility("default"))) int failuresLeft() { return readsToFail + statsToFail; }

__attribute__((visibility("default"))) ssize_t read(int file, void *buffer, size_t size)
{
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, void *, size_t)>(dlsym(RTLD_NEXT, "read"));
    if (readsToPass >= 0 && isSettings(file)) {
        if (fails(readsToPass, readsToFail)) {
            errno = EIO;
            return -1;
        }
        return next(file, buffer, size > 2000 ? 2000 : size); // so that there are several
    }
    return next(file, buffer, size);
}

__attribute__((visibility("default"))) int statx(int folder, const char *path, int flags,
                                                 unsigned mask, struct statx *result)
{
    static const auto next =
        reinterpret_cast<int (*)(int, const char *, int, unsigned, struct statx *)>(
            dlsym(RTLD_NEXT, "statx"));
    const bool isFile = *path == '\0';
    if (statsToPass >= 0 && (isFile ? isSettings(folder) : isSettings(std::string(path))) &&
        fails(statsToPass, statsToFail))
    {
        errno = EIO;
        return -1;
    }
    return next(folder, path, flags, mask, result);
}

__attribute__((visibility("default"))) int stat(const char *path, struct stat *result)
{
    static const auto next =
        reinterpret_cast<int (*)(const char *, struct stat *)>(dlsym(RTLD_NEXT, "stat"));
    if (statsToPass >= 0 && isSettings(std::string(path)) && fails(statsToPass, statsToFail)) {
        errno = EIO;
        return -1;
    }
    return next(path, result);
}

__attribute__((visibility("default"))) int rename(const char *from, const char *to) noexcept
{
    static const auto next =
        reinterpret_cast<int (*)(const char *, const char *)>(dlsym(RTLD_NEXT, "rename"));
    if (renamesToFail > 0 && isSettings(std::string(to))) {
        --renamesToFail;
        errno = EIO;
        return -1;
    }
    return next(from, to);
}

__attribute__((visibility("default"))) int fsync(int file)
{
    static const auto next = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    return flushFails(file) ? -1 : next(file);
}

__attribute__((visibility("default"))) int fdatasync(int file)
{
    static const auto next = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fdatasync"));
    return flushFails(file) ? -1 : next(file);
}

} // extern "C"
