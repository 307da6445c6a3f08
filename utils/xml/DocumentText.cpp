#include "utils/xml/DocumentText_p.h"

#include "utils/platform/Platform.h"
#include "utils/xml/HashOrder_p.h"

#include <QPair>
#include <QRegExp>
#include <QRegularExpression>
#include <QTextStream>

#include <algorithm>
#include <limits>

namespace Utils {
namespace Xml {

static constexpr int indentWidth = 2;
static constexpr int maxDepth = 5000;
static constexpr int pieceSize = 128 * 1024;
static const QLatin1Char lineEnd('\n');

int bearableDepth()
{
    constexpr std::size_t least = std::size_t(256) * 1024; // if the stack size is unknown
    const std::size_t stack = Platform::freeStack();
    const std::size_t levels = (stack == 0 ? least : stack) / Platform::stackOfXmlLevel();
    return static_cast<int>(std::min<std::size_t>(levels, std::numeric_limits<int>::max()));
}

/// The codec that Qt would use to write \p document.
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

/// Whether \p character may have to be escaped with any codec.
static bool isSpecial(ushort character)
{
    return character == '<' || character == '>' || character == '&' || character == '"' ||
           character == '\n' || character == '\r' || character == '\t';
}

static bool isDeclaration(const QDomNode &node)
{
    return node.isProcessingInstruction() && node.nodeName() == QLatin1String("xml");
}

/// The text of an XML declaration with \p data.
///
/// Qt reads values between quotes or apostrophes, and resolves references in them. It then stores
/// the resolved values between apostrophes, where it could not read all of them again. A text that
/// was set by the host remains unchanged.
static QString declarationText(const QString &data)
{
    const QString quoted = QStringLiteral("\\s*=\\s*('[^'<&]*'|\"[^\"<&]*\")");
    static const QRegularExpression readable(
        QStringLiteral("^\\s*version%1(\\s+encoding%1)?(\\s+standalone%1)?\\s*$").arg(quoted));
    static const QRegularExpression written(
        QStringLiteral("^version='(.*?)'( encoding='(.*?)')?( standalone='(yes|no)')?\\z"),
        QRegularExpression::DotMatchesEverythingOption);

    QString text = data;
    if (data.endsWith(QLatin1Char('\'')) && !readable.match(data).hasMatch()) {
        const QRegularExpressionMatch match = written.match(data);
        for (const int group : {3, 1}) { // from the last, as this moves no other
            if (match.capturedStart(group) < 0)
                continue;
            QString value = match.captured(group);
            value.replace(QLatin1Char('&'), QLatin1String("&amp;"));
            value.replace(QLatin1Char('<'), QLatin1String("&lt;"));
            value.replace(QLatin1Char('\''), QLatin1String("&apos;"));
            text.replace(match.capturedStart(group), match.capturedLength(group), value);
        }
    }
    return QLatin1String("<?xml ") + text + QLatin1String("?>\n");
}

DocumentText::DocumentText(const QDomDocument &document)
    : m_document(document), m_codec(codecOf(document))
{
    // UTF-8, UTF-16 and UTF-32
    const int mib = m_codec->mibEnum();
    m_isUnicode = mib == 106 || (mib >= 1013 && mib <= 1019);
}

QStringList DocumentText::pieces()
{
    const int depthLimit = std::min(maxDepth, bearableDepth());
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
        // The document type is written after the XML declaration.
        if (!hasType && !isDeclaration(node)) {
            writeDocumentType();
            hasType = true;
        }
        if (!node.isElement()) {
            writeLeaf(node);
            node = node.nextSibling();
        } else if (static_cast<int>(m_levels.size()) == depthLimit) {
            return {};
        } else {
            node = openElement(node);
        }
    }
    flushLine();
    m_pieces.append(m_piece);
    return m_pieces;
}

/// The texts of declarations, each with its name, in the order of Qt for the seed 0.
static QString inHashOrder(QVector<QPair<QString, QString>> declarations)
{
    std::sort(declarations.begin(), declarations.end());
    QVector<QString> names;
    for (const auto &declaration : qAsConst(declarations))
        names.append(declaration.first);
    QString texts;
    for (const int index : hashOrder(names))
        texts += declarations.at(index).second;
    return texts;
}

/// Writes the document type as Qt does, with notations and entities in a fixed order.
void DocumentText::writeDocumentType()
{
    const QDomDocumentType type = m_document.doctype();
    QVector<QPair<QString, QString>> notations;
    QVector<QPair<QString, QString>> entities;
    // Notations and entities are also children. Access by index to their map counts from the start,
    // which would take hours for very many.
    for (QDomNode node = type.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isNotation())
            notations.append({node.nodeName(), qtText(node)});
        else if (node.isEntity())
            entities.append({node.nodeName(), qtText(node)});
    }
    // If two had the same name and one was removed, the map contains neither.
    const auto readMap = [this](const QDomNamedNodeMap &map, auto &declarations) {
        if (declarations.size() == map.count())
            return;
        declarations.clear();
        for (int i = 0; i < map.count(); ++i)
            declarations.append({map.item(i).nodeName(), qtText(map.item(i))});
    };
    readMap(type.notations(), notations);
    readMap(type.entities(), entities);
    const QString declarations = inHashOrder(notations) + inHashOrder(entities);
    QString text = qtText(type);
    const int end = text.lastIndexOf(QLatin1String("]>\n"));
    if (end >= declarations.size())
        text.replace(end - declarations.size(), declarations.size(), declarations);
    add(text);
    flushLine();
}

/// Writes the start tag of \p node. Returns the node to write next: its first child, or its next
/// sibling if it has none.
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

/// Writes the end tag of the innermost element. Returns its next sibling.
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

    QString text = isDeclaration(node) ? declarationText(node.nodeValue()) : qtText(node);
    const bool isLineEnd = text.endsWith(lineEnd);
    if (isLineEnd)
        text.chop(1);
    add(text);
    if (isLineEnd)
        endLine();
}

QString DocumentText::qtText(const QDomNode &node) const
{
    QString text;
    QTextStream stream(&text);
    stream.setCodec(m_codec);
    node.save(stream, indentWidth);
    return text;
}

void DocumentText::indent()
{
    const int before = m_line.size();
    m_line.resize(before + indentWidth * static_cast<int>(m_levels.size()));
    std::fill(m_line.begin() + before, m_line.end(), QLatin1Char(' '));
}

void DocumentText::add(QStringView text)
{
    if (text.isEmpty()) // null, too, which the array rejects in debug builds
        return;
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
        add(replacement ? QString(QLatin1String(replacement))
                        : QStringLiteral("&#x%1;").arg(character, 0, 16));
    }
    add(QStringView(start, end));
}

bool DocumentText::canEncode(QChar character)
{
    if (m_isUnicode)
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

/// Adds the line to the text. A tag that was written in the layout remains unchanged, and so does
/// every line with an end tag.
void DocumentText::flushLine()
{
    const QStringView line(m_line.constData(), m_line.size());
    if (m_isTag || (m_hasEndTag && line.indexOf(lineEnd) < 0))
        m_piece.append(line.data(), m_line.size());
    else
        m_layout.append(line, m_piece);
    m_line.clear();
    m_isTag = false;
    m_hasEndTag = false;
}

} // namespace Xml
} // namespace Utils
