#pragma once

#include <QString>

class QDateTime;

namespace Utils {

/// As QDateTime::toString(), with the names of the language of the system, but with the digits 0 to
/// 9 in any language: texts go to files, which others read.
QString dateTimeText(const QDateTime &dateTime, const QString &pattern);

} // namespace Utils
