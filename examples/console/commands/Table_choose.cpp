#include "examples/console/commands/Table.h"

#include "examples/console/Command.h"
#include "utils/files/File.h"

#include <algorithm>

namespace Kelm {

using Utils::CSVDialect;
using Utils::CSVTable;

static bool isEmptyRow(const QStringList &fields)
{
    return fields.size() < 2 && fields.value(0).isEmpty();
}

/// The same without a list of the fields.
static bool isEmptyRow(const CSVTable &table, int row)
{
    return table.numColumns(row) < 2 && table.data(row, 0).isEmpty();
}

void removeEmptyEnd(CSVTable &table)
{
    int end = table.numRows();
    while (end > 0 && isEmptyRow(table, end - 1))
        --end;
    if (end < table.numRows())
        table.removeEmptyRows(end);
}

QString whyIncomplete(const CSVTable &table)
{
    return table.isDemandRead() ? QString(Utils::File::lastError()) : QString();
}

int topRow(const CSVTable &table)
{
    for (int row = 0; row < table.numRows(); ++row) {
        if (!isEmptyRow(table, row))
            return row;
        if (!whyIncomplete(table).isEmpty())
            break;
    }
    return -1;
}

/// Whether the fields of a row are a header. \p point is the decimal point of numbers.
static bool isHeader(const QStringList &fields, char point)
{
    CSVTable table;
    table.setDecimalPoint(point);
    table.appendData(fields);
    return table.hasHeader();
}

/// Returns the row after the labels and the units. A row with numbers or holes is data, even where
/// the dialect has a later row as the first one: what is between may lack some values only.
static int findFirstDataRow(const CSVTable &table, const CSVDialect &dialect)
{
    if (dialect.unitRow() < 0)
        return dialect.headerRow() + 1;
    const auto isData = [&](int row) {
        for (int col = 0; col < table.numColumns(row); ++col) {
            bool isNumber = false;
            table.dataValue(row, col, &isNumber);
            if (isNumber || table.isEmpty(row, col))
                return true;
        }
        return false;
    };
    int row = dialect.unitRow() + 1;
    while (row < dialect.firstDataRow() && !isData(row))
        ++row;
    return row;
}

void chooseHeader(const CSVTable &table, bool mayHaveHeader, CSVDialect &dialect,
                  TableChoice &choice)
{
    const bool isProbable = dialect.hasHeader() && dialect.headerRow() < table.numRows() &&
                            dialect.confidence(CSVDialect::Header) >= probable;
    if (mayHaveHeader && isProbable) {
        dialect.setHeader(dialect.headerRow(), dialect.unitRow(), findFirstDataRow(table, dialect));
    } else {
        const int top = topRow(table);
        const bool hasHeader = mayHaveHeader && isHeader(table.data(top), table.decimalPoint());
        dialect.setHeader(hasHeader ? top : -1, /*unitRow=*/-1, hasHeader ? top + 1 : 0);
    }
    choice.headerRow = dialect.headerRow();
    choice.firstDataRow = dialect.firstDataRow();
}

QString numberedLabel(int col) { return QString("Column %1").arg(col + 1); }

QStringList numberedLabels(int count)
{
    QStringList labels;
    for (int col = 0; col < count; ++col)
        labels.append(numberedLabel(col));
    return labels;
}

int findColumn(const QStringList &labels, const QString &name)
{
    const int exact = labels.indexOf(name);
    if (exact >= 0)
        return exact;
    for (int col = 0; col < labels.size(); ++col) {
        if (labels[col].section('{', 0, 0).trimmed() == name)
            return col;
    }
    const int number = wholeNumber(name, 1).value_or(0);
    return number <= labels.size() ? number - 1 : -1;
}

bool isAllOf(const CSVTable &table, const TableChoice &choice)
{
    if (choice.sortColumn >= 0 || !choice.columns.isEmpty() || choice.numRows >= 0 ||
        choice.headerRow > 0)
        return false;
    int row = 0;
    while (row < table.numRows() && !isEmptyRow(table, row))
        ++row;
    return row == table.numRows();
}

/// Returns the chosen fields of a row, in the chosen order.
static QStringList chosenFields(const TableChoice &choice, const QStringList &all)
{
    QStringList fields;
    for (const int col : choice.columns)
        fields.append(all.value(col));
    return choice.columns.isEmpty() ? all : fields;
}

/// Returns the fields of a row. \p reason is set when they are not complete.
static QStringList readRow(const CSVTable &table, int row, QString &reason)
{
    QStringList fields = table.data(row);
    if (reason.isEmpty())
        reason = whyIncomplete(table);
    return fields;
}

/// Appends the first rows of data, sorted.
static void chooseSorted(const CSVTable &table, const TableChoice &choice, CSVTable &chosen,
                         QString &reason)
{
    CSVTable rows;
    rows.setDecimalPoint(table.decimalPoint());
    for (int row = choice.firstDataRow; row < table.numRows() && reason.isEmpty(); ++row) {
        const QStringList all = readRow(table, row, reason);
        if (!isEmptyRow(all)) // the first field may not be a wanted column
            rows.appendData(QStringList(all.value(choice.sortColumn)) + chosenFields(choice, all));
    }
    rows.sort(0, /*firstRow=*/0, choice.isAscending);
    rows.removeColumn(0);
    const int count = choice.numRows < 0 ? rows.numRows() : choice.numRows;
    for (int row = 0; row < std::min(rows.numRows(), count); ++row)
        chosen.appendData(rows.data(row));
}

int choose(const CSVTable &table, const TableChoice &choice, CSVTable &chosen, QString &reason)
{
    if (choice.headerRow >= 0) {
        for (int row = choice.headerRow; row < choice.firstDataRow; ++row) {
            const QStringList all = readRow(table, row, reason);
            if (!isEmptyRow(all))
                chosen.appendData(chosenFields(choice, all));
        }
    }
    const int headerRows = chosen.numRows();
    if (choice.sortColumn >= 0) {
        chooseSorted(table, choice, chosen, reason);
        return headerRows;
    }
    const int count = choice.numRows < 0 ? table.numRows() : choice.numRows;
    for (int row = choice.firstDataRow;
         row < table.numRows() && chosen.numRows() - headerRows < count && reason.isEmpty(); ++row)
    {
        const QStringList all = readRow(table, row, reason);
        if (!isEmptyRow(all))
            chosen.appendData(chosenFields(choice, all));
    }
    return headerRows;
}

} // namespace Kelm
