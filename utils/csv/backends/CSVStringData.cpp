#include "utils/csv/backends/CSVStringData_p.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/LineSplitter_p.h"
#include "utils/csv/cells/QuoteScanner_p.h"
#include "utils/feedback/Progress.h"

#include <algorithm>
#include <new>

namespace Utils {

static const QChar lineFeed = QLatin1Char('\n');

// Lambdas rather than functions: functions would be called through a pointer.
static const auto cellText = [](const TextChunk &chunk, int cell) { return chunk.text(cell); };

/// The result of \p read for functions that convert a field, null for none, and a cell to a number.
template <typename Read>
static auto readNumbers(bool hasComma, const Read &read)
{
    if (hasComma)
        return read(
            [](const QString *field) {
                return field ? csvNumber(*field, nullptr, ',') : csvHoleValue();
            },
            [](const TextChunk &chunk, int cell) { return chunk.commaNumber(cell, nullptr); });
    return read(
        [](const QString *field) { return field ? csvNumber(*field, nullptr) : csvHoleValue(); },
        [](const TextChunk &chunk, int cell) { return chunk.number(cell, nullptr); });
}

void CSVStringData::splitRow(int row)
{
    m_rows.parse(row, [this](const QString &line) { return split(line); });
}

int CSVStringData::numColumns(int row) { return reader().numColumns(row); }

bool CSVStringData::isEmpty(int row, int col)
{
    return m_rows.isEmpty(row, col, [this](int each) { parseRow(each); });
}

QStringList CSVStringData::data(int row)
{
    if (const QStringList *const fields = m_rows.keptRow(row))
        return *fields;
    return listOf(row);
}

/// The slow path of data(), in a function of its own so that data() stays short.
QStringList CSVStringData::listOf(int row)
{
    parseRow(row);
    return m_rows.has(row) ? m_rows.rowOnRequest(row) : QStringList();
}

Data::String CSVStringData::data(int row, int col)
{
    if (col < 0)
        return {};
    parseRow(row);
    if (!m_rows.has(row))
        return {};
    return m_rows.visitField(
        row, col, [](const QString *field) { return field ? *field : QString(); }, cellText);
}

QList<double> CSVStringData::dataValue(int row)
{
    parseRow(row);
    return readNumbers(hasComma(), [&](const auto &onField, const auto &onCell) {
        return m_rows.fields<double>(row, onField, onCell);
    });
}

double CSVStringData::dataValue(int row, int col, bool *ok)
{
    if (col >= 0)
        parseRow(row);
    if (col < 0 || !m_rows.has(row))
        return csvNumber(QString(), ok);
    return m_rows.visitField(
        row, col,
        [&](const QString *field) {
            return csvNumber(field ? *field : QString(), ok, decimalPoint());
        },
        [&](const TextChunk &chunk, int cell) {
            return hasComma() ? chunk.commaNumber(cell, ok) : chunk.number(cell, ok);
        });
}

QStringList CSVStringData::colData(int col, int firstRow)
{
    return reader()
        .columns<QString>(
            {col}, firstRow, [](const QString *field) { return field ? *field : QString(); },
            cellText)
        .first();
}

QList<double> CSVStringData::colDataValue(int col, int firstRow)
{
    return colDataValues({col}, firstRow).first();
}

QList<QList<double>> CSVStringData::colDataValues(const QList<int> &cols, int firstRow)
{
    return readNumbers(hasComma(), [&](const auto &onField, const auto &onCell) {
        return reader().columns<double>(cols, firstRow, onField, onCell);
    });
}

bool CSVStringData::appendText(const CSVText &text, bool parseNow, Progress *progress,
                               const Data::String &label)
{
    const QStringList delimitersBefore = delimiters;
    try {
        if (appendOrThrow(text, parseNow, progress, label))
            return true;
    } catch (const std::bad_alloc &) {
        // nothing has been appended
    }
    delimiters = delimitersBefore;
    return false;
}

/// Returns false when the delimiters do not allow quotes as requested.
bool CSVStringData::appendOrThrow(const CSVText &text, bool parseNow, Progress *progress,
                                  const Data::String &label)
{
    if (!alternateDelimiters.isEmpty() &&
        (delimiters.isEmpty() || !text.firstLine().contains(delimiters.first())))
        delimiters = alternateDelimiters;

    openQuoteLine = 0;
    if (isRfc4180)
        return appendQuoted(text, progress, label);
    if (!parseNow) {
        appendChunk(TextChunk(text));
        return true;
    }

    const LineSplitter splitter(delimiters, quoted);
    const bool isSingle = splitter.isSingle() || splitter.isSingleQuoted();
    if (splitter.isBlanks()) {
        appendAll(TextChunk::betweenBlanks(text), progress, label);
    } else if (!isSingle || (text.isUtf8() && splitter.character() > QChar(0x7f))) {
        appendSplit(text.isUtf8() ? CSVText(text.toString()) : text, splitter, progress, label);
    } else {
        const CellIndex::Quotes quotes =
            splitter.isSingle() ? CellIndex::Ignored : CellIndex::Counted;
        appendAll(TextChunk(text, splitter.character(), quotes), progress, label);
    }
    return true;
}

/// Appends the lines of a chunk that are not comments, and reports all of its lines.
void CSVStringData::appendAll(TextChunk chunk, Progress *progress, const Data::String &label)
{
    const int count = chunk.numLines();
    if (progress) {
        progress->setMaxSteps(count);
        progress->setLabel(label);
    }
    appendChunk(std::move(chunk));
    // All lines have been split at once, in less time than it takes to report them.
    for (int line = 0; progress && line < count; ++line)
        progress->tick(1);
}

/// Appends each line as a list of fields, because only \p splitter can find its cells.
void CSVStringData::appendSplit(const CSVText &text, const LineSplitter &splitter,
                                Progress *progress, const Data::String &label)
{
    const QString all = text.toString();
    if (progress) {
        progress->setMaxSteps(all.count(lineFeed) + 1);
        progress->setLabel(label);
    }
    // Collected first and appended at the end: all rows, or none when the memory does not suffice.
    QList<QStringList> rows;
    const QChar *const end = all.constData() + all.size();
    const QChar *line = all.constData();
    for (int expected = 0; line <= end;) {
        const QChar *const next = std::find(line, end, lineFeed);
        if (comment.isEmpty() || !isComment(QString(line, static_cast<int>(next - line)))) {
            rows.append(splitter.split(line, next, expected));
            expected = rows.last().size();
        }
        if (progress)
            progress->tick(1);
        line = next + 1;
    }
    m_rows.appendParsed(rows);
}

/// Appends the rows of a text that is quoted as in RFC 4180.
bool CSVStringData::appendQuoted(const CSVText &text, Progress *progress, const Data::String &label)
{
    if (!hasQuotableDelimiter())
        return LastError::set(".err.csvdelimiter");
    const QChar delimiter = delimiters.first().at(0);
    const bool isWide = text.isUtf8() && delimiter > QChar(0x7f);
    TextChunk chunk = TextChunk::quoted(isWide ? CSVText(text.toString()) : text, delimiter,
                                        usableComment(), commentException);
    const int line = chunk.openQuoteLine();
    appendAll(std::move(chunk), progress, label);
    openQuoteLine = line;
    return true;
}

/// Appends the lines that are not comments.
void CSVStringData::appendChunk(TextChunk chunk)
{
    const Data::String marker = isRfc4180 ? usableComment() : comment;
    if (marker.isEmpty())
        m_rows.append(std::move(chunk));
    else
        m_rows.append(std::move(chunk), [&](const TextChunk &lines, int line) {
            return !lines.mayStartWith(line, marker.at(0)) || !isComment(lines.line(line));
        });
}

void CSVStringData::setData(int row, int col, const Data::String &text)
{
    if (m_rows.isInReach(row, col))
        m_rows.setField(row, col, text);
}

bool CSVStringData::visit(int firstRow, int lastRow, const Visitor &visitor)
{
    return reader().visit(firstRow, lastRow, visitor, decimalPoint());
}

quint16 CSVStringData::checksum(int rows)
{
    const QString separator(QLatin1Char(','));
    return checksumOf(rows, [&](int row, QByteArray &to) {
        parseRow(row);
        appendHeldRow(row, separator, to);
    });
}

/// The fields of a line, or of several lines, that are quoted as in RFC 4180.
static QStringList splitQuoted(const QString &line, QChar delimiter)
{
    QStringList fields;
    const ushort *next = line.utf16();
    const ushort *const end = next + line.size();
    while (true) {
        const ushort *const cellEnd = quotedCellEnd(next, end, delimiter.unicode());
        QString field;
        appendContents<QString, QChar>(next, cellEnd, field);
        fields.append(field);
        const bool isLast = cellEnd == end || (cellEnd + 1 == end && *cellEnd != delimiter);
        if (isLast)
            return fields;
        next = cellEnd + 1;
    }
}

QStringList CSVStringData::split(const QString &line) const
{
    if (isRfc4180 && hasQuotableDelimiter())
        return splitQuoted(line, delimiters.first().at(0));
    return LineSplitter(delimiters, quoted).split(line);
}

void CSVStringData::setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows)
{
    for (int row = firstRow; row <= lastRow; ++row)
        m_rows.rowToHold(row); // allocates all memory that is needed
    for (int row = firstRow; row <= lastRow; ++row)
        m_rows.setRow(row, rows.at(row));
}

void CSVStringData::appendHeldRow(int row, const QString &separator, QByteArray &to) const
{
    m_rows.visit(
        row, [&](const QStringList &fields) { to.append(fields.join(separator).toUtf8()); },
        [&](const TextChunk &chunk, int line) { chunk.appendLine(line, separator, to); });
}

void CSVStringData::reorder(int firstRow, const QList<int> &order)
{
    for (int row = firstRow; row < numRows(); ++row)
        parseRow(row);
    m_rows.reorder(firstRow, order);
}

} // namespace Utils
