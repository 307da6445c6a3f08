#include "utils/csv/backends/CSVFileData_p.h"

#include "utils/csv/cells/CSVRowBuilder_p.h"

namespace Utils {

/// The numbers of \p fields with a decimal comma, which the reader does not support.
QList<double> CSVFileData::commaNumbers(const QList<QByteArray> &fields) const
{
    const double holeValue = hole();
    QList<double> numbers;
    numbers.reserve(fields.size());
    for (const QByteArray &field : fields)
        numbers.append(csvCommaNumber(
            field.constData(), field.constData() + field.size(), [&] { return holeValue; },
            nullptr));
    return numbers;
}

QList<double> CSVFileData::dataValue(int row)
{
    return decimalPoint == ',' ? commaNumbers(reader.data(row)) : reader.dataValue(row);
}

double CSVFileData::dataValue(int row, int col, bool *ok)
{
    if (decimalPoint != ',')
        return reader.dataValue(row, col, ok);
    const QByteArray field = reader.data(row, col);
    return csvCommaNumber(
        field.constData(), field.constData() + field.size(), [this] { return hole(); }, ok);
}

QList<double> CSVFileData::colDataValue(int col, int firstRow)
{
    return decimalPoint == ',' ? commaNumbers(reader.colData(col, firstRow))
                               : reader.colDataValue(col, firstRow);
}

bool CSVFileData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    const double holeValue = hole();
    CSVRowBuilder cells(decimalPoint, holeValue);
    for (qint64 next = firstRow; next <= lastRow && next < numRows(); ++next) {
        const auto row = static_cast<int>(next);
        QList<QByteArray> fields = reader.data(row);
        if (m_encoding.isValid()) {
            for (QByteArray &field : fields)
                field = m_encoding.partToUtf8(field);
        }
        cells.startWith(fields, CSVRowBuilder::InFile);
        if (!visitor(cells.row(row)))
            return false;
    }
    return true;
}

} // namespace Utils
