#include "utils/xml/Attributes_p.h"

#include <QSet>
#include <QStringList>
#include <QTextStream>

#include <algorithm>

namespace Utils {
namespace Xml {

/// The names in a start tag as written by Qt, where each name is between a blank and an equals
/// sign. Values are in double quotes, and contain none.
static QStringList namesInTag(const QString &tag)
{
    QStringList names;
    int at = tag.indexOf(QLatin1Char(' '));
    while (at >= 0) {
        const int equals = tag.indexOf(QLatin1String("=\""), at);
        if (equals < 0)
            break;
        names.append(tag.mid(at + 1, equals - at - 1));
        const int end = tag.indexOf(QLatin1Char('"'), equals + 2);
        at = tag.indexOf(QLatin1Char(' '), end);
    }
    return names;
}

QList<QDomNode> manyAttributes(const QDomElement &element)
{
    QString tag;
    QTextStream stream(&tag);
    element.cloneNode(/*deep=*/false).save(stream, -1);

    const QDomNamedNodeMap map = element.attributes();
    const QStringList names = namesInTag(tag);
    QList<QDomNode> attributes;
    // The names differ for namespaces, for names that a file cannot contain, and for attributes
    // that exist twice.
    const QSet<QString> different(names.begin(), names.end());
    if (names.size() == map.count() && different.size() == names.size()) {
        for (const QString &name : names)
            attributes.append(map.namedItem(name));
        const auto isMissing = [](const QDomNode &attribute) { return attribute.isNull(); };
        if (std::none_of(attributes.cbegin(), attributes.cend(), isMissing))
            return attributes;
        attributes.clear();
    }
    for (int i = 0; i < map.count(); ++i)
        attributes.append(map.item(i));
    return attributes;
}

} // namespace Xml
} // namespace Utils
