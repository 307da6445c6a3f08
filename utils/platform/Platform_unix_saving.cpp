#include "utils/platform/Platform.h"
#include "utils/platform/Platform_unix_apart_p.h"
#include "utils/platform/Platform_unix_files_p.h"
#include "utils/platform/Platform_unix_p.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Utils::Platform {

bool hasUtf8Paths() { return false; }

static const char thisProcess[] = "/proc/self/fd/";

/// The folder of \p path, with its "/", or "" for the current one.
static std::string folderOf(const std::string &path) { return path.substr(0, path.rfind('/') + 1); }

/// Whether \p path is in /proc, whose links lead to what processes have open.
static bool isInProc(const std::string &path) { return path.compare(0, 6, "/proc/") == 0; }

/// Replaces a path to a link by what the link leads to, even if that is missing. Ends at a link in
/// /proc.
static bool followLinks(std::string &path)
{
    const int most = 40; // as many as the system follows
    for (int links = 0; links < most; ++links) {
        if (isInProc(path))
            return true;
        char text[PATH_MAX];
        const ssize_t size = readlink(path.c_str(), text, sizeof(text));
        if (size < 0)
            return errno == EINVAL || errno == ENOENT; // no link, or missing
        const std::string target(text, static_cast<std::size_t>(size));
        path = target.front() == '/' ? target : folderOf(path).append(target);
    }
    errno = ELOOP;
    return false;
}

/// Calls \p task until no signal interrupts it.
template <typename Task>
static auto uninterrupted(const Task &task) -> decltype(task())
{
    decltype(task()) result;
    do {
        result = task();
    } while (result < 0 && errno == EINTR);
    return result;
}

/// Whether \p file, which stays open, can be closed without an error. Some network drives do not
/// support flushing, and report only by such an error what they could not store. True, too, when
/// no descriptor is left to try it: on other drives there is no such error.
static bool canBeClosed(int file)
{
    const int duplicate = fcntl(file, F_DUPFD_CLOEXEC, 0);
    return duplicate < 0 || close(duplicate) == 0;
}

bool flushFile(int file)
{
    const bool isFlushed =
        uninterrupted([&] { return fsync(file); }) == 0 || errno == EINVAL || errno == ENOSYS;
    return isFlushed && canBeClosed(file);
}

static bool flushFolder(int folder)
{
    return flushFile(folder) || errno == EBADF; // it may not be read
}

namespace {

/// During its lifetime, no other replacement in a folder names a file, so a file with such a name
/// is either locked or left over. Tries for a fifth of a second, because other programs may lock
/// the folder, too.
class FolderLock
{
public:
    explicit FolderLock(int folder) : m_folder(folder)
    {
        const int attempts = 200;
        for (int i = 0; i < attempts; ++i) {
            m_isHeld = flock(folder, LOCK_EX | LOCK_NB) == 0;
            if (m_isHeld || (errno != EWOULDBLOCK && errno != EINTR))
                return;
            const timespec pause = {0, 1000000};
            nanosleep(&pause, nullptr);
        }
    }
    ~FolderLock()
    {
        const int error = errno;
        if (m_isHeld)
            flock(m_folder, LOCK_UN);
        errno = error;
    }
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

    bool isHeld() const { return m_isHeld; }

private:
    const int m_folder;
    bool m_isHeld = false;
};

} // namespace

/// Removes the file \p name of \p folder if no process holds its lock. Called under a FolderLock.
static bool removeLeftOver(int folder, const std::string &name)
{
    const int file = openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return errno == ENOENT;
    struct stat status;
    const bool isLeftOver =
        fstat(file, &status) == 0 && S_ISREG(status.st_mode) && flock(file, LOCK_SH | LOCK_NB) == 0;
    const bool isRemoved = isLeftOver && unlinkat(folder, name.c_str(), 0) == 0;
    close(file);
    return isRemoved;
}

struct FileReplacement::State
{
    ~State()
    {
        if (isEmptyFile && file >= 0)
            (void)!ftruncate(file, 0);
        if (!temporary.empty())
            unlinkat(folder, temporary.c_str(), 0);
        for (const int descriptor : {file, target, folder}) {
            if (descriptor >= 0)
                close(descriptor);
        }
    }

    /// Stores why a call of the system failed. Returns false.
    bool fail(int newError, Problem newProblem = Problem::System)
    {
        problem = newProblem;
        error = newError;
        return false;
    }
    /// The same for a call in the folder.
    bool failInFolder(int newError)
    {
        const bool isRight = newError == EACCES || newError == EPERM;
        return fail(newError, isRight ? Problem::Folder : Problem::System);
    }

    bool open(const std::string &path);
    bool openTarget(const std::string &path);
    bool create();
    bool keepAttributes();
    bool isStored(int written, bool flush) const;
    bool finishDirectly(bool flush);
    bool overwrite(bool flush);
    bool renameToNew();
    bool replace();

    template <typename Create>
    bool makeNamed(const Create &create);

    Problem problem = Problem::None;
    int error = 0;
    bool isNewOnly = false;
    bool isDirect = false;    // written in place at once
    bool isEmptyFile = false; // and becomes empty again on a failure
    bool exists = false;      // then target is open, and old is its status
    bool canReplace = true;   // without a loss of what the old file has besides its content
    struct stat old = {};
    std::optional<mode_t> mode; // for the new content, instead of that of the old or of new files
    std::string name;           // of the target in its folder
    std::string temporary;      // the name of the new content, "" while it has none
    int folder = -1;
    int target = -1;
    int file = -1; // the new content
};

bool FileReplacement::State::open(const std::string &path)
{
    if (path.empty() || path.find('\0') != std::string::npos)
        return fail(ENOENT);
    if (isNewOnly && lstat(path.c_str(), &old) == 0)
        return fail(EEXIST);
    exists = stat(path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT)
        return fail(errno);
    if (exists && S_ISDIR(old.st_mode))
        return fail(EISDIR);
    if (exists && S_ISBLK(old.st_mode))
        return fail(ENOTSUP, Problem::Disk);
    std::string resolved = path;
    if (!followLinks(resolved))
        return fail(errno);
    if ((exists && !S_ISREG(old.st_mode)) || isInProc(resolved)) {
        isDirect = true;
        file = uninterrupted([&] { return ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC); });
        return file >= 0 || fail(errno);
    }
    return openTarget(resolved) && create();
}

/// Opens the folder and, if there is one, the old file, which shows whether the user may write it.
bool FileReplacement::State::openTarget(const std::string &path)
{
    const std::string parent = folderOf(path);
    name = path.substr(parent.size());
    if (name.empty())
        return fail(EISDIR);
    const char *const parentName = parent.empty() ? "." : parent.c_str();
    const auto openFolder = [&](int access) {
        return uninterrupted([&] { return ::open(parentName, access | O_DIRECTORY | O_CLOEXEC); });
    };
    folder = openFolder(O_RDONLY);
    if (folder < 0 && errno == EACCES)
        folder = openFolder(O_PATH);
    if (folder < 0)
        return fail(errno);
    if (!exists)
        return true;

    target = uninterrupted([&] {
        return openat(folder, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    });
    exists = target >= 0 || errno != ENOENT; // it may have been removed meanwhile, or replaced
    if (!exists)
        return true;
    if (target < 0 || fstat(target, &old) != 0)
        return fail(errno);
    return S_ISREG(old.st_mode) || fail(EINVAL);
}

/// Names the new content by \p create, with the first name that is free.
template <typename Create>
bool FileReplacement::State::makeNamed(const Create &create)
{
    const FolderLock lock(folder);
    const int most = 100;
    for (int i = 0; i < most; ++i) {
        std::string candidate = temporaryName(name, i);
        do {
            if (create(candidate.c_str())) {
                temporary = std::move(candidate); // needs no memory: what is done must not fail
                return true;
            }
            if (errno != EEXIST)
                return false;
        } while (lock.isHeld() && removeLeftOver(folder, candidate));
    }
    errno = EEXIST;
    return false;
}

/// Creates the file for the new content.
bool FileReplacement::State::create()
{
    // Until it has its final permissions, no other user may read it.
    const mode_t start = exists || mode ? S_IRUSR | S_IWUSR
                                        : S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    const bool canBeNamed = access(thisProcess, X_OK) == 0;
    if (canBeNamed)
        file = uninterrupted(
            [&] { return openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, start); });
    const bool isSupported =
        file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL && errno != ENOENT);
    if (file >= 0)
        flock(file, LOCK_EX | LOCK_NB); // while it has a temporary name
    else if (!canBeNamed || !isSupported)
        makeNamed([&](const char *candidate) {
            file = uninterrupted([&] {
                return openat(folder, candidate, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, start);
            });
            if (file >= 0)
                flock(file, LOCK_EX | LOCK_NB);
            return file >= 0;
        });
    if (file >= 0)
        return true;
    if (!exists || old.st_size > 0)
        return exists ? failInFolder(errno) : fail(errno);
    // An empty file has no contents to lose.
    isDirect = true;
    isEmptyFile = true;
    file = target;
    target = -1;
    return true;
}

static const char accessList[] = "system.posix_acl_access";

/// Removes the access control list of \p file. Whether it has none.
static bool removeList(int file)
{
    const auto isMissing = [] { return errno == ENODATA || errno == ENOTSUP || errno == ENOSYS; };
    // Asked first, because some drives refuse to remove what is not there.
    return (fgetxattr(file, accessList, nullptr, 0) < 0 && isMissing()) ||
           fremovexattr(file, accessList) == 0 || isMissing();
}

/// What a new file has of the old one.
struct CopiedAttributes
{
    bool hasList; ///< the access control list; none, if the old file has none
    bool hasAll;  ///< the attributes that users set, too
};

/// Copies the attributes that users set and the access control list. A list that a new file has got
/// from its folder is removed when the old one has none. A file system that does not support
/// attributes has none.
static CopiedAttributes copyExtendedAttributes(int from, int to)
{
    const std::string prefix = "user.";
    char names[XATTR_LIST_MAX];
    const bool isRemoved = removeList(to);
    CopiedAttributes copied = {isRemoved, isRemoved};
    const ssize_t size = flistxattr(from, names, sizeof(names));
    if (size < 0 && errno != ENOTSUP && errno != ENOSYS)
        copied = {false, false};
    for (ssize_t at = 0; at < size;) {
        const std::string attribute = names + at;
        at += static_cast<ssize_t>(attribute.size()) + 1;
        const bool isList = attribute == accessList;
        if (attribute.compare(0, prefix.size(), prefix) != 0 && !isList)
            continue;
        char value[XATTR_SIZE_MAX];
        const ssize_t length = fgetxattr(from, attribute.c_str(), value, sizeof(value));
        if (length < 0 && errno == ENODATA)
            continue; // it has been removed meanwhile
        if (length < 0 ||
            fsetxattr(to, attribute.c_str(), value, static_cast<std::size_t>(length), 0) != 0)
            copied = {copied.hasList && !isList, false};
    }
    return copied;
}

/// \p permissions without those for a group that others do not have.
static mode_t withoutGroup(mode_t permissions)
{
    return (permissions & ~mode_t(S_IRWXG)) | (permissions & S_IRWXO) << 3;
}

/// Gives the file \p file, whose status is \p now, the owner and group of \p old as far as the user
/// may set them. Whether it has the group.
static bool setOwner(int file, const struct stat &now, const struct stat &old)
{
    const bool isSame = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    return isSame || fchown(file, old.st_uid, old.st_gid) == 0 ||
           fchown(file, static_cast<uid_t>(-1), old.st_gid) == 0;
}

/// Sets owner, group and permissions of the new content. False, with errno set, when its
/// permissions would differ from the wanted ones.
bool FileReplacement::State::keepAttributes()
{
    struct stat status;
    if (fstat(file, &status) != 0)
        return false;
    const mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;
    mode_t wanted = mode.value_or(0);
    if (exists) {
        // As after every change of contents, the right to run as another user is dropped.
        if (!mode)
            wanted = old.st_mode & (permissions | S_ISVTX);
        if (!setOwner(file, status, old))
            wanted = withoutGroup(wanted);
        canReplace = copyExtendedAttributes(target, file).hasAll;
        // A list of rights has changed the permissions, too.
        if (fstat(file, &status) != 0)
            return false;
    }
    if ((!exists && !mode) || (status.st_mode & ~mode_t(S_IFMT)) == wanted)
        return true;
    return fchmod(file, wanted) == 0;
}

/// Whether the system has stored what was written to \p written; with \p flush, on the disk.
bool FileReplacement::State::isStored(int written, bool flush) const
{
    // A file system without files that have no name may report a full disk only when the file is
    // flushed.
    return flush || !temporary.empty() ? flushFile(written) : canBeClosed(written);
}

bool FileReplacement::State::finishDirectly(bool flush)
{
    // A network drive may report a full disk only when the file is flushed or closed.
    if ((isEmptyFile || (flush && S_ISREG(old.st_mode))) && !flushFile(file))
        return fail(errno);
    const int written = file;
    file = -1;
    return close(written) == 0 || fail(errno);
}

static const std::size_t blockSize = 65536;

/// Copies up to \p size bytes at \p at, at most a block. Returns how many; 0 at the end of \p from,
/// and -1, with errno set, when that fails.
static ssize_t copyBlock(int from, int to, off_t at, std::size_t size)
{
    char block[blockSize];
    const ssize_t count = uninterrupted([&] { return pread(from, block, size, at); });
    if (count <= 0)
        return count;
    const ssize_t written =
        uninterrupted([&] { return pwrite(to, block, static_cast<std::size_t>(count), at); });
    if (written == 0)
        errno = EIO;
    return written == 0 ? -1 : written;
}

/// Copies the new content into the old file.
bool FileReplacement::State::overwrite(bool flush)
{
    struct stat status;
    if (fstat(file, &status) != 0)
        return fail(errno);
    const off_t size = status.st_size;
    const auto reserve = [&] { return fallocate(target, FALLOC_FL_KEEP_SIZE, 0, size); };
    if (size > 0 && uninterrupted(reserve) != 0 && errno != EOPNOTSUPP && errno != ENOSYS)
        return fail(errno);
    for (off_t at = 0; at < size;) {
        const ssize_t copied = copyBlock(file, target, at, blockSize);
        if (copied <= 0)
            return fail(copied < 0 ? errno : EIO);
        at += copied;
    }
    if (uninterrupted([&] { return ftruncate(target, size); }) != 0 ||
        (mode && fchmod(target, *mode) != 0))
        return fail(errno);
    return isStored(target, flush) || fail(errno, Problem::NotConfirmed);
}

/// Renames the new content, which has a name, to the target if that does not exist. False, with
/// errno set, on failure.
bool FileReplacement::State::renameToNew()
{
    if (renameat2(folder, temporary.c_str(), folder, name.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // The file system cannot do both in one step.
    struct stat status;
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        errno = EEXIST;
    return errno != EEXIST && renameat(folder, temporary.c_str(), folder, name.c_str()) == 0;
}

/// Renames the new content to the target.
bool FileReplacement::State::replace()
{
    if (!temporary.empty()) {
        if (!(isNewOnly ? renameToNew()
                        : renameat(folder, temporary.c_str(), folder, name.c_str()) == 0))
            return failInFolder(errno);
        temporary.clear();
        return true;
    }
    const std::string nameless = thisProcess + std::to_string(file);
    if (!exists) {
        if (linkat(AT_FDCWD, nameless.c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0)
            return true;
        if (errno != EEXIST || isNewOnly)
            return failInFolder(errno);
    }
    const bool isReplaced = makeNamed([&](const char *between) {
        errno = renameApart({nameless.c_str(), folder, between, name.c_str()});
        return errno == 0;
    });
    temporary.clear(); // it has the name of the target now
    return isReplaced || failInFolder(errno);
}

FileReplacement::FileReplacement() : m_state(std::make_unique<State>()) {}

FileReplacement::~FileReplacement() = default;

void FileReplacement::requireNewTarget() { m_state->isNewOnly = true; }

bool FileReplacement::copyPermissions(const std::string &path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return m_state->fail(errno);
    m_state->mode = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    return true;
}

void FileReplacement::setPermissions(unsigned permissions)
{
    m_state->mode = static_cast<mode_t>(permissions);
}

bool FileReplacement::open(const std::string &path) { return m_state->open(path); }

bool FileReplacement::write(const char *bytes, std::size_t size)
{
    if (m_state->problem != Problem::None)
        return false;
    while (size > 0) {
        const ssize_t written = uninterrupted([&] { return ::write(m_state->file, bytes, size); });
        if (written <= 0)
            return m_state->fail(written < 0 ? errno : EIO);
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool FileReplacement::finish(bool flush)
{
    State &state = *m_state;
    if (state.problem != Problem::None || state.file < 0)
        return false;
    if (state.isDirect)
        return state.finishDirectly(flush);
    if (!state.keepAttributes())
        return state.fail(errno);
    if (!state.isStored(state.file, flush))
        return state.fail(errno);
    struct stat status;
    if (!state.canReplace ||
        (state.exists && fstat(state.target, &status) == 0 && status.st_nlink > 1))
        return state.overwrite(flush);
    if (!state.replace())
        return false;
    return !flush || flushFolder(state.folder) || state.fail(errno, Problem::NotConfirmed);
}

/// Gives the new content all that the file \p from has besides its content, as far as the user may
/// set it and the file system has it, as mv does. False, with errno set, when its permissions would
/// differ.
static bool copyAllAttributes(int from, int to)
{
    struct stat status;
    if (fstat(from, &status) != 0)
        return false;
    struct stat now;
    if (fstat(to, &now) != 0)
        return false;
    mode_t wanted = status.st_mode & ~mode_t(S_IFMT);
    bool hasRights = setOwner(to, now, status);
    hasRights = copyExtendedAttributes(from, to).hasList && hasRights;
    if (!hasRights)
        wanted = withoutGroup(wanted);
    if (!hasRights || fstat(to, &now) != 0 || now.st_uid != status.st_uid)
        wanted &= S_IRWXU | S_IRWXG | S_IRWXO; // no right to run as another user
    const timespec times[] = {status.st_atim, status.st_mtim};
    (void)futimens(to, times);
    return fchmod(to, wanted) == 0;
}

/// Moves \p at beyond a hole in \p file, if one is there. Returns the number of bytes up to the
/// next one, at most \p most.
static std::size_t skipHole(int file, off_t &at, std::size_t most)
{
    const off_t end = lseek(file, 0, SEEK_END); // asked first, because the file may grow meanwhile
    const off_t data = lseek(file, at, SEEK_DATA);
    const bool isHoleToEnd = data < 0 && errno == ENXIO;
    at = std::max(at, isHoleToEnd ? end : data);
    const off_t hole = lseek(file, at, SEEK_HOLE);
    if (hole <= at)
        return most;
    return static_cast<std::size_t>(std::min(hole - at, static_cast<off_t>(most)));
}

/// Writes the content of \p from to \p to, which is empty, and leaves its holes. False, with errno
/// set, when that fails.
static bool copyContent(int from, int to)
{
    struct stat status;
    if (fstat(from, &status) != 0)
        return false;
    // A file system that can share the blocks of files copies none of them.
    if (status.st_size > 0 && ioctl(to, FICLONE, from) == 0)
        return true;
    const bool hasHoles = status.st_blocks < status.st_size / 512;
    off_t at = 0;
    for (;;) {
        const std::size_t size = hasHoles ? skipHole(from, at, blockSize) : blockSize;
        const ssize_t copied = copyBlock(from, to, at, size);
        if (copied < 0)
            return false;
        if (copied == 0) // there may be a hole before the end
            return !hasHoles || uninterrupted([&] { return ftruncate(to, at); }) == 0;
        at += copied;
    }
}

static bool isSameEntry(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::optional<int> FileReplacement::move(const std::string &source, const std::string &target)
{
    struct stat from;
    struct stat to;
    if (!isUsable(source) || !isUsable(target) || lstat(source.c_str(), &from) != 0 ||
        !S_ISREG(from.st_mode))
        return {};
    std::string path = target;
    if (stat(path.c_str(), &to) == 0 && S_ISDIR(to.st_mode))
        path += '/' + source.substr(source.rfind('/') + 1);
    if (lstat(path.c_str(), &to) == 0 && isSameEntry(from, to)) // rename() would do nothing
        return {};
    if (rename(source.c_str(), path.c_str()) == 0)
        return 0;
    if (errno != EXDEV)
        return {};

    State state;
    state.mode = from.st_mode; // until it has all attributes, only this user may read it
    const Descriptor content(uninterrupted(
        [&] { return ::open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
    if (!content.isOpen() || fstat(content.number(), &from) != 0 || !state.openTarget(path) ||
        !state.create() || !copyContent(content.number(), state.file) ||
        !copyAllAttributes(content.number(), state.file) || !flushFile(state.file) ||
        !state.replace() || !flushFolder(state.folder))
        return state.error != 0 ? state.error : errno;
    // What has come to this path meanwhile is not what was moved.
    const bool isStill = lstat(source.c_str(), &to) == 0 && isSameEntry(from, to);
    return !isStill || unlink(source.c_str()) == 0 ? 0 : errno;
}

FileReplacement::Problem FileReplacement::problem() const { return m_state->problem; }

int FileReplacement::error() const { return m_state->error; }

} // namespace Utils::Platform
