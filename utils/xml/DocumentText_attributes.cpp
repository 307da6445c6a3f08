#include "utils/xml/DocumentText_p.h"

#include "utils/xml/Attributes_p.h"
#include "utils/xml/HashOrder_p.h"

#include <algorithm>

namespace Utils {
namespace Xml {

bool DocumentText::isPlainName(const QString &name)
{
    const auto isPlain = [](QChar character) {
        const ushort code = character.unicode();
        // The characters above "?" are mostly letters.
        return code > '?' || (code > ' ' && code != '"' && code != '<' && code != '>' &&
                              code != '=' && code != '/' && code != '!' && code != '?');
    };
    return !name.isEmpty() && std::all_of(name.cbegin(), name.cend(), isPlain);
}

QString DocumentText::writtenName(const QDomNode &node)
{
    QString name = node.nodeName();
    if (!name.contains(QLatin1Char(':')))
        return name;
    const QString local = node.localName(); // null unless created with a namespace
    return local.isNull() ? name : local;
}

void DocumentText::readAttributes(const QDomElement &element)
{
    m_attributes.clear();
    forEachAttribute(element, [this](const QDomNode &node) {
        Attribute attribute;
        attribute.name = writtenName(node);
        attribute.value = node.nodeValue();
        attribute.space = node.namespaceURI();
        if (!attribute.space.isNull()) {
            attribute.prefix = node.prefix();
            attribute.name.prepend(attribute.prefix + QLatin1Char(':'));
        }
        m_attributes.push_back(std::move(attribute));
    });
    m_sorted.clear();
    for (Attribute &attribute : m_attributes)
        m_sorted.push_back(&attribute);
}

/// Compares by the text of the attributes, including the "=" after the name: "a1=" < "a=".
bool DocumentText::isBefore(const Attribute *left, const Attribute *right)
{
    if (left->rank != right->rank)
        return left->rank < right->rank;
    const QChar *one = left->name.cbegin();
    const QChar *other = right->name.cbegin();
    const QChar *const oneEnd = left->name.cend();
    const QChar *const otherEnd = right->name.cend();
    while (one != oneEnd && other != otherEnd && *one == *other) {
        ++one;
        ++other;
    }
    const ushort oneNext = one == oneEnd ? '=' : one->unicode();
    const ushort otherNext = other == otherEnd ? '=' : other->unicode();
    return oneNext < otherNext;
}

/// Sorts the attributes in the order of the layout. False when that requires their text.
bool DocumentText::sortByText()
{
    for (Attribute &attribute : m_attributes) {
        if (!attribute.space.isNull() || !isPlainName(attribute.name))
            return false;
        const bool isFourLong = attribute.name.size() == 4;
        if (isFourLong && attribute.name == QLatin1String("name"))
            attribute.rank = 0;
        else if (isFourLong && attribute.name == QLatin1String("type"))
            attribute.rank = 1;
    }
    std::sort(m_sorted.begin(), m_sorted.end(), isBefore);
    // A host can create a tree that contains an attribute twice.
    const auto isSame = [](const Attribute *left, const Attribute *right) {
        return left->name == right->name;
    };
    return std::adjacent_find(m_sorted.begin(), m_sorted.end(), isSame) == m_sorted.end();
}

/// Sorts the attributes as Qt does with the seed 0.
void DocumentText::sortByHash()
{
    const int count = static_cast<int>(m_sorted.size());
    if (count < 2)
        return;
    std::sort(m_sorted.begin(), m_sorted.end(), [](const Attribute *left, const Attribute *right) {
        return left->name != right->name ? left->name < right->name : left->value < right->value;
    });
    bool isKnown = m_names.size() == count;
    for (int i = 0; isKnown && i < count; ++i)
        isKnown = m_names.at(i) == m_sorted[static_cast<size_t>(i)]->name;
    if (!isKnown) {
        m_names.clear();
        for (const Attribute *attribute : m_sorted)
            m_names.append(attribute->name);
        m_order = hashOrder(m_names);
    }
    const std::vector<Attribute *> byName = m_sorted;
    for (int i = 0; i < count; ++i)
        m_sorted[static_cast<size_t>(i)] = byName[static_cast<size_t>(m_order.at(i))];
}

/// Writes the attributes of an element with the prefix \p elementPrefix.
void DocumentText::writeAttributes(const QString &elementPrefix)
{
    QStringList declared;
    for (const Attribute *const sorted : m_sorted) {
        const Attribute &attribute = *sorted;
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

} // namespace Xml
} // namespace Utils
