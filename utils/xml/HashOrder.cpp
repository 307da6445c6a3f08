#include "utils/xml/HashOrder_p.h"

#include <QHash>

namespace Utils {
namespace Xml {

/// A text whose position in a QHash is that for the seed 0.
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

QVector<int> hashOrder(const QVector<QString> &names)
{
    QHash<UnseededText, int> hash;
    for (int i = 0; i < names.size(); ++i)
        hash.insert({names.at(i), i}, i);
    QVector<int> order;
    for (const int index : qAsConst(hash))
        order.append(index);
    return order;
}

} // namespace Xml
} // namespace Utils
