#pragma once

#include "utils/base/DecimalParse_p.h"
#include "utils/csv/cells/CSVRowBuilder_p.h"
#include "utils/csv/cells/CellIndex_p.h"

#include <QByteArray>
#include <QString>

namespace Utils {

/// The bytes of many rows, implicitly shared with the caller.
class ByteChunk
{
public:
    /// Each line as one cell, as it is.
    explicit ByteChunk(const QByteArray &bytes);

    /// The cells between delimiters, which are trimmed.
    ByteChunk(const QByteArray &bytes, char delimiter);

    bool isSplit() const { return m_isSplit; }
    int numLines() const { return m_index.numLines(); }
    int numCells(int line) const { return m_index.numCells(line); }
    int firstCell(int line) const { return m_index.firstCell(line); }

    /// The largest number of cells of a line, among \p count lines from \p line on.
    int mostCells(int line, int count) const { return m_index.mostCells(line, count); }

    bool isEmpty(int cell) const;
    QByteArray field(int cell) const;

    /// As UTF-8, and as Latin-1, up to the first zero byte.
    QString text(int cell) const;
    QString latin1(int cell) const;

    double number(int cell, bool *ok) const
    {
        const CellIndex::Span place = m_index.span(cell);
        const char *const begin = m_bytes.constData() + place.begin;
        const char *const end = m_bytes.constData() + place.end;
        double value = 0.0;
        if (place.end < decimalReach || !parseDecimal(begin, end, value))
            return otherNumber(begin, end, ok);
        if (ok)
            *ok = true;
        return value;
    }

    /// The same with a decimal comma.
    double commaNumber(int cell, bool *ok) const;

    /// Adds the cells of a line, which refer to the chunk.
    void addCells(int line, CSVRowBuilder &row) const;

    /// Appends the text() of the cells of a line, in UTF-8, separated by \p separator.
    void appendLine(int line, char separator, QByteArray &to) const;

private:
    struct Span
    {
        const char *begin;
        const char *end;
        int size() const { return static_cast<int>(end - begin); }
    };
    Span span(int cell) const;
    bool isAsIs(int line) const;
    static double otherNumber(const char *begin, const char *end, bool *ok);

    QByteArray m_bytes;
    CellIndex m_index;
    char m_delimiter = '\n';
    bool m_isSplit;
};

} // namespace Utils
