#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>

namespace Utils {

/// Returns the names of the modules that can be imported whose names start with \p prefix: those
/// that are loaded, those of the interpreter itself, and those that lie in the folders and archives
/// of sys.path. With a \p package, such as "xml.dom", those in it.
///
/// Runs nothing of a script, and imports nothing.
QSet<QByteArray> importableModules(const QByteArray &package, const QByteArray &prefix);

} // namespace Utils
