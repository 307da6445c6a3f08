#pragma once

#include "utils/Export.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <utility>

namespace Data {

/// The text type of the library: a QString that also works with C strings, which are UTF-8.
///
/// It adds no field, so it passes wherever a QString is expected, and the two convert freely by
/// implicit sharing. Order, equality and hash are QString's: case-sensitive, by UTF-16 code unit.
class String : public QString
{
public:
    String() = default;

    /// Reads UTF-8 up to the terminating zero. Null gives the empty string.
    String(const char *utf8) : QString(QString::fromUtf8(utf8)) {}

    String(const QString &other) : QString(other) {}
    String(QString &&other) noexcept : QString(std::move(other)) {}

    /// The text as UTF-8 in the one buffer of the whole library.
    ///
    /// The pointer is never null and holds only until the next c_str() on any string: hand it on
    /// at once, and not to something that calls c_str() itself before it has copied the text.
    KELMUTILS_EXPORT const char *c_str() const;
};

// Beside the three pairs with text of our own stand those with QString and QByteArray: without
// them a mixed sum would be ambiguous between these operators and QString's.

inline String operator+(const String &left, const String &right)
{
    return static_cast<const QString &>(left) + static_cast<const QString &>(right);
}

inline String operator+(const String &left, const QString &right)
{
    return static_cast<const QString &>(left) + right;
}

inline String operator+(const QString &left, const String &right)
{
    return left + static_cast<const QString &>(right);
}

inline String operator+(const String &left, const char *right) { return left + String(right); }
inline String operator+(const char *left, const String &right) { return String(left) + right; }

inline String operator+(const String &left, const QByteArray &right)
{
    return left + String(right.constData());
}

inline String operator+(const QByteArray &left, const String &right)
{
    return String(left.constData()) + right;
}

} // namespace Data

Q_DECLARE_METATYPE(Data::String)
