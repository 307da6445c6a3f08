#pragma once

#include <QDomElement>
#include <QList>

namespace Utils {
namespace Xml {

/// Up to this many attributes are accessed by index. Qt finds each one by counting, which takes
/// hours for very many.
constexpr int fewAttributes = 100;

/// All attributes of \p element; fast even for very many.
QList<QDomNode> manyAttributes(const QDomElement &element);

/// Calls \p visit with each attribute of \p element, as a QDomNode, in no particular order. It must
/// not add or remove attributes.
template <typename Visit>
void forEachAttribute(const QDomElement &element, const Visit &visit)
{
    if (!element.hasAttributes())
        return;
    const QDomNamedNodeMap map = element.attributes();
    const int count = map.count();
    if (count <= fewAttributes) {
        for (int i = 0; i < count; ++i)
            visit(map.item(i));
        return;
    }
    const QList<QDomNode> attributes = manyAttributes(element);
    for (const QDomNode &attribute : attributes)
        visit(attribute);
}

} // namespace Xml
} // namespace Utils
