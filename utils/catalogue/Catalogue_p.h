#pragma once

#include "data/ProcessWide_p.h"
#include "data/String.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <functional>

namespace Utils {

class Translator;

using TextsById = QMap<Data::String, Data::String>;

/// The content of a file of strings.
struct CatalogueTable
{
    TextsById strings;                           // in the current language
    QMap<Data::String, TextsById> uiStrings;     // by the name of the form
    QMap<Data::String, TextsById> localeStrings; // by language, read on demand
};

/// The texts in memory. They are filled by StringTable, the public interface.
struct Catalogue
{
    QMap<Data::String, CatalogueTable> tables; // by "." and the name of the table
    Data::String language;                     // such as "en"; "" before initialize()
    Data::String contexts;                     // names, separated by ";"
    Data::String productContext;               // an additional name
    QMap<Data::String, Data::String> uiIndex;  // name of a form => key of its table
    Translator *translator = nullptr;          // never deleted, as the application may use it
    QHash<Data::String, Data::String> found;   // key => text, looked up since load()

    QMap<Data::String, QSet<Data::String>> missing; // keys that were not found, by language
    std::function<void(const Data::String &key, const Data::String &language)> missingHandler;
};
extern Data::ProcessWide<Catalogue> catalogue;

/// A key, and the loaded table for it: the one with the longest name whose components begin the
/// key.
class CatalogueKey
{
public:
    /// \p key must outlive the object.
    explicit CatalogueKey(const Data::String &key);

    /// Null when there is none, and before and after the lifetime of the catalogue.
    CatalogueTable *table() const { return m_table; }

    /// The name of the table, with a leading ".".
    Data::String name() const;

    /// The rest of the key.
    Data::String id() const;

    /// The text of the id, or null when there is none.
    const Data::String *textIn(const TextsById &texts) const;

private:
    const Data::String &m_key;
    CatalogueTable *m_table = nullptr;
    Data::String m_id; // a view of the end of the key
};

/// A deep copy, even when \p text is a view of another text.
Data::String copyOf(const QString &text);

/// The text of \p key in the current language, as StringTable::lookup() returns it.
Data::String textOf(const Data::String &key);

/// Records that \p key has no text in \p language, and calls the handler of the host when it is the
/// first time. Does nothing before the language is set.
void noteMissing(const Data::String &key, const Data::String &language);

/// The text of the key that \p prefix and \p id form, as ".Kelm.Utils" and ".err.fileread" do, with
/// \p values in place of its %1, %2...
Data::String message(const char *prefix, const char *id, const QStringList &values);

/// The text of the reason that LastError holds, in the current language; "" without one.
Data::String lastErrorText();

} // namespace Utils
