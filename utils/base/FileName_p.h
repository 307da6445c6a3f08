#pragma once

#include "utils/platform/Platform.h"

#include <QString>

namespace Utils {

/// QFile and QDir use only the part of a path before a zero byte, and would access a different
/// file.
inline bool hasZeroByte(const QString &path) { return path.contains(QChar::Null); }

/// Whether \p path can name a file or folder. For an empty path QFile prints a warning, and QDir
/// uses the current folder.
inline bool isName(const QString &path) { return !path.isEmpty() && !hasZeroByte(path); }

/// \p path, of Windows, without a prefix that lifts the limit of its length, or that of a device
/// before a path on a drive. Qt, which adds the first by itself, removes it only before a drive and
/// only when it is written with "\": a share would become a relative path, and "?" or "." a server.
///
///     \\?\UNC\server\share\a, //?/UNC/server/share/a  => //server/share/a
///     \\?\C:\a, //?/C:/a, \\.\C:\a                  => C:/a
///     \\.\C:, \\.\NUL, \\?\Volume{...}\a, C:\a     => as it is
QString withoutPathPrefix(const QString &path);

/// \p path as Qt takes it: withoutPathPrefix() where there are prefixes.
inline QString pathForQt(const QString &path)
{
    return Platform::hasPathPrefixes() ? withoutPathPrefix(path) : path;
}

} // namespace Utils
