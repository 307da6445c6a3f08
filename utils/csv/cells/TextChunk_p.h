#pragma once

#include "utils/base/DecimalParse_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/csv/cells/CSVText_p.h"
#include "utils/csv/cells/CellIndex_p.h"

namespace Utils {

/// The text of many rows.
class TextChunk
{
public:
    using Quotes = CellIndex::Quotes;

    /// Each line as one cell, as it is.
    explicit TextChunk(const CSVText &text);

    /// The cells between delimiters, trimmed. For UTF-8 the delimiter must be ASCII.
    TextChunk(const CSVText &text, QChar delimiter, Quotes quotes);

    /// The cells between runs of white space.
    static TextChunk betweenBlanks(const CSVText &text);

    bool isSplit() const { return m_isSplit; }
    int numLines() const { return m_index.numLines(); }
    int numCells(int line) const { return m_index.numCells(line); }
    int firstCell(int line) const { return m_index.firstCell(line); }

    /// The largest number of cells of a line, among \p count lines from \p line on.
    int mostCells(int line, int count) const { return m_index.mostCells(line, count); }

    /// A line as it is; and whether it may start with a character, a quick test that is often
    /// false.
    QString line(int line) const;
    bool mayStartWith(int line, QChar character) const;

    bool isEmpty(int cell) const;
    QString text(int cell) const;
    QString field(int cell) const { return text(cell); }
    double number(int cell, bool *ok) const
    {
        const CellIndex::Span place = m_index.span(cell);
        double value = 0.0;
        if (place.end < decimalReach || !m_text.isUtf8() ||
            !parseDecimal(m_text.bytes() + place.begin, m_text.bytes() + place.end, value))
            return otherNumber(cell, ok);
        if (ok)
            *ok = true;
        return value;
    }

    /// Adds the cells of a line, which refer to the chunk.
    void addCells(int line, CSVRowBuilder &row) const;

    /// Appends the cells of a line, in UTF-8, separated by \p separator.
    void appendLine(int line, const QString &separator, QByteArray &to) const;

private:
    TextChunk(const CSVText &text, CellIndex index);

    bool isAsIs(int line) const;
    QString quotedText(int cell) const;
    double otherNumber(int cell, bool *ok) const;

    CSVText m_text;
    CellIndex m_index;
    QString m_delimiter; // "" for white space
    bool m_isSplit;
};

} // namespace Utils
