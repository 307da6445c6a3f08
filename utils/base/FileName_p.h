#pragma once

#include <QString>

namespace Utils {

/// Qt's QFile and QDir take what is in front of a zero byte for the path, and would reach another
/// file.
inline bool hasZeroByte(const QString &path) { return path.contains(QChar::Null); }

/// Whether \p path can name a file or folder. QFile warns of an empty one, which QDir takes for the
/// current folder.
inline bool isName(const QString &path) { return !path.isEmpty() && !hasZeroByte(path); }

} // namespace Utils
