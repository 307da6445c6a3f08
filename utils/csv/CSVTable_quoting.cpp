#include "utils/csv/CSVTable.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/base/LastError_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/csv/backends/CSVRecordData_p.h"
#include "utils/csv/backends/CSVStringData_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/csv/cells/QuotedOutput_p.h"
#include "utils/feedback/Progress.h"

#include <QFileInfo>

#include <cstring>

namespace Utils {

void CSVTable::setQuoting(Quoting quoting) { d->textData->isRfc4180 = quoting == Rfc4180; }

CSVTable::Quoting CSVTable::quoting() const { return d->textData->isRfc4180 ? Rfc4180 : Classic; }

void CSVTable::setDecimalPoint(char point)
{
    if (point != '.' && point != ',')
        return;
    d->textData->setDecimalPoint(point);
    d->current().setDecimalPoint(point);
}

char CSVTable::decimalPoint() const { return d->decimalPoint(); }

void CSVTable::setEscapeFormulas(bool on) { d->escapesFormulas = on; }
bool CSVTable::escapeFormulas() const { return d->escapesFormulas; }

// Reading

bool CSVTablePrivate::setQuotedBytes(const QByteArray &bytes)
{
    if (!textData->hasQuotableDelimiter())
        return LastError::set(".err.csvdelimiter");
    auto rows = std::make_unique<CSVStringData>();
    rows->delimiters = textData->delimiters;
    rows->comment = textData->comment;
    rows->commentException = textData->commentException;
    rows->isRfc4180 = true;
    const CSVText text = CSVText::ofBytes(bytes);
    useText();
    bool isWhole = !text.isEmpty();
    if (isWhole) {
        const TaskProgress task(progress);
        isWhole = rows->appendText(text, /*parseNow=*/true, progress, progressLabel);
    }
    if (!isWhole)
        return LastError::set(".err.memory");
    const int line = rows->openQuoteLine;
    use(std::move(rows));
    if (line > 0)
        return LastError::set(".err.csvquote", {QString::number(line)});
    return current().isValid() || LastError::set(".err.norows");
}

bool CSVTablePrivate::readRecords()
{
    const QChar delimiter = textData->delimiters.first().at(0);
    if (!textData->hasQuotableDelimiter() || delimiter > QChar(0x7f))
        return LastError::set(".err.csvdelimiter");
    const auto units = [](const QString &marker) {
        const QByteArray bytes = marker.toUtf8();
        return std::vector<char>(bytes.begin(), bytes.end());
    };
    const QuotedFormat<char> format = {delimiter.toLatin1(), units(textData->usableComment()),
                                       units(textData->commentException)};
    auto records = std::make_unique<CSVRecordData>(format, holeValue, mostRows);
    if (!detectedEncoding.isEmpty())
        records->setEncoding(Encoding(detectedEncoding));
    Progress *const reporter = progress;
    TaskProgress task(reporter);
    task.start(/*steps=*/0, progressLabel);
    useText();
    records->source = QFileInfo(pathForQt(path)).absoluteFilePath();
    const bool isRead = records->open(path, reporter);
    const qint64 line = records->openQuoteLine();
    use(std::move(records));
    if (!isRead)
        return false;
    if (line > 0)
        return LastError::set(".err.csvquote", {QString::number(line)});
    return current().isValid() || LastError::set(".err.norows");
}

// Output

static bool mayBeFormula(char first) { return std::strchr("=+-@", first) && first != '\0'; }

QString CSVTablePrivate::withoutFormula(const QString &field) const
{
    bool isNumber = true;
    if (!field.isEmpty() && mayBeFormula(field.at(0).toLatin1()))
        csvToDouble(field, decimalPoint(), &isNumber);
    return isNumber ? field : QLatin1Char('\'') + field;
}

QString CSVTablePrivate::quotedLine(int row, bool escapes) const
{
    QString line;
    if (row < 0 || row >= current().numRows())
        return line;
    QStringList fields = current().data(row);
    const QuotedOutput<QString> output = quotedTextOutput(outputDelimiter(), textData->comment);
    for (int col = 0; col < fields.size(); ++col) {
        if (escapes)
            fields[col] = withoutFormula(fields.at(col));
        output.append(fields.at(col), /*isFirst=*/col == 0, line);
    }
    output.finishRow(line, 0, fields.value(0));
    return line;
}

bool CSVTablePrivate::appendOutputRow(int row, QByteArray &to) const
{
    if (!textData->isRfc4180) {
        appendClassicRow(row, to);
        return true;
    }
    const QuotedOutput<QByteArray> output = quotedByteOutput(outputDelimiter(), textData->comment);
    const auto bytesOf = [&](const CSVCell &cell) {
        // Bytes that are not UTF-8 are written unchanged.
        if (!CSVRowBuilder::isExact(cell))
            return (escapesFormulas ? withoutFormula(cell.text()) : QString(cell.text())).toUtf8();
        const QByteArray bytes(cell.bytes(), cell.size());
        const bool isFormula = escapesFormulas && !bytes.isEmpty() && mayBeFormula(bytes.at(0)) &&
                               withoutFormula(cell.text()) != cell.text();
        return isFormula ? '\'' + bytes : bytes;
    };
    return current().visit(row, row, [&](const CSVRow &cells) {
        const int start = to.size();
        QByteArray first;
        for (int col = 0; col < cells.size(); ++col) {
            const QByteArray field = bytesOf(cells[col]);
            output.append(field, /*isFirst=*/col == 0, to);
            if (col == 0)
                first = field;
        }
        output.finishRow(to, start, first);
        return true;
    });
}

bool CSVTablePrivate::isReadFrom(const QString &target) const
{
    return textData->isRfc4180 && isSameFile(target, current().source);
}

} // namespace Utils
