#pragma once

#include "data/String.h"
#include "utils/csv/CSVReader.h"
#include "utils/feedback/Progress.h"
#include "utils/text/List.h"

#include <QByteArray>
#include <QList>
#include <QRegExp>
#include <QSet>
#include <QStringList>

#include <algorithm>

/// How a table holds its cells, in the shortest way and as slow as that is: lists of texts. The
/// reference that the fast way is compared with.
namespace PlainCSV {

using Utils::CSVReader;
using Utils::List;
using Utils::Progress;

class CSVData
{
public:
    CSVData() = default;
    CSVData(const CSVData &) = delete;
    CSVData &operator=(const CSVData &) = delete;
    virtual ~CSVData();

    virtual bool isValid() const;

    virtual void removeRow(int row) = 0;
    virtual int numRows() const = 0;

    virtual int numColumns(int row) = 0;

    virtual bool isEmpty(int row, int col) = 0;

    // Fields as text, and as numbers

    virtual QStringList data(int row) = 0;
    virtual Data::String data(int row, int col) = 0;
    virtual QList<double> dataValue(int row) = 0;

    virtual double dataValue(int row, int col, bool *ok) = 0;

    virtual QStringList colData(int col, int firstRow) = 0;
    virtual QList<double> colDataValue(int col, int firstRow) = 0;

    virtual bool isReadOnly() const;

    virtual void setData(int row, int col, const Data::String &text);

    virtual void removeColumn(int col);
};

constexpr int csvReach = 1 << 24;

inline double &csvHoleValue();

inline double csvNumber(const QString &text, bool *ok);

template <typename Row>
Row csvPart(const Row &row, int firstCol, int lastCol)
{
    const int begin = std::max(firstCol, 0);
    const int end = lastCol < firstCol ? row.size() : std::min(lastCol, row.size() - 1) + 1;
    return begin < end ? row.mid(begin, end - begin) : Row();
}

inline CSVData::~CSVData() = default;

inline bool CSVData::isValid() const { return numRows() > 0; }
inline bool CSVData::isReadOnly() const { return false; }
inline void CSVData::setData(int, int, const Data::String &) {}
inline void CSVData::removeColumn(int) {}

inline double &csvHoleValue()
{
    static double value = 0.0;
    return value;
}

inline double csvNumber(const QString &text, bool *ok)
{
    if (text.isEmpty()) {
        if (ok)
            *ok = false;
        return csvHoleValue();
    }
    const int brace = text.indexOf(QLatin1Char('{'));
    return brace < 0 ? text.toDouble(ok) : text.left(brace).toDouble(ok);
}

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

    bool isInReach(int row, int col) const
    {
        return row >= 0 && col >= 0 && qint64(row) - m_rows.size() <= csvReach &&
               qint64(col) - m_rows.value(row).size() <= csvReach;
    }

    void parseRow(int row)
    {
        if (!has(row) || isParsed(row))
            return;
        if (!m_rows.at(row).isEmpty())
            m_rows[row] = split(m_rows.at(row).first());
        m_parsedRows.insert(row);
    }

    bool isParsed(int row) const { return m_parsedRows.contains(row); }

protected:
    virtual Row split(const Field &line) const = 0;
    virtual QString text(const Field &field) const = 0;
    virtual double number(const Field &field, bool *ok) const = 0;
    virtual Field encoded(const Data::String &text) const = 0;

    bool has(int row) const { return row >= 0 && row < m_rows.size(); }

    Row splitRow(int row)
    {
        parseRow(row);
        return m_rows.value(row);
    }

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

class CSVStringData : public CSVMemoryData<QStringList>
{
public:
    QStringList delimiters;
    QStringList alternateDelimiters;
    Data::String comment;
    Data::String commentException;
    bool quoted = false;

    using CSVMemoryData::data;
    using CSVMemoryData::dataValue;
    using CSVMemoryData::setData;

    Data::String data(int row, int col) override;
    double dataValue(int row, int col, bool *ok) override;

    void setData(const Data::String &text, bool parseNow, Progress *progress,
                 const Data::String &label);

    QStringList split(const QString &line) const override;

    void appendRow(const QStringList &fields) { appendParsed(fields); }

    QStringList heldRow(int row) const { return m_rows.value(row); }

    QList<QStringList> &heldRows() { return m_rows; }

    void reorder(int firstRow, const QList<int> &order);

    void clear();

protected:
    QString text(const QString &field) const override { return field; }
    double number(const QString &field, bool *ok) const override { return csvNumber(field, ok); }
    QString encoded(const Data::String &text) const override { return text; }

private:
    bool isComment(const QString &line) const;
};

static const QLatin1Char lineFeed('\n');

class LineSplitter
{
public:
    explicit LineSplitter(const CSVStringData &data)
        : m_quoted(data.quoted), m_delimiter(data.delimiters.value(0)),
          m_pattern(data.delimiters.join(QLatin1Char('|')))
    {}

    QStringList split(const QString &line) const
    {
        QStringList fields = m_quoted
                                 ? List::safeSplit(line, m_delimiter, /*backslashQuotes=*/false)
                                 : line.split(m_pattern);
        for (QString &field : fields)
            field = field.trimmed();
        return fields;
    }

private:
    bool m_quoted;
    QString m_delimiter;
    QRegExp m_pattern;
};

inline Data::String CSVStringData::data(int row, int col)
{
    return col < 0 ? Data::String() : Data::String(splitRow(row).value(col));
}

inline double CSVStringData::dataValue(int row, int col, bool *ok)
{
    return csvNumber(data(row, col), ok);
}

inline void CSVStringData::setData(const Data::String &text, bool parseNow, Progress *progress,
                                   const Data::String &label)
{
    const QStringList lines = text.split(lineFeed);
    if (!alternateDelimiters.isEmpty() &&
        (delimiters.isEmpty() || !lines.first().contains(delimiters.first())))
        delimiters = alternateDelimiters;

    if (!parseNow) {
        for (const QString &line : lines) {
            if (!isComment(line))
                m_rows.append({line});
        }
        return;
    }

    if (progress) {
        progress->setMaxSteps(lines.size());
        progress->setLabel(label);
    }
    const LineSplitter splitter(*this);
    for (const QString &line : lines) {
        if (!isComment(line))
            appendParsed(splitter.split(line));
        if (progress)
            progress->tick(1);
    }
}

inline QStringList CSVStringData::split(const QString &line) const
{
    return LineSplitter(*this).split(line);
}

inline void CSVStringData::reorder(int firstRow, const QList<int> &order)
{
    for (int row = firstRow; row < m_rows.size(); ++row)
        parseRow(row);
    QList<QStringList> rows = m_rows.mid(0, firstRow);
    for (const int index : order)
        rows.append(m_rows.value(firstRow + index));
    m_rows = rows;
}

inline void CSVStringData::clear()
{
    m_rows.clear();
    m_parsedRows.clear();
}

inline bool CSVStringData::isComment(const QString &line) const
{
    return !comment.isEmpty() && line.startsWith(comment) &&
           (commentException.isEmpty() || !line.startsWith(commentException));
}

class CSVArrayData : public CSVMemoryData<QList<QByteArray>>
{
public:
    explicit CSVArrayData(char delimiter) : m_delimiter(delimiter) {}

    using CSVMemoryData::data;
    using CSVMemoryData::dataValue;
    using CSVMemoryData::setData;

    Data::String data(int row, int col) override;
    double dataValue(int row, int col, bool *ok) override;

    void setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                 const Data::String &label);

protected:
    QList<QByteArray> split(const QByteArray &line) const override;
    QString text(const QByteArray &field) const override;
    double number(const QByteArray &field, bool *ok) const override;
    QByteArray encoded(const Data::String &text) const override { return text.toUtf8(); }

private:
    const char m_delimiter;
};

inline Data::String CSVArrayData::data(int row, int col)
{
    return col < 0 ? QString() : QString::fromLatin1(splitRow(row).value(col));
}

inline double CSVArrayData::dataValue(int row, int col, bool *ok)
{
    const QList<QByteArray> fields = col < 0 ? QList<QByteArray>() : splitRow(row);
    if (col >= 0 && col < fields.size())
        return number(fields.at(col), ok);
    if (ok)
        *ok = false;
    return 0.0;
}

inline void CSVArrayData::setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                                  const Data::String &label)
{
    const QList<QByteArray> lines = bytes.split('\n');
    if (!parseNow) {
        for (const QByteArray &line : lines)
            m_rows.append({line});
        return;
    }

    if (progress) {
        progress->setMaxSteps(lines.size());
        progress->setLabel(label);
    }
    for (const QByteArray &line : lines) {
        appendParsed(split(line));
        if (progress)
            progress->tick(1);
    }
}

inline QList<QByteArray> CSVArrayData::split(const QByteArray &line) const
{
    QList<QByteArray> fields = line.split(m_delimiter);
    for (QByteArray &field : fields)
        field = field.trimmed();
    return fields;
}

inline QString CSVArrayData::text(const QByteArray &field) const
{
    return QString::fromUtf8(field);
}

inline double CSVArrayData::number(const QByteArray &field, bool *ok) const
{
    const QByteArray trimmed = field.trimmed();
    if (!trimmed.isEmpty())
        return trimmed.toDouble(ok);
    if (ok)
        *ok = false;
    return csvHoleValue();
}

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
    QStringList colData(int col, int firstRow) override
    {
        return firstRow < -csvReach ? QStringList() : reader.colDataD(col, firstRow);
    }
    QList<double> colDataValue(int col, int firstRow) override
    {
        return firstRow < -csvReach ? QList<double>() : reader.colDataValue(col, firstRow);
    }
    bool isReadOnly() const override { return true; }
};

} // namespace PlainCSV
