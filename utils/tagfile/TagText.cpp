#include "utils/tagfile/TagText_p.h"

#include "utils/base/ReplaceAll_p.h"

namespace Utils {

static const QLatin1Char lineFeed('\n');
static const QLatin1Char colon(':');

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

namespace {

/// Appends the lines of a property to a text.
class TextLines
{
public:
    explicit TextLines(QString &out) : m_out(out) {}

    void comment(const QString &lines)
    {
        m_out += lines;
        m_out += lineFeed;
    }
    void block(const QString &key, const QString &numLines, const QString &value)
    {
        appendKey(key);
        m_out += colon;
        m_out += numLines;
        m_out += lineFeed;
        m_out += value;
        m_out += lineFeed;
    }
    void line(const QString &key, const QString &value)
    {
        appendKey(key);
        m_out += QLatin1String(": ");
        m_out += value;
        m_out += lineFeed;
    }

private:
    void appendKey(const QString &key)
    {
        if (key.contains(colon))
            m_out += replaceAll(key, QStringLiteral(":"), QStringLiteral("\\:"));
        else
            m_out += key;
    }

    QString &m_out;
};

} // namespace

void appendProperty(QString &out, const QString &key, const QString &value, int options)
{
    writePropertyTo(TextLines(out), key, value, options);
}

} // namespace Utils
