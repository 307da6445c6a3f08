#include "utils/base/NumberText_p.h"

#include "utils/base/NumberParse_p.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>

namespace Utils {

// As many as the shortest digits of a double are at most.
static const int mostFastDigits = 17;

/// A number as 0.d1d2d3... times a power of ten.
struct Decimal
{
    char digits[mostFastDigits];
    int count; // of digits; the last one is no zero
    int point; // the power of ten: how many digits stand in front of the point
};

/// The fewest digits that are read back as \p value, the nearest to it of that many. \p value is
/// finite and above 0.
static Decimal shortestDecimal(double value)
{
    char text[32]; // "1.2345678901234567e-308" is the longest
    const char *const end =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::scientific).ptr;

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

/// \p value rounded to \p precision digits, by a multiplication. False when that comes to a tie,
/// for more than 15 digits, or when it takes powers of ten that a double does not hold exactly.
static bool roundByScaling(Decimal &decimal, double value, int precision)
{
    if (precision > DBL_DIG)
        return false;

    // The logarithm of the power of two below the value, so the guess is right or one too low.
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

    // One operation on exact numbers, so the nearest double to the true one. Of up to 15 digits all
    // halves are doubles, too: what lies below or above one does not come to lie on its other side,
    // but on itself at most.
    auto digits = static_cast<quint64>(scaled);
    const double rest = scaled - static_cast<double>(digits);
    if (rest == 0.5)
        return false;
    if (rest > 0.5)
        ++digits;
    // When that makes it a power of ten, it has one digit more, and after the zeros have gone, one.
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

/// Rounds \p decimal, the shortest one of \p value, to \p precision digits. False when its digits
/// do not tell which way \p value itself goes.
static bool round(Decimal &decimal, double value, int precision)
{
    if (decimal.count <= precision) {
        // Of up to 15 digits a normal number keeps all, so the missing ones are zeros. Beyond that
        // they are the number's own.
        return precision <= DBL_DIG && value >= DBL_MIN;
    }

    // A number exactly half way between two neighbours of that many digits would be as short as
    // these digits, and nearer to the value, if it lay between them and the value. So they lie on
    // the value's side of it, unless they are that number themselves.
    char *const tail = decimal.digits + precision;
    if (*tail == '5' && decimal.count == precision + 1)
        return false;

    const bool goesUp = *tail >= '5';
    const char removed = goesUp ? '9' : '0';
    decimal.count = precision;
    while (decimal.count > 0 && decimal.digits[decimal.count - 1] == removed)
        --decimal.count;
    if (decimal.count == 0) { // all nines
        decimal.digits[decimal.count++] = '1';
        ++decimal.point;
    } else if (goesUp) {
        ++decimal.digits[decimal.count - 1];
    }
    return true;
}

/// Writes \p decimal to \p out as the format 'g' does. Gives the end.
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
        if (whole == value) // takes -0.0, too, which shows no sign
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
