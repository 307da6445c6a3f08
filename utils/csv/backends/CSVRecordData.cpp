#include "utils/csv/backends/CSVRecordData_p.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/csv/cells/CSVText_p.h"

namespace Utils {

static QString toText(const QByteArray &field)
{
    return csvDecoded(field.constData(), field.constData() + field.size());
}

bool CSVRecordData::open(const QString &path, Progress *progress)
{
    try {
        if (m_file.open(path, m_format, progress))
            return true;
    } catch (...) {
        m_file.clear();
        throw;
    }
    m_file.clear();
    return false;
}

/// Calls \p visit with each raw cell of a row, until it returns false.
template <typename Visit>
static void forEachRawCell(const RecordFile::Record &record, char delimiter, const Visit &visit)
{
    const char *next = record.begin;
    while (true) {
        const char *const end = quotedCellEnd(next, record.end, delimiter);
        if (!visit(next, end) || end == record.end || *end != delimiter)
            return;
        next = end + 1;
    }
}

/// The contents of a raw cell in UTF-8.
QByteArray CSVRecordData::contentsOf(const char *begin, const char *end) const
{
    QByteArray field;
    appendContents<QByteArray, char>(begin, end, field);
    return m_encoding.isValid() ? m_encoding.partToUtf8(field) : field;
}

/// The fields of a row, empty when it does not exist. A row that cannot be read has a single empty
/// field, and is read again by the next call; the reason is stored.
const QList<QByteArray> &CSVRecordData::fieldsOf(int row)
{
    static const QList<QByteArray> none;
    if (row < 0 || row >= numRows())
        return none;
    if (row == m_row)
        return m_fields;
    m_row = -1;
    m_fields.clear();
    const RecordFile::Record record = m_file.record(row);
    forEachRawCell(record, m_format.delimiter, [&](const char *begin, const char *end) {
        m_fields.append(contentsOf(begin, end));
        return true;
    });
    if (record.isRead)
        m_row = row;
    return m_fields;
}

int CSVRecordData::numColumns(int row) { return fieldsOf(row).size(); }

bool CSVRecordData::isEmpty(int row, int col)
{
    const QList<QByteArray> &fields = fieldsOf(row);
    if (col < 0)
        return fields.isEmpty() || (fields.size() == 1 && fields.first().isEmpty());
    return fields.value(col).isEmpty();
}

QStringList CSVRecordData::data(int row)
{
    QStringList texts;
    for (const QByteArray &field : fieldsOf(row))
        texts.append(toText(field));
    return texts;
}

Data::String CSVRecordData::data(int row, int col) { return toText(fieldsOf(row).value(col)); }

double CSVRecordData::toNumber(const QByteArray &field, bool *ok) const
{
    if (field.isEmpty()) {
        if (ok)
            *ok = false;
        return m_hole;
    }
    double value = 0.0;
    const char *const begin = field.constData();
    const bool isPure = hasComma() ? parseCommaNumber(begin, begin + field.size(), value)
                                   : parsePureNumber(begin, field.size(), value);
    if (!isPure)
        return csvNumber(toText(field), ok, decimalPoint());
    if (ok)
        *ok = true;
    return value;
}

QList<double> CSVRecordData::dataValue(int row)
{
    QList<double> numbers;
    for (const QByteArray &field : fieldsOf(row))
        numbers.append(toNumber(field, nullptr));
    return numbers;
}

double CSVRecordData::dataValue(int row, int col, bool *ok)
{
    return toNumber(fieldsOf(row).value(col), ok);
}

template <typename List, typename Convert>
List CSVRecordData::column(int col, int firstRow, const Convert &convert)
{
    List list;
    const qint64 count = qint64(numRows()) - firstRow;
    if (col < 0 || count <= 0 || firstRow < -csvReach)
        return list;
    list.reserve(static_cast<int>(count));
    for (int row = firstRow; row < numRows(); ++row) {
        QByteArray field;
        int left = col;
        if (row >= 0) {
            const RecordFile::Record record = m_file.record(row);
            forEachRawCell(record, m_format.delimiter, [&](const char *begin, const char *end) {
                if (left-- == 0)
                    field = contentsOf(begin, end);
                return left >= 0;
            });
        }
        if (row == numRows() - 1 && isEmpty(row, -1))
            break;
        list.append(convert(field));
    }
    return list;
}

QStringList CSVRecordData::colData(int col, int firstRow)
{
    return column<QStringList>(col, firstRow, toText);
}

QList<double> CSVRecordData::colDataValue(int col, int firstRow)
{
    return column<QList<double>>(
        col, firstRow, [this](const QByteArray &field) { return toNumber(field, nullptr); });
}

quint16 CSVRecordData::checksum(int rows)
{
    return checksumOf(rows, [this](int row, QByteArray &to) {
        to.append(data(row).join(QLatin1Char(',')).toUtf8());
    });
}

bool CSVRecordData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    CSVRowBuilder cells(decimalPoint(), m_hole);
    for (qint64 next = firstRow; next <= lastRow && next < numRows(); ++next) {
        const auto row = static_cast<int>(next);
        {
            const LastError operation; // apart from those of the visitor
            cells.startWith(fieldsOf(row), CSVRowBuilder::Exact);
        }
        if (m_row != row || !visitor(cells.row(row))) // it is not kept when it cannot be read
            return false;
    }
    return true;
}

} // namespace Utils
