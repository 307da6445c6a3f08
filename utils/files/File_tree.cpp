#include "utils/files/File.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <limits>
#include <optional>

namespace Utils {

using Platform::Entry;
using Platform::EntryStatus;

static const QDir::Filters folders = QDir::Dirs | QDir::NoDotAndDotDot;

static bool isPattern(const QString &path) { return path.contains(QLatin1Char('*')); }

/// The folders that fit \p pattern, a path that ends in a wildcard.
static QFileInfoList foldersThatFit(const Data::String &pattern)
{
    if (!isName(pattern))
        return {};
    const QDir parent(File::parentFolder(pattern));
    return parent.entryInfoList({File::base(pattern, /*withExtension=*/true)}, folders,
                                QDir::Unsorted);
}

/// The steps of a reporter, which is inert when a progress is shown already.
static int stepsUnlessNested(int steps) { return Progress::current(true) ? -1 : steps; }

/// The path without links, "" where there is nothing. Nothing where it cannot be told, for which Qt
/// would give the path as it is.
static std::optional<QString> canonicalPath(const QString &path)
{
    if (!path.startsWith(QLatin1Char(':'))) {
        const auto resolved = Platform::canonicalPath(path.toStdString());
        if (!resolved)
            return std::nullopt;
        if (!resolved->empty())
            return QString::fromStdString(*resolved);
    }
    return QFileInfo(path).canonicalFilePath(); // a resource, a prefix of QDir, another encoding
}

/// Whether \p target is the directory entry that \p source leads to, by another path. Removing the
/// one would lose the other. Nothing where it cannot be told.
static std::optional<bool> isSameEntry(const Data::String &source, const Data::String &target)
{
    const QFileInfo entry(target);
    const std::optional<QString> file = canonicalPath(source);
    const std::optional<QString> folder = canonicalPath(entry.path());
    if (!file || !folder)
        return std::nullopt;
    return !file->isEmpty() && file == QDir(*folder).filePath(entry.fileName());
}

/// Whether \p source is newer than \p target, in whole seconds. Nothing where it cannot be told.
static std::optional<bool> isNewer(const Data::String &source, const Data::String &target)
{
    const EntryStatus from = fileStatus(source);
    const EntryStatus to = fileStatus(target);
    if (from.entry == Entry::Unknown || to.entry == Entry::Unknown)
        return std::nullopt;
    return timestampOf(from) > timestampOf(to);
}

/// Copies in one go. False when the copy is not complete, and then nothing is left of it.
static bool copyAtOnce(const Data::String &source, const Data::String &target)
{
    const EntryStatus from = fileStatus(source);
    if (from.entry != Entry::File || !QFile::copy(source, target)) // a pipe may have no end
        return false;

    // For Qt a file whose size it cannot tell is at its end at once. One that grows meanwhile, or
    // tells no size, gives more.
    const EntryStatus to = fileStatus(target);
    if (to.entry == Entry::File && to.size >= from.size)
        return true;
    QFile::remove(target);
    return false;
}

/// Copies in small chunks, with a reporter of its own. False when the copy is not complete, and
/// then nothing is left of it.
static bool copyInChunks(const Data::String &source, const Data::String &target, qint64 size)
{
    const qint64 steps = std::min<qint64>(size / 1024 / 4, std::numeric_limits<int>::max());
    Progress progress(static_cast<int>(steps), Progress::current(true)->label(),
                      /*cancelable=*/false, /*waitCursor=*/true, /*popup=*/true);
    QFile from(source);
    QFile to(target);
    if (!from.open(QIODevice::ReadOnly) || !to.open(QIODevice::ReadWrite | QIODevice::NewOnly))
        return false;

    char chunk[4096];
    qint64 copied = 0;
    while (!from.atEnd()) {
        const qint64 length = from.read(chunk, sizeof(chunk));
        if (length < 1 || to.write(chunk, length) != length)
            break;
        copied += length;
        progress.tick(); // not asked whether it was cancelled: what has begun is completed
    }
    // What the buffer still holds may not fit on the disk.
    const bool isComplete = to.flush() && copied == size;
    to.close();
    if (!isComplete)
        to.remove();
    return isComplete;
}

bool File::copy(const Data::String &source, const Data::String &target, int overwrite,
                bool showWaitCursor)
{
    if (hasZeroByte(source) || hasZeroByte(target))
        return false;

    const bool isInto = QFileInfo(target).isDir();
    const Data::String file = isInto ? join(target, base(source, /*withExtension=*/true)) : target;
    const std::optional<bool> isSame =
        isSamePath(source, file) ? std::optional(true) : isSameEntry(source, file);
    if (isSame == true)
        return true;

    // Not exists(), for which a "*" in the name is a wildcard.
    if (QFileInfo::exists(file)) {
        if (overwrite == 0)
            return false;
        const std::optional<bool> replaces = overwrite < 0 ? isNewer(source, file) : true;
        if (replaces == false)
            return true;
        if (!replaces || !isSame || !QFile::remove(file))
            return false;
    }

    const qint64 bytes = size(source);
    if (Progress::current(true) && bytes / 1024 > 2048 && copyInChunks(source, file, bytes))
        return true;

    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/showWaitCursor);
    return copyAtOnce(source, file);
}

namespace {

/// A folder that a copy does not enter, as a canonical path, and the others.
struct ClosedFolder
{
    QString path;
    const ClosedFolder *others;

    bool contains(const QString &folder) const
    {
        const ClosedFolder *closed = this;
        while (closed && closed->path != folder)
            closed = closed->others;
        return closed;
    }
};

/// What a call of copyDir() keeps on its way down.
class FolderCopy
{
public:
    FolderCopy(int overwrite, bool cancelable) : m_overwrite(overwrite), m_cancelable(cancelable) {}

    /// Copies \p source, which is \p canonicalSource, into \p target. Null for \p closed in the
    /// outermost folder. 1 when something was copied, else 0, and -1 when it was cancelled.
    int run(const Data::String &source, const QString &canonicalSource, const Data::String &target,
            const ClosedFolder *closed = nullptr) const;

private:
    // They return what run() does.
    int copyFiles(const QFileInfoList &files, const Data::String &destination,
                  Progress &progress) const;
    int copyFolders(const QFileInfoList &sources, const QString &canonicalParent,
                    const Data::String &destination, const ClosedFolder &closed,
                    Progress &progress) const;

    const int m_overwrite;
    const bool m_cancelable;
};

} // namespace

int FolderCopy::run(const Data::String &source, const QString &canonicalSource,
                    const Data::String &target, const ClosedFolder *closed) const
{
    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/!m_cancelable);
    const Data::String destination = File::join(target, File::base(source));
    if (File::isSamePath(destination, source))
        return 1;

    // Where there is nothing then, each file would be copied onto the folder's path, over the one
    // before. A file that stands there is a target of copy(), which overwrite decides about.
    if (!File::createDir(destination) && !QFileInfo::exists(destination))
        return 0;
    // Below the destination the copy would find its own work and, through a link, a folder that it
    // is in already, again and again.
    const ClosedFolder ownWork = {closed ? QString() : QFileInfo(destination).canonicalFilePath(),
                                  nullptr};
    const ClosedFolder closedBelow = {canonicalSource, closed ? closed : &ownWork};

    const QDir folder(source);
    QFileInfoList filesHere;
    QFileInfoList foldersHere;
    if (isName(source)) {
        filesHere = folder.entryInfoList(QDir::Files, QDir::Unsorted);
        foldersHere = folder.entryInfoList(folders, QDir::Unsorted);
    }
    const int total = filesHere.size() + foldersHere.size();
    Progress progress(total < 6 ? -1 : stepsUnlessNested(total), QLatin1String("Copying ") + source,
                      m_cancelable, /*waitCursor=*/!m_cancelable,
                      /*popup=*/true);

    const int fromFiles = copyFiles(filesHere, destination, progress);
    if (fromFiles < 0)
        return -1;
    const int fromFolders =
        copyFolders(foldersHere, canonicalSource, destination, closedBelow, progress);
    return fromFolders < 0 ? -1 : fromFiles | fromFolders;
}

int FolderCopy::copyFiles(const QFileInfoList &files, const Data::String &destination,
                          Progress &progress) const
{
    int result = 0;
    for (const QFileInfo &file : files) {
        if (File::copy(file.filePath(), destination, m_overwrite, /*showWaitCursor=*/false))
            result = 1;
        if (!progress.tick())
            return -1;
    }
    return result;
}

int FolderCopy::copyFolders(const QFileInfoList &sources, const QString &canonicalParent,
                            const Data::String &destination, const ClosedFolder &closed,
                            Progress &progress) const
{
    int result = 0;
    for (const QFileInfo &folder : sources) {
        // Put together where no link is followed, as asking for it looks at each folder on the way.
        const QString canonical = folder.isSymLink()
                                      ? folder.canonicalFilePath()
                                      : QDir(canonicalParent).filePath(folder.fileName());
        if (!closed.contains(canonical)) {
            const int nested = run(folder.filePath(), canonical, destination, &closed);
            if (nested < 0)
                return -1;
            result |= nested;
        }
        if (!progress.tick())
            return -1;
    }
    return result;
}

int File::copyDir(const Data::String &source, const Data::String &target, int overwrite,
                  bool cancelable)
{
    if (hasZeroByte(source) || hasZeroByte(target))
        return 0;

    const FolderCopy copy(overwrite, cancelable);
    if (!isPattern(source))
        return copy.run(source, QFileInfo(source).canonicalFilePath(), target);

    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/!cancelable);
    const QFileInfoList sources = foldersThatFit(source);
    Progress progress(sources.size() > 5 ? stepsUnlessNested(sources.size()) : -1,
                      QLatin1String("Copying ") + source, cancelable, /*waitCursor=*/!cancelable,
                      /*popup=*/true);

    int result = 0;
    for (const QFileInfo &folder : sources) {
        // Not copyDir(), for which a "*" in the name of a folder would be a wildcard again.
        const int nested = copy.run(folder.filePath(), folder.canonicalFilePath(), target);
        if (nested < 0 || !progress.tick())
            return -1;
        result |= nested;
    }
    return result;
}

void File::move(const Data::String &source, const Data::String &target)
{
    Platform::moveReplacing(cleanPath(source).toStdString(), cleanPath(target).toStdString());
}

void File::moveDir(const Data::String &source, const Data::String &target)
{
    if (!isPattern(source))
        return move(source, target);

    const QFileInfoList sources = foldersThatFit(source);
    for (const QFileInfo &folder : sources)
        move(folder.filePath(), target);
}

/// The names of \p entries that \p exceptions keeps, as they are counted: with repeated and empty
/// ones. The folder is not listed for it: what such a list lacks by a fault would be removed.
static QStringList namesToKeep(const QStringList &entries, const Data::String &exceptions)
{
    const QLatin1Char separator('\n');
    if (exceptions.isEmpty())
        return {};
    if (exceptions.contains(separator))
        return exceptions.split(separator);
    QStringList names;
    for (const QString &entry : entries) {
        if (QDir::match(QStringList(exceptions), entry))
            names.append(entry);
    }
    return names;
}

/// Removes what is in the folder of \p path, which ends in "/*".
static int removeContents(const Data::String &path, const Data::String &exceptions, bool cancelable)
{
    const QString name = path.chopped(std::min(path.size(), 2));
    if (!isName(name) || QDir(name).isRoot()) // as of "/*", "*" and "//*"
        return 0;

    const QDir folder(name);
    const QStringList filesHere = folder.entryList(QDir::Files, QDir::Unsorted);
    const QStringList foldersHere = folder.entryList(folders, QDir::Unsorted);
    const QStringList namesKept = namesToKeep(filesHere + foldersHere, exceptions);
    const QSet<QString> kept(namesKept.begin(), namesKept.end());

    int removed = 0;
    for (const QString &file : filesHere) {
        if (!kept.contains(file) && QFile::remove(folder.filePath(file)))
            ++removed;
    }

    const int total = foldersHere.size() - namesKept.size();
    Progress progress(total < 6 ? -1 : stepsUnlessNested(total), QLatin1String("Removing ") + path,
                      cancelable, /*waitCursor=*/!cancelable, /*popup=*/true);
    for (const QString &below : foldersHere) {
        if (kept.contains(below))
            continue;

        // What is no folder for certain may be a link, and what that leads to is never removed.
        const Data::String entryPath = File::join(name, below);
        const Entry entry = fileStatus(entryPath, /*followLinks=*/false).entry;
        if (entry == Entry::Link) {
            removed += QFile::remove(entryPath) ? 1 : 0;
        } else if (entry == Entry::Folder) {
            const int nested = File::remove(File::join(entryPath, QStringLiteral("*")),
                                            Data::String(), cancelable);
            if (nested < 0)
                return -1;
            removed += nested + (folder.rmdir(below) ? 1 : 0);
        }
        if (!progress.tick())
            return -1;
    }
    return removed;
}

static int removeFiles(const QStringList &files)
{
    const auto remove = [](const QString &file) { return QFile::remove(file); };
    return static_cast<int>(std::count_if(files.begin(), files.end(), remove));
}

static int removeOne(const Data::String &path)
{
    if (!QFileInfo(path).isDir())
        return QFile::remove(path) ? 1 : 0;

    QString name = path;
    while (name.size() > 1 && name.endsWith(QLatin1Char('/')))
        name.chop(1); // as "link/" is the folder that the link leads to
    const Entry entry = fileStatus(name, /*followLinks=*/false).entry;
    if (entry == Entry::Link)
        return QFile::remove(name) ? 1 : 0;
    if (entry != Entry::Folder)
        return 0;

    const QDir folder(name);
    QStringList files = folder.entryList(QDir::Files, QDir::Unsorted);
    for (QString &file : files)
        file = folder.filePath(file);
    const int removed = removeFiles(files);
    return removed + (QDir().rmdir(name) ? 1 : 0);
}

int File::remove(const Data::String &path, const Data::String &exceptions, bool cancelable)
{
    if (!isName(path))
        return 0;

    const Data::String name = base(path, /*withExtension=*/true);
    if (name == QLatin1String("*"))
        return removeContents(path, exceptions, cancelable);
    if (isPattern(path))
        return removeFiles(search(parentFolder(path), name, /*recursive=*/false));
    return removeOne(path);
}

bool File::createDir(const Data::String &path)
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
        if (missing.size() > path.size()) // in a current folder that may not be entered
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

} // namespace Utils
