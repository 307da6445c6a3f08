#include "examples/console/commands/Table.h"

#include "examples/console/Command.h"

#include <algorithm>

namespace Kelm {

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

QStringList topRow(const CSVTable &table)
{
    for (int row = 0; row < table.numRows(); ++row) {
        QStringList fields = table.data(row);
        if (!isEmptyRow(fields))
            return fields;
    }
    return {};
}

bool isHeader(const QStringList &fields, char point)
{
    CSVTable table;
    table.setDecimalPoint(point);
    table.appendData(fields);
    return table.hasHeader();
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
    if (choice.sortColumn >= 0 || !choice.columns.isEmpty() || choice.numRows >= 0)
        return false;
    int row = 0;
    while (row < table.numRows() && !isEmptyRow(table, row))
        ++row;
    return row == table.numRows();
}

void choose(const CSVTable &table, const TableChoice &choice, CSVTable &chosen)
{
    const bool isSorted = choice.sortColumn >= 0;
    const int numRows = choice.numRows < 0 || choice.numRows >= table.numRows()
                            ? table.numRows()
                            : choice.numRows + choice.hasHeader;

    const auto chosenFields = [&](const QStringList &all) {
        QStringList fields;
        for (const int col : choice.columns)
            fields.append(all.value(col));
        return choice.columns.isEmpty() ? all : fields;
    };
    if (!isSorted) {
        for (int row = 0; row < table.numRows() && chosen.numRows() < numRows; ++row) {
            const QStringList all = table.data(row);
            if (!isEmptyRow(all))
                chosen.appendData(chosenFields(all));
        }
        return;
    }

    CSVTable rows;
    rows.setDecimalPoint(table.decimalPoint());
    for (int row = 0; row < table.numRows(); ++row) {
        const QStringList all = table.data(row);
        if (!isEmptyRow(all)) // the first field may not be a wanted column
            rows.appendData(QStringList(all.value(choice.sortColumn)) + chosenFields(all));
    }
    rows.sort(0, choice.hasHeader, choice.isAscending);
    rows.removeColumn(0);
    for (int row = 0; row < std::min(rows.numRows(), numRows); ++row)
        chosen.appendData(rows.data(row));
}

} // namespace Kelm
