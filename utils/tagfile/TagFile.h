#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QStringList>

#include <memory>

QT_FORWARD_DECLARE_CLASS(QTextStream)

namespace Utils {

class TagFilePrivate;

/// A text file of tagged records, in UTF-8: reads it, holds its tags, and writes them.
///
///     $ a comment
///     *TYPE
///     name: materials
///     version: 1
///
///     *steel
///     grade: S355
///     density: 7.85e-09
///     note:2
///     two lines
///     of text
///
/// Tags are built in memory and saved, or streamed out one at a time:
///
///     Utils::TagFile file(path);               Utils::TagFile file;
///     file.addTag("steel", "").add_g(...);     file.open(path, error);
///     file.save(path, error);                  file.writeTag("steel", "", true);
///                                              file.writeProperty("grade", "S355");
///                                              file.close();
///
/// Reading knows no errors: what is no tag, property or comment is passed over. A line ends with LF
/// or CR LF and is told by its first character, with nothing trimmed:
///
///     ""            ignored
///     "$..."        a comment, ignored
///     "*name"       a tag, whose name is the rest of the line as it stands
///     "key: value"  a property: the value is all behind the one blank
///     "key:2"       a property: the value is the next two lines, or as many as there are, with no
///                   meaning of their own, and with a line feed between them
///     "key:"        a property with an empty value, as is "key:x", where x is no number; x is lost
///     others        ignored, as are properties in front of the first tag
///
/// "\:" in a key or in a one-line value stands for ":". In the key it is needed, for the first
/// other colon ends it.
///
/// What is written does not always come back, and each of these is meant:
///
///     comments                                get lost
///     a key that starts with "$" or "*"       is read as a comment or as a tag
///     a key that ends with "\"                is lost with its value
///     "true", "false" with WriteYesNo         stay "yes", "no"
///     "" with WriteNone                       is "NONE", or dropped with DropNone
///     "NONE" with DropNone                    is dropped
///     "" with LeaveOutEmpty                   is gone
///     "\:" or "*COLON*" in a one-line value   is ":"
///     empty lines at the start of a value     get lost
///     CR LF in a value                        is LF, and a CR at the end of a line gets lost
///     a tag without a name                    is none: its properties join the tag above
///     the last tag, without properties        is lost, unless it is the only one, or a comment or
///                                             an empty line follows
///
/// A name or key with a line feed is written as it stands, and read as two lines. A line of more
/// than 268,435,456 characters is read in pieces of that length.
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

    TagFile();

    /// Reads the file \p path. Whether that went well is not told: then there are no tags.
    explicit TagFile(const Data::String &path);

    /// Does not close, which is meant: what is being streamed out when a file is forgotten is never
    /// completed, and the file stays open. Call close().
    ~TagFile();

    TagFile(const TagFile &) = delete;
    TagFile &operator=(const TagFile &) = delete;

    /// The path given to the constructor. read() and save() leave it as it is.
    Data::String filename() const;

    /// The bits of Option that are set: at first BlankLines, WriteYesNo and WriteComments.
    int options() const;
    void setOption(int option, bool on);

    // Reading: the tags come behind those that are there, so that files read in turn add up

    /// False for an empty path, and with a text in \p error for a file that cannot be opened,
    /// cannot be read to its end, or is larger than the memory. No tag of it is there then.
    bool read(const Data::String &path, Data::String &error);

    /// The same; a text goes behind those in \p errors.
    bool read(const Data::String &path, QStringList &errors);

    /// Reads what is left in \p in, in the codec that it has. Always true, with \p error as it was,
    /// which is meant: also when the device of \p in fails, where the text ends then, be it within
    /// a line, and when the memory does not suffice, where the tags end that were read whole.
    /// Whoever must know asks the device for its error, or reads a file by its path.
    bool read(QTextStream &in, Data::String &error);

    // Writing all tags

    /// Replaces the file by the tags, in place. False for an empty path, and with a text in
    /// \p error for a file that cannot be opened, which stays as it was.
    ///
    /// Ends what is being streamed out. Whether all could be written is not told, which is meant:
    /// on a full disk the result is true, and the file ends where the disk was full. It is false,
    /// with a text in \p error, when the memory does not suffice; then the file is as it was or
    /// ends early. A file that was there keeps its permissions.
    bool save(const Data::String &path, Data::String &error);

    /// The same; a text goes behind those in \p errors.
    bool save(const Data::String &path, QStringList &errors);

    /// The text that save() writes, "" when it is more than the memory holds. Ends what is being
    /// streamed out.
    Data::String toString();

    // Streaming tags out, which has nothing to do with the tags held here. While no file is open,
    // the operations that write do nothing.

    /// Begins a file in place of the one at \p path, behind a close(). Fails as save() does; then
    /// nothing is open, but an empty path changes nothing.
    bool open(const Data::String &path, Data::String &error);

    /// Completes the file; does nothing when none is open. Nobody is told whether all could be
    /// written: where the disk was full or the memory did not suffice, the file ends, without what
    /// was written behind that.
    void close();

    /// Writes the tag "TYPE" with the properties "name" and, if it is not empty, "version".
    TagFile &writeFileType(const Data::String &name, const Data::String &version,
                           const Data::String &comment);

    /// Writes an empty line if wanted, \p comment if it is not empty and comments are written, and
    /// the line of a tag. With the name "$" there is no such line: the comment stands alone.
    TagFile &writeTag(const Data::String &name, const Data::String &comment, bool blankLine);

    TagFile &writeProperty(const Data::String &key, const Data::String &value);

    // Tags. A reference to one holds until it is removed, whatever is added.

    /// Inserts the tag "TYPE" in front of all others, with "name" and "version" even if that is
    /// empty, and even if there is such a tag already, which is meant.
    Tag &addFileType(const Data::String &name, const Data::String &version,
                     const Data::String &comment);

    Tag &addTag(const Data::String &name, const Data::String &comment);

    /// Adds a copy of \p tag if that is valid.
    void addTag(const Tag &tag);

    /// Adds a comment with no tag below it: a tag "$" to whoever counts them.
    void addComment(const Data::String &text);

    /// False when there is none.
    bool removeTag(int index);

    /// Removes all tags. File name, options and meta values stay.
    void clear();

    int numTags() const;

    /// The tag at \p index, or an invalid one that all files share.
    const Tag &tag(int index) const;

    /// The same to change it. The invalid one is another than that of tag(); what is changed in it
    /// stays for all later misses, which is meant.
    Tag &mtag(int index);

    /// The first tag with that name from \p index on, which becomes the one where it is. Null when
    /// there is none, with -1 in \p index, or with \p index as it was when that is outside.
    const Tag *tag(const Data::String &name, int &index) const;

    /// The first tag with that name, or an invalid one that all files share.
    const Tag &findTag(const Data::String &name) const;

    /// The first tag with that name whose first \p key has that value, or an invalid one. An empty
    /// \p key takes every tag of the name, and an empty \p value every tag with or without the key,
    /// which is meant.
    ///
    /// The search starts at \p index, or at 0 without one or for a negative one. \p index becomes
    /// the place where the tag is, and -1 when there is none: the next search starts behind it.
    const Tag &findTag(const Data::String &name, const Data::String &key, const Data::String &value,
                       int *index = nullptr) const;

    /// The properties "name" and "version" of the first tag, "" when that is not "TYPE". No file is
    /// refused for what they say.
    Data::String fileType() const;
    Data::String fileVersion() const;

    // Values that belong to this object and are not in the file

    /// The value, invalid when there is none. Then there is an empty one afterwards, which is
    /// meant.
    QVariant getMeta(const Data::String &name);

    /// An invalid value removes the entry.
    void setMeta(const Data::String &name, const Data::Variant &value);

    /// Sets all of \p values, invalid ones too. Others stay.
    void setMeta(const QMap<Data::String, Data::Variant> &values);

    /// A text for the application to collect its own messages in, each in a line of its own: the
    /// meta value "_errmsg". Nothing here adds to it. Asking without \p clear makes an empty one
    /// where there is none, which is meant.
    void addErrorMessage(const Data::String &message);
    Data::String errorMessage(bool clear);

private:
    std::unique_ptr<TagFilePrivate> d;
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
    /// Of the tag in the file it was read from, from 1; otherwise -1. A negative count of a block
    /// is taken off the numbers of the tags behind it, which is meant.
    int line = -1;
    Data::String name;    ///< an invalid tag has none
    Data::String comment; ///< written in front of the tag, and not read back, which is meant
    QStringList keys;     ///< "$" is the key of a comment line within the tag
    QStringList values;

    explicit Tag(const Data::String &tagName);

    /// Whether it has a name.
    bool isValid() const;

    // Adding: one pair behind the others, whether the key is there already or not. What changes a
    // tag leaves it as it was, and throws std::bad_alloc, when the memory does not suffice.

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
