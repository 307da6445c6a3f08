#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVTable_p.h"

#include <algorithm>
#include <utility>

namespace Utils {

void CSVTable::setHeaderRows(int count) { d->headers = {std::max(count, 0), 0, 1, 2}; }
int CSVTable::headerRows() const { return d->headers.count; }

/// Removes the part of \p label from \p open on, if \p close ends it, and returns what is between.
static QString takeUnit(QString &label, QChar open, QChar close)
{
    const int begin = label.indexOf(open);
    if (begin < 0 || !label.endsWith(close))
        return QString();
    QString unit = label.mid(begin + 1, label.size() - begin - 2).trimmed();
    label = label.left(begin).trimmed();
    return unit;
}

/// The unit in a unit row: "mm", or in brackets of any kind.
static QString unitOf(const QString &cell)
{
    static const QString pairs = QStringLiteral("{}[]()");
    const bool isPair = cell.size() > 1 && pairs.indexOf(cell.at(0)) % 2 == 0 &&
                        cell.endsWith(pairs.at(pairs.indexOf(cell.at(0)) + 1));
    return isPair ? cell.mid(1, cell.size() - 2).trimmed() : cell;
}

/// Counts the cells of a row. Cells that are not empty are counted in numCells.
static void countRow(const CSVRow &row, QList<CSVColumn> &columns)
{
    while (columns.size() < row.size())
        columns.append(CSVColumn());
    for (int col = 0; col < row.size(); ++col) {
        if (row[col].isEmpty())
            continue;
        CSVColumn &column = columns[col];
        bool isNumber = false;
        row[col].number(&isNumber);
        ++column.numCells;
        if (!isNumber)
            ++column.numNonNumbers;
    }
}

QList<CSVColumn> CSVTablePrivate::columns() const
{
    QList<CSVColumn> columns;
    const int numHeaders = std::min(headers.count, current().numRows());
    const auto header = [&](int row) {
        return row >= 0 && row < numHeaders ? current().data(row) : QStringList();
    };
    const QStringList labels = header(headers.labels);
    const QStringList units = header(headers.units);
    const QStringList objects = header(headers.objects);
    for (int i = std::max({labels.size(), units.size(), objects.size()}); i > 0; --i)
        columns.append(CSVColumn());

    int numRows = 0;
    const int last = current().numRows() - 1;
    current().visit(numHeaders, last, [&](const CSVRow &row) {
        // As in columns of cells, the empty line after the last line feed is no row.
        const bool isBlank = row.size() == 0 || (row.size() == 1 && row[0].isEmpty());
        if (row.number() == last && isBlank)
            return false;
        countRow(row, columns);
        ++numRows;
        return true;
    });

    for (int col = 0; col < columns.size(); ++col) {
        CSVColumn &column = columns[col];
        const int numFilled = std::exchange(column.numCells, numRows);
        column.numHoles = numRows - numFilled;
        const int numNumbers = numFilled - column.numNonNumbers;
        if (numFilled > 0)
            column.type = 2 * numNumbers > numFilled ? CSVColumn::Numbers : CSVColumn::Texts;

        QString label = labels.value(col).trimmed();
        QString unit = takeUnit(label, QLatin1Char('{'), QLatin1Char('}'));
        if (unit.isEmpty())
            unit = takeUnit(label, QLatin1Char('['), QLatin1Char(']'));
        const QString inRow = unitOf(units.value(col).trimmed());
        column.label = label;
        column.unit = inRow.isEmpty() ? unit : inRow;
        column.object = objects.value(col).trimmed();
    }
    return columns;
}

QList<CSVColumn> CSVTable::columns() const
{
    return d->readCells([this] { return d->columns(); });
}

} // namespace Utils
