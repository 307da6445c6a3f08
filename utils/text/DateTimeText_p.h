#pragma once

#include <QString>

class QDateTime;

namespace Utils {

/// As QDateTime::toString(), with names in the language of the system, but with the digits 0 to 9
/// in every language: the texts are written to files, which others read.
QString dateTimeText(const QDateTime &dateTime, const QString &pattern);

} // namespace Utils
