#pragma once

#include <QString>

namespace Kelm {

/// Whether \p path is something else than a file or a folder: a pipe or a device.
bool isDevice(const QString &path);

/// Why the file \p path cannot be read, as 'Cannot read "path": No such file or directory', or ""
/// when it can.
QString whyUnreadable(const QString &path);

/// 'Cannot read the folder "path"' for the folder \p path, or with \p recursive the first below it,
/// that cannot be read, which the library passes over. "" when there is none.
QString whyUnreadableFolder(const QString &path, bool recursive);

/// Replaces the file \p path by \p text in UTF-8. What went wrong, or "".
QString writeFile(const QString &path, const QString &text);

} // namespace Kelm
