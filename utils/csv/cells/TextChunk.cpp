#include "utils/csv/cells/TextChunk_p.h"

#include "utils/csv/cells/Cells_p.h"
#include "utils/csv/cells/QuoteScanner_p.h"
#include "utils/text/List.h"

#include <algorithm>

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
    : m_text(text), m_index(makeIndex(text, QLatin1Char('\n'), CellIndex::Ignored)), m_form(Lines)
{}

TextChunk::TextChunk(const CSVText &text, QChar delimiter, Quotes quotes)
    : m_text(text), m_index(makeIndex(text, delimiter, quotes)), m_delimiter(delimiter),
      m_form(Trimmed)
{}

TextChunk::TextChunk(const CSVText &text, CellIndex index, Form form)
    : m_text(text), m_index(std::move(index)), m_form(form)
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

template <typename Unit>
static std::vector<Unit> unitsOf(const QString &marker);

template <>
std::vector<char> unitsOf(const QString &marker)
{
    const QByteArray bytes = marker.toUtf8();
    return std::vector<char>(bytes.begin(), bytes.end());
}

template <>
std::vector<ushort> unitsOf(const QString &marker)
{
    return std::vector<ushort>(marker.utf16(), marker.utf16() + marker.size());
}

static const char *unitsOf(const CSVText &text, char) { return text.bytes(); }

static const ushort *unitsOf(const CSVText &text, ushort)
{
    return reinterpret_cast<const ushort *>(text.characters());
}

TextChunk TextChunk::quoted(const CSVText &text, QChar delimiter, const QString &comment,
                            const QString &exception)
{
    const auto make = [&](auto unit) {
        using Unit = decltype(unit);
        const QuotedFormat<Unit> format = {static_cast<Unit>(delimiter.unicode()),
                                           unitsOf<Unit>(comment), unitsOf<Unit>(exception)};
        const Unit *const units = unitsOf(text, unit);
        bool isClosed = true;
        TextChunk chunk(text, CellIndex::ofQuoted(units, text.size(), format, isClosed), Exact);
        if (!isClosed) {
            const int firstCell = chunk.firstCell(chunk.numLines() - 1);
            LineBreaks breaks;
            breaks.add(units, units + chunk.m_index.begin(firstCell));
            chunk.m_openQuoteLine = static_cast<int>(breaks.count()) + 1;
        }
        chunk.m_delimiter = delimiter;
        return chunk;
    };
    return text.isUtf8() ? make(char()) : make(ushort());
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
    if (m_text.isUtf8() && m_form == Trimmed && !m_index.hasQuote(cell)) {
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
    if (m_form != Trimmed)
        return m_form == Lines ? m_text.part(first, last) : exactText(cell);
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

/// Returns what \p visit returns for the first and last unit of a cell, as bytes or code units.
template <typename Visit>
auto TextChunk::visitCell(int cell, const Visit &visit) const
{
    const auto [first, last] = m_index.span(cell);
    if (m_text.isUtf8())
        return visit(m_text.bytes() + first, m_text.bytes() + last);
    const auto *const units = unitsOf(m_text, ushort());
    return visit(units + first, units + last);
}

static QString toText(const char *begin, const char *end) { return csvDecoded(begin, end); }

static QString toText(const ushort *begin, const ushort *end)
{
    return QString(reinterpret_cast<const QChar *>(begin), static_cast<int>(end - begin));
}

static QString unquoted(const char *begin, const char *end)
{
    QByteArray bytes;
    appendContents<QByteArray, char>(begin, end, bytes);
    return csvDecoded(bytes.constData(), bytes.constData() + bytes.size());
}

static QString unquoted(const ushort *begin, const ushort *end)
{
    QString text;
    appendContents<QString, QChar>(begin, end, text);
    return text;
}

/// The text of a cell that is quoted as in RFC 4180.
QString TextChunk::exactText(int cell) const
{
    return visitCell(cell, [this](auto begin, auto end) {
        if (!narrowToContents(begin, end))
            return unquoted(begin, end);
        if constexpr (std::is_same_v<decltype(begin), const char *>) {
            if (m_index.isAscii())
                return QString::fromLatin1(begin, static_cast<int>(end - begin));
        }
        return toText(begin, end);
    });
}

void TextChunk::addExactCells(int line, CSVRowBuilder &row) const
{
    m_index.forEachSpan(line, [&](int, int first, int last) {
        if (m_text.isUtf8()) {
            const char *begin = m_text.bytes() + first;
            const char *end = m_text.bytes() + last;
            if (narrowToContents(begin, end))
                row.add(CSVRowBuilder::Exact, m_text.bytes(), begin, end);
            else
                row.add(unquoted(begin, end));
            return;
        }
        const auto *begin = unitsOf(m_text, ushort()) + first;
        const auto *end = unitsOf(m_text, ushort()) + last;
        if (narrowToContents(begin, end))
            row.add(reinterpret_cast<const QChar *>(begin), reinterpret_cast<const QChar *>(end));
        else
            row.add(unquoted(begin, end));
    });
}

void TextChunk::addCells(int line, CSVRowBuilder &row) const
{
    row.start(numCells(line));
    if (m_form == Exact)
        return addExactCells(line, row);
    const auto addUtf8 = [&](int, int first, int last) {
        const char *begin = m_text.bytes() + first;
        const char *end = m_text.bytes() + last;
        trimAscii(begin, end);
        row.add(CSVRowBuilder::Utf8, m_text.bytes(), begin, end);
    };
    if (m_form == Trimmed && m_text.isUtf8() && !m_index.hasQuotes())
        return m_index.forEachSpan(line, addUtf8);

    m_index.forEachSpan(line, [&](int cell, int first, int last) {
        if (m_form == Lines || m_index.hasQuote(cell)) {
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

static bool parseNumberOf(const char *begin, const char *end, double &value)
{
    return parsePureNumber(begin, static_cast<int>(end - begin), value);
}

static bool parseNumberOf(const ushort *begin, const ushort *end, double &value)
{
    return parsePureNumber(reinterpret_cast<const QChar *>(begin), static_cast<int>(end - begin),
                           value);
}

static bool parseCommaNumberOf(const char *begin, const char *end, double &value)
{
    return parseCommaNumber(begin, end, value);
}

static bool parseCommaNumberOf(const ushort *begin, const ushort *end, double &value)
{
    return parseCommaNumber(reinterpret_cast<const QChar *>(begin),
                            reinterpret_cast<const QChar *>(end), value);
}

double TextChunk::commaNumber(int cell, bool *ok) const
{
    double value = 0.0;
    const bool isPure = visitCell(cell, [&](auto begin, auto end) {
        if (m_form == Exact && !narrowToContents(begin, end))
            return false;
        trimAscii(begin, end);
        return parseCommaNumberOf(begin, end, value);
    });
    if (!isPure)
        return csvNumber(text(cell), ok, ',');
    if (ok)
        *ok = true;
    return value;
}

/// Parses a cell that number() does not parse fast.
double TextChunk::otherNumber(int cell, bool *ok) const
{
    const auto [first, last] = m_index.span(cell);
    double value = 0.0;
    if (m_form == Exact) {
        const bool isNumber = visitCell(cell, [&](auto begin, auto end) {
            return narrowToContents(begin, end) && parseNumberOf(begin, end, value);
        });
        if (!isNumber)
            return csvNumber(exactText(cell), ok);
        if (ok)
            *ok = true;
        return value;
    }
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
    if (m_text.isUtf8() &&
        (m_form == Lines || (m_form == Trimmed && separator == m_delimiter && isAsIs(line))))
    {
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
