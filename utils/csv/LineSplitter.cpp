#include "utils/csv/LineSplitter_p.h"

#include "utils/csv/cells/Cells_p.h"
#include "utils/text/List.h"

#include <algorithm>

namespace Utils {

/// The only text that the pattern \p delimiter matches; "" when there are others.
static QString literalOf(const QString &delimiter)
{
    static const QString special = QStringLiteral("\\^$.|?*+()[]{}");
    QString text;
    for (auto next = delimiter.begin(); next != delimiter.end(); ++next) {
        if (special.contains(*next)) {
            const bool isEscape = *next == QLatin1Char('\\') && next + 1 != delimiter.end();
            if (!isEscape || !special.contains(*++next))
                return QString();
        }
        text += *next;
    }
    return text;
}

/// The texts that \p delimiters match, if each of them matches a single text only.
static QStringList literalsOf(const QStringList &delimiters)
{
    QStringList texts;
    for (const QString &delimiter : delimiters) {
        texts.append(literalOf(delimiter));
        if (texts.last().isEmpty())
            return {};
    }
    return texts;
}

LineSplitter::Way LineSplitter::wayOf(const QStringList &delimiters, bool quoted)
{
    if (quoted)
        return delimiters.value(0) == QLatin1String("\"") ? Literal : Quoted; // no field has one
    if (!literalsOf(delimiters).isEmpty())
        return Literal;
    return delimiters == QStringList(csvBlanks) ? Blanks : Pattern;
}

LineSplitter::LineSplitter(const QStringList &delimiters, bool quoted)
    : m_delimiters(quoted ? QStringList(delimiters.mid(0, 1)) : delimiters),
      m_way(wayOf(delimiters, quoted)),
      m_pattern(m_way == Pattern ? delimiters.join(QLatin1Char('|')) : QString())
{
    if (m_way == Literal && !quoted)
        m_delimiters = literalsOf(delimiters);
}

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
