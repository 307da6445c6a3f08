#include "examples/workbench/table/RowSearch.h"

#include "data/Array.h"
#include "examples/workbench/Host.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/TableDocument.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/ProgressRange.h"
#include "utils/files/File.h"
#include "utils/text/List.h"

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace Workbench {

using Utils::CSVCell;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::Progress;
using Utils::ProgressRange;

/// Calls \p visitor with each row of data and its number in the document. False when the user has
/// cancelled. When a row cannot be read completely, the status bar tells why, and the rows from it
/// on are left out.
template <typename Visitor>
static bool visitRows(const TableDocument &document, const char *label, const Visitor &visitor)
{
    if (document.numRows() == 0)
        return true;
    Progress progress(document.numRows(), text(label), /*cancelable=*/true);
    const int last = document.tableRow(document.numRows() - 1);
    bool isCancelled = false;
    const auto visit = [&](const CSVRow &row) {
        visitor(row, row.number() - document.tableRow(0));
        isCancelled = !progress.tick();
        return !isCancelled;
    };
    const bool isWhole = document.table().visit(document.tableRow(0), last, visit);
    if (!isWhole && !isCancelled && Host::instance())
        Host::instance()->showMessage(Utils::File::lastError(), /*flag=*/false);
    return !isCancelled;
}

CellCondition::CellCondition(const QString &text) : m_text(text.trimmed())
{
    static const struct
    {
        const char *sign;
        Kind kind;
    } signs[] = {{"<=", LessOrEqual}, {">=", GreaterOrEqual}, {"!=", Unequal}, {"=", Equal},
                 {"<", Less},         {">", Greater}};

    if (m_text == "-") {
        m_kind = Empty;
        return;
    }
    for (const auto &entry : signs) {
        if (!m_text.startsWith(entry.sign))
            continue;
        const QString rest = m_text.mid(QString(entry.sign).size()).trimmed();
        bool isNumber = false;
        m_number = rest.toDouble(&isNumber);
        if (!isNumber)
            m_number = QLocale().toDouble(rest, &isNumber);
        if (isNumber)
            m_kind = entry.kind;
        return;
    }
}

bool CellCondition::holds(const QString &text, double number, bool isNumber) const
{
    switch (m_kind) {
    case Contains:
        return text.contains(m_text, Qt::CaseInsensitive);
    case Empty:
        return text.isEmpty();
    case Equal:
        return isNumber && number == m_number;
    case Unequal:
        return isNumber && number != m_number;
    case Less:
        return isNumber && number < m_number;
    case LessOrEqual:
        return isNumber && number <= m_number;
    case Greater:
        return isNumber && number > m_number;
    case GreaterOrEqual:
        return isNumber && number >= m_number;
    }
    return false;
}

std::optional<QVector<int>> rowsWith(const TableDocument &document, int col,
                                     const CellCondition &condition)
{
    QVector<int> rows;
    const auto examine = [&](const CSVRow &fields, int row) {
        const bool exists = col < fields.size();
        bool isNumber = false;
        const double number =
            exists && condition.isOfNumbers() ? fields[col].number(&isNumber) : 0.0;
        const QString text =
            exists && !condition.isOfNumbers() ? QString(fields[col].text()) : QString();
        if (condition.holds(text, number, isNumber))
            rows.append(row);
    };
    if (!visitRows(document, ".msg.filtering", examine))
        return std::nullopt;
    return rows;
}

std::optional<QBitArray> rowsContaining(const TableDocument &document, const QString &text)
{
    QBitArray found(document.numRows());
    const auto examine = [&](const CSVRow &fields, int row) {
        const auto contains = [&](const CSVCell &cell) {
            return cell.text().contains(text, Qt::CaseInsensitive);
        };
        if (std::any_of(fields.begin(), fields.end(), contains))
            found.setBit(row);
    };
    if (!visitRows(document, ".msg.searching", examine))
        return std::nullopt;
    return found;
}

/// The numbers of columns, from all cells of the table.
static std::optional<Numbers> numbersOfCells(const TableDocument &document,
                                             const QVector<int> &cols)
{
    Numbers numbers;
    numbers.numNonNumbers.resize(cols.size());
    for (int i = 0; i < cols.size(); ++i)
        numbers.columns.append(QVector<double>(document.numRows(), Data::noValue));
    const auto examine = [&](const CSVRow &fields, int row) {
        for (int i = 0; i < cols.size(); ++i) {
            if (cols[i] >= fields.size() || fields[cols[i]].isEmpty())
                continue;
            bool isNumber = false;
            const double number = fields[cols[i]].number(&isNumber);
            if (isNumber)
                numbers.columns[i][row] = number;
            else
                ++numbers.numNonNumbers[i];
        }
    };
    if (!visitRows(document, ".msg.readingColumns", examine))
        return std::nullopt;
    return numbers;
}

/// The columns \p cols as the table has them. Of a table in its file one is read after the other,
/// which takes no longer and lets the user cancel in between.
static std::optional<QList<QList<double>>> wholeColumns(const TableDocument &document,
                                                        const QVector<int> &cols)
{
    const CSVTable &table = document.table();
    const int firstRow = document.tableRow(0);
    if (!table.isDemandRead())
        return table.colDataValues(cols.toList(), firstRow);
    Progress progress(cols.size(), text(".msg.readingColumns"), /*cancelable=*/true);
    QList<QList<double>> columns;
    for (const int col : cols) {
        columns.append(table.colDataValue(col, firstRow));
        if (!progress.tick())
            return std::nullopt;
    }
    return columns;
}

std::optional<Numbers> numbersOf(const TableDocument &document, const QVector<int> &cols)
{
    // The table reads whole columns several times as fast as cells, but a text is 0.0 then. So each
    // zero is looked at, unless there are many.
    const int mostZeros = 10000;
    std::optional<QList<QList<double>>> whole = wholeColumns(document, cols);
    if (!whole)
        return std::nullopt;
    QList<QList<double>> &read = *whole;
    int numZeros = 0;
    for (const QList<double> &column : qAsConst(read))
        numZeros += static_cast<int>(std::count(column.begin(), column.end(), 0.0));
    if (read.size() != cols.size() || numZeros > mostZeros)
        return numbersOfCells(document, cols);

    Numbers numbers;
    numbers.numNonNumbers.resize(cols.size());
    for (int i = 0; i < cols.size(); ++i) {
        QVector<double> column = read.at(i).toVector();
        read[i] = {}; // as large columns are not held twice
        column.reserve(document.numRows());
        while (column.size() < document.numRows())
            column.append(Data::noValue);
        column.resize(document.numRows());
        for (int row = 0; row < column.size(); ++row) {
            if (column.at(row) != 0.0 ||
                document.kindOf(row, cols.at(i)) != TableDocument::NoNumber)
                continue;
            column[row] = Data::noValue;
            ++numbers.numNonNumbers[i];
        }
        numbers.columns.append(column);
    }
    return numbers;
}

/// \p rows sorted by numbers, of which there is one for each row of the document.
static QVector<int> sortedByNumber(const QVector<int> &rows, const QVector<double> &numbers,
                                   bool ascending)
{
    QVector<int> unsorted;
    QVector<double> keys;
    QVector<int> last;
    for (const int row : rows) {
        const double number = numbers.at(row);
        // NaN, too, is at the end: it compares with no number.
        if (Data::isHole(number) || number != number) {
            last.append(row);
            continue;
        }
        unsorted.append(row);
        keys.append(ascending ? number : -number); // so that equal rows keep their order
    }
    const QList<int> order = Utils::List::indexSort(keys, /*ascending=*/true);
    QVector<int> sorted;
    sorted.reserve(rows.size());
    for (const int position : order)
        sorted.append(unsorted.at(position));
    return sorted + last;
}

/// The same by texts, which are in lower case. Nothing when the user cancels: not by
/// List::indexSort(), which cannot be cancelled and does not put empty texts at the end.
static std::optional<QVector<int>> sortedByText(QVector<int> rows, const QVector<QString> &texts,
                                                bool ascending)
{
    struct Cancelled
    {};
    const double numComparisons = rows.size() * std::log2(rows.size() + 1.0);
    const int stride = 1 + static_cast<int>(numComparisons / 1e9); // there may be billions
    Progress progress(static_cast<int>(numComparisons / stride), text(".msg.sorting"),
                      /*cancelable=*/true);
    qint64 count = 0;
    try {
        std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) {
            if (++count % stride == 0 && !progress.tick())
                throw Cancelled();
            if (texts.at(a).isEmpty() || texts.at(b).isEmpty())
                return !texts.at(a).isEmpty() && texts.at(b).isEmpty();
            const int order = texts.at(a).compare(texts.at(b));
            return ascending ? order < 0 : order > 0;
        });
    } catch (const Cancelled &) {
        return std::nullopt;
    }
    return rows;
}

std::optional<QVector<int>> sortedRows(const TableDocument &document, const QVector<int> &rows,
                                       int col, bool ascending)
{
    if (document.columns().at(col).type == Utils::CSVColumn::Numbers) {
        const std::optional<Numbers> numbers = numbersOf(document, {col});
        if (!numbers)
            return std::nullopt;
        return sortedByNumber(rows, numbers->columns.at(0), ascending);
    }
    QVector<QString> texts(document.numRows());
    const auto examine = [&](const CSVRow &fields, int row) {
        if (col < fields.size())
            texts[row] = QString(fields[col].text()).toCaseFolded();
    };
    Progress progress(100, text(".msg.sorting"), /*cancelable=*/true);
    {
        const ProgressRange reading(progress, 0, 50);
        if (!visitRows(document, ".msg.sorting", examine))
            return std::nullopt;
    }
    const ProgressRange sorting(progress, 50, 100);
    return sortedByText(rows, texts, ascending);
}

} // namespace Workbench
