#include "utils/csv/backends/CSVFileData_p.h"

#include "utils/csv/cells/CSVRowBuilder_p.h"

namespace Utils {

/// A field in UTF-8, in which a CSVCell expects it.
static QByteArray toUtf8(const Encoding &encoding, const QByteArray &field)
{
    return encoding.toText(field.constData(), field.constData() + field.size()).toUtf8();
}

bool CSVFileData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    const double hole = reader.dataValue(-1, 0); // that of a row that does not exist
    CSVRowBuilder cells(hole);
    for (qint64 next = firstRow; next <= lastRow && next < numRows(); ++next) {
        const auto row = static_cast<int>(next);
        QList<QByteArray> fields = reader.data(row);
        if (m_encoding.isValid()) {
            for (QByteArray &field : fields)
                field = toUtf8(m_encoding, field);
        }
        cells.startWith(fields, CSVRowBuilder::InFile);
        if (!visitor(cells.row(row)))
            return false;
    }
    return true;
}

} // namespace Utils
