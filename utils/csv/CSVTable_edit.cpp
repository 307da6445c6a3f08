#include "utils/csv/CSVTable.h"

#include "utils/base/NumberText_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/text/List.h"

namespace Utils {

/// The text of a number in a cell of the table \p table. Whole numbers have their own format.
static QString cellText(double value, char format, int precision, const CSVTablePrivate &table)
{
    if (table.holeValue != 0.0 && value == table.holeValue)
        return QString();
    QString text = isWholeNumber(value) ? QString::number(value, 'g', 6)
                                        : QString::number(value, format, precision);
    if (table.decimalPoint() != '.')
        text.replace(QLatin1Char('.'), QLatin1Char(table.decimalPoint()));
    return text;
}

template <typename List>
static QStringList cellTexts(const List &values, char format, int precision,
                             const CSVTablePrivate &table)
{
    QStringList texts;
    texts.reserve(values.size());
    for (const double value : values)
        texts.append(cellText(value, format, precision, table));
    return texts;
}

CSVTable &CSVTable::setData(int row, int col, const Data::String &text)
{
    unlessOutOfMemory([&] {
        if (!d->current().isReadOnly()) {
            d->current().setData(row, col, text);
        } else if (d->textData->isInReach(row, col)) {
            d->textData->setData(row, col, text);
            clearCSV();
        }
    });
    return *this;
}

CSVTable &CSVTable::setData(int row, int col, double value, char format, int precision)
{
    unlessOutOfMemory([&] { setData(row, col, cellText(value, format, precision, *d)); });
    return *this;
}

CSVTable &CSVTable::setData_g(int row, int col, double value)
{
    return setData(row, col, value, 'g', 6);
}

CSVTable &CSVTable::appendData(const Data::String &line)
{
    unlessOutOfMemory([&] { d->textData->appendRow(d->textData->split(line)); });
    return *this;
}

CSVTable &CSVTable::appendData(const QStringList &fields)
{
    unlessOutOfMemory([&] { d->textData->appendRow(fields); });
    return *this;
}

CSVTable &CSVTable::appendData(const QList<double> &values, char format, int precision)
{
    unlessOutOfMemory([&] { appendData(cellTexts(values, format, precision, *d)); });
    return *this;
}

CSVTable &CSVTable::appendData(const QVector<double> &values, char format, int precision)
{
    unlessOutOfMemory([&] { appendData(cellTexts(values, format, precision, *d)); });
    return *this;
}

void CSVTable::removeColumn(int col)
{
    unlessOutOfMemory([&] {
        if (!d->current().isReadOnly())
            d->current().removeColumn(col);
    });
}

int CSVTable::removeEmptyRows(int firstRow, int lastRow)
{
    if (d->current().isReadOnly())
        return 0;

    if (lastRow < 0 || lastRow >= numRows())
        lastRow = numRows() - 1;
    return emptyWithoutMemory([&] {
        QList<int> empty;
        for (int row = std::max(firstRow, 0); row <= lastRow; ++row) {
            // The list of fields that data() returns is cached by the backend, so data() is called
            // only for rows of one field.
            const int count = d->current().numColumns(row);
            if (count == 0 || (count == 1 && d->current().data(row).first().isEmpty()))
                empty.append(row);
        }
        d->current().removeRows(empty);
        return empty.size();
    });
}

void CSVTable::sort(int col, int firstRow, bool ascending)
{
    // Only text rows are sorted: with another backend, the current rows would not change.
    if (!d->isText())
        return;

    unlessOutOfMemory([&] { d->sort(col, std::max(firstRow, 0), ascending); });
}

void CSVTablePrivate::sort(int col, int firstRow, bool ascending)
{
    const Data::String cell = textData->data(firstRow, col);
    bool isNumeric = false;
    csvToDouble(cell, decimalPoint(), &isNumeric);
    QList<int> order;
    if (cell.isEmpty() || isNumeric) {
        // Whole columns are fast, but leave an empty last row out, and are empty without a column.
        QList<double> values = textData->colDataValue(col, firstRow);
        for (int row = firstRow + values.size(); row < textData->numRows(); ++row)
            values.append(textData->dataValue(row, col, nullptr));
        order = List::indexSort(values, ascending);
    } else {
        QStringList texts = textData->colData(col, firstRow);
        for (int row = firstRow + texts.size(); row < textData->numRows(); ++row)
            texts.append(textData->data(row, col));
        order = List::indexSort(texts, ascending, /*caseSensitive=*/true);
    }
    if (!order.isEmpty())
        textData->reorder(firstRow, order);
}

} // namespace Utils
