#pragma once

#include <QByteArray>

#include <cstddef>

namespace Utils {

/// Whether a source of \p size bytes may overflow a stack with \p stack bytes left in Python's
/// compiler, which ends the process: it goes down a level for each link of a chain, such as
/// a + a + ... or a.b.c..., for each elif, and for each jump of a function or module.
bool mayBeTooDeepForPython(std::size_t size, std::size_t stack);

/// Whether \p source may.
///
/// \p source is UTF-8 or has a coding line. One that does not parse is not too deep; one for which
/// the memory does not suffice is.
bool isTooDeepForPython(const QByteArray &source, std::size_t stack);

/// Sets the Python error of a source that is: a MemoryError, as for one that is too deep to parse.
void setDepthError();

/// Has sys.setrecursionlimit() go no further than the stack that is left bears, but to \p limit in
/// any case: a higher one becomes the highest. Threads that scripts start get stacks for the limit.
/// There must be an interpreter; the next one wants this again.
void limitRecursion(int limit);

} // namespace Utils
