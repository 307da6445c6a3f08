#pragma once

#include "utils/Export.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <type_traits>
#include <utility>

namespace Data {

/// The text type of the library: a QString that also works with C strings, which are UTF-8.
///
/// The class adds no field to QString. A String can be passed wherever a QString is expected, and
/// the two types convert to each other by implicit sharing. Order, equality and hash are QString's:
/// case-sensitive, by UTF-16 code unit.
class String : public QString
{
public:
    String() = default;

    /// Reads UTF-8 up to the terminating zero. Null yields the empty string.
    String(const char *utf8) : QString(QString::fromUtf8(utf8)) {}

    String(const QString &other) : QString(other) {}
    String(QString &&other) noexcept : QString(std::move(other)) {}

    /// The text as UTF-8, in a buffer that all strings share.
    ///
    /// The pointer is never null and stays valid only until the next c_str() of any string: pass it
    /// on at once, and only to code that copies the text before it calls c_str() itself. At the end
    /// of the process, after the buffer has been released, it points to an empty text.
    KELMUTILS_EXPORT const char *c_str() const;
};

namespace Detail {

inline String toText(const QString &text) { return text; }
inline String toText(const char *utf8) { return utf8; }
inline String toText(const QStringRef &text) { return text.toString(); }
inline String toText(const QByteArray &utf8) { return QString::fromUtf8(utf8); }
inline String toText(QChar character) { return QString(character); }
inline String toText(char character) { return QString(QLatin1Char(character)); }

} // namespace Detail

/// Concatenates two texts. One side is a String. The other side is a String, a C string, or another
/// type of text: a QString or a type that converts to it, QStringRef, QByteArray, QChar, or a char
/// in Latin-1. C strings and byte arrays are UTF-8 up to their first zero byte.
///
/// The operator is a template, so that overload resolution prefers it to the operators of QString.
/// Otherwise a sum of different types would be ambiguous.
template <
    typename Left, typename Right,
    typename = std::enable_if_t<std::is_same_v<Left, String> || std::is_same_v<Right, String>>>
String operator+(const Left &left, const Right &right)
{
    String sum = Detail::toText(left);
    sum.append(Detail::toText(right));
    return sum;
}

} // namespace Data

Q_DECLARE_METATYPE(Data::String)
