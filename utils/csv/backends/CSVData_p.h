#pragma once

#include "data/String.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <functional>

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

    /// CRC-16 of the number of all rows in decimal and the first \p rows rows, as
    /// CSVTable::checksum() has it.
    virtual quint16 checksum(int rows) = 0;

protected:
    /// The same of what \p appendRow appends for each row.
    quint16 checksumOf(int rows,
                       const std::function<void(int row, QByteArray &to)> &appendRow) const;
};

} // namespace Utils
