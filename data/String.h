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
    /// at once, and not to something that calls c_str() itself before it has copied the text. At
    /// the end of the process, once the buffer is released, it points to an empty text.
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

/// Both texts in one. One side is a String, the other a String, a C string, or anything else that
/// QString knows as text; C strings and bytes are UTF-8 up to their first zero.
///
/// It is a template, so that it fits better than QString's own operators, which would otherwise be
/// just as good for a mixed sum.
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
