// Quotes as in RFC 4180: each kind of storage reads what the plain model reads, and what is written
// is read again as the same cells.

#include "utils/csv/CSVTable.h"

#include "fuzz/Input.h"
#include "tests/csv/PlainQuoted.h"

using Utils::CSVTable;

static const ScratchFile &scratch()
{
    static const ScratchFile file("quoted.csv");
    return file;
}

/// What the input chooses besides the text.
struct Settings
{
    Data::String delimiter;
    Data::String comment;
    char except = 0;
};

static void prepare(CSVTable &table, const Settings &settings)
{
    table.setQuoting(CSVTable::Rfc4180);
    table.setComment(settings.comment, settings.except);
}

static Rows visitedRows(const CSVTable &table)
{
    Rows rows;
    table.visit(0, -1, [&](const Utils::CSVRow &row) {
        QStringList fields;
        for (const Utils::CSVCell &cell : row)
            fields.append(cell.text());
        rows.append(fields);
        return true;
    });
    return rows;
}

/// Compares a table that is read, or not, with \p rows.
static void checkRows(const CSVTable &table, const Rows &rows)
{
    requireEqual(rowsOf(table), rows, "the rows of the plain model");
    requireEqual(visitedRows(table), rows, "the rows that are visited");
    for (int column = 0; column < 2; ++column) {
        QStringList cells;
        for (const QStringList &row : rows)
            cells.append(row.value(column));
        if (!rows.isEmpty() && rows.last() == QStringList(QString()))
            cells.removeLast();
        requireEqual(table.colData(column), cells, "a column");
        requireEqual(table.colDataValue(column).size(), cells.size(), "a column of numbers");
    }
}

static void checkWritten(const CSVTable &table, const Settings &settings, const Rows &rows)
{
    static const ScratchFile written("written.csv");
    require(table.write(written.path()), "the table is written");
    for (const int limit : {0, limitOfNoBytes}) {
        CSVTable again(settings.delimiter);
        prepare(again, settings);
        require(again.read(written.path(), limit), "what is written can be read");
        requireEqual(rowsOf(again), rows, "the rows that were written");
    }
    CSVTable lines(settings.delimiter);
    prepare(lines, settings);
    require(lines.setData(table.stringData()), "the text of the table can be read");
    requireEqual(rowsOf(lines), rows, "the rows of the text");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    static const char *const delimiters[] = {",", ";", "\t", "a"};
    static const char *const comments[] = {"", "#", "//", ","};
    Settings settings;
    settings.delimiter = QString::fromLatin1(delimiters[input.choice(4)]);
    settings.comment = QString::fromLatin1(comments[input.choice(4)]);
    if (input.flag())
        settings.except = '!';
    const QByteArray bytes = input.rest();

    PlainQuoted plain;
    plain.delimiter = settings.delimiter.at(0);
    plain.comment = settings.comment;
    if (settings.except != 0)
        plain.exception = settings.comment + QLatin1Char(settings.except);
    const QString text = textOf(bytes);
    const QByteArray mark = "\xef\xbb\xbf"; // which is not part of the text
    if (text.toUtf8() != (bytes.startsWith(mark) ? bytes.mid(mark.size()) : bytes))
        return 0; // not UTF-8
    bool isClosed = false;
    const Rows rows = plain.rows(text, &isClosed);
    const bool isRead = isClosed && !rows.isEmpty();
    scratch().write(bytes);
    for (const int limit : {-1, 0, 1, limitOfNoBytes}) {
        CSVTable table(settings.delimiter);
        prepare(table, settings);
        requireEqual(limit < 0 ? table.setData(Data::String(text))
                               : table.read(scratch().path(), limit),
                     isRead, "whether it is read");
        checkRows(table, rows);
        if (isRead)
            checkWritten(table, settings, rows);
    }
    return 0;
}
