#include "utils/csv/CSVStringData_p.h"

#include "utils/feedback/Progress.h"
#include "utils/text/List.h"

#include <QRegExp>

namespace Utils {

static const QLatin1Char lineFeed('\n');

/// How the delimiters of a table split a line. Compiled once for as many lines as it is used on.
///
/// QRegExp is what the delimiters are written for: of several that match at one place it takes the
/// longest, where a QRegularExpression takes the first. One that is no valid pattern matches
/// nowhere.
class LineSplitter
{
public:
    explicit LineSplitter(const CSVStringData &data)
        : m_quoted(data.quoted), m_delimiter(data.delimiters.value(0)),
          m_pattern(data.delimiters.join(QLatin1Char('|')))
    {}

    QStringList split(const QString &line) const
    {
        QStringList fields = m_quoted
                                 ? List::safeSplit(line, m_delimiter, /*backslashQuotes=*/false)
                                 : line.split(m_pattern);
        for (QString &field : fields)
            field = field.trimmed();
        return fields;
    }

private:
    bool m_quoted;
    QString m_delimiter;
    QRegExp m_pattern;
};

Data::String CSVStringData::data(int row, int col)
{
    return col < 0 ? Data::String() : Data::String(splitRow(row).value(col));
}

double CSVStringData::dataValue(int row, int col, bool *ok)
{
    return csvNumber(data(row, col), ok);
}

void CSVStringData::setData(const Data::String &text, bool parseNow, Progress *progress,
                            const Data::String &label)
{
    const QStringList lines = text.split(lineFeed);
    if (!alternateDelimiters.isEmpty() &&
        (delimiters.isEmpty() || !lines.first().contains(delimiters.first())))
        delimiters = alternateDelimiters;

    if (!parseNow) {
        for (const QString &line : lines) {
            if (!isComment(line))
                m_rows.append({line});
        }
        return;
    }

    if (progress) {
        progress->setMaxSteps(lines.size());
        progress->setLabel(label);
    }
    const LineSplitter splitter(*this);
    for (const QString &line : lines) {
        if (!isComment(line))
            appendParsed(splitter.split(line));
        if (progress)
            progress->tick(1);
    }
}

QStringList CSVStringData::split(const QString &line) const
{
    return LineSplitter(*this).split(line);
}

void CSVStringData::reorder(int firstRow, const QList<int> &order)
{
    for (int row = firstRow; row < m_rows.size(); ++row)
        parseRow(row);
    QList<QStringList> rows = m_rows.mid(0, firstRow);
    for (const int index : order)
        rows.append(m_rows.value(firstRow + index));
    m_rows = rows;
}

void CSVStringData::clear()
{
    m_rows.clear();
    m_parsedRows.clear();
}

bool CSVStringData::isComment(const QString &line) const
{
    return !comment.isEmpty() && line.startsWith(comment) &&
           (commentException.isEmpty() || !line.startsWith(commentException));
}

} // namespace Utils
