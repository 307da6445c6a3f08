#pragma once

#include <QDomElement>
#include <QList>

namespace Utils {
namespace Xml {

/// The attributes of \p element, in no order.
///
/// An attribute by its index is found by counting, which takes hours where there are very many.
QList<QDomNode> attributeNodes(const QDomElement &element);

} // namespace Xml
} // namespace Utils
