#pragma once

#include "utils/base/Encoding_p.h"
#include "utils/csv/backends/CSVData_p.h"
#include "utils/csv/backends/RecordFile_p.h"

namespace Utils {

/// The backend that holds no cells, and reads each row from a file that is quoted as in RFC 4180.
/// It cannot be changed, and has its own hole number. Cells are decoded from UTF-8, unless another
/// encoding is set.
class CSVRecordData final : public CSVData
{
public:
    CSVRecordData(const QuotedFormat<char> &format, double hole, int mostRows = csvMostRows)
        : m_format(format), m_hole(hole), m_file(mostRows)
    {}

    /// Finds the rows of the file, see RecordFile::open().
    bool open(const QString &path, Progress *progress);

    qint64 openQuoteLine() const { return m_file.openQuoteLine(); }

    void setEncoding(const Encoding &encoding) { m_encoding = encoding.unlessUtf8(); }

    void removeRow(int) override {}
    int numRows() const override { return m_file.numRows(); }
    int numColumns(int row) override;
    bool isEmpty(int row, int col) override;
    QStringList data(int row) override;
    Data::String data(int row, int col) override;
    QList<double> dataValue(int row) override;
    double dataValue(int row, int col, bool *ok) override;
    QStringList colData(int col, int firstRow) override;
    QList<double> colDataValue(int col, int firstRow) override;
    bool isReadOnly() const override { return true; }
    quint16 checksum(int rows) override;
    bool visit(int firstRow, int lastRow, const Visitor &visitor) override;

private:
    QByteArray contentsOf(const char *begin, const char *end) const;
    const QList<QByteArray> &fieldsOf(int row);
    double toNumber(const QByteArray &field, bool *ok) const;
    template <typename List, typename Convert>
    List column(int col, int firstRow, const Convert &convert);

    const QuotedFormat<char> m_format;
    const double m_hole;
    Encoding m_encoding; // invalid for UTF-8
    RecordFile m_file;
    QList<QByteArray> m_fields; // of the row that was read last
    int m_row = -1;
};

} // namespace Utils
