#include "examples/workbench/xml/XmlTexts.h"

#include "examples/workbench/Texts.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

namespace Workbench {

using Utils::Xml::Document;
using Utils::Xml::Element;

/// The root element that is read from a file in which \p root was written.
static Element readBack(Document &document, const QDomElement &root, Document &back)
{
    document.appendChild(root);
    Data::String error; // of a text that reads as other markup; what is read is compared
    back.parse(document.toText(), error);
    return back.documentElement();
}

static QString problemOf(bool isRead, const QString &read, const QString &text)
{
    if (read == text && isRead)
        return {};
    return read.isEmpty() ? Workbench::text(".msg.notReadBack")
                          : Workbench::text(".msg.readBackAs").arg(read);
}

QString problemOfName(const QDomNode &like, const QString &text)
{
    Document document(Document::Normal, 0.0);
    Document back(Document::Normal, 0.0);
    if (!like.isAttr()) {
        const QString read = readBack(document, document.createElement(text), back).tagName();
        return problemOf(true, read, text);
    }
    QDomElement root = document.createElement("root");
    root.setAttribute(text, "value");
    const Element read = readBack(document, root, back);
    const bool isRead = read.attribute(text) == "value";
    return problemOf(isRead, isRead ? text : read.attributes().item(0).nodeName(), text);
}

QString problemOfValue(const QDomNode &like, const QString &text)
{
    Document document(Document::Normal, 0.0);
    QDomElement root = document.createElement("root");
    if (like.isAttr())
        root.setAttribute("name", text);
    else if (like.isComment())
        root.appendChild(document.createComment(text));
    else if (like.isCDATASection())
        root.appendChild(document.createCDATASection(text));
    else if (!text.isEmpty())
        root.appendChild(document.createTextNode(text));
    Document back(Document::Normal, 0.0);
    const Element read = readBack(document, root, back);
    if (like.isAttr())
        return problemOf(read.hasAttribute("name"), read.attribute("name"), text);
    if (like.isElement())
        return problemOf(!read.isNull(), read.childTextData(), text);
    return problemOf(read.hasChildNodes(), read.firstChild().nodeValue(), text);
}

/// Whether a node is written as an empty line.
static bool isSpace(const QDomNode &node) { return node.isComment() && node.nodeValue() == "*"; }

static QDomNode withoutSpaces(QDomNode node)
{
    while (isSpace(node))
        node = node.nextSibling();
    return node;
}

/// The node after \p node in the order of the file, without recursion: trees may be deep.
static QDomNode nodeAfter(QDomNode node)
{
    const QDomNode below = withoutSpaces(node.firstChild());
    if (!below.isNull())
        return below;
    for (; !node.isNull(); node = node.parentNode()) {
        const QDomNode next = withoutSpaces(node.nextSibling());
        if (!next.isNull())
            return next;
    }
    return {};
}

static bool isSame(const QDomNode &a, const QDomNode &b)
{
    if (a.nodeType() != b.nodeType() || a.nodeName() != b.nodeName() ||
        a.nodeValue() != b.nodeValue())
        return false;
    const QDomNamedNodeMap others = b.attributes();
    const QDomNamedNodeMap attributes = a.attributes();
    bool areSame = attributes.length() == others.length();
    for (int i = 0; areSame && i < attributes.length(); ++i) {
        const QDomNode attribute = attributes.item(i);
        areSame = others.namedItem(attribute.nodeName()).nodeValue() == attribute.nodeValue();
    }
    return areSame;
}

QString firstChange(const QDomDocument &document, const QString &written)
{
    Document back(Document::Normal, 0.0);
    Data::String error; // what is read up to one is compared
    back.parse(written, error);
    QDomNode a = document;
    QDomNode b = back;
    while (true) {
        a = nodeAfter(a);
        b = nodeAfter(b);
        if (a.isNull() && b.isNull())
            return {};
        if (a.isProcessingInstruction() && a.nodeName() == "xml")
            continue; // in other quotes
        if (a.isNull() || b.isNull() || !isSame(a, b))
            break;
    }
    const QDomNode shown = a.isElement() || a.parentNode().isNull() ? a : a.parentNode();
    return shown.isNull() ? document.documentElement().tagName() : shown.nodeName();
}

} // namespace Workbench
