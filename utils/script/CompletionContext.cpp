#include "utils/script/CompletionContext_p.h"

#include <QRegularExpression>

namespace Utils {

/// Longer statements are not searched from their start.
static const int longestStatement = 2000;

namespace {

/// Reads a text of Python up to its end, to find the last statement.
class Reader
{
public:
    explicit Reader(const QString &text) : m_text(text)
    {
        while (m_position < m_text.size())
            read();
    }

    bool isInCode = true; ///< and not in a text or a comment
    int statement = 0;    ///< the start of the last statement

private:
    void read()
    {
        const QChar character = m_text.at(m_position);
        if (character == QLatin1Char('"') || character == QLatin1Char('\'')) {
            skipText(character);
        } else if (character == QLatin1Char('#')) {
            const int end = m_text.indexOf(QLatin1Char('\n'), m_position);
            isInCode = end >= 0;
            m_position = end < 0 ? m_text.size() : end;
        } else {
            readCode(character);
            ++m_position;
        }
    }

    void readCode(QChar character)
    {
        if (QStringLiteral("([{").contains(character))
            ++m_depth;
        else if (QStringLiteral(")]}").contains(character) && m_depth > 0)
            --m_depth;
        const bool isContinued = m_position > 0 && m_text.at(m_position - 1) == QLatin1Char('\\');
        if (m_depth == 0 && (character == QLatin1Char(';') || character == QLatin1Char(':') ||
                             (character == QLatin1Char('\n') && !isContinued)))
            statement = m_position + 1;
    }

    void skipText(QChar quote)
    {
        const QString triple(3, quote);
        const bool isLong = m_text.midRef(m_position, 3) == triple;
        const QString end = isLong ? triple : QString(quote);
        m_position += end.size();
        while (m_position < m_text.size() && m_text.midRef(m_position, end.size()) != end) {
            if (!isLong && m_text.at(m_position) == QLatin1Char('\n'))
                return; // an error; the next line is code again
            m_position += m_text.at(m_position) == QLatin1Char('\\') ? 2 : 1;
        }
        isInCode = m_position < m_text.size();
        m_position += end.size();
    }

    const QString &m_text;
    int m_position = 0;
    int m_depth = 0; // of brackets
};

} // namespace

CompletionContext::CompletionContext(const QString &text)
{
    const Reader reader(text);
    if (!reader.isInCode)
        return;
    const QString statement = text.mid(reader.statement).right(longestStatement);

    static const QRegularExpression words(QStringLiteral(
        R"(^\s*(?:import\s+(?:[\w.]+(?:\s+as\s+\w+)?\s*,\s*)*|from\s+)((?:\w+\.)*)(\w*)$)"));
    static const QRegularExpression importWord(QStringLiteral(R"(^\s*from\s+([\w.]+)\s+(\w*)$)"));
    static const QRegularExpression importedName(QStringLiteral(
        R"(^\s*from\s+([\w.]+)\s+import\s*(?:\s|\()\s*(?:\w+(?:\s+as\s+\w+)?\s*,\s*)*(\w*)$)"));
    static const QRegularExpression name(
        QStringLiteral(R"((?:^|[^\w.)\]}'"])\s*((?:[A-Za-z_]\w*\.)*)([A-Za-z_]\w*)?$)"));

    QRegularExpressionMatch found = words.match(statement);
    if (found.hasMatch()) {
        kind = Module;
    } else if ((found = importedName.match(statement)).hasMatch()) {
        kind = NameOfModule;
    } else if ((found = importWord.match(statement)).hasMatch()) {
        kind = Import;
    } else if ((found = name.match(statement)).hasMatch()) {
        kind = found.captured(1).isEmpty() ? Name : Attribute;
    } else {
        return;
    }
    path = found.captured(1);
    if (path.endsWith(QLatin1Char('.')))
        path.chop(1);
    prefix = found.captured(2);
}

} // namespace Utils
