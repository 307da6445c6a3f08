#pragma once

#include "examples/console/Command.h"

namespace Kelm {

/// Prints the mistakes in the string tables at \p paths: in each, and between the languages of a
/// table. The result is a failure when there is one.
Result checkStrings(const QStringList &paths);

/// Prints the string table at \p path for a pseudo language. Each text is readable, but longer and
/// with accents: a text without accents in a program is not in the catalogue, and a text that is
/// cut off has too little room.
Result printPseudoLocale(const QString &path);

} // namespace Kelm
