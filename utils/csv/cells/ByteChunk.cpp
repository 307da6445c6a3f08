#include "utils/csv/cells/ByteChunk_p.h"

#include "utils/csv/cells/Cells_p.h"

#include <cstring>

namespace Utils {

ByteChunk::ByteChunk(const QByteArray &bytes)
    : m_bytes(csvToKeep(bytes)), m_index(CellIndex::ofLines(bytes.constData(), bytes.size())),
      m_isSplit(false)
{}

ByteChunk::ByteChunk(const QByteArray &bytes, char delimiter)
    : m_bytes(csvToKeep(bytes)),
      m_index(bytes.constData(), bytes.size(), delimiter, CellIndex::Ignored),
      m_delimiter(delimiter), m_isSplit(true)
{}

ByteChunk::Span ByteChunk::span(int cell) const
{
    const CellIndex::Span place = m_index.span(cell);
    Span found = {m_bytes.constData() + place.begin, m_bytes.constData() + place.end};
    if (m_isSplit)
        trimAscii(found.begin, found.end);
    return found;
}

bool ByteChunk::isEmpty(int cell) const { return span(cell).size() == 0; }

QByteArray ByteChunk::field(int cell) const
{
    const Span found = span(cell);
    return QByteArray(found.begin, found.size());
}

QString ByteChunk::text(int cell) const
{
    const Span found = span(cell);
    return QString::fromUtf8(found.begin, csvSizeToZero(found.begin, found.size()));
}

QString ByteChunk::latin1(int cell) const
{
    const Span found = span(cell);
    return QString::fromLatin1(found.begin, csvSizeToZero(found.begin, found.size()));
}

void ByteChunk::addCells(int line, CSVRowBuilder &row) const
{
    row.start(numCells(line));
    m_index.forEachSpan(line, [&](int, int first, int last) {
        const char *begin = m_bytes.constData() + first;
        const char *end = m_bytes.constData() + last;
        if (m_isSplit)
            trimAscii(begin, end);
        row.add(CSVRowBuilder::Bytes, m_bytes.constData(), begin, end);
    });
}

double ByteChunk::commaNumber(int cell, bool *ok) const
{
    const Span found = span(cell);
    return csvCommaNumber(found.begin, found.end, csvHoleValue, ok);
}

double ByteChunk::otherNumber(const char *begin, const char *end, bool *ok)
{
    return csvNumber(begin, end, csvHoleValue, ok);
}

/// Whether the cells of a line equal its bytes: nothing is to be trimmed, and there is no zero
/// byte.
bool ByteChunk::isAsIs(int line) const
{
    if (!m_index.isAscii())
        return false;
    const int first = m_index.firstCell(line);
    const int end = m_index.firstCell(line + 1);
    for (int cell = first; cell < end; ++cell) {
        const CellIndex::Span place = m_index.span(cell);
        const char *const begin = m_bytes.constData() + place.begin;
        const char *const last = m_bytes.constData() + place.end - 1;
        if (begin <= last && !(*begin > ' ' && *last > ' '))
            return false;
    }
    const int begin = m_index.begin(first);
    return !std::memchr(m_bytes.constData() + begin, '\0',
                        static_cast<std::size_t>(m_index.end(end - 1) - begin));
}

void ByteChunk::appendLine(int line, char separator, QByteArray &to) const
{
    const int first = m_index.firstCell(line);
    const int end = m_index.firstCell(line + 1);
    if (separator == m_delimiter && isAsIs(line)) {
        const int begin = m_index.begin(first);
        to.append(m_bytes.constData() + begin, m_index.end(end - 1) - begin);
        return;
    }
    for (int cell = first; cell < end; ++cell) {
        if (cell > first)
            to.append(separator);
        to.append(text(cell).toUtf8());
    }
}

} // namespace Utils
