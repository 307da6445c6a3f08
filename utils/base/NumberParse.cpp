#include "utils/base/NumberParse_p.h"

#include <charconv>
#include <system_error>

namespace Utils {

static const int maxPlainLength = 18; // digits fit into 64 bits, fraction into the powers
static const quint64 maxExactInteger = quint64(1) << 53;

// The C++ library of g++ 10 does not parse doubles. On 32-bit x86, that of each g++ calculates by
// x87: it reads 2.074764871048294e+30 as the double after the nearest one.
#if defined(Q_PROCESSOR_X86_32) || (defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE < 11)
static bool parseExactly(const char *, const char *, double &) { return false; }
#else
static bool parseExactly(const char *text, const char *end, double &value)
{
    const std::from_chars_result result = std::from_chars(text, end, value);
    return result.ec == std::errc() && result.ptr == end;
}
#endif

/// Parses a short number without exponent. When an integer and a power of ten are both exact as
/// doubles, their quotient is the double nearest to the text.
static bool parsePlain(const char *next, const char *end, double &value)
{
    if (end - next > maxPlainLength)
        return false;

    const bool isNegative = next != end && *next == '-';
    if (isNegative)
        ++next;
    quint64 number = 0;
    const auto parseDigits = [&] {
        for (; next != end; ++next) {
            const auto digit = static_cast<unsigned char>(*next - '0');
            if (digit > 9)
                return;
            number = number * 10 + digit;
        }
    };
    const char *const whole = next;
    parseDigits();
    auto digits = next - whole;
    decltype(digits) decimals = 0;
    if (next != end && *next == '.') {
        const char *const fraction = ++next;
        parseDigits();
        decimals = next - fraction;
        digits += decimals;
    }
    if (next != end || digits == 0 || number > maxExactInteger)
        return false;

    const double magnitude = static_cast<double>(number) / powersOfTen[decimals];
    value = isNegative ? -magnitude : magnitude;
    return true;
}

/// Parses any other number that starts with a digit, where the C++ library is exact. Both this
/// function and Qt round to nearest, so their results are equal. What they treat differently is
/// left to Qt: a leading sign or blank, inf and nan, and numbers out of range.
static bool parseAny(const char *text, const char *end, double &value)
{
    const char *const first = text != end && *text == '-' ? text + 1 : text;
    if (first == end || !((*first >= '0' && *first <= '9') || *first == '.'))
        return false;
    return parseExactly(text, end, value);
}

static bool parse(const char *text, int size, double &value)
{
    const char *const end = text + size;
    return parsePlain(text, end, value) || parseAny(text, end, value);
}

static double succeed(double value, bool *ok)
{
    if (ok)
        *ok = true;
    return value;
}

double parseNumber(const char *text, int size, bool *ok)
{
    double value = 0.0;
    if (parse(text, size, value))
        return succeed(value, ok);
    // A copy, because Qt may rely on a terminating zero byte, which only a copy has for certain.
    return QByteArray(text, size).toDouble(ok);
}

double parseNumber(const QByteArray &text, bool *ok)
{
    double value = 0.0;
    if (parse(text.constData(), text.size(), value))
        return succeed(value, ok);
    return text.toDouble(ok);
}

bool parsePureNumber(const char *text, int size, double &value) { return parse(text, size, value); }

bool parsePureNumber(const QChar *text, int size, double &value)
{
    char bytes[64];
    if (size > static_cast<int>(sizeof bytes))
        return false;
    for (int i = 0; i < size; ++i) {
        const ushort unit = text[i].unicode();
        if (unit > 0x7f)
            return false;
        bytes[i] = static_cast<char>(unit);
    }
    return parse(bytes, size, value);
}

double parseNumber(const QString &text, bool *ok)
{
    double value = 0.0;
    return parsePureNumber(text.constData(), text.size(), value) ? succeed(value, ok)
                                                                 : text.toDouble(ok);
}

double parseUtf8Number(const char *text, int size, bool *ok)
{
    double value = 0.0;
    if (parse(text, size, value))
        return succeed(value, ok);
    return QString::fromUtf8(text, size).toDouble(ok);
}

} // namespace Utils
