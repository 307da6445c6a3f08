#include "utils/strings/StringTable.h"

#include "utils/strings/StringTableState_p.h"
#include "utils/strings/Translator.h"

#include <QStringList>

namespace Utils {

static const QLatin1Char dot('.');

StringTableKey splitStringTableKey(const Data::String &key)
{
    const int last = key.count(dot) - 1;
    for (int i = 0; i < last; ++i) {
        const Data::String table = key.section(dot, 0, -2 - i);
        if (stringTableState.tables.contains(table))
            return {table, key.mid(table.size())};
    }
    return {};
}

void StringTable::initialize(const Data::String &language, const Data::String &contexts,
                             const Data::String &productContext)
{
    if (!StringTableState::alive)
        return;
    StringTableState &state = stringTableState;
    if (!state.language.isEmpty() || language.isEmpty())
        return;

    state.translator = new Translator;
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
    if (!StringTableState::alive || stringTableState.language.isEmpty() || !key.startsWith(dot))
        return key;

    const StringTableKey found = splitStringTableKey(key);
    if (found.table.isEmpty())
        return key;
    return stringTableState.tables[found.table].strings.value(found.id, found.id);
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

Data::String StringTable::lookupi(const Data::String &key, int index, char separator)
{
    struct Items
    {
        Data::String key;
        QStringList items;
    };
    // Never released: static objects of a host may still ask when the process ends.
    static auto &last = *new Items;

    if (last.key != key)
        last = {key, lookup(key).split(QLatin1Char(separator))};
    return last.items.value(index).trimmed();
}

Data::String StringTable::lookupk(const Data::String &key, const Data::String &subKey,
                                  const Data::String &defaultValue)
{
    Data::String text = lookup(key);
    if (text.startsWith(QLatin1Char('[')))
        text.remove(0, 1);
    if (text.endsWith(QLatin1Char(']')))
        text.chop(1);

    const Data::String start = subKey + "=";
    const QStringList parts = text.split(QLatin1String("]["));
    for (const QString &part : parts) {
        if (part.startsWith(start))
            return part.mid(part.indexOf(QLatin1Char('=')) + 1);
    }
    return defaultValue;
}

} // namespace Utils
