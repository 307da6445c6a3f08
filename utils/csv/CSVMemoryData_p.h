#pragma once

#include "utils/csv/CSVData_p.h"

#include <QSet>

#include <algorithm>

namespace Utils {

/// What the two backends share that hold their cells in memory, as lists of fields.
///
/// A row comes in as its raw line, which stands in for its fields as a single one, and is split
/// when it is first used. Whether a row is split is known by its index alone. Removing a row does
/// not shift that, which is meant: behind it the marks are stale, and stay so for rows that come
/// later. Editing marks a row without splitting it, which is meant too.
template <typename Row>
class CSVMemoryData : public CSVData
{
public:
    using Field = typename Row::value_type;

    void removeRow(int row) override
    {
        if (has(row))
            m_rows.removeAt(row);
    }

    int numRows() const override { return m_rows.size(); }

    int numColumns(int row) override
    {
        if (row >= 0)
            return splitRow(row).size();

        int largest = 0;
        for (int each = 0; each < m_rows.size(); ++each)
            largest = std::max(largest, splitRow(each).size());
        return largest;
    }

    bool isEmpty(int row, int col) override
    {
        if (!has(row))
            return true;
        return col < 0 ? isBlank(m_rows.at(row)) : splitRow(row).value(col).isEmpty();
    }

    QStringList data(int row) override
    {
        return convert<QString>(splitRow(row), [this](const Field &field) { return text(field); });
    }
    using CSVData::data;

    QList<double> dataValue(int row) override
    {
        return convert<double>(splitRow(row),
                               [this](const Field &field) { return number(field, nullptr); });
    }
    using CSVData::dataValue;

    QStringList colData(int col, int firstRow) override
    {
        return convert<QString>(column(col, firstRow),
                                [this](const Field &field) { return text(field); });
    }

    QList<double> colDataValue(int col, int firstRow) override
    {
        return convert<double>(column(col, firstRow),
                               [this](const Field &field) { return number(field, nullptr); });
    }

    void setData(int row, int col, const Data::String &text) override
    {
        if (!isInReach(row, col))
            return;

        while (row >= m_rows.size())
            m_rows.append(Row());
        Row &fields = m_rows[row];
        while (col >= fields.size())
            fields.append(Field());
        fields[col] = encoded(text);
        m_parsedRows.insert(row);
    }

    void removeColumn(int col) override
    {
        for (Row &row : m_rows) {
            if (col >= 0 && col < row.size())
                row.removeAt(col);
        }
    }

    void removeRows(const QList<int> &rows) override
    {
        QList<Row> left;
        left.reserve(m_rows.size());
        auto removed = rows.begin();
        for (int row = 0; row < m_rows.size(); ++row) {
            if (removed != rows.end() && *removed == row)
                ++removed;
            else
                left.append(m_rows.at(row));
        }
        m_rows = left;
    }

    /// Whether a cell is there or so near that setData() makes it.
    bool isInReach(int row, int col) const
    {
        return row >= 0 && col >= 0 && qint64(row) - m_rows.size() <= csvReach &&
               qint64(col) - m_rows.value(row).size() <= csvReach;
    }

    /// Splits a row, unless that is done or it does not exist. One that was made to fill up has no
    /// line, and keeps no fields.
    void parseRow(int row)
    {
        if (!has(row) || isParsed(row))
            return;
        if (!m_rows.at(row).isEmpty())
            m_rows[row] = split(m_rows.at(row).first());
        m_parsedRows.insert(row);
    }

    /// Whether the index \p row is marked as split. It may lie behind the last row.
    bool isParsed(int row) const { return m_parsedRows.contains(row); }

protected:
    virtual Row split(const Field &line) const = 0;
    virtual QString text(const Field &field) const = 0;
    virtual double number(const Field &field, bool *ok) const = 0;
    virtual Field encoded(const Data::String &text) const = 0;

    bool has(int row) const { return row >= 0 && row < m_rows.size(); }

    /// The fields of a row, split. None when it does not exist.
    Row splitRow(int row)
    {
        parseRow(row);
        return m_rows.value(row);
    }

    /// Appends a row that is split already.
    void appendParsed(const Row &fields)
    {
        m_rows.append(fields);
        m_parsedRows.insert(m_rows.size() - 1);
    }

    QList<Row> m_rows;
    QSet<int> m_parsedRows;

private:
    static bool isBlank(const Row &row)
    {
        return row.isEmpty() || (row.size() == 1 && row.first().isEmpty());
    }

    template <typename Result, typename Conversion>
    static QList<Result> convert(const QList<Field> &fields, Conversion conversion)
    {
        QList<Result> results;
        results.reserve(fields.size());
        for (const Field &field : fields)
            results.append(conversion(field));
        return results;
    }

    QList<Field> column(int col, int firstRow)
    {
        QList<Field> fields;
        if (col < 0 || firstRow < -csvReach)
            return fields;

        const int lastRow = m_rows.size() - 1;
        for (int row = firstRow; row <= lastRow; ++row) {
            const Row all = splitRow(row);
            if (row == lastRow && isBlank(all))
                break;
            fields.append(all.value(col));
        }
        return fields;
    }
};

} // namespace Utils
