#include "utils/csv/LineSplitter_p.h"

#include "utils/csv/Blanks_p.h"
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
        return delimiters.value(0) == QLatin1String("\"") ? Literal : Quoted; // no piece has one
    if (!delimiters.isEmpty() && std::all_of(delimiters.begin(), delimiters.end(), isLiteral))
        return Literal;
    return delimiters == QStringList(QStringLiteral("\\s+")) ? Blanks : Pattern;
}

LineSplitter::LineSplitter(const QStringList &delimiters, bool quoted)
    : m_delimiters(quoted ? QStringList(delimiters.mid(0, 1)) : delimiters),
      m_way(wayOf(delimiters, quoted)),
      m_pattern(m_way == Pattern ? delimiters.join(QLatin1Char('|')) : QString())
{}

/// The length of the longest delimiter at \p place, or 0.
int LineSplitter::delimiterAt(const QString &line, int place) const
{
    int longest = 0;
    for (const QString &delimiter : m_delimiters) {
        if (delimiter.size() > longest && line.at(place) == delimiter.at(0) &&
            line.midRef(place, delimiter.size()) == delimiter)
            longest = delimiter.size();
    }
    return longest;
}

QStringList LineSplitter::split(const QString &line) const
{
    QStringList fields;
    const QChar *const characters = line.constData();
    const auto append = [&](int begin, int end) {
        const QChar *first = characters + begin;
        const QChar *last = characters + end;
        trimBlanks(first, last);
        fields.append(QString(first, static_cast<int>(last - first)));
    };
    int begin = 0;
    int place = 0;
    switch (m_way) {
    case Literal:
        while (place < line.size()) {
            const int length = delimiterAt(line, place);
            if (length > 0) {
                append(begin, place);
                begin = place + length;
            }
            place += std::max(length, 1);
        }
        append(begin, line.size());
        break;
    case Blanks:
        for (; place < line.size(); ++place) {
            if (!characters[place].isSpace())
                continue;
            append(begin, place);
            while (place + 1 < line.size() && characters[place + 1].isSpace())
                ++place;
            begin = place + 1;
        }
        append(begin, line.size());
        break;
    default:
        fields = m_way == Quoted
                     ? List::safeSplit(line, m_delimiters.value(0), /*backslashQuotes=*/false)
                     : line.split(m_pattern);
        for (QString &field : fields)
            field = field.trimmed();
        break;
    }
    return fields;
}

} // namespace Utils
