#include "utils/csv/KeyIndex_p.h"

#include "utils/csv/CSVTable_p.h"

#include <new>

namespace Utils {

bool CSVKey::isFoundIn(const QString &cell) const
{
    // An empty key is tested first: for a null key, startsWith() distinguishes null and empty
    // cells.
    return exact ? cell == text : text.isEmpty() || cell.startsWith(text);
}

int KeyIndex::find(CSVData &rows, const CSVKey &key, int firstRow)
{
    constexpr std::size_t maxIndexes = 16;

    const quint64 revision = rows.revision();
    if (revision == 0)
        return compareFrom(rows, key, firstRow);
    try {
        if (revision != m_revision || m_indexes.size() > maxIndexes) {
            m_indexes.clear();
            m_end = revision == m_revision ? m_end : 0;
            m_revision = revision;
        }
        Index &index = m_indexes[{key.col, key.exact ? -1 : key.text.size()}];
        return findBy(index, rows, key, firstRow);
    } catch (const std::bad_alloc &) {
        m_indexes.clear();
        return compareFrom(rows, key, firstRow);
    }
}

int KeyIndex::findBy(Index &index, CSVData &rows, const CSVKey &key, int firstRow)
{
    constexpr int costOfIndex = 4; // in comparisons for each row

    if (index.end == 0 && index.numCompared > qint64(costOfIndex) * m_end) {
        while (index.end < m_end)
            addRow(index, rows, key);
    }
    if (index.end == 0 || firstRow > index.end) {
        const int found = compareFrom(rows, key, firstRow);
        const int end = found >= 0 ? found + 1 : rows.numRows();
        index.numCompared += end - firstRow;
        if (firstRow <= m_end)
            m_end = std::max(m_end, end);
        return found;
    }

    const int found = index.positions.find(qHash(key.text), firstRow,
                                           [&](int row) { return matches(rows, key, row); });
    const int numRows = rows.numRows();
    while (found < 0 && index.end < numRows) {
        const int row = index.end;
        addRow(index, rows, key);
        m_end = std::max(m_end, index.end);
        if (matches(rows, key, row))
            return row;
    }
    return found;
}

bool KeyIndex::matches(CSVData &rows, const CSVKey &key, int row)
{
    ++m_numCompared;
    return key.isFoundIn(emptyWithoutMemory([&]() -> QString { return rows.data(row, key.col); }));
}

int KeyIndex::compareFrom(CSVData &rows, const CSVKey &key, int row)
{
    const int numRows = rows.numRows();
    while (row < numRows && !matches(rows, key, row))
        ++row;
    return row < numRows ? row : -1;
}

/// Adds the next row to the index. A cell that is shorter than the key is left out.
void KeyIndex::addRow(Index &index, CSVData &rows, const CSVKey &key)
{
    const QString cell = rows.data(index.end, key.col);
    if (key.exact)
        index.positions.add(qHash(cell), index.end);
    else if (cell.size() >= key.text.size())
        index.positions.add(qHash(QStringView(cell).left(key.text.size())), index.end);
    ++index.end;
}

} // namespace Utils
