#pragma once

#include "data/String.h"

class QDateTime;

namespace Utils {

/// The named formats of DateTime. They contain literals, which outlive them, so that an object that
/// is destroyed later can still read them.
struct DateTimeFormats
{
    static const Data::String serialize;
    static const Data::String path;
    static const Data::String iso;
    static const Data::String isoMs;
    static const Data::String standard;
    static const Data::String ui;
};

/// As QDateTime::toString(), with names in the language of the system, but always with the digits 0
/// to 9: the texts are written to files, which others read.
QString dateTimeText(const QDateTime &dateTime, const QString &pattern);

} // namespace Utils
