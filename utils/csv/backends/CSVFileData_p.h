#pragma once

#include "utils/base/Encoding_p.h"
#include "utils/csv/CSVReader.h"
#include "utils/csv/backends/CSVData_p.h"

namespace Utils {

/// The backend that holds no cells, and reads each row from the file on demand. It cannot be
/// changed, and has its own hole number.
class CSVFileData : public CSVData
{
public:
    explicit CSVFileData(char delimiter) : reader(delimiter) {}

    CSVReader reader;

    bool isValid() const override { return reader.isValid(); }
    void removeRow(int) override {}
    int numRows() const override { return reader.numRows(); }
    int numColumns(int row) override { return reader.numColumns(row); }
    bool isEmpty(int row, int col) override { return reader.dataD(row, col).isEmpty(); }
    QStringList data(int row) override { return reader.dataD(row); }
    Data::String data(int row, int col) override { return reader.dataD(row, col); }
    QList<double> dataValue(int row) override { return reader.dataValue(row); }
    double dataValue(int row, int col, bool *ok) override { return reader.dataValue(row, col, ok); }
    QStringList colData(int col, int firstRow) override { return reader.colDataD(col, firstRow); }
    QList<double> colDataValue(int col, int firstRow) override
    {
        return reader.colDataValue(col, firstRow);
    }
    void setDecimalPoint(char point) override
    {
        CSVData::setDecimalPoint(point);
        reader.setDecimalPoint(point);
    }
    bool isReadOnly() const override { return true; }
    quint16 checksum(int rows) override { return reader.checksum(rows); }
    bool visit(int firstRow, int lastRow, const Visitor &visitor) override;

    /// Sets the encoding of the cells that visit() passes. The encoding of the reader is separate.
    void setEncoding(const Encoding &encoding) { m_encoding = encoding.unlessUtf8(); }

private:
    double hole() const { return reader.dataValue(-1, 0); } // that of a row that does not exist

    Encoding m_encoding; // invalid for UTF-8
};

} // namespace Utils
