#include "utils/xml/Element.h"

#include "data/Truth_p.h"
#include "utils/base/ReplaceAll_p.h"
#include "utils/xml/Attributes_p.h"
#include "utils/xml/Document.h"

#include <QStringList>

#include <algorithm>
#include <vector>

namespace Utils {
namespace Xml {

static const QLatin1Char blank(' ');
static const QLatin1Char lineEnd('\n');
static const QLatin1Char placeholderMark('%');

/// Replacing in one text of an element doubles the next one, so that a paragraph of forty texts
/// would fill the memory. No more text is set when the joined text is longer than this...
static constexpr qint64 maxGrownText = 8LL * 1024 * 1024;
/// ... and this many times longer than before,
static constexpr qint64 maxGrowth = 100;
/// or longer than this, which is near the maximum of a QString.
static constexpr qint64 maxText = 128LL * 1024 * 1024;
/// The joined text is read for each text of an element, so that very many short texts would take
/// hours: no more text is set when this many characters were read, where each text counts as some
/// characters, too.
static constexpr qint64 maxRead = 1024LL * 1024 * 1024;
static constexpr qint64 readPerText = 16;

Element::Element(const QDomElement &other) : QDomElement(other) {}

Element &Element::operator=(const QDomElement &other)
{
    QDomElement::operator=(other);
    return *this;
}

void Element::addAttributeIf(const QString &name, const Data::String &value)
{
    if (!value.isEmpty())
        setAttribute(name, value);
}

void Element::addAttributeIf(const QString &name, Data::IDataItem *item)
{
    if (item)
        setAttribute(name, item->toString());
}

bool Element::getAttribute(const QString &name, int &value) const
{
    if (!hasAttribute(name))
        return false;
    value = attribute(name).toInt();
    return true;
}

bool Element::getAttribute(const QString &name, double &value) const
{
    if (!hasAttribute(name))
        return false;
    value = attribute(name).toDouble();
    return true;
}

bool Element::getAttribute(const QString &name, Data::String &value) const
{
    if (!hasAttribute(name))
        return false;
    value = attribute(name);
    return true;
}

bool Element::getAttribute(const QString &name, bool &value) const
{
    if (!hasAttribute(name))
        return false;
    value = Data::saysYes(attribute(name));
    return true;
}

/// The part of a child in the text of its element.
struct TextPart
{
    QString text;
    bool takesLineEnds = false; // removes those at the end of the previous text
};

/// The part of \p child, which must be text or CDATA.
static TextPart textPart(const QDomNode &child)
{
    QString text = child.nodeValue();
    if (child.isCDATASection())
        return {text};

    const bool startsBlank = text.startsWith(blank);
    if (text.contains(QLatin1String("\n ")))
        text = text.simplified();
    if (startsBlank)
        text = blank + text.trimmed();
    return {text, startsBlank};
}

static void append(const TextPart &part, QString &text)
{
    if (part.takesLineEnds) {
        while (text.endsWith(lineEnd))
            text.chop(1);
    }
    text += part.text;
}

Data::String Element::childTextData() const
{
    QString result;
    for (QDomNode child = firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.isText()) // CDATA is text, too
            append(textPart(child), result);
    }
    return result;
}

QList<QDomAttr> Element::orderedAttributes() const
{
    const QDomNamedNodeMap map = attributes();
    QStringList names;
    forEachAttribute(*this, [&](const QDomNode &attribute) { names.append(attribute.nodeName()); });
    // First sorted by case, so that names that differ only in case have a defined order.
    names.sort(Qt::CaseSensitive);
    std::stable_sort(names.begin(), names.end(), [](const QString &left, const QString &right) {
        return left.compare(right, Qt::CaseInsensitive) < 0;
    });
    for (const QString &first : {QStringLiteral("type"), QStringLiteral("name")}) {
        if (names.removeAll(first) > 0)
            names.prepend(first);
    }

    QList<QDomAttr> ordered;
    for (const QString &name : qAsConst(names))
        ordered.append(map.namedItem(name).toAttr());
    return ordered;
}

void Element::appendComment(Document &document, const Data::String &text)
{
    appendChild(document.createComment(text));
}

void Element::appendSpace(Document &document)
{
    appendChild(document.createComment(QStringLiteral("*")));
}

/// Replaces \p oldValue in \p value, as the whole value, as an item of a list, or as a placeholder.
static QString replaced(const QString &value, const QString &oldValue, const QString &newValue)
{
    if (value == oldValue)
        return newValue;

    if (oldValue.startsWith(placeholderMark) && oldValue.endsWith(placeholderMark))
        return replaceAll(value, oldValue, newValue);

    QString result = value;
    for (const char separator : {',', ';', '\n'}) {
        const QLatin1Char mark(separator);
        if (!result.contains(mark))
            continue;
        QStringList parts = result.split(mark);
        for (QString &part : parts) {
            if (part == oldValue)
                part = newValue;
        }
        result = parts.join(mark);
    }
    return result;
}

static void replaceInAttributes(const QDomElement &element, const QString &oldValue,
                                const QString &newValue)
{
    forEachAttribute(element, [&](QDomNode attribute) {
        const QString value = attribute.nodeValue();
        if (value.contains(oldValue))
            attribute.setNodeValue(replaced(value, oldValue, newValue));
    });
}

static void replaceInTexts(const QDomElement &element, const QString &oldValue,
                           const QString &newValue)
{
    std::vector<QDomNode> children;
    std::vector<TextPart> parts;
    for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.isText()) { // CDATA is text, too
            children.push_back(child);
            parts.push_back(textPart(child));
        }
    }
    QString text;
    const auto join = [&] {
        text.resize(0);
        for (const TextPart &part : parts)
            append(part, text);
    };

    join();
    const qint64 limit = std::min(std::max(maxGrownText, text.size() * maxGrowth), maxText);
    qint64 read = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        read += text.size() + readPerText * static_cast<qint64>(parts.size());
        // If the joined text does not contain the value for one child, it does not for any later
        // one.
        if (text.size() > limit || read > maxRead || !text.contains(oldValue))
            break;
        children[i].setNodeValue(replaced(text, oldValue, newValue));
        parts[i] = textPart(children[i]);
        join();
    }
}

void Element::replaceInValues(const Data::String &oldValue, const Data::String &newValue)
{
    // Not recursive, because deeply nested elements would overflow the stack.
    QDomElement element = *this;
    while (!element.isNull()) {
        replaceInAttributes(element, oldValue, newValue);
        replaceInTexts(element, oldValue, newValue);

        QDomElement next = element.firstChildElement();
        while (next.isNull() && element != *this) {
            next = element.nextSiblingElement();
            if (next.isNull())
                element = element.parentNode().toElement();
        }
        element = next;
    }
}

} // namespace Xml
} // namespace Utils
