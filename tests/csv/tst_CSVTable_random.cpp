#include "utils/csv/CSVTable.h"

#include "tests/csv/PlainCSVData.h"
#include "tests/support/Files.h" // contentsOf

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <random>

using Numbers = QList<double>;
using Random = std::mt19937_64;

static int below(Random &random, int count) { return int(random() % quint64(count)); }

template <typename Value, std::size_t count>
static const Value &anyOf(Random &random, const Value (&values)[count])
{
    return values[below(random, int(count))];
}

/// The result of one call, of any type.
struct Result
{
    QStringList texts;
    QList<double> numbers;
    QByteArray bytes;

    bool operator==(const Result &other) const
    {
        const auto isSame = [](double left, double right) {
            return std::memcmp(&left, &right, sizeof left) == 0 || (qIsNaN(left) && qIsNaN(right));
        };
        return texts == other.texts && bytes == other.bytes &&
               std::equal(numbers.begin(), numbers.end(), other.numbers.begin(),
                          other.numbers.end(), isSame);
    }
};

/// A call with all that it may want.
struct Call
{
    enum Kind
    {
        Row,
        Cell,
        RowValues,
        CellValue,
        Column,
        ColumnValues,
        ManyColumnValues,
        Parts,
        RowPart,
        RowPartValues,
        Label,
        Key,
        Annotation,
        Columns,
        IsEmpty,
        Header,
        Text,
        Lines,
        AllText,
        Escaped,
        Aligned,
        Checksum,
        Write,
        Visit,
        SetText,
        SetNumber,
        AppendLine,
        AppendFields,
        AppendNumbers,
        RemoveColumn,
        RemoveEmptyRows,
        Sort,
        Align,
        AddDelimiter,
        SetHole,
        SetDemand,
        SetComment,
        Clear,
        Read,
        Count
    };
    int kind = Row;
    int row = 0;
    int col = 0;
    int last = 0;
    bool flag = false;
    double number = 0.0;
    QString text;
    QString delimiter;
};

/// What a table is read from, and how.
struct Input
{
    enum Way
    {
        AsText,
        AsBytes,
        FromFile
    };
    int way = AsText;
    int limit = 0; // of the file
    bool quoted = false;
    QString text;
    QByteArray bytes;
    QString path;
};

static bool readInput(Utils::CSVTable &table, const Input &input)
{
    switch (input.way) {
    case Input::AsText:
        return table.setData(Data::String(input.text), input.quoted);
    case Input::AsBytes:
        return table.setData(input.bytes);
    default:
        return table.read(input.path, input.limit, input.quoted);
    }
}

/// All that the cells of the rows of a call tell.
static Result visitRows(const Utils::CSVTable &table, const Call &call)
{
    Result result;
    table.visit(call.row, call.last, [&](const Utils::CSVRow &row) {
        result.numbers += {double(row.number()), double(row.size())};
        for (const Utils::CSVCell &cell : row) {
            bool ok = call.flag;
            result.texts += cell.text();
            result.numbers += {cell.number(&ok), double(ok), cell.number(), double(cell.isEmpty())};
        }
        return true;
    });
    return result;
}

/// The same from the functions that have been there before.
static Result readRows(const Utils::CSVTable &table, const Call &call)
{
    Result result;
    const int last = call.last < 0 ? table.numRows() - 1 : call.last;
    for (int row = std::max(call.row, 0); row <= std::min(last, table.numRows() - 1); ++row) {
        const QStringList fields = table.data(row);
        const QList<double> values = table.dataValue(row);
        result.numbers += {double(row), double(fields.size())};
        for (int col = 0; col < fields.size(); ++col) {
            bool ok = call.flag;
            result.texts += fields.at(col);
            result.numbers += {table.dataValue(row, col, &ok), double(ok), values.at(col),
                               double(table.isEmpty(row, col))};
        }
    }
    return result;
}

static Result apply(Utils::CSVTable &table, const Call &call, const Input &input,
                    const QString &output)
{
    Result result;
    Data::String text("before");
    Data::String annotation("before");
    double number = 77.0;
    bool ok = call.flag;
    int found = 77;
    switch (call.kind) {
    case Call::Row:
        result.texts = table.data(call.row);
        break;
    case Call::Cell:
        result.texts.append(table.data(call.row, call.col));
        break;
    case Call::RowValues:
        result.numbers = table.dataValue(call.row);
        break;
    case Call::CellValue:
        result.numbers = {table.dataValue(call.row, call.col, &ok), double(ok)};
        break;
    case Call::Column:
        result.texts = table.colData(call.col, call.row);
        break;
    case Call::ColumnValues:
        result.numbers = table.colDataValue(call.col, call.row);
        break;
    case Call::ManyColumnValues:
        for (const auto &column : table.colDataValues({call.col, 1, call.last, call.col}, call.row))
            result.numbers += Numbers{double(column.size())} + column;
        break;
    case Call::Parts:
        result.texts = table.data(call.row, call.col, Data::String(call.text));
        result.numbers = table.dataValue(call.row, call.col, Data::String(call.text));
        break;
    case Call::RowPart:
        result.texts = table.rowData(call.row, call.col, call.last);
        break;
    case Call::RowPartValues:
        result.numbers = table.rowDataValue(call.row, call.col, call.last);
        break;
    case Call::Label:
        result.texts = QStringList{table.data(call.row, Data::String(call.text))};
        result.numbers = {table.dataValue(call.row, Data::String(call.text), &ok), double(ok)};
        break;
    case Call::Key:
        result.texts.append(
            table.data(Data::String(call.text), call.col, call.row, &found, call.flag));
        result.numbers.append(found);
        break;
    case Call::Annotation:
        table.data(call.row, call.col, annotation, text);
        result.texts = QStringList{annotation, text};
        table.dataValue(call.row, call.col, annotation, number);
        result.numbers.append(number);
        break;
    case Call::Columns:
        result.numbers.append(table.numColumns(call.row));
        break;
    case Call::IsEmpty:
        result.numbers.append(table.isEmpty(call.row, call.col));
        break;
    case Call::Header:
        result.numbers.append(table.hasHeader());
        break;
    case Call::Text:
        result.texts.append(table.stringData(call.row));
        break;
    case Call::Lines:
        result.texts = table.lineData(call.row, call.last);
        break;
    case Call::AllText:
        result.texts.append(table.stringData());
        break;
    case Call::Escaped:
        result.texts = table.escapedData(call.row, '\\');
        break;
    case Call::Aligned:
        result.texts.append(table.alignedStringData(call.last, call.col, call.row));
        break;
    case Call::Checksum:
        result.numbers.append(table.checksum(call.row));
        break;
    case Call::Write:
        QFile::remove(output); // to cut it short would wait for the disk to have the last one
        result.numbers.append(table.write(output));
        result.bytes = contentsOf(output);
        break;
    case Call::Visit:
        result = visitRows(table, call);
        break;
    case Call::SetText:
        table.setData(call.row, call.col, Data::String(call.text));
        break;
    case Call::SetNumber:
        table.setData(call.row, call.col, call.number, 'f', call.last);
        break;
    case Call::AppendLine:
        table.appendData(Data::String(call.text));
        break;
    case Call::AppendFields:
        table.appendData(call.text.split(QLatin1Char(',')));
        break;
    case Call::AppendNumbers:
        table.appendData(QList<double>{call.number, 1.25});
        break;
    case Call::RemoveColumn:
        table.removeColumn(call.col);
        break;
    case Call::RemoveEmptyRows:
        result.numbers.append(table.removeEmptyRows(call.row, call.last));
        break;
    case Call::Sort:
        table.sort(call.col, call.row, call.flag);
        break;
    case Call::Align:
        table.alignColumns(call.row, call.last, call.col, call.flag);
        break;
    case Call::AddDelimiter:
        table.addDelimiter(Data::String(call.delimiter), call.flag);
        break;
    case Call::SetHole:
        table.setHoleValue(call.number);
        break;
    case Call::SetDemand:
        table.setDemandParse(call.flag);
        break;
    case Call::SetComment:
        table.setComment(Data::String(call.text.left(1)), call.flag ? '!' : '\0');
        break;
    case Call::Clear:
        table.clear();
        break;
    default:
        result.numbers.append(readInput(table, input));
        break;
    }
    result.numbers.append(table.numRows());
    return result;
}

// Random tables

/// Most often a plain one. Among the others are patterns, some of them invalid, and those of more
/// than one character.
static QString anyDelimiter(Random &random)
{
    static const char *const common[] = {",", ",", ",", ";", "\t", " ", "-"};
    static const char *const rare[] = {
        "\\s+", "\\s+", "::", ",,",  ";;",   "[,;]",  ".",    "|",           "(",  "",
        "\\",   "  ",   "^",  "$",   "\\b",  ",\\s*", "\xc3", "\xc3\xa9",    "\"", "\n",
        "\r",   "a",    "1",  "\\s", "\\s*", "{",     ", ",   "\xe2\x82\xac"};
    if (below(random, 50) == 0)
        return QString(QChar(0));
    return QString::fromUtf8(below(random, 3) > 0 ? anyOf(random, common) : anyOf(random, rare));
}

/// Pieces that matter are frequent in each kind of text.
static QString anyPiece(Random &random, int kind, const QString &delimiter)
{
    static const char *const plain[] = {"1", "2.5", "-3e2", "x", "ab", "0", "12345.678", "7"};
    static const char *const blanks[] = {" ", "\t", "\r", "  ", "\v", "\f"};
    static const char *const quotes[] = {"\"", "\"\"", "\"a", "b\"", "\"\"\"", "\\\""};
    static const char *const marks[] = {"#", "#!", "!", "{", "}", "1.5{mm}", "->", "#x", "\\"};
    static const char *const numbers[] = {"inf", "INF", "nan", "1e400", "+5",  "1.",
                                          ".5",  "0x1", "1e",  "-",     "- 1", "1,5"};
    static const ushort strange[] = {0xa0,   0x85,   0x3000, 0x2028, 0x2003, 0x1680, 0xfeff,
                                     0xe9,   0x20ac, 0x200b, 0,      0x1c,   0x2212, 0xff11,
                                     0xfffd, 0x80,   0x7f,   0x205f, 0x202f};
    switch (below(random, 12)) {
    case 0:
    case 1:
    case 2:
        return delimiter;
    case 3:
    case 4:
        return QStringLiteral("\n");
    case 5:
        return kind >= 1 ? QString::fromUtf8(anyOf(random, blanks)) : QStringLiteral("3");
    case 6:
        return kind >= 2 ? QString::fromUtf8(anyOf(random, quotes)) : QStringLiteral("4");
    case 7:
        return kind >= 3 ? QString::fromUtf8(anyOf(random, marks)) : QStringLiteral("5");
    case 8:
        return kind >= 3 ? QString::fromUtf8(anyOf(random, numbers)) : QStringLiteral("6");
    case 9:
    case 10:
        return kind >= 4 ? QString(QChar(anyOf(random, strange)))
                         : QString::fromUtf8(anyOf(random, plain));
    default:
        return QString::fromUtf8(anyOf(random, plain));
    }
}

/// Text of about \p pieces pieces. Surrogates are in it, some of them alone.
static QString anyText(Random &random, int pieces, const QString &delimiter)
{
    const int kind = below(random, 6);
    const QString mostly = below(random, 4) == 0 ? QStringLiteral(",") : delimiter;
    QString text;
    for (int i = 0; i < pieces; ++i) {
        text += anyPiece(random, kind, mostly);
        if (kind == 5 && below(random, 6) == 0)
            text += QChar(anyOf(random, {ushort(0xd83d), ushort(0xde00)}));
        if (kind == 5 && below(random, 12) == 0)
            text += QStringLiteral("\U0001f600");
    }
    return text;
}

/// Bytes as a file may have them: after a byte order mark, cut off, or damaged in places.
static QByteArray anyBytes(Random &random, const QString &text)
{
    QByteArray bytes = text.toUtf8();
    if (below(random, 10) == 0)
        bytes.prepend("\xef\xbb\xbf");
    if (below(random, 10) == 0)
        bytes.chop(1);
    if (below(random, 10) == 0 && !bytes.isEmpty()) {
        static const char spoilt[] = {'\0', '\x80', '\xc3', '\xff', '\xe2', '\r', '\xef', '\xed'};
        bytes[below(random, bytes.size())] = anyOf(random, spoilt);
    }
    if (below(random, 100) == 0)
        bytes.prepend("\xff\xfe");
    return bytes;
}

static Input anyInput(Random &random, int pieces, const QString &delimiter, const QString &path)
{
    Input input;
    input.way = anyOf(random, {Input::AsText, Input::AsText, Input::AsBytes, Input::FromFile});
    input.quoted = below(random, 3) == 0;
    input.text = anyText(random, below(random, pieces), delimiter);
    if (input.way != Input::AsText)
        input.bytes = anyBytes(random, input.text);
    if (input.way == Input::FromFile) {
        // As text, as bytes, and, since it wraps to no bytes at all, in the file.
        input.limit = anyOf(random, {0, 0, 0, 0, 0, 0, 1, 1, 4096});
        input.path = path;
        QFile::remove(path); // a table may have the last one open
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(input.bytes) != input.bytes.size())
            qFatal("no room for a file");
    }
    return input;
}

static Call anyCall(Random &random, int rows, const QString &delimiter)
{
    Call call;
    // Those that change later results are rarer.
    call.kind = below(random, 3) > 0 ? below(random, Call::SetText) : below(random, Call::Count);
    if (call.kind >= Call::AddDelimiter && below(random, 2) == 0)
        call.kind = Call::Column + below(random, 2);
    const bool isFarOut = below(random, 20) == 0;
    call.row = below(random, rows + 2) - 1 + (isFarOut ? 5 : 0);
    if (call.kind >= Call::Column && below(random, 2) == 0)
        call.row = below(random, 3) - 1;
    call.col = below(random, 6) - 1;
    call.last = below(random, 3) == 0 ? below(random, 8) - 2 : below(random, rows + 1) - 1;
    call.flag = below(random, 2) == 0;
    static const double numbers[] = {0.0, 1.0, -1.0, 2.5, 1e300, 7.125, 1234567.0};
    call.number = anyOf(random, numbers);
    const QString piece = anyPiece(random, 4, delimiter);
    call.text = below(random, 2) == 0 ? piece : piece + anyPiece(random, 4, delimiter) + piece;
    call.delimiter = below(random, 10) == 0 ? anyDelimiter(random) : delimiter;
    return call;
}

class tst_CSVTable_random : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qunsetenv("KLT_NORAWREAD"); }

    void answersAsThePlainOneDoes_data()
    {
        QTest::addColumn<int>("tables");
        QTest::addColumn<int>("pieces"); // of text in each, at most
        QTest::addColumn<int>("calls");  // on each, at most

#if defined(__SANITIZE_ADDRESS__) || defined(_WIN32) // where Wine opens files slowly
        const int share = 20;
#else
        const int share = 1;
#endif
        QTest::newRow("small tables") << 100 * 1000 / share << 40 << 12;
        QTest::newRow("larger tables") << 600 / share << 2000 << 24;
        QTest::newRow("many rows") << 20 / share << 60000 << 12;
    }

    void answersAsThePlainOneDoes()
    {
        QFETCH(int, tables);
        QFETCH(int, pieces);
        QFETCH(int, calls);
        const QByteArray wanted = qgetenv("CSV_SEED");
        const quint64 seed = wanted.isEmpty() ? std::random_device()() : wanted.toULongLong();
        qInfo("seed %llu", seed);
        // In memory, if there is such a place: a loaded disk takes its time for so many files.
        const QString memory = QStringLiteral("/dev/shm");
        const QTemporaryDir folder((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                                   QStringLiteral("/tst_CSVTable_random"));
        const QString path = folder.filePath(QStringLiteral("table.csv"));
        const QString output = folder.filePath(QStringLiteral("written.csv"));

        for (int i = 0; i < tables; ++i) {
            Random random(seed + quint64(i)); // so that one table can be made again
            const QByteArray difference = compare(random, pieces, calls, path, output);
            QVERIFY2(difference.isEmpty(),
                     difference + " with CSV_SEED=" + QByteArray::number(seed + quint64(i)));
        }
    }

private:
    /// What differs between a table and a plain one that go through the same, or "".
    static QByteArray compare(Random &random, int pieces, int calls, const QString &path,
                              const QString &output)
    {
        const QString delimiter = anyDelimiter(random);
        Utils::CSVTable table{Data::String(delimiter)};
        Utils::CSVTable plain{Data::String()};
        PlainCSV::usePlainBackends(plain);
        plain.addDelimiter(delimiter);
        Utils::Progress progress(-1);
        const auto both = [&](const auto &change) {
            change(table);
            change(plain);
        };
        const double hole = below(random, 3) == 0 ? -1.0 : 0.0;
        both([&](auto &each) { each.setHoleValue(hole); });
        if (below(random, 4) == 0) {
            const Data::String comment = anyOf(random, {"#", "#", "1", "\xc3\xa9", "\"", "#!"});
            const char except = below(random, 2) == 0 ? '!' : '\0';
            both([&](auto &each) { each.setComment(comment, except); });
        }
        if (below(random, 5) == 0) {
            const Data::String more = anyDelimiter(random);
            const bool isAlternate = below(random, 2) == 0;
            both([&](auto &each) { each.addDelimiter(more, isAlternate); });
        }
        const bool onDemand = below(random, 4) == 0;
        both([&](auto &each) { each.setDemandParse(onDemand); });
        if (below(random, 10) == 0)
            both([&](auto &each) { each.setProgress(&progress); });

        Input input = anyInput(random, pieces, delimiter, path);
        Call call;
        call.kind = Call::Read;
        Result result = apply(table, call, input, output);
        if (!(result == apply(plain, call, input, output)))
            return "read";
        for (int count = below(random, calls + 1); count > 0; --count) {
            const int rows = plain.numRows();
            call = anyCall(random, rows, delimiter);
            if (call.kind == Call::Read)
                input = anyInput(random, pieces, delimiter, path);
            result = apply(table, call, input, output);
            Result expected = apply(plain, call, input, output);
            if (call.kind == Call::Visit) {
                expected = readRows(plain, call);
                expected.numbers.append(plain.numRows());
            }
            if (!(result == expected))
                return "call " + QByteArray::number(call.kind) + " of row " +
                       QByteArray::number(call.row) + ", column " + QByteArray::number(call.col) +
                       " and " + QByteArray::number(call.last) + " of " + QByteArray::number(rows);
        }
        // Whatever is left, as it is held and as it is split.
        for (const int kind : {Call::Write, Call::AllText, Call::Checksum, Call::AllText}) {
            call.kind = kind;
            call.row = -1;
            if (!(apply(table, call, input, output) == apply(plain, call, input, output)))
                return "the end, call " + QByteArray::number(kind);
        }
        for (int row = 0; row < std::min(plain.numRows(), 1000); ++row) {
            if (table.data(row) != plain.data(row))
                return "the end, row " + QByteArray::number(row);
        }
        return QByteArray();
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_random)
#include "tst_CSVTable_random.moc"
