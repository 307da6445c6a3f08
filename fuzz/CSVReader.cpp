// Delimited tables read from the file, compared with the plain reader of the tests.

#include "utils/csv/CSVReader.h"

#include "fuzz/Input.h"
#include "tests/csv/PlainCSVReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using Utils::CSVReader;

static bool isSame(double left, double right)
{
    return std::memcmp(&left, &right, sizeof left) == 0 || (std::isnan(left) && std::isnan(right));
}

static bool isSame(const QList<double> &left, const QList<double> &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](double a, double b) { return isSame(a, b); });
}

/// One question, chosen by the input, to both.
static void ask(Input &input, CSVReader &reader, PlainCSVReader &plain)
{
    const int call = input.choice(12);
    const int row = input.choice(8) - 1;
    const int column = input.choice(6) - 1;
    const int last = input.choice(6) - 1;
    switch (call) {
    case 0:
        requireEqual(reader.data(row), plain.data(row), "a row");
        break;
    case 1:
        requireEqual(reader.data(row, column), plain.data(row, column), "a field");
        break;
    case 2:
        requireEqual(reader.rowData(row, column, last), plain.rowData(row, column, last),
                     "a part of a row");
        break;
    case 3:
        requireEqual(reader.colData(column, row), plain.colData(column, row), "a column");
        break;
    case 4:
        requireEqual(reader.dataD(row), plain.texts(plain.data(row)), "a row as text");
        break;
    case 5:
        requireEqual(reader.colDataD(column, row), plain.texts(plain.colData(column, row)),
                     "a column as text");
        break;
    case 6:
        require(isSame(reader.dataValue(row), plain.values(plain.data(row))), "a row of numbers");
        break;
    case 7: {
        bool ok = false;
        bool plainOk = false;
        const double value = reader.dataValue(row, column, &ok);
        require(isSame(value, plain.value(plain.data(row, column), &plainOk)), "a number");
        requireEqual(ok, plainOk, "whether it is a number");
        break;
    }
    case 8:
        require(isSame(reader.colDataValue(column, row), plain.values(plain.colData(column, row))),
                "a column of numbers");
        break;
    case 9:
        requireEqual(reader.hasHeader(), plain.hasHeader(), "whether there is a header");
        break;
    case 10:
        requireEqual(reader.checksum(row), plain.checksum(row), "the checksum");
        break;
    default: {
        const char delimiter = ",; \tax"[input.choice(6)];
        reader.addDelimiter(delimiter);
        plain.addDelimiter(delimiter);
    }
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFile scratch("table.csv");
    Input input(data, size);
    Input calls(input.line());
    static const QByteArray delimiterSets[] = {",", ", ", " \t;", "\r", ",\r", ""};
    const QByteArray &delimiters = delimiterSets[input.choice(6)];
    const QByteArray filler(input.choice(3) * 10200, 'x'); // to be near the end of a block
    scratch.write(filler + input.rest());

    CSVReader reader('\0');
    PlainCSVReader plain;
    for (const char delimiter : delimiters) {
        reader.addDelimiter(delimiter);
        plain.addDelimiter(delimiter);
    }
    require(reader.read(scratch.path()), "a table is read");
    require(plain.read(scratch.path().toUtf8().constData()), "and plainly");
    requireEqual(reader.numRows(), plain.numRows(), "the number of rows");
    while (!calls.isAtEnd())
        ask(calls, reader, plain);
    return 0;
}
