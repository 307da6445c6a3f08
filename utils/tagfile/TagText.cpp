#include "utils/tagfile/TagText_p.h"

#include "utils/base/ReplaceAll_p.h"
#include "utils/tagfile/TagFile.h"

namespace Utils {

static const QLatin1Char lineFeed('\n');
static const QLatin1Char colon(':');

bool isComment(const QString &name) { return name == QLatin1String("$"); }

QString commentLines(const QString &text)
{
    return QLatin1String("$ ") + replaceAll(text, QStringLiteral("\n"), QStringLiteral("\n$ "));
}

bool isLeftOut(const QString &value, int options)
{
    return value.isEmpty() && options & TagFile::LeaveOutEmpty && !(options & TagFile::WriteNone);
}

QString oneLineValue(const QString &value, int options)
{
    if (options & TagFile::WriteYesNo) {
        if (value == QLatin1String("true"))
            return QStringLiteral("yes");
        if (value == QLatin1String("false"))
            return QStringLiteral("no");
    }
    if (value.isEmpty() && options & TagFile::WriteNone)
        return QStringLiteral("NONE");
    return value;
}

qint64 numberOfLines(const QString &value) { return qint64(value.count(lineFeed)) + 1; }

void appendTag(QString &out, const QString &name, const QString &comment, bool blankLine,
               int options)
{
    if (blankLine)
        out += lineFeed;
    if (!comment.isEmpty() && options & TagFile::WriteComments)
        out += commentLines(comment) + lineFeed;
    if (!isComment(name))
        out += QLatin1Char('*') + name + lineFeed;
}

static void appendKey(QString &out, const QString &key)
{
    if (key.contains(colon))
        out += replaceAll(key, QStringLiteral(":"), QStringLiteral("\\:"));
    else
        out += key;
}

void appendProperty(QString &out, const QString &key, const QString &value, int options)
{
    if (isComment(key)) {
        if (options & TagFile::WriteComments)
            out += commentLines(value) + lineFeed;
        return;
    }
    if (value.contains(lineFeed)) {
        appendKey(out, key);
        out += colon + QString::number(numberOfLines(value)) + lineFeed;
        out += value;
        out += lineFeed;
        return;
    }
    if (isLeftOut(value, options))
        return;
    appendKey(out, key);
    out += QLatin1String(": ");
    out += oneLineValue(value, options);
    out += lineFeed;
}

} // namespace Utils
