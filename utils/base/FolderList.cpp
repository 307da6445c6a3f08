#include "utils/base/FolderList_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/Utf8_p.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>
#include <QVarLengthArray>

#include <cstring>

namespace Utils {

using Platform::Entry;
using Platform::FolderEntry;

static bool areNamesUtf8()
{
    const int utf8 = 106; // in the register of character sets
    return QTextCodec::codecForLocale()->mibEnum() == utf8;
}

std::optional<std::string> nativePath(const QString &path)
{
    // With a colon: a resource, or a name of QDir::searchPaths().
    if (!isName(path) || path.contains(QLatin1Char(':')) || !areNamesUtf8())
        return std::nullopt;
    return path.toStdString();
}

QString fullPath(const QString &path)
{
    return path.contains(QLatin1Char(':')) ? QFileInfo(pathForQt(path)).absoluteFilePath() : path;
}

std::string systemName(const QString &name)
{
    return Platform::hasUtf8Paths() ? name.toStdString() : QFile::encodeName(name).toStdString();
}

std::string systemPath(const QString &path) { return systemName(fullPath(path)); }

QString canonicalFolder(const QString &path)
{
    if (Platform::hasJunctions() && isName(path)) {
        const auto resolved = Platform::canonicalPath(path.toStdString());
        if (resolved && !resolved->empty())
            return QString::fromStdString(*resolved);
    }
    return QFileInfo(pathForQt(path)).canonicalFilePath();
}

/// Stores the text of a file name, which may start with a byte order mark, in \p text, and returns
/// it. Empty for bytes that are not UTF-8; Qt skips such an entry.
static QStringView decodeName(const char *bytes, QVarLengthArray<QChar, 256> &text)
{
    const char *const end = bytes + std::strlen(bytes);
    text.resize(static_cast<int>(end - bytes));
    QChar *to = text.data();
    const bool isValid = decodeUtf8(bytes, end, to) && bytes == end;
    return isValid ? QStringView(text.constData(), to) : QStringView();
}

/// The name of these bytes in the encoding of the locale. "" when they are not valid in it: such a
/// name would be that of another file, or of none.
static QString decodeLocalName(const char *bytes)
{
    const QString name = QFile::decodeName(bytes);
    return QFile::encodeName(name) == bytes ? name : QString();
}

static bool isJunction(const QString &path)
{
    return Platform::hasJunctions() &&
           Platform::entryStatus(path.toStdString(), /*followLinks=*/false).entry == Entry::Link;
}

/// False when \p visit has ended the listing.
static bool listByQt(const QString &folder, const std::function<bool(const FolderItem &)> &visit)
{
    QDirIterator item(QDir(pathForQt(folder)).path(),
                      QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Files);
    while (item.hasNext()) {
        item.next();
        const QFileInfo info = item.fileInfo();
        const bool isLink = info.isSymLink() || (info.isDir() && isJunction(info.filePath()));
        const QString name = info.fileName();
        if (!visit({name, info.isFile(), info.isDir(), isLink}))
            return false;
    }
    return true;
}

/// Why \p folder cannot be listed, which Qt does not tell. 0 when it can.
static int errorOfListing(const QString &folder)
{
    return isResource(fullPath(folder)) ? 0 : Platform::errorOfListing(systemPath(folder));
}

namespace {

/// Calls a visitor of FolderItem for entries of the system.
struct EntryVisitor
{
    const std::function<bool(const FolderItem &)> &visit;
    const bool isUtf8 = areNamesUtf8();
    QVarLengthArray<QChar, 256> text = {}; // names are not longer on most file systems

    bool operator()(const FolderEntry &found)
    {
        const QString localName = isUtf8 ? QString() : decodeLocalName(found.name);
        const QStringView name = isUtf8 ? decodeName(found.name, text) : localName;
        return name.isEmpty() || visit({name, found.entry == Entry::File,
                                        found.entry == Entry::Folder, found.isLink});
    }
};

} // namespace

void listFolder(const QString &folder, const std::function<bool(const FolderItem &)> &visit,
                int *error)
{
    EntryVisitor visitor = {visit};
    std::optional<int> found;
    if (const std::optional<std::string> path = nativePath(folder))
        found = Platform::listFolder(*path, std::ref(visitor));
    if (!found)
        found = listByQt(folder, visit) && error ? errorOfListing(folder) : 0;
    if (error)
        *error = *found;
}

void listFolder(Platform::OpenFolder &folder, const std::function<bool(const FolderItem &)> &visit,
                int &error)
{
    EntryVisitor visitor = {visit};
    error = folder.list(std::ref(visitor));
}

std::unique_ptr<Platform::OpenFolder> openFolder(const QString &path, bool followLinks)
{
    if (!isName(path) || isResource(fullPath(path)))
        return {};
    return Platform::openFolder(systemPath(path), followLinks);
}

} // namespace Utils
