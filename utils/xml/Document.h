#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QDomDocument>
#include <QMap>

namespace Utils {
namespace Xml {

/// A document that is opened from, and written to, an XML file of a known type and version.
///
/// It is a QDomDocument: copies share its tree, while each has its own version, meta values and
/// messages from then on.
///
///     Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
///     Data::String error;
///     if (!document.open(path, "Model;Case", error))
///         return error;
///     if (document.documentVersion() < 2.0)
///         ...
///
/// A version is held to two decimals by a formula that cuts rather than rounds: 1.999 gives 2.0,
/// but 1.995 gives 1.99. That is meant. Compare versions by < and >, not by ==: 2019.1 is held as
/// 2019.1000000000001. What is no number, or beyond 21 million, gives -21474836.48.
class KELMUTILS_EXPORT Document : public QDomDocument
{
public:
    /// Why the document exists.
    enum Mode : int
    {
        Normal = 0,
        Copy = 1,
        Undo = 2, ///< a snapshot to go back to
    };

    /// A document whose document type is named \p docType. \p version is kept as it is given.
    Document(const Data::String &docType, Mode mode, double version);

    /// A document without a document type.
    Document(Mode mode, double version);

    /// Reads the file at \p path and checks what it is. False, with the reason in \p error, when it
    /// cannot be read to its end, is no well-formed XML, or is not of the type \p docType.
    ///
    ///     ""            => any document
    ///     "A;B"         => one whose DOCTYPE names A or B
    ///     "A;"          => one whose DOCTYPE names A, or that has none
    ///     "docElem:A"   => one whose root element is A, whatever its DOCTYPE
    ///
    /// Names are case-sensitive. Then documentVersion() is what stringToVersion() gives for the
    /// attribute "version" of the root element; it is 0.0 without one, and after a failure. The
    /// tree holds what was read also when that was not well-formed up to the end, or is not of the
    /// type. \p error is only written on failure.
    ///
    /// What Qt cannot read is refused like an error in the text: elements, or groups of a
    /// declaration, that are nested deeper than one level for each 512 bytes of the stack that is
    /// left, which are 16,000 levels on a stack of 8 MiB; entities that expand to more than 8 MiB
    /// characters and to more than a hundred for each byte of the file; and so many entities, more
    /// than 10,000 short ones, that it would take minutes to read them. So a tree of so many levels
    /// must be copied and released where about as much of the stack is left, and
    /// QDomDocument::toString() takes four times as much: only write() takes none.
    bool open(const Data::String &path, const Data::String &docType, Data::String &error);

    /// Writes the document to the file at \p path, as UTF-8. Its XML declaration stays as it is,
    /// even where it names another encoding and makes the file unreadable, which is meant; only
    /// what was read into it by references, or between quotes, is written so that it is read
    /// again: <?xml version="1'"?> comes out as <?xml version='1&apos;'?>. False
    /// when the file cannot be opened, and, with the file as it was, when elements are nested
    /// deeper than 5000 levels or than open() can read again on the stack that is left. (Whoever
    /// makes a tree that is far deeper has to take it apart, or the stack ends with the last copy
    /// of the document.)
    ///
    /// A level is indented by two blanks. The attributes of an element stand in the order "name",
    /// "type", then the others by their text, upper case first, and the comment "*" is an empty
    /// line. The file ends with an empty line.
    ///
    /// The layout works on lines of text and knows nothing of what they are in, which is meant:
    ///
    ///     - an element with text on its line has its attributes in the order of a QHash with the
    ///       seed 0 into which they were inserted by name: the same order in every run, and Qt's
    ///       own with that seed, except among names that share a bucket, where Qt's own depends on
    ///       the order in which the tree was made
    ///     - a line of a CDATA section or a comment that looks like a tag is laid out as one
    ///     - a start tag that text and another tag follow on its line is damaged: the line
    ///       <f z="1">a<g/> becomes <f a<g z="1"/>
    bool write(const Data::String &path) const;

    /// Whether the DOCTYPE names \p type, case-sensitive.
    bool isDocType(const Data::String &type) const;

    bool isCopy() const;
    bool isUndo() const;

    /// The version of the document as constructed, or as read by open().
    double documentVersion() const;

    /// The version that the caller states for itself; 0.0 at first.
    double currentVersion() const;

    /// Holds \p version to two decimals.
    void setCurrentVersion(double version);

    /// Free values of the caller. They are not written to the file.
    void setMeta(const Data::String &key, const Data::String &value);

    /// The value of \p key, or "" when there is none.
    Data::String getMeta(const Data::String &key) const;

    /// Adds a line to the messages, unless they contain \p text already. That it may be a part of
    /// another message, which says something else, is meant.
    void appendMessage(const Data::String &text);

    Data::String messages() const;

    /// Element::replaceInValues() on the root element.
    void replaceInValues(const Data::String &oldValue, const Data::String &newValue);

    /// Makes \p text stand for \p version, which is kept as it is given.
    static void registerVersionString(const Data::String &text, double version);

    /// The version that \p text stands for.
    ///
    ///     a registered text => its number, with all its decimals
    ///     "2019.1 beta"     => 2019.1    up to what is neither a digit nor "."
    ///     "3.2.1"           => 3.21      the digits behind a second "." join
    ///     "1.2.3.4"         => 1.23      what follows a third one is cut off
    ///     "v2", ""          => 0.0
    static double stringToVersion(const Data::String &text);

private:
    Mode m_mode;
    double m_documentVersion;
    double m_currentVersion = 0.0;
    QMap<Data::String, Data::String> m_meta;
    Data::String m_messages;
};

} // namespace Xml
} // namespace Utils
