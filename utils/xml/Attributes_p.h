#pragma once

#include <QDomElement>
#include <QList>

namespace Utils {
namespace Xml {

/// So many attributes may be asked for by index, each of which is found by counting. That takes
/// hours where there are very many.
constexpr int fewAttributes = 100;

/// All attributes of \p element, however many.
QList<QDomNode> manyAttributes(const QDomElement &element);

/// Hands each attribute of \p element to \p take, as a QDomNode, in no order. None must be added or
/// removed meanwhile.
template <typename Take>
void forEachAttribute(const QDomElement &element, const Take &take)
{
    if (!element.hasAttributes())
        return;
    const QDomNamedNodeMap map = element.attributes();
    const int count = map.count();
    if (count <= fewAttributes) {
        for (int i = 0; i < count; ++i)
            take(map.item(i));
        return;
    }
    const QList<QDomNode> attributes = manyAttributes(element);
    for (const QDomNode &attribute : attributes)
        take(attribute);
}

} // namespace Xml
} // namespace Utils
