#include "utils/strings/StringTable.h"

#include "utils/strings/PluralRules_p.h"
#include "utils/strings/StringTable_p.h"

namespace Utils {

static Data::String languageOr(const Data::String &language)
{
    const Catalogue *const texts = catalogue.ifAlive();
    return texts && language.isEmpty() ? texts->language : language;
}

Data::String StringTable::lookupn(const Data::String &key, double n, int decimals)
{
    return lookupnl(key, n, Data::String(), decimals);
}

Data::String StringTable::lookupnl(const Data::String &key, double n, const Data::String &language,
                                   int decimals)
{
    const Data::String wanted = key + "." + pluralForm(n, language, decimals);
    for (const Data::String &candidate : {wanted, Data::String(key + ".other"), key}) {
        const CatalogueKey parts(candidate);
        const TextsById *const texts = textsIn(language, parts);
        if (const Data::String *const text = texts ? parts.textIn(*texts) : nullptr)
            return *text;
    }
    // It is not found; these lookups record that.
    const bool isRead = textsIn(language, CatalogueKey(key));
    return isRead || isCurrentLanguage(language) ? lookupl(key, language)
                                                 : lookupn(key, n, decimals);
}

QStringList StringTable::pluralForms(const Data::String &language)
{
    return PluralRules::forms(languageOr(language));
}

Data::String StringTable::pluralForm(double n, const Data::String &language, int decimals)
{
    return PluralRules::form(languageOr(language), n, decimals);
}

QStringList StringTable::missingKeys(const Data::String &language)
{
    QStringList keys;
    if (const Catalogue *const texts = catalogue.ifAlive()) {
        for (const Data::String &key : texts->missing.value(languageOr(language)))
            keys.append(key);
    }
    keys.sort(Qt::CaseSensitive);
    return keys;
}

void StringTable::setMissingKeyHandler(const MissingKeyHandler &handler)
{
    if (Catalogue *const texts = catalogue.ifAlive())
        texts->missingHandler = handler;
}

} // namespace Utils
