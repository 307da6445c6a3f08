#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

namespace Utils {

/// Numbers and texts for people: static operations, no instances.
class KELMUTILS_EXPORT StringUtil
{
public:
    StringUtil() = delete;

    // Numbers

    /// The text of \p value in the default QLocale, groups of digits included. "" for the no-value
    /// number, whatever the format.
    ///
    /// \p format and \p precision are those of QLocale::toString(); a precision above a million is
    /// a million. Decimal ties go away from zero. Not a number is "nan", infinity "inf".
    static Data::String display(double value, char format, int precision);
    static Data::String display(double value); ///< in format 'g' with 6 digits

    /// The same for the number in \p value, which is converted in the C locale: what is no number
    /// is shown as 0.
    static Data::String display(const Data::Variant &value);

    /// The text of \p value for programs that store or compare it: as display(), or in the C locale
    /// when the environment variable TQA_TESTING is "true", "yes" or "1" in any case.
    ///
    /// The first call with another number than the no-value one reads the variable. What it finds
    /// holds until the end of the process, which is meant.
    static Data::String output(double value, char format, int precision);
    static Data::String output(double value); ///< in format 'g' with 6 digits
    static Data::String output(const Data::Variant &value);

    /// The number in \p text as the default QLocale reads it, 0.0 when there is none, or too large
    /// a one.
    ///
    ///     "1,000"  => 1000.0    where "," groups digits
    ///     "1,00"   => 0.0       there, as the group is too short
    ///     "1,5"    => 1.5       where "," is the decimal sign
    static double displayNumber(const Data::String &text);

    /// The number in \p value: a double as it is, the no-value number included. Anything else, an
    /// int too, goes through its text, which is meant.
    static double displayNumber(const Data::Variant &value);

    // Between a text and a variant, a literal or a QString would fit both as well.
    static double displayNumber(const QString &text) { return displayNumber(Data::String(text)); }
    static double displayNumber(const char *utf8) { return displayNumber(Data::String(utf8)); }

    /// \p fraction as a percentage in the default QLocale, a fraction of 1.0 as "100%".
    ///
    ///     0.5, 0         => "50%"        from 1 to 10000 percent: \p precision decimals
    ///     0.005, 0       => "0.5%"       outside of them: at least 2 significant digits
    ///     100.1, 1       => "1e+04%"
    ///     0.000001, 3    => "0%"         below 0.001 percent, whatever the precision
    ///
    /// The no-value number is a number like any other here, which is meant. A percentage that is
    /// that very number is "%" alone.
    static Data::String formatPercent(double fraction, int precision);

    /// The signs for "less than or equal" and "greater than or equal" in rich text, by the font
    /// Symbol or as a character.
    static Data::String lessthanequal(bool symbolFont);
    static Data::String greaterthanequal(bool symbolFont);
};

} // namespace Utils
