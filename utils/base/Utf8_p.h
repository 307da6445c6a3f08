#pragma once

#include <QByteArray>
#include <QChar>

namespace Utils {

/// Decodes valid UTF-8 from \p source up to \p end into \p target, which needs room for one code
/// unit per byte. Moves both pointers after the decoded text.
///
/// Returns false and stops before an invalid sequence. Returns true and stops before a sequence
/// that \p end cuts off: the bytes that follow may complete it.
bool decodeUtf8(const char *&source, const char *end, QChar *&target);

/// Whether the bytes from \p begin to \p end are valid UTF-8, without a sequence that is cut off.
bool isValidUtf8(const char *begin, const char *end);

/// The same, one byte at a time.
bool isValidUtf8Plainly(const char *begin, const char *end);

/// Whether \p bytes, at least the first four of a text, start with a byte order mark of UTF-16 or
/// UTF-32.
bool startsWithWideMark(const QByteArray &bytes);

} // namespace Utils
