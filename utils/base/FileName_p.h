#pragma once

#include <QString>

namespace Utils {

/// QFile and QDir use only the part of a path before a zero byte, and would access a different
/// file.
inline bool hasZeroByte(const QString &path) { return path.contains(QChar::Null); }

/// Whether \p path can name a file or folder. For an empty path QFile prints a warning, and QDir
/// uses the current folder.
inline bool isName(const QString &path) { return !path.isEmpty() && !hasZeroByte(path); }

} // namespace Utils
