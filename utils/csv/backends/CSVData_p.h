#pragma once

#include "data/String.h"

#include <QList>
#include <QStringList>

#include <algorithm>

namespace Utils {

/// How a CSVTable holds its cells: as text, as bytes, or not at all, in the file.
///
/// Rows and columns are counted from 0. What is out of range gives an empty result in every
/// operation, also where a row is negative or as large as an int goes.
///
/// Reading may split a row that is still held as its raw line, so it is not const.
class CSVData
{
public:
    CSVData() = default;
    CSVData(const CSVData &) = delete;
    CSVData &operator=(const CSVData &) = delete;
    virtual ~CSVData();

    /// Whether there is a row.
    virtual bool isValid() const;

    virtual void removeRow(int row) = 0;
    virtual int numRows() const = 0;

    /// The number of fields of a row. A negative \p row means the whole table, in memory only: the
    /// largest number of its rows, which splits them all. A table in a file gives 0.
    virtual int numColumns(int row) = 0;

    /// Whether a cell is empty, or, with a negative \p col, a row. In memory the row is looked at
    /// as it is held, split or not.
    virtual bool isEmpty(int row, int col) = 0;

    // Fields as text, and as numbers

    virtual QStringList data(int row) = 0;
    virtual Data::String data(int row, int col) = 0;
    virtual QList<double> dataValue(int row) = 0;

    /// The number in a cell. \p ok tells, if given, whether there is one.
    virtual double dataValue(int row, int col, bool *ok) = 0;

    /// A column from \p firstRow on: an entry a row, empty where the row is too short, or negative.
    /// The last row gives none when it has no field, or one that is empty. The list is empty when
    /// \p firstRow is further than csvReach below the table.
    virtual QStringList colData(int col, int firstRow) = 0;
    virtual QList<double> colDataValue(int col, int firstRow) = 0;

    virtual bool isReadOnly() const;

    /// Puts \p text into a cell, with the rows and fields before it made as needed. Ignored when
    /// the cell is negative, or further than csvReach behind what is there.
    virtual void setData(int row, int col, const Data::String &text);

    virtual void removeColumn(int col);

    /// Removes many rows at once, as removeRow() does one. Their numbers are in ascending order.
    virtual void removeRows(const QList<int> &rows);
};

/// How far beyond a table an index may lead to empty entries: 16 million. Beyond that it is taken
/// for a mistake, which would otherwise use up the memory.
constexpr int csvReach = 1 << 24;

/// The number that stands for an empty field in every table that holds its cells in memory.
double &csvHoleValue();

/// The number in \p text, in the C locale, up to a "{". The hole number, with \p ok false, when
/// the text is empty, and 0.0 when it is no number.
double csvNumber(const QString &text, bool *ok);

/// A \p text or bytes that may be kept. What was made by fromRawData() belongs to somebody else,
/// who may change or free it at any time: it is copied.
template <typename Text>
Text csvToKeep(const Text &text)
{
    return text.capacity() > 0 ? text : Text(text.constData(), text.size());
}

/// The fields from \p firstCol to \p lastCol, or to the end when \p lastCol is smaller.
template <typename Row>
Row csvPart(const Row &row, int firstCol, int lastCol)
{
    const int begin = std::max(firstCol, 0);
    const int end = lastCol < firstCol ? row.size() : std::min(lastCol, row.size() - 1) + 1;
    return begin < end ? row.mid(begin, end - begin) : Row();
}

} // namespace Utils
