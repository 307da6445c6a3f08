#include "utils/strings/StringTable.h"

#include "utils/strings/StringTable_p.h"
#include "utils/strings/Translator.h"

#include <QStringList>

namespace Utils {

static const QLatin1Char dot('.');

void StringTable::initialize(const Data::String &language, const Data::String &contexts,
                             const Data::String &productContext)
{
    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || !texts->language.isEmpty() || language.isEmpty())
        return;

    // The translator notifies the application before the language is set, and a receiver may call
    // this function again.
    static bool isRunning = false;
    if (isRunning)
        return;
    isRunning = true;
    texts->translator = new Translator;
    isRunning = false;

    texts->language = language;
    if (language.size() == 5 && language.endsWith(QLatin1String("IDS")))
        texts->language = language.left(2);
    if (language.contains(QLatin1Char('_')))
        texts->language = language.section(QLatin1Char('_'), 0, 0);
    texts->contexts = contexts;
    texts->productContext = productContext;
}

Data::String StringTable::lookup(const Data::String &key) { return textOf(key); }

Data::String StringTable::lookup(const char *text, const char *uiName)
{
    const Catalogue *const texts = catalogue.ifAlive();
    if (uiName && texts && texts->translator)
        return texts->translator->translate(uiName, text, nullptr, -1);
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

bool isCurrentLanguage(const Data::String &language)
{
    const Catalogue *const texts = catalogue.ifAlive();
    return !texts || language.isEmpty() || language == texts->language;
}

const TextsById *textsIn(const Data::String &language, const CatalogueKey &key)
{
    if (!key.table() || isCurrentLanguage(language))
        return key.table() ? &key.table()->strings : nullptr;

    auto &languages = key.table()->localeStrings;
    auto texts = languages.constFind(language);
    if (texts == languages.constEnd()) {
        CatalogueTable table;
        if (!readStringTable(table, key.name().mid(1), language))
            return nullptr;
        texts = languages.insert(copyOf(language), table.strings);
    }
    return &*texts;
}

Data::String StringTable::lookupl(const Data::String &key, const Data::String &language)
{
    const CatalogueKey parts(key);
    if (isCurrentLanguage(language) || !parts.table())
        return lookup(key);

    const TextsById *const texts = textsIn(language, parts);
    if (!texts)
        return lookup(key);
    if (const Data::String *const text = parts.textIn(*texts))
        return *text;
    Data::String id = parts.id();
    noteMissing(key, language);
    return id;
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
