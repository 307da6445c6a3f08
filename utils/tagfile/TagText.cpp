#include "utils/tagfile/TagText_p.h"

#include "utils/tagfile/TagFile.h"

namespace Utils {

bool isCommentKey(const QString &key) { return key == QLatin1String("$"); }

Data::String commentLines(const QString &text)
{
    QString lines = text;
    lines.replace(QLatin1Char('\n'), QLatin1String("\n$ "));
    return QLatin1String("$ ") + lines;
}

Data::String oneLineValue(const QString &value, int options)
{
    if (options & TagFile::WriteYesNo) {
        if (value == QLatin1String("true"))
            return QStringLiteral(": yes");
        if (value == QLatin1String("false"))
            return QStringLiteral(": no");
    }
    if (value.isEmpty()) {
        if (options & TagFile::WriteNone)
            return QStringLiteral(": NONE");
        if (options & TagFile::LeaveOutEmpty)
            return {};
    }
    return QLatin1String(": ") + value;
}

Data::String blockStart(const QString &value)
{
    const qint64 lines = qint64(value.count(QLatin1Char('\n'))) + 1;
    return QLatin1Char(':') + QString::number(lines);
}

} // namespace Utils
