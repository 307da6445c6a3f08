#pragma once

#include "utils/csv/backends/ListWriter_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/csv/cells/Cells_p.h"

#include <QList>

#include <algorithm>
#include <vector>

namespace Utils {

/// Reads many rows of MemoryRows at once: by lines of a chunk where rows are held as such.
///
/// \p parse is called with each row that may not be split yet, before the row is read.
template <typename Rows, typename Parse>
class RowReader
{
public:
    RowReader(const Rows &rows, const Parse &parse) : m_rows(rows), m_parse(parse) {}

    /// The number of fields of a row, or the largest one of all rows if \p row is negative.
    int numColumns(int row) const
    {
        if (row >= 0) {
            m_parse(row);
            return m_rows.numFields(row);
        }

        int most = 0;
        for (int next = 0; next < m_rows.size();) {
            const auto lines = m_rows.linesFrom(next, m_rows.size());
            if (lines.count > 0) {
                most = std::max(most, lines.chunk->mostCells(lines.first, lines.count));
                next += lines.count;
            } else {
                m_parse(next);
                most = std::max(most, m_rows.numFields(next));
                ++next;
            }
        }
        return most;
    }

    /// The fields of columns from \p firstRow on, converted by \p onField and \p onCell, each as
    /// CSVData::colData() returns it.
    template <typename Result, typename OnField, typename OnCell>
    QList<QList<Result>> columns(const QList<int> &cols, int firstRow, const OnField &onField,
                                 const OnCell &onCell) const
    {
        // A negative column splits no row.
        const bool hasRows =
            firstRow >= -csvReach && firstRow < m_rows.size() &&
            std::any_of(cols.begin(), cols.end(), [](int col) { return col >= 0; });
        const int lastRow = m_rows.size() - 1;
        std::vector<ListWriter<Result>> results;
        results.reserve(static_cast<std::size_t>(cols.size()));
        for (const int col : cols)
            results.emplace_back(hasRows && col >= 0 ? lastRow - firstRow + 1 : 0);
        const auto forEachColumn = [&](const auto &append) {
            for (std::size_t i = 0; i < results.size(); ++i) {
                const int col = cols.at(static_cast<int>(i));
                if (col >= 0)
                    append(col, results[i]);
            }
        };

        // All columns of some lines, then those of the next lines: the processor's cache holds the
        // text of so many lines.
        for (int row = hasRows ? firstRow : m_rows.size(); row <= lastRow;) {
            const int count = std::min(lastRow - row, ListWriter<Result>::mostAtOnce);
            const auto lines = m_rows.linesFrom(row, row + count);
            if (lines.count > 0) {
                forEachColumn([&](int col, ListWriter<Result> &to) {
                    to.extend(lines.count);
                    appendLines(lines, col, to, onField, onCell);
                });
                row += lines.count;
                continue;
            }
            m_parse(row);
            if (row == lastRow && (!m_rows.has(row) || m_rows.isBlank(row)))
                break;
            forEachColumn([&](int col, ListWriter<Result> &to) {
                to.extend(1);
                to.append(m_rows.has(row) ? m_rows.visitField(row, col, onField, onCell)
                                          : onField(nullptr));
            });
            ++row;
        }

        QList<QList<Result>> lists;
        lists.reserve(cols.size());
        for (const ListWriter<Result> &each : results)
            lists.append(each.list());
        return lists;
    }

    /// Calls \p visitor with the rows from \p firstRow to \p lastRow, as CSVData::visit() does.
    /// \p point is the decimal point.
    template <typename Visitor>
    bool visit(int firstRow, int lastRow, const Visitor &visitor, char point) const
    {
        CSVRowBuilder cells(point);
        for (qint64 next = firstRow; next <= lastRow && next < m_rows.size(); ++next) {
            const auto row = static_cast<int>(next);
            m_parse(row);
            m_rows.visit(
                row, [&](const auto &fields) { cells.startWith(fields); },
                [&](const auto &chunk, int line) {
                    cells.keep(m_rows.chunkWith(row));
                    chunk.addCells(line, cells);
                });
            if (!visitor(cells.row(row)))
                return false;
        }
        return true;
    }

private:
    /// Appends the fields of a column in these lines.
    template <typename Lines, typename Results, typename OnField, typename OnCell>
    static void appendLines(const Lines &lines, int col, Results &results, const OnField &onField,
                            const OnCell &onCell)
    {
        const auto &chunk = *lines.chunk;
        int first = chunk.firstCell(lines.first);
        for (int line = lines.first; line < lines.first + lines.count; ++line) {
            const int next = chunk.firstCell(line + 1);
            results.append(col < next - first ? onCell(chunk, first + col) : onField(nullptr));
            first = next;
        }
    }

    const Rows &m_rows;
    const Parse m_parse;
};

} // namespace Utils
