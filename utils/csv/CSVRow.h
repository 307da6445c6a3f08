#pragma once

#include "utils/csv/CSVCell.h"

namespace Utils {

/// The cells of a row of a CSVTable, without copies. See CSVTable::visit().
///
///     for (const CSVCell &cell : row)
///         total += cell.number();
class CSVRow
{
public:
    /// The row number in the table, from 0 on.
    int number() const { return m_number; }

    /// The number of fields.
    int size() const { return static_cast<int>(m_end - m_begin); }

    /// The cell of an existing column.
    const CSVCell &operator[](int col) const { return m_begin[col]; }

    const CSVCell *begin() const { return m_begin; }
    const CSVCell *end() const { return m_end; }

private:
    friend class CSVRowBuilder;

    CSVRow(int number, const CSVCell *begin, const CSVCell *end)
        : m_number(number), m_begin(begin), m_end(end)
    {}

    int m_number;
    const CSVCell *m_begin;
    const CSVCell *m_end;
};

} // namespace Utils
