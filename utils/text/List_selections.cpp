#include "utils/text/List.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <list>
#include <vector>

namespace Utils {

/// Returns -\p value, and INT_MIN for INT_MIN.
static int negated(int value) { return static_cast<int>(0u - static_cast<unsigned int>(value)); }

static QSet<int> toSet(const QList<int> &list) { return {list.begin(), list.end()}; }

QList<int> List::mergeIndexList(const QList<int> &a, const QList<int> &b)
{
    if (a.isEmpty())
        return b;
    if (b.isEmpty())
        return a;

    QList<int> result;
    QSet<int> held;
    result.reserve(a.size() + b.size());
    held.reserve(a.size() + b.size());
    const auto append = [&](int index) {
        result.append(index);
        held.insert(index);
    };

    const QSet<int> inB = toSet(b);
    for (const int index : a)
        append(inB.contains(index) ? index : negated(index));
    for (const int index : b) {
        if (!held.contains(index))
            append(negated(index));
    }
    return result;
}

QList<int> List::applyIndexList(const QList<int> &selection, const QList<int> &merged)
{
    QList<int> result;
    QSet<int> held;
    const auto append = [&](int index) {
        result.append(index);
        held.insert(index);
    };

    const QSet<int> named = toSet(merged);
    for (const int index : selection) {
        if (index >= 1 && (named.contains(index) || named.contains(-index)))
            append(index);
    }
    for (const int index : merged) {
        if (index >= 1 && !held.contains(index))
            append(index);
    }
    return result;
}

namespace {

/// A list of numbers in chunks of about the square root of its length, so that finding a position
/// in a chunk and inserting there takes time proportional to this square root. The chunk is found
/// by binary search.
class ChunkList
{
public:
    /// Starts with \p values; expects \p insertions more.
    ChunkList(const QList<int> &values, int insertions)
        : m_chunkSize(static_cast<std::size_t>(std::sqrt(double(values.size()) + insertions) / 3) +
                      1)
    {
        m_firstChunk.reserve(values.size() + std::min(insertions, values.size()));
        for (const int value : values)
            insert(m_chunks.end(), 0, value);
    }

    bool contains(int value) const { return m_firstChunk.contains(value); }

    /// Inserts \p value, which must not be in the list, before the first \p other, which must be.
    void insertBefore(int other, int value)
    {
        const ChunkIterator chunk = m_firstChunk.value(other);
        const auto position = std::find(chunk->values.begin(), chunk->values.end(), other);
        insert(chunk, position - chunk->values.begin(), value);
    }

    /// Inserts \p value, which must not be in the list, before the first greater one or at the end.
    void insertBeforeGreater(int value)
    {
        const auto isGreater = [=](int other) { return other > value; };
        const auto found = std::upper_bound(m_highestUpTo.begin(), m_highestUpTo.end(), value);
        if (found == m_highestUpTo.end())
            return insert(m_chunks.end(), 0, value);
        const ChunkIterator chunk =
            m_order[static_cast<std::size_t>(found - m_highestUpTo.begin())];
        const auto position = std::find_if(chunk->values.begin(), chunk->values.end(), isGreater);
        insert(chunk, position - chunk->values.begin(), value);
    }

    QList<int> toList() const
    {
        QList<int> list;
        std::size_t size = 0;
        for (const Chunk &chunk : m_chunks)
            size += chunk.values.size();
        list.reserve(static_cast<int>(size));
        for (const Chunk &chunk : m_chunks) {
            for (const int value : chunk.values)
                list.append(value);
        }
        return list;
    }

private:
    struct Chunk
    {
        std::vector<int> values;
        int highest;
        std::size_t index; // in m_order
    };
    using ChunkIterator = std::list<Chunk>::iterator;

    /// Inserts \p value at \p offset of \p chunk, or at the end of the list if \p chunk is the end.
    void insert(ChunkIterator chunk, std::ptrdiff_t offset, int value)
    {
        if (chunk == m_chunks.end()) {
            if (m_chunks.empty()) {
                m_chunks.push_back({{}, value, 0});
                updateOrder();
            }
            chunk = std::prev(chunk);
            offset = static_cast<std::ptrdiff_t>(chunk->values.size());
        }
        chunk->values.insert(chunk->values.begin() + offset, value);
        chunk->highest = std::max(chunk->highest, value);
        for (std::size_t i = chunk->index; i < m_order.size() && m_highestUpTo[i] < value; ++i)
            m_highestUpTo[i] = value;
        if (!m_firstChunk.contains(value))
            m_firstChunk.insert(value, chunk);
        if (chunk->values.size() > 2 * m_chunkSize)
            split(chunk);
    }

    void split(ChunkIterator chunk)
    {
        std::vector<int> &values = chunk->values;
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        const ChunkIterator rest = m_chunks.insert(
            std::next(chunk), {{middle, values.end()}, *std::max_element(middle, values.end()), 0});
        values.erase(middle, values.end());
        chunk->highest = *std::max_element(values.begin(), values.end());

        for (const int value : rest->values) {
            ChunkIterator &first = m_firstChunk[value];
            if (first == chunk && std::find(values.begin(), values.end(), value) == values.end())
                first = rest;
        }
        updateOrder();
    }

    void updateOrder()
    {
        m_order.clear();
        m_highestUpTo.clear();
        for (auto chunk = m_chunks.begin(); chunk != m_chunks.end(); ++chunk) {
            const bool isFirst = m_order.empty();
            chunk->index = m_order.size();
            m_order.push_back(chunk);
            m_highestUpTo.push_back(isFirst ? chunk->highest
                                            : std::max(chunk->highest, m_highestUpTo.back()));
        }
    }

    std::list<Chunk> m_chunks;
    std::vector<ChunkIterator> m_order;
    std::vector<int> m_highestUpTo;         // of all chunks up to this one, so it ascends
    QHash<int, ChunkIterator> m_firstChunk; // by value; a value may occur more than once
    std::size_t m_chunkSize;
};

} // namespace

/// For each position of \p from, the first later position whose element is in \p into when the
/// iteration over \p from reaches the former position; -1 if there is none.
static std::vector<int> nextHeld(const QList<int> &from, const ChunkList &into)
{
    // After the iteration has passed an element, the list contains it. So an element is in the list
    // from the start, or after its first position in \p from.
    std::vector<int> heldAfter;
    QHash<int, int> firstPosition;
    for (int i = 0; i < from.size(); ++i) {
        if (into.contains(from[i])) {
            heldAfter.push_back(-1);
        } else {
            const auto first = firstPosition.constFind(from[i]);
            heldAfter.push_back(first == firstPosition.constEnd() ? i : *first);
            if (heldAfter.back() == i)
                firstPosition.insert(from[i], i);
        }
    }

    // Iterates from the end, with a stack of the possible positions, the first one on top. An
    // element that is not in the list yet is not in it for earlier positions either, and is removed
    // from the stack.
    std::vector<int> next(heldAfter.size());
    std::vector<int> candidates;
    for (int i = from.size() - 1; i >= 0; --i) {
        while (!candidates.empty() && heldAfter[candidates.back()] >= i)
            candidates.pop_back();
        next[i] = candidates.empty() ? -1 : candidates.back();
        candidates.push_back(i);
    }
    return next;
}

void List::mergeSort(const QList<int> &from, QList<int> &into)
{
    if (into.isEmpty()) {
        into = from;
        return;
    }

    ChunkList merged(into, from.size());
    const std::vector<int> next = nextHeld(from, merged);
    for (int i = 0; i < from.size(); ++i) {
        if (merged.contains(from[i]))
            continue;
        if (next[i] >= 0)
            merged.insertBefore(from[next[i]], from[i]);
        else
            merged.insertBeforeGreater(from[i]);
    }
    into = merged.toList();
}

} // namespace Utils
