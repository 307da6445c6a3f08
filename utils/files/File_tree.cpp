#include "utils/files/File.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/base/FolderList_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File_p.h"
#include "utils/platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <optional>

namespace Utils {

using Platform::Entry;

bool isPattern(const QString &path) { return path.contains(QLatin1Char('*')); }

int stepsUnlessNested(int steps) { return Progress::current(true) ? -1 : steps; }

/// Removes \p path by \p isRemoved, also when its attribute "read-only" forbids it.
template <typename Function>
static bool removeProtected(const std::string &path, const Function &isRemoved)
{
    if (isRemoved())
        return true;
    if (!Platform::allowRemoval(path))
        return false;
    if (isRemoved())
        return true;
    Platform::forbidRemoval(path);
    return false;
}

bool removeEntry(QFile &file)
{
    const std::string path = file.fileName().toStdString();
    return removeProtected(path, [&] {
        return Platform::removeOpenFile(path) || file.remove() || Platform::removeFolderLink(path);
    });
}

void File::move(const Data::String &source, const Data::String &target)
{
    const LastError operation;
    const auto isThere = [&] {
        return fileStatus(cleanPath(source), /*followLinks=*/false).entry != Entry::Missing;
    };
    if (!isThere())
        LastError::cannotRead(source, ENOENT);
    const std::string from = cleanPath(source).toStdString();
    const std::string to = cleanPath(target).toStdString();
    std::optional<int> error;
    if (SafeFile::isUsed())
        error = Platform::FileReplacement::move(from, to);
    if (!error)
        Platform::moveReplacing(from, to);
    else if (Platform::fileFault(*error) == Platform::FileFault::Full)
        LastError::cannotWrite(target, *error);
    else if (*error != 0)
        LastError::setFor(".err.move", source, target);
    if (isThere())
        LastError::setFor(".err.move", source, target);
}

void File::moveDir(const Data::String &source, const Data::String &target)
{
    if (!isPattern(source))
        return move(source, target);

    const LastError operation;
    const QStringList sources = matchingFolders(source);
    for (const QString &folder : sources)
        move(folder, target);
}

namespace {

/// The names of what is in a folder, as QDir lists it.
struct Contents
{
    explicit Contents(const QString &folder)
    {
        listFolder(
            folder, [this](const FolderItem &item) { return add(item); }, &error);
    }
    explicit Contents(Platform::OpenFolder &folder)
    {
        listFolder(
            folder, [this](const FolderItem &item) { return add(item); }, error);
    }

    bool add(const FolderItem &item)
    {
        // For QDir, a link to a pipe or a device is a file and also a folder.
        if (!item.isFolder)
            files.append(item.name.toString());
        if (!item.isFile)
            folders.append(item.name.toString());
        return true;
    }

    QStringList files;
    QStringList folders;
    int error = 0; ///< why there may be more (errno); 0 when this is all
};

} // namespace

QRegularExpression wildcardExpression(const QString &wildcard)
{
    const auto compiled = [](const QString &text) {
        return QRegularExpression(QRegularExpression::wildcardToRegularExpression(text),
                                  QRegularExpression::CaseInsensitiveOption);
    };
    QRegularExpression expression = compiled(wildcard);
    if (!expression.isValid())
        expression = compiled(wildcard);
    const QString plain(wildcard.size(), QLatin1Char('x'));
    if (!expression.isValid() && !compiled(plain).isValid())
        throw std::bad_alloc();
    return expression;
}

QRegularExpressionMatch matchName(const QRegularExpression &expression, const QString &name)
{
    QRegularExpressionMatch match = expression.match(name);
    if (match.isValid())
        return match;
    // Qt does not tell why. If there was too little memory, there may be enough again.
    if (!wildcardExpression(QStringLiteral("x")).match(QStringLiteral("x")).hasMatch())
        throw std::bad_alloc();
    return expression.match(name);
}

QStringList matchingFolders(const Data::String &pattern)
{
    if (!isName(pattern))
        return {};
    const Data::String parent = File::parentFolder(pattern);
    const Contents here(parent);
    if (here.error != 0)
        notListed(parent, here.error);

    const QRegularExpression expression =
        wildcardExpression(File::base(pattern, /*withExtension=*/true));
    QStringList paths;
    for (const QString &name : here.folders) {
        if (expression.isValid() && matchName(expression, name).hasMatch())
            paths.append(QDir(parent).filePath(name));
    }
    return paths;
}

/// The names that \p exceptions keeps among \p entries, including repeated and empty names, which
/// count, too. The folder is not listed again: names missing from that list by an error would be
/// removed.
static QStringList namesToKeep(const QStringList &entries, const Data::String &exceptions)
{
    const QLatin1Char separator('\n');
    if (exceptions.isEmpty())
        return {};
    if (exceptions.contains(separator))
        return exceptions.split(separator);
    const QRegularExpression expression = wildcardExpression(exceptions);
    if (!expression.isValid())
        return {};
    QStringList names;
    for (const QString &entry : entries) {
        const QRegularExpressionMatch match = matchName(expression, entry);
        if (match.hasMatch() || !match.isValid()) // rather too many than too few
            names.append(entry);
    }
    return names;
}

/// QFile::remove(), which stores why it fails.
static bool removeFile(const QString &path)
{
    QFile file(path);
    if (removeEntry(file))
        return true;
    const bool isMissing = fileStatus(path, /*followLinks=*/false).entry == Entry::Missing;
    return isMissing ? LastError::cannotRead(path, ENOENT) : LastError::cannotRemove(file);
}

static bool removeFolder(const QString &path)
{
    return removeProtected(path.toStdString(), [&] { return QDir().rmdir(path); });
}

namespace {

/// A folder of which entries are removed. It is open where the system has open folders: another
/// process may exchange it, or a folder in it, for a link meanwhile. Otherwise paths are used.
class FolderToClear
{
public:
    FolderToClear(const QString &path, bool followLinks)
        : m_path(path), m_folder(path), m_open(openFolder(path, followLinks))
    {}
    FolderToClear(FolderToClear &above, const QString &name)
        : m_path(File::join(above.m_path, name)), m_folder(m_path),
          m_open(above.m_open ? above.m_open->below(systemName(name)) : nullptr)
    {}

    const Data::String &path() const { return m_path; }

    Contents contents() { return m_open ? Contents(*m_open) : Contents(m_path); }

    Entry entry(const QString &name)
    {
        return m_open ? m_open->entry(systemName(name))
                      : fileStatus(File::join(m_path, name), /*followLinks=*/false).entry;
    }

    /// Both store why they fail.
    bool removeFile(const QString &name)
    {
        const QString file = m_folder.filePath(name);
        if (!m_open)
            return Utils::removeFile(file);
        const int error = m_open->removeFile(systemName(name));
        return error == 0 || (error == ENOENT ? LastError::cannotRead(file, error)
                                              : LastError::cannotWrite(file, error));
    }
    /// \p listingError, if not 0, is why the folder could not be listed to its end. It is no
    /// failure of a folder that can be removed, which was empty then.
    bool removeFolder(const QString &name, int listingError)
    {
        const QString folder = m_folder.filePath(name);
        const bool isRemoved =
            m_open ? m_open->removeFolder(systemName(name)) == 0 : Utils::removeFolder(folder);
        return isRemoved || keeps(folder, listingError);
    }

    /// Stores why \p folder cannot be removed. Returns false.
    static bool keeps(const QString &folder, int listingError)
    {
        if (listingError != 0)
            notListed(folder, listingError);
        return LastError::setFor(".err.rmdir", folder);
    }

    /// Leaves its file descriptor to others until it is used again.
    void release()
    {
        if (m_open)
            m_open->release();
    }

private:
    const Data::String m_path;
    const QDir m_folder;
    const std::unique_ptr<Platform::OpenFolder> m_open;
};

} // namespace

/// Whether File::remove() keeps what is in the folder \p name: of the root, and of what is named
/// by mistake.
static bool isNeverCleared(const QString &name)
{
    // As for "/*", "*" and "//*"; on Windows also for "D:/*".
    const auto isRoot = [](const QString &path) {
        return QDir(path).isRoot() || Platform::isRootOfDrive(path.toStdString());
    };
    return !isName(name) || isRoot(name) || isRoot(canonicalFolder(name));
}

static int clear(FolderToClear &folder, const Data::String &exceptions, bool cancelable, int depth,
                 int &listingError);

/// Removes the entry \p name of \p folder, which was listed as a folder, with all that it has; of
/// a link, only the link. Returns as clear().
static int removeBelow(FolderToClear &folder, const QString &name, bool cancelable, int depth)
{
    const int mostOpen = 8; // folders at the same time, besides the last two
    // An entry that is not known to be a folder may be a link, and the target of a link is never
    // removed.
    const Entry entry = folder.entry(name);
    if (entry == Entry::Link)
        return folder.removeFile(name) ? 1 : 0;
    if (entry == Entry::Unknown)
        LastError::setFor(".err.rmdir", File::join(folder.path(), name));
    if (entry != Entry::Folder)
        return 0;

    int error = 0;
    FolderToClear below(folder, name);
    if (depth >= mostOpen)
        folder.release();
    const int removed = clear(below, Data::String(), cancelable, depth + 1, error);
    if (removed < 0)
        return -1;
    below.release();
    return removed + (folder.removeFolder(name, error) ? 1 : 0);
}

/// Removes the contents of \p folder, which is \p depth folders below the first one. Returns how
/// many entries, or -1 when the user cancelled. \p listingError is set to why the folder could not
/// be listed to its end (errno).
static int clear(FolderToClear &folder, const Data::String &exceptions, bool cancelable, int depth,
                 int &listingError)
{
    const Contents here = folder.contents();
    listingError = here.error;
    const QStringList namesKept = namesToKeep(here.files + here.folders, exceptions);
    const QSet<QString> kept(namesKept.begin(), namesKept.end());

    int removed = 0;
    for (const QString &file : here.files) {
        if (!kept.contains(file) && folder.removeFile(file))
            ++removed;
    }

    const int total = here.folders.size() - namesKept.size();
    Progress progress(total < 6 ? -1 : stepsUnlessNested(total),
                      QLatin1String("Removing ") + folder.path() + QLatin1String("/*"), cancelable,
                      /*waitCursor=*/!cancelable, /*popup=*/true);
    for (const QString &name : here.folders) {
        if (kept.contains(name))
            continue;

        const int count = removeBelow(folder, name, cancelable, depth);
        if (count < 0)
            return -1;
        removed += count;
        if (!progress.tick())
            return -1;
    }
    return removed;
}

/// Removes the content of a folder. \p path is the path of the folder followed by "/*".
/// \p listingError is set to why the folder could not be listed to its end (errno).
static int removeContents(const Data::String &path, const Data::String &exceptions, bool cancelable,
                          int &listingError)
{
    const QString name = path.chopped(std::min(path.size(), 2));
    // "D:*" has no separator.
    if (isNeverCleared(name) || path.endsWith(QLatin1String(":*"))) {
        LastError::setFor(".err.badname", path);
        return 0;
    }
    FolderToClear folder(name, /*followLinks=*/true);
    return clear(folder, exceptions, cancelable, 0, listingError);
}

static int removeFiles(const QStringList &files)
{
    return static_cast<int>(std::count_if(files.begin(), files.end(), &removeFile));
}

static int removeOne(const Data::String &path)
{
    if (!QFileInfo(path).isDir())
        return removeFile(path) ? 1 : 0;

    QString name = path;
    // Because "link/" is the target of the link. "D:" would be the current folder of a drive.
    while (name.size() > 1 && name.endsWith(QLatin1Char('/')) && !QDir(name).isRoot())
        name.chop(1);
    const Entry entry = fileStatus(name, /*followLinks=*/false).entry;
    if (entry == Entry::Link)
        return removeFile(name) ? 1 : 0;
    if (entry != Entry::Folder) {
        LastError::setFor(".err.rmdir", name);
        return 0;
    }

    FolderToClear folder(name, /*followLinks=*/false);
    const Contents here = folder.contents();
    const auto isRemoved = [&](const QString &file) { return folder.removeFile(file); };
    const auto removed = std::count_if(here.files.begin(), here.files.end(), isRemoved);
    const bool isGone = removeFolder(name) || FolderToClear::keeps(name, here.error);
    return static_cast<int>(removed) + (isGone ? 1 : 0);
}

int File::remove(const Data::String &path, const Data::String &exceptions, bool cancelable)
{
    const LastError operation;
    if (!isName(path)) {
        LastError::cannotWrite(path, 0);
        return 0;
    }

    const Data::String name = base(path, /*withExtension=*/true);
    if (name == QLatin1String("*")) {
        int error = 0;
        const int removed = removeContents(pathForQt(path), exceptions, cancelable, error);
        if (error != 0)
            notListed(parentFolder(path), error);
        if (removed < 0)
            LastError::set(".err.cancelled");
        return removed;
    }
    if (isPattern(path))
        return removeFiles(search(parentFolder(path), name, /*recursive=*/false));
    return removeOne(pathForQt(path));
}

static bool makeFolders(const Data::String &path)
{
    if (hasZeroByte(path))
        return false;
    QDir folder(path);
    if (folder.exists())
        return true;
    if (path.startsWith(QLatin1String("./")))
        return QDir(QStringLiteral(".")).mkpath(path.mid(2));

    QStringList missing;
    do {
        missing.append(folder.dirName());
        if (missing.size() > path.size()) // the current folder cannot be entered
            return false;
        folder.setPath(QDir::cleanPath(folder.filePath(QStringLiteral(".."))));
    } while (!folder.isRoot() && !folder.exists());
    if (!folder.exists())
        return false;

    while (!missing.isEmpty()) {
        const QString name = missing.takeLast();
        if (!folder.mkdir(name) || !folder.cd(name))
            return false;
    }
    return true;
}

bool File::createDir(const Data::String &path)
{
    const LastError operation;
    return makeFolders(pathForQt(path)) || LastError::setFor(".err.createdir", path);
}

} // namespace Utils
