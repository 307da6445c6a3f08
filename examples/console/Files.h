#pragma once

#include <QString>

namespace Kelm {

/// Whether \p path is something else than a file or a folder: a pipe or a device.
bool isDevice(const QString &path);

/// Why the file \p path cannot be read, as 'Cannot read "path": No such file or directory', or ""
/// when it can.
QString whyUnreadable(const QString &path);

/// Replaces the file \p path by \p text in UTF-8. What went wrong, or "".
QString writeFile(const QString &path, const QString &text);

} // namespace Kelm
