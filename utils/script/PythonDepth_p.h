#pragma once

#include <QByteArray>

namespace Utils {

/// Whether Python's compiler would run out of stack in \p source, which ends the process: it goes
/// down a level for each link of a chain, such as a + a + ... or a.b.c..., for each elif, and for
/// each jump of a function or module.
///
/// \p source is UTF-8 or has a coding line. One that does not parse is not too deep; one for which
/// the memory does not suffice is.
bool isTooDeepForPython(const QByteArray &source);

/// Sets the Python error of a source that is: a MemoryError, as for one that is too deep to parse.
void setDepthError();

} // namespace Utils
