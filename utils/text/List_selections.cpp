#include "utils/text/List.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <list>
#include <vector>

namespace Utils {

/// -\p value, and INT_MIN for itself.
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

/// A list of numbers in blocks of about the square root of its length, so that finding a place in
/// it and making room there takes that long only.
class BlockList
{
public:
    /// For \p values, and so many to be inserted.
    BlockList(const QList<int> &values, int insertions)
        : m_blockSize(static_cast<std::size_t>(std::sqrt(double(values.size()) + insertions)) + 1)
    {
        for (const int value : values)
            insert(m_blocks.end(), 0, value);
    }

    bool contains(int value) const { return m_firstBlock.contains(value); }

    /// Inserts \p value, which is not in the list, in front of the first \p other, which is.
    void insertBefore(int other, int value)
    {
        const BlockIterator block = m_firstBlock.value(other);
        const auto place = std::find(block->values.begin(), block->values.end(), other);
        insert(block, place - block->values.begin(), value);
    }

    /// Inserts \p value, which is not in the list, in front of the first greater one or at the end.
    void insertBeforeGreater(int value)
    {
        const auto isGreater = [=](int other) { return other > value; };
        const BlockIterator block =
            std::find_if(m_blocks.begin(), m_blocks.end(),
                         [=](const Block &candidate) { return candidate.highest > value; });
        if (block == m_blocks.end())
            return insert(block, 0, value);
        const auto place = std::find_if(block->values.begin(), block->values.end(), isGreater);
        insert(block, place - block->values.begin(), value);
    }

    QList<int> toList() const
    {
        QList<int> list;
        for (const Block &block : m_blocks) {
            for (const int value : block.values)
                list.append(value);
        }
        return list;
    }

private:
    struct Block
    {
        std::vector<int> values;
        int highest;
    };
    using BlockIterator = std::list<Block>::iterator;

    /// At \p offset of \p block, or behind everything when that is the end.
    void insert(BlockIterator block, std::ptrdiff_t offset, int value)
    {
        if (block == m_blocks.end()) {
            if (m_blocks.empty())
                m_blocks.push_back({{}, value});
            block = std::prev(block);
            offset = static_cast<std::ptrdiff_t>(block->values.size());
        }
        block->values.insert(block->values.begin() + offset, value);
        block->highest = std::max(block->highest, value);
        if (!m_firstBlock.contains(value))
            m_firstBlock.insert(value, block);
        if (block->values.size() > 2 * m_blockSize)
            split(block);
    }

    void split(BlockIterator block)
    {
        std::vector<int> &values = block->values;
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        const BlockIterator behind = m_blocks.insert(
            std::next(block), {{middle, values.end()}, *std::max_element(middle, values.end())});
        values.erase(middle, values.end());
        block->highest = *std::max_element(values.begin(), values.end());

        for (const int value : behind->values) {
            BlockIterator &first = m_firstBlock[value];
            if (first == block && std::find(values.begin(), values.end(), value) == values.end())
                first = behind;
        }
    }

    std::list<Block> m_blocks;
    QHash<int, BlockIterator> m_firstBlock; // by value, which may be in the list more than once
    std::size_t m_blockSize;
};

} // namespace

/// For each position of \p from, the first one behind it whose element \p into holds when the walk
/// over \p from comes to that position; -1 without one.
static std::vector<int> nextHeld(const QList<int> &from, const BlockList &into)
{
    // The walk leaves every element in the list that it has passed. So the element at a position
    // is held from the start, or after its first position in the list.
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

    // From the end, with the positions that may count on a stack, the foremost on top. One that is
    // not held yet is not held further to the front either, and goes for good.
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

    BlockList merged(into, from.size());
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
