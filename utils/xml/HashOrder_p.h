#pragma once

#include <QString>
#include <QVector>

namespace Utils {
namespace Xml {

/// The order of \p names in a QHash with the seed 0, into which they were inserted in their own
/// order.
QVector<int> hashOrder(const QVector<QString> &names);

} // namespace Xml
} // namespace Utils
