#pragma once

#include "data/IDataItem.h"
#include "data/String.h"
#include "utils/Export.h"

#include <QDomElement>
#include <QList>

namespace Utils {
namespace Xml {

class Document;

/// An element with typed reads of its attributes, and with what serialising code asks for.
///
/// It is a QDomElement, and shares its node with what it was made from and with its copies.
class KELMUTILS_EXPORT Element : public QDomElement
{
public:
    Element() = default;
    Element(const QDomElement &other);

    Element &operator=(const QDomElement &other);

    /// Sets the attribute, unless \p value is empty.
    void addAttributeIf(const QString &name, const Data::String &value);

    /// Sets the attribute to the text of \p item, also when that is empty; nothing without an item.
    void addAttributeIf(const QString &name, Data::IDataItem *item);

    /// Reads an attribute. False, with \p value untouched, when there is none. A text that does not
    /// convert is there all the same: the result is true then, and the value 0 or false.
    bool getAttribute(const QString &name, int &value) const;
    bool getAttribute(const QString &name, double &value) const;
    bool getAttribute(const QString &name, Data::String &value) const;

    /// "true", "yes" and "1", in any case, are true.
    bool getAttribute(const QString &name, bool &value) const;

    /// The text of the element's own text and CDATA sections, without that of elements in it.
    ///
    /// Text of which a line starts with a blank was indented by hand and becomes one line, with at
    /// most one blank in front. Other text is kept as it is, and so is a CDATA section.
    ///
    ///     "a\nb"           => "a\nb"
    ///     " one\n   two "  => " one two"
    ///     "\n  one\n  two" => "one two"
    Data::String childTextData() const;

    /// The attributes in the order "name", "type", then the others by name, case-insensitively.
    /// That Document::write() orders by case is meant: "a", "B" here is "B", "a" there. An
    /// attribute that was made for a namespace is a null one, as it is to
    /// QDomNamedNodeMap::namedItem().
    QList<QDomAttr> orderedAttributes() const;

    /// Adds a comment behind the last child.
    void appendComment(Document &document, const Data::String &text);

    /// Adds an empty line behind the last child. It is the comment "*" until Document::write()
    /// writes it as an empty line, of which nothing is left when the file is read. A comment "*" of
    /// somebody else's cannot be told from it, and is lost in the same way.
    void appendSpace(Document &document);

    /// Replaces \p oldValue by \p newValue in the attributes and texts of this element and of all
    /// in it. A value that does not equal \p oldValue may be a list, of which each part counts:
    ///
    ///     "b" to "x"   "a;b;c"  => "a;x;c"     between ",", else ";", else line ends
    ///     "b" to "x"   "abc"    => "abc"
    ///     "b" to "x"   "a; b"   => "a; b"
    ///     "b" to "x"   "a,b;c"  => "a,b;c"     each separator for itself
    ///     "%b%" to "x" "a%b%c"  => "axc"       only what is between "%" is replaced within a word
    ///
    /// Each of several texts of an element gets the joined text of all of them, replaced, which is
    /// meant:
    ///
    ///     "b" to "z"   <a>x<k/>b</a>  => <a>xb<k/>xbb</a>
    ///
    /// So the texts of an element grow by doubling; the rest of them stays as it is once the joined
    /// text is beyond 8 MiB characters and a hundred times as long as it was, or beyond 128 MiB
    /// characters, and where so many texts (thousands) have what is replaced that it would take
    /// minutes.
    void replaceInValues(const Data::String &oldValue, const Data::String &newValue);
};

} // namespace Xml
} // namespace Utils
