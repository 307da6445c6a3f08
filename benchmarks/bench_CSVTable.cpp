// Tables in memory beside libcsv, the converters of numbers and the obvious way to hold a table.
// benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Memory.h"
#include "benchmarks/Pairs.h"
#include "benchmarks/Tables.h"
#include "utils/csv/CSVTable.h"

#include <QRegExp>
#include <QTemporaryDir>
#include <QTextStream>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <vector>

#include <csv.h>
#include <fast_float/fast_float.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using benchmark::State;
using Utils::CSVTable;

struct Input
{
    Data::String path;
    QByteArray nativePath;
    QByteArray bytes;      // what is in the file
    Data::String text;     // the same
    int rows = 0;          // without the empty one at the end
    int columns = 0;       // of every row
    bool quoted = false;   // whether to read it so
    double textSize = 0.0; // of all cells, in characters
};

static const int column = 6;
static const int numericColumns = 10;
static const int chunkSize = 256 * 1024;
static const int rawLimit = 1000; // megabytes, which no input has
static const int fileLimit = 1;   // megabytes, which every input has

/// Sides that do not find the same must not be compared.
static void check(State &state, double found, double expected)
{
    if (found != expected)
        state.SkipWithError("not everything was found");
}

// What the peers hold: the fields in one buffer, with the places where they and the rows end.

struct Fields
{
    explicit Fields(const Input &input)
        : bytes(new char[std::size_t(input.bytes.size())]), end(bytes.get())
    {}

    std::unique_ptr<char[]> bytes; // large enough for all fields of the input
    char *end;                     // of the fields so far
    std::vector<unsigned int> ends;
    std::vector<unsigned int> rowEnds;
};

static void copyField(void *field, std::size_t size, void *data)
{
    auto &fields = *static_cast<Fields *>(data);
    std::memcpy(fields.end, field, size);
    fields.end += size;
    fields.ends.push_back(static_cast<unsigned int>(fields.end - fields.bytes.get()));
}

static void endRow(int, void *data)
{
    auto &fields = *static_cast<Fields *>(data);
    fields.rowEnds.push_back(static_cast<unsigned int>(fields.ends.size()));
}

using FieldCallback = void (*)(void *, std::size_t, void *);
using RowCallback = void (*)(int, void *);

/// Has libcsv read the file in large blocks. It trims fields that are not quoted, and takes the
/// quotes off the others.
static void parseFile(const Input &input, unsigned char options, FieldCallback field,
                      RowCallback row, void *data)
{
    csv_parser parser;
    csv_init(&parser, options);
    std::vector<char> chunk(chunkSize);
    const int file = open(input.nativePath.constData(), O_RDONLY);
    ssize_t size;
    while ((size = read(file, chunk.data(), chunk.size())) > 0)
        csv_parse(&parser, chunk.data(), std::size_t(size), field, row, data);
    close(file);
    csv_fini(&parser, field, row, data);
    csv_free(&parser);
}

/// Has libcsv read the bytes that are in memory.
static void parseBytes(const Input &input, FieldCallback field, RowCallback row, void *data)
{
    csv_parser parser;
    csv_init(&parser, 0);
    csv_parse(&parser, input.bytes.constData(), std::size_t(input.bytes.size()), field, row, data);
    csv_fini(&parser, field, row, data);
    csv_free(&parser);
}

// The table held in the obvious way

using PlainRows = QList<QStringList>;

static QStringList plainRow(const QString &line)
{
    QStringList fields = line.split(QLatin1Char(','));
    for (QString &field : fields)
        field = field.trimmed();
    return fields;
}

static PlainRows plainRows(const Input &input)
{
    QFile file(input.path);
    file.open(QIODevice::ReadOnly);
    const QString text = QString::fromUtf8(file.readAll());
    PlainRows rows;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines)
        rows.append(plainRow(line));
    return rows;
}

/// The rows as they were held, made once: they take a gigabyte and a second.
static const PlainRows &storedRows(const Input &input)
{
    static const PlainRows rows = plainRows(input);
    return rows;
}

/// A list a row, of which each cell is looked at.
static double textSize(const CSVTable &table)
{
    double size = 0.0;
    for (int row = 0; row < table.numRows(); ++row) {
        const QStringList fields = table.data(row);
        for (const QString &field : fields)
            size += field.size();
    }
    return size;
}

static double textSize(const PlainRows &rows)
{
    double size = 0.0;
    for (int row = 0; row < rows.size(); ++row) {
        const QStringList fields = rows.at(row);
        for (const QString &field : fields)
            size += field.size();
    }
    return size;
}

// Loading: all cells are found at the end, which the number of columns asks for.

static void checkLoaded(State &state, const CSVTable &table, const Input &input)
{
    check(state, table.numRows(), input.rows + 1);
    check(state, table.numColumns(), input.columns);
}

static void loadRaw(State &state, const Input &input)
{
    const auto load = [&] {
        CSVTable table;
        table.read(input.path, rawLimit);
        checkLoaded(state, table, input);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 1.3 * input.bytes.size(), load);
}

static void loadText(State &state, const Input &input)
{
    const auto load = [&] {
        CSVTable table;
        table.read(input.path, 0, input.quoted);
        checkLoaded(state, table, input);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

/// With quotes as in RFC 4180.
static void loadQuoted(State &state, const Input &input, int limit)
{
    const auto load = [&] {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.read(input.path, limit);
        check(state, table.numRows(), input.rows);
        check(state, table.numColumns(input.rows - 1), input.columns);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

static void loadEncoded(State &state, const Input &input, const char *encoding, int limit)
{
    const auto load = [&] {
        CSVTable table;
        table.setEncoding(encoding);
        table.read(input.path, limit, limit == 0 && input.quoted);
        check(state, table.numRows(), input.rows + 1); // as bytes, quotes make more columns
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

/// Without quotes, in the file.
static void loadInFile(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path, fileLimit);
        check(state, table.numRows(), input.rows + 1);
    }
}

/// A column of numbers in quotes.
static void columnQuoted(State &state, const Input &input, int limit, double sum)
{
    CSVTable table;
    table.setQuoting(CSVTable::Rfc4180);
    table.read(input.path, limit);
    for (auto _ : state) {
        const QList<double> values = table.colDataValue(column);
        check(state, std::accumulate(values.begin(), values.end(), 0.0), sum);
    }
}

/// The same table with each field in quotes.
static QByteArray quotedTable(const QByteArray &table)
{
    QByteArray quoted = "\"" + table;
    quoted.chop(1); // the last line feed
    quoted.replace(",", "\",\"").replace("\n", "\"\n\"");
    return quoted + "\"\n";
}

static void loadString(State &state, const Input &input)
{
    const auto load = [&] {
        CSVTable table;
        table.setData(input.text, input.quoted);
        checkLoaded(state, table, input);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

static void loadByLibcsv(State &state, const Input &input)
{
    const auto load = [&] {
        Fields fields(input);
        parseFile(input, 0, copyField, endRow, &fields);
        check(state, double(fields.rowEnds.size()), input.rows);
        check(state, double(fields.ends.size()), double(input.rows) * input.columns);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

static void loadBytesByLibcsv(State &state, const Input &input)
{
    const auto load = [&] {
        Fields fields(input);
        parseBytes(input, copyField, endRow, &fields);
        check(state, double(fields.rowEnds.size()), input.rows);
        check(state, double(fields.ends.size()), double(input.rows) * input.columns);
    };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

/// Memory straight from the system: that of malloc() may be warm from an earlier round.
class FreshBytes
{
public:
    explicit FreshBytes(std::size_t size)
        : m_bytes(static_cast<char *>(
              mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))),
          m_size(size)
    {
        if (m_bytes == MAP_FAILED)
            throw std::bad_alloc();
    }
    FreshBytes(const FreshBytes &) = delete;
    FreshBytes &operator=(const FreshBytes &) = delete;
    ~FreshBytes() { munmap(m_bytes, m_size); }

    char *data() { return m_bytes; }
    std::size_t size() const { return m_size; }

private:
    char *const m_bytes;
    const std::size_t m_size;
};

static void loadByReading(State &state, const Input &input)
{
    for (auto _ : state) {
        FreshBytes bytes(std::size_t(input.bytes.size()));
        const int file = open(input.nativePath.constData(), O_RDONLY);
        check(state, double(read(file, bytes.data(), bytes.size())), input.bytes.size());
        close(file);
        int lines = 0;
        const char *const end = bytes.data() + bytes.size();
        const char *next = bytes.data();
        while ((next = static_cast<const char *>(std::memchr(next, '\n', std::size_t(end - next)))))
        {
            ++next;
            ++lines;
        }
        check(state, lines, input.rows);
    }
}

static void loadPlainly(State &state, const Input &input)
{
    const auto load = [&] { check(state, plainRows(input).size(), input.rows + 1); };
    for (auto _ : state)
        load();
    measurePeak(state, 0.0, load);
}

// Numbers

static double sumOf(const QList<double> &numbers)
{
    return std::accumulate(numbers.begin(), numbers.end(), 0.0);
}

/// Where the cells of a table without quotes end in its bytes. A cell begins after the end of the
/// previous one.
static std::vector<int> cellEnds(const Input &input)
{
    std::vector<int> ends;
    for (int i = 0; i < input.bytes.size(); ++i) {
        if (input.bytes.at(i) == ',' || input.bytes.at(i) == '\n')
            ends.push_back(i);
    }
    return ends;
}

/// The same list of numbers as ours, by \p convert over the cells where they are.
template <typename Convert>
static void columnBy(State &state, const Input &input, double expected, Convert convert)
{
    const std::vector<int> ends = cellEnds(input);
    const char *const bytes = input.bytes.constData();
    for (auto _ : state) {
        QList<double> numbers;
        numbers.reserve(input.rows);
        for (std::size_t i = column; i < ends.size(); i += numericColumns)
            numbers.append(convert(bytes + ends[i - 1] + 1, bytes + ends[i]));
        check(state, sumOf(numbers), expected);
    }
}

static double byStrtod(const char *begin, const char *) { return std::strtod(begin, nullptr); }

static double byFastFloat(const char *begin, const char *end)
{
    double number = 0.0;
    fast_float::from_chars(begin, end, number);
    return number;
}

/// The first time that a column is asked for: each round has a table of its own.
static void columnOurs(State &state, const Input &input, int limit, double expected)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto table = std::make_unique<CSVTable>();
        table->read(input.path, limit);
        checkLoaded(state, *table, input);
        state.ResumeTiming();

        check(state, sumOf(table->colDataValue(column)), expected);

        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
}

static void allColumnsAtOnce(State &state, const Input &input, int limit, double expected)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path, limit);
        QList<int> all;
        for (int i = 0; i < numericColumns; ++i)
            all.append(i);
        double sum = 0.0;
        for (const QList<double> &numbers : table.colDataValues(all))
            sum += sumOf(numbers);
        check(state, sum, expected);
    }
}

// One pass over all cells, each of which is looked at where it is

static void passOurs(State &state, const Input &input, int limit)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path, limit);
        double size = 0.0;
        table.visit(0, -1, [&](const Utils::CSVRow &row) {
            for (const Utils::CSVCell &cell : row)
                size += cell.size();
            return true;
        });
        check(state, size, input.textSize);
    }
}

static void addSize(void *, std::size_t size, void *data)
{
    *static_cast<double *>(data) += double(size);
}

static void passByLibcsv(State &state, const Input &input)
{
    for (auto _ : state) {
        double size = 0.0;
        parseFile(
            input, 0, addSize, [](int, void *) {}, &size);
        check(state, size, input.textSize);
    }
}

static void allColumnsOurs(State &state, const Input &input, int limit, double expected)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path, limit);
        std::array<QList<double>, numericColumns> columns;
        double sum = 0.0;
        for (int i = 0; i < numericColumns; ++i) {
            columns[std::size_t(i)] = table.colDataValue(i);
            sum += sumOf(columns[std::size_t(i)]);
        }
        check(state, sum, expected);
    }
}

/// What libcsv leaves: numbers alone, and no cell.
struct Columns
{
    std::size_t at = 0;
    std::array<std::vector<double>, numericColumns> numbers;
};

static void takeByStrtod(void *field, std::size_t, void *data)
{
    auto &columns = *static_cast<Columns *>(data);
    columns.numbers[columns.at++].push_back(std::strtod(static_cast<char *>(field), nullptr));
}

static void takeByFastFloat(void *field, std::size_t size, void *data)
{
    auto &columns = *static_cast<Columns *>(data);
    const char *const begin = static_cast<char *>(field);
    columns.numbers[columns.at++].push_back(byFastFloat(begin, begin + size));
}

static void takeRow(int, void *data) { static_cast<Columns *>(data)->at = 0; }

static double sumOf(const Columns &columns)
{
    double sum = 0.0;
    for (const std::vector<double> &numbers : columns.numbers)
        sum += std::accumulate(numbers.begin(), numbers.end(), 0.0);
    return sum;
}

static void allColumnsByStrtod(State &state, const Input &input, double expected)
{
    for (auto _ : state) {
        Columns columns;
        parseFile(input, CSV_APPEND_NULL, takeByStrtod, takeRow, &columns); // ends for strtod
        check(state, sumOf(columns), expected);
    }
}

static void allColumnsByFastFloat(State &state, const Input &input, double expected)
{
    for (auto _ : state) {
        Columns columns;
        parseFile(input, 0, takeByFastFloat, takeRow, &columns);
        check(state, sumOf(columns), expected);
    }
}

static void fileColumnOurs(State &state, const Input &input, double expected)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path, fileLimit);
        check(state, sumOf(table.colDataValue(column)), expected);
        check(state, table.isDemandRead(), true);
    }
}

static void takeOneByStrtod(void *field, std::size_t, void *data)
{
    auto &columns = *static_cast<Columns *>(data);
    if (columns.at++ == column)
        columns.numbers[column].push_back(std::strtod(static_cast<char *>(field), nullptr));
}

static void fileColumnByLibcsv(State &state, const Input &input, double expected)
{
    for (auto _ : state) {
        Columns columns;
        parseFile(input, CSV_APPEND_NULL, takeOneByStrtod, takeRow, &columns);
        check(state, sumOf(columns), expected);
    }
}

// Rows as text

static void walkOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVTable table;
        table.read(input.path);
        check(state, textSize(table), input.textSize);
    }
}

/// The first walk over a loaded table, and lists that are made of each line.
static void firstWalkOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto table = std::make_unique<CSVTable>();
        table->read(input.path);
        checkLoaded(state, *table, input);
        state.ResumeTiming();

        check(state, textSize(*table), input.textSize);

        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
}

static void walkOverLines(State &state, const Input &input)
{
    const QStringList lines = input.text.split(QLatin1Char('\n'));
    for (auto _ : state) {
        double size = 0.0;
        for (const QString &line : lines) {
            const QStringList fields = plainRow(line);
            for (const QString &field : fields)
                size += field.size();
        }
        check(state, size, input.textSize);
    }
}

static void walkPlainly(State &state, const Input &input)
{
    for (auto _ : state)
        check(state, textSize(plainRows(input)), input.textSize);
}

static void thirdWalkOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto table = std::make_unique<CSVTable>();
        table->read(input.path);
        check(state, textSize(*table), input.textSize);
        check(state, textSize(*table), input.textSize); // keeps the lists
        state.ResumeTiming();

        check(state, textSize(*table), input.textSize);

        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
}

static void laterWalksOurs(State &state, const Input &input)
{
    CSVTable table;
    table.read(input.path);
    textSize(table);
    textSize(table);
    for (auto _ : state)
        check(state, textSize(table), input.textSize);
}

static void walkStored(State &state, const Input &input)
{
    const PlainRows &rows = storedRows(input);
    for (auto _ : state)
        check(state, textSize(rows), input.textSize);
}

// Blanks as delimiter: every row as text, none kept by the peer

static void blanksOurs(State &state, const Input &input)
{
    for (auto _ : state) {
        CSVTable table(QStringLiteral("\\s+"));
        table.setData(input.text);
        check(state, textSize(table), input.textSize);
    }
}

static void blanksByQRegExp(State &state, const Input &input)
{
    for (auto _ : state) {
        const QRegExp blanks(QStringLiteral("\\s+"));
        const QStringList lines = input.text.split(QLatin1Char('\n'));
        double size = 0.0;
        for (const QString &line : lines) {
            const QStringList fields = line.split(blanks);
            for (const QString &field : fields)
                size += field.trimmed().size();
        }
        check(state, size, input.textSize);
    }
}

// Output

/// The text has one line feed more than what was read.
static void checkWritten(State &state, const QString &path, const Input &input)
{
    check(state, double(QFile(path).size()), input.bytes.size() + 1.0);
}

static void writeOurs(State &state, const Input &input)
{
    const Data::String path = input.path + ".ours";
    CSVTable table;
    table.read(input.path);
    for (auto _ : state)
        table.write(path);
    checkWritten(state, path, input);
    QFile::remove(path);
}

static void writeByStream(State &state, const Input &input)
{
    const QString path = input.path + ".peer";
    const PlainRows &rows = storedRows(input);
    for (auto _ : state) {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        QTextStream stream(&file);
        stream.setCodec("UTF-8");
        for (const QStringList &row : rows) {
            for (int i = 0; i < row.size(); ++i) {
                if (i > 0)
                    stream << ',';
                stream << row.at(i);
            }
            stream << '\n';
        }
    }
    checkWritten(state, path, input);
    QFile::remove(path);
}

static void checksumOurs(State &state, const Input &input, int limit, const QByteArray &joined)
{
    CSVTable table;
    table.read(input.path, limit);
    const double expected = qChecksum(joined.constData(), uint(joined.size()));
    for (auto _ : state)
        check(state, table.checksum(), expected);
}

static void checksumByQt(State &state, const QByteArray &joined)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(qChecksum(joined.constData(), uint(joined.size())));
}

// Inputs

static Input makeInput(const QString &path, const QByteArray &bytes, int columns)
{
    writeTable(path, bytes);
    Input input;
    input.path = path;
    input.nativePath = QFile::encodeName(path);
    input.bytes = bytes;
    input.text = QString::fromUtf8(bytes);
    input.rows = bytes.count('\n');
    input.columns = columns;
    return input;
}

static Input makeNumericInput(const QString &path, const QByteArray &bytes)
{
    Input input = makeInput(path, bytes, numericColumns);
    input.textSize = bytes.size() - double(input.rows) * numericColumns;
    return input;
}

static Input makeMixedInput(const QString &path, int size)
{
    Input input = makeInput(path, makeMixedTable(size), 8);
    input.quoted = true;
    return input;
}

/// The same table in UTF-8 and in windows-1252.
struct EncodedInputs
{
    Input utf8;
    Input latin;
};

static EncodedInputs makeEncodedInputs(const QTemporaryDir &folder, QString text, int columns)
{
    for (QChar &character : text) {
        if (character > QChar(0xff)) // which windows-1252 does not have, except for the euro sign
            character = QChar(0x20ac);
    }
    EncodedInputs inputs;
    const QString name = QString::number(columns) + QStringLiteral(".csv");
    inputs.utf8 =
        makeInput(folder.filePath(QStringLiteral("utf8-") + name), text.toUtf8(), columns);
    inputs.utf8.quoted = true;
    inputs.latin = inputs.utf8;
    inputs.latin.path = folder.filePath(QStringLiteral("windows-1252-") + name);
    QByteArray bytes = text.toLatin1();
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) == QChar(0x20ac))
            bytes[i] = '\x80';
    }
    writeTable(inputs.latin.path, bytes);
    return inputs;
}

/// The sums of the columns, each in the order of its rows.
static std::array<double, numericColumns> columnSums(const Input &input)
{
    std::array<double, numericColumns> sums = {};
    const std::vector<int> ends = cellEnds(input);
    for (std::size_t i = 0; i < ends.size(); ++i) {
        const char *const begin = input.bytes.constData() + (i == 0 ? 0 : ends[i - 1] + 1);
        sums[i % numericColumns] += std::strtod(begin, nullptr);
    }
    return sums;
}

template <typename Ours, typename Peer>
static void add(const std::string &topic, const char *detail, double target, Ours ours, Peer peer,
                const Input &input)
{
    addPair(
        topic, detail, target, [=](State &state) { ours(state, input); },
        [=](State &state) { peer(state, input); });
}

int main(int argc, char **argv)
{
    qunsetenv("KLT_NORAWREAD"); // would read bytes as text
    const QTemporaryDir folder;
    const int rows = 1000 * 1000;
    const QByteArray table = makeNumericTable(rows, numericColumns);
    const Input numeric = makeNumericInput(folder.filePath(QStringLiteral("numeric.csv")), table);
    const Input mixed =
        makeMixedInput(folder.filePath(QStringLiteral("mixed.csv")), 50 * 1000 * 1000);
    Input aligned = makeNumericInput(folder.filePath(QStringLiteral("aligned.txt")),
                                     makeNumericTable(rows / 10, numericColumns));
    aligned.text.replace(QLatin1Char(','), QLatin1String("   "));
    const QByteArray joined = QByteArray::number(rows + 1) + QByteArray(table).replace("\n", "");
    const std::array<double, numericColumns> sums = columnSums(numeric);
    const double sum = sums[column];
    const double allSums = std::accumulate(sums.begin(), sums.end(), 0.0);

    const char *const million = "1,000,000 x 10";
    const char *const fewer = "100,000 x 10";
    const char *const words = "50 MB of words";

    add("load bytes of a file beside libcsv copying", million, 0.3, loadRaw, loadByLibcsv, numeric);
    add("load bytes of a file beside reading and memchr", million, 1.0, loadRaw, loadByReading,
        numeric);
    add("load text of a file beside libcsv copying", million, 0.4, loadText, loadByLibcsv, numeric);
    add("load text of a file beside libcsv copying", words, 0.4, loadText, loadByLibcsv, mixed);
    add("load text of a file beside lists of QString", million, 0.0, loadText, loadPlainly,
        numeric);
    add("load a QString beside libcsv copying bytes", million, 0.2, loadString, loadBytesByLibcsv,
        numeric);
    add("load a QString beside libcsv copying bytes", words, 0.2, loadString, loadBytesByLibcsv,
        mixed);

    const EncodedInputs encoded =
        makeEncodedInputs(folder, QString::fromUtf8(makeMixedTable(100 * 1000 * 1000)), 8);
    const QString labels = QString::fromUtf8("t{s},T{\u00b0"
                                             "C}") +
                           QStringLiteral(",F").repeated(numericColumns - 2);
    const EncodedInputs measured =
        makeEncodedInputs(folder, labels + QLatin1Char('\n') + numeric.text, numericColumns);
    const auto loadIn = [&](const char *encoding, const Input &input, int limit) {
        return [=](State &state) { loadEncoded(state, input, encoding, limit); };
    };
    const char *const manyWords = "100 MB of words";
    addPair("load text in windows-1252 beside UTF-8", "1,000,000 x 10 and labels", 1.3,
            loadIn("windows-1252", measured.latin, 0), loadIn("", measured.utf8, 0));
    addPair("load text in windows-1252 beside UTF-8", manyWords, 1.3,
            loadIn("windows-1252", encoded.latin, 0), loadIn("", encoded.utf8, 0));
    addPair("load text with a guess, windows-1252, beside UTF-8", manyWords, 1.3,
            loadIn("auto", encoded.latin, 0), loadIn("", encoded.utf8, 0));
    addPair("load bytes in windows-1252 beside UTF-8", manyWords, 1.3,
            loadIn("windows-1252", encoded.latin, rawLimit), loadIn("", encoded.utf8, rawLimit));

    const auto oneColumn = [&](int limit) {
        return [=](State &state, const Input &input) { columnOurs(state, input, limit, sum); };
    };

    // Quotes: the peer is the table itself, without quotes.
    const Input quoted =
        makeNumericInput(folder.filePath(QStringLiteral("quoted.csv")), quotedTable(table));
    const auto addQuoted = [&](const std::string &topic, const char *detail, double target,
                               const Input &input, const auto &ours, const Input &peerInput,
                               const auto &peer) {
        addPair(
            topic, detail, target, [=](State &state) { ours(state, input); },
            [=](State &state) { peer(state, peerInput); });
    };
    const auto loadWith = [](int limit) {
        return [=](State &state, const Input &input) { loadQuoted(state, input, limit); };
    };
    addQuoted("load quoted bytes beside bytes", million, 1.5, quoted, loadWith(rawLimit), numeric,
              loadRaw);
    addQuoted("load quoted text beside bytes", million, 1.5, quoted, loadWith(0), numeric, loadRaw);
    addQuoted("load quoted words as bytes beside classic quotes", words, 1.0, mixed,
              loadWith(rawLimit), mixed, loadText);
    addQuoted("find quoted rows of a file beside lines", million, 0.0, quoted, loadWith(fileLimit),
              numeric, loadInFile);
    const auto quotedColumn = [&](int limit) {
        return [=](State &state, const Input &input) { columnQuoted(state, input, limit, sum); };
    };
    addQuoted("a column of quoted bytes beside bytes", million, 0.0, quoted, quotedColumn(rawLimit),
              numeric, oneColumn(rawLimit));
    const auto strtodColumn = [=](State &state, const Input &input) {
        columnBy(state, input, sum, byStrtod);
    };
    const auto fastFloatColumn = [=](State &state, const Input &input) {
        columnBy(state, input, sum, byFastFloat);
    };
    add("a column of loaded bytes beside strtod", million, 0.45, oneColumn(rawLimit), strtodColumn,
        numeric);
    add("a column of loaded bytes beside fast_float", million, 1.25, oneColumn(rawLimit),
        fastFloatColumn, numeric);
    add("a column of loaded text beside strtod", million, 0.45, oneColumn(0), strtodColumn,
        numeric);
    add("a column of loaded text beside fast_float", million, 1.25, oneColumn(0), fastFloatColumn,
        numeric);

    const auto allColumns = [&](int limit) {
        return
            [=](State &state, const Input &input) { allColumnsOurs(state, input, limit, allSums); };
    };
    const auto strtodColumns = [=](State &state, const Input &input) {
        allColumnsByStrtod(state, input, allSums);
    };
    const auto fastFloatColumns = [=](State &state, const Input &input) {
        allColumnsByFastFloat(state, input, allSums);
    };
    add("load bytes and ten columns beside libcsv and strtod", million, 0.38, allColumns(rawLimit),
        strtodColumns, numeric);
    add("load bytes and ten columns beside libcsv and fast_float", million, 0.8,
        allColumns(rawLimit), fastFloatColumns, numeric);
    const auto columnsAtOnce = [&](int limit) {
        return [=](State &state, const Input &input) {
            allColumnsAtOnce(state, input, limit, allSums);
        };
    };
    add("load bytes and ten columns at once beside libcsv and fast_float", million, 0.45,
        columnsAtOnce(rawLimit), fastFloatColumns, numeric);
    add("load text and ten columns at once beside libcsv and fast_float", million, 0.0,
        columnsAtOnce(0), fastFloatColumns, numeric);
    const auto onePass = [](int limit) {
        return [=](State &state, const Input &input) { passOurs(state, input, limit); };
    };
    add("one pass over all cells of bytes beside libcsv", million, 0.35, onePass(rawLimit),
        passByLibcsv, numeric);
    add("one pass over all cells of text beside libcsv", million, 0.35, onePass(0), passByLibcsv,
        numeric);
    add("load text and ten columns beside libcsv and fast_float", million, 0.0, allColumns(0),
        fastFloatColumns, numeric);
    add(
        "a column in the file beside libcsv and strtod", million, 0.33,
        [=](State &state, const Input &input) { fileColumnOurs(state, input, sum); },
        [=](State &state, const Input &input) { fileColumnByLibcsv(state, input, sum); }, numeric);

    add("load and all rows as text beside lists of QString", million, 0.85, walkOurs, walkPlainly,
        numeric);
    add("all rows once beside lists made of each line", million, 0.85, firstWalkOurs, walkOverLines,
        numeric);
    add("all rows a third time beside stored lists", million, 1.2, thirdWalkOurs, walkStored,
        numeric);
    add("all rows once more beside stored lists", million, 1.2, laterWalksOurs, walkStored,
        numeric);
    add("all rows between blanks beside QRegExp", fewer, 0.22, blanksOurs, blanksByQRegExp,
        aligned);

    add("write beside a QTextStream a cell", million, 0.4, writeOurs, writeByStream, numeric);
    const auto checksum = [=](int limit) {
        return [=](State &state, const Input &input) { checksumOurs(state, input, limit, joined); };
    };
    const auto qtChecksum = [=](State &state, const Input &) { checksumByQt(state, joined); };
    add("checksum of bytes beside qChecksum of them joined", million, 0.2, checksum(rawLimit),
        qtChecksum, numeric);
    add("checksum of text beside qChecksum of it joined", million, 0.2, checksum(0), qtChecksum,
        numeric);
    return runBenchmarks(argc, argv, /*mebibytes=*/2048);
}
