#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_files_p.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>

#include <dlfcn.h>
#include <fcntl.h>
#include <langinfo.h>
#include <linux/fs.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Utils::Platform {

namespace {

/// Redirects the three standard streams of a program that is started to the null device.
class NoStreams
{
public:
    NoStreams()
    {
        m_isReady = posix_spawn_file_actions_init(&m_actions) == 0;
        m_isComplete = m_isReady && open(STDIN_FILENO, O_RDONLY) && open(STDOUT_FILENO, O_WRONLY) &&
                       open(STDERR_FILENO, O_WRONLY);
    }
    ~NoStreams()
    {
        if (m_isReady)
            posix_spawn_file_actions_destroy(&m_actions);
    }
    NoStreams(const NoStreams &) = delete;
    NoStreams &operator=(const NoStreams &) = delete;

    /// Null when the memory does not suffice.
    const posix_spawn_file_actions_t *actions() const
    {
        return m_isComplete ? &m_actions : nullptr;
    }

private:
    bool open(int stream, int mode)
    {
        return posix_spawn_file_actions_addopen(&m_actions, stream, "/dev/null", mode, 0) == 0;
    }

    posix_spawn_file_actions_t m_actions;
    bool m_isReady;
    bool m_isComplete;
};

} // namespace

std::FILE *openFile(const std::string &path, const char *mode)
{
    errno = isUsable(path) ? 0 : ENOENT;
    if (errno != 0)
        return nullptr;
    std::FILE *const file = std::fopen(path.c_str(), mode);
    if (!file)
        return nullptr;

    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) { // can be opened to read
        std::fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    errno = 0;
    return file;
}

int openShared(const std::string &) { return -1; }

bool seekFile(std::FILE *file, std::int64_t position)
{
    return fseeko(file, position, SEEK_SET) == 0;
}

/// In milliseconds, for EntryStatus. Some file systems store any number of seconds.
static std::int64_t milliseconds(const timespec &time)
{
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() / 2000; // seconds
    // Nanoseconds are added to the seconds, also when these are negative (before the epoch).
    return std::clamp<std::int64_t>(time.tv_sec, -most, most) * 1000 + time.tv_nsec / 1000000;
}

static EntryStatus entryStatus(const struct stat &status)
{
    const timespec &changed = status.st_ctim;
    return {entryOf(status.st_mode),
            status.st_size,
            milliseconds(status.st_mtim),
            status.st_dev,
            status.st_ino,
            std::uint64_t(changed.tv_sec) * 1000000000 + std::uint64_t(changed.tv_nsec)};
}

EntryStatus entryStatus(const std::string &path, bool followLinks)
{
    if (!isUsable(path))
        return {};
    struct stat status;
    if ((followLinks ? stat(path.c_str(), &status) : lstat(path.c_str(), &status)) != 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {isMissing ? Entry::Missing : Entry::Unknown};
    }
    return entryStatus(status);
}

EntryStatus openFileStatus(int file)
{
    struct stat status;
    return fstat(file, &status) == 0 ? entryStatus(status) : EntryStatus{Entry::Unknown};
}

std::optional<std::string> canonicalPath(const std::string &path)
{
    if (!isUsable(path))
        return std::string();
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               &std::free);
    if (resolved)
        return std::string(resolved.get());
    if (errno == ENOENT || errno == ENOTDIR)
        return std::string();
    return std::nullopt;
}

bool isSameFile(const std::string &a, const std::string &b)
{
    struct stat ofA;
    struct stat ofB;
    return isUsable(a) && isUsable(b) && stat(a.c_str(), &ofA) == 0 && stat(b.c_str(), &ofB) == 0 &&
           (S_ISREG(ofA.st_mode) || S_ISDIR(ofA.st_mode)) && ofA.st_dev == ofB.st_dev &&
           ofA.st_ino == ofB.st_ino;
}

std::optional<bool> isSameEntry(const std::string &, const std::string &) { return {}; }

bool isRootOfDrive(const std::string &) { return false; }

bool removeOpenFile(const std::string &) { return false; }

bool allowRemoval(const std::string &) { return false; }

void forbidRemoval(const std::string &) {}

bool removeFolderLink(const std::string &) { return false; }

bool hasJunctions() { return false; }

std::string errorText(int) { return {}; }

FileFault systemFault(int code) { return fileFault(code); }

int lastSystemFault() { return 133; } // they begin with 1

namespace {

/// A file descriptor that is closed at the end of the scope.
class Descriptor
{
public:
    explicit Descriptor(int file) : m_file(file) {}
    ~Descriptor()
    {
        if (m_file >= 0)
            close(m_file);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool isOpen() const { return m_file >= 0; }
    operator int() const { return m_file; }

private:
    const int m_file;
};

} // namespace

/// The permissions that QFile::setPermissions() sets for those that QFile::permissions() returns:
/// what the user of the process may do, the owner of the copy may do, too.
static mode_t copiedPermissions(const char *source, mode_t mode)
{
    const auto mayUser = [&](int right) { return access(source, right) == 0; };
    mode &= S_IRWXU | S_IRWXG | S_IRWXO;
    if (!(mode & S_IRUSR) && mayUser(R_OK))
        mode |= S_IRUSR;
    if (!(mode & S_IWUSR) && mayUser(W_OK))
        mode |= S_IWUSR;
    // Nobody may run a file that is executable for none.
    if (!(mode & S_IXUSR) && (mode & (S_IXGRP | S_IXOTH)) && mayUser(X_OK))
        mode |= S_IXUSR;
    return mode;
}

/// Writes the \p size bytes at \p bytes. False when they do not fit.
static bool writeAll(int file, const char *bytes, ssize_t size)
{
    while (size > 0) {
        const ssize_t written = write(file, bytes, static_cast<std::size_t>(size));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes += written;
        size -= written;
    }
    return true;
}

/// The number of bytes copied, by reading and writing from the start of both files; -1 when one of
/// them fails.
static std::int64_t copyByBlocks(int from, int to)
{
    if (ftruncate(to, 0) != 0 || lseek(from, 0, SEEK_SET) != 0 || lseek(to, 0, SEEK_SET) != 0)
        return -1;
    char block[16384];
    std::int64_t copied = 0;
    for (;;) {
        const ssize_t size = read(from, block, sizeof(block));
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return size < 0 ? -1 : copied;
        if (!writeAll(to, block, size))
            return -1;
        copied += size;
    }
}

/// Copies all contents, at least \p size bytes. False when that fails.
static bool copyContents(int from, int to, std::int64_t size)
{
    // A file system that can share the blocks of files copies none of them.
    if (size > 0 && ioctl(to, FICLONE, from) == 0)
        return true;
    // Not copy_file_range(), which takes files of /proc, without a size, for empty.
    const std::size_t largest = 0x7FFFF000;
    std::int64_t copied = 0;
    ssize_t sent;
    while ((sent = sendfile(to, from, nullptr, largest)) > 0)
        copied += sent;
    if (sent < 0)
        copied = copyByBlocks(from, to);
    return copied >= size;
}

CopyResult copyToNewFile(const std::string &source, const std::string &target, std::int64_t largest)
{
    if (!isUsable(source) || !isUsable(target))
        return CopyResult::NotTried;
    // Without O_NONBLOCK, opening a pipe could wait without end.
    const Descriptor from(open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (!from.isOpen() || fstat(from, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > largest)
        return CopyResult::NotTried;

    const std::size_t slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : target.substr(0, slash + 1);
    const Descriptor to(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!to.isOpen())
        return CopyResult::NotTried;
    if (!copyContents(from, to, status.st_size))
        return CopyResult::Failed;

    // Where permissions cannot be set, the copy keeps those that it has.
    (void)!fchmod(to, copiedPermissions(source.c_str(), status.st_mode));
    const std::string nameless = "/proc/self/fd/" + std::to_string(to);
    return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, target.c_str(), AT_SYMLINK_FOLLOW) == 0
               ? CopyResult::Copied
               : CopyResult::NotTried;
}

std::optional<FileVersion> fileVersion(const std::string &) { return {}; }

/// Moves as mv does, but only within a file system.
static void renameReplacing(const std::string &source, const std::string &target)
{
    switch (entryStatus(target, /*followLinks=*/true).entry) {
    case Entry::Unknown:
        return;
    case Entry::Folder:
        (void)std::rename(source.c_str(),
                          (target + '/' + source.substr(source.rfind('/') + 1)).c_str());
        return;
    default:
        (void)std::rename(source.c_str(), target.c_str());
    }
}

void moveReplacing(const std::string &source, const std::string &target)
{
    if (!isUsable(source) || !isUsable(target))
        return;

    // The call changes none of them, although it does not take them as const.
    const char *const arguments[] = {"mv", "-f", "--", source.c_str(), target.c_str(), nullptr};
    const NoStreams streams;
    pid_t child = -1;
    const bool isStarted =
        streams.actions() && posix_spawnp(&child, arguments[0], streams.actions(), nullptr,
                                          const_cast<char *const *>(arguments), environ) == 0;
    if (!isStarted) {
        renameReplacing(source, target);
        return;
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0)
        return false;
    close(file);
    return true;
}

std::string sharedDataFolder()
{
    const char *const folder = std::getenv("ALLUSERSPROFILE");
    return folder ? folder : "";
}

void makeSymbolsGlobal(const void *address)
{
    // Never closed: libraries that use the symbols do not keep this library loaded.
    Dl_info library;
    if (dladdr(address, &library) != 0)
        dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
}

std::string localeCodeset()
{
    const std::string original = std::setlocale(LC_CTYPE, nullptr);
    std::setlocale(LC_CTYPE, "");
    std::string codeset = nl_langinfo(CODESET);
    std::setlocale(LC_CTYPE, original.c_str());
    return codeset;
}

std::optional<std::array<char16_t, 256>> codePage(unsigned) { return {}; }

bool hasPathPrefixes() { return false; }

bool hasSortedSettings() { return true; }

bool hasRegistry() { return false; }

bool callAtThreadEnd(void (*function)(void *), void *argument)
{
    // Never deleted: the key is needed as long as there are threads.
    static const std::optional<pthread_key_t> key = [&]() -> std::optional<pthread_key_t> {
        pthread_key_t created;
        if (pthread_key_create(&created, function) != 0)
            return std::nullopt;
        return created;
    }();
    return key && pthread_setspecific(*key, argument) == 0;
}

void useLargePages(void *memory, std::size_t size)
{
    static constexpr std::size_t least = std::size_t(4) << 20;
    if (size < least)
        return;
    // From the start of the first page: a request for less than all pages of a large allocation
    // would split it into areas, which realloc() then cannot move without copying.
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::size_t before = reinterpret_cast<std::uintptr_t>(memory) % pageSize;
    const std::size_t length = (before + size + pageSize - 1) / pageSize * pageSize;
    madvise(static_cast<char *>(memory) - before, length, MADV_HUGEPAGE); // may fail
}

} // namespace Utils::Platform
