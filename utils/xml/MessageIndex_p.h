#pragma once

#include <QString>

namespace Utils {
namespace Xml {

/// Appends \p text to \p messages on a line of its own, unless it occurs somewhere in them.
///
/// Short messages are searched. Long messages have an index, so that many different texts take time
/// that grows with their length alone. Only the messages to which a text was appended last have
/// one; it takes up to 16 bytes for each character, and a copy of each text. Without memory for it,
/// long messages are searched as well.
void appendUnlessContained(QString &messages, const QString &text);

/// How many characters all calls have searched and added to indexes, for tests.
qint64 numMessageCharactersRead();

} // namespace Xml
} // namespace Utils
