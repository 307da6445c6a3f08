#pragma once

#include "utils/csv/backends/RowStore_p.h"
#include "utils/csv/cells/Cells_p.h"

#include <QList>

#include <algorithm>
#include <memory>
#include <vector>

namespace Utils {

/// The rows of a table in memory: the common part of the backends for text and for bytes.
/// RowReader reads many of them at once.
///
/// A row is added as its raw line, which counts as its only field, and is split on first use: the
/// backend calls parse() before it reads a row. Split rows are marked by their index alone.
/// Removing a row does not shift the marks: they are stale from then on, also for rows that are
/// added later. Editing marks a row without splitting it.
///
/// Cells are not stored one by one. A \p Chunk holds the text of many rows, which never changes,
/// and the positions of their cells. A row that differs from its chunk, because it is edited or
/// split later, is held as a \p Row from then on.
///
/// When the memory does not suffice, an operation throws std::bad_alloc and changes nothing, except
/// that rows may be split, as by reading them. So each operation allocates first: the list of the
/// row to change, and room for its mark.
template <typename Row, typename Chunk>
class MemoryRows
{
public:
    using Field = typename Row::value_type;

    int size() const { return m_order.size(); }

    /// A number that is different after each change of existing rows, and in each object. Rows that
    /// are appended do not change it.
    quint64 revision() const { return m_revision; }

    bool has(int row) const { return row >= 0 && row < size(); }

    /// The id of an existing row, which stays the same when the row moves.
    int idOf(int row) const { return m_order.idAt(row); }

    // Splitting

    /// Whether the index \p row is marked as split. It may lie after the last row.
    bool isParsed(int row) const { return m_parsed.isMarked(row); }

    bool needsParse(int row) const { return has(row) && !isParsed(row); }

    /// Splits an existing row by \p split. A row that was created only to fill a gap has no line,
    /// and stays without fields.
    template <typename Split>
    void parse(int row, const Split &split)
    {
        m_parsed.reserve(row + 1);
        // The first field counts as the raw line, even if the row was split before it moved here.
        if (numFields(row) > 0)
            rowToHold(row) = split(heldRow(row).first());
        m_parsed.mark(row, row + 1);
    }

    // Reading rows as they are held

    int numFields(int row) const
    {
        if (!has(row))
            return 0;
        return visit(
            row, [](const Row &fields) { return fields.size(); },
            [](const Chunk &chunk, int line) { return chunk.numCells(line); });
    }

    /// Whether a cell is empty, or a row if \p col is negative. \p parse is called with the row
    /// before a cell is read; a row is not split for this question.
    template <typename Parse>
    bool isEmpty(int row, int col, const Parse &parse) const
    {
        if (col >= 0)
            parse(row);
        if (!has(row))
            return true;
        if (col < 0)
            return isBlank(row);
        return visitField(
            row, col, [](const Field *field) { return !field || field->isEmpty(); },
            [](const Chunk &chunk, int cell) { return chunk.isEmpty(cell); });
    }

    /// Whether an existing row has no field or a single empty one.
    bool isBlank(int row) const
    {
        return visit(
            row,
            [](const Row &fields) {
                return fields.isEmpty() || (fields.size() == 1 && fields.first().isEmpty());
            },
            [](const Chunk &chunk, int line) {
                return chunk.numCells(line) == 1 && chunk.isEmpty(chunk.firstCell(line));
            });
    }

    /// Calls \p onRow with the fields of a row, or \p onLine with the chunk and line that has them.
    template <typename OnRow, typename OnLine>
    auto visit(int row, const OnRow &onRow, const OnLine &onLine) const
    {
        const int id = m_order.idAt(row);
        if (const Row *const fields = m_held.find(id))
            return onRow(*fields);
        const LocatedChunk &located = chunkOf(id);
        return onLine(*located.chunk, id - located.firstId);
    }

    /// The same for one field: calls \p onField with the field, or with null when the row has no
    /// such field, or \p onCell with the chunk and cell that has it.
    template <typename OnField, typename OnCell>
    auto visitField(int row, int col, const OnField &onField, const OnCell &onCell) const
    {
        return visit(
            row,
            [&](const Row &fields) {
                return onField(col < fields.size() ? &fields.at(col) : nullptr);
            },
            [&](const Chunk &chunk, int line) {
                return col < chunk.numCells(line) ? onCell(chunk, chunk.firstCell(line) + col)
                                                  : onField(nullptr);
            });
    }

    /// The fields of a row converted by \p onField and \p onCell. Empty when the row does not
    /// exist.
    template <typename Result, typename OnField, typename OnCell>
    QList<Result> fields(int row, const OnField &onField, const OnCell &onCell) const
    {
        QList<Result> results;
        if (!has(row))
            return results;
        visit(
            row,
            [&](const Row &fields) {
                results.reserve(fields.size());
                for (const Field &field : fields)
                    csvAppend(results, Result(onField(&field)));
            },
            [&](const Chunk &chunk, int line) {
                results.reserve(chunk.numCells(line));
                for (int cell = chunk.firstCell(line); cell < chunk.firstCell(line + 1); ++cell)
                    csvAppend(results, Result(onCell(chunk, cell)));
            });
        return results;
    }

    /// A row as it is held: a single item, its raw line, while it is not split. Empty when the row
    /// does not exist.
    Row heldRow(int row) const
    {
        if (!has(row))
            return Row();
        return visit(
            row, [](const Row &fields) { return fields; },
            [](const Chunk &chunk, int line) { return rowOf(chunk, line); });
    }

    /// Lines of a chunk, one after the other.
    struct Lines
    {
        const Chunk *chunk;
        int first;
        int count;
    };

    /// As many rows from \p row up to \p endRow as are lines of one chunk that is split, and have
    /// not moved. The count may be 0.
    Lines linesFrom(int row, int endRow) const
    {
        if (row < 0 || row >= endRow || !m_order.isPlain() || !m_held.isFree(row))
            return {nullptr, 0, 0};
        const LocatedChunk &located = chunkOf(row);
        if (!located.chunk->isSplit())
            return {nullptr, 0, 0};
        const int line = row - located.firstId;
        const int count =
            std::min({located.chunk->numLines() - line, endRow - row, m_held.numFree(row)});
        return {located.chunk.get(), line, count};
    }

    /// The chunk of an existing row that is not held as a list. A visitor may share it.
    const std::shared_ptr<const Chunk> &chunkWith(int row) const
    {
        return chunkOf(m_order.idAt(row)).chunk;
    }

    // Rows that are held as lists

    /// The fields of a row for which rowToKeep() was called. Null for other rows, and when rows
    /// have moved.
    const Row *keptRow(int row) const
    {
        return m_order.isPlain() ? m_held.findMarked(row) : nullptr;
    }

    /// The fields of an existing row as a list, which is held from now on and which keptRow()
    /// finds.
    const Row &rowToKeep(int row)
    {
        const Row &fields = rowToHold(row);
        if (m_order.isPlain())
            m_held.mark(row);
        return fields;
    }

    /// The fields of an existing row as a list, which is held from the second request on: a loop
    /// over all rows should not need memory for all lists.
    Row rowOnRequest(int row)
    {
        const int id = m_order.idAt(row);
        if (m_held.find(id) || !m_requests.isFirst(id))
            return rowToKeep(row);
        return heldRow(row);
    }

    /// The same for changing the row; keptRow() does not find it.
    Row &rowToHold(int row)
    {
        const int id = m_order.idAt(row);
        if (Row *const fields = m_held.find(id))
            return *fields;
        const LocatedChunk &located = chunkOf(id);
        return m_held.insert(id, rowOf(*located.chunk, id - located.firstId));
    }

    // Changes

    /// Whether a cell exists, or is so near that setField() creates it.
    bool isInReach(int row, int col) const
    {
        return row >= 0 && col >= 0 && qint64(row) - size() <= csvReach &&
               qint64(col) - numFields(row) <= csvReach;
    }

    /// Replaces the fields of an existing row. Needs no memory after rowToHold().
    void setRow(int row, const Row &fields)
    {
        noteChange();
        rowToHold(row) = fields;
    }

    /// Puts a field into a cell that is in reach, and creates the rows and fields before it.
    void setField(int row, int col, const Field &field)
    {
        noteChange();
        m_parsed.reserve(row + 1);
        appendOrNothing([&] {
            while (row >= size())
                m_held.insert(m_order.append(), Row());
            fillUp(rowToHold(row), col);
        });
        rowToHold(row)[col] = field;
        m_parsed.mark(row, row + 1);
    }

    /// Removes a field from each row that has it.
    void removeColumn(int col)
    {
        noteChange();
        const auto isWide = [&](int row) { return col >= 0 && col < numFields(row); };
        for (int row = 0; row < size(); ++row) {
            if (isWide(row))
                rowToHold(row).detach();
        }
        for (int row = 0; row < size(); ++row) {
            if (isWide(row))
                rowToHold(row).removeAt(col);
        }
    }

    void remove(int row)
    {
        noteChange();
        if (has(row))
            m_order.remove(row);
    }

    /// The same for many rows, in ascending order.
    void remove(const QList<int> &rows)
    {
        noteChange();
        if (!rows.isEmpty()) // no rows keep the order plain
            m_order.remove(rows);
    }

    /// Changes the order of the rows from \p firstRow on, as RowOrder::reorder() does.
    void reorder(int firstRow, const QList<int> &order)
    {
        noteChange();
        m_order.reorder(firstRow, order);
    }

    /// Appends the rows of a chunk for which \p isWanted returns true. Appends none when it throws
    /// std::bad_alloc.
    template <typename IsWanted>
    void append(Chunk chunk, const IsWanted &isWanted)
    {
        appendChunk(std::move(chunk), [&](const Chunk &lines) {
            return m_order.append(lines.numLines(),
                                  [&](int line) { return isWanted(lines, line); });
        });
    }
    void append(Chunk chunk)
    {
        appendChunk(std::move(chunk),
                    [&](const Chunk &lines) { return m_order.append(lines.numLines()); });
    }

    /// Appends rows that are split already; all, or none when it throws.
    void appendParsed(const QList<Row> &rows)
    {
        appendWhole(rows.size(), /*areParsed=*/true, [&] {
            for (const Row &fields : rows)
                m_held.insert(m_order.append(), fields);
        });
    }

    /// Removes all rows and all marks of split rows.
    void clear()
    {
        noteChange();
        m_chunks.clear();
        m_held.clear();
        m_order.clear();
        m_parsed.clear();
        m_requests.clear();
    }

private:
    struct LocatedChunk
    {
        int firstId;
        std::shared_ptr<const Chunk> chunk; // shared with visitors
    };

    static quint64 nextRevision()
    {
        static quint64 latest = 0;
        return ++latest;
    }

    void noteChange() { m_revision = nextRevision(); }

    const LocatedChunk &chunkOf(int id) const
    {
        if (m_chunks.size() == 1)
            return m_chunks.front();
        const auto next = std::upper_bound(
            m_chunks.begin(), m_chunks.end(), id,
            [](int wanted, const LocatedChunk &located) { return wanted < located.firstId; });
        return *(next - 1);
    }

    static Row rowOf(const Chunk &chunk, int line)
    {
        Row fields;
        fields.reserve(chunk.numCells(line));
        for (int cell = chunk.firstCell(line); cell < chunk.firstCell(line + 1); ++cell)
            csvAppend(fields, Field(chunk.field(cell)));
        return fields;
    }

    /// Appends a chunk. \p append adds its rows to the order and returns the first id.
    template <typename Append>
    void appendChunk(Chunk chunk, const Append &append)
    {
        const auto shared = std::make_shared<const Chunk>(std::move(chunk));
        appendWhole(shared->numLines(), shared->isSplit(), [&] {
            const int id = append(*shared);
            m_chunks.push_back({id, shared}); // last, because it is not rolled back
        });
    }

    /// Calls \p append, which adds rows, and removes these rows again when it throws.
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

    /// The same for at most \p most rows, which are marked as split if \p areParsed.
    template <typename Append>
    void appendWhole(int most, bool areParsed, const Append &append)
    {
        const int first = size();
        if (areParsed)
            m_parsed.reserve(qint64(first) + most);
        appendOrNothing(append);
        if (areParsed)
            m_parsed.mark(first, size());
    }

    /// Appends empty fields up to \p col, all or none, and detaches the list.
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

    RowOrder m_order;
    std::vector<LocatedChunk> m_chunks; // in the order of ids
    RowStore<Row> m_held;
    RowMarks m_parsed;
    quint64 m_revision = nextRevision();
    RowRequests m_requests;
};

} // namespace Utils
