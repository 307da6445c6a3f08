#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QMap>
#include <QStringList>

namespace Utils {

/// Static functions that format numbers for display and process texts.
class KELMUTILS_EXPORT StringUtil
{
public:
    StringUtil() = delete;

    // Numbers

    /// The text of \p value in the default QLocale, with its group separators. "" when \p value is
    /// Data::noValue, the no-value number, in any format.
    ///
    /// \p format and \p precision are those of QLocale::toString(); a precision above a million
    /// stands for a million. A number halfway between two decimals is rounded away from zero. NaN
    /// is "nan" and infinity is "inf".
    static Data::String display(double value, char format, int precision);
    static Data::String display(double value); ///< in format 'g' with 6 digits

    /// The same for the number in \p value, which is converted in the C locale. A value that does
    /// not convert is shown as 0.
    static Data::String display(const Data::Variant &value);

    /// The text of \p value for programs that store or compare it. As display(), but in the C
    /// locale when the environment variable TQA_TESTING is "true", "yes" or "1", in upper or lower
    /// case.
    ///
    /// \compat The variable is read once, by the first call with another number than the no-value
    /// number. Later changes of it have no effect.
    static Data::String output(double value, char format, int precision);
    static Data::String output(double value); ///< in format 'g' with 6 digits
    static Data::String output(const Data::Variant &value);

    /// The number in \p text, read in the default QLocale. 0.0 when \p text is not a number, or is
    /// a number too large for a double.
    ///
    ///     "1,000"  => 1000.0    where "," is the group separator
    ///     "1,00"   => 0.0       there, too, as the group is too short
    ///     "1,5"    => 1.5       where "," is the decimal point
    static double displayNumber(const Data::String &text);

    /// The number in \p value. A double is returned as it is, even the no-value number.
    ///
    /// \compat Any other value, even an int, is converted to text, which is then read in the
    /// default QLocale.
    static double displayNumber(const Data::Variant &value);

    // Without these overloads, a literal or a QString would be ambiguous.
    static double displayNumber(const QString &text) { return displayNumber(Data::String(text)); }
    static double displayNumber(const char *utf8) { return displayNumber(Data::String(utf8)); }

    /// The text of \p fraction as a percentage in the default QLocale: the fraction 1.0 is "100%".
    ///
    ///     0.5, 0         => "50%"        from 1 to 10000 percent: \p precision decimals
    ///     0.005, 0       => "0.5%"       outside of them: at least 2 significant digits
    ///     100.1, 1       => "1e+04%"
    ///     0.000001, 3    => "0%"         below 0.001 percent, for any \p precision
    ///
    /// \compat The no-value number is a number like any other here. A \p fraction whose percentage
    /// is exactly the no-value number yields "%".
    static Data::String formatPercent(double fraction, int precision);

    /// The signs for "less than or equal" and "greater than or equal" as rich text: in the font
    /// Symbol when \p symbolFont is true, otherwise as a character reference.
    static Data::String lessthanequal(bool symbolFont);
    static Data::String greaterthanequal(bool symbolFont);

    // Escapes and brackets

    /// Doubles the backslashes of \p text. Then replaces each character of \p chars by its escape
    /// sequence, everywhere in the text. Then does the same for each character of \p edgeChars, but
    /// only at the start and at the end of the text.
    ///
    /// An escape sequence is a backslash followed by "s" for a space, "t" for a tab, "n" for a line
    /// feed, or any other character itself.
    ///
    ///     "a\b c", " ", ""  => "a\\b\sc"
    ///     " a b ", "", " "  => "\sa b\s"
    ///     "a b", " s", ""   => "a\\sb"     "s" is escaped after " ", also in "\s"
    ///     "s", "", "s"      => "\\s"       a single character is both the start and the end
    ///
    /// Returns "" when the result would reach 2^29 characters.
    ///
    /// \compat The characters are replaced one after the other, each in the result of the earlier
    /// replacements. So a character that is passed twice is escaped twice, and a backslash in
    /// \p chars doubles all backslashes again.
    static Data::String escape(Data::String text, const Data::String &chars,
                               const Data::String &edgeChars);

    /// Replaces the escape sequences of \p chars by their characters, and doubled backslashes by
    /// single ones. Doubled backslashes are replaced even when \p chars is empty.
    ///
    /// Except for the corner below, unescape() restores the text that was passed to escape() if
    /// - each escaped character was passed to escape() once and is in \p chars;
    /// - \p chars contains no backslash;
    /// - \p chars does not contain both a space and "s", a tab and "t", or a line feed and "n";
    /// - a text of a single character was not escaped at both ends.
    ///
    /// \compat "*SLASH*" becomes a backslash, even when it is formed only during the conversion, by
    /// a backslash next to a part of it:
    ///
    ///     "*SLASH\"  escaped and unescaped  => "\SLASH*"
    static Data::String unescape(Data::String text, const Data::String &chars);

    /// The index of the bracket that closes the one at \p pos: ")", ">", "]" or "}". Any other
    /// character is closed by itself, like quotes. The result is -1 when there is no closing
    /// bracket, or \p pos is out of range.
    ///
    ///     "(a(b)c)", 0  => 6
    ///     "(a\)b)", 0   => 5     a character after one backslash is ignored,
    ///     "(a\\)b)", 0  => 4     one after two backslashes is not
    ///     "'a'", 0      => 2
    ///
    /// \compat A character after three backslashes or more is not ignored, either.
    static int findMatch(const Data::String &text, int pos);

    /// The text between the bracket at \p pos and the one found by findMatch(), or up to the end of
    /// the text when there is none. "" when \p pos is out of range.
    static Data::String extractMatch(const Data::String &text, int pos);

    // Lists

    /// The index of the first item that contains \p text, searched from index \p first on. -1 when
    /// there is none, or when an item that contains \p stop but not \p text comes before it. An
    /// empty \p stop is not searched for.
    ///
    /// \compat A negative \p first counts from the item before the last: -1 is that item, -2 the
    /// one before it, and so on down to the first item.
    static int findInList(const Data::String &text, const QStringList &list,
                          const Data::String &stop, int first);

    /// A copy of \p list with every item that equals \p from replaced by \p to.
    static QStringList replaceInList(const QStringList &list, const Data::String &from,
                                     const Data::String &to);

    /// Joins the items of \p list with \p separator. A long list is cut: its first \p limit items
    /// are followed by the text of the string table key ".Kelm.Framework.msg.plusmore" with the
    /// number of items that are left out.
    ///
    /// With \p exact, a list is long from \p limit items on, otherwise from \p limit + 5 items on.
    /// A negative \p limit shows no items; the number is then the size of the list minus \p limit.
    ///
    /// \compat With \p exact, a list of exactly \p limit items is followed by the text for 0 more.
    static Data::String joinLimit(const QStringList &list, int limit, const Data::String &separator,
                                  bool exact);

    // Texts for people

    /// Formats the lines of \p text, or \p lines, as a table in rich text with \p spacing pixels
    /// between the cells. "" for an empty text.
    ///
    ///     "a: b", ": "     => a row with the cells "a" and "b"; each further separator adds one
    ///     "a", ": "        => a row with one cell
    ///     "*a: b", ": "    => the first cell in bold
    ///
    /// The lines are rich text themselves and are not escaped.
    static Data::String formatTable(const Data::String &text, const Data::String &separator,
                                    int spacing);
    static Data::String formatTable(const QStringList &lines, const Data::String &separator,
                                    int spacing);

    /// Makes a label from the identifier \p name: the first character becomes a capital, and a
    /// space is inserted before each word. A word begins with a capital, which becomes a small
    /// letter unless \p keepCase is true.
    ///
    ///     "maxLoadValue", false  => "Max load value"
    ///     "maxLoadValue", true   => "Max Load Value"
    ///     "XMLFile", false       => "XMLFile"     adjacent capitals stay together,
    ///     "xPos", false          => "XPos"        even when the first was made a capital
    ///     "2Max", false          => "2 max"       a digit is no capital
    ///     "max Load", false      => "Max  load"   a space is inserted even after a space
    static Data::String makeLabel(Data::String name, bool keepCase);

    /// Joins the lines of \p text, which are separated by \p separator. A sentence that was wrapped
    /// is joined with a space. \p lineBreak is inserted before an empty line, after a line that
    /// ends with ":", and before a line that starts with a capital, "-" or a number; spaces at the
    /// start of the line are ignored.
    ///
    ///     "one\ntwo\n- three\nFour", "\n", "<br>"  => "one two<br>- three<br>Four"
    ///
    /// A number is a word that QString::toDouble() reads: also "1." and "nan", but not "1)". Spaces
    /// around a line are kept.
    static Data::String combineLines(const Data::String &text, const Data::String &separator,
                                     const Data::String &lineBreak);

    /// Removes everything from each "<" to the next ">", including these two characters and any
    /// line feeds between them. "1<2 and 3>2" yields "12".
    static Data::String removeTags(const Data::String &text);

    /// Replaces the character entities in \p text.
    ///
    ///     "&amp; &apos; &quot; &lt; &gt;"  => "& ' \" < >"
    ///     "&#65;&#x42;"                    => "AB"      up to 10FFFF, hexadecimal after "x"
    ///     "&alpha;&Omega;"                 => "αΩ"      the 48 Greek letters, but no final sigma
    ///     "&amp;alpha;"                    => "α"       the "&" of "&amp;" can begin an entity
    ///     "&foo; &alpha;"                  => the same  replacement ends at an unknown entity,
    ///     "a & b &alpha;"                  => the same  and at any other "&"
    ///
    /// \compat After the first "&" that does not begin an entity, an entity is replaced only if it
    /// also occurs before that "&": "&alpha; &foo; &alpha;" yields "α &foo; α".
    static Data::String replaceSymbol(const Data::String &text);

    /// Splits a link into scheme, host and path, followed by its parameters. A missing scheme, host
    /// or path is "".
    ///
    ///     "file:/host/dir/name?x=1&y"  => "file", "host", "dir/name", "x=1", "y"
    ///     "/host/dir"                  => "", "host", "dir"
    ///     "name?"                      => "", "", "name", ""
    ///
    /// \compat After "://" the host is empty. A host that is not followed by "/" includes the
    /// parameters.
    ///
    ///     "http://host/path"           => "http", "", "host/path"
    ///     "file:/host?x=1"             => "file", "host?x=1", ""
    static QStringList splitLink(const Data::String &link);

    // Keys and values in one text

    /// Joins \p items to one text, separated by \p pairSep. When \p pairSep is '[' or ']', each
    /// item is enclosed in "[" and "]" instead.
    ///
    ///     "a=1", "b=2" and '['  => "[a=1][b=2]"
    ///     "a=1", "b=2" and ';'  => "a=1;b=2"
    ///
    /// Nothing is escaped: an item that contains "][", or \p pairSep, is not read back as one item.
    static Data::String joinStringMap(const QStringList &items, char pairSep);

    /// The same for a map. Each item is a key, \p keySep and the value. The items are in the order
    /// of the keys.
    static Data::Variant joinStringMap(const QMap<Data::String, Data::String> &map, char pairSep,
                                       char keySep);

    /// The map in \p items or \p text. In each item the first \p keySep separates the key from the
    /// value.
    ///
    /// An item without \p keySep is ignored. When a key occurs several times, its last value
    /// counts. In a text with brackets, the "[" at the start and the "]" at the end may be missing.
    static QMap<Data::String, Data::String> splitStringMap(const QStringList &items, char keySep);
    static QMap<Data::String, Data::String> splitStringMap(const Data::String &text, char pairSep,
                                                           char keySep);

    /// The keys in \p text in the order of the text, each as often as it occurs.
    ///
    /// \compat An item without \p keySep is one key as a whole. So an empty text has one empty key.
    static QStringList stringMapKeys(const Data::String &text, char pairSep, char keySep);

    /// The values of \p map in the order of the keys.
    static QStringList mapValues(const QMap<Data::String, Data::String> &map);

    // Properties: keys and values in one text as above, with '[' and '='. An example is
    // "[width=3][name=a b]".

    /// Joins items or a map to a property text. A variant is converted to text. splitProps2()
    /// restores the map if no key contains "=" and neither a key nor a value contains "][".
    static Data::String joinProps(const QStringList &items);
    static Data::String joinProps(const QMap<Data::String, Data::String> &map);
    static Data::String joinProps(const QMap<Data::String, Data::Variant> &map);

    /// The properties in \p text or \p items: splitProps2() returns the values as texts,
    /// splitProps() as variants that hold texts.
    static QMap<Data::String, Data::String> splitProps2(const Data::String &text);
    static QMap<Data::String, Data::String> splitProps2(const QStringList &items);
    static QMap<Data::String, Data::Variant> splitProps(const Data::String &text);
    static QMap<Data::String, Data::Variant> splitProps(const QStringList &items);

    static QStringList propKeys(const Data::String &text); ///< as stringMapKeys()

    /// The values in \p text in the order of the text. Items without "=" are ignored.
    static QStringList propValues(const Data::String &text);

    // Numbers with units

    /// The text of \p value with an SI prefix, a space and \p unit, in the default QLocale. The
    /// prefix is that for which the number is from 1 to below 1000. Prefixes are those for powers
    /// of 1000, from "q" for 1e-30 to "Q" for 1e30. In the C locale:
    ///
    ///     1500, "N", 4         => "1.5 kN"
    ///     0.000012, "m", 4     => "12 µm"
    ///     -0.0123456, "m/s", 4 => "-12.35 mm/s"
    ///     999.96, "Pa", 4      => "1 kPa"       a number that is rounded up to 1000
    ///     12345, "Pa", 1       => "12 kPa"      digits before the point are always shown
    ///     0.0, "V", 4          => "0 V"         for -0.0 as well
    ///
    /// \p digits is the number of significant digits, from 1 to 15; a value below or above stands
    /// for the limit. Zeros at the end of the decimals are removed. A number halfway between two
    /// decimals is rounded away from zero.
    ///
    /// A prefix is inserted only before m, g, s, A, K, mol, cd, the derived units of the SI that
    /// have a name (rad, sr, Hz, N, Pa, J, W, C, V, F, Ω, S, Wb, T, H, lm, lx, Bq, Gy, Sv,
    /// kat), and l, L, t, bar, eV, B, bit, Ah, Wh, VA, var, Nm; alone, or before "/", "*", "·" or a
    /// space. Any other unit is used as it is, with display(value, 'g', digits): one that has a
    /// prefix already, a power such as "m²", "%", "°C", "min", "rows" and "".
    ///
    ///     1500, "mm", 4        => "1500 mm"
    ///     1500, "m²", 4        => "1500 m²"
    ///     0.5, "", 4           => "0.5"
    ///
    /// The same applies to numbers for which there is no prefix, and to NaN and infinity:
    /// "1e+40 N", "nan N". Data::noValue yields "".
    static Data::String displayUnit(double value, const Data::String &unit, int digits = 4);

    /// The units of displaySize().
    enum SizeUnits
    {
        BinaryUnits, ///< powers of 1024: KiB, MiB, GiB, TiB, PiB, EiB (IEC 80000)
        DecimalUnits ///< powers of 1000: kB, MB, GB, TB, PB, EB (SI)
    };

    /// The text of a size in bytes in the default QLocale, with its group separators. \p digits is
    /// used as in displayUnit(): 1023 KiB are "1,023 KiB" with any number of digits.
    ///
    ///     512            => "512 B"      bytes have no decimals
    ///     1536           => "1.5 KiB"    with DecimalUnits "1.54 kB"
    ///     1048575        => "1 MiB"      a number that is rounded up to 1024
    ///     -1536          => "-1.5 KiB"
    static Data::String displaySize(qint64 bytes, SizeUnits units = BinaryUnits, int digits = 3);

    /// The shortest text in the C locale that is read back as exactly \p value, also by
    /// QString::toDouble() and CSVTable. The default QLocale has no effect on it.
    ///
    ///     0.1              => "0.1"
    ///     0.1 + 0.2        => "0.30000000000000004"
    ///     100000           => "1e+05"     where this is shorter than the digits
    ///     -0.0             => "-0"
    ///     NaN, infinity    => "nan", "inf", "-inf"
    ///     Data::noValue    => "1e+300", so that it is read back as a hole
    static Data::String shortest(double value);
};

} // namespace Utils
