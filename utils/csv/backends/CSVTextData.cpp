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

bool CSVTextData::hasQuotableDelimiter() const
{
    const QString delimiter = delimiters.value(0);
    return delimiters.size() == 1 && delimiter.size() == 1 &&
           !QStringLiteral("\"\r\n").contains(delimiter);
}

Data::String CSVTextData::usableComment() const
{
    const bool hasBreak =
        comment.contains(QLatin1Char('\n')) || comment.contains(QLatin1Char('\r'));
    return hasBreak ? Data::String() : comment;
}

bool CSVTextData::isComment(const QString &line) const
{
    return !comment.isEmpty() && line.startsWith(comment) &&
           (commentException.isEmpty() || !line.startsWith(commentException));
}

} // namespace Utils
