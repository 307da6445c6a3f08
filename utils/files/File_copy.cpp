#include "utils/files/File.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/base/FolderList_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File_p.h"
#include "utils/platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVector>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

namespace Utils {

using Platform::CopyResult;
using Platform::Entry;
using Platform::EntryStatus;

/// The path without links, or "" when it does not exist. No value when this cannot be determined;
/// Qt would return the path unchanged then.
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

/// Whether both paths lead to the same file. No value when this cannot be determined.
static std::optional<bool> isSameFile(const Data::String &source, const Data::String &target)
{
    const std::optional<QString> from = canonicalPath(source);
    const std::optional<QString> to = canonicalPath(target);
    if (!from || !to)
        return std::nullopt;
    return !from->isEmpty() && from == to;
}

/// Whether \p target is another path of the directory entry that \p source leads to, so that
/// removing the target would also lose the source. No value when this cannot be determined.
static std::optional<bool> isSameEntry(const Data::String &source, const Data::String &target)
{
    if (const auto isSame = Platform::isSameEntry(source.toStdString(), target.toStdString()))
        return isSame;
    const QFileInfo entry(target);
    const std::optional<QString> file = canonicalPath(source);
    const std::optional<QString> folder = canonicalPath(entry.path());
    if (!file || !folder)
        return std::nullopt;
    return !file->isEmpty() && file == QDir(*folder).filePath(entry.fileName());
}

/// Whether \p source is newer than \p target, in whole seconds. No value when this cannot be
/// determined.
static std::optional<bool> isNewer(const Data::String &source, const Data::String &target)
{
    const EntryStatus from = fileStatus(source);
    const EntryStatus to = fileStatus(target);
    if (from.entry == Entry::Unknown || to.entry == Entry::Unknown)
        return std::nullopt;
    return timestampOf(from) > timestampOf(to);
}

/// Stores why \p file could not be copied to \p target. Returns false.
static bool notCopied(const QFile &file, const QString &target)
{
    QFile source(file.fileName());
    if (!source.open(QIODevice::ReadOnly))
        return LastError::cannotRead(source);
    if (!QFileInfo(QFileInfo(target).path()).isDir())
        return LastError::setFor(".err.nofolder", target);
    return LastError::setFor(".err.copyfault", file.fileName(), target, file.errorString());
}

/// Copies the whole file at once. When the copy is incomplete, removes it and returns false.
static bool copyAtOnce(const Data::String &source, const Data::String &target)
{
    const EntryStatus from = fileStatus(source);
    if (from.entry != Entry::File) // a pipe may have no end
        return LastError::isNoFile(source);
    QFile file(source);
    if (!file.copy(target))
        return notCopied(file, target);

    // For Qt, a file of unknown size is immediately at its end. The copy may be larger than the
    // source if that grows meanwhile or reports no size.
    const EntryStatus to = fileStatus(target);
    if (to.entry == Entry::File && to.size >= from.size)
        return true;
    QFile::remove(target);
    return LastError::setFor(".err.copy", source, target);
}

// A larger file is copied in chunks when a progress is shown.
static const qint64 largestAtOnce = 2049 * 1024 - 1;
static const int chunkSize = 4096;
static const int chunksAtOnce = 16; // that are read and written by one call

static bool isCopiedInChunks(qint64 size)
{
    return Progress::current(true) && size > largestAtOnce;
}

/// The number of chunks of a file of \p size bytes, as far as a reporter counts them.
static int chunksOf(qint64 size)
{
    const qint64 chunks = size / chunkSize;
    return static_cast<int>(std::min<qint64>(chunks, std::numeric_limits<int>::max()));
}

/// Copies in small chunks, with its own reporter. False, and nothing is at the target, when the
/// copy is incomplete.
static bool copyInChunks(const Data::String &source, const Data::String &target, qint64 size)
{
    Progress progress(chunksOf(size), Progress::current(true)->label(),
                      /*cancelable=*/false, /*waitCursor=*/true, /*popup=*/true);
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly))
        return LastError::cannotRead(from);
    // It has its name when it is complete, so a kill leaves no part of it there.
    SafeFile to(target);
    to.requireNewTarget();
    if (!to.open(QIODevice::WriteOnly))
        return false;

    char chunks[chunksAtOnce * chunkSize];
    qint64 copied = 0;
    while (!from.atEnd()) {
        const qint64 length = from.read(chunks, sizeof(chunks));
        if (length < 1)
            break;
        if (to.write(chunks, length) != length)
            return to.storeReason();
        copied += length;
        for (qint64 at = 0; at < length; at += chunkSize)
            progress.tick(); // result ignored: a copy that has begun is completed
    }
    if (copied != size)
        return LastError::setFor(".err.copy", source, target);
    return to.commit(/*flush=*/false);
}

/// Copies a file so that no part of a copy is ever at \p target: over an existing file with
/// \p isReplaced, otherwise to a new one.
static bool copySafely(const Data::String &source, const Data::String &target, bool isReplaced,
                       bool showWaitCursor)
{
    std::optional<Progress> progress;
    const qint64 size = File::size(source);
    if (isCopiedInChunks(size))
        progress.emplace(chunksOf(size), Progress::current(true)->label(),
                         /*cancelable=*/false, /*waitCursor=*/true, /*popup=*/true);
    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/showWaitCursor);
    if (fileStatus(source).entry != Entry::File)
        return LastError::isNoFile(source);
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly))
        return LastError::cannotRead(from);
    SafeFile to(target);
    if (!isReplaced)
        to.requireNewTarget();
    if (!to.copyPermissions(source) || !to.open(QIODevice::WriteOnly))
        return false;
    char chunks[chunksAtOnce * chunkSize];
    qint64 length;
    while ((length = from.read(chunks, sizeof(chunks))) > 0) {
        if (to.write(chunks, length) != length)
            break; // commit() fails
        if (progress)
            progress->tick(chunksOf(length)); // result ignored, as for copyInChunks()
    }
    return length < 0 ? LastError::cannotRead(from) : to.commit();
}

/// Copies a file to a \p target that does not exist.
static bool copyContents(const Data::String &source, const Data::String &target,
                         bool showWaitCursor)
{
    const qint64 size = File::size(source);
    if (isCopiedInChunks(size) && copyInChunks(source, target, size))
        return true;
    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/showWaitCursor);
    return copyAtOnce(source, target);
}

/// File::copy() of paths as Qt takes them.
static bool copyFile(const Data::String &source, const Data::String &target, int overwrite,
                     bool showWaitCursor)
{
    LastError operation;
    if (hasZeroByte(source) || hasZeroByte(target))
        return LastError::setFor(".err.badname", hasZeroByte(source) ? source : target);

    const bool isInto = QFileInfo(target).isDir();
    const Data::String file =
        isInto ? File::join(target, File::base(source, /*withExtension=*/true)) : target;
    const bool isSafe = SafeFile::isUsed();
    std::optional<bool> isSame = true;
    // A safe copy replaces the file that a link at the target leads to.
    if (!File::isSamePath(source, file))
        isSame = isSafe ? isSameFile(source, file) : isSameEntry(source, file);
    if (isSame == true)
        return true;

    // Not File::exists(), which interprets a "*" in the name as a wildcard.
    bool isReplaced = false;
    if (QFileInfo::exists(file)) {
        if (overwrite == 0)
            return LastError::setFor(".err.exists", file);
        const std::optional<bool> replaces = overwrite < 0 ? isNewer(source, file) : true;
        if (replaces == false)
            return true;
        if (!replaces || !isSame)
            return LastError::setFor(".err.copy", source, file);
        isReplaced = isSafe;
        QFile old(file);
        if (!isReplaced && !removeEntry(old))
            return LastError::cannotWrite(old);
    }

    const bool isCopied = isSafe ? copySafely(source, file, isReplaced, showWaitCursor)
                                 : copyContents(source, file, showWaitCursor);
    return isCopied && operation.succeeded();
}

bool File::copy(const Data::String &source, const Data::String &target, int overwrite,
                bool showWaitCursor)
{
    return copyFile(pathForQt(source), pathForQt(target), overwrite, showWaitCursor);
}

namespace {

/// A list of folders that a copy does not enter: the canonical path of one, and the others.
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

/// A file in a folder that is copied.
struct FileBelow
{
    QString name;
    bool isKnown; ///< false for a link to a device or a pipe
};

/// A folder, or a link to one, below a folder that is copied.
struct FolderBelow
{
    QString path;
    bool isLink;
};

/// A call of copyDir(), with the arguments that are the same for all levels.
class FolderCopy
{
public:
    FolderCopy(int overwrite, bool cancelable) : m_overwrite(overwrite), m_cancelable(cancelable) {}

    /// Copies \p source, whose canonical path is \p canonicalSource, into \p target. \p closed is
    /// null for the outermost folder. Returns 1 when something was copied, 0 when nothing was, and
    /// -1 when the copy was cancelled.
    int run(const Data::String &source, const QString &canonicalSource, const Data::String &target,
            const ClosedFolder *closed = nullptr) const;

private:
    // The same return values as run().
    int copyFiles(const QString &folder, const QVector<FileBelow> &files,
                  const Data::String &destination, Progress &progress) const;
    int copyFolders(const QVector<FolderBelow> &sources, const QString &canonicalParent,
                    const Data::String &destination, const ClosedFolder &closed,
                    Progress &progress) const;

    const int m_overwrite;
    const bool m_cancelable;
};

} // namespace

/// Whether there is a folder at \p path, which is created when it is missing. Stores no reason:
/// when a folder that was created cannot be examined, File::createDir() takes that for a failure.
static bool makesFolder(const QString &path)
{
    const LastError::Apart apart;
    return File::createDir(path) || QFileInfo(path).isDir();
}

int FolderCopy::run(const Data::String &source, const QString &canonicalSource,
                    const Data::String &target, const ClosedFolder *closed) const
{
    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/!m_cancelable);
    const Data::String destination = File::join(target, File::base(source));
    if (File::isSamePath(destination, source))
        return 1;

    // If the folder did not exist, each file would be copied to the path of the folder, over the
    // previous one. An existing file at this path is a target of copy(), to which overwrite
    // applies.
    if (!makesFolder(destination)) {
        LastError::setFor(".err.createdir", destination);
        if (!QFileInfo::exists(destination))
            return 0;
    }
    // Below the destination, the copy would find its own output and, through a link, again and
    // again a folder that it has already entered.
    const ClosedFolder ownWork = {closed ? QString() : canonicalFolder(destination), nullptr};
    const ClosedFolder closedBelow = {canonicalSource, closed ? closed : &ownWork};

    const QDir folder(source);
    QVector<FileBelow> filesHere;
    QVector<FolderBelow> foldersHere;
    const auto note = [&](const FolderItem &item) {
        // For QDir, a link to a pipe or a device is a file and also a folder.
        if (!item.isFolder)
            filesHere.append({item.name.toString(), item.isFile});
        if (!item.isFile)
            foldersHere.append({folder.filePath(item.name.toString()), item.isLink});
        return true;
    };
    int error = 0;
    if (isName(source))
        listFolder(source, note, &error);
    if (error != 0)
        notListed(source, error);
    const int total = filesHere.size() + foldersHere.size();
    Progress progress(total < 6 ? -1 : stepsUnlessNested(total), QLatin1String("Copying ") + source,
                      m_cancelable, /*waitCursor=*/!m_cancelable,
                      /*popup=*/true);

    const int fromFiles = copyFiles(source, filesHere, destination, progress);
    if (fromFiles < 0)
        return -1;
    const int fromFolders =
        copyFolders(foldersHere, canonicalSource, destination, closedBelow, progress);
    return fromFolders < 0 ? -1 : fromFiles | fromFolders;
}

/// Copies a new file of up to \p largest bytes as copyAtOnce() does. No value when File::copy() has
/// to do it, as for a file that exists at the target.
static std::optional<bool> copyToNewFile(const std::string &source, const std::string &target,
                                         std::int64_t largest)
{
    if (Platform::entryStatus(target, /*followLinks=*/false).entry != Entry::Missing)
        return std::nullopt;
    switch (Platform::copyToNewFile(source, target, largest)) {
    case CopyResult::Copied:
        return true;
    case CopyResult::Failed:
        return LastError::set(".err.copy",
                              {QString::fromStdString(source), QString::fromStdString(target)});
    case CopyResult::NotTried:
        break;
    }
    return std::nullopt;
}

int FolderCopy::copyFiles(const QString &folder, const QVector<FileBelow> &files,
                          const Data::String &destination, Progress &progress) const
{
    const auto from = nativePath(folder);
    const auto to = nativePath(destination);
    int result = 0;
    for (const FileBelow &file : files) {
        std::optional<bool> copied;
        // A file that overwrite keeps is no failure.
        std::optional<LastError::Apart> apart;
        if (m_overwrite == 0 && QFileInfo::exists(QDir(destination).filePath(file.name)))
            apart.emplace();
        if (from && to && file.isKnown) {
            const std::string name = '/' + file.name.toStdString();
            const bool isInChunks = Progress::current(true);
            copied = copyToNewFile(*from + name, *to + name,
                                   isInChunks ? largestAtOnce : std::numeric_limits<qint64>::max());
        }
        if (!copied)
            copied = File::copy(QDir(folder).filePath(file.name), destination, m_overwrite,
                                /*showWaitCursor=*/false);
        result |= *copied ? 1 : 0;
        if (!progress.tick())
            return -1;
    }
    return result;
}

int FolderCopy::copyFolders(const QVector<FolderBelow> &sources, const QString &canonicalParent,
                            const Data::String &destination, const ClosedFolder &closed,
                            Progress &progress) const
{
    int result = 0;
    for (const FolderBelow &folder : sources) {
        // Joined if no link is followed: canonicalFolder() would access each folder of the path.
        const QString name = QFileInfo(folder.path).fileName();
        const QString canonical =
            folder.isLink ? canonicalFolder(folder.path) : QDir(canonicalParent).filePath(name);
        if (!closed.contains(canonical)) {
            const int nested = run(folder.path, canonical, destination, &closed);
            if (nested < 0)
                return -1;
            result |= nested;
        }
        if (!progress.tick())
            return -1;
    }
    return result;
}

/// Whether \p path is known to be no folder: it is missing, or something else.
static bool isNoFolder(const QString &path)
{
    if (QFileInfo(path).isDir())
        return false;
    const Entry entry = fileStatus(path).entry;
    return entry != Entry::Folder && entry != Entry::Unknown;
}

/// The result of copyDir(), whose reason is stored.
static int copyFolderOrFolders(const Data::String &source, const Data::String &target,
                               int overwrite, bool cancelable)
{
    const FolderCopy copy(overwrite, cancelable);
    if (!isPattern(source)) {
        if (isNoFolder(source))
            LastError::setFor(".err.notafolder", source);
        return copy.run(source, canonicalFolder(source), target);
    }

    const WaitCursor waitCursor(/*suspend=*/false, /*enable=*/!cancelable);
    const QStringList sources = matchingFolders(source);
    Progress progress(sources.size() > 5 ? stepsUnlessNested(sources.size()) : -1,
                      QLatin1String("Copying ") + source, cancelable, /*waitCursor=*/!cancelable,
                      /*popup=*/true);

    int result = 0;
    for (const QString &folder : sources) {
        // Not copyDir(), which would again interpret a "*" in the name of a folder as a wildcard.
        const int nested = copy.run(folder, canonicalFolder(folder), target);
        if (nested < 0 || !progress.tick())
            return -1;
        result |= nested;
    }
    return result;
}

int File::copyDir(const Data::String &source, const Data::String &target, int overwrite,
                  bool cancelable)
{
    const LastError operation;
    if (hasZeroByte(source) || hasZeroByte(target)) {
        LastError::setFor(".err.badname", hasZeroByte(source) ? source : target);
        return 0;
    }
    const int result =
        copyFolderOrFolders(pathForQt(source), pathForQt(target), overwrite, cancelable);
    if (result < 0)
        LastError::set(".err.cancelled");
    return result;
}
} // namespace Utils
