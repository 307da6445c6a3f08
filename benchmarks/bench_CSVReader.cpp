// A table that is read from its file on demand, beside reading it by hand and libcsv. benchmarks/
// report tells how names and counters make pairs and targets.

#include "benchmarks/Memory.h"
#include "benchmarks/Pairs.h"
#include "benchmarks/Tables.h"
#include "tests/csv/PlainCSVReader.h"
#include "utils/csv/CSVReader.h"

#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

#include <csv.h>
#include <fcntl.h>
#include <unistd.h>

using benchmark::State;
using Utils::CSVReader;

struct Input
{
    Data::String path;
    QByteArray nativePath;
    int rows = 0;
    double columnSum = 0.0; // of the column that is asked for
};

static const int column = 6;
static const int chunkSize = 256 * 1024;

/// Sides that do not find the same must not be compared.
static void check(State &state, double found, double expected)
{
    if (found != expected)
        state.SkipWithError("not everything was found");
}

// The places of all lines

static void indexOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVReader reader;
        reader.read(input.path);
        check(state, reader.numRows(), input.rows + 1);
    }
    measurePeak(state, 4.0 * input.rows + (1 << 20), [&] { CSVReader().read(input.path); });
}

static std::vector<int> offsetsByChunks(const Input &input)
{
    std::vector<char> chunk(chunkSize);
    const int file = open(input.nativePath.constData(), O_RDONLY);
    std::vector<int> offsets(1, 0);
    int base = 0;
    ssize_t size;
    while ((size = read(file, chunk.data(), chunk.size())) > 0) {
        const char *const end = chunk.data() + size;
        for (const char *at = chunk.data();
             (at = static_cast<const char *>(std::memchr(at, '\n', std::size_t(end - at))));)
            offsets.push_back(base + static_cast<int>(++at - chunk.data()));
        base += static_cast<int>(size);
    }
    close(file);
    return offsets;
}

static void indexByChunks(State &state, const Input &input)
{
    for (auto _ : state)
        check(state, static_cast<double>(offsetsByChunks(input).size()), input.rows + 1);
    measurePeak(state, 0.0, [&] { offsetsByChunks(input); });
}

// One column as numbers, with the reading of the file

static double sumOf(const QList<double> &numbers)
{
    return std::accumulate(numbers.begin(), numbers.end(), 0.0);
}

static void columnOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVReader reader;
        reader.read(input.path);
        check(state, sumOf(reader.colDataValue(column)), input.columnSum);
    }
}

/// What libcsv is asked to keep.
struct Column
{
    int at = 0;
    std::vector<double> numbers;
};

static void takeField(void *field, std::size_t, void *data)
{
    auto &wanted = *static_cast<Column *>(data);
    if (wanted.at++ == column)
        wanted.numbers.push_back(std::strtod(static_cast<const char *>(field), nullptr));
}

static void takeRow(int, void *data) { static_cast<Column *>(data)->at = 0; }

static void columnByLibcsv(State &state, const Input &input)
{
    for (auto _ : state) {
        csv_parser parser;
        csv_init(&parser, CSV_APPEND_NULL);
        Column wanted;
        std::vector<char> chunk(chunkSize);
        const int file = open(input.nativePath.constData(), O_RDONLY);
        ssize_t size;
        while ((size = read(file, chunk.data(), chunk.size())) > 0)
            csv_parse(&parser, chunk.data(), std::size_t(size), takeField, takeRow, &wanted);
        csv_fini(&parser, takeField, takeRow, &wanted);
        csv_free(&parser);
        close(file);
        check(state, std::accumulate(wanted.numbers.begin(), wanted.numbers.end(), 0.0),
              input.columnSum);
    }
}

static void columnByRows(State &state, const Input &input)
{
    for (auto _ : state) {
        PlainCSVReader reader;
        reader.addDelimiter(',');
        reader.read(input.nativePath.constData());
        check(state, sumOf(reader.values(reader.colData(column, 0))), input.columnSum);
    }
}

// All rows, one after the other

static void walkOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVReader reader;
        reader.read(input.path);
        int fields = 0;
        for (int row = 0; row < reader.numRows(); ++row)
            fields += reader.data(row).size();
        check(state, fields, 10.0 * input.rows + 1.0);
    }
}

static void walkByRows(State &state, const Input &input)
{
    for (auto _ : state) {
        PlainCSVReader reader;
        reader.addDelimiter(',');
        reader.read(input.nativePath.constData());
        int fields = 0;
        for (int row = 0; row < reader.numRows(); ++row)
            fields += reader.data(row).size();
        check(state, fields, 10.0 * input.rows + 1.0);
    }
}

// Rows here and there

static void jumpOurs(State &state, const Input &input)
{
    CSVReader reader;
    reader.read(input.path);
    quint64 row = 1;
    for (auto _ : state) {
        row = row * 6364136223846793005 + 1442695040888963407;
        check(state, reader.data(int((row >> 33) % quint64(input.rows))).size(), 10.0);
    }
}

static void jumpByRows(State &state, const Input &input)
{
    PlainCSVReader reader;
    reader.addDelimiter(',');
    reader.read(input.nativePath.constData());
    quint64 row = 1;
    for (auto _ : state) {
        row = row * 6364136223846793005 + 1442695040888963407;
        check(state, reader.data(int((row >> 33) % quint64(input.rows))).size(), 10.0);
    }
}

// The checksum of all lines

static void checksumOurs(State &state, const Input &input, const QByteArray &lines)
{
    CSVReader reader;
    reader.read(input.path);
    const double expected = qChecksum(lines.constData(), uint(lines.size()));
    for (auto _ : state)
        check(state, reader.checksum(), expected);
}

static void checksumByQt(State &state, const Input &, const QByteArray &lines)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(qChecksum(lines.constData(), uint(lines.size())));
}

template <typename Ours, typename Peer>
static void addReaderPair(const char *topic, const char *detail, double target, Ours ours,
                          Peer peer, const Input &input)
{
    addPair(
        topic, detail, target, [=](State &state) { ours(state, input); },
        [=](State &state) { peer(state, input); });
}

static Input makeInput(const QString &path, const QByteArray &table)
{
    writeTable(path, table);
    Input input;
    input.path = path;
    input.nativePath = QFile::encodeName(path);
    PlainCSVReader reader;
    reader.addDelimiter(',');
    reader.read(input.nativePath.constData());
    input.rows = reader.numRows() - 1;
    input.columnSum = sumOf(reader.values(reader.colData(column, 0)));
    return input;
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    const int rows = 1000 * 1000;
    const QByteArray table = makeNumericTable(rows, 10);
    const Input large = makeInput(folder.filePath(QStringLiteral("large.csv")), table);
    const Input small =
        makeInput(folder.filePath(QStringLiteral("small.csv")), makeNumericTable(rows / 10, 10));
    const QByteArray lines = QByteArray::number(rows + 1) + QByteArray(table).replace("\n", "");

    const char *const million = "1,000,000 x 10";
    const char *const fewer = "100,000 x 10";
    addReaderPair("places of lines beside read and memchr", million, 1.15, indexOurs, indexByChunks,
                  large);
    addReaderPair("read and one column beside libcsv", million, 0.33, columnOurs, columnByLibcsv,
                  large);
    addReaderPair("read and one column beside a read a row", fewer, 0.0, columnOurs, columnByRows,
                  small);
    addReaderPair("read and all rows beside a read a row", fewer, 0.0, walkOurs, walkByRows, small);
    addReaderPair("a row anywhere beside a read a row", fewer, 0.0, jumpOurs, jumpByRows, small);
    addPair(
        "checksum beside qChecksum of bytes at hand", million, 0.2,
        [=](State &state) { checksumOurs(state, large, lines); },
        [=](State &state) { checksumByQt(state, large, lines); });
    return runBenchmarks(argc, argv);
}
