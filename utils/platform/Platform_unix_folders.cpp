#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_files_p.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>

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

    /// The next entry. Null at the end, and when there is an error().
    const dirent *next()
    {
        if (!m_folder)
            return nullptr;
        errno = 0; // which only an error changes
        const dirent *const item = readdir(m_folder.get());
        if (!item)
            m_error = errno;
        return item;
    }

    /// Why the folder could not be opened or read on, as errno; 0 without an error.
    int error() const { return m_error; }

private:
    struct Close
    {
        void operator()(DIR *folder) const { closedir(folder); }
    };
    std::unique_ptr<DIR, Close> m_folder;
    int m_error;
};

} // namespace

std::optional<int> listFolder(const std::string &path,
                              const std::function<bool(const FolderEntry &)> &visit)
{
    Listing listing(path);
    while (const dirent *const item = listing.next()) {
        if (item->d_name[0] == '.')
            continue;
        const Entry entry = visibleEntry(listing.folder(), *item);
        const bool isItselfLink = entry != Entry::Missing && isLink(listing.folder(), *item);
        if (entry == Entry::Missing || (entry == Entry::Other && !isItselfLink))
            continue;
        if (!visit({item->d_name, entry, isItselfLink}))
            break;
    }
    return listing.error();
}

int errorOfListing(const std::string &path)
{
    Listing listing(path);
    while (listing.next()) {
    }
    return listing.error();
}

} // namespace Utils::Platform
