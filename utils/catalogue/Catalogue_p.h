#pragma once

#include "data/String.h"
#include "utils/strings/StringTable.h"

#include <QHash>
#include <QMap>

namespace Utils {

class Translator;

using TextsById = QMap<Data::String, Data::String>;

struct StringTable::Table
{
    TextsById strings;                           // in the current language
    QMap<Data::String, TextsById> uiStrings;     // by the name of the form
    QMap<Data::String, TextsById> localeStrings; // by language, read on demand
};

/// The state of the catalogue.
struct StringTableState
{
    ~StringTableState() { alive = false; } // the maps are destroyed after this line

    QMap<Data::String, StringTable::Table> tables; // by "." and the name of the table
    Data::String language;                         // such as "en"; "" before initialize()
    Data::String contexts;                         // names, separated by ";"
    Data::String productContext;                   // one more name
    QMap<Data::String, Data::String> uiIndex;      // name of a form => key of its table
    Translator *translator = nullptr;              // never deleted: the application may use it
    QHash<Data::String, Data::String> found;       // key => text, looked up since the last load()
    static bool alive; // a plain bool, which objects that are destroyed later can still read
};
extern StringTableState stringTableState;

/// A key, with the loaded table of the longest name whose components it begins with.
class StringTableKey
{
public:
    /// \p key must outlive the object.
    explicit StringTableKey(const Data::String &key);

    /// Null when there is none, and before or after the life of the catalogue.
    StringTable::Table *table() const { return m_table; }

    /// The name of the table, with a leading ".".
    Data::String name() const;

    /// The rest of the key.
    Data::String id() const;

    /// The text of the id, or null when there is none.
    const Data::String *textIn(const TextsById &texts) const;

private:
    const Data::String &m_key;
    StringTable::Table *m_table = nullptr;
    Data::String m_id; // a view of the end of the key
};

/// Reads the file of the table \p name for \p language into \p table. False when there is no file,
/// or it cannot be read.
bool readStringTable(StringTable::Table &table, const Data::String &name,
                     const Data::String &language);

} // namespace Utils
