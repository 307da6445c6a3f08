// Tag files beside the plain reader of the tests and a text stream. benchmarks/report tells how
// names and counters make pairs and targets.

#include "benchmarks/Memory.h"
#include "benchmarks/Pairs.h"
#include "tests/tagfile/PlainTagFile.h"
#include "utils/tagfile/TagFile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

using benchmark::State;
using Utils::TagFile;

struct Input
{
    TagFile file;
    Data::String path;
    Data::String text; // of the file
    qint64 size = 0;   // in bytes
};

// Inputs

/// Records as a material library has them: numbers most of all, some words, and a comment, a note
/// of two lines or an escaped colon now and then.
static void makeInput(Input &input, const QTemporaryDir &folder, int size)
{
    std::mt19937 random(1);
    // Not a distribution of the library, which may differ from one to the next.
    const auto upTo = [&](unsigned int count) { return static_cast<int>(random() % count); };
    const auto number = [&] { return (1 + upTo(1000000)) * 1e-4; };
    const char *const keys[] = {"density",  "youngs_modulus", "poisson_ratio", "yield_stress",
                                "hardness", "conductivity",   "specific_heat", "expansion"};

    TagFile &file = input.file;
    file.addFileType("materials", "3", "generated");
    for (qint64 written = 0; written < size;) {
        TagFile::Tag &tag = file.addTag("material", "");
        tag.add("name", Data::String(QStringLiteral("Alloy %1").arg(file.numTags())));
        for (const char *key : keys)
            tag.add_g(key, number());
        tag.add("isotropic", upTo(2) == 0).add("source", "datasheet");
        if (upTo(20) == 0)
            tag.addComment("checked");
        if (upTo(20) == 0)
            tag.add("note", "measured at room temperature\nmean of five specimens");
        if (upTo(50) == 0)
            tag.add("limit:creep", "1:1000");
        for (int i = 0; i < tag.numProps(); ++i)
            written += tag.keys[i].size() + tag.values[i].size() + 3;
        written += 11;
    }

    input.path = folder.filePath(QStringLiteral("materials.tag"));
    input.text = file.toString();
    Data::String error;
    if (!file.save(input.path, error))
        throw std::runtime_error("cannot write the input");
    input.size = QFile(input.path).size();
}

/// Sides that do not do the same must not be compared.
static void check(State &state, qint64 found, qint64 expected)
{
    if (found != expected)
        state.SkipWithError("not everything was done");
}

// Reading

static void readOurs(State &state, const Input &input)
{
    Data::String error;
    for (auto _ : state) {
        auto file = std::make_unique<TagFile>();
        file->read(input.path, error);
        check(state, file->numTags(), input.file.numTags());
        state.PauseTiming(); // what is read is not given back at once
        file.reset();
        state.ResumeTiming();
    }
    measurePeak(state, 0.0, [&] { TagFile().read(input.path, error); });
    state.counters["peak_target"] = 0.75;
}

static PlainTags tagsByPlainReader(const Input &input)
{
    QFile file(input.path);
    file.open(QIODevice::ReadOnly);
    QTextStream in(&file);
    in.setCodec("UTF-8");
    PlainTags tags;
    readPlainly(in, /*options=*/7, tags);
    return tags;
}

static void readByPlainReader(State &state, const Input &input)
{
    for (auto _ : state) {
        PlainTags tags = tagsByPlainReader(input);
        check(state, static_cast<qint64>(tags.size()), input.file.numTags());
        state.PauseTiming();
        tags.clear();
        state.ResumeTiming();
    }
    measurePeak(state, 0.0, [&] { tagsByPlainReader(input); });
}

/// What one writes who needs no blocks and no escapes.
static void readBriefly(State &state, const Input &input)
{
    struct Record
    {
        QString name;
        QStringList keys;
        QStringList values;
    };
    for (auto _ : state) {
        QFile file(input.path);
        file.open(QIODevice::ReadOnly);
        std::vector<Record> records;
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine()).chopped(1);
            const int colon = line.indexOf(QLatin1Char(':'));
            if (line.startsWith(QLatin1Char('*'))) {
                records.push_back({line.mid(1), {}, {}});
            } else if (colon > 0 && !records.empty()) {
                records.back().keys.append(line.left(colon));
                records.back().values.append(line.mid(colon + 2));
            }
        }
        check(state, static_cast<qint64>(records.size()), input.file.numTags());
        state.PauseTiming();
        records.clear();
        state.ResumeTiming();
    }
}

// Writing

static void saveOurs(State &state, Input &input)
{
    const Data::String path = input.path + ".ours";
    Data::String error;
    for (auto _ : state) {
        QFile::remove(path); // some systems write a file out at once when it replaces another
        input.file.save(path, error);
        check(state, QFile(path).size(), input.size);
    }
    measurePeak(state, 0.0, [&] { input.file.save(path, error); });
}

static void saveByStream(State &state, const Input &input)
{
    const Data::String path = input.path + ".peer";
    const auto save = [&] {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        QTextStream out(&file);
        out.setCodec("UTF-8");
        out << input.text;
    };
    for (auto _ : state) {
        QFile::remove(path);
        save();
        check(state, QFile(path).size(), input.size);
    }
    measurePeak(state, 0.0, save);
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    Input input;
    makeInput(input, folder, 50 * 1000 * 1000);

    addPair(
        "TagFile::read", "50 MB", 0.40, [&](State &state) { readOurs(state, input); },
        [&](State &state) { readByPlainReader(state, input); });
    addPair(
        "TagFile::read", "50 MB, beside ten lines", 0.40,
        [&](State &state) { readOurs(state, input); },
        [&](State &state) { readBriefly(state, input); });
    addPair(
        "TagFile::save", "50 MB", 1.0, [&](State &state) { saveOurs(state, input); },
        [&](State &state) { saveByStream(state, input); });
    return runBenchmarks(argc, argv);
}
