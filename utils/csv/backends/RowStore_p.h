#pragma once

#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

namespace Utils {

/// Sparse map from row id to row; efficient when dense, too.
template <typename Row>
class RowStore
{
public:
    /// Null when there is no such row.
    const Row *find(int id) const
    {
        const Piece *const piece = pieceOf(id);
        return piece && (piece->held & bitOf(id)) != 0 ? &piece->rows[indexOf(id)] : nullptr;
    }
    Row *find(int id) { return const_cast<Row *>(static_cast<const RowStore *>(this)->find(id)); }

    /// A row that was marked by mark() and has not been removed since; otherwise null. Fast. \p id
    /// may be any number.
    const Row *findMarked(int id) const
    {
        const Piece *const piece = pieceOf(id);
        return piece && (piece->marked & bitOf(id)) != 0 ? &piece->rows[indexOf(id)] : nullptr;
    }

    /// Marks an existing row.
    void mark(int id) { m_pieces[numberOf(id)]->marked |= bitOf(id); }

    /// Whether no row is stored in the whole block of \p id, and how many ids from \p id on are
    /// free at least.
    bool isFree(int id) const { return !pieceOf(id); }
    int numFree(int id) const
    {
        return numberOf(id) < m_pieces.size() ? pieceSize - static_cast<int>(indexOf(id))
                                              : std::numeric_limits<int>::max();
    }

    /// Inserts a row, or replaces the row with this id. Changes nothing when it throws
    /// std::bad_alloc.
    Row &insert(int id, const Row &row)
    {
        const std::size_t number = numberOf(id);
        if (number >= m_pieces.size())
            m_pieces.resize(number + 1);
        if (!m_pieces[number])
            m_pieces[number].reset(new Piece);
        Row &held = m_pieces[number]->rows[indexOf(id)] = row;
        m_pieces[number]->held |= bitOf(id);
        return held;
    }

    void remove(int id)
    {
        if (Row *const row = find(id)) {
            *row = Row();
            m_pieces[numberOf(id)]->held &= ~bitOf(id);
            m_pieces[numberOf(id)]->marked &= ~bitOf(id);
        }
    }

    /// Removes \p id and all greater ids.
    void removeFrom(int id)
    {
        for (; indexOf(id) != 0; ++id)
            remove(id);
        m_pieces.resize(std::min(numberOf(id), m_pieces.size()));
    }

    void clear() { m_pieces.clear(); }

private:
    static constexpr int pieceSize = 64;

    struct Piece
    {
        Row rows[pieceSize];
        quint64 held = 0;
        quint64 marked = 0;
    };

    static std::size_t numberOf(int id) { return static_cast<unsigned>(id) / pieceSize; }
    static unsigned indexOf(int id) { return static_cast<unsigned>(id) % pieceSize; }
    static quint64 bitOf(int id) { return quint64(1) << indexOf(id); }

    const Piece *pieceOf(int id) const
    {
        return numberOf(id) < m_pieces.size() ? m_pieces[numberOf(id)].get() : nullptr;
    }

    std::vector<std::unique_ptr<Piece>> m_pieces;
};

/// Which rows are marked, by index.
class RowMarks
{
public:
    bool isMarked(int row) const
    {
        return row >= 0 && static_cast<unsigned>(row) < m_marks.size() &&
               m_marks[static_cast<unsigned>(row)];
    }

    /// Allocates, so that mark() needs no memory for rows up to \p endRow.
    void reserve(qint64 endRow)
    {
        const auto end = static_cast<std::size_t>(endRow);
        if (end > m_marks.capacity())
            m_marks.reserve(std::max(end, m_marks.size() + m_marks.size() / 2));
    }

    void mark(int firstRow, int endRow)
    {
        const auto end = static_cast<std::size_t>(endRow);
        if (end > m_marks.size())
            m_marks.resize(end);
        std::fill(m_marks.begin() + firstRow, m_marks.begin() + endRow, true);
    }

    void clear() { m_marks.clear(); }

private:
    std::vector<bool> m_marks;
};

/// Which rows were requested as lists, by id.
class RowRequests
{
public:
    /// Whether this is the first request of the row \p id.
    bool isFirst(int id)
    {
        if (m_marks.isMarked(id))
            return false;
        m_marks.reserve(qint64(id) + 1);
        m_marks.mark(id, id + 1);
        return true;
    }

    void clear() { m_marks.clear(); }

private:
    RowMarks m_marks;
};

/// The order of the rows of a table: the id of each row, which never changes.
///
/// As long as rows are only appended, the id of a row is its index, and nothing is stored.
class RowOrder
{
public:
    int size() const { return m_isPlain ? m_nextId : static_cast<int>(m_ids.size()); }
    /// Whether the id of each row is its index.
    bool isPlain() const { return m_isPlain; }

    int idAt(int row) const { return m_isPlain ? row : m_ids[static_cast<std::size_t>(row)]; }

    /// Creates \p count ids and returns the first one. Appends the ids for whose number, counted
    /// from 0, \p isWanted returns true.
    template <typename IsWanted>
    int append(int count, const IsWanted &isWanted)
    {
        const int first = m_nextId;
        for (int i = 0; i < count; ++i, ++m_nextId) {
            const bool isListed = isWanted(i);
            if (!isListed)
                list();
            if (isListed && !m_isPlain)
                m_ids.push_back(m_nextId);
        }
        return first;
    }
    int append(int count = 1)
    {
        const int first = m_nextId;
        m_nextId += count;
        for (int id = first; !m_isPlain && id < m_nextId; ++id)
            m_ids.push_back(id);
        return first;
    }

    /// The end of the order.
    struct End
    {
        int id; // of the next row
        std::size_t listed;
        bool isPlain;
    };
    End end() const { return {m_nextId, m_ids.size(), m_isPlain}; }

    /// Removes all ids that were appended since end() returned \p end.
    void cut(const End &end)
    {
        m_nextId = end.id;
        m_isPlain = end.isPlain;
        if (m_isPlain)
            m_ids = std::vector<int>();
        m_ids.resize(end.listed);
    }

    void remove(int row)
    {
        list();
        m_ids.erase(m_ids.begin() + row);
    }

    /// The same for many rows, in ascending order.
    void remove(const QList<int> &rows)
    {
        list();
        auto removed = rows.begin();
        std::size_t left = 0;
        for (std::size_t row = 0; row < m_ids.size(); ++row) {
            if (removed != rows.end() && *removed == static_cast<int>(row))
                ++removed;
            else
                m_ids[left++] = m_ids[row];
        }
        m_ids.resize(left);
    }

    /// Reorders the rows from \p firstRow on: the row \p firstRow + \p order[i] moves to
    /// \p firstRow + i.
    void reorder(int firstRow, const QList<int> &order)
    {
        list();
        const std::vector<int> before = m_ids;
        const auto first = before.begin() + firstRow;
        std::transform(order.begin(), order.end(), m_ids.begin() + firstRow,
                       [&](int row) { return first[row]; });
    }

    void clear() { *this = RowOrder(); }

private:
    void list()
    {
        if (!m_isPlain)
            return;
        std::vector<int> ids(static_cast<std::size_t>(m_nextId));
        std::iota(ids.begin(), ids.end(), 0);
        m_ids.swap(ids);
        m_isPlain = false;
    }

    bool m_isPlain = true;
    std::vector<int> m_ids;
    int m_nextId = 0;
};

} // namespace Utils
