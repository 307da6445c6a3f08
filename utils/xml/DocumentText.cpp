#include "utils/xml/DocumentText_p.h"

#include "utils/xml/Attributes_p.h"

#include <QRegExp>
#include <QTextStream>

#include <algorithm>

namespace Utils {
namespace Xml {

static constexpr int indentWidth = 2;
static constexpr int pieceSize = 128 * 1024;
static const QLatin1Char lineEnd('\n');

/// A text whose place in a QHash is that of seed 0.
struct UnseededText
{
    QString text;
    int index;

    friend bool operator==(const UnseededText &left, const UnseededText &right)
    {
        return left.text == right.text && left.index == right.index;
    }
    friend uint qHash(const UnseededText &key, uint /*seed*/) { return ::qHash(key.text, 0U); }
};

/// The order of \p names in a QHash that they were put into in their own order.
static QVector<int> hashOrder(const QVector<QString> &names)
{
    QHash<UnseededText, int> hash;
    for (int i = 0; i < names.size(); ++i)
        hash.insert({names.at(i), i}, i);
    QVector<int> order;
    for (const int index : qAsConst(hash))
        order.append(index);
    return order;
}

/// The codec by which the toolkit would write \p document.
static QTextCodec *codecOf(const QDomDocument &document)
{
    const QDomNode first = document.firstChild();
    QTextCodec *codec = nullptr;
    if (first.isProcessingInstruction() && first.nodeName() == QLatin1String("xml")) {
        const QRegExp encoding(QStringLiteral("encoding\\s*=\\s*((\"([^\"]*)\")|('([^']*)'))"));
        encoding.indexIn(first.nodeValue());
        QString name = encoding.cap(3);
        if (name.isEmpty())
            name = encoding.cap(5);
        if (!name.isEmpty())
            codec = QTextCodec::codecForName(name.toLatin1());
    }
    return codec ? codec : QTextCodec::codecForName("UTF-8");
}

/// Whether \p name is a name as files have it: a tag with such names is taken apart into them.
static bool isPlainName(const QString &name)
{
    const auto isPlain = [](QChar character) {
        const ushort code = character.unicode();
        return code > ' ' && code != '"' && code != '<' && code != '>' && code != '=' &&
               code != '/' && code != '!' && code != '?';
    };
    return !name.isEmpty() && std::all_of(name.cbegin(), name.cend(), isPlain);
}

/// The name that the toolkit writes of \p node, which has no namespace.
static QString writtenName(const QDomNode &node)
{
    const QString local = node.localName(); // null unless made for namespaces
    return local.isNull() ? node.nodeName() : local;
}

/// Whether \p character may have to be written as something else. Beyond ASCII that is up to the
/// codec.
static bool isSpecial(ushort character)
{
    return character >= 0x7f || character == '<' || character == '>' || character == '&' ||
           character == '"' || character == '\n' || character == '\r' || character == '\t';
}

static bool isDeclaration(const QDomNode &node)
{
    return node.isProcessingInstruction() && node.nodeName() == QLatin1String("xml");
}

DocumentText::DocumentText(const QDomDocument &document)
    : m_document(document), m_codec(codecOf(document))
{
    // UTF-8, and those of 16 and 32 bits
    const int mib = m_codec->mibEnum();
    m_isUnicode = mib == 106 || (mib >= 1013 && mib <= 1019);
    m_line.reserve(1024);
}

QStringList DocumentText::pieces()
{
    m_piece.reserve(pieceSize + 1024);
    QDomNode node = m_document.firstChild();
    bool hasType = node.isNull();
    while (true) {
        if (node.isNull()) {
            if (m_levels.empty())
                break;
            node = closeElement();
            continue;
        }
        // The document type follows the XML declaration.
        if (!hasType && !isDeclaration(node)) {
            writeDocumentType();
            hasType = true;
        }
        if (!node.isElement()) {
            writeLeaf(node);
            node = node.nextSibling();
        } else if (static_cast<int>(m_levels.size()) == maxDepth) {
            return {};
        } else {
            node = openElement(node);
        }
    }
    flushLine();
    m_pieces.append(m_piece);
    return m_pieces;
}

/// The toolkit's text, with notations and entities in a fixed order.
void DocumentText::writeDocumentType()
{
    const QDomDocumentType type = m_document.doctype();
    QString declarations;
    for (const QDomNamedNodeMap &map : {type.notations(), type.entities()}) {
        QStringList texts;
        for (int i = 0; i < map.count(); ++i)
            texts.append(toolkitText(map.item(i)));
        texts.sort(Qt::CaseSensitive);
        declarations += texts.join(QString());
    }
    QString text = toolkitText(type);
    const int end = text.lastIndexOf(QLatin1String("]>\n"));
    if (end >= declarations.size())
        text.replace(end - declarations.size(), declarations.size(), declarations);
    add(text);
    flushLine();
}

/// Writes the start tag of \p node. Gives what follows: its first child, or its next sibling if it
/// has none.
QDomNode DocumentText::openElement(const QDomNode &node)
{
    const bool isLineStart = m_line.isEmpty();
    const QDomNode child = node.firstChild();
    const QDomNode next = child.isNull() ? node.nextSibling() : child;
    const bool isLineEnd = !next.isText();
    if (!node.previousSibling().isText())
        indent();

    const QString space = node.namespaceURI();
    QString name = writtenName(node);
    QString declaration;
    if (!space.isNull()) {
        declaration = QStringLiteral(" xmlns");
        if (!node.prefix().isEmpty()) {
            declaration += QLatin1Char(':') + node.prefix();
            name = node.prefix() + QLatin1Char(':') + name;
        }
    }
    add(u"<");
    add(name);
    if (!space.isNull()) {
        add(declaration);
        add(u"=\"");
        addEncoded(space, Quotes);
        add(u"\"");
    }
    readAttributes(node.toElement());
    m_isTag = isLineStart && isLineEnd && space.isNull() && isPlainName(name) && sortByText();
    if (!m_isTag)
        sortByHash();
    writeAttributes(node.prefix());
    if (child.isNull())
        add(u"/>");
    else
        add(u">");
    if (isLineEnd)
        endLine();
    if (!child.isNull())
        m_levels.push_back({node, name});
    return next;
}

/// Writes the end tag of the innermost element. Gives its next sibling.
QDomNode DocumentText::closeElement()
{
    const Level level = m_levels.back();
    m_levels.pop_back();
    if (!level.element.lastChild().isText())
        indent();
    add(u"</");
    add(level.name);
    add(u">");
    m_hasEndTag = true;
    const QDomNode next = level.element.nextSibling();
    if (!next.isText())
        endLine();
    return next;
}

void DocumentText::writeLeaf(const QDomNode &node)
{
    if (node.nodeType() == QDomNode::TextNode) {
        addEncoded(node.nodeValue(), CarriageReturn | (m_levels.empty() ? Quotes : 0));
        return;
    }
    if (node.isComment()) {
        if (!node.previousSibling().isText())
            indent();
        const QString text = node.nodeValue();
        add(u"<!--");
        add(text);
        if (text.endsWith(QLatin1Char('-')))
            add(u" ");
        add(u"-->");
        if (!node.nextSibling().isText())
            endLine();
        return;
    }

    QString text = toolkitText(node);
    const bool isLineEnd = text.endsWith(lineEnd);
    if (isLineEnd)
        text.chop(1);
    add(text);
    if (isLineEnd)
        endLine();
}

void DocumentText::readAttributes(const QDomElement &element)
{
    m_attributes.clear();
    if (!element.hasAttributes())
        return;
    const QList<QDomNode> nodes = attributeNodes(element);
    for (const QDomNode &node : nodes) {
        const QString space = node.namespaceURI();
        const QString name = writtenName(node);
        if (space.isNull())
            m_attributes.push_back({name, node.nodeValue(), {}, {}});
        else
            m_attributes.push_back(
                {node.prefix() + QLatin1Char(':') + name, node.nodeValue(), node.prefix(), space});
    }
}

/// Sorts the attributes as they are laid out. False when that takes their text.
bool DocumentText::sortByText()
{
    for (const Attribute &attribute : m_attributes) {
        if (!attribute.space.isNull() || !isPlainName(attribute.name))
            return false;
    }

    const auto rank = [](const QString &name) {
        return name == QLatin1String("name") ? 0 : name == QLatin1String("type") ? 1 : 2;
    };
    // What follows a name counts, as in "a1=" < "a=".
    const auto isLess = [&](const Attribute &left, const Attribute &right) {
        const int leftRank = rank(left.name);
        const int rightRank = rank(right.name);
        if (leftRank != rightRank)
            return leftRank < rightRank;
        const int common = std::min(left.name.size(), right.name.size());
        for (int i = 0; i < common; ++i) {
            if (left.name.at(i) != right.name.at(i))
                return left.name.at(i) < right.name.at(i);
        }
        if (left.name.size() == right.name.size())
            return false;
        return common == left.name.size() ? QLatin1Char('=') < right.name.at(common)
                                          : left.name.at(common) < QLatin1Char('=');
    };
    std::sort(m_attributes.begin(), m_attributes.end(), isLess);
    // The tree can be made to hold one twice.
    const auto isSame = [](const Attribute &left, const Attribute &right) {
        return left.name == right.name;
    };
    return std::adjacent_find(m_attributes.begin(), m_attributes.end(), isSame) ==
           m_attributes.end();
}

/// Sorts the attributes as the toolkit does with seed 0.
void DocumentText::sortByHash()
{
    if (m_attributes.size() < 2)
        return;
    std::sort(m_attributes.begin(), m_attributes.end(),
              [](const Attribute &left, const Attribute &right) {
                  return left.name != right.name ? left.name < right.name
                                                 : left.value < right.value;
              });
    const int count = static_cast<int>(m_attributes.size());
    bool isKnown = m_names.size() == count;
    for (int i = 0; isKnown && i < count; ++i)
        isKnown = m_names.at(i) == m_attributes[i].name;
    if (!isKnown) {
        m_names.clear();
        for (const Attribute &attribute : m_attributes)
            m_names.append(attribute.name);
        m_order = hashOrder(m_names);
    }
    std::vector<Attribute> ordered;
    for (const int index : qAsConst(m_order))
        ordered.push_back(m_attributes[index]);
    m_attributes.swap(ordered);
}

/// Writes the attributes of an element with the prefix \p elementPrefix.
void DocumentText::writeAttributes(const QString &elementPrefix)
{
    QStringList declared;
    for (const Attribute &attribute : m_attributes) {
        add(u" ");
        add(attribute.name);
        add(u"=\"");
        addEncoded(attribute.value, Quotes | WhiteSpace);
        add(u"\"");
        if (attribute.space.isNull() || attribute.prefix == elementPrefix ||
            declared.contains(attribute.prefix))
            continue;
        declared.append(attribute.prefix);
        add(u" xmlns:");
        add(attribute.prefix);
        add(u"=\"");
        addEncoded(attribute.space, Quotes | WhiteSpace);
        add(u"\"");
    }
}

QString DocumentText::toolkitText(const QDomNode &node) const
{
    QString text;
    QTextStream stream(&text);
    stream.setCodec(m_codec);
    node.save(stream, indentWidth);
    return text;
}

void DocumentText::indent()
{
    const int width = indentWidth * static_cast<int>(m_levels.size());
    m_line.resize(m_line.size() + width);
    std::fill_n(m_line.end() - width, width, QLatin1Char(' '));
}

void DocumentText::add(QStringView text)
{
    m_line.append(text.data(), static_cast<int>(text.size()));
}

void DocumentText::addEncoded(const QString &text, int what)
{
    const QChar *const end = text.cend();
    const QChar *start = text.cbegin();
    for (const QChar *at = start; at != end; ++at) {
        const ushort character = at->unicode();
        if (!isSpecial(character) && m_isUnicode)
            continue;
        const char *replacement = nullptr;
        if (character == '<')
            replacement = "&lt;";
        else if (character == '"' && (what & Quotes))
            replacement = "&quot;";
        else if (character == '&')
            replacement = "&amp;";
        else if (character == '>' && at - text.cbegin() >= 2 && at[-1] == QLatin1Char(']') &&
                 at[-2] == QLatin1Char(']'))
            replacement = "&gt;";
        else if (character == '\n' && (what & WhiteSpace))
            replacement = "&#xa;";
        else if (character == '\t' && (what & WhiteSpace))
            replacement = "&#x9;";
        else if (character == '\r' && (what & (WhiteSpace | CarriageReturn)))
            replacement = "&#xd;";
        else if (canEncode(*at))
            continue;
        add(QStringView(start, at));
        start = at + 1;
        if (replacement)
            m_line += QLatin1String(replacement);
        else
            m_line += QLatin1String("&#x") + QString::number(character, 16) + QLatin1Char(';');
    }
    add(QStringView(start, end));
}

bool DocumentText::canEncode(QChar character)
{
    if (m_isUnicode && !character.isSurrogate())
        return true;
    const auto known = m_encodable.constFind(character.unicode());
    if (known != m_encodable.constEnd())
        return *known;
    const bool isEncodable = m_codec->canEncode(character);
    m_encodable.insert(character.unicode(), isEncodable);
    return isEncodable;
}

void DocumentText::endLine()
{
    flushLine();
    if (m_piece.size() < pieceSize) {
        m_piece += lineEnd;
        return;
    }
    m_pieces.append(m_piece);
    m_piece = QString();
    m_piece.reserve(pieceSize + 1024);
}

/// Adds the line to the text. A tag that was written as it is laid out stays as it is, and so does
/// every line with an end tag.
void DocumentText::flushLine()
{
    if (m_isTag || (m_hasEndTag && !m_line.contains(lineEnd)))
        m_piece += m_line;
    else
        m_layout.append(m_line, m_piece);
    m_line.resize(0);
    m_isTag = false;
    m_hasEndTag = false;
}

} // namespace Xml
} // namespace Utils
