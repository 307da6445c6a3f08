#include "utils/text/StringUtil.h"

#include "data/Array.h"
#include "utils/base/NumberText_p.h"

#include <QLocale>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Utils {

// More digits of a decimal than these are not preserved by a double.
static const int mostUnitDigits = 15;

static const int mostPrefix = 10;

/// The prefix for 1000 to the power of \p power, from -mostPrefix to mostPrefix.
static QString prefixOf(int power)
{
    static const QString prefixes = QStringLiteral(u"qryzafpn\u00b5m kMGTPEZYRQ");
    return power == 0 ? QString() : QString(prefixes[power + mostPrefix]);
}

/// Whether \p unit is, or begins with, a symbol that takes a prefix.
static bool takesPrefix(const QString &unit)
{
    static const QStringList symbols =
        QStringLiteral(
            u"m g s A K mol cd rad sr Hz N Pa J W C V F \u03a9 \u2126 S Wb T H lm lx Bq Gy Sv kat "
            u"l L t bar eV B bit Ah Wh VA var Nm")
            .split(QLatin1Char(' '));
    static const QString ends = QStringLiteral(u"/* \u00b7\u22c5");

    int end = 0;
    while (end < unit.size() && unit[end].isLetter())
        ++end;
    return (end == unit.size() || ends.contains(unit[end])) && symbols.contains(unit.left(end));
}

namespace {

/// A number above 0 as 0.d1d2d3... times a power of ten.
struct RoundedNumber
{
    RoundedNumber(double number, int precision)
    {
        const QByteArray text = numberText(number, 'e', precision - 1).toLatin1();
        const int exponentAt = text.indexOf('e');
        digits = text.left(exponentAt).replace(".", "");
        point = text.mid(exponentAt + 1).toInt() + 1;
        while (digits.size() > 1 && digits.endsWith('0'))
            digits.chop(1);
    }

    /// The text of the number, divided by 1000 to the power of \p power, in the default QLocale.
    QString text(int power, bool isNegative) const
    {
        const int exponent = point - 3 * power - digits.size();
        const double number = (digits + 'e' + QByteArray::number(exponent)).toDouble();
        return QLocale().toString(isNegative ? -number : number, 'f', std::max(-exponent, 0));
    }

    QByteArray digits; // without zeros at the end
    int point;         // the number of digits before the point
};

} // namespace

/// How many powers of 1000 \p point digits before the point are.
static int thousandsOf(int point) { return point > 0 ? (point - 1) / 3 : (point - 3) / 3; }

/// The number of digits before the point; below 1 for a number that begins with zeros.
static int pointOf(double number)
{
    char text[mostShortest];
    const char *const end = writeShortestScientific(text, number);
    const char *const begin = text;
    const char *const sign = std::find(begin, end, 'e') + 1;
    int exponent = 0;
    std::from_chars(sign + 1, end, exponent);
    return (*sign == '-' ? -exponent : exponent) + 1;
}

Data::String StringUtil::displayUnit(double value, const Data::String &unit, int digits)
{
    if (Data::isHole(value))
        return {};
    const int precision = std::clamp(digits, 1, mostUnitDigits);
    const auto asItIs = [&] {
        const Data::String number = display(value, 'g', precision);
        return unit.isEmpty() ? number : number + ' ' + unit;
    };
    if (value == 0.0 || !std::isfinite(value) || !takesPrefix(unit))
        return asItIs();

    const double size = std::abs(value);
    const int point = pointOf(size);
    const RoundedNumber rounded(size, std::max(precision, point - 3 * thousandsOf(point)));
    const int power = thousandsOf(rounded.point);
    if (std::abs(power) > mostPrefix)
        return asItIs();

    return rounded.text(power, value < 0.0) + QLatin1Char(' ') + prefixOf(power) + unit;
}

Data::String StringUtil::displaySize(qint64 bytes, SizeUnits units, int digits)
{
    const double size = static_cast<double>(bytes);
    if (units == DecimalUnits)
        return displayUnit(size, "B", digits);

    static const char *const names[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    const char *const *name = names;
    double scaled = std::abs(size);
    for (; scaled >= 1024.0; ++name)
        scaled /= 1024.0;
    if (scaled == 0.0)
        return displayUnit(size, *name, digits);

    RoundedNumber rounded(scaled, std::max(std::clamp(digits, 1, mostUnitDigits), pointOf(scaled)));
    if (rounded.digits == "1024" && rounded.point == 4) {
        rounded = RoundedNumber(1.0, 1);
        ++name;
    }
    return rounded.text(0, bytes < 0) + QLatin1Char(' ') + QLatin1String(*name);
}

Data::String StringUtil::shortest(double value)
{
    if (std::isnan(value))
        return QStringLiteral("nan"); // also with a sign
    char text[mostShortest];
    const char *const end = writeShortest(text, value);
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace Utils
