// Tables: after any calls and changes the library returns what the plain table of its tests
// returns, and the three ways to store cells agree where they must.

#include "utils/csv/CSVTable.h"

#include "fuzz/Input.h"
#include "tests/csv/PlainCSVData.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

using Data::String;

static const ScratchFile &scratch()
{
    static const ScratchFile file("table.csv");
    return file;
}

// Megabytes above which a table is read in the file. 4096 wraps to no bytes at all.
static const int asText = 0;
static const int asBytes = 1;
static const int inFile = 4096;

/// What one question yields.
struct Answer
{
    QStringList texts;
    QList<double> numbers;

    bool operator==(const Answer &other) const
    {
        const auto isSame = [](double left, double right) {
            return std::memcmp(&left, &right, sizeof left) == 0 ||
                   (std::isnan(left) && std::isnan(right));
        };
        return texts == other.texts &&
               std::equal(numbers.begin(), numbers.end(), other.numbers.begin(),
                          other.numbers.end(), isSame);
    }
};

static QDebug operator<<(QDebug debug, const Answer &answer)
{
    return debug << answer.texts << answer.numbers;
}

/// A question or a change.
struct Call
{
    explicit Call(Input &input)
        : kind(input.choice(29)), row(input.choice(8) - 1), column(input.choice(6) - 1),
          last(input.choice(8) - 1)
    {
        static const char *const texts[] = {"", "a", "1", "a,b", "\"x\"", "1.5{mm}", "#", ";"};
        text = QString::fromLatin1(texts[last + 1]);
    }

    int kind;
    int row;
    int column;
    int last;
    String text;
};

static Answer apply(Utils::CSVTable &table, const Call &call)
{
    Answer answer;
    const bool flag = call.last % 2 == 1;
    switch (call.kind) {
    case 0:
        answer.texts = table.data(call.row);
        break;
    case 1:
        answer.texts.append(table.data(call.row, call.column));
        break;
    case 2:
        answer.numbers = table.dataValue(call.row);
        break;
    case 3: {
        bool ok = false;
        answer.numbers.append(table.dataValue(call.row, call.column, &ok));
        answer.numbers.append(ok);
        break;
    }
    case 4:
        answer.texts = table.colData(call.column, call.row);
        break;
    case 5:
        answer.numbers = table.colDataValue(call.column, call.row);
        break;
    case 6:
        answer.texts = table.data(call.row, call.column, call.text);
        answer.numbers = table.dataValue(call.row, call.column, call.text);
        break;
    case 7:
        answer.texts = table.rowData(call.row, call.column, call.last);
        answer.numbers = table.rowDataValue(call.row, call.column, call.last);
        break;
    case 8:
        answer.texts.append(table.data(call.row, call.text));
        break;
    case 9: {
        int found = 77;
        answer.texts.append(table.data(call.text, call.column, call.row, &found, flag));
        answer.numbers.append(found);
        break;
    }
    case 10: {
        String annotation("before");
        String value("before");
        table.data(call.row, call.column, annotation, value);
        answer.texts = QStringList{annotation, value};
        break;
    }
    case 11:
        answer.numbers.append(table.numColumns(call.row));
        answer.numbers.append(table.isEmpty(call.row, call.column));
        answer.numbers.append(table.hasHeader());
        break;
    case 12:
        answer.texts.append(table.stringData(call.row));
        answer.texts.append(table.stringData());
        break;
    case 13:
        answer.texts = table.lineData(call.row, call.last);
        break;
    case 14:
        answer.texts = table.escapedData(call.row, '\\');
        break;
    case 15:
        answer.texts.append(table.alignedStringData(call.last, call.column, call.row));
        break;
    case 16:
        answer.numbers.append(table.checksum(call.row));
        break;
    case 17:
        table.setData(call.row, call.column, call.text);
        break;
    case 18:
        table.setData(call.row, call.column, call.last * 1.25, 'f', 3);
        break;
    case 19:
        table.appendData(call.text);
        break;
    case 20:
        table.removeColumn(call.column);
        break;
    case 21:
        answer.numbers.append(table.removeEmptyRows(call.row, call.last));
        break;
    case 22:
        table.sort(call.column, call.row, flag);
        break;
    case 23:
        table.alignColumns(call.row, call.last, call.column, flag);
        break;
    case 24:
        table.addDelimiter(call.text, flag);
        break;
    case 25:
        table.setHoleValue(call.last);
        break;
    case 26: {
        static const ScratchFile written("written.csv");
        answer.numbers.append(table.write(written.path()));
        answer.texts.append(QString::fromLatin1(written.read()));
        break;
    }
    case 27:
        table.setDemandParse(flag);
        break;
    default:
        table.setComment(call.text.left(1), flag ? '!' : '\0');
        break;
    }
    answer.numbers.append(table.numRows());
    return answer;
}

/// Passes \p bytes to \p table in one of five ways.
static bool read(Utils::CSVTable &table, int way, bool isQuoted, const QByteArray &bytes)
{
    const int limits[] = {asText, asBytes, inFile};
    if (way == 3)
        return table.setData(bytes);
    if (way == 4)
        return table.setData(String(textOf(bytes)), isQuoted);
    return table.read(scratch().path(), limits[way], isQuoted);
}

static void checkCalls(Input &calls, const String &delimiter, const QByteArray &bytes)
{
    const int way = calls.choice(5);
    const bool isQuoted = calls.flag();
    scratch().write(bytes);

    Utils::CSVTable table(delimiter);
    Utils::CSVTable plain{String()};
    PlainCSV::usePlainBackends(plain);
    plain.addDelimiter(delimiter);
    table.setHoleValue(0.0);
    plain.setHoleValue(0.0);
    for (bool isRead = false; !isRead || !calls.isAtEnd();) {
        const Call call(calls);
        const bool readsNow = !isRead && (call.kind < 24 || call.kind == 26 || calls.isAtEnd());
        if (readsNow) { // settings may come before
            requireEqual(read(table, way, isQuoted, bytes), read(plain, way, isQuoted, bytes),
                         "whether it is read");
            isRead = true;
        }
        requireEqual(apply(table, call), apply(plain, call), "the plain table's answer");
    }
}

/// Whether \p bytes hold nothing that the ways take in ways of their own.
static bool isPlain(const QByteArray &bytes)
{
    const QString text = textOf(bytes);
    if (bytes.isEmpty() || text.toUtf8() != bytes)
        return false;
    for (const QChar character : text) {
        const ushort code = character.unicode();
        const bool isBlankToTextOnly = code >= 0x80 && character.isSpace();
        if (isBlankToTextOnly || code == 0 || code == 0xfeff ||
            QLatin1String("\r{}\"").contains(character))
            return false;
    }
    const QString lastLine = text.mid(text.lastIndexOf(QLatin1Char('\n')) + 1);
    return lastLine.isEmpty() || !lastLine.trimmed().isEmpty();
}

static void checkRoutes(const String &delimiter, const QByteArray &bytes)
{
    if (!isPlain(bytes) || delimiter.size() != 1)
        return;
    scratch().write(bytes);
    Utils::CSVTable texts(delimiter);
    texts.setHoleValue(0.0); // which is that of all tables
    Utils::CSVTable raw(delimiter);
    Utils::CSVTable file(delimiter);
    require(texts.read(scratch().path(), asText), "a table is read as text");
    require(raw.read(scratch().path(), asBytes), "as bytes");
    require(file.read(scratch().path(), inFile) && file.isDemandRead(), "and in the file");

    const int rows = texts.numRows();
    requireEqual(raw.numRows(), rows, "the bytes have as many rows as the text");
    requireEqual(file.numRows(), rows, "the file has as many rows as the text");
    for (int row = 0; row < rows; ++row) {
        const QStringList fields = texts.data(row);
        requireEqual(raw.data(row), fields, "a row of the bytes");
        requireEqual(file.data(row), fields, "a row of the file");
        requireEqual(file.numColumns(row), texts.numColumns(row), "and its fields");
    }
    for (int column = 0; column < 3; ++column) {
        const QStringList fields = texts.colData(column);
        requireEqual(raw.colData(column), fields, "a column of the bytes");
        requireEqual(file.colData(column), fields, "a column of the file");
    }
    const bool hasWords = std::any_of(bytes.begin(), bytes.end(), [](unsigned char byte) {
        return byte >= 0x7f || (std::isalpha(byte) != 0 && byte != 'e');
    });
    for (int row = 0; row < rows && !hasWords; ++row) {
        const QList<double> numbers = texts.dataValue(row);
        requireEqual(raw.dataValue(row), numbers, "numbers of the bytes");
        requireEqual(file.dataValue(row), numbers, "numbers of the file");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const bool hasCalls = input.flag();
    static const char *const delimiters[] = {",", ";", "\t", " ", "::", "\\s+", "[,;]", ""};
    const String delimiter = QString::fromLatin1(delimiters[input.choice(8)]);
    if (hasCalls) {
        Input calls(input.line());
        checkCalls(calls, delimiter, input.rest());
    } else {
        checkRoutes(delimiter, input.rest());
    }
    return 0;
}
