#include "utils/text/StringUtil.h"

namespace Utils {

static const char propertySeparator = '[';
static const char propertyKeySeparator = '=';

static bool isBracket(char separator) { return separator == '[' || separator == ']'; }

/// The items of \p text.
static QStringList splitItems(const QString &text, char pairSep)
{
    if (!isBracket(pairSep))
        return text.split(QLatin1Char(pairSep));

    QString items = text;
    if (items.startsWith(QLatin1Char('[')))
        items.remove(0, 1);
    if (items.endsWith(QLatin1Char(']')))
        items.chop(1);
    return items.split(QLatin1String("]["));
}

/// The properties in \p items. Later entries replace earlier ones with the same key.
template <typename Value>
static QMap<Data::String, Value> toMap(const QStringList &items, char keySep)
{
    QMap<Data::String, Value> map;
    for (const QString &item : items) {
        const int keyEnd = item.indexOf(QLatin1Char(keySep));
        if (keyEnd >= 0)
            map.insert(item.left(keyEnd), item.mid(keyEnd + 1));
    }
    return map;
}

static Data::String asText(const Data::String &text) { return text; }
static Data::String asText(const Data::Variant &value) { return value.toString(); }

template <typename Value>
static QStringList toItems(const QMap<Data::String, Value> &map, char keySep)
{
    QStringList items;
    items.reserve(map.size());
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        items.append(entry.key() + keySep + asText(*entry));
    return items;
}

Data::String StringUtil::joinStringMap(const QStringList &items, char pairSep)
{
    if (!isBracket(pairSep))
        return items.join(QLatin1Char(pairSep));

    QString joined;
    for (const QString &item : items)
        joined += QLatin1Char('[') + item + QLatin1Char(']');
    return joined;
}

Data::Variant StringUtil::joinStringMap(const QMap<Data::String, Data::String> &map, char pairSep,
                                        char keySep)
{
    return joinStringMap(toItems(map, keySep), pairSep);
}

QMap<Data::String, Data::String> StringUtil::splitStringMap(const QStringList &items, char keySep)
{
    return toMap<Data::String>(items, keySep);
}

QMap<Data::String, Data::String> StringUtil::splitStringMap(const Data::String &text, char pairSep,
                                                            char keySep)
{
    return splitStringMap(splitItems(text, pairSep), keySep);
}

QStringList StringUtil::stringMapKeys(const Data::String &text, char pairSep, char keySep)
{
    QStringList keys = splitItems(text, pairSep);
    for (QString &key : keys)
        key = key.left(key.indexOf(QLatin1Char(keySep))); // all, for -1
    return keys;
}

QStringList StringUtil::mapValues(const QMap<Data::String, Data::String> &map)
{
    QStringList values;
    values.reserve(map.size());
    for (const Data::String &value : map)
        values.append(value);
    return values;
}

Data::String StringUtil::joinProps(const QStringList &items)
{
    return joinStringMap(items, propertySeparator);
}

Data::String StringUtil::joinProps(const QMap<Data::String, Data::String> &map)
{
    return joinStringMap(map, propertySeparator, propertyKeySeparator).toString();
}

Data::String StringUtil::joinProps(const QMap<Data::String, Data::Variant> &map)
{
    return joinProps(toItems(map, propertyKeySeparator));
}

QMap<Data::String, Data::String> StringUtil::splitProps2(const Data::String &text)
{
    return splitStringMap(text, propertySeparator, propertyKeySeparator);
}

QMap<Data::String, Data::String> StringUtil::splitProps2(const QStringList &items)
{
    return splitStringMap(items, propertyKeySeparator);
}

QMap<Data::String, Data::Variant> StringUtil::splitProps(const Data::String &text)
{
    return splitProps(splitItems(text, propertySeparator));
}

QMap<Data::String, Data::Variant> StringUtil::splitProps(const QStringList &items)
{
    return toMap<Data::Variant>(items, propertyKeySeparator);
}

QStringList StringUtil::propKeys(const Data::String &text)
{
    return stringMapKeys(text, propertySeparator, propertyKeySeparator);
}

QStringList StringUtil::propValues(const Data::String &text)
{
    QStringList values;
    const QStringList items = splitItems(text, propertySeparator);
    for (const QString &item : items) {
        const int keyEnd = item.indexOf(QLatin1Char(propertyKeySeparator));
        if (keyEnd >= 0)
            values.append(item.mid(keyEnd + 1));
    }
    return values;
}

} // namespace Utils
