#pragma once

#include "utils/csv/backends/CSVTextData_p.h"
#include "utils/csv/backends/MemoryRows_p.h"
#include "utils/csv/backends/RowReader_p.h"
#include "utils/csv/cells/TextChunk_p.h"

namespace Utils {

class LineSplitter;

/// The backend that holds text.
///
/// A row that is requested as a list a second time is cached as a list.
class CSVStringData final : public CSVTextData
{
public:
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

    bool setData(const Data::String &text, bool parseNow, Progress *progress,
                 const Data::String &label)
    {
        return appendText(CSVText(text), parseNow, progress, label);
    }
    bool appendText(const CSVText &text, bool parseNow, Progress *progress,
                    const Data::String &label) override;

    void setData(int row, int col, const Data::String &text) override;
    void removeRow(int row) override { m_rows.remove(row); }
    void removeColumn(int col) override { m_rows.removeColumn(col); }
    void removeRows(const QList<int> &rows) override { m_rows.remove(rows); }
    quint16 checksum(int rows) override;
    QList<QList<double>> colDataValues(const QList<int> &cols, int firstRow) override;
    bool visit(int firstRow, int lastRow, const Visitor &visitor) override;

    QStringList split(const QString &line) const override;
    void appendRow(const QStringList &fields) override { m_rows.appendParsed({fields}); }
    bool isInReach(int row, int col) const override { return m_rows.isInReach(row, col); }
    void parseRow(int row) override
    {
        if (m_rows.needsParse(row))
            splitRow(row);
    }
    bool isParsed(int row) const override { return m_rows.isParsed(row); }
    QStringList heldRow(int row) const override { return m_rows.heldRow(row); }
    void setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows) override;
    void appendHeldRow(int row, const QString &separator, QByteArray &to) const override;
    void reorder(int firstRow, const QList<int> &order) override;
    void clear() override { m_rows.clear(); }

private:
    auto reader()
    {
        return RowReader(m_rows, [this](int row) { parseRow(row); });
    }

    void splitRow(int row);
    Q_NEVER_INLINE QStringList listOf(int row);
    bool appendOrThrow(const CSVText &text, bool parseNow, Progress *progress,
                       const Data::String &label);
    void appendSplit(const CSVText &text, const LineSplitter &splitter, Progress *progress,
                     const Data::String &label);
    bool appendQuoted(const CSVText &text, Progress *progress, const Data::String &label);
    void appendAll(TextChunk chunk, Progress *progress, const Data::String &label);
    void appendChunk(TextChunk chunk);

    MemoryRows<QStringList, TextChunk> m_rows;
};

} // namespace Utils
