#pragma once

#include <QByteArray>
#include <QChar>

namespace Utils {

/// Decodes valid UTF-8 from \p source on, up to \p end, into \p target, which needs room for one
/// code unit a byte. Both pointers move behind what was decoded.
///
/// False when it stopped in front of an invalid sequence. A sequence that \p end cuts off is left
/// in front of \p source, with true: what follows may complete it.
bool decodeUtf8(const char *&source, const char *end, QChar *&target);

/// Whether all from \p begin to \p end is valid UTF-8, with no sequence cut off.
bool isValidUtf8(const char *begin, const char *end);

/// The same, a byte at a time.
bool isValidUtf8Plainly(const char *begin, const char *end);

/// Whether \p bytes, the first four of a text at least, start with a byte order mark of UTF-16 or
/// UTF-32.
bool startsWithWideMark(const QByteArray &bytes);

} // namespace Utils
