#pragma once

#include "data/String.h"
#include "utils/strings/StringTable.h"

#include <QMap>

namespace Utils {

class Translator;

using TextsById = QMap<Data::String, Data::String>;

struct StringTable::Table
{
    TextsById strings;                           // in the current language
    QMap<Data::String, TextsById> uiStrings;     // by the name of the form
    QMap<Data::String, TextsById> localeStrings; // by language, as they are asked for
};

/// The state of the catalogue.
struct StringTableState
{
    ~StringTableState() { alive = false; } // the maps are released behind this line

    QMap<Data::String, StringTable::Table> tables; // by "." and the name of the table
    Data::String language;                         // such as "en"; "" before initialize()
    Data::String contexts;                         // names, separated by ";"
    Data::String productContext;                   // one more name
    QMap<Data::String, Data::String> uiIndex;      // name of a form => key of its table
    Translator *translator = nullptr;              // never deleted: the application may know it
    static bool alive; // a plain bool, so that what dies later may still ask
};
extern StringTableState stringTableState;

/// A key, taken apart.
struct StringTableKey
{
    Data::String table; // "" when no loaded table is that of the key
    Data::String id;
};

/// Looks for the loaded table with the longest name that \p key starts with, component by
/// component.
StringTableKey splitStringTableKey(const Data::String &key);

} // namespace Utils
