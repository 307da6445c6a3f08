#pragma once

#include "data/IDataItem.h"
#include "data/String.h"
#include "utils/Export.h"

#include <QDomElement>
#include <QList>

namespace Utils {
namespace Xml {

class Document;

/// An element with typed access to its attributes, and with functions for serialisation.
///
/// The class is derived from QDomElement: an element shares its node with its copies and with the
/// element from which it was constructed.
class KELMUTILS_EXPORT Element : public QDomElement
{
public:
    Element() = default;
    Element(const QDomElement &other);

    Element &operator=(const QDomElement &other);

    /// Sets the attribute \p name to \p value, unless \p value is empty.
    void addAttributeIf(const QString &name, const Data::String &value);

    /// Sets the attribute \p name to the text of \p item, even to an empty text, unless \p item is
    /// null.
    void addAttributeIf(const QString &name, Data::IDataItem *item);

    /// Sets \p value to the value of the attribute \p name. False, with \p value unchanged, when
    /// the attribute does not exist. If its text cannot be converted, the result is still true, and
    /// \p value is 0 or false.
    bool getAttribute(const QString &name, int &value) const;
    bool getAttribute(const QString &name, double &value) const;
    bool getAttribute(const QString &name, Data::String &value) const;

    /// "true", "yes" and "1", case-insensitively, are true; any other text is false.
    bool getAttribute(const QString &name, bool &value) const;

    /// The joined text and CDATA sections of the element, without those of its child elements.
    ///
    /// A text in which a line, other than the first, starts with a space counts as indented by
    /// hand. It becomes a single line, with single spaces between its words. A text that itself
    /// starts with a space keeps one space there; in this case white space at the end of the text
    /// is removed, and so are line feeds at the end of the texts before it. Other texts, and CDATA
    /// sections, are unchanged.
    ///
    ///     "a\nb"           => "a\nb"
    ///     " one\n   two "  => " one two"
    ///     "\n  one\n  two" => "one two"
    Data::String childTextData() const;

    /// The attributes in the order "name", "type", then the others by name, case-insensitively. An
    /// attribute created for a namespace is returned as a null attribute, because
    /// QDomNamedNodeMap::namedItem() does not find it.
    ///
    /// \compat Document::write() sorts case-sensitively: the order "a", "B" here is "B", "a" there.
    QList<QDomAttr> orderedAttributes() const;

    /// Appends a comment after the last child.
    void appendComment(Document &document, const Data::String &text);

    /// Appends an empty line after the last child. In the tree it is the comment "*", which
    /// Document::write() writes as an empty line. Reading that file yields no comment there. A
    /// comment "*" that was not appended by this function is lost in the same way.
    void appendSpace(Document &document);

    /// Replaces \p oldValue by \p newValue in the attributes and texts of this element and of all
    /// elements below it. \p oldValue is replaced where it is a whole value, or a whole item of a
    /// list separated by ",", ";" or line ends. Comparison is case-sensitive, and white space
    /// counts.
    ///
    ///     "b" to "x"   "a;b;c"  => "a;x;c"
    ///     "b" to "x"   "abc"    => "abc"
    ///     "b" to "x"   "a; b"   => "a; b"
    ///     "b" to "x"   "a,b;c"  => "a,b;c"     split at "," and at ";", but not at both
    ///     "%b%" to "x" "a%b%c"  => "axc"       an old value in "%" is replaced within words, too
    ///
    /// \compat When an element has several texts, their joined text is computed for each of them,
    /// and the result of its replacement becomes that text:
    ///
    ///     "b" to "z"   <a>x<k/>b</a>  => <a>xb<k/>xbb</a>
    ///
    /// So the texts of an element may double in length each time. The remaining texts of an element
    /// are not changed once the joined text exceeds 8 Mi characters and 100 times its original
    /// length, or 128 Mi characters, or when thousands of texts would take minutes.
    void replaceInValues(const Data::String &oldValue, const Data::String &newValue);
};

} // namespace Xml
} // namespace Utils
