#include "utils/csv/cells/Cells_p.h"

#include "utils/base/LastError_p.h"

namespace Utils {

bool csvTooManyRows(const QString &path, int most)
{
    return LastError::set(".err.tooManyRows", {path, QString::number(most)});
}

double &csvHoleValue()
{
    static double value = 0.0;
    return value;
}

double csvNumber(const QString &text, bool *ok)
{
    if (text.isEmpty()) {
        if (ok)
            *ok = false;
        return csvHoleValue();
    }
    const int brace = text.indexOf(QLatin1Char('{'));
    return parseNumber(brace < 0 ? text : text.left(brace), ok);
}

double csvNumber(const QString &text, bool *ok, char point)
{
    if (point == '.' || text.isEmpty())
        return csvNumber(text, ok);
    const int brace = text.indexOf(QLatin1Char('{'));
    return csvToDouble(brace < 0 ? text : text.left(brace), point, ok);
}

/// The same for a text in which \p comma is the decimal point, and may not be \p other.
template <typename Text, typename Character>
static double commaToDouble(Text text, Character comma, Character other, bool *ok)
{
    if (!text.contains(other) && text.count(comma) < 2)
        return parseNumber(text.replace(comma, other), ok);
    if (ok)
        *ok = false;
    return 0.0;
}

double csvToDouble(const QString &text, char point, bool *ok)
{
    return point == '.' ? parseNumber(text, ok)
                        : commaToDouble(text, QChar(QLatin1Char(',')), QChar(QLatin1Char('.')), ok);
}

double csvToDouble(const QByteArray &text, char point, bool *ok)
{
    return point == '.' ? parseNumber(text, ok) : commaToDouble(text, ',', '.', ok);
}

template <typename Unit>
static bool parseWithComma(const Unit *next, const Unit *end, double &value)
{
    char bytes[64];
    if (end - next > static_cast<int>(sizeof bytes))
        return false;
    char *to = bytes;
    for (; next != end; ++next) {
        if (*next == Unit('.') || *next > Unit('z'))
            return false;
        *to++ = *next == Unit(',') ? '.' : static_cast<char>(*next);
    }
    return parsePureNumber(bytes, static_cast<int>(to - bytes), value); // refuses a second point
}

bool parseCommaNumber(const char *begin, const char *end, double &value)
{
    return parseWithComma(begin, end, value);
}

bool parseCommaNumber(const QChar *begin, const QChar *end, double &value)
{
    return parseWithComma(reinterpret_cast<const ushort *>(begin),
                          reinterpret_cast<const ushort *>(end), value);
}

} // namespace Utils
