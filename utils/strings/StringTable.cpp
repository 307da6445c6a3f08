#include "utils/strings/StringTable.h"

#include "utils/catalogue/Catalogue_p.h"
#include "utils/strings/Translator.h"

#include <QStringList>

#include <algorithm>

namespace Utils {

static const QLatin1Char dot('.');

/// A deep copy, also when \p text is a view of another text.
static Data::String copyOf(const QString &text) { return QString(text.constData(), text.size()); }

/// The length of the common prefix of \p a and \p b.
static int commonLength(const QString &a, const QString &b)
{
    const int most = qMin(a.size(), b.size());
    return int(std::mismatch(a.begin(), a.begin() + most, b.begin()).first - a.begin());
}

StringTableKey::StringTableKey(const Data::String &key) : m_key(key)
{
    if (!StringTableState::alive || stringTableState.language.isEmpty() || !key.startsWith(dot))
        return;

    // The prefixes of the key are views, because copies would take as long as the search. Of all
    // names up to a prefix in sort order, the last one has the longest common start with it. Either
    // it is the table, or the length of the common start limits that of the next prefix.
    QMap<Data::String, StringTable::Table> &tables = stringTableState.tables;
    int length = key.lastIndexOf(dot);
    Data::String part(QString::fromRawData(key.constData(), length));
    while (length > 0) {
        part.truncate(length);
        auto table = tables.upperBound(part);
        if (table == tables.begin())
            return;
        --table;
        const Data::String &name = table.key();
        if (!name.isEmpty() && part.startsWith(name) && key[name.size()] == dot) {
            m_table = &*table;
            m_id = std::move(part);
            m_id.setRawData(key.constData() + name.size(), uint(key.size() - name.size()));
            return;
        }
        length = key.lastIndexOf(dot, commonLength(name, part));
    }
}

Data::String StringTableKey::name() const { return m_key.left(m_key.size() - m_id.size()); }

Data::String StringTableKey::id() const { return copyOf(m_id); }

const Data::String *StringTableKey::textIn(const TextsById &texts) const
{
    const auto text = texts.constFind(m_id);
    return text == texts.constEnd() ? nullptr : &*text;
}

void StringTable::initialize(const Data::String &language, const Data::String &contexts,
                             const Data::String &productContext)
{
    if (!StringTableState::alive)
        return;
    StringTableState &state = stringTableState;
    if (!state.language.isEmpty() || language.isEmpty())
        return;

    // The translator notifies the application before the language is set, and a receiver may call
    // this function again.
    static bool isRunning = false;
    if (isRunning)
        return;
    isRunning = true;
    state.translator = new Translator;
    isRunning = false;

    state.language = language;
    if (language.size() == 5 && language.endsWith(QLatin1String("IDS")))
        state.language = language.left(2);
    if (language.contains(QLatin1Char('_')))
        state.language = language.section(QLatin1Char('_'), 0, 0);
    state.contexts = contexts;
    state.productContext = productContext;
}

Data::String StringTable::lookup(const Data::String &key)
{
    if (!StringTableState::alive || !key.startsWith(dot))
        return key;
    QHash<Data::String, Data::String> &found = stringTableState.found;
    const auto known = found.constFind(key);
    if (known != found.constEnd())
        return *known;

    const StringTableKey parts(key);
    if (!parts.table())
        return key;
    const Data::String *const text = parts.textIn(parts.table()->strings);
    if (!text)
        return parts.id();
    found.insert(copyOf(key), *text);
    return *text;
}

Data::String StringTable::lookup(const char *text, const char *uiName)
{
    if (uiName && StringTableState::alive && stringTableState.translator)
        return stringTableState.translator->translate(uiName, text, nullptr, -1);
    return lookup(Data::String(text));
}

Data::String StringTable::lookupx(const Data::String &key, const Data::String &tableName)
{
    const bool isShort = key.startsWith(dot) && key.count(dot) < 3;
    return lookup(isShort ? "." + tableName + key : key);
}

/// The item \p index, trimmed; "" when there is none.
static Data::String itemOf(const QStringList &items, int index)
{
    return items.value(index).trimmed();
}

Data::String StringTable::lookupi(const Data::String &key, int index, char separator)
{
    struct Items
    {
        Data::String key;
        QStringList items;
    };
    // Never destroyed: static objects of a host may still call this when the process ends.
    static auto &last = *new Items;

    if (last.key != key)
        last = {copyOf(key), lookup(key).split(QLatin1Char(separator))};
    return itemOf(last.items, index);
}

/// The value of \p name in a text such as "[a=1][b=2]", or \p defaultValue when it has none.
static Data::String valueOf(Data::String record, const Data::String &name,
                            const Data::String &defaultValue)
{
    if (record.startsWith(QLatin1Char('[')))
        record.remove(0, 1);
    if (record.endsWith(QLatin1Char(']')))
        record.chop(1);

    const Data::String start = name + "=";
    const QStringList parts = record.split(QLatin1String("]["));
    for (const QString &part : parts) {
        if (part.startsWith(start))
            return part.mid(part.indexOf(QLatin1Char('=')) + 1);
    }
    return defaultValue;
}

Data::String StringTable::lookupk(const Data::String &key, const Data::String &subKey,
                                  const Data::String &defaultValue)
{
    return valueOf(lookup(key), subKey, defaultValue);
}

static bool isCurrentLanguage(const Data::String &language)
{
    return !StringTableState::alive || language.isEmpty() || language == stringTableState.language;
}

Data::String StringTable::lookupl(const Data::String &key, const Data::String &language)
{
    const StringTableKey parts(key);
    if (isCurrentLanguage(language) || !parts.table())
        return lookup(key);

    auto &languages = parts.table()->localeStrings;
    auto texts = languages.constFind(language);
    if (texts == languages.constEnd()) {
        Table table;
        if (!readStringTable(table, parts.name().mid(1), language))
            return lookup(key);
        texts = languages.insert(copyOf(language), table.strings);
    }
    const Data::String *const text = parts.textIn(*texts);
    return text ? *text : parts.id();
}

Data::String StringTable::lookupil(const Data::String &key, int index, char separator,
                                   const Data::String &language)
{
    if (isCurrentLanguage(language))
        return lookupi(key, index, separator);
    return itemOf(lookupl(key, language).split(QLatin1Char(separator)), index);
}

Data::String StringTable::lookupkl(const Data::String &key, const Data::String &subKey,
                                   const Data::String &language)
{
    return valueOf(lookupl(key, language), subKey, "");
}

} // namespace Utils
