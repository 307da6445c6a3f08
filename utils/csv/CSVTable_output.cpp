#include "utils/csv/CSVTable.h"

#include "utils/base/LastError_p.h"
#include "utils/base/ReplaceAll_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/feedback/Progress.h"

#include <QIODevice>

#include <numeric>
#include <vector>

namespace Utils {

static const QLatin1Char lineFeed('\n');
static const QLatin1Char quote('"');

static const int chunkSize = 64 * 1024; // written at once

// Rows as text

Data::String CSVTable::stringData(int row) const
{
    return d->readCells([&] { return d->line(row, d->escapesFormulas); });
}

Data::String CSVTable::stringData() const
{
    return d->readCells([&]() -> Data::String {
        QStringList lines;
        for (int row = 0; row < numRows(); ++row)
            lines.append(d->line(row, d->escapesFormulas));
        return lines.join(lineFeed);
    });
}

static bool isTwoBlanks(const QString &delimiter) { return delimiter == QLatin1String("  "); }

/// The fields of a row as one line. Those that contain the delimiter are in quotes.
static QString joinedFields(QStringList &fields, const QString &delimiter)
{
    if (!isTwoBlanks(delimiter)) {
        for (QString &field : fields) {
            if (field.contains(delimiter))
                field = quote + field + quote;
        }
    }
    return fields.join(delimiter);
}

void CSVTablePrivate::appendClassicRow(int row, QByteArray &to) const
{
    if (escapesFormulas)
        textData->parseRow(row);
    QStringList fields = textData->heldRow(row);
    if (escapesFormulas) {
        for (QString &field : fields)
            field = withoutFormula(field);
    }
    const Data::String delimiter = outputDelimiter();
    const bool isQuoted = quotesNumbers() && textData->isParsed(row);
    to += (isQuoted ? joinedFields(fields, delimiter) : fields.join(delimiter)).toUtf8();
}

Data::String CSVTablePrivate::line(int row, bool escapes) const
{
    if (textData->isRfc4180)
        return quotedLine(row, escapes);
    if (!textData->isParsed(row) && !(escapes && isText()))
        return textData->heldRow(row).value(0);

    const Data::String delimiter = outputDelimiter();
    QStringList fields = current().data(row);
    if (escapes) {
        for (QString &field : fields)
            field = withoutFormula(field);
    }
    return joinedFields(fields, delimiter);
}

QStringList CSVTable::lineData(int firstRow, int lastRow) const
{
    QStringList lines;
    const qint64 end = lastRow > firstRow ? qint64(lastRow) + 1 : numRows();
    if (firstRow < -csvReach || end - numRows() > csvReach)
        return lines;

    return d->readCells([&] {
        for (qint64 row = firstRow; row < end; ++row)
            lines.append(d->line(static_cast<int>(row), d->escapesFormulas));
        return lines;
    });
}

QStringList CSVTable::escapedData(int row, char escape) const
{
    const QStringList &delimiters = d->textData->delimiters;
    if (delimiters.isEmpty() || (delimiters.size() == 1 && !needsEscape(delimiters.first())))
        return data(row);

    return d->readCells([&] {
        const QString marker = QStringLiteral("**ESCAPE**");
        const QString delimiter = d->outputDelimiter();
        const QString target = QLatin1Char(escape) + delimiter;
        const QString line = d->line(row, /*escapes=*/false);
        if (!line.contains(target))
            return data(row);

        QStringList fields = d->textData->split(replaceAll(line, target, marker));
        for (QString &field : fields)
            field = replaceAll(field, marker, delimiter);
        return fields;
    });
}

unsigned short CSVTable::checksum(int rows) const
{
    return d->readCells([&] { return d->current().checksum(rows); });
}

bool CSVTable::write(const Data::String &path) const
{
    const LastError operation;
    return falseWithoutMemory([&] {
        if (d->isReadFrom(path))
            return LastError::set(".err.csvinput", {path});
        // All memory is allocated before the old file is overwritten.
        const Data::String delimiter = d->outputDelimiter();
        QByteArray lines;
        lines.reserve(chunkSize + chunkSize / 4);
        const std::unique_ptr<QIODevice> file = makeOutput(path);
        if (!openOutput(*file))
            return false;

        // Writes the same bytes as a QTextStream that gets the text of all rows: "?" for an
        // unpaired surrogate. Stops when the disk is full: rows after a gap would be useless.
        const bool isClassic = d->isClassicOutput();
        for (int row = 0; row < d->numOutputRows(); ++row) {
            if (isClassic)
                d->textData->appendHeldRow(row, delimiter, lines);
            else if (!d->appendOutputRow(row, lines))
                return false;
            lines.append('\n');
            if (lines.size() >= chunkSize) {
                if (file->write(lines) != lines.size())
                    return finishOutput(*file, /*isWritten=*/false);
                lines.resize(0);
            }
        }
        return finishOutput(*file, file->write(lines) == lines.size());
    });
}

// Columns of one width

CSVTable &CSVTable::alignColumns(int firstRow, int lastRow, int numColumns, bool left)
{
    unlessOutOfMemory([&] {
        // The first row is split only if rows are measured at all and it has a field to measure.
        const int first = std::max(firstRow, 0);
        const bool hasRows = lastRow < 0 || first <= lastRow;
        if (hasRows && numColumns > 0 && !d->textData->heldRow(first).isEmpty())
            d->textData->parseRow(first);
        else if (numColumns < 0)
            numColumns = first < d->textData->numRows() ? d->textData->numColumns(first) : 0;

        QList<QStringList> rows = d->textData->heldRows();
        alignData(firstRow, lastRow, numColumns, rows, /*maxWidth=*/0,
                  /*leftColumn=*/left ? -2 : -1, /*delimiter=*/QString());
        // The host may have changed the table while progress was reported.
        const int last = lastRow < 0 ? rows.size() - 1 : std::min(lastRow, rows.size() - 1);
        d->textData->setHeldRows(first, std::min(last, d->textData->numRows() - 1), rows);
    });
    return *this;
}

Data::String CSVTable::alignedStringData(int maxWidth, int leftColumn, int firstRow) const
{
    return emptyWithoutMemory([&]() -> Data::String {
        QList<QStringList> rows = d->textData->heldRows();
        const Data::String delimiter = d->outputDelimiter();
        alignData(firstRow, /*lastRow=*/-1, /*numColumns=*/-1, rows, maxWidth, leftColumn,
                  delimiter);
        QStringList lines;
        for (const QStringList &row : qAsConst(rows))
            lines.append(row.join(delimiter));
        return lines.join(lineFeed);
    });
}

/// Removes from \p wide the indexes of the rows that end before column \p col.
static void dropShortRows(std::vector<int> &wide, const QList<QStringList> &rows, int col)
{
    const auto isShort = [&](int row) { return col >= rows.at(row).size(); };
    wide.erase(std::remove_if(wide.begin(), wide.end(), isShort), wide.end());
}

/// The width of the column: the length of its longest field. Fields longer than \p maxWidth do not
/// count.
static int widthOf(const QList<QStringList> &rows, const std::vector<int> &wide, int col,
                   int maxWidth)
{
    int width = 0;
    for (const int row : wide) {
        const int size = rows.at(row).at(col).size();
        if (maxWidth <= 0 || size <= maxWidth)
            width = std::max(width, size);
    }
    return width;
}

template <typename Change>
static void changeFields(QList<QStringList> &rows, const std::vector<int> &wide, int col,
                         const Change &change)
{
    for (const int row : wide) {
        QString &field = rows[row][col];
        field = change(field);
    }
}

/// Puts the fields of column \p col that contain \p delimiter in quotes.
static void quoteFields(QList<QStringList> &rows, const std::vector<int> &wide, int col,
                        const QString &delimiter)
{
    changeFields(rows, wide, col, [&](const QString &field) {
        return field.contains(delimiter) ? QString(quote + field + quote) : field;
    });
}

/// Pads the fields of column \p col to \p size characters, after them when \p isLeft.
static void padFields(QList<QStringList> &rows, const std::vector<int> &wide, int col, int size,
                      bool isLeft)
{
    changeFields(rows, wide, col, [&](const QString &field) {
        return isLeft ? field.leftJustified(size) : field.rightJustified(size);
    });
}

void CSVTable::alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                         int maxWidth, int leftColumn, const QString &delimiter) const
{
    firstRow = std::max(firstRow, 0);
    const int end = lastRow < 0 || lastRow >= rows.size() ? rows.size() : lastRow + 1;
    if (numColumns < 0 && firstRow < rows.size())
        numColumns = d->textData->numColumns(firstRow);
    const bool quotes = !delimiter.isEmpty() && needsEscape(delimiter);

    TaskProgress task(numColumns >= 2 ? d->progress : nullptr);
    task.start(numColumns, d->progressLabel);
    // Only the rows that have the current column: a single row may have very many columns.
    std::vector<int> wide(static_cast<std::size_t>(std::max(end - firstRow, 0)));
    std::iota(wide.begin(), wide.end(), firstRow);
    for (int col = 0; col < numColumns; ++col) {
        dropShortRows(wide, rows, col);
        if (wide.empty() && numColumns > csvReach)
            break; // would practically never end
        // Only the first row is split: the others are measured as they are held.
        if (!wide.empty())
            d->textData->parseRow(firstRow);
        if (quotes)
            quoteFields(rows, wide, col, delimiter);
        const int size = widthOf(rows, wide, col, maxWidth) + 1;
        const bool isLeft = col == leftColumn || leftColumn == -2;
        padFields(rows, wide, col, size, isLeft);
        task.tick();
    }
}

bool CSVTable::needsEscape(const Data::String &delimiter) const { return !isTwoBlanks(delimiter); }

} // namespace Utils
