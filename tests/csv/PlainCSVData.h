#pragma once

#include "utils/csv/CSVTable_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/text/List.h"

#include <QByteArray>
#include <QList>
#include <QRegExp>
#include <QSet>
#include <QStringList>

#include <algorithm>

/// How a table holds its cells in memory, in the shortest way and as slow as that is: lists of
/// texts. The reference that the fast way is compared with, under one and the same CSVTable.
namespace PlainCSV {

using Utils::csvHoleValue;
using Utils::csvReach;
using Utils::List;
using Utils::Progress;

inline double number(const QString &text, bool *ok)
{
    if (text.isEmpty()) {
        if (ok)
            *ok = false;
        return csvHoleValue();
    }
    const int brace = text.indexOf(QLatin1Char('{'));
    return brace < 0 ? text.toDouble(ok) : text.left(brace).toDouble(ok);
}

/// \p Base with rows that are held as they are.
template <typename Row, typename Base>
class MemoryData : public Base
{
public:
    using Field = typename Row::value_type;

    void removeRow(int row) override
    {
        if (has(row))
            m_rows.removeAt(row);
    }

    void removeRows(const QList<int> &rows) override
    {
        for (int i = rows.size() - 1; i >= 0; --i)
            removeRow(rows.at(i));
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
    using Base::data;

    QList<double> dataValue(int row) override
    {
        return convert<double>(splitRow(row),
                               [this](const Field &field) { return value(field, nullptr); });
    }
    using Base::dataValue;

    QStringList colData(int col, int firstRow) override
    {
        return convert<QString>(column(col, firstRow),
                                [this](const Field &field) { return text(field); });
    }

    QList<double> colDataValue(int col, int firstRow) override
    {
        return convert<double>(column(col, firstRow),
                               [this](const Field &field) { return value(field, nullptr); });
    }

    void setData(int row, int col, const Data::String &text) override
    {
        const bool isInReach = row >= 0 && col >= 0 && qint64(row) - m_rows.size() <= csvReach &&
                               qint64(col) - m_rows.value(row).size() <= csvReach;
        if (!isInReach)
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

    bool visit(int firstRow, int lastRow, const typename Base::Visitor &visitor) override
    {
        for (int row = firstRow; row <= std::min(lastRow, m_rows.size() - 1); ++row) {
            Utils::CSVRowBuilder cells;
            cells.startWith(splitRow(row));
            if (!visitor(cells.row(row)))
                return false;
        }
        return true;
    }

    quint16 checksum(int rows) override
    {
        QByteArray bytes = QByteArray::number(numRows());
        const int end = rows < 0 ? numRows() : std::min(rows, numRows());
        for (int row = 0; row < end; ++row)
            bytes.append(data(row).join(QLatin1Char(',')).toUtf8());
        return qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
    }

protected:
    virtual Row splitLine(const Field &line) const = 0;
    virtual QString text(const Field &field) const = 0;
    virtual double value(const Field &field, bool *ok) const = 0;
    virtual Field encoded(const Data::String &text) const = 0;

    bool has(int row) const { return row >= 0 && row < m_rows.size(); }

    void splitInPlace(int row)
    {
        if (!has(row) || m_parsedRows.contains(row))
            return;
        if (!m_rows.at(row).isEmpty())
            m_rows[row] = splitLine(m_rows.at(row).first());
        m_parsedRows.insert(row);
    }

    Row splitRow(int row)
    {
        splitInPlace(row);
        return m_rows.value(row);
    }

    void appendParsed(const Row &fields)
    {
        m_rows.append(fields);
        m_parsedRows.insert(m_rows.size() - 1);
    }

    /// Appends lines as rows, or those of them that \p isWanted is true of.
    template <typename Lines, typename IsWanted>
    void appendLines(const Lines &lines, bool parseNow, Progress *progress,
                     const Data::String &label, const IsWanted &isWanted)
    {
        if (parseNow && progress) {
            progress->setMaxSteps(lines.size());
            progress->setLabel(label);
        }
        for (const Field &line : lines) {
            if (isWanted(line) && parseNow)
                appendParsed(splitLine(line));
            else if (isWanted(line))
                m_rows.append({line});
            if (parseNow && progress)
                progress->tick(1);
        }
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

class TextData : public MemoryData<QStringList, Utils::CSVTextData>
{
public:
    using MemoryData::data;
    using MemoryData::dataValue;

    Data::String data(int row, int col) override
    {
        return col < 0 ? Data::String() : Data::String(splitRow(row).value(col));
    }

    double dataValue(int row, int col, bool *ok) override { return number(data(row, col), ok); }

    bool appendText(const Utils::CSVText &text, bool parseNow, Progress *progress,
                    const Data::String &label) override
    {
        const QStringList lines = text.toString().split(QLatin1Char('\n'));
        if (!alternateDelimiters.isEmpty() &&
            (delimiters.isEmpty() || !lines.first().contains(delimiters.first())))
            delimiters = alternateDelimiters;
        appendLines(lines, parseNow, progress, label, [this](const QString &line) {
            return comment.isEmpty() || !line.startsWith(comment) ||
                   (!commentException.isEmpty() && line.startsWith(commentException));
        });
        return true;
    }

    QStringList split(const QString &line) const override
    {
        QStringList fields =
            quoted ? List::safeSplit(line, delimiters.value(0), /*backslashQuotes=*/false)
                   : line.split(QRegExp(delimiters.join(QLatin1Char('|'))));
        for (QString &field : fields)
            field = field.trimmed();
        return fields;
    }

    void appendRow(const QStringList &fields) override { appendParsed(fields); }

    bool isInReach(int row, int col) const override
    {
        return row >= 0 && col >= 0 && qint64(row) - m_rows.size() <= csvReach &&
               qint64(col) - m_rows.value(row).size() <= csvReach;
    }

    void parseRow(int row) override { splitInPlace(row); }
    bool isParsed(int row) const override { return m_parsedRows.contains(row); }
    QStringList heldRow(int row) const override { return m_rows.value(row); }

    void setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows) override
    {
        for (int row = firstRow; row <= lastRow; ++row)
            m_rows[row] = rows.at(row);
    }

    void appendHeldRow(int row, const QString &separator, QByteArray &to) const override
    {
        to += m_rows.at(row).join(separator).toUtf8();
    }

    void reorder(int firstRow, const QList<int> &order) override
    {
        for (int row = firstRow; row < m_rows.size(); ++row)
            splitInPlace(row);
        QList<QStringList> rows = m_rows.mid(0, firstRow);
        for (const int index : order)
            rows.append(m_rows.value(firstRow + index));
        m_rows = rows;
    }

    void clear() override
    {
        m_rows.clear();
        m_parsedRows.clear();
    }

protected:
    QStringList splitLine(const QString &line) const override { return split(line); }
    QString text(const QString &field) const override { return field; }
    double value(const QString &field, bool *ok) const override { return number(field, ok); }
    QString encoded(const Data::String &text) const override { return text; }
};

class ByteData : public MemoryData<QList<QByteArray>, Utils::CSVData>
{
public:
    ByteData(const QByteArray &bytes, char delimiter, bool parseNow, Progress *progress,
             const Data::String &label)
        : m_delimiter(delimiter)
    {
        appendLines(bytes.split('\n'), parseNow, progress, label,
                    [](const QByteArray &) { return true; });
    }

    using MemoryData::data;
    using MemoryData::dataValue;

    Data::String data(int row, int col) override
    {
        return col < 0 ? QString() : QString::fromLatin1(splitRow(row).value(col));
    }

    double dataValue(int row, int col, bool *ok) override
    {
        const QList<QByteArray> fields = col < 0 ? QList<QByteArray>() : splitRow(row);
        if (col >= 0 && col < fields.size())
            return value(fields.at(col), ok);
        if (ok)
            *ok = false;
        return 0.0;
    }

protected:
    QList<QByteArray> splitLine(const QByteArray &line) const override
    {
        QList<QByteArray> fields = line.split(m_delimiter);
        for (QByteArray &field : fields)
            field = field.trimmed();
        return fields;
    }

    QString text(const QByteArray &field) const override { return QString::fromUtf8(field); }

    double value(const QByteArray &field, bool *ok) const override
    {
        const QByteArray trimmed = field.trimmed();
        if (!trimmed.isEmpty())
            return trimmed.toDouble(ok);
        if (ok)
            *ok = false;
        return csvHoleValue();
    }

    QByteArray encoded(const Data::String &text) const override { return text.toUtf8(); }

private:
    const char m_delimiter;
};

/// Makes \p table, which is new and without delimiters, hold its cells in the plain way.
inline void usePlainBackends(Utils::CSVTable &table)
{
    const auto makeText = []() -> std::unique_ptr<Utils::CSVTextData> {
        return std::make_unique<TextData>();
    };
    const auto makeBytes = [](const QByteArray &bytes, char delimiter, bool parseNow,
                              Progress *progress,
                              const Data::String &label) -> std::unique_ptr<Utils::CSVData> {
        return std::make_unique<ByteData>(bytes, delimiter, parseNow, progress, label);
    };
    Utils::CSVTablePrivate::useBackends(table, {makeText, makeBytes});
}

} // namespace PlainCSV
