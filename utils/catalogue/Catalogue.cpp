#include "utils/catalogue/Catalogue_p.h"

#include "utils/base/LastError_p.h"
#include "utils/base/Placeholders_p.h"

#include <algorithm>
#include <new>
#include <utility>

namespace Utils {

static const QLatin1Char dot('.');

Data::String copyOf(const QString &text) { return QString(text.constData(), text.size()); }

/// The length of the common prefix of \p a and \p b.
static int commonLength(const QString &a, const QString &b)
{
    const int most = qMin(a.size(), b.size());
    return int(std::mismatch(a.begin(), a.begin() + most, b.begin()).first - a.begin());
}

CatalogueKey::CatalogueKey(const Data::String &key) : m_key(key)
{
    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || texts->language.isEmpty() || !key.startsWith(dot))
        return;

    // The prefixes of the key are views, because copies would take as long as the search. Among all
    // names that are not after a prefix in sort order, the last one has the longest common start
    // with it. Either this name is the wanted table, or the common start limits the length of the
    // next prefix.
    QMap<Data::String, CatalogueTable> &tables = texts->tables;
    int length = key.lastIndexOf(dot);
    Data::String part(QString::fromRawData(key.constData(), length));
    while (length > 0) {
        part.truncate(length);
        auto table = tables.upperBound(part);
        if (table == tables.begin())
            return;
        --table;
        const Data::String &name = table.key();
        if (!name.isEmpty() && part.startsWith(name) && key[name.size()] == dot) {
            m_table = &*table;
            m_id = std::move(part);
            m_id.setRawData(key.constData() + name.size(), key.size() - name.size());
            return;
        }
        length = key.lastIndexOf(dot, commonLength(name, part));
    }
}

Data::String CatalogueKey::name() const { return m_key.left(m_key.size() - m_id.size()); }

Data::String CatalogueKey::id() const { return copyOf(m_id); }

const Data::String *CatalogueKey::textIn(const TextsById &texts) const
{
    const auto text = texts.constFind(m_id);
    return text == texts.constEnd() ? nullptr : &*text;
}

Data::String textOf(const Data::String &key)
{
    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || !key.startsWith(dot))
        return key;
    QHash<Data::String, Data::String> &found = texts->found;
    const auto known = found.constFind(key);
    if (known != found.constEnd())
        return *known;

    const CatalogueKey parts(key);
    const Data::String *const text = parts.table() ? parts.textIn(parts.table()->strings) : nullptr;
    if (!text) {
        Data::String result = parts.table() ? parts.id() : key;
        noteMissing(key, texts->language);
        return result;
    }
    found.insert(copyOf(key), *text);
    return *text;
}

void noteMissing(const Data::String &key, const Data::String &language)
{
    static const int mostKeys = 10000; // of a language, so that made-up keys do not fill the memory

    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || texts->language.isEmpty())
        return;
    try {
        QSet<Data::String> &missing = texts->missing[language];
        if (missing.size() >= mostKeys || missing.contains(key))
            return;
        missing.insert(copyOf(key));
    } catch (const std::bad_alloc &) {
        return; // the lookup has its result nevertheless
    }

    // It may look up texts itself, and may be replaced by itself. Its own keys are only recorded.
    static bool isRunning = false;
    const auto handler = texts->missingHandler;
    if (!handler || isRunning)
        return;
    const struct Run
    {
        Run() { isRunning = true; }
        ~Run() { isRunning = false; }
    } run;
    handler(key, language);
}

Data::String message(const char *prefix, const char *id, const QStringList &values)
{
    return fillPlaceholders(textOf(Data::String(prefix) + id), values);
}

Data::String lastErrorText()
{
    const char *const id = LastError::id();
    return id ? message(".Kelm.Utils", id, LastError::values()) : Data::String();
}

} // namespace Utils
