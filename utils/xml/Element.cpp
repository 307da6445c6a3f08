#include "utils/xml/Element.h"

#include "data/Truth_p.h"
#include "utils/xml/Document.h"

#include <QStringList>

#include <algorithm>

namespace Utils {
namespace Xml {

static const QLatin1Char blank(' ');
static const QLatin1Char lineEnd('\n');
static const QLatin1Char placeholderMark('%');

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
    for (int i = 0; i < map.count(); ++i)
        names.append(map.item(i).nodeName());
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

void Element::replaceInValues(const Data::String &oldValue, const Data::String &newValue)
{
    const QDomNamedNodeMap map = attributes();
    for (int i = 0; i < map.count(); ++i) {
        const QDomNode attribute = map.item(i);
        const QString value = attribute.nodeValue();
        if (value.contains(oldValue))
            setAttribute(attribute.nodeName(), replaced(value, oldValue, newValue));
    }
    for (QDomNode child = firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.isText()) { // or CDATA
            const QString text = childTextData();
            if (text.contains(oldValue))
                child.setNodeValue(replaced(text, oldValue, newValue));
        } else if (child.isElement()) {
            Element(child.toElement()).replaceInValues(oldValue, newValue);
        }
    }
}

} // namespace Xml
} // namespace Utils
