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

    // Escapes and brackets

    /// \p text with its backslashes doubled, then each of \p chars replaced everywhere by its
    /// escape sequence, then each of \p edgeChars where the text starts or ends with it.
    ///
    /// An escape sequence is a backslash and "s" for a blank, "t" for a tab, "n" for a line feed,
    /// or the character itself.
    ///
    ///     "a\b c", " ", ""  => "a\\b\sc"
    ///     " a b ", "", " "  => "\sa b\s"
    ///     "a b", " s", ""   => "a\\sb"     the "s" behind a blank escapes the one in "\s"
    ///     "s", "", "s"      => "\\s"       a single character is the start and the end
    ///
    /// The characters are taken in order, one after the other, which is meant; so a character given
    /// twice is escaped twice, and a backslash among them doubles all backslashes again. "" when
    /// the text would reach 2^29 characters.
    static Data::String escape(Data::String text, const Data::String &chars,
                               const Data::String &edgeChars);

    /// \p text with the escape sequences of \p chars replaced by the characters and doubled
    /// backslashes by one, with \p chars empty, too.
    ///
    /// It gives back what escape() got when the characters it escaped, each once, are in \p chars,
    /// without a backslash, nor both a blank and the letter of its sequence. It is meant that
    /// "*SLASH*" in the text becomes a backslash.
    static Data::String unescape(Data::String text, const Data::String &chars);

    /// The index of what closes the bracket at \p pos: ")", ">", "]" or "}". Any other character
    /// closes itself, as quotes do. -1 when nothing does, or \p pos is not in the text.
    ///
    ///     "(a(b)c)", 0  => 6
    ///     "(a\)b)", 0   => 5     what stands behind a backslash does not count,
    ///     "(a\\)b)", 0  => 4     but behind two it does, and behind three, too, which is meant
    ///     "'a'", 0      => 2
    static int findMatch(const Data::String &text, int pos);

    /// The text between the bracket at \p pos and findMatch(), up to the end of the text when there
    /// is no match. "" when \p pos is not in the text.
    static Data::String extractMatch(const Data::String &text, int pos);
};

} // namespace Utils
