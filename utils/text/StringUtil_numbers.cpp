#include "utils/text/StringUtil.h"

#include "data/Array.h"
#include "data/Truth_p.h"
#include "utils/base/NumberText_p.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Utils {

static const char usualFormat = 'g';
static const int usualPrecision = 6;

/// Whether output() ignores the locale; determined by the first call.
static bool isTesting()
{
    static const bool testing = Data::saysYes(Data::String(std::getenv("TQA_TESTING")));
    return testing;
}

Data::String StringUtil::display(double value, char format, int precision)
{
    if (Data::isHole(value))
        return {};
    return QLocale().toString(value, format, std::min(precision, mostDigits));
}

Data::String StringUtil::display(double value)
{
    return display(value, usualFormat, usualPrecision);
}

Data::String StringUtil::display(const Data::Variant &value) { return display(value.toDouble()); }

Data::String StringUtil::output(double value, char format, int precision)
{
    if (Data::isHole(value))
        return {};
    return isTesting() ? numberText(value, format, precision) : display(value, format, precision);
}

Data::String StringUtil::output(double value) { return output(value, usualFormat, usualPrecision); }

Data::String StringUtil::output(const Data::Variant &value) { return output(value.toDouble()); }

double StringUtil::displayNumber(const Data::String &text)
{
    bool isNumber = false;
    const double number = QLocale().toDouble(text, &isNumber);
    return isNumber ? number : 0.0; // for a too large number Qt returns infinity
}

double StringUtil::displayNumber(const Data::Variant &value)
{
    return value.type() == QVariant::Double ? value.toDouble() : displayNumber(value.toString());
}

Data::String StringUtil::formatPercent(double fraction, int precision)
{
    const double percentage = fraction * 100.0;
    const double size = std::abs(percentage);

    Data::String number;
    if (0.001 > size)
        number = QStringLiteral("0");
    else if (1.0 > size || size > 10000.0)
        number = display(percentage, 'g', std::max(precision, 2));
    else
        number = display(percentage, 'f', precision);
    return number + '%';
}

Data::String StringUtil::lessthanequal(bool symbolFont)
{
    return symbolFont ? "<font face='Symbol'>&#163;</font>" : "&#x2264;";
}

Data::String StringUtil::greaterthanequal(bool symbolFont)
{
    return symbolFont ? "<font face='Symbol'>&#179;</font>" : "&#x2265;";
}

} // namespace Utils
