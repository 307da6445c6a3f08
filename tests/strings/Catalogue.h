#pragma once

#include "utils/strings/StringTableState_p.h"
#include "utils/strings/Translator.h"

/// Makes the catalogue what it is when the library loads, but for what lookupi() keeps.
inline void resetCatalogue()
{
    Utils::StringTableState &state = Utils::stringTableState;
    delete state.translator;
    state.tables.clear();
    state.language.clear();
    state.contexts.clear();
    state.productContext.clear();
    state.uiIndex.clear();
    state.translator = nullptr;
}
