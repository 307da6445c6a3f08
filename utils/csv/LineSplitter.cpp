#include "utils/csv/LineSplitter_p.h"

#include "utils/csv/cells/Cells_p.h"
#include "utils/text/List.h"

#include <algorithm>

namespace Utils {

/// Whether \p delimiter is a pattern that matches itself and nothing else.
static bool isLiteral(const QString &delimiter)
{
    static const QString special = QStringLiteral("\\^$.|?*+()[]{}");
    return !delimiter.isEmpty() &&
           std::none_of(delimiter.begin(), delimiter.end(),
                        [](QChar character) { return special.contains(character); });
}

LineSplitter::Way LineSplitter::wayOf(const QStringList &delimiters, bool quoted)
{
    if (quoted)
        return delimiters.value(0) == QLatin1String("\"") ? Literal : Quoted; // no field has one
    if (!delimiters.isEmpty() && std::all_of(delimiters.begin(), delimiters.end(), isLiteral))
        return Literal;
    return delimiters == QStringList(QStringLiteral("\\s+")) ? Blanks : Pattern;
}

LineSplitter::LineSplitter(const QStringList &delimiters, bool quoted)
    : m_delimiters(quoted ? QStringList(delimiters.mid(0, 1)) : delimiters),
      m_way(wayOf(delimiters, quoted)),
      m_pattern(m_way == Pattern ? delimiters.join(QLatin1Char('|')) : QString())
{}

static QString trimmedText(const QChar *begin, const QChar *end)
{
    trimBlanks(begin, end);
    return QString(begin, static_cast<int>(end - begin));
}

/// The length of the longest delimiter at \p begin, or 0.
int LineSplitter::delimiterAt(const QChar *begin, const QChar *end) const
{
    int longest = 0;
    for (const QString &delimiter : m_delimiters) {
        const int size = delimiter.size();
        if (size > longest && size <= end - begin &&
            std::equal(delimiter.begin(), delimiter.end(), begin))
            longest = size;
    }
    return longest;
}

QStringList LineSplitter::split(const QChar *begin, const QChar *end, int expected) const
{
    QStringList fields;
    fields.reserve(expected);
    if (m_way == Literal) {
        splitLiterally(begin, end, fields);
    } else if (m_way == Blanks) {
        splitAtBlanks(begin, end, fields);
    } else {
        const QString line(begin, static_cast<int>(end - begin));
        fields = m_way == Quoted
                     ? List::safeSplit(line, m_delimiters.value(0), /*backslashQuotes=*/false)
                     : line.split(m_pattern);
        for (QString &field : fields)
            field = field.trimmed();
    }
    return fields;
}

void LineSplitter::splitLiterally(const QChar *begin, const QChar *end, QStringList &fields) const
{
    for (const QChar *next = begin; next != end;) {
        const int length = delimiterAt(next, end);
        if (length > 0) {
            fields.append(trimmedText(begin, next));
            begin = next + length;
        }
        next += std::max(length, 1);
    }
    fields.append(trimmedText(begin, end));
}

void LineSplitter::splitAtBlanks(const QChar *begin, const QChar *end, QStringList &fields)
{
    const auto isBlank = [](QChar character) { return character.isSpace(); };
    while (true) {
        const QChar *const next = std::find_if(begin, end, isBlank);
        fields.append(QString(begin, static_cast<int>(next - begin)));
        if (next == end)
            return;
        begin = std::find_if_not(next, end, isBlank);
    }
}

} // namespace Utils
