#include "examples/console/commands/Table.h"

#include "utils/files/File.h"

#include <QRegExp>

#include <algorithm>
#include <limits>

namespace Kelm {

using Utils::File;

/// The delimiter that occurs most often, and equally often in all \p lines.
static QString guessDelimiter(const QStringList &lines)
{
    QString guess;
    int fields = 0;
    for (const char *const delimiter : {",", ";", "\t", "|"}) {
        int fewest = lines.isEmpty() ? 0 : std::numeric_limits<int>::max();
        int most = 0;
        for (QString line : lines) {
            const int count = line.remove(QRegExp("\"[^\"]*\"")).count(delimiter);
            fewest = std::min(fewest, count);
            most = std::max(most, count);
        }
        if (fewest == most && fewest > fields) {
            fields = fewest;
            guess = delimiter;
        }
    }
    if (guess.isEmpty())
        guess = lines.indexOf(QRegExp(".*\\S\\s+\\S.*")) < 0 ? QString(",") : blanks;
    return guess;
}

TableLayout guessLayout(const QString &path, const QString &comment, const QString &delimiter)
{
    const int numLines = 20;
    const QString head = File::read(path, numLines);
    const bool hasComments = !comment.isEmpty();
    QStringList lines;
    for (const QString &line : head.split('\n', Qt::SkipEmptyParts)) {
        if (!hasComments || !line.startsWith(comment))
            lines.append(line);
    }

    TableLayout layout;
    layout.delimiter = delimiter.isEmpty() ? guessDelimiter(lines) : delimiter;
    const QRegExp openingQuote("(^|" + QRegExp::escape(layout.delimiter) + ")\"");
    layout.isQuoted = !layout.isAligned() &&
                      std::any_of(lines.cbegin(), lines.cend(),
                                  [&](const QString &line) { return line.contains(openingQuote); });
    return layout;
}

} // namespace Kelm
