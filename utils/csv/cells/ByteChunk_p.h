#pragma once

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

    bool isEmpty(int cell) const;
    QByteArray field(int cell) const;

    /// As UTF-8, and as Latin-1, up to the first zero byte.
    QString text(int cell) const;
    QString latin1(int cell) const;

    double number(int cell, bool *ok) const;

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

    QByteArray m_bytes;
    CellIndex m_index;
    char m_delimiter = '\n';
    bool m_isSplit;
};

} // namespace Utils
