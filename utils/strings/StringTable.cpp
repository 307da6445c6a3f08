#include "utils/strings/StringTable.h"

#include "utils/files/File.h"
#include "utils/strings/StringTable_p.h"
#include "utils/strings/Translator.h"

#include <QCoreApplication>
#include <QEvent>
#include <QScopedValueRollback>
#include <QStringList>

#include <new>

namespace Utils {

static const QLatin1Char dot('.');

static unsigned numLanguageChanges = 0;

/// The language that initialize() and setLanguage() select by \p name.
static Data::String languageOf(const Data::String &name)
{
    if (name.contains(QLatin1Char('_')))
        return name.section(QLatin1Char('_'), 0, 0);
    if (name.size() == 5 && name.endsWith(QLatin1String("IDS")))
        return name.left(2);
    return name;
}

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
    const Data::String name = languageOf(language); // before anything changes, as memory may end
    const QScopedValueRollback<bool> run(isRunning, true);
    texts->translator = new Translator;

    texts->language = name;
    texts->contexts = contexts;
    texts->productContext = productContext;
}

bool StringTable::setLanguage(const Data::String &language)
{
    Catalogue *const texts = catalogue.ifAlive();
    const Data::String name = languageOf(language);
    if (!texts || texts->language.isEmpty() || name.isEmpty())
        return false;
    if (name == texts->language)
        return true;

    try {
        // Replaced only when everything is complete.
        QMap<Data::String, CatalogueTable> tables;
        QMap<Data::String, Data::String> uiIndex = texts->uiIndex;
        for (auto old = texts->tables.constBegin(); old != texts->tables.constEnd(); ++old) {
            CatalogueTable &table = tables[old.key()];
            const Data::String file = old.key().mid(1);
            const bool exists = !File::findResource(file, "_" + name + ".xml").isEmpty();
            if (!readStringTable(table, file, exists ? name : Data::String("en")))
                return false;
            for (auto form = table.uiStrings.begin(); form != table.uiStrings.end(); ++form) {
                if (!uiIndex.contains(form.key()))
                    uiIndex[form.key()] = old.key();
            }
        }
        const Data::String held = copyOf(name);
        texts->tables.swap(tables);
        texts->uiIndex.swap(uiIndex);
        texts->language = held;
    } catch (const std::bad_alloc &) {
        return false;
    }
    texts->found = QHash<Data::String, Data::String>();
    ++numLanguageChanges;
    if (QCoreApplication *const application = QCoreApplication::instance()) {
        QEvent changed(QEvent::LanguageChange);
        QCoreApplication::sendEvent(application, &changed);
    }
    return true;
}

Data::String StringTable::language()
{
    const Catalogue *const texts = catalogue.ifAlive();
    return texts ? texts->language : Data::String();
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
        unsigned language; // the number of language changes before
    };
    // Never destroyed: static objects of a host may still call this when the process ends.
    static auto &last = *new Items{};

    if (last.key != key || last.language != numLanguageChanges)
        last = {copyOf(key), lookup(key).split(QLatin1Char(separator)), numLanguageChanges};
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
