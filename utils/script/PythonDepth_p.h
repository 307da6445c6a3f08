#pragma once

#include <QByteArray>

#include <cstddef>

namespace Utils {

/// Whether Python's compiler may overflow a stack, of which \p stack bytes are free, for a source
/// of \p size bytes. That ends the process. The compiler recurses for each link of a chain, such as
/// a + a + ... or a.b.c..., for each elif, and for each jump of a function or module.
bool mayBeTooDeepForPython(std::size_t size, std::size_t stack);

/// Whether the compiler may overflow such a stack for \p source.
///
/// \p source is UTF-8 or has a coding line. Returns false when it cannot be parsed, and true when
/// the memory does not suffice.
bool isTooDeepForPython(const QByteArray &source, std::size_t stack);

/// The same, found in the tree of the whole source. It is parsed for this, which takes as long as
/// Python itself does for it, so isTooDeepForPython() calls it only for sources with a long part.
bool isParsedTooDeepForPython(const QByteArray &source, std::size_t stack);

/// Sets the Python error for a source that is too deep: a MemoryError, as Python's parser does.
void setDepthError();

/// Makes sys.setrecursionlimit() reduce a limit to what the free stack holds, but not below \p
/// limit. Threads that scripts start get stacks for the current limit. Call it for each
/// interpreter, after its start.
void limitRecursion(int limit);

} // namespace Utils
