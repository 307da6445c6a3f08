#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QMap>
#include <QStringList>

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
    /// without a backslash, nor both a blank and the letter of its sequence, and when no single
    /// character was escaped at both ends. It is meant that "*SLASH*" becomes a backslash, in the
    /// text or as made by a backslash beside a part of it:
    ///
    ///     "*SLASH\"  escaped and unescaped  => "\SLASH*"
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

    // Lists

    /// The index of the first item that contains \p text, from \p first on; -1 when there is none,
    /// or an item without it contains \p stop first. An empty \p stop stops nowhere.
    ///
    /// A negative \p first counts from the item before the last: -1 is that one, which is meant, -2
    /// the one before it, and so on down to the first item.
    static int findInList(const Data::String &text, const QStringList &list,
                          const Data::String &stop, int first);

    /// \p list with every item that is \p from replaced by \p to.
    static QStringList replaceInList(const QStringList &list, const Data::String &from,
                                     const Data::String &to);

    /// All of \p list with \p separator between, or its first \p limit items and then how many more
    /// there are, in the words of the key ".Kelm.Framework.msg.plusmore".
    ///
    /// With \p exact a list of \p limit items or more is cut, else one that has five more at least.
    /// It is meant that a list of exactly \p limit items is cut to show that there are 0 more. A
    /// negative \p limit shows no items, and counts from it.
    static Data::String joinLimit(const QStringList &list, int limit, const Data::String &separator,
                                  bool exact);

    // Texts for people

    /// A table in rich text of the lines of \p text, or of \p lines, \p spacing pixels between its
    /// cells. "" for an empty text.
    ///
    ///     "a: b", ": "     => a row with the cells "a" and "b"; each further separator starts one
    ///     "a", ": "        => a row with one cell
    ///     "*a: b", ": "    => the first cell in bold
    ///
    /// What the lines hold is rich text itself and is not escaped.
    static Data::String formatTable(const Data::String &text, const Data::String &separator,
                                    int spacing);
    static Data::String formatTable(const QStringList &lines, const Data::String &separator,
                                    int spacing);

    /// A label from the identifier \p name: a blank in front of each word, which keeps its capital
    /// with \p keepCase.
    ///
    ///     "maxLoadValue", false  => "Max load value"
    ///     "maxLoadValue", true   => "Max Load Value"
    ///     "XMLFile", false       => "XMLFile"     capitals in a row stay together,
    ///     "xPos", false          => "XPos"        and the first character is one by then
    ///     "2Max", false          => "2 max"       a digit in front is none
    ///     "max Load", false      => "Max  load"   a blank is added to the one that is there
    static Data::String makeLabel(Data::String name, bool keepCase);

    /// The lines of \p text, which \p separator ends, with a blank where a sentence was wrapped and
    /// \p lineBreak elsewhere: in front of an empty line, behind ":", and in front of a line that
    /// starts with a capital, with "-" or with a number, behind blanks or not.
    ///
    ///     "one\ntwo\n- three\nFour", "\n", "<br>"  => "one two<br>- three<br>Four"
    ///
    /// A number is a word of its own that QString::toDouble() reads: "1." and "nan", too, but not
    /// "1)". Blanks around a line stay.
    static Data::String combineLines(const Data::String &text, const Data::String &separator,
                                     const Data::String &lineBreak);

    /// \p text without what stands in "<" and ">", across lines, too: "1<2 and 3>2" is "12".
    static Data::String removeTags(const Data::String &text);

    /// \p text with its character entities replaced.
    ///
    ///     "&amp; &apos; &quot; &lt; &gt;"  => "& ' \" < >"
    ///     "&#65;&#x42;"                    => "AB"      up to 10FFFF, hexadecimal behind "x"
    ///     "&alpha;&Omega;"                 => "αΩ"      the 48 Greek letters, but no final sigma
    ///     "&amp;alpha;"                    => "α"       a fresh "&" opens an entity
    ///     "&foo; &alpha;"                  => the same  the first one that is unknown ends it all,
    ///     "a & b &alpha;"                  => the same  and so does any other "&"
    ///
    /// That a "&" which begins no entity keeps all behind it as they are is meant, but for those
    /// whose like came earlier: "&alpha; &foo; &alpha;" is "α &foo; α".
    static Data::String replaceSymbol(const Data::String &text);

    /// The parts of a link: scheme, host, path, and then each parameter. A part that is not there
    /// is "".
    ///
    ///     "file:/host/dir/name?x=1&y"  => "file", "host", "dir/name", "x=1", "y"
    ///     "/host/dir"                  => "", "host", "dir"
    ///     "name?"                      => "", "", "name", ""
    ///     "http://host/path"           => "http", "", "host/path"   meant
    ///     "file:/host?x=1"             => "file", "host?x=1", ""    meant: no path, no parameters
    static QStringList splitLink(const Data::String &link);

    // Keys and values in one text

    /// \p items as one text: with \p pairSep between, or each in "[" and "]" when that is one of
    /// the two.
    ///
    ///     "a=1", "b=2" and '['  => "[a=1][b=2]"
    ///     "a=1", "b=2" and ';'  => "a=1;b=2"
    ///
    /// Nothing is escaped: an item that holds "][", or \p pairSep, is not read back as one.
    static Data::String joinStringMap(const QStringList &items, char pairSep);

    /// The same for an item a key, as key, \p keySep and value, in the order of the keys.
    static Data::Variant joinStringMap(const QMap<Data::String, Data::String> &map, char pairSep,
                                       char keySep);

    /// What \p items or \p text hold: the value of an item stands behind its first \p keySep.
    ///
    /// An item without \p keySep holds nothing, and of a key that comes twice the last value
    /// counts. Of a text in brackets a single "[" in front and a single "]" at the end may be left
    /// out.
    static QMap<Data::String, Data::String> splitStringMap(const QStringList &items, char keySep);
    static QMap<Data::String, Data::String> splitStringMap(const Data::String &text, char pairSep,
                                                           char keySep);

    /// The keys of \p text in the order of the text, each as often as it comes. It is meant that an
    /// item without \p keySep is a key as a whole, so that an empty text has one empty key.
    static QStringList stringMapKeys(const Data::String &text, char pairSep, char keySep);

    /// The values of \p map in the order of the keys.
    static QStringList mapValues(const QMap<Data::String, Data::String> &map);

    // Properties: the same with '[' and '=', as in "[width=3][name=a b]"

    /// splitProps2() gives the map back when no key holds "=" and neither key nor value "][". Of a
    /// value that is a variant the text is taken.
    static Data::String joinProps(const QStringList &items);
    static Data::String joinProps(const QMap<Data::String, Data::String> &map);
    static Data::String joinProps(const QMap<Data::String, Data::Variant> &map);

    /// The properties in \p text, or in \p items, as texts, or, with splitProps(), as variants that
    /// hold texts.
    static QMap<Data::String, Data::String> splitProps2(const Data::String &text);
    static QMap<Data::String, Data::String> splitProps2(const QStringList &items);
    static QMap<Data::String, Data::Variant> splitProps(const Data::String &text);
    static QMap<Data::String, Data::Variant> splitProps(const QStringList &items);

    static QStringList propKeys(const Data::String &text); ///< as stringMapKeys()

    /// The values in \p text in the order of the text, of the items that have a "=".
    static QStringList propValues(const Data::String &text);
};

} // namespace Utils
