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

/// A text file of tagged records in UTF-8. The class reads the file, holds its tags, and writes
/// them. A tag is a record: a name and properties. A property is a key with a value.
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
/// Tags are either added in memory and saved together, or streamed to the file one at a time:
///
///     Utils::TagFile file(path);               Utils::TagFile file;
///     file.addTag("steel", "").add_g(...);     file.open(path, error);
///     file.save(path, error);                  file.writeTag("steel", "", true);
///                                              file.writeProperty("grade", "S355");
///                                              file.close();
///
/// There are no syntax errors: a line that is not a tag, a property or a comment is ignored. A line
/// ends with LF or CR LF. Its first character determines its kind; spaces are not trimmed:
///
///     ""            => ignored
///     "$..."        => a comment, ignored
///     "*name"       => a tag; its name is the rest of the line
///     "key: value"  => a property; its value is everything after the ": "
///     "key:2"       => a property; its value is the next two lines, or as many as there are.
///                      They are not interpreted and are joined with a line feed.
///     "key:"        => a property with an empty value. So is "key:x", where x is not a number and
///                      is lost.
///     others        => ignored, and so are properties before the first tag
///
/// "\:" in a key or in a one-line value stands for ":". A colon in a key must be written like this,
/// because the first other colon ends the key.
///
/// \compat Not everything that is written is read back unchanged. In this table "nothing" means
/// that it is lost:
///
///     comments                                => nothing
///     a key that starts with "$" or "*"       => a comment, or a tag
///     a key that ends with "\"                => nothing; its value is lost, too
///     "true", "false" with WriteYesNo         => "yes", "no"
///     "" with WriteNone                       => "NONE", or nothing with DropNone
///     "NONE" with DropNone                    => nothing
///     "" with LeaveOutEmpty                   => nothing
///     "\:" or "*COLON*" in a one-line value   => ":"
///     empty lines at the start of a value     => nothing
///     CR LF in a value                        => LF; a CR at the end of a line is lost
///     a tag without a name                    => its properties belong to the tag before
///     the last tag, without properties        => nothing, unless it is the only tag, or a comment
///                                                or an empty line follows
///
/// A name or key that contains a line feed is written unchanged, and is then read as two lines. A
/// line of more than 268,435,456 characters is read in pieces of that length.
class KELMUTILS_EXPORT TagFile
{
public:
    struct Tag;

    /// How tags and properties are written and read: the bits of options().
    enum Option
    {
        BlankLines = 1,    ///< write a blank line between tags
        WriteYesNo = 2,    ///< write the values "true" and "false" as "yes" and "no"
        WriteComments = 4, ///< write comments
        LeaveOutEmpty = 8, ///< leave out properties with an empty value
        WriteNone = 16,    ///< write an empty value as "NONE", even with LeaveOutEmpty
        DropNone = 32      ///< when reading, drop properties with the one-line value "NONE"
    };

    TagFile();

    /// Reads the file \p path. When that fails, there are no tags; the failure is not reported.
    explicit TagFile(const Data::String &path);

    /// \compat The destructor does not call close(). A file that is still being streamed then stays
    /// open and is never completed, so call close() first. With File::setSafeWriting() the old
    /// contents of the file stay.
    ~TagFile();

    TagFile(const TagFile &) = delete;
    TagFile &operator=(const TagFile &) = delete;

    /// The path passed to the constructor. read() and save() do not change it.
    Data::String filename() const;

    /// The bits of Option that are set; initially BlankLines, WriteYesNo and WriteComments.
    int options() const;
    void setOption(int option, bool on);

    // Reading. Tags are appended to the existing ones, so that the tags of several files add up.

    /// Reads the file \p path. False for an empty path, and with a text in \p error when the file
    /// cannot be opened, cannot be read completely, or is too large for the memory. In these cases
    /// no tag of the file is added.
    bool read(const Data::String &path, Data::String &error);

    /// The same, but appends the text to \p errors.
    bool read(const Data::String &path, QStringList &errors);

    /// Reads the rest of \p in, in its codec.
    ///
    /// \compat Always returns true and does not change \p error. When the device of \p in fails,
    /// the text ends there, even within a line. When there is not enough memory, only the tags that
    /// were read completely are added. To detect a failure, check the error of the device, or read
    /// the file by its path.
    bool read(QTextStream &in, Data::String &error);

    // Writing all tags

    /// Calls close(), then writes all tags to the file \p path, in place of its contents. An
    /// existing file keeps its permissions.
    ///
    /// False for an empty path; the function then does nothing. False with a text in \p error when
    /// the file cannot be opened; it then stays as it was. False with a text in \p error, too, when
    /// there is not enough memory; the file then stays as it was or ends early.
    ///
    /// With File::setSafeWriting() the file has all tags when the result is true, and otherwise its
    /// old contents.
    ///
    /// \compat A failed write is not reported. On a full disk the result is true, and the file ends
    /// where the disk was full. Only File::lastError() has the reason.
    bool save(const Data::String &path, Data::String &error);

    /// The same, but appends the text to \p errors.
    bool save(const Data::String &path, QStringList &errors);

    /// Calls close(), then returns the text that save() would write; "" when there is not enough
    /// memory.
    Data::String toString();

    // Streaming, which is independent of the tags held by the object. While no file is open, the
    // write functions do nothing.

    /// Calls close(), then begins to write the file \p path, in place of its contents. False, with
    /// a text in \p error, when it cannot be opened or there is not enough memory; no file is open
    /// then. False for an empty path; the function then does nothing.
    bool open(const Data::String &path, Data::String &error);

    /// Completes the file. Does nothing when no file is open. A failed write is not reported: when
    /// the disk was full or there was not enough memory, the file ends there, and everything
    /// written later is missing. Only File::lastError() has the reason.
    ///
    /// With File::setSafeWriting() the file has its old contents until this call, and also after it
    /// when a write has failed.
    void close();

    /// Writes the tag "TYPE" with the properties "name" and, if it is not empty, "version".
    TagFile &writeFileType(const Data::String &name, const Data::String &version,
                           const Data::String &comment);

    /// Writes an empty line if \p blankLine is true, then \p comment if it is not empty and
    /// WriteComments is set, then the line of the tag. With the name "$" the line of the tag is
    /// omitted: the comment stands alone.
    TagFile &writeTag(const Data::String &name, const Data::String &comment, bool blankLine);

    TagFile &writeProperty(const Data::String &key, const Data::String &value);

    // Tags. A reference to a tag stays valid until that tag is removed, even when tags are added.

    /// Inserts the tag "TYPE" before all others, with the properties "name" and "version";
    /// "version" is added even if it is empty.
    ///
    /// \compat Inserts the tag even if there is one of this name already.
    Tag &addFileType(const Data::String &name, const Data::String &version,
                     const Data::String &comment);

    Tag &addTag(const Data::String &name, const Data::String &comment);

    /// Appends a copy of \p tag if \p tag is valid.
    void addTag(const Tag &tag);

    /// Appends a comment without a tag. It counts as a tag with the name "$".
    void addComment(const Data::String &text);

    /// Removes the tag at \p index. False when there is none.
    bool removeTag(int index);

    /// Removes all tags. The file name, options and meta values stay.
    void clear();

    int numTags() const;

    /// The tag at \p index, which counts from 0. When there is none, an invalid tag that all
    /// TagFile objects share.
    const Tag &tag(int index) const;

    /// The tag at \p index, to be changed. When there is none, an invalid tag that all TagFile
    /// objects share. It is not the invalid tag of tag().
    ///
    /// \compat Changes of the invalid tag stay: all later calls that fail return the changed tag.
    Tag &mtag(int index);

    /// The first tag with the name \p name from \p index on. Sets \p index to its position. Null
    /// when there is none; \p index is then set to -1, or is unchanged when it was out of range.
    const Tag *tag(const Data::String &name, int &index) const;

    /// The first tag with the name \p name, or an invalid tag that all TagFile objects share.
    const Tag &findTag(const Data::String &name) const;

    /// The first tag with the name \p name in which the first property \p key has the value
    /// \p value, or an invalid tag. An empty \p key matches every tag of this name.
    ///
    /// The search starts at the position \p index, or at 0 when \p index is null or its value is
    /// negative. Sets \p index to the position of the tag, or to -1 when there is none. Add 1 to
    /// \p index to search for the next tag.
    ///
    /// Many searches for one key take time that does not grow with the number of tags, unless the
    /// tags were added one by one or requested by mtag(): those are compared each time.
    ///
    /// \compat An empty \p value also matches every tag of this name, with or without the key.
    const Tag &findTag(const Data::String &name, const Data::String &key, const Data::String &value,
                       int *index = nullptr) const;

    /// The properties "name" and "version" of the first tag; "" when the name of that tag is not
    /// "TYPE". The library does not check these properties: read() accepts every file.
    Data::String fileType() const;
    Data::String fileVersion() const;

    // Meta values, which belong to the object and are not written to files

    /// The meta value \p name; invalid when there is none.
    ///
    /// \compat When there is none, the call creates an entry with an invalid value.
    QVariant getMeta(const Data::String &name);

    /// Sets a meta value. An invalid one removes the entry.
    void setMeta(const Data::String &name, const Data::Variant &value);

    /// Sets all \p values, invalid ones, too. Other entries stay.
    void setMeta(const QMap<Data::String, Data::Variant> &values);

    /// A text in which the application collects messages of its own, one per line. The text is the
    /// meta value "_errmsg". The library adds nothing to it. With \p clear, errorMessage() removes
    /// the text after it has read it.
    ///
    /// \compat Without \p clear, errorMessage() creates an invalid entry when there is none.
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
/// Values are stored as text; add() and the getters convert them. Keys are compared exactly,
/// case-sensitively. \p skip is the number of earlier occurrences of a key to skip; 0 finds the
/// first one, and a negative number finds nothing.
///
/// All functions keep keys and values at the same length. When a caller has made their lengths
/// differ, the getters use only the indices that both lists have, remove() removes what there is,
/// and replace() first fills up the values with empty ones.
struct KELMUTILS_EXPORT TagFile::Tag
{
    /// The number of the line of the tag in the file that it was read from; the first line is 1. -1
    /// for a tag that was not read from a file.
    ///
    /// \compat The count in "key:2" is added to the line numbers of later tags even when it is
    /// negative or the file has fewer lines.
    int line = -1;
    Data::String name;    ///< an invalid tag has none
    Data::String comment; ///< written before the tag. \compat It is not read back.
    QStringList keys;     ///< "$" is the key of a comment line within the tag
    QStringList values;

    explicit Tag(const Data::String &tagName);

    /// Whether the tag has a name.
    bool isValid() const;

    // Adding. Each function appends one pair of a key and a value, even when the key exists
    // already. When there is not enough memory, the functions that change a tag leave it as it was
    // and throw std::bad_alloc.

    Tag &add(const Data::String &key, const Data::String &value);

    /// Null stands for "".
    Tag &add(const Data::String &key, const char *value);

    /// Adds "true" or "false".
    Tag &add(const Data::String &key, bool value);

    Tag &add(const Data::String &key, int value);

    /// Adds the result of QString::number() with \p format and \p precision.
    ///
    /// \compat A whole number that fits into 32 bits is always written with 'g' and 6, even if
    /// digits are lost:
    ///
    ///     2.0, 'f', 3           => "2"
    ///     2.5, 'f', 3           => "2.500"
    ///     1234567.0, 'f', 0     => "1.23457e+06"
    ///     3000000000.0, 'f', 0  => "3000000000"   does not fit into 32 bits
    Tag &add(const Data::String &key, double value, char format, int precision);

    /// The same with the format 'g' and the precision 6.
    Tag &add_g(const Data::String &key, double value);

    /// Adds lower-case hexadecimal digits, two for each byte.
    Tag &add(const Data::String &key, const QByteArray &value);

    /// Adds the items as one text, joined with \p separator, which is UTF-8.
    Tag &add(const Data::String &key, const QStringList &value, const char *separator);

    /// Adds a comment of one line, or of several that are separated by line feeds.
    Tag &addComment(const Data::String &text);

    // Reading

    /// The number of properties, including comments.
    int numProps() const;

    /// The number of properties with the key \p key.
    int count(const Data::String &key) const;

    bool contains(const Data::String &key) const;

    /// The index of a property; -1 when there is none.
    int indexOf(const Data::String &key, int skip) const;

    /// Sets \p key and \p value to the pair at \p index. False, with both unchanged, when there is
    /// none.
    bool get(int index, Data::String &key, Data::String &value) const;

    /// The value of a property; "" when there is none.
    Data::String get(const Data::String &key, int skip) const;

    /// Whether the value is "true", "yes" or "1", in upper or lower case.
    bool getBool(const Data::String &key, int skip) const;

    /// The value as a whole number; spaces around it are ignored. 0 when there is no value, or it
    /// is not a whole number.
    int getInt(const Data::String &key, int skip) const;

    /// The value as a number; spaces around it are ignored. 0 when there is no value, or it is not
    /// a number; infinity when it is too large for a double.
    double getDouble(const Data::String &key, int skip) const;

    /// The bytes that the hexadecimal digits in the value stand for. Other characters are ignored.
    QByteArray getBytes(const Data::String &key, int skip) const;

    /// The value split at \p separator, which is UTF-8; empty items are kept. No items when the
    /// value is empty or missing. A null or empty separator yields each character as an item, and
    /// an empty item at both ends.
    QStringList getList(const Data::String &key, const char *separator, int skip) const;

    // Changing the first occurrence of a key

    /// Removes the property. Does nothing when there is none.
    Tag &remove(const Data::String &key);

    /// Sets the value. Appends the property when there is none.
    Tag &replace(const Data::String &key, const Data::String &value);

    // Conversion to lines and back. Kept for compatibility: fromList() does not restore everything.
    // Comments are lost or become properties, "yes" and "no" stay these words, a value of several
    // lines loses its leading empty lines, and a key with a colon loses what follows the colon, and
    // its value.

    /// The properties from index \p first on, as lines, with the TagFile::Option bits \p options. A
    /// \p first of 0 or below stands for all properties. Colons in keys are not escaped.
    ///
    ///     k, "v"     => "k: v"
    ///     k, "v\nw"  => "k:2", "v", "w"
    ///     $, "v\nw"  => "$ v\n$ w"        one entry with a line feed; only with WriteComments
    ///     k, "true"  => "k: yes"          with WriteYesNo
    ///     k, ""      => "k: "             or "k: NONE" with WriteNone; otherwise no entry with
    ///                                     LeaveOutEmpty
    QStringList toStringList(int first, int options) const;

    /// Adds the properties in \p lines, with the TagFile::Option bits \p options.
    ///
    ///     "k: v"               => k, "v"      everything after the space
    ///     "k: NONE"            => k, "NONE"   or nothing with DropNone
    ///     "k:2", "v", "w"      => k, "v\nw"   or as many lines as there are; empty lines at the
    ///                                         start are lost
    ///     "k:", "k:x", "k:-1"  => k, ""
    ///     "k"                  => nothing
    ///
    /// \compat No line is special. A comment that contains a colon becomes a property, and so does
    /// a line that begins with "*". Escaped colons stay escaped.
    Tag &fromList(const QStringList &lines, int options);
};

} // namespace Utils
