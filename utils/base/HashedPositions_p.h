#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Utils {

/// Positions in a list by the hash of what is there: an index that holds no texts. It takes 8 bytes
/// for each position.
///
/// The entries are in runs, each of them sorted and with larger positions than those before it. Two
/// runs of the same length are merged, so that there are few.
class HashedPositions
{
public:
    bool isEmpty() const { return m_entries.empty(); }

    /// Adds a position, which must be larger than those added before.
    void add(uint hash, int position)
    {
        m_runs.push_back(m_entries.size());
        try {
            m_entries.push_back({hash, position});
        } catch (...) {
            m_runs.pop_back();
            throw;
        }
        while (m_runs.size() > 1 && lengthOf(m_runs.size() - 1) == lengthOf(m_runs.size() - 2)) {
            const auto begin = m_entries.begin();
            const auto middle = begin + static_cast<std::ptrdiff_t>(m_runs.back());
            m_runs.pop_back();
            std::inplace_merge(begin + static_cast<std::ptrdiff_t>(m_runs.back()), middle,
                               m_entries.end());
        }
    }

    /// The first position from \p from on that has this hash and for which \p isWanted returns
    /// true, because different things may have the same hash. -1 when there is none.
    template <typename IsWanted>
    int find(uint hash, int from, const IsWanted &isWanted) const
    {
        for (std::size_t run = 0; run < m_runs.size(); ++run) {
            const Entry *entry = m_entries.data() + m_runs[run];
            const Entry *const end = m_entries.data() + endOf(run);
            entry = std::lower_bound(entry, end, Entry{hash, from});
            for (; entry != end && entry->hash == hash; ++entry) {
                if (isWanted(entry->position))
                    return entry->position;
            }
        }
        return -1;
    }

private:
    struct Entry
    {
        uint hash;
        int position;
        bool operator<(const Entry &other) const
        {
            return hash != other.hash ? hash < other.hash : position < other.position;
        }
    };

    std::size_t endOf(std::size_t run) const
    {
        return run + 1 < m_runs.size() ? m_runs[run + 1] : m_entries.size();
    }
    std::size_t lengthOf(std::size_t run) const { return endOf(run) - m_runs[run]; }

    std::vector<Entry> m_entries;
    std::vector<std::size_t> m_runs; // where each begins
};

} // namespace Utils
