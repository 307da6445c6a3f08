#include "utils/text/StringUtil.h"

#include "utils/base/ReplaceAll_p.h"
#include "utils/catalogue/Catalogue_p.h"

#include <algorithm>

namespace Utils {

int StringUtil::findInList(const Data::String &text, const QStringList &list,
                           const Data::String &stop, int first)
{
    qint64 start = first;
    if (start < 0)
        start = std::max<qint64>(start + list.size() - 1, 0);
    for (qint64 index = start; index < list.size(); ++index) {
        const QString &item = list[static_cast<int>(index)];
        if (item.contains(text))
            return static_cast<int>(index);
        if (!stop.isEmpty() && item.contains(stop))
            return -1;
    }
    return -1;
}

QStringList StringUtil::replaceInList(const QStringList &list, const Data::String &from,
                                      const Data::String &to)
{
    QStringList replaced = list;
    std::replace(replaced.begin(), replaced.end(), QString(from), QString(to));
    return replaced;
}

/// Returns \p text; if it starts with "*", without it and in bold.
static QString tableText(const QString &text)
{
    if (!text.startsWith(QLatin1Char('*')))
        return text;
    return QLatin1String("<b>") + text.mid(1) + QLatin1String("</b>");
}

static QString tableRow(const QString &line, const QString &separator)
{
    const int end = line.indexOf(separator);
    if (end < 0)
        return QLatin1String("<tr><td colspan='2'>") + tableText(line) +
               QLatin1String("</td></tr>");

    const QString value =
        replaceAll(line.mid(end + separator.size()), separator, QStringLiteral("</td><td>"));
    return QLatin1String("<tr><td><nobr>") + tableText(line.left(end)) +
           QLatin1String("</nobr></td><td>") + value + QLatin1String("</td></tr>");
}

Data::String StringUtil::formatTable(const Data::String &text, const Data::String &separator,
                                     int spacing)
{
    return text.isEmpty() ? text : formatTable(text.split(QLatin1Char('\n')), separator, spacing);
}

Data::String StringUtil::formatTable(const QStringList &lines, const Data::String &separator,
                                     int spacing)
{
    QString table =
        QLatin1String("<table cellspacing='") + QString::number(spacing) + QLatin1String("'>");
    for (const QString &line : lines)
        table += tableRow(line, separator);
    return table + QLatin1String("</table>");
}

Data::String StringUtil::joinLimit(const QStringList &list, int limit,
                                   const Data::String &separator, bool exact)
{
    const qint64 threshold = exact ? limit : qint64(limit) + 5;
    if (list.size() < threshold)
        return list.join(separator);

    QStringList shown = list.mid(0, std::max(limit, 0));
    const QString hidden = QString::number(list.size() - qint64(limit));
    shown += message(".Kelm.Framework", ".msg.plusmore", {hidden});
    return shown.join(separator);
}

Data::String StringUtil::makeLabel(Data::String name, bool keepCase)
{
    if (name.isEmpty())
        return name;

    QString label = name.front().toUpper();
    bool previous = !name.front().isDigit(); // whether a capital belongs to the previous word
    for (int at = 1; at < name.size(); ++at) {
        const QChar character = name.at(at);
        const bool startsWord = character.isUpper() && !previous &&
                                !(at + 1 < name.size() && name.at(at + 1).isUpper());
        if (startsWord) {
            label += QLatin1Char(' ');
            label += keepCase ? character : character.toLower();
        } else {
            label += character;
            previous = character.isUpper();
        }
    }
    return label;
}

/// Whether \p line, which follows \p lineBefore, starts a new paragraph or item.
static bool startsAnew(const QStringRef &line, const QStringRef &lineBefore)
{
    const QStringRef trimmed = line.trimmed();
    const QStringRef word = trimmed.left(trimmed.indexOf(QLatin1Char(' '))); // all, for -1
    if (lineBefore.endsWith(QLatin1Char(':')) || word.startsWith(QLatin1Char('-')))
        return true;
    if (!word.isEmpty() && word.front().isUpper())
        return true;
    bool isNumber = false;
    word.toDouble(&isNumber);
    return isNumber;
}

Data::String StringUtil::combineLines(const Data::String &text, const Data::String &separator,
                                      const Data::String &lineBreak)
{
    // The lines are split as by QString::split(): an empty separator matches before each character
    // and at the end.
    const int step = separator.isEmpty() ? 1 : 0;
    int end = text.indexOf(separator);
    QStringRef line = text.leftRef(end); // all, for -1
    QString combined;
    combined.reserve(text.size());
    combined += line;
    while (end >= 0) {
        const QStringRef lineBefore = line;
        const int start = end + separator.size();
        end = text.indexOf(separator, start + step);
        line = text.midRef(start, end < 0 ? -1 : end - start);
        if (line.isEmpty() || startsAnew(line, lineBefore))
            combined += lineBreak;
        else
            combined += QLatin1Char(' ');
        combined += line;
    }
    return combined;
}

Data::String StringUtil::removeTags(const Data::String &text)
{
    QString plain;
    plain.reserve(text.size());
    int copied = 0;
    for (;;) {
        const int open = text.indexOf(QLatin1Char('<'), copied);
        const int close = open < 0 ? -1 : text.indexOf(QLatin1Char('>'), open);
        if (close < 0)
            break;
        plain.append(text.constData() + copied, open - copied);
        copied = close + 1;
    }
    return plain.append(text.constData() + copied, text.size() - copied);
}

QStringList StringUtil::splitLink(const Data::String &link)
{
    const QLatin1Char slash('/');
    QString rest = link;
    QString scheme;
    QString host;
    QStringList parameters;

    const int schemeEnd = rest.indexOf(QLatin1String(":/"));
    if (schemeEnd >= 0) {
        scheme = rest.left(schemeEnd);
        rest = rest.mid(schemeEnd + 1); // the "/" stays
    }
    if (rest.startsWith(slash)) {
        const int end = rest.indexOf(slash, 1);
        host = rest.mid(1, end < 0 ? -1 : end - 1);
        rest = end < 0 ? QString() : rest.mid(end + 1);
    }
    const int question = rest.indexOf(QLatin1Char('?'));
    if (question >= 0) {
        parameters = rest.mid(question + 1).split(QLatin1Char('&'));
        rest = rest.left(question);
    }
    return QStringList{scheme, host, rest} + parameters;
}

} // namespace Utils
