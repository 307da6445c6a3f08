#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QStringList>

namespace Utils {

/// A text file of tagged records.
class KELMUTILS_EXPORT TagFile
{
public:
    struct Tag;

    /// How properties are written and read: bits of the options.
    enum Option
    {
        BlankLines = 1,    ///< write a blank line between tags
        WriteYesNo = 2,    ///< write the values "true" and "false" as "yes" and "no"
        WriteComments = 4, ///< write comments
        LeaveOutEmpty = 8, ///< leave out properties with an empty value
        WriteNone = 16,    ///< write an empty value as "NONE"; goes before LeaveOutEmpty
        DropNone = 32      ///< when reading, drop properties with the one-line value "NONE"
    };
};

/// A record of a tag file: a name, and keys with values, in order. A key may occur more than once.
///
///     Utils::TagFile::Tag tag("steel");
///     tag.add("grade", "S355").add_g("density", 7.85e-9).add("ductile", true);
///     tag.getDouble("density", 0); // 7.85e-09
///
/// Values are held as text; add() and the readers convert. Keys are compared exactly. What counts
/// from 0 is \p skip, the number of earlier occurrences of a key to pass over; a negative one finds
/// nothing.
///
/// Every operation keeps the two lists at one length. Where a caller made them differ, the readers
/// see only what is in both, remove() takes out what there is, and replace() fills up the values
/// with empty ones.
struct KELMUTILS_EXPORT TagFile::Tag
{
    int line = -1;        ///< of the tag in the file it was read from, from 1; otherwise -1
    Data::String name;    ///< an invalid tag has none
    Data::String comment; ///< written in front of the tag, and not read back, which is meant
    QStringList keys;     ///< "$" is the key of a comment line within the tag
    QStringList values;

    explicit Tag(const Data::String &tagName);

    /// Whether it has a name.
    bool isValid() const;

    // Adding: one pair behind the others, whether the key is there already or not

    Tag &add(const Data::String &key, const Data::String &value);

    /// Null gives "".
    Tag &add(const Data::String &key, const char *value);

    /// As "true" or "false".
    Tag &add(const Data::String &key, bool value);

    Tag &add(const Data::String &key, int value);

    /// As QString::number() writes it, in a format and precision of its own.
    ///
    /// A whole number within 32 bits is written with 'g' and 6 whatever is asked for, which is
    /// meant, and so is its loss of digits:
    ///
    ///     2.0, 'f', 3           => "2"
    ///     2.5, 'f', 3           => "2.500"
    ///     1234567.0, 'f', 0     => "1.23457e+06"
    ///     3000000000.0, 'f', 0  => "3000000000"   beyond 32 bits
    Tag &add(const Data::String &key, double value, char format, int precision);

    /// With 'g' and 6.
    Tag &add_g(const Data::String &key, double value);

    /// As lower-case hexadecimal digits, two a byte.
    Tag &add(const Data::String &key, const QByteArray &value);

    /// As one text with \p separator, in UTF-8, between the items.
    Tag &add(const Data::String &key, const QStringList &value, const char *separator);

    /// A comment line, or several with line feeds between them.
    Tag &addComment(const Data::String &text);

    // Reading

    /// How many properties there are, comment lines included.
    int numProps() const;

    /// How many properties have the key.
    int count(const Data::String &key) const;

    bool contains(const Data::String &key) const;

    /// The index of a property, -1 when there is none.
    int indexOf(const Data::String &key, int skip) const;

    /// The pair at \p index. False, with nothing stored, when there is none.
    bool get(int index, Data::String &key, Data::String &value) const;

    /// The value, "" when there is none.
    Data::String get(const Data::String &key, int skip) const;

    /// Whether the value is "true", "yes" or "1", in any case.
    bool getBool(const Data::String &key, int skip) const;

    /// The whole number, with blanks around it or not. 0 for a missing value and for anything else.
    int getInt(const Data::String &key, int skip) const;

    /// The number, with blanks around it or not. 0 for a missing value and for what is no number;
    /// infinite for one that is too large for a double.
    double getDouble(const Data::String &key, int skip) const;

    /// The bytes of hexadecimal digits; characters that are none are passed over.
    QByteArray getBytes(const Data::String &key, int skip) const;

    /// The pieces of the value between \p separator, in UTF-8, empty ones included. No piece for an
    /// empty or missing value. A null or empty separator gives each character, and an empty piece
    /// at both ends.
    QStringList getList(const Data::String &key, const char *separator, int skip) const;

    // Changing: the first occurrence of a key

    /// Removes the property; does nothing when there is none.
    Tag &remove(const Data::String &key);

    /// Sets the value; adds the property when there is none.
    Tag &replace(const Data::String &key, const Data::String &value);

    // As lines. The two directions are not exact inverses, which is meant: comments get lost or
    // turn into properties, "yes" and "no" stay these words, a block loses its leading empty lines,
    // and what follows a key with a colon in it is lost.

    /// The properties from index \p first on, all for 0 and below, by TagFile::Option. Colons in
    /// keys are left as they are.
    ///
    ///     k, "v"         "k: v"
    ///     k, "v\nw"      "k:2", "v", "w"
    ///     $, "v\nw"      "$ v\n$ w"        one entry with a line feed; with WriteComments only
    ///     k, "true"      "k: yes"          with WriteYesNo
    ///     k, ""          "k: "; "k: NONE" with WriteNone; else no entry with LeaveOutEmpty
    QStringList toStringList(int first, int options) const;

    /// Adds the properties that \p lines hold, by TagFile::Option.
    ///
    ///     "k: v"              k, "v"      all behind the blank; nothing with DropNone and "NONE"
    ///     "k:2", "v", "w"     k, "v\nw"   as many lines as there are; leading empty ones vanish
    ///     "k:", "k:x", "k:-1" k, ""       a block of no lines
    ///     "k"                 nothing
    ///
    /// No line is special, which is meant: a comment with a colon in it becomes a property, and so
    /// does a line that begins with "*". Escaped colons are not undone.
    Tag &fromList(const QStringList &lines, int options);
};

} // namespace Utils
