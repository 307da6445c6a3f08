#pragma once

#include "data/String.h"
#include "utils/base/HashedPositions_p.h"

#include <map>
#include <utility>

namespace Utils {

class CSVData;

/// What a search looks for in a column.
struct CSVKey
{
    const Data::String &text;
    int col;
    bool exact; ///< the cell equals the text, not only its start

    bool isFoundIn(const QString &cell) const;
};

/// Finds keys in the columns of a table.
///
/// A search compares the cells one by one at first. When the searches have compared as many cells
/// as an index costs, it is made of the rows that they have seen, so that the same rows are split
/// as without it. Later searches continue after these rows. A change of these rows drops all
/// indexes.
class KeyIndex
{
public:
    /// The first row from \p firstRow on, which must not be negative, with the key. -1 when there
    /// is none.
    int find(CSVData &rows, const CSVKey &key, int firstRow);

    /// How many cells the searches have compared, for tests.
    qint64 numCompared() const { return m_numCompared; }

private:
    struct Index
    {
        HashedPositions positions; // of the rows before end
        int end = 0;
        qint64 numCompared = 0; // by searches without it
    };

    bool matches(CSVData &rows, const CSVKey &key, int row);
    int compareFrom(CSVData &rows, const CSVKey &key, int row);
    int findBy(Index &index, CSVData &rows, const CSVKey &key, int firstRow);
    static void addRow(Index &index, CSVData &rows, const CSVKey &key);

    quint64 m_revision = 0;                         // of the rows that the indexes are of
    int m_end = 0;                                  // all rows before it were compared
    std::map<std::pair<int, int>, Index> m_indexes; // by column, and length or -1 for whole cells
    qint64 m_numCompared = 0;
};

} // namespace Utils
