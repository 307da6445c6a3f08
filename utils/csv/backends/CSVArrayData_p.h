#pragma once

#include "utils/csv/backends/CSVData_p.h"
#include "utils/csv/backends/MemoryRows_p.h"
#include "utils/csv/backends/RowReader_p.h"
#include "utils/csv/cells/ByteChunk_p.h"

namespace Utils {

class Progress;

/// The backend that holds bytes, separated by a single delimiter byte. It supports no patterns,
/// quotes or comments, and no "{" in a number.
///
/// \compat A cell requested by row and column is read as Latin-1, unless setUtf8() was called,
/// while rows and columns of text are read as UTF-8; both end at a zero byte. The number of a cell
/// that does not exist is 0.0, not the hole number.
///
/// A row that is requested as a list of text a second time is cached as such a list, besides its
/// bytes.
class CSVArrayData final : public CSVData
{
public:
    explicit CSVArrayData(char delimiter) : m_delimiter(delimiter) {}

    int numRows() const override { return m_rows.size(); }
    quint64 revision() const override { return m_rows.revision(); }
    int numColumns(int row) override;
    bool isEmpty(int row, int col) override;

    QStringList data(int row) override;
    Data::String data(int row, int col) override;
    QList<double> dataValue(int row) override;
    double dataValue(int row, int col, bool *ok) override;
    QStringList colData(int col, int firstRow) override;
    QList<double> colDataValue(int col, int firstRow) override;

    /// Appends the lines of \p bytes, split or, unless \p parseNow, as they are. Progress is
    /// reported, one tick per line, only when they are split.
    void setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                 const Data::String &label);

    void setData(int row, int col, const Data::String &text) override;
    void setUtf8() override { m_isUtf8 = true; }
    void removeRow(int row) override { m_rows.remove(row); }
    void removeColumn(int col) override;
    void removeRows(const QList<int> &rows) override { m_rows.remove(rows); }
    quint16 checksum(int rows) override;
    QList<QList<double>> colDataValues(const QList<int> &cols, int firstRow) override;
    bool visit(int firstRow, int lastRow, const Visitor &visitor) override;

    /// Splits a row, unless that is done or it does not exist.
    void parseRow(int row)
    {
        if (m_rows.needsParse(row))
            splitRow(row);
    }

    /// Whether the index \p row is marked as split. It may lie after the last row.
    bool isParsed(int row) const { return m_rows.isParsed(row); }

private:
    auto reader()
    {
        return RowReader(m_rows, [this](int row) { parseRow(row); });
    }

    void splitRow(int row);
    QList<QByteArray> split(const QByteArray &line) const;
    void appendRow(int row, QByteArray &to);

    MemoryRows<QList<QByteArray>, ByteChunk> m_rows;
    RowStore<QStringList> m_texts; // the cached lists of text
    RowRequests m_requests;        // of such lists
    const char m_delimiter;
    bool m_isUtf8 = false;
};

} // namespace Utils
