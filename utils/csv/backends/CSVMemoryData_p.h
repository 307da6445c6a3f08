#pragma once

#include "utils/csv/backends/CSVData_p.h"
#include "utils/csv/backends/RowStore_p.h"
#include "utils/csv/cells/Cells_p.h"

#include <algorithm>
#include <vector>

namespace Utils {

/// What the two backends share that hold their cells in memory.
///
/// A row comes in as its raw line, which stands in for its fields as a single one, and is split
/// when it is first used. Whether a row is split is known by its index alone. Removing a row does
/// not shift that, which is meant: behind it the marks are stale, and stay so for rows that come
/// later. Editing marks a row without splitting it, which is meant too.
///
/// Cells are not held one by one. A \p Block holds the text of many rows, which is never changed,
/// and knows where their cells are. A row that becomes anything else than what its block has,
/// because it is edited or split later, is held as a \p Row from then on.
///
/// When the memory does not suffice, an operation throws std::bad_alloc, and nothing has changed
/// but that rows may be split, as reading them does. So what needs memory comes first: the row to
/// change as a list of its own, and room for its mark.
template <typename Row, typename Block>
class CSVMemoryData : public CSVData
{
public:
    using Field = typename Row::value_type;

    void removeRow(int row) override
    {
        if (has(row))
            m_order.remove(row);
    }

    int numRows() const final { return m_order.size(); }

    int numColumns(int row) override
    {
        if (row >= 0)
            return splitSize(row);

        int largest = 0;
        for (int each = 0; each < numRows(); ++each)
            largest = std::max(largest, splitSize(each));
        return largest;
    }

    bool isEmpty(int row, int col) override
    {
        if (!has(row))
            return true;
        if (col < 0)
            return isBlank(row);
        parseRow(row);
        return visitField(
            row, col, [](const Field *field) { return !field || field->isEmpty(); },
            [](const Block &block, int cell) { return block.isEmpty(cell); });
    }

    QList<double> dataValue(int row) override
    {
        QList<double> numbers;
        parseRow(row);
        if (!has(row))
            return numbers;
        visit(
            row,
            [&](const Row &fields) {
                for (const Field &field : fields)
                    numbers.append(number(field, nullptr));
            },
            [&](const Block &block, int line) {
                for (int cell = block.firstCell(line); cell < block.firstCell(line + 1); ++cell)
                    numbers.append(block.number(cell, nullptr));
            });
        return numbers;
    }
    using CSVData::dataValue;

    QStringList colData(int col, int firstRow) override
    {
        return column<QString>(
            col, firstRow, [this](const Field *field) { return field ? text(*field) : QString(); },
            [](const Block &block, int cell) { return block.text(cell); });
    }

    QList<double> colDataValue(int col, int firstRow) override
    {
        return column<double>(
            col, firstRow,
            [this](const Field *field) { return field ? number(*field, nullptr) : csvHoleValue(); },
            [](const Block &block, int cell) { return block.number(cell, nullptr); });
    }

    void setData(int row, int col, const Data::String &text) override
    {
        if (!isInReach(row, col))
            return;

        const Field field = encoded(text);
        makeRoomForMarks(row + 1);
        appendOrNothing([&] {
            while (row >= numRows())
                m_held.insert(m_order.append(), Row());
            fillUp(rowToChange(row), col);
        });
        rowToChange(row)[col] = field;
        mark(row, row + 1);
    }

    void removeColumn(int col) override
    {
        const auto isWide = [&](int row) { return col >= 0 && col < size(row); };
        for (int row = 0; row < numRows(); ++row) {
            if (isWide(row))
                rowToHold(row).detach();
        }
        for (int row = 0; row < numRows(); ++row) {
            if (isWide(row))
                rowToChange(row).removeAt(col);
        }
    }

    void removeRows(const QList<int> &rows) override
    {
        if (!rows.isEmpty()) // which would cost the order its short form
            m_order.remove(rows);
    }

    /// Whether a cell is there or so near that setData() makes it.
    bool isInReach(int row, int col) const
    {
        return row >= 0 && col >= 0 && qint64(row) - numRows() <= csvReach &&
               qint64(col) - (has(row) ? size(row) : 0) <= csvReach;
    }

    /// Splits a row, unless that is done or it does not exist. One that was made to fill up has no
    /// line, and keeps no fields.
    void parseRow(int row)
    {
        if (!has(row) || isParsed(row))
            return;
        makeRoomForMarks(row + 1);
        // What stands for its line, even if it is a row that was split and moved here.
        if (size(row) > 0)
            rowToChange(row) = split(heldRow(row).first());
        mark(row, row + 1);
    }

    /// Whether the index \p row is marked as split. It may lie behind the last row.
    bool isParsed(int row) const
    {
        return row >= 0 && static_cast<unsigned>(row) < m_parsedRows.size() &&
               m_parsedRows[static_cast<unsigned>(row)];
    }

    /// A row as it is held: one item, its raw line, while it is not split. None when it does not
    /// exist.
    Row heldRow(int row) const
    {
        if (!has(row))
            return Row();
        return visit(
            row, [](const Row &fields) { return fields; },
            [](const Block &block, int line) { return rowOf(block, line); });
    }

protected:
    virtual Row split(const Field &line) const = 0;
    virtual QString text(const Field &field) const = 0;
    virtual double number(const Field &field, bool *ok) const = 0;
    virtual Field encoded(const Data::String &text) const = 0;

    /// Told before a row of its own is changed.
    virtual void rowChanges(int id) = 0;

    bool has(int row) const { return row >= 0 && row < numRows(); }

    /// Appends the rows of a block, but for those that \p isWanted is false of. All of them, or,
    /// when the memory does not suffice, none, with std::bad_alloc.
    template <typename IsWanted>
    void appendBlock(Block block, const IsWanted &isWanted)
    {
        appendWhole(block.numLines(), block.isSplit(), [&] {
            const int id =
                m_order.append(block.numLines(), [&](int line) { return isWanted(block, line); });
            m_blocks.push_back({id, std::move(block)}); // last, as it is not taken back
        });
    }
    void appendBlock(Block block)
    {
        appendBlock(std::move(block), [](const Block &, int) { return true; });
    }

    void reorderRows(int firstRow, const QList<int> &order) { m_order.reorder(firstRow, order); }

    /// Appends rows that are split already. All of them, or none, too.
    void appendParsed(const QList<Row> &rows)
    {
        appendWhole(rows.size(), /*areParsed=*/true, [&] {
            for (const Row &fields : rows)
                m_held.insert(m_order.append(), fields);
        });
    }

    /// Calls \p onRow with the fields of a row, or \p onLine with the block and line that has them.
    template <typename OnRow, typename OnLine>
    auto visit(int row, const OnRow &onRow, const OnLine &onLine) const
    {
        const int id = m_order.idAt(row);
        if (const Row *const fields = m_held.find(id))
            return onRow(*fields);
        const PlacedBlock &placed = blockOf(id);
        return onLine(placed.block, id - placed.firstId);
    }

    /// The same with a field, or null when the row has none there, and with its cell.
    template <typename OnField, typename OnCell>
    auto visitField(int row, int col, const OnField &onField, const OnCell &onCell) const
    {
        return visit(
            row,
            [&](const Row &fields) {
                return onField(col < fields.size() ? &fields.at(col) : nullptr);
            },
            [&](const Block &block, int line) {
                return col < block.numCells(line) ? onCell(block, block.firstCell(line) + col)
                                                  : onField(nullptr);
            });
    }

    static Row rowOf(const Block &block, int line)
    {
        Row fields;
        fields.reserve(block.numCells(line));
        for (int cell = block.firstCell(line); cell < block.firstCell(line + 1); ++cell)
            fields.append(block.field(cell));
        return fields;
    }

    /// The fields of a row that rowToKeep() has given, else null, or null where rows have moved.
    const Row *keptRow(int row) const
    {
        return m_order.isPlain() ? m_held.findMarked(row) : nullptr;
    }

    /// The fields of a row that is split, as a list that is held from now on, or null when there is
    /// no such row.
    const Row *rowToKeep(int row)
    {
        if (!has(row))
            return nullptr;
        parseRow(row);
        const Row &fields = rowToHold(row);
        if (m_order.isPlain())
            m_held.mark(row);
        return &fields;
    }

    /// The fields of a row as a list that is held from now on.
    Row &rowToHold(int row)
    {
        const int id = m_order.idAt(row);
        if (Row *const fields = m_held.find(id))
            return *fields;
        const PlacedBlock &placed = blockOf(id);
        return m_held.insert(id, rowOf(placed.block, id - placed.firstId));
    }

    Row &rowToChange(int row)
    {
        rowChanges(m_order.idAt(row));
        return rowToHold(row);
    }

    void forgetRows()
    {
        m_blocks.clear();
        m_held.clear();
        m_order.clear();
        m_parsedRows.clear();
    }

    int idOf(int row) const { return m_order.idAt(row); }

private:
    struct PlacedBlock
    {
        int firstId;
        Block block;
    };

    /// Calls \p append, which adds rows, and takes back what it has added when it throws.
    template <typename Append>
    void appendOrNothing(const Append &append)
    {
        const RowOrder::End end = m_order.end();
        try {
            append();
        } catch (...) {
            m_held.removeFrom(end.id);
            m_order.cut(end);
            throw;
        }
    }

    /// The same with rows that may be split, at most \p most.
    template <typename Append>
    void appendWhole(int most, bool areParsed, const Append &append)
    {
        const int first = numRows();
        if (areParsed)
            makeRoomForMarks(qint64(first) + most);
        appendOrNothing(append);
        if (areParsed)
            mark(first, numRows());
    }

    const PlacedBlock &blockOf(int id) const
    {
        if (m_blocks.size() == 1)
            return m_blocks.front();
        const auto next = std::upper_bound(
            m_blocks.begin(), m_blocks.end(), id,
            [](int wanted, const PlacedBlock &placed) { return wanted < placed.firstId; });
        return *(next - 1);
    }

    /// Appends empty fields until there is one at \p col, all or none, and makes the list one that
    /// is not shared.
    static void fillUp(Row &fields, int col)
    {
        const int before = fields.size();
        try {
            while (col >= fields.size())
                fields.append(Field());
            fields.detach();
        } catch (...) {
            while (fields.size() > before)
                fields.removeLast();
            throw;
        }
    }

    /// The number of fields of a row as it is held.
    int size(int row) const
    {
        return visit(
            row, [](const Row &fields) { return fields.size(); },
            [](const Block &block, int line) { return block.numCells(line); });
    }

    int splitSize(int row)
    {
        parseRow(row);
        return has(row) ? size(row) : 0;
    }

    bool isBlank(int row) const
    {
        return visit(
            row,
            [](const Row &fields) {
                return fields.isEmpty() || (fields.size() == 1 && fields.first().isEmpty());
            },
            [](const Block &block, int line) {
                return block.numCells(line) == 1 && block.isEmpty(block.firstCell(line));
            });
    }

    template <typename Result, typename OnField, typename OnCell>
    QList<Result> column(int col, int firstRow, const OnField &onField, const OnCell &onCell)
    {
        QList<Result> results;
        if (col < 0 || firstRow < -csvReach || firstRow >= numRows())
            return results;

        const int lastRow = numRows() - 1;
        results.reserve(lastRow - firstRow + 1);
        for (int row = firstRow; row <= lastRow; ++row) {
            row = appendLines(row, lastRow, col, results, onField, onCell);
            parseRow(row);
            if (row == lastRow && (!has(row) || isBlank(row)))
                break;
            results.append(has(row) ? visitField(row, col, onField, onCell) : onField(nullptr));
        }
        return results;
    }

    /// Appends what a column has in the lines from \p row on that are split and stand where they
    /// came in, up to \p endRow. Gives the row behind them.
    template <typename Results, typename OnField, typename OnCell>
    int appendLines(int row, int endRow, int col, Results &results, const OnField &onField,
                    const OnCell &onCell)
    {
        while (row >= 0 && row < endRow && m_order.isPlain() && m_held.isFree(row)) {
            const PlacedBlock &placed = blockOf(row);
            const int line = row - placed.firstId;
            const int count =
                std::min({placed.block.numLines() - line, endRow - row, m_held.numFree(row)});
            if (!placed.block.isSplit())
                break;
            int first = placed.block.firstCell(line);
            for (int each = line; each < line + count; ++each) {
                const int next = placed.block.firstCell(each + 1);
                results.append(col < next - first ? onCell(placed.block, first + col)
                                                  : onField(nullptr));
                first = next;
            }
            row += count;
        }
        return row;
    }

    /// After this mark() needs no memory for rows up to \p endRow.
    void makeRoomForMarks(qint64 endRow)
    {
        const auto end = static_cast<std::size_t>(endRow);
        if (end > m_parsedRows.capacity())
            m_parsedRows.reserve(std::max(end, m_parsedRows.size() + m_parsedRows.size() / 2));
    }

    void mark(int firstRow, int endRow)
    {
        const auto end = static_cast<std::size_t>(endRow);
        if (end > m_parsedRows.size())
            m_parsedRows.resize(end);
        std::fill(m_parsedRows.begin() + firstRow, m_parsedRows.begin() + endRow, true);
    }

    RowOrder m_order;
    std::vector<PlacedBlock> m_blocks; // in the order of identities
    RowStore<Row> m_held;
    std::vector<bool> m_parsedRows; // which may have more than there are rows
};

} // namespace Utils
