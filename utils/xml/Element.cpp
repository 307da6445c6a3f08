#include "utils/xml/Element.h"

#include "data/Truth_p.h"
#include "utils/xml/Attributes_p.h"
#include "utils/xml/Document.h"

#include <QStringList>

#include <algorithm>

namespace Utils {
namespace Xml {

static const QLatin1Char blank(' ');
static const QLatin1Char lineEnd('\n');
static const QLatin1Char placeholderMark('%');

/// Each text of an element doubles the next one when it is replaced, so that a paragraph of forty
/// would fill the memory. No text is set once the joined text is longer than this...
static constexpr qint64 maxGrownText = 8 * 1024 * 1024;
/// ... and so many times longer than it was.
static constexpr qint64 maxGrowth = 100;

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

Data::String Element::childTextData() const
{
    QString result;
    for (QDomNode child = firstChild(); !child.isNull(); child = child.nextSibling()) {
        // A CDATA section says that it is text, too.
        if (child.isCDATASection()) {
            result += child.nodeValue();
            continue;
        }
        if (!child.isText())
            continue;

        QString text = child.nodeValue();
        bool startsBlank = text.startsWith(blank);
        if (text.contains(QLatin1String("\n ")))
            text = text.simplified();
        if (startsBlank) {
            while (result.endsWith(lineEnd))
                result.chop(1);
            result += blank;
            text = text.trimmed();
        }
        result += text;
    }
    return result;
}

QList<QDomAttr> Element::orderedAttributes() const
{
    const QDomNamedNodeMap map = attributes();
    QStringList names;
    forEachAttribute(*this, [&](const QDomNode &attribute) { names.append(attribute.nodeName()); });
    // By case first, so that names that differ in nothing else have one order.
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

/// \p value with \p oldValue replaced as a whole, as a part of a list, or as a placeholder.
static QString replaced(const QString &value, const QString &oldValue, const QString &newValue)
{
    if (value == oldValue)
        return newValue;

    QString result = value;
    if (oldValue.startsWith(placeholderMark) && oldValue.endsWith(placeholderMark))
        return result.replace(oldValue, newValue);

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

static void replaceInTexts(const Element &element, const QString &oldValue, const QString &newValue)
{
    QDomNode child = element.firstChild();
    const auto skipOthers = [&child] {
        while (!child.isNull() && !child.isText()) // CDATA is text, too
            child = child.nextSibling();
    };
    skipOthers();
    if (child.isNull())
        return;

    QString text = element.childTextData();
    const qint64 limit = std::max(maxGrownText, text.size() * maxGrowth);
    // As long as nothing is replaced, what holds for one child holds for all.
    while (!child.isNull() && text.size() <= limit && text.contains(oldValue)) {
        child.setNodeValue(replaced(text, oldValue, newValue));
        text = element.childTextData();
        child = child.nextSibling();
        skipOthers();
    }
}

void Element::replaceInValues(const Data::String &oldValue, const Data::String &newValue)
{
    // Not by a call for each element, which would use up the stack where they nest deeply.
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
