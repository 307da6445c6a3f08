#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QDomDocument>
#include <QMap>

namespace Utils {
namespace Xml {

/// An XML document with a type and a version. It can be read from a file and written to a file.
///
/// The class is derived from QDomDocument. Copies share the tree, but each copy has its own
/// versions, meta values and messages.
///
///     Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
///     Data::String error;
///     if (!document.open(path, "Model;Case", error))
///         return error;
///     if (document.documentVersion() < 2.0)
///         ...
///
/// A version that is read from a file, or set by setCurrentVersion(), has two decimals. Compare
/// versions by < and >, not by ==: 2019.1 is stored as 2019.1000000000001. A version that is not a
/// number, or is beyond 21 million, is stored as -21474836.48.
///
/// \compat Further decimals are cut off rather than rounded: the version is multiplied by 100, 0.4
/// is added, and the fraction is cut off. 1.999 yields 2.0, but 1.995 yields 1.99.
class KELMUTILS_EXPORT Document : public QDomDocument
{
public:
    /// The purpose of the document. Only isCopy() and isUndo() use it.
    enum Mode : int
    {
        Normal = 0,
        Copy = 1,
        Undo = 2, ///< a snapshot for undo
    };

    /// A document whose document type is named \p docType. \p version is stored unchanged.
    Document(const Data::String &docType, Mode mode, double version);

    /// A document without a document type. \p version is stored unchanged.
    Document(Mode mode, double version);

    /// Reads the file at \p path and checks its type. False, with the reason in \p error, when the
    /// file cannot be read to its end, is not well-formed XML, or is not of the type \p docType.
    ///
    ///     ""            => any document
    ///     "A;B"         => a document whose DOCTYPE names A or B
    ///     "A;"          => a document whose DOCTYPE names A, or that has none
    ///     "docElem:A"   => a document whose root element is A, with any DOCTYPE or none
    ///
    /// Names are case-sensitive. documentVersion() becomes what stringToVersion() returns for the
    /// attribute "version" of the root element; it is 0.0 without that attribute, and after a
    /// failure. After a failure the tree contains what was read up to the error, or the whole
    /// document when only its type is wrong. When the file cannot be opened, the tree is unchanged.
    /// \p error is set only on failure.
    ///
    /// Documents that would overflow the stack, fill the memory or take minutes in Qt are refused
    /// in the same way as documents that are not well-formed. A document is refused in these cases:
    /// - Elements, or groups in a declaration, are nested deeper than one level for each 512 bytes
    ///   of unused stack, on Windows 1024: 16,000 or 8,000 levels on a stack of 8 MiB.
    /// - Entities expand to more than 8 Mi characters, and also to more than 100 characters for
    ///   each byte of the file.
    /// - There are more than about 10,000 short entities, or fewer long ones.
    ///
    /// Copying and destroying a deep tree needs about as much unused stack as reading it.
    /// QDomDocument::toString() needs four times as much; write() does not recurse.
    bool open(const Data::String &path, const Data::String &docType, Data::String &error);

    /// Parses \p text as open() does with that of a file of any type, and refuses the same
    /// documents; the limit for entities is 100 characters for each character of the text. For a
    /// text that comes from outside, such as the clipboard: QDomDocument::setContent() has no
    /// limit.
    ///
    /// False, with the reason in \p error, when the text is not well-formed or is refused. Then the
    /// tree contains what was read up to the error, or is unchanged when the text exceeds a limit.
    /// documentVersion() is set as by open(). An encoding in the XML declaration has no effect.
    bool parse(const Data::String &text, Data::String &error);

    /// Writes the document to the file at \p path, as UTF-8, by File::write(). False, with the file
    /// unchanged, when the file cannot be opened, when the memory does not suffice, when elements
    /// are nested deeper than 5000 levels, and when they are nested deeper than open() could read
    /// with the currently unused stack. With File::setSafeWriting() the file has the whole document
    /// when the result is true, and otherwise its old contents. File::lastError() has the reason.
    ///
    /// Each level is indented by two spaces. The attributes of an element are written in the order
    /// "name", "type", then the others by their text, upper case first. The comment "*" becomes an
    /// empty line. The file ends with an empty line.
    ///
    /// The XML declaration is written with single quotes, and with references for the characters
    /// that need them, so that it can be read again: `<?xml version="1'"?>` becomes
    /// `<?xml version='1&apos;'?>`.
    ///
    /// A tree that is nested far deeper than 5000 levels overflows the stack when the last copy of
    /// the document is destroyed; remove its inner levels before that.
    ///
    /// \compat An XML declaration that names another encoding than UTF-8 is not changed, although
    /// the file is written as UTF-8; the file then cannot be read correctly. The layout works on
    /// lines of text, without regard to their context:
    /// - A line of a CDATA section or of a comment that looks like a tag is laid out as a tag.
    /// - A start tag is damaged when text and another tag follow it on the same line: the line
    ///   `<f z="1">a<g/>` becomes `<f a<g z="1"/>`.
    /// - The attributes of an element with text on the same line are not sorted. Their order is
    ///   that of a QHash with the seed 0 into which they were inserted by name. So the order is the
    ///   same in every run. It is also the order that Qt writes with this seed, except for names in
    ///   the same bucket of the hash, for which Qt's order depends on how the tree was built.
    bool write(const Data::String &path) const;

    /// The text that write() writes: in UTF-8, it is byte for byte the content of the file. "" when
    /// write() would fail for another reason than its file.
    ///
    /// QDomDocument::toString() returns the same document in the layout of Qt.
    Data::String toText() const;

    /// Whether the DOCTYPE names \p type, case-sensitively.
    bool isDocType(const Data::String &type) const;

    bool isCopy() const;
    bool isUndo() const;

    /// The version given to the constructor, or read by open().
    double documentVersion() const;

    /// The version of the calling program, as set by setCurrentVersion(); 0.0 at first.
    double currentVersion() const;

    /// Sets the version of the calling program, to two decimals.
    void setCurrentVersion(double version);

    /// Sets the meta value \p key, which is for the use of the caller. Meta values are not written
    /// to the file.
    void setMeta(const Data::String &key, const Data::String &value);

    /// The meta value \p key, or "" when there is none.
    Data::String getMeta(const Data::String &key) const;

    /// Appends \p text to the messages as a line of its own, unless the messages contain it
    /// already.
    ///
    /// \compat A text that is part of an earlier message counts as contained.
    void appendMessage(const Data::String &text);

    Data::String messages() const;

    /// Calls Element::replaceInValues() for the root element.
    void replaceInValues(const Data::String &oldValue, const Data::String &newValue);

    /// Registers \p text as the name of \p version for the whole process. The version is stored
    /// unchanged.
    static void registerVersionString(const Data::String &text, double version);

    /// The version that \p text names.
    ///
    ///     a registered text => its version, with all decimals; case-sensitive
    ///     "2019.1 beta"     => 2019.1    up to the first character other than a digit and "."
    ///     "3.2.1"           => 3.21      the second "." is removed
    ///     "1.2.3.4"         => 1.23      the third "." ends the number
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
