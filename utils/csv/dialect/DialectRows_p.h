#pragma once

#include "utils/csv/cells/Cells_p.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <vector>

namespace Utils {

/// How rows and fields are found in a sample.
struct DialectFormat
{
    QString delimiter; ///< "" for one column, "\\s+" for blanks
    QString comment;   ///< "" for none
    bool isQuoted = false;

    bool isAligned() const { return delimiter == csvBlanks; }
};

/// The rows of a sample, without comments and empty lines: some hundreds at the start and at the
/// end of each part.
class DialectRows
{
public:
    struct Row
    {
        int number;   ///< as in a table, if the row is at the start of the first part
        int part;     ///< index of the part of the sample
        int first;    ///< index of the first cell
        int numCells; ///< of which the first ones are stored
        int numStored;
    };

    /// Splits \p parts, which must outlive the object.
    DialectRows(const QStringList &parts, const DialectFormat &format);

    const std::vector<Row> &rows() const { return m_rows; }

    /// A cell, trimmed. Empty when the row has no such cell.
    QStringView cell(const Row &row, int column) const
    {
        return column < row.numStored ? m_cells[indexOf(row, column)] : QStringView();
    }

    /// Whether a cell that is stored was in quotes.
    bool isQuoted(const Row &row, int column) const { return m_areQuoted[indexOf(row, column)]; }

    /// The number of cells that most rows have, 0 without rows.
    int usualCount() const { return m_usualCount; }

    /// Whether tabs, or several blanks, are between fields that are aligned by blanks.
    bool hasWideBlanks() const { return m_hasWideBlanks; }

    int numQuoted() const { return m_numQuoted; }       ///< fields in quotes
    int numMisquoted() const { return m_numMisquoted; } ///< others that begin with a quote

private:
    static std::size_t indexOf(const Row &row, int column)
    {
        return static_cast<std::size_t>(row.first) + static_cast<std::size_t>(column);
    }

    void splitPart(QStringView text, int part);
    QStringView::const_iterator splitRow(QStringView::const_iterator next,
                                         QStringView::const_iterator end);
    QStringView::const_iterator skipQuoted(QStringView::const_iterator next,
                                           QStringView::const_iterator end);
    bool isDelimiterAt(QStringView::const_iterator next, QStringView::const_iterator end) const;
    void splitAtBlanks(QStringView line);
    void addCell(QStringView cell, bool isQuoted = false);
    void findUsualCount();

    const DialectFormat m_format;
    std::vector<Row> m_rows;
    std::vector<QStringView> m_cells;
    std::vector<bool> m_areQuoted; // by cell
    int m_numCells = 0;            // of the current row
    int m_usualCount = 0;
    int m_numQuoted = 0;
    int m_numMisquoted = 0;
    bool m_hasWideBlanks = false;
    int m_numUnclosed = 0; // among them
};

} // namespace Utils
