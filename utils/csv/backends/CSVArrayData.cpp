#include "utils/csv/backends/CSVArrayData_p.h"

#include "utils/feedback/Progress.h"

namespace Utils {

QStringList CSVArrayData::data(int row)
{
    parseRow(row);
    if (!has(row))
        return {};
    if (const QStringList *const texts = m_texts.find(idOf(row)))
        return *texts;

    QStringList texts;
    visit(
        row,
        [&](const QList<QByteArray> &fields) {
            for (const QByteArray &field : fields)
                texts.append(text(field));
        },
        [&](const ByteChunk &block, int line) {
            texts.reserve(block.numCells(line));
            for (int cell = block.firstCell(line); cell < block.firstCell(line + 1); ++cell)
                texts.append(block.text(cell));
        });
    return m_texts.insert(idOf(row), texts);
}

Data::String CSVArrayData::data(int row, int col)
{
    if (col < 0)
        return {};
    parseRow(row);
    if (!has(row))
        return {};
    return visitField(
        row, col,
        [](const QByteArray *field) { return field ? QString::fromLatin1(*field) : QString(); },
        [](const ByteChunk &block, int cell) { return block.latin1(cell); });
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
    if (!has(row))
        return noCell();
    return visitField(
        row, col, [&](const QByteArray *field) { return field ? number(*field, ok) : noCell(); },
        [&](const ByteChunk &block, int cell) { return block.number(cell, ok); });
}

void CSVArrayData::setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                           const Data::String &label)
{
    if (!parseNow) {
        appendBlock(ByteChunk(bytes));
        return;
    }

    ByteChunk block(bytes, m_delimiter);
    const int count = block.numLines();
    if (progress) {
        progress->setMaxSteps(count);
        progress->setLabel(label);
    }
    appendBlock(std::move(block));
    // All lines are done at one go, in less time than it takes to tell about them.
    for (int line = 0; progress && line < count; ++line)
        progress->tick(1);
}

void CSVArrayData::appendRow(int row, char separator, QByteArray &to)
{
    parseRow(row);
    if (!has(row))
        return;
    visit(
        row,
        [&](const QList<QByteArray> &fields) {
            for (int i = 0; i < fields.size(); ++i) {
                if (i > 0)
                    to.append(separator);
                to.append(text(fields.at(i)).toUtf8());
            }
        },
        [&](const ByteChunk &block, int line) { block.appendLine(line, separator, to); });
}

QList<QByteArray> CSVArrayData::split(const QByteArray &line) const
{
    QList<QByteArray> fields = line.split(m_delimiter);
    for (QByteArray &field : fields)
        field = field.trimmed();
    return fields;
}

QString CSVArrayData::text(const QByteArray &field) const { return QString::fromUtf8(field); }

double CSVArrayData::number(const QByteArray &field, bool *ok) const
{
    return csvNumber(field.constData(), field.constData() + field.size(), csvHoleValue, ok);
}

} // namespace Utils
