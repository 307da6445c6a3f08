#include "utils/csv/backends/CSVTextData_p.h"

namespace Utils {

QList<QStringList> CSVTextData::heldRows() const
{
    QList<QStringList> rows;
    rows.reserve(numRows());
    for (int row = 0; row < numRows(); ++row)
        rows.append(heldRow(row));
    return rows;
}

bool CSVTextData::isComment(const QString &line) const
{
    return !comment.isEmpty() && line.startsWith(comment) &&
           (commentException.isEmpty() || !line.startsWith(commentException));
}

} // namespace Utils
