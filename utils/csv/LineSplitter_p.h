#pragma once

#include <QRegExp>
#include <QStringList>

namespace Utils {

/// Splits lines at the delimiters of a table. Constructed once and used for many lines.
///
/// Delimiters are fragments of a QRegExp. When several match at one position, QRegExp finds the
/// longest match, whereas QRegularExpression finds the first. An invalid pattern matches nowhere.
/// Simple patterns are matched without QRegExp, with the same result, several times as fast.
class LineSplitter
{
public:
    LineSplitter(const QStringList &delimiters, bool quoted);

    /// The fields of the line from \p begin to \p end, trimmed. \p expected is a hint of their
    /// number.
    QStringList split(const QChar *begin, const QChar *end, int expected = 0) const;
    QStringList split(const QString &line) const
    {
        return split(line.constData(), line.constData() + line.size());
    }

    /// Whether lines are split at exactly one delimiter, a single literal character, without regard
    /// to quotes.
    bool isSingle() const { return m_way == Literal && isCharacter(); }

    /// The same with quotes.
    bool isSingleQuoted() const { return m_way == Quoted && isCharacter(); }

    /// Whether lines are split at runs of white space.
    bool isBlanks() const { return m_way == Blanks; }

    QChar character() const { return m_delimiters.first().at(0); }

private:
    enum Way
    {
        Literal,
        Blanks,
        Quoted,
        Pattern
    };
    static Way wayOf(const QStringList &delimiters, bool quoted);

    bool isCharacter() const
    {
        return m_delimiters.size() == 1 && m_delimiters.first().size() == 1;
    }

    void splitLiterally(const QChar *begin, const QChar *end, QStringList &fields) const;
    static void splitAtBlanks(const QChar *begin, const QChar *end, QStringList &fields);
    int delimiterAt(const QChar *begin, const QChar *end) const;

    QStringList m_delimiters;
    Way m_way;
    QRegExp m_pattern;
};

} // namespace Utils
