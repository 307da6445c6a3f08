#pragma once

#include "utils/catalogue/Catalogue_p.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"
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

/// Loads the library's own texts, in English, from the folder \p resources. False when that fails.
inline bool loadLibraryTexts(const char *resources)
{
    Utils::File::setSearchPath(resources, "");
    Utils::StringTable::initialize("en", "", "");
    return Utils::StringTable::load("Kelm.Utils");
}
