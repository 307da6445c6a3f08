#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVFileData_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/feedback/Progress.h"

#include <QFile>
#include <QTextCodec>
#include <QTextStream>

namespace Utils {

static const QLatin1Char lineFeed('\n');
static const QLatin1Char quote('"');

// Rows as text

Data::String CSVTable::stringData(int row) const
{
    if (!d->textData.isParsed(row))
        return d->textData.heldRow(row).value(0);

    const Data::String delimiter = d->outputDelimiter();
    QStringList fields = data(row);
    if (needsEscape(delimiter)) {
        for (QString &field : fields) {
            if (field.contains(delimiter))
                field = quote + field + quote;
        }
    }
    return fields.join(delimiter);
}

Data::String CSVTable::stringData() const
{
    QStringList lines;
    for (int row = 0; row < numRows(); ++row)
        lines.append(stringData(row));
    return lines.join(lineFeed);
}

QStringList CSVTable::lineData(int firstRow, int lastRow) const
{
    QStringList lines;
    const qint64 end = lastRow > firstRow ? qint64(lastRow) + 1 : numRows();
    if (firstRow < -csvReach || end - numRows() > csvReach)
        return lines;

    for (int row = firstRow; row < end; ++row)
        lines.append(stringData(row));
    return lines;
}

QStringList CSVTable::escapedData(int row, char escape) const
{
    const QStringList &delimiters = d->textData.delimiters;
    if (delimiters.isEmpty() || (delimiters.size() == 1 && !needsEscape(delimiters.first())))
        return data(row);

    const QString marker = QStringLiteral("**ESCAPE**");
    const QString target = QLatin1Char(escape) + delimiters.first();
    QString line = stringData(row);
    if (!line.contains(target))
        return data(row);

    QStringList fields = d->textData.split(line.replace(target, marker));
    return fields.replaceInStrings(marker, delimiters.first());
}

unsigned short CSVTable::checksum(int rows) const
{
    if (const auto file = dynamic_cast<const CSVFileData *>(d->data))
        return file->reader.checksum(rows);

    QByteArray bytes = QByteArray::number(numRows());
    const int end = rows < 0 ? numRows() : std::min(rows, numRows());
    for (int row = 0; row < end; ++row)
        bytes.append(d->data->data(row).join(QLatin1Char(',')).toUtf8());
    return qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
}

bool CSVTable::write(const Data::String &path) const
{
    QFile file(path);
    if (path.isEmpty() || path.contains(QChar(0)) || !file.open(QIODevice::WriteOnly))
        return false;

    QTextStream stream(&file);
    stream.setCodec(QTextCodec::codecForName("UTF-8"));
    const Data::String delimiter = d->outputDelimiter();
    for (const QStringList &row : qAsConst(d->textData.heldRows()))
        stream << row.join(delimiter) << lineFeed;
    return true;
}

// Columns of one width

CSVTable &CSVTable::alignColumns(int firstRow, int lastRow, int numColumns, bool left)
{
    alignData(firstRow, lastRow, numColumns, d->textData.heldRows(), /*maxWidth=*/0,
              /*leftColumn=*/left ? -2 : -1, /*delimiter=*/QString());
    return *this;
}

Data::String CSVTable::alignedStringData(int maxWidth, int leftColumn, int firstRow) const
{
    QList<QStringList> rows = d->textData.heldRows();
    const Data::String delimiter = d->outputDelimiter();
    alignData(firstRow, /*lastRow=*/-1, /*numColumns=*/-1, rows, maxWidth, leftColumn, delimiter);
    QStringList lines;
    for (const QStringList &row : qAsConst(rows))
        lines.append(row.join(delimiter));
    return lines.join(lineFeed);
}

void CSVTable::alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                         int maxWidth, int leftColumn, const QString &delimiter) const
{
    firstRow = std::max(firstRow, 0);
    // Looked up each time: the rows may be those of the table, which the host may change while
    // progress is reported.
    const auto end = [&] {
        return lastRow < 0 || lastRow >= rows.size() ? rows.size() : lastRow + 1;
    };
    if (numColumns < 0 && firstRow < rows.size())
        numColumns = d->textData.numColumns(firstRow);
    const bool quotes = !delimiter.isEmpty() && needsEscape(delimiter);

    Progress *const progress = numColumns >= 2 ? d->progress : nullptr;
    if (progress) {
        progress->save();
        progress->setMaxSteps(numColumns);
        progress->setLabel(d->progressLabel);
    }
    bool isBehind = false; // no row has so many columns
    for (int col = 0; col < numColumns; ++col) {
        int width = 0;
        const int rowsEnd = isBehind ? firstRow : end();
        isBehind = true;
        for (int row = firstRow; row < rowsEnd; ++row) {
            if (col >= rows.at(row).size())
                continue;
            isBehind = false;
            // Only ever the first one, which is meant: the others are measured as they are held.
            d->textData.parseRow(firstRow);
            QString &field = rows[row][col];
            if (quotes && field.contains(delimiter))
                field = quote + field + quote;
            if (maxWidth <= 0 || field.size() <= maxWidth)
                width = std::max(width, field.size());
        }
        const bool isLeft = col == leftColumn || leftColumn == -2;
        for (int row = firstRow; row < rowsEnd; ++row) {
            if (col >= rows.at(row).size())
                continue;
            QString &field = rows[row][col];
            field = isLeft ? field.leftJustified(width + 1) : field.rightJustified(width + 1);
        }
        if (isBehind && numColumns > csvReach)
            break; // as good as endless
        if (progress)
            progress->tick(1);
    }
    if (progress)
        progress->restore();
}

bool CSVTable::needsEscape(const Data::String &delimiter) const
{
    return delimiter != QLatin1String("  ");
}

} // namespace Utils
