// The catalogue beside the maps that it is made of, and the reading of its files beside itself at a
// tenth of the size. benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>

#include <stdexcept>
#include <vector>

using benchmark::State;
using Data::String;
using Utils::StringTable;

using Texts = QMap<String, String>;

static const char *const tableNames[] = {"Kelm.Data",    "Kelm.Framework", "Kelm.Utils",
                                         "Kelm.Widgets", "TORVE",          "TORVE.Mesh",
                                         "TORVE.Post",   "TORVE.Solver"};
static const int textsPerTable = 200;

/// ".msg.text7" for the table of two components, ".part.msg.text7" for that of one: so every key
/// has four.
static String idOf(const String &table, int number)
{
    const char *const kinds[] = {"err", "msg", "ctx"};
    const String id = "." + String(kinds[number % 3]) + ".text" + QString::number(number);
    return table.contains(QLatin1Char('.')) ? id : ".part" + id;
}

/// What a lookup must find, in maps, with each key taken apart already.
struct Catalogue
{
    struct Key
    {
        String whole;
        String prefixes[3]; // without the last, the last two, and the last three components
        String id;
        String table;
    };

    Catalogue()
    {
        for (const char *name : tableNames) {
            for (int i = 0; i < textsPerTable; ++i)
                tables["." + String(name)][idOf(name, i)] = "The text " + QString::number(i);
        }
    }

    /// Keys of \p table that a program asks for in turn.
    std::vector<Key> keysOf(const String &table) const
    {
        std::vector<Key> keys;
        for (int i = 0; i < textsPerTable; i += 7) {
            Key key{"." + table + idOf(table, i), {}, idOf(table, i), "." + table};
            for (int j = 0; j < 3; ++j)
                key.prefixes[j] = key.whole.section(QLatin1Char('.'), 0, -2 - j);
            keys.push_back(key);
        }
        return keys;
    }

    QMap<String, Texts> tables;
};

/// Writes the file of each table and loads it.
static void load(const Catalogue &catalogue, const QString &root)
{
    QDir(root).mkdir(QStringLiteral("locale"));
    Utils::File::setSearchPath(root, "");
    StringTable::initialize("en", "", "");
    for (const char *name : tableNames) {
        QByteArray body;
        const Texts &texts = catalogue.tables["." + String(name)];
        for (auto text = texts.begin(); text != texts.end(); ++text)
            body += "<string id='" + text.key().toUtf8() + "'>" + text->toUtf8() + "</string>\n";
        QFile file(root + "/locale/" + name + "_en.xml");
        if (!file.open(QIODevice::WriteOnly) ||
            file.write("<!DOCTYPE StringTable><strings>" + body + "</strings>") < 0)
            throw std::runtime_error("cannot write " + file.fileName().toStdString());
        file.close();
        if (!StringTable::load(name))
            throw std::runtime_error("cannot load " + file.fileName().toStdString());
    }
}

static void lookup(State &state, const std::vector<Catalogue::Key> &keys)
{
    std::size_t at = 0;
    for (auto _ : state) {
        const String text = StringTable::lookup(keys[at].whole);
        if (text.size() < 10)
            state.SkipWithError("another text");
        at = at + 1 < keys.size() ? at + 1 : 0;
    }
}

/// As many look-ups as a key of four components can take: three of a table's name, one of the id.
static void lookupFourTimes(State &state, const Catalogue &catalogue,
                            const std::vector<Catalogue::Key> &keys)
{
    std::size_t at = 0;
    for (auto _ : state) {
        const Catalogue::Key &key = keys[at];
        auto found = catalogue.tables.constEnd();
        for (const String &prefix : key.prefixes) {
            const auto table = catalogue.tables.constFind(prefix);
            if (table != catalogue.tables.constEnd())
                found = table;
        }
        const String text = found->value(key.id);
        if (text.size() < 10)
            state.SkipWithError("another text");
        at = at + 1 < keys.size() ? at + 1 : 0;
    }
}

/// The same without any thought: the key is taken apart for each look-up.
static void lookupBySection(State &state, const Catalogue &catalogue,
                            const std::vector<Catalogue::Key> &keys)
{
    std::size_t at = 0;
    for (auto _ : state) {
        const String &key = keys[at].whole;
        String text = key;
        for (int i = 0; i < key.count(QLatin1Char('.')) - 1; ++i) {
            const String prefix = key.section(QLatin1Char('.'), 0, -2 - i);
            if (!catalogue.tables.contains(prefix))
                continue;
            const String id = key.mid(prefix.size());
            text = catalogue.tables[prefix].value(id, id);
            break;
        }
        if (text.size() < 10)
            state.SkipWithError("another text");
        at = at + 1 < keys.size() ? at + 1 : 0;
    }
}

/// Writes the file of a table \p name with one text of \p size backslashes.
static void writeBackslashes(const QString &root, const char *name, int size)
{
    QFile file(root + "/locale/" + name + "_en.xml");
    if (!file.open(QIODevice::WriteOnly) ||
        file.write("<!DOCTYPE StringTable><strings><string id='.a'>" + QByteArray(size, '\\') +
                   "</string></strings>") < 0)
        throw std::runtime_error("cannot write " + file.fileName().toStdString());
}

static void load(State &state, const char *name, int times)
{
    for (auto _ : state) {
        for (int i = 0; i < times; ++i) {
            if (!StringTable::load(name))
                state.SkipWithError("cannot load");
        }
    }
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const QCoreApplication application(argc, argv);
    const Catalogue catalogue;
    load(catalogue, folder.path());

    const std::vector<Catalogue::Key> inTwo = catalogue.keysOf("Kelm.Utils");
    const std::vector<Catalogue::Key> inOne = catalogue.keysOf("TORVE");
    std::vector<Catalogue::Key> unknown = inTwo;
    for (Catalogue::Key &key : unknown)
        key.whole += QStringLiteral("unknown");

    const auto addLookup = [&](const char *detail, double target,
                               const std::vector<Catalogue::Key> &keys,
                               const std::vector<Catalogue::Key> &peerKeys) {
        addPair(
            "lookup beside 4 look-ups in a QMap", detail, target,
            [&](State &state) { lookup(state, keys); },
            [&](State &state) { lookupFourTimes(state, catalogue, peerKeys); });
    };
    addLookup("a table of two components", 1.0, inTwo, inTwo);
    addLookup("a table of one component", 1.0, inOne, inOne);
    addLookup("an unknown id", 0.0, unknown, inTwo);
    addPair(
        "lookup beside the steps word for word", "a table of two components", 0.0,
        [&](State &state) { lookup(state, inTwo); },
        [&](State &state) { lookupBySection(state, catalogue, inTwo); });

    writeBackslashes(folder.path(), "Large", 4000000);
    writeBackslashes(folder.path(), "Small", 400000);
    addPair(
        "load, backslashes", "10 x the size to 10 x the work", 0.0,
        [](State &state) { load(state, "Large", 1); },
        [](State &state) { load(state, "Small", 10); });
    return runBenchmarks(argc, argv);
}
