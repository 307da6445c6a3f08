#include "utils/csv/backends/CSVStringData_p.h"

#include "utils/csv/LineSplitter_p.h"
#include "utils/feedback/Progress.h"

#include <algorithm>
#include <new>

namespace Utils {

static const QChar lineFeed = QLatin1Char('\n');

QStringList CSVStringData::data(int row)
{
    if (const QStringList *const fields = keptRow(row))
        return *fields;
    return listToKeep(row);
}

/// Apart from data(), which is short where there is nothing to do.
QStringList CSVStringData::listToKeep(int row)
{
    const QStringList *const fields = rowToKeep(row);
    return fields ? *fields : QStringList();
}

Data::String CSVStringData::data(int row, int col)
{
    if (col < 0)
        return {};
    parseRow(row);
    if (!has(row))
        return {};
    return visitField(
        row, col, [](const QString *field) { return field ? *field : QString(); },
        [](const TextChunk &block, int cell) { return block.text(cell); });
}

double CSVStringData::dataValue(int row, int col, bool *ok)
{
    if (col >= 0)
        parseRow(row);
    if (col < 0 || !has(row))
        return csvNumber(QString(), ok);
    return visitField(
        row, col, [&](const QString *field) { return csvNumber(field ? *field : QString(), ok); },
        [&](const TextChunk &block, int cell) { return block.number(cell, ok); });
}

double CSVStringData::number(const QString &field, bool *ok) const { return csvNumber(field, ok); }

bool CSVStringData::setText(const CSVText &text, bool parseNow, Progress *progress,
                            const Data::String &label)
{
    const QStringList delimitersBefore = delimiters;
    try {
        appendText(text, parseNow, progress, label);
        return true;
    } catch (const std::bad_alloc &) {
        delimiters = delimitersBefore;
        return false;
    }
}

void CSVStringData::appendText(const CSVText &text, bool parseNow, Progress *progress,
                               const Data::String &label)
{
    if (!alternateDelimiters.isEmpty() &&
        (delimiters.isEmpty() || !text.firstLine().contains(delimiters.first())))
        delimiters = alternateDelimiters;

    if (!parseNow) {
        appendBlock(TextChunk(text));
        return;
    }

    const LineSplitter splitter(delimiters, quoted);
    const bool isSingle = splitter.isSingle() || splitter.isSingleQuoted();
    if (!isSingle || (text.isUtf8() && splitter.character() > QChar(0x7f))) {
        appendSplit(text.isUtf8() ? CSVText(text.toString()) : text, splitter, progress, label);
        return;
    }

    TextChunk block(text, splitter.character(),
                    splitter.isSingle() ? CellIndex::Ignored : CellIndex::Counted);
    const int count = block.numLines();
    if (progress) {
        progress->setMaxSteps(count);
        progress->setLabel(label);
    }
    appendBlock(std::move(block));
    // All lines are done at one go, in less time than it takes to tell about them.
    for (int line = 0; progress && line < count; ++line)
        progress->tick(1);
}

/// Appends the lines as rows of their own, since only \p splitter knows where their cells are.
void CSVStringData::appendSplit(const CSVText &text, const LineSplitter &splitter,
                                Progress *progress, const Data::String &label)
{
    const QString all = text.toString();
    if (progress) {
        progress->setMaxSteps(all.count(lineFeed) + 1);
        progress->setLabel(label);
    }
    // Appended at the end, when there is memory for all of them.
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
    appendParsed(rows);
}

/// Appends the lines that are no comments.
void CSVStringData::appendBlock(TextChunk block)
{
    if (comment.isEmpty())
        CSVMemoryData::appendBlock(std::move(block));
    else
        CSVMemoryData::appendBlock(std::move(block), [this](const TextChunk &lines, int line) {
            return !lines.mayStartWith(line, comment.at(0)) || !isComment(lines.line(line));
        });
}

QStringList CSVStringData::split(const QString &line) const
{
    return LineSplitter(delimiters, quoted).split(line);
}

QList<QStringList> CSVStringData::heldRows() const
{
    QList<QStringList> rows;
    rows.reserve(numRows());
    for (int row = 0; row < numRows(); ++row)
        rows.append(heldRow(row));
    return rows;
}

void CSVStringData::appendHeldRow(int row, const QString &separator, QByteArray &to) const
{
    visit(
        row, [&](const QStringList &fields) { to.append(fields.join(separator).toUtf8()); },
        [&](const TextChunk &block, int line) { block.appendLine(line, separator, to); });
}

void CSVStringData::reorder(int firstRow, const QList<int> &order)
{
    for (int row = firstRow; row < numRows(); ++row)
        parseRow(row);
    reorderRows(firstRow, order);
}

bool CSVStringData::isComment(const QString &line) const
{
    return !comment.isEmpty() && line.startsWith(comment) &&
           (commentException.isEmpty() || !line.startsWith(commentException));
}

} // namespace Utils
