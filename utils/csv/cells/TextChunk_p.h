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

    /// The cells of a text that is quoted as in RFC 4180, as they are within their quotes. Comments
    /// are lines of one cell. The text must not be empty. For UTF-8 the delimiter must be ASCII.
    static TextChunk quoted(const CSVText &text, QChar delimiter, const QString &comment,
                            const QString &exception);

    /// When a quote is not closed, the number of the line in the text, from 1 on, where its row
    /// starts; otherwise 0.
    int openQuoteLine() const { return m_openQuoteLine; }

    bool isSplit() const { return m_form != Lines; }
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

    /// The same with a decimal comma.
    double commaNumber(int cell, bool *ok) const;

    /// Adds the cells of a line, which refer to the chunk.
    void addCells(int line, CSVRowBuilder &row) const;

    /// Appends the cells of a line, in UTF-8, separated by \p separator.
    void appendLine(int line, const QString &separator, QByteArray &to) const;

private:
    enum Form : unsigned char
    {
        Lines,   // not split
        Trimmed, // split, and cells are without white space at the ends
        Exact    // split as in RFC 4180
    };

    TextChunk(const CSVText &text, CellIndex index, Form form = Trimmed);

    bool isAsIs(int line) const;
    QString quotedText(int cell) const;
    QString exactText(int cell) const;
    void addExactCells(int line, CSVRowBuilder &row) const;
    template <typename Visit>
    auto visitCell(int cell, const Visit &visit) const;
    double otherNumber(int cell, bool *ok) const;

    CSVText m_text;
    CellIndex m_index;
    QString m_delimiter; // "" for white space
    int m_openQuoteLine = 0;
    Form m_form;
};

} // namespace Utils
