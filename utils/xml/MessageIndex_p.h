#pragma once

#include <QString>

namespace Utils {
namespace Xml {

/// Appends \p text to \p messages on a line of its own, unless it occurs somewhere in them.
///
/// Short messages are searched. For long ones, the last ones to which a text was appended have an
/// index, which takes about 20 bytes for each character, so that many different texts take time
/// that grows with their length alone. Without memory for it they are searched as well.
void appendUnlessContained(QString &messages, const QString &text);

} // namespace Xml
} // namespace Utils
