#pragma once

#include "utils/platform/Platform.h"

#include <QString>
#include <QStringView>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Utils {

/// The path that the system uses for \p path. No value for a path that only Qt can find, such as
/// that of a resource, and for one that names nothing.
std::optional<std::string> nativePath(const QString &path);

/// \p path without a prefix of QDir::searchPaths(), which only a path with a colon can have.
QString fullPath(const QString &path);

/// Whether \p path, which has no such prefix, is one of a resource of Qt.
inline bool isResource(const QString &path) { return path.startsWith(QLatin1Char(':')); }

/// \p path, which must not be a resource, in the encoding of the system, without a prefix of
/// QDir::searchPaths().
std::string systemPath(const QString &path);

/// The name of an entry of a folder in the encoding of the system.
std::string systemName(const QString &name);

/// The path, without links, of the folder that \p path leads to. "" when it does not exist. Unlike
/// QFileInfo::canonicalFilePath() it follows the junctions of Windows.
QString canonicalFolder(const QString &path);

/// A file or folder in a folder.
struct FolderItem
{
    QStringView name; ///< valid during the call
    bool isFile;      ///< both are false for a link to a device or a pipe
    bool isFolder;    ///< also for a link to a folder
    bool isLink;
};

/// Calls \p visit for the files and folders of \p folder that QDirIterator lists with the filter
/// QDir::AllDirs | QDir::Files | QDir::NoDotAndDotDot, in the same order, until \p visit returns
/// false. The system tells the kind of an entry, so that only links have to be examined.
///
/// \p error, if not null, is set to why the folder could not be listed to its end, as an error
/// number (errno): 0 when \p visit has got all entries, or has returned false. Where Qt lists the
/// folder, it is listed once more for this.
void listFolder(const QString &folder, const std::function<bool(const FolderItem &)> &visit,
                int *error = nullptr);

/// The same for a folder that openFolder() has opened.
void listFolder(Platform::OpenFolder &folder, const std::function<bool(const FolderItem &)> &visit,
                int &error);

/// Platform::openFolder(). Null, too, for a resource of Qt, and for what names nothing.
std::unique_ptr<Platform::OpenFolder> openFolder(const QString &path, bool followLinks);

} // namespace Utils
