#include "examples/workbench/table/TableDocument.h"

#include "data/Array.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QUndoCommand>

#include <algorithm>

namespace Workbench {

using Utils::CSVColumn;
using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::File;

static const qint64 headSize = qint64(64) << 10; // bytes
static const qint64 mostHead = qint64(16) << 20; // when the rows are long

QString describe(const CSVDialect &dialect)
{
    static const QMap<QString, const char *> delimiters = {
        {",", ".ctx.comma"}, {";", ".ctx.semicolon"}, {"\t", ".ctx.tab"},
        {"|", ".ctx.bar"},   {"\\s+", ".ctx.blanks"}, {"", ".ctx.oneColumn"},
    };
    QStringList parts;
    const auto add = [&](const QString &part, CSVDialect::Property property) {
        const double doubtful = 0.5;
        parts.append(dialect.confidence(property) < doubtful ? part + " (?)" : part);
    };
    add(dialect.encoding(), CSVDialect::Encoding);
    const QString delimiter = dialect.delimiter();
    add(delimiters.contains(delimiter) ? text(delimiters[delimiter]) : delimiter,
        CSVDialect::Delimiter);
    if (dialect.quotes() == CSVDialect::Rfc4180Quotes)
        add(text(".ctx.quotes").remove('&'), CSVDialect::Quoting);
    if (!dialect.comment().isEmpty())
        add(text(".msg.comments").arg(QString(dialect.comment())), CSVDialect::Comment);
    if (dialect.decimalPoint() == ',')
        add(text(".ctx.decimalComma"), CSVDialect::DecimalPoint);
    if (dialect.hasCarriageReturns())
        parts.append(text(".msg.carriageReturns"));
    return parts.join(" \u00b7 ");
}

bool readHead(const QString &path, const CSVDialect &dialect, CSVTable &head)
{
    QFile file(path);
    const bool isFile = QFileInfo(path).isFile(); // a pipe would wait
    if (!head.setDialect(dialect) || !isFile || !file.open(QIODevice::ReadOnly))
        return false;
    QByteArray bytes = file.read(headSize);
    const int numRows = std::max(dialect.firstDataRow(), 0) + 1;
    while (!file.atEnd() && bytes.size() < mostHead && bytes.count('\n') < numRows)
        bytes += file.read(bytes.size());
    if (!file.atEnd() && bytes.contains('\n')) {
        // The last row is cut. In UTF-16 and UTF-32 a line feed has more than one byte.
        const bool isWide =
            dialect.encoding().startsWith("UTF-16") || dialect.encoding().startsWith("UTF-32");
        if (!isWide)
            bytes.truncate(bytes.lastIndexOf('\n') + 1);
    }
    head.setData(bytes);
    return head.isValid();
}

CSVDialect detectDialect(const QString &path)
{
    const double certain = 0.9;
    CSVDialect dialect = CSVDialect::detect(path);
    const int headerEnd = std::max(dialect.headerRow(), dialect.unitRow()) + 1;
    if (dialect.firstDataRow() > headerEnd && dialect.confidence(CSVDialect::Header) < certain)
        dialect.setHeader(dialect.headerRow(), dialect.unitRow(), headerEnd);
    return dialect;
}

/// A change of a cell that can be undone.
class TableDocument::Change : public QUndoCommand
{
public:
    Change(TableDocument &document, int row, int col, const QString &newText)
        : m_document(document), m_row(row), m_col(col), m_old(document.cell(row, col)),
          m_new(newText)
    {}

    void undo() override { m_document.putCell(m_row, m_col, m_old); }
    void redo() override { m_document.putCell(m_row, m_col, m_new); }

private:
    TableDocument &m_document;
    const int m_row;
    const int m_col;
    const QString m_old;
    const QString m_new;
};

TableDocument::TableDocument(const QString &path)
    : Document(path), m_table(std::make_unique<CSVTable>())
{}

TableDocument::~TableDocument() = default;

bool TableDocument::readAs(const CSVDialect &dialect)
{
    const CSVDialect old = m_dialect;
    const bool wasChosen = m_isChosen;
    m_dialect = dialect;
    m_isChosen = true;
    if (read())
        return true;
    m_dialect = old;
    m_isChosen = wasChosen;
    return false;
}

/// Reads the file \p path, and stores it in memory when it has at most the megabytes that the user
/// allows.
static bool readTable(const QString &path, const CSVDialect &dialect, CSVTable &table)
{
    const int limit = Preferences::memoryLimit.value();
    const bool isLarge = File::size(path) > qint64(limit) << 20;
    const bool hasComments = !dialect.comment().isEmpty();
    // Comments are skipped in the file only together with quotes as in RFC 4180, and in memory only
    // in text.
    if (hasComments && isLarge)
        table.setQuoting(CSVTable::Rfc4180);
    const bool isText = hasComments && !isLarge && table.quoting() == CSVTable::Classic;

    Utils::Progress progress(0, text(".msg.reading").arg(QFileInfo(path).fileName()));
    table.setProgress(&progress, progress.label());
    const bool isRead = table.read(path, isText ? 0 : limit);
    table.setProgress(nullptr);
    return isRead;
}

/// The row after the last one, but for the empty row after a line feed at the end of a file.
static int endOf(const CSVTable &table)
{
    const int end = table.numRows();
    return end > 0 && table.numColumns(end - 1) < 2 && table.isEmpty(end - 1, 0) ? end - 1 : end;
}

bool TableDocument::readFile(const QString &path)
{
    const CSVDialect dialect = m_isChosen ? m_dialect : detectDialect(path);
    auto table = std::make_unique<CSVTable>();
    table->setHoleValue(Data::noValue);
    if (!dialect.isValid() || !table->setDialect(dialect) || !readTable(path, dialect, *table))
        return false;
    table->removeEmptyRows(endOf(*table)); // which does nothing in the file

    CSVTable head;
    readHead(path, dialect, head);
    QList<CSVColumn> columns = head.columns();
    const int firstRow = std::max(dialect.firstDataRow(), 0);
    // Of a table in the file the number of columns is not known without reading all of it.
    const int numColumns = std::max(table->numColumns(), table->numColumns(firstRow));
    columns.reserve(numColumns);
    while (columns.size() < numColumns)
        columns.append(CSVColumn());

    m_table = std::move(table);
    m_dialect = dialect;
    m_columns = columns;
    m_firstRow = firstRow;
    m_numRows = std::max(endOf(*m_table) - firstRow, 0);
    return true;
}

/// Copies a file, also to a name that differs only in case: File::copy() takes such names for the
/// same file when both are absolute, but looks at the files when one of them is relative.
static bool copyFile(const QString &source, const QString &target)
{
    const bool isSame = File::isSamePath(source, target);
    return File::copy(isSame ? QDir().relativeFilePath(source) : source, target);
}

/// The delimiter of a table in \p dialect in the file \p path when it was written. Columns that are
/// aligned by blanks have none that could be written, for example.
static Data::String writtenDelimiter(const CSVDialect &dialect, const QString &path)
{
    Data::String delimiter = dialect.delimiter();
    if (delimiter.size() == 1 && delimiter != "\"")
        return delimiter;
    return File::extension(path).toLower() == "csv" ? "," : "\t";
}

/// Whether saving copies the file. A table that is shown from its file is unchanged. A file that
/// was deleted stays readable while it is open, but its rows have to be written.
bool TableDocument::isSavedAsCopy() const
{
    return m_table->isDemandRead() && QFileInfo::exists(path());
}

/// Shows the rows from the file \p path, in which they have just been saved, rather than from the
/// old one, which other programs may change or delete.
bool TableDocument::readSaved(const QString &path)
{
    const int oldRows = m_numRows;
    const int oldColumns = numColumns();
    const bool wasChosen = m_isChosen;
    m_isChosen = true; // the dialect is known
    const bool isRead = readFile(path);
    m_isChosen = wasChosen;
    if (m_numRows != oldRows || numColumns() != oldColumns) // it was changed before it was copied
        Q_EMIT contentsReplaced();
    return isRead;
}

bool TableDocument::writeFile(const QString &path)
{
    if (isSavedAsCopy())
        return isAt(path) || (copyFile(this->path(), path) && readSaved(path));

    CSVDialect dialect = m_dialect;
    dialect.setEncoding("UTF-8");
    dialect.setDelimiter(writtenDelimiter(m_dialect, path));
    dialect.setComment("");
    dialect.setCarriageReturns(false);
    // With these quotes the rows are written from each kind of storage, and what is written reads
    // back cell by cell.
    dialect.setQuotes(CSVDialect::Rfc4180Quotes);

    if (dialect.delimiter() == m_dialect.delimiter()) {
        const CSVTable::Quoting quoting = m_table->quoting();
        m_table->setQuoting(CSVTable::Rfc4180);
        const bool isWritten = m_table->write(path);
        m_table->setQuoting(quoting);
        if (!isWritten)
            return false;
    } else {
        auto written = std::make_unique<CSVTable>();
        written->setHoleValue(Data::noValue);
        if (!written->setDialect(dialect))
            return false;
        for (int row = 0; row < m_table->numRows(); ++row)
            written->appendData(m_table->data(row));
        if (!written->write(path))
            return false;
        m_table = std::move(written); // its delimiter is that of the file
    }
    m_dialect = dialect;
    return canChange() || readSaved(path);
}

QString TableDocument::label(int col) const
{
    const QString name = m_columns.value(col).label;
    return name.isEmpty() ? QString(CSVTable::columnLabel(col)) : name;
}

QString TableDocument::cell(int row, int col) const { return m_table->data(tableRow(row), col); }

TableDocument::CellKind TableDocument::kindOf(int row, int col) const
{
    if (m_table->isEmpty(tableRow(row), col))
        return Hole;
    bool isNumber = false;
    m_table->dataValue(tableRow(row), col, &isNumber);
    return isNumber ? Number : NoNumber;
}

bool TableDocument::canChange() const { return !m_table->isDemandRead(); }

void TableDocument::setCell(int row, int col, const QString &text)
{
    if (canChange() && text != cell(row, col))
        changes().push(new Change(*this, row, col, text));
}

void TableDocument::putCell(int row, int col, const QString &text)
{
    m_table->setData(tableRow(row), col, Data::String(text));
    Q_EMIT cellChanged(row, col);
}

QString TableDocument::description() const
{
    const QString rows = textFor(".msg.rows", m_numRows);
    const QString storage = text(m_table->isDemandRead() ? ".msg.inFile" : ".msg.inMemory");
    return rows + " \u00b7 " + storage + " \u00b7 " + describe(m_dialect);
}

/// Whether a cell of a table of one column is written in quotes.
static bool hasCellToQuote(const CSVTable &table, const QString &delimiter)
{
    for (int row = 0; row < table.numRows(); ++row) {
        const QString cell = table.data(row, 0);
        const auto contains = [&](const QString &part) { return cell.contains(part); };
        if (cell.isEmpty() || contains(delimiter) || contains("\"") || contains("\n"))
            return true;
    }
    return false;
}

QString TableDocument::whatSavingLoses() const
{
    if (isSavedAsCopy())
        return {};
    QStringList losses;
    if (!m_dialect.comment().isEmpty())
        losses.append(text(".msg.losesComments"));
    if (!m_dialect.encoding().startsWith("UTF-8"))
        losses.append(text(".msg.losesEncoding").arg(QString(m_dialect.encoding())));
    const QString delimiter = m_dialect.delimiter();
    const QString written = writtenDelimiter(m_dialect, path());
    const QString name = text(written == "," ? ".msg.commas" : ".msg.tabs");
    if (m_dialect.isAligned())
        losses.append(text(".msg.losesAlignment").arg(name));
    else if (delimiter.isEmpty() && hasCellToQuote(*m_table, written))
        losses.append(text(".msg.losesPlainCells").arg(name));
    else if (!delimiter.isEmpty() && written != delimiter)
        losses.append(text(".msg.losesDelimiter").arg(name, delimiter));
    return losses.join(' ');
}

QString TableDocument::saveFilter() const
{
    return text(".ctx.tables").remove('&') + " (*.csv *.tsv *.txt)";
}

} // namespace Workbench
