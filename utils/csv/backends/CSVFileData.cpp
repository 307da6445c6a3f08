#include "utils/csv/backends/CSVFileData_p.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/CSVReader_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"

namespace Utils {

bool CSVFileData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    const double holeValue = hole();
    CSVRowBuilder cells(decimalPoint(), holeValue);
    for (qint64 next = firstRow; next <= lastRow && next < numRows(); ++next) {
        const auto row = static_cast<int>(next);
        QList<QByteArray> fields;
        {
            const LastError operation; // apart from those of the visitor
            bool isComplete = false;
            fields = CSVReaderPrivate::of(reader).fieldsOf(row, &isComplete);
            if (!isComplete)
                return false;
        }
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
