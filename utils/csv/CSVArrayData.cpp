#include "utils/csv/CSVArrayData_p.h"

#include "utils/feedback/Progress.h"

namespace Utils {

Data::String CSVArrayData::data(int row, int col)
{
    return col < 0 ? QString() : QString::fromLatin1(splitRow(row).value(col));
}

double CSVArrayData::dataValue(int row, int col, bool *ok)
{
    const QList<QByteArray> fields = col < 0 ? QList<QByteArray>() : splitRow(row);
    if (col >= 0 && col < fields.size())
        return number(fields.at(col), ok);
    if (ok)
        *ok = false;
    return 0.0;
}

void CSVArrayData::setData(const QByteArray &bytes, bool parseNow, Progress *progress,
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
    const QByteArray trimmed = field.trimmed();
    if (!trimmed.isEmpty())
        return trimmed.toDouble(ok);
    if (ok)
        *ok = false;
    return csvHoleValue();
}

} // namespace Utils
