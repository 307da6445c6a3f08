#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_files_p.h"

#include <cerrno>
#include <climits>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace Utils::Platform {

/// What the entry of \p folder is, or the target of a link. Missing when it cannot be determined.
static Entry visibleEntry(DIR *folder, const dirent &item)
{
    switch (item.d_type) {
    case DT_REG:
        return Entry::File;
    case DT_DIR:
        return Entry::Folder;
    case DT_LNK:
    case DT_UNKNOWN:
        struct stat status;
        return fstatat(dirfd(folder), item.d_name, &status, 0) == 0 ? entryOf(status.st_mode)
                                                                    : Entry::Missing;
    default:
        return Entry::Other;
    }
}

/// Whether the entry of \p folder is a link.
static bool isLink(DIR *folder, const dirent &item)
{
    struct stat status;
    return item.d_type == DT_LNK ||
           (item.d_type == DT_UNKNOWN &&
            fstatat(dirfd(folder), item.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(status.st_mode));
}

namespace {

struct CloseFolder
{
    void operator()(DIR *folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

/// A folder that is listed, and closed at the end of the scope.
class Listing
{
public:
    explicit Listing(const std::string &path)
    {
        errno = ENOENT;
        if (isUsable(path))
            m_folder.reset(opendir(path.c_str()));
        m_error = m_folder ? 0 : errno;
    }

    DIR *folder() const { return m_folder.get(); }

    int error() const { return m_error; } ///< why the folder could not be opened; 0 if it could

private:
    Folder m_folder;
    int m_error;
};

} // namespace

/// The next entry of \p folder, which may be null. Null at its end and on a failure; \p error is
/// then set to why, as errno, or to 0.
static const dirent *nextEntry(DIR *folder, int &error)
{
    if (!folder)
        return nullptr;
    errno = 0; // which only an error changes
    const dirent *const item = readdir(folder);
    if (!item)
        error = errno;
    return item;
}

/// As Platform::listFolder() for an open folder.
static int listOpenFolder(DIR *folder, const std::function<bool(const FolderEntry &)> &visit)
{
    int error = 0;
    while (const dirent *const item = nextEntry(folder, error)) {
        if (item->d_name[0] == '.')
            continue;
        const Entry entry = visibleEntry(folder, *item);
        const bool isItselfLink = entry != Entry::Missing && isLink(folder, *item);
        if (entry == Entry::Missing || (entry == Entry::Other && !isItselfLink))
            continue;
        if (!visit({item->d_name, entry, isItselfLink}))
            break;
    }
    return error;
}

std::optional<int> listFolder(const std::string &path,
                              const std::function<bool(const FolderEntry &)> &visit)
{
    const Listing listing(path);
    return listing.folder() ? listOpenFolder(listing.folder(), visit) : listing.error();
}

int errorOfListing(const std::string &path)
{
    const Listing listing(path);
    int error = listing.error();
    while (nextEntry(listing.folder(), error)) {
    }
    return error;
}

namespace {

class UnixFolder : public OpenFolder
{
public:
    UnixFolder(std::string path, bool followLinks) : m_path(std::move(path))
    {
        if (isUsable(m_path))
            m_error = open(AT_FDCWD, m_path, followLinks ? 0 : O_NOFOLLOW);
    }
    UnixFolder(UnixFolder &parent, const std::string &name)
        : m_path(parent.m_path + '/' + name), m_above(&parent)
    {
        m_error = parent.reopen();
        // As for other paths, so that a tree is not deeper than a recursion bears.
        if (m_path.size() >= PATH_MAX)
            m_error = ENAMETOOLONG;
        if (m_error == 0)
            m_error = open(dirfd(parent.m_folder.get()), name, O_NOFOLLOW);
    }

    int list(const std::function<bool(const FolderEntry &)> &visit) override
    {
        const int error = reopen();
        return error == 0 ? listOpenFolder(m_folder.get(), visit) : error;
    }

    Entry entry(const std::string &name) override
    {
        struct stat status;
        const int error = run([&](int folder) {
            return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
        });
        return error == 0        ? entryOf(status.st_mode)
               : error == ENOENT ? Entry::Missing
                                 : Entry::Unknown;
    }

    int removeFile(const std::string &name) override
    {
        return run([&](int folder) { return unlinkat(folder, name.c_str(), 0); });
    }

    int removeFolder(const std::string &name) override
    {
        return run([&](int folder) { return unlinkat(folder, name.c_str(), AT_REMOVEDIR); });
    }

    std::unique_ptr<OpenFolder> below(const std::string &name) override
    {
        return std::make_unique<UnixFolder>(*this, name);
    }

    void release() override { m_folder.reset(); }

private:
    /// Opens the folder \p path, which is relative to the descriptor \p folder. Returns 0, or why
    /// it is not open.
    int open(int folder, const std::string &path, int flags)
    {
        const auto openPath = [&] {
            return openat(folder, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
        };
        int file = openPath();
        if (file < 0 && (errno == EMFILE || errno == ENFILE)) {
            // The folders above leave it their descriptors, unless it is opened by that of one.
            for (UnixFolder *above = m_above; above; above = above->m_above) {
                if (!above->m_folder || dirfd(above->m_folder.get()) != folder)
                    above->release();
            }
            file = openPath();
        }

        struct stat status;
        if (file >= 0 && fstat(file, &status) == 0) {
            if (m_wasOpen && (status.st_dev != m_device || status.st_ino != m_number))
                errno = ESTALE;
            else
                m_folder.reset(fdopendir(file));
        }
        if (m_folder) {
            m_wasOpen = true;
            m_device = status.st_dev;
            m_number = status.st_ino;
            return 0;
        }
        const int error = errno;
        if (file >= 0)
            close(file);
        return error;
    }

    /// Opens the folder again after release(). Returns 0, or why it is not open. A failure is not
    /// kept, because descriptors may be free the next time.
    int reopen() { return m_folder || m_error != 0 ? m_error : open(AT_FDCWD, m_path, 0); }

    template <typename Task>
    int run(const Task &task)
    {
        if (const int error = reopen())
            return error;
        return task(dirfd(m_folder.get())) == 0 ? 0 : errno;
    }

    const std::string m_path;
    UnixFolder *const m_above = nullptr; // by which it was opened
    Folder m_folder;
    int m_error = ENOENT; // why it could not be opened the first time; 0 when it could
    bool m_wasOpen = false;
    dev_t m_device = 0; // which folder it was then
    ino_t m_number = 0;
};

} // namespace

std::unique_ptr<OpenFolder> openFolder(const std::string &path, bool followLinks)
{
    return std::make_unique<UnixFolder>(path, followLinks);
}

} // namespace Utils::Platform
