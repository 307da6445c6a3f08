#pragma once

#include "utils/catalogue/Catalogue_p.h"
#include "utils/strings/Translator.h"

/// Makes the catalogue what it is when the library loads, but for what lookupi() keeps.
inline void resetCatalogue()
{
    Utils::Catalogue &state = *Utils::catalogue.ifAlive();
    delete state.translator;
    state.tables.clear();
    state.language.clear();
    state.contexts.clear();
    state.productContext.clear();
    state.uiIndex.clear();
    state.translator = nullptr;
    state.found.clear();
    state.missing.clear();
    state.missingHandler = nullptr;
}

/// Puts \p text into the catalogue, under \p id of the table \p table, as if it had been loaded.
inline void putText(const Data::String &table, const Data::String &id, const Data::String &text)
{
    Utils::catalogue->tables[table].strings[id] = text;
    Utils::catalogue->found.clear();
}
