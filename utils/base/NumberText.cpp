#include "utils/base/NumberText_p.h"

#include "utils/base/NumberParse_p.h"

#include <QLocale>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>

namespace Utils {

// The largest number of digits that the shortest text of a double can have.
static const int mostFastDigits = 17;

#if defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE < 11
// The C++ library of g++ 10 does not write doubles. Qt does, more slowly.
static QByteArray qtText(double value, char format, int precision = QLocale::FloatingPointShortest)
{
    // Qt leaves out the sign of zero.
    return (std::signbit(value) ? "-" : "") +
           QByteArray::number(std::abs(value), format, precision);
}

char *writeShortest(char *out, double value)
{
    // Above the whole numbers that a double counts, every digit before the point is exact.
    const bool isCounted = std::abs(value) <= 9007199254740992.0;
    const QByteArray fixed = isCounted ? qtText(value, 'f') : qtText(value, 'f', 0);
    const QByteArray scientific = qtText(value, 'e');
    const QByteArray &text = fixed.size() <= scientific.size() ? fixed : scientific;
    return std::copy(text.begin(), text.end(), out);
}

char *writeShortestScientific(char *out, double value)
{
    const QByteArray text = qtText(value, 'e');
    return std::copy(text.begin(), text.end(), out);
}
#else
char *writeShortest(char *out, double value)
{
    return std::to_chars(out, out + mostShortest, value).ptr;
}

char *writeShortestScientific(char *out, double value)
{
    return std::to_chars(out, out + mostShortest, value, std::chars_format::scientific).ptr;
}
#endif

/// A number in the form 0.d1d2d3... times a power of ten.
struct Decimal
{
    char digits[mostFastDigits];
    int count; // of digits; the last one is not zero
    int point; // the power of ten: the number of digits before the point
};

/// The shortest decimal that is parsed as \p value; of several such, the nearest to it. \p value
/// must be finite and above 0.
static Decimal shortestDecimal(double value)
{
    char text[mostShortest];
    const char *const end = writeShortestScientific(text, value);

    Decimal decimal;
    decimal.digits[0] = text[0];
    decimal.count = 1;
    const char *at = text + 1;
    if (*at == '.') {
        const char *const exponent = std::find(at, end, 'e');
        decimal.count += static_cast<int>(exponent - at) - 1;
        std::memcpy(decimal.digits + 1, at + 1, static_cast<std::size_t>(decimal.count) - 1);
        at = exponent;
    }
    const bool isNegative = at[1] == '-';
    int exponent = 0;
    std::from_chars(at + 2, end, exponent);
    decimal.point = (isNegative ? -exponent : exponent) + 1;
    return decimal;
}

/// Rounds \p value to \p precision digits by a multiplication. Returns false for a tie, for more
/// than 15 digits, or when it needs a power of ten that a double does not hold exactly.
static bool roundByScaling(Decimal &decimal, double value, int precision)
{
    if (precision > DBL_DIG)
        return false;

    // The estimate comes from the power of two not above the value, so it is exact or one too low.
    int exponentOfTwo = 0;
    std::frexp(value, &exponentOfTwo);
    int point = ((exponentOfTwo - 1) * 1233 >> 12) + 1;
    double scaled = 0.0;
    for (;;) {
        const int shift = precision - point;
        if (std::abs(shift) > mostExactPower)
            return false;
        scaled = shift < 0 ? value / powersOfTen[-shift] : value * powersOfTen[shift];
        if (scaled < powersOfTen[precision])
            break;
        ++point;
    }

    // This is one operation on exact numbers, so the result is the double nearest to the true
    // value. With up to 15 digits each half is a double, too: a true value below or above a half is
    // rounded to that half at most, never to its other side.
    auto digits = static_cast<quint64>(scaled);
    const double rest = scaled - static_cast<double>(digits);
    if (rest == 0.5)
        return false;
    if (rest > 0.5)
        ++digits;
    // Rounding up to a power of ten adds a digit before the point. After the zeros are removed, a
    // single digit remains.
    if (static_cast<double>(digits) >= powersOfTen[precision])
        ++point;
    while (digits % 10 == 0)
        digits /= 10;
    const char *const end =
        std::to_chars(decimal.digits, decimal.digits + mostFastDigits, digits).ptr;
    decimal.count = static_cast<int>(end - decimal.digits);
    decimal.point = point;
    return true;
}

/// Rounds \p decimal, the shortest decimal of \p value, to \p precision digits. False when its
/// digits do not determine in which direction \p value itself is rounded.
static bool round(Decimal &decimal, double value, int precision)
{
    if (decimal.count <= precision) {
        // A normal number preserves up to 15 digits, so the missing digits are zeros. Further
        // digits depend on the exact value.
        return precision <= DBL_DIG && value >= DBL_MIN;
    }

    // Consider the number exactly half way between two neighbours of that many digits. If it were
    // between these digits and the value, it would be as short as the digits and nearer to the
    // value. So the digits are on the same side of it as the value, unless they equal it.
    char *const tail = decimal.digits + precision;
    if (*tail == '5' && decimal.count == precision + 1)
        return false;

    const bool goesUp = *tail >= '5';
    const char removed = goesUp ? '9' : '0';
    decimal.count = precision;
    while (decimal.count > 0 && decimal.digits[decimal.count - 1] == removed)
        --decimal.count;
    if (decimal.count == 0) { // only nines
        decimal.digits[decimal.count++] = '1';
        ++decimal.point;
    } else if (goesUp) {
        ++decimal.digits[decimal.count - 1];
    }
    return true;
}

/// Writes \p decimal to \p out in the format 'g'. Returns the end.
static char *writeGeneral(char *out, const Decimal &decimal, int precision)
{
    const char *const digits = decimal.digits;
    const auto copy = [&out](const char *from, int count) { out = std::copy_n(from, count, out); };

    if (decimal.point > precision || decimal.point <= -4) {
        *out++ = digits[0];
        if (decimal.count > 1) {
            *out++ = '.';
            copy(digits + 1, decimal.count - 1);
        }
        const int exponent = decimal.point - 1;
        *out++ = 'e';
        *out++ = exponent < 0 ? '-' : '+';
        if (std::abs(exponent) < 10)
            *out++ = '0';
        return std::to_chars(out, out + 3, std::abs(exponent)).ptr;
    }

    if (decimal.point <= 0) {
        copy("0.000", 2 - decimal.point);
        copy(digits, decimal.count);
    } else if (decimal.count <= decimal.point) {
        copy(digits, decimal.count);
        out = std::fill_n(out, decimal.point - decimal.count, '0');
    } else {
        copy(digits, decimal.point);
        *out++ = '.';
        copy(digits + decimal.point, decimal.count - decimal.point);
    }
    return out;
}

Data::String numberText(double value, char format, int precision)
{
    const auto plain = [&] {
        return QString::number(value, format, std::min(precision, mostDigits));
    };
    if (format != 'g' || precision < 1 || precision > mostFastDigits)
        return plain();

    char text[32]; // sign, 17 digits, point, and "e-308" or "0.000"
    const auto upTo = [&](const char *end) {
        return QString::fromLatin1(text, static_cast<int>(end - text));
    };

    if (precision >= 6 && value > -1e6 && value < 1e6) {
        const int whole = static_cast<int>(value);
        if (whole == value) // includes -0.0, which is written without a sign
            return upTo(std::to_chars(text, text + sizeof(text), whole).ptr);
    }
    if (!std::isfinite(value) || value == 0.0)
        return plain();

    const double size = std::abs(value);
    Decimal decimal;
    if (!roundByScaling(decimal, size, precision)) {
        decimal = shortestDecimal(size);
        if (!round(decimal, size, precision))
            return plain();
    }
    char *start = text;
    if (value < 0.0)
        *start++ = '-';
    return upTo(writeGeneral(start, decimal, precision));
}

} // namespace Utils
