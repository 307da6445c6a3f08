#include "utils/csv/cells/TextChunk_p.h"

#include "utils/csv/cells/Cells_p.h"
#include "utils/text/List.h"

namespace Utils {

static bool isAsciiByte(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

static void trim(const char *&begin, const char *&end) { trimAscii(begin, end); }
static void trim(const QChar *&begin, const QChar *&end) { trimBlanks(begin, end); }

/// Parses the number in a cell that contains only a number and blanks around it.
template <typename Unit>
static bool parseCell(const Unit *text, int first, int last, double &value)
{
    const Unit *begin = text + first;
    const Unit *end = text + last;
    if (last >= decimalReach && parseDecimal(begin, end, value))
        return true;
    trim(begin, end);
    return parsePureNumber(begin, static_cast<int>(end - begin), value);
}

static CellIndex makeIndex(const CSVText &text, QChar delimiter, CellIndex::Quotes quotes)
{
    return text.isUtf8() ? CellIndex(text.bytes(), text.size(), delimiter.toLatin1(), quotes)
                         : CellIndex(reinterpret_cast<const ushort *>(text.characters()),
                                     text.size(), delimiter.unicode(), quotes);
}

TextChunk::TextChunk(const CSVText &text)
    : m_text(text), m_index(makeIndex(text, QLatin1Char('\n'), CellIndex::Ignored)),
      m_isSplit(false)
{}

TextChunk::TextChunk(const CSVText &text, QChar delimiter, Quotes quotes)
    : m_text(text), m_index(makeIndex(text, delimiter, quotes)), m_delimiter(delimiter),
      m_isSplit(true)
{}

TextChunk::TextChunk(const CSVText &text, CellIndex index)
    : m_text(text), m_index(std::move(index)), m_isSplit(true)
{}

TextChunk TextChunk::betweenBlanks(const CSVText &text)
{
    if (text.isUtf8()) {
        CellIndex index = CellIndex::betweenBlanks(text.bytes(), text.size());
        // White space outside ASCII is more than one byte.
        return index.isAscii() ? TextChunk(text, std::move(index))
                               : betweenBlanks(CSVText(text.toString()));
    }
    const auto *const units = reinterpret_cast<const ushort *>(text.characters());
    return TextChunk(text, CellIndex::betweenBlanks(units, text.size()));
}

QString TextChunk::line(int line) const
{
    return m_text.part(m_index.begin(firstCell(line)), m_index.end(firstCell(line + 1) - 1));
}

bool TextChunk::mayStartWith(int line, QChar character) const
{
    const int begin = m_index.begin(firstCell(line));
    if (begin == m_text.size())
        return false;
    if (m_text.isUtf8())
        return !isAsciiByte(m_text.bytes()[begin]) ||
               character == QLatin1Char(m_text.bytes()[begin]);
    return character == m_text.characters()[begin];
}

bool TextChunk::isEmpty(int cell) const
{
    if (m_text.isUtf8() && m_isSplit && !m_index.hasQuote(cell)) {
        const CellIndex::Span place = m_index.span(cell);
        const char *begin = m_text.bytes() + place.begin;
        const char *end = m_text.bytes() + place.end;
        trimAscii(begin, end);
        if (begin == end || isAsciiByte(*begin))
            return begin == end;
    }
    return text(cell).isEmpty();
}

QString TextChunk::text(int cell) const
{
    const auto [first, last] = m_index.span(cell);
    if (!m_isSplit)
        return m_text.part(first, last);
    if (m_index.hasQuote(cell))
        return quotedText(cell);
    if (!m_text.isUtf8()) {
        const QChar *begin = m_text.characters() + first;
        const QChar *end = m_text.characters() + last;
        trimBlanks(begin, end);
        return QString(begin, static_cast<int>(end - begin));
    }

    const char *begin = m_text.bytes() + first;
    const char *end = m_text.bytes() + last;
    trimAscii(begin, end);
    return m_index.isAscii() ? QString::fromLatin1(begin, static_cast<int>(end - begin))
                             : csvUtf8Text(begin, end);
}

/// The text of a cell with quotes. It does not depend on the cells around it.
QString TextChunk::quotedText(int cell) const
{
    const auto [first, last] = m_index.span(cell);
    const QString all = m_text.part(first, last);
    const QStringList items = List::safeSplit(all, m_delimiter, /*backslashQuotes=*/false);
    return items.first().trimmed();
}

void TextChunk::addCells(int line, CSVRowBuilder &row) const
{
    row.start(numCells(line));
    const auto addUtf8 = [&](int, int first, int last) {
        const char *begin = m_text.bytes() + first;
        const char *end = m_text.bytes() + last;
        trimAscii(begin, end);
        row.add(CSVRowBuilder::Utf8, m_text.bytes(), begin, end);
    };
    if (m_isSplit && m_text.isUtf8() && !m_index.hasQuotes())
        return m_index.forEachSpan(line, addUtf8);

    m_index.forEachSpan(line, [&](int cell, int first, int last) {
        if (!m_isSplit || m_index.hasQuote(cell)) {
            row.add(text(cell));
        } else if (m_text.isUtf8()) {
            addUtf8(cell, first, last);
        } else {
            const QChar *begin = m_text.characters() + first;
            const QChar *end = m_text.characters() + last;
            trimBlanks(begin, end);
            row.add(begin, end);
        }
    });
}

/// Parses a cell that number() does not parse fast.
double TextChunk::otherNumber(int cell, bool *ok) const
{
    const auto [first, last] = m_index.span(cell);
    double value = 0.0;
    const bool isPure = m_text.isUtf8() ? parseCell(m_text.bytes(), first, last, value)
                                        : parseCell(m_text.characters(), first, last, value);
    if (!isPure)
        return csvNumber(text(cell), ok);
    if (ok)
        *ok = true;
    return value;
}

/// Whether the cells of a line equal its bytes, so that nothing is to be trimmed.
bool TextChunk::isAsIs(int line) const
{
    for (int cell = m_index.firstCell(line); cell < m_index.firstCell(line + 1); ++cell) {
        if (m_index.hasQuote(cell))
            return false;
        const CellIndex::Span place = m_index.span(cell);
        const char *const begin = m_text.bytes() + place.begin;
        const char *const end = m_text.bytes() + place.end;
        const auto isBare = [](char byte) { return isAsciiByte(byte) && byte > ' '; };
        if (begin != end && !(isBare(*begin) && isBare(end[-1])))
            return false;
    }
    return true;
}

void TextChunk::appendLine(int line, const QString &separator, QByteArray &to) const
{
    const int first = m_index.firstCell(line);
    const int end = m_index.firstCell(line + 1);
    if (m_text.isUtf8() && (!m_isSplit || (separator == m_delimiter && isAsIs(line)))) {
        to.append(m_text.bytes() + m_index.begin(first),
                  m_index.end(end - 1) - m_index.begin(first));
        return;
    }

    // Encoded as one text, because a surrogate pair may begin in one cell and end in the next.
    QString text;
    for (int cell = first; cell < end; ++cell) {
        if (cell > first)
            text += separator;
        text += this->text(cell);
    }
    to.append(text.toUtf8());
}

} // namespace Utils
