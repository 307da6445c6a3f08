#include "utils/csv/backends/CSVArrayData_p.h"

#include "utils/feedback/Progress.h"

namespace Utils {

static QString toText(const QByteArray &field) { return QString::fromUtf8(field); }

static double toNumber(const QByteArray &field, bool *ok)
{
    return csvNumber(field.constData(), field.constData() + field.size(), csvHoleValue, ok);
}

static double toCommaNumber(const QByteArray &field, bool *ok)
{
    return csvCommaNumber(field.constData(), field.constData() + field.size(), csvHoleValue, ok);
}

// Lambdas rather than functions: functions would be called through a pointer.
static const auto cellText = [](const ByteChunk &chunk, int cell) { return chunk.text(cell); };

/// The result of \p read for functions that convert a field, null for none, and a cell to a number.
template <typename Read>
static auto readNumbers(bool hasComma, const Read &read)
{
    if (hasComma)
        return read(
            [](const QByteArray *field) {
                return field ? toCommaNumber(*field, nullptr) : csvHoleValue();
            },
            [](const ByteChunk &chunk, int cell) { return chunk.commaNumber(cell, nullptr); });
    return read(
        [](const QByteArray *field) { return field ? toNumber(*field, nullptr) : csvHoleValue(); },
        [](const ByteChunk &chunk, int cell) { return chunk.number(cell, nullptr); });
}

void CSVArrayData::splitRow(int row)
{
    m_rows.parse(row, [this](const QByteArray &line) { return split(line); });
    m_texts.remove(m_rows.idOf(row));
}

QList<QByteArray> CSVArrayData::split(const QByteArray &line) const
{
    QList<QByteArray> fields = line.split(m_delimiter);
    for (QByteArray &field : fields)
        field = field.trimmed();
    return fields;
}

int CSVArrayData::numColumns(int row) { return reader().numColumns(row); }

bool CSVArrayData::isEmpty(int row, int col)
{
    return m_rows.isEmpty(row, col, [this](int each) { parseRow(each); });
}

QStringList CSVArrayData::data(int row)
{
    parseRow(row);
    if (!m_rows.has(row))
        return {};
    const int id = m_rows.idOf(row);
    if (const QStringList *const texts = m_texts.find(id))
        return *texts;

    const QStringList texts = m_rows.fields<QString>(
        row, [](const QByteArray *field) { return toText(*field); }, cellText);
    return m_requests.isFirst(id) ? texts : m_texts.insert(id, texts);
}

Data::String CSVArrayData::data(int row, int col)
{
    if (col < 0)
        return {};
    parseRow(row);
    if (!m_rows.has(row))
        return {};
    return m_rows.visitField(
        row, col,
        [this](const QByteArray *field) {
            if (!field)
                return QString();
            return m_isUtf8 ? toText(*field) : QString::fromLatin1(*field);
        },
        [this](const ByteChunk &chunk, int cell) {
            return m_isUtf8 ? chunk.text(cell) : chunk.latin1(cell);
        });
}

QList<double> CSVArrayData::dataValue(int row)
{
    parseRow(row);
    return readNumbers(hasComma(), [&](const auto &onField, const auto &onCell) {
        return m_rows.fields<double>(row, onField, onCell);
    });
}

double CSVArrayData::dataValue(int row, int col, bool *ok)
{
    const auto noCell = [&] {
        if (ok)
            *ok = false;
        return 0.0;
    };
    if (col < 0)
        return noCell();
    parseRow(row);
    if (!m_rows.has(row))
        return noCell();
    const bool isComma = hasComma();
    return m_rows.visitField(
        row, col,
        [&](const QByteArray *field) {
            if (!field)
                return noCell();
            return isComma ? toCommaNumber(*field, ok) : toNumber(*field, ok);
        },
        [&](const ByteChunk &chunk, int cell) {
            return isComma ? chunk.commaNumber(cell, ok) : chunk.number(cell, ok);
        });
}

QStringList CSVArrayData::colData(int col, int firstRow)
{
    return reader()
        .columns<QString>(
            {col}, firstRow,
            [](const QByteArray *field) { return field ? toText(*field) : QString(); }, cellText)
        .first();
}

QList<double> CSVArrayData::colDataValue(int col, int firstRow)
{
    return colDataValues({col}, firstRow).first();
}

QList<QList<double>> CSVArrayData::colDataValues(const QList<int> &cols, int firstRow)
{
    return readNumbers(hasComma(), [&](const auto &onField, const auto &onCell) {
        return reader().columns<double>(cols, firstRow, onField, onCell);
    });
}

void CSVArrayData::setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                           const Data::String &label)
{
    if (!parseNow) {
        m_rows.append(ByteChunk(bytes));
        return;
    }

    ByteChunk chunk(bytes, m_delimiter);
    const int count = chunk.numLines();
    if (progress) {
        progress->setMaxSteps(count);
        progress->setLabel(label);
    }
    m_rows.append(std::move(chunk));
    // All lines have been split at once, in less time than it takes to report them.
    for (int line = 0; progress && line < count; ++line)
        progress->tick(1);
}

void CSVArrayData::setData(int row, int col, const Data::String &text)
{
    if (!m_rows.isInReach(row, col))
        return;
    m_rows.setField(row, col, text.toUtf8());
    m_texts.remove(m_rows.idOf(row));
}

void CSVArrayData::removeColumn(int col)
{
    m_rows.removeColumn(col);
    m_texts.clear();
}

bool CSVArrayData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    return reader().visit(firstRow, lastRow, visitor, decimalPoint());
}

quint16 CSVArrayData::checksum(int rows)
{
    return checksumOf(rows, [this](int row, QByteArray &to) { appendRow(row, to); });
}

/// Appends the text of the fields of a row in UTF-8, separated by ",".
void CSVArrayData::appendRow(int row, QByteArray &to)
{
    static const char separator = ',';
    parseRow(row);
    m_rows.visit(
        row,
        [&](const QList<QByteArray> &fields) {
            for (int i = 0; i < fields.size(); ++i) {
                if (i > 0)
                    to.append(separator);
                to.append(toText(fields.at(i)).toUtf8());
            }
        },
        [&](const ByteChunk &chunk, int line) { chunk.appendLine(line, separator, to); });
}

} // namespace Utils
