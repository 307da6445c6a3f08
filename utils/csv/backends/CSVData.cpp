#include "utils/csv/backends/CSVData_p.h"

#include "utils/base/Checksum_p.h"

#include <algorithm>

namespace Utils {

CSVData::~CSVData() = default;

bool CSVData::isValid() const { return numRows() > 0; }
quint64 CSVData::revision() const { return 0; }

void CSVData::setDecimalPoint(char point) { m_decimalPoint = point; }

bool CSVData::isReadOnly() const { return false; }
void CSVData::setData(int, int, const Data::String &) {}
void CSVData::removeColumn(int) {}
void CSVData::removeRows(const QList<int> &) {}

QList<QList<double>> CSVData::colDataValues(const QList<int> &cols, int firstRow)
{
    QList<QList<double>> columns;
    for (const int col : cols)
        columns.append(colDataValue(col, firstRow));
    return columns;
}

quint16 CSVData::checksumOf(int rows, const std::function<void(int, QByteArray &)> &appendRow) const
{
    static const int chunkSize = 64 * 1024; // added at once
    QByteArray bytes = QByteArray::number(numRows());
    Checksum sum;
    const auto add = [&] {
        sum.add(bytes.constData(), static_cast<std::size_t>(bytes.size()));
        bytes.resize(0);
    };
    const int end = rows < 0 ? numRows() : std::min(rows, numRows());
    for (int row = 0; row < end; ++row) {
        appendRow(row, bytes);
        if (bytes.size() >= chunkSize)
            add();
    }
    add();
    return sum.value();
}

} // namespace Utils
