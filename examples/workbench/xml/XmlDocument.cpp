#include "examples/workbench/xml/XmlDocument.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/xml/XmlTexts.h"
#include "utils/files/File.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <QFile>
#include <QRegularExpression>
#include <QTextStream>

#include <algorithm>

namespace Workbench {

using Utils::File;
using Utils::Xml::Element;
namespace Xml = Utils::Xml;
using Attribute = std::pair<QString, QString>; // a name and its value

static const char utf8[] = "UTF-8";

bool isXmlFile(const QString &path)
{
    const int headSize = 64; // characters
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QTextStream in(&file);
    return in.read(headSize).startsWith("<?xml ");
}

XmlDocument::XmlDocument(const QString &path)
    : TreeDocument(path),
      m_document(std::make_unique<Xml::Document>(Xml::Document::Normal, 0.0)), m_doms{*m_document}
{}

XmlDocument::~XmlDocument() = default;

// The file

/// The XML declaration, or a null node.
static QDomProcessingInstruction declaration(const QDomDocument &document)
{
    const QDomNode first = document.firstChild();
    return first.nodeName() == "xml" ? first.toProcessingInstruction()
                                     : QDomProcessingInstruction();
}

static const QRegularExpression encodingPattern("(encoding\\s*=\\s*['\"])([^'\"]*)");

/// Sets the version which is usual for the type of the document, as the user has listed it.
static void setUsualVersion(Xml::Document &document)
{
    const QString type = document.doctype().name();
    const QStringList versions = Preferences::documentVersions.value();
    for (const QString &version : versions) {
        if (!type.isEmpty() && version.section(' ', 0, -2) == type)
            document.setCurrentVersion(Xml::Document::stringToVersion(version.section(' ', -1)));
    }
}

bool XmlDocument::readFile(const QString &path)
{
    if (!fitsMemory(path))
        return false;
    auto document = std::make_unique<Xml::Document>(Xml::Document::Normal, 0.0);
    Data::String error;
    if (!document->open(path, "", error))
        return false;
    setUsualVersion(*document);
    const QString declared =
        encodingPattern.match(declaration(*document).data()).captured(2).toUpper();
    resetNodes();
    m_doms = {*document};
    m_document = std::move(document);
    m_encoding = declared.isEmpty() ? QString(File::encoding(path)) : declared;
    return true;
}

bool XmlDocument::writeFile(const QString &path)
{
    // The library writes UTF-8, and the declaration as it is.
    QDomProcessingInstruction declared = declaration(*m_document);
    const QString old = declared.data();
    if (m_encoding != utf8)
        declared.setData(QString(old).replace(encodingPattern, "\\1UTF-8"));
    if (!m_document->write(path)) {
        declared.setData(old);
        return false;
    }
    m_encoding = utf8;
    return true;
}

QString XmlDocument::whatSavingLoses() const
{
    QStringList losses;
    if (m_encoding != utf8)
        losses.append(text(".msg.losesEncoding").arg(m_encoding));
    const QString written = m_document->toText();
    const QString changed = written.isEmpty() ? QString() : firstChange(*m_document, written);
    if (!changed.isEmpty())
        losses.append(text(".msg.losesMixed").arg('<' + changed + '>'));
    return losses.join(' ');
}

QString XmlDocument::saveFilter() const { return text(".ctx.xmlDocuments") + " (*.xml)"; }

QString XmlDocument::description() const
{
    return '<' + m_document->documentElement().tagName() + "> \u00b7 " + m_encoding;
}

QString XmlDocument::heading() const
{
    const QString type = m_document->doctype().name();
    const QString versionText = m_document->documentElement().attribute("version");
    const double version = Xml::Document::stringToVersion(versionText);
    const double usual = m_document->currentVersion();
    const auto shown = [](double number) { return QString::number(number, 'g', 12); };

    QStringList parts;
    parts.append(type.isEmpty() ? text(".msg.noDocumentType") : type);
    parts.append(versionText.isEmpty() ? text(".msg.noVersion")
                                       : text(".msg.version").arg(shown(version)));
    if (!versionText.isEmpty() && usual > 0.0 && version > usual)
        parts.append(text(".msg.newerVersion").arg(shown(usual)));
    if (!versionText.isEmpty() && usual > 0.0 && version < usual)
        parts.append(text(".msg.olderVersion").arg(shown(usual)));
    return parts.join(" \u00b7 ");
}

// The tree

/// Whether the children of an element are texts only, one at least.
static bool hasTextOnly(const QDomNode &node)
{
    QDomNode child = node.firstChild();
    const bool hasChild = !child.isNull();
    while (child.isText()) // also a CDATA section
        child = child.nextSibling();
    return node.isElement() && hasChild && child.isNull();
}

static bool isShown(const QDomNode &node)
{
    return !node.isDocumentType() && !(node.isProcessingInstruction() && node.nodeName() == "xml");
}

void XmlDocument::setDom(int node, const QDomNode &dom)
{
    if (m_doms.size() <= std::size_t(node))
        m_doms.resize(std::size_t(node) + 1);
    m_doms[std::size_t(node)] = dom;
}

void XmlDocument::addNodeOf(int parent, const QDomNode &dom)
{
    const int node = addNode(parent);
    setDom(node, dom);
}

void XmlDocument::listChildren(int node)
{
    const QDomNode listed = dom(node); // a copy: the list grows
    if (listed.isAttr())
        return; // whose value is a child in the tree of the library
    for (const QDomAttr &attribute : Element(listed.toElement()).orderedAttributes()) {
        if (!attribute.isNull())
            addNodeOf(node, attribute);
    }
    if (hasTextOnly(listed))
        return;
    for (QDomNode next = listed.firstChild(); !next.isNull(); next = next.nextSibling()) {
        if (isShown(next))
            addNodeOf(node, next);
    }
}

bool XmlDocument::hasChildren(int node) const
{
    const QDomNode &parent = dom(node);
    if (parent.isAttr())
        return false;
    return parent.hasAttributes() || (parent.hasChildNodes() && !hasTextOnly(parent));
}

int XmlDocument::elementOf(int node) const
{
    return node == root || dom(node).isElement() ? node : parentOf(node);
}

TreeDocument::Words XmlDocument::words() const
{
    return {".ctx.xmlDocument", "addElement", "addAttribute"};
}

/// The kind of a node that is neither an element nor an attribute.
static QString kindName(const QDomNode &node)
{
    if (node.isComment())
        return text(".ctx.kindComment");
    return node.isText() ? text(".ctx.kindText") : text(".ctx.kindInstruction");
}

QString XmlDocument::textOf(int node, Column column) const
{
    const QDomNode &shown = dom(node);
    const bool hasName = shown.isElement() || shown.isAttr();
    switch (column) {
    case Name:
        return hasName ? shown.nodeName() : '(' + kindName(shown) + ')';
    case Value:
        if (shown.isElement())
            return hasTextOnly(shown) ? QString(Element(shown.toElement()).childTextData())
                                      : QString();
        return shown.nodeValue();
    case Kind:
        if (shown.isAttr())
            return text(".ctx.kindAttribute") + ", " + nameOf(kindOfValue(shown.nodeValue()));
        return shown.isElement() ? text(".ctx.kindElement") : kindName(shown);
    case NumColumns:
        break;
    }
    return {};
}

QString XmlDocument::summaryOf(int node) const { return element(node).attribute("name"); }

bool XmlDocument::canEdit(int node, Column column)
{
    const QDomNode edited = dom(node);
    if (column == Name)
        return edited.isElement() || edited.isAttr();
    if (column != Value)
        return false;
    if (edited.isElement())
        return numChildren(node) == edited.attributes().length();
    return edited.isAttr() || edited.isText() || edited.isComment();
}

QString XmlDocument::fileText(int node) const
{
    const QDomNode &shown = dom(node);
    Xml::Document copy(Xml::Document::Normal, 0.0);
    if (shown.isAttr()) {
        QDomElement owner = copy.createElement("a");
        owner.setAttribute(shown.nodeName(), shown.nodeValue());
        copy.appendChild(owner);
        const QString written = QString(copy.toText()).trimmed();
        return written.mid(3).section('/', 0, -2).trimmed(); // without "<a " and "/>"
    }
    if (!shown.isElement())
        return shown.nodeValue();
    copy.appendChild(copy.importNode(shown, /*deep=*/true));
    return QString(copy.toText()).trimmed();
}

QString XmlDocument::formProblem(int node, Column column, const QString &text) const
{
    const QDomNode &edited = dom(node);
    if (column == Value)
        return problemOfValue(edited, text);
    if (text.isEmpty())
        return Workbench::text(".msg.needsName");
    if (edited.isAttr() && text != edited.nodeName() && element(parentOf(node)).hasAttribute(text))
        return Workbench::text(".msg.attributeExists").arg(text);
    return problemOfName(edited, text);
}

// Changes

bool XmlDocument::canRemove(int node) const
{
    return node != root && dom(node) != m_document->documentElement();
}

bool XmlDocument::canDuplicate(int node) const
{
    return dom(node).isElement() && parentOf(node) != root;
}

bool XmlDocument::canMove(int node, int step) const
{
    if (node == root || dom(node).isAttr() || parentOf(node) == root)
        return false;
    const QDomNode moved = dom(node);
    return !(step > 0 ? moved.nextSibling() : moved.previousSibling()).isNull();
}

/// The row of the attribute \p name in the order of the library, in an element that has it.
static int rowOfAttribute(const QDomElement &element, const QString &name)
{
    const QList<QDomAttr> attributes = Element(element).orderedAttributes();
    int row = 0;
    while (row < attributes.size() && attributes[row].name() != name)
        ++row;
    return row;
}

/// A name for one more attribute.
static QString freeName(const QDomElement &element)
{
    QString name = "new";
    for (int i = 2; element.hasAttribute(name); ++i)
        name = "new" + QString::number(i);
    return name;
}

TreeDocument::Position XmlDocument::positionFor(int node, bool branch)
{
    const int owner = elementOf(node);
    if (owner == root)
        return {};
    if (!branch) {
        QDomElement sample = element(owner).cloneNode(/*deep=*/false).toElement();
        const QString name = freeName(sample);
        sample.setAttribute(name, QString());
        return {owner, rowOfAttribute(sample, name)};
    }
    // Elements are written apart from texts: beside an element with a text rather than in it.
    if (!hasTextOnly(dom(owner)))
        return {owner, owner == node || dom(node).isAttr() ? numChildren(owner) : rowOf(node) + 1};
    return parentOf(owner) == root ? Position() : Position{parentOf(owner), rowOf(owner) + 1};
}

TreeDocument::Part XmlDocument::newPart(int parent, bool branch) const
{
    if (branch)
        return QDomNode(m_document->createElement("new"));
    return Attribute(freeName(element(parent)), QString());
}

TreeDocument::Part XmlDocument::copyOf(int node) const
{
    return dom(node).cloneNode(/*deep=*/true);
}

/// The attributes of \p pasted in the element of \p node, in the order of the library.
std::vector<TreeDocument::Addition>
XmlDocument::attributesToAdd(int node, const QDomElement &pasted, QString &problem)
{
    const int owner = elementOf(node);
    if (owner == root)
        return {};
    QDomElement grown = element(owner).cloneNode(/*deep=*/false).toElement();
    std::vector<Addition> added;
    for (const QDomAttr &attribute : Element(pasted).orderedAttributes()) {
        const QString name = attribute.name();
        if (grown.hasAttribute(name)) {
            problem = Workbench::text(".msg.attributeExists").arg(name);
            return {};
        }
        grown.setAttribute(name, attribute.value());
        added.push_back({{owner, rowOfAttribute(grown, name)}, Attribute(name, attribute.value())});
    }
    return added;
}

/// How many levels of elements there are in \p top, which is one of them. Without recursion: trees
/// may be deep.
static int levelsOf(const QDomElement &top)
{
    int level = 1;
    int most = 1;
    QDomNode node = top;
    while (true) {
        const QDomNode below = node.firstChildElement();
        if (!below.isNull()) {
            node = below;
            most = std::max(most, ++level);
            continue;
        }
        for (; node != top && node.nextSiblingElement().isNull(); --level)
            node = node.parentNode();
        if (node == top)
            return most;
        node = node.nextSiblingElement();
    }
}

/// Whether the library writes elements that are nested in so many levels.
static bool canBeWritten(int levels)
{
    Xml::Document document(Xml::Document::Normal, 0.0);
    Data::String error;
    return document.parse(QString("<a>").repeated(levels) + QString("</a>").repeated(levels),
                          error) &&
           !document.toText().isEmpty();
}

std::vector<TreeDocument::Addition> XmlDocument::additions(int node, const QString &text,
                                                           QString &problem)
{
    Xml::Document pasted(Xml::Document::Normal, 0.0);
    Data::String error;
    if (pasted.parse("<a " + text + "/>", error))
        return attributesToAdd(node, pasted.documentElement(), problem);
    // After an element, as a duplicate; at the end of the one that an attribute belongs to.
    Position position = canDuplicate(node) ? Position{parentOf(node), rowOf(node) + 1}
                                           : positionFor(node, /*branch=*/true);
    if (position.parent < 0 || !pasted.parse("<a>" + text + "</a>", error))
        return {};
    int levels = levelsOf(pasted.documentElement()) - 1;
    for (int above = position.parent; above != root; above = parentOf(above))
        ++levels;
    if (!canBeWritten(levels)) {
        problem = Workbench::text(".msg.tooDeep");
        return {};
    }
    std::vector<Addition> added;
    QDomNode next = pasted.documentElement().firstChildElement();
    for (; !next.isNull(); next = next.nextSiblingElement(), ++position.row)
        added.push_back({position, m_document->importNode(next, /*deep=*/true)});
    return added;
}

void XmlDocument::insertPart(int node, const Part &part)
{
    const int parent = parentOf(node);
    if (const auto *const attribute = std::any_cast<Attribute>(&part)) {
        element(parent).setAttribute(attribute->first, attribute->second);
        setDom(node, element(parent).attributeNode(attribute->first));
        return;
    }
    const auto inserted = std::any_cast<QDomNode>(part);
    const int next = child(parent, rowOf(node) + 1);
    QDomNode owner = dom(parent);
    if (next == root)
        owner.appendChild(inserted);
    else
        owner.insertBefore(inserted, dom(next));
    setDom(node, inserted);
}

TreeDocument::Part XmlDocument::removePart(int node)
{
    const QDomNode removed = dom(node);
    const int parent = parentOf(node);
    if (!removed.isAttr())
        return QDomNode(m_doms[std::size_t(parent)].removeChild(removed));
    const Attribute attribute(removed.nodeName(), removed.nodeValue());
    element(parent).removeAttribute(attribute.first);
    return attribute;
}

void XmlDocument::setText(int node, Column column, const QString &text)
{
    if (column != Name || !dom(node).isAttr() || text == textOf(node, Name)) {
        TreeDocument::setText(node, column, text);
        return;
    }
    changes().beginMacro(QString());
    TreeDocument::setText(node, Name, text);
    moveTo(node, rowOfAttribute(element(parentOf(node)), text));
    changes().endMacro();
}

/// Takes all children out of \p element.
static QDomDocumentFragment takeChildren(const QDomElement &element)
{
    QDomDocumentFragment taken = element.ownerDocument().createDocumentFragment();
    while (element.hasChildNodes())
        taken.appendChild(element.firstChild());
    return taken;
}

std::any XmlDocument::putText(int node, Column column, const QString &text)
{
    if (column != Value || !dom(node).isElement()) {
        const QString old = textOf(node, column);
        resetText(node, column, text);
        return old;
    }
    QDomElement changed = element(node);
    const QDomDocumentFragment old = takeChildren(changed);
    if (!text.isEmpty())
        changed.appendChild(m_document->createTextNode(text));
    return old;
}

void XmlDocument::resetText(int node, Column column, const std::any &old)
{
    QDomNode changed = dom(node);
    if (const auto *const children = std::any_cast<QDomDocumentFragment>(&old)) {
        takeChildren(changed.toElement());
        changed.appendChild(*children);
        return;
    }
    const auto text = std::any_cast<QString>(old);
    if (column == Value) {
        changed.setNodeValue(text);
    } else if (changed.isElement()) {
        changed.toElement().setTagName(text);
    } else {
        QDomElement owner = element(parentOf(node));
        const QString value = changed.nodeValue();
        owner.removeAttribute(changed.nodeName());
        owner.setAttribute(text, value);
        setDom(node, owner.attributeNode(text));
    }
}

} // namespace Workbench
