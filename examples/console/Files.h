#pragma once

#include <QString>

namespace Kelm {

/// Why the file \p path cannot be read, as 'Cannot read "path": No such file or directory', or ""
/// when it can.
QString whyUnreadable(const QString &path);

/// Why the file \p path cannot be written, or "". Where there is none an empty one stands then.
QString whyUnwritable(const QString &path);

/// Replaces the file \p path by \p text in UTF-8. What went wrong, or "".
QString writeFile(const QString &path, const QString &text);

} // namespace Kelm
