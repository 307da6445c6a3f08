#pragma once

#include <QString>

namespace Kelm {

/// Whether \p path exists and is neither a file nor a folder, but a pipe or a device.
bool isDevice(const QString &path);

/// Returns why the file \p path cannot be read, such as 'The file "path" does not exist.'. Returns
/// "" when it can be read.
QString whyUnreadable(const QString &path);

/// Returns 'You have no permission to read "path".' when the folder \p path, or with \p recursive a
/// folder below it, cannot be read: the library skips such folders. Returns "" when there is none.
QString whyUnreadableFolder(const QString &path, bool recursive);

/// Whether \p name is the name of an encoding, or "auto".
bool isEncoding(const QString &name);

/// Replaces the content of the file \p path by \p text in UTF-8, as File::writeSafely() does.
/// Returns the reason of a failure, or "".
QString writeFile(const QString &path, const QString &text);

} // namespace Kelm
