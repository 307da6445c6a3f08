#include "utils/csv/backends/CSVFileData_p.h"

#include "utils/csv/cells/CSVRowBuilder_p.h"

namespace Utils {

bool CSVFileData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    const double hole = reader.dataValue(-1, 0); // that of a row that does not exist
    CSVRowBuilder cells(hole);
    for (qint64 next = firstRow; next <= lastRow && next < numRows(); ++next) {
        const auto row = static_cast<int>(next);
        cells.startWith(reader.data(row), CSVRowBuilder::InFile);
        if (!visitor(cells.row(row)))
            return false;
    }
    return true;
}

} // namespace Utils
