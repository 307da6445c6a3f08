#pragma once

#include "data/String.h"
#include "utils/csv/CSVRow.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <functional>

namespace Utils {

/// How a CSVTable holds its cells: as text, as bytes, or not at all, in the file.
///
/// Rows and columns are counted from 0. Every operation returns an empty result for an index that
/// is out of range, including negative rows and the largest int.
///
/// Functions that read are not const, because they may split a row that is still held as its raw
/// line.
class CSVData
{
public:
    CSVData() = default;
    CSVData(const CSVData &) = delete;
    CSVData &operator=(const CSVData &) = delete;
    virtual ~CSVData();

    /// The absolute path of the file that rows are read from on demand; "" when they are in memory.
    QString source;

    /// Whether there is at least one row.
    virtual bool isValid() const;

    virtual void removeRow(int row) = 0;
    virtual int numRows() const = 0;

    /// The number of fields of a row. For a negative \p row, a table in memory splits all rows and
    /// returns the largest number of fields; a table in a file returns 0.
    virtual int numColumns(int row) = 0;

    /// Whether a cell is empty, or a row if \p col is negative. In memory, a row is tested as it is
    /// held, split or not.
    virtual bool isEmpty(int row, int col) = 0;

    // Fields as text, and as numbers

    virtual QStringList data(int row) = 0;
    virtual Data::String data(int row, int col) = 0;
    virtual QList<double> dataValue(int row) = 0;

    /// The number in a cell. If \p ok is not null, it is set to whether there is a number.
    virtual double dataValue(int row, int col, bool *ok) = 0;

    /// A column from \p firstRow on, one entry per row; an entry is empty when the row is too short
    /// or negative. The last row is left out when it has no field or a single empty one. The list
    /// is empty when \p firstRow is less than -csvReach.
    virtual QStringList colData(int col, int firstRow) = 0;
    virtual QList<double> colDataValue(int col, int firstRow) = 0;

    virtual bool isReadOnly() const;

    /// Puts \p text into a cell, and creates the rows and fields before it as needed. Ignored when
    /// an index is negative, or more than csvReach after the last existing row or field.
    virtual void setData(int row, int col, const Data::String &text);

    virtual void removeColumn(int col);

    /// Removes many rows at once. \p rows is in ascending order.
    virtual void removeRows(const QList<int> &rows);

    /// CRC-16 of the number of all rows in decimal and the first \p rows rows, as
    /// CSVTable::checksum() returns it.
    virtual quint16 checksum(int rows) = 0;

    /// Makes accesses by row and column decode bytes as UTF-8, as all others do.
    virtual void setUtf8() {}

    /// The result of colDataValue() for each of \p cols.
    virtual QList<QList<double>> colDataValues(const QList<int> &cols, int firstRow);

    using Visitor = std::function<bool(const CSVRow &row)>;

    /// Calls \p visitor with each row from \p firstRow, which is not negative, to \p lastRow or to
    /// the last row. Returns false, and calls it no more, when it returns false, and, with a
    /// reason, when a row cannot be read completely. The visitor may change the rows.
    virtual bool visit(int firstRow, int lastRow, const Visitor &visitor) = 0;

    /// A number that changes with the existing rows, and that no other backend of the process
    /// returns. Rows that are appended may leave it. 0 when rows may change unnoticed.
    virtual quint64 revision() const;

    /// The decimal point of numbers, '.' or ','.
    char decimalPoint() const { return m_decimalPoint; }
    virtual void setDecimalPoint(char point);

protected:
    bool hasComma() const { return m_decimalPoint == ','; }

    /// The result of checksum() for the bytes that \p appendRow appends for each row.
    quint16 checksumOf(int rows,
                       const std::function<void(int row, QByteArray &to)> &appendRow) const;

private:
    char m_decimalPoint = '.';
};

} // namespace Utils
