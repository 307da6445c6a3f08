#pragma once

#include <QRegExp>
#include <QStringList>

namespace Utils {

/// How the delimiters of a table split a line. Made once for as many lines as it is used on.
///
/// Delimiters are fragments of a QRegExp, which of several that match at one place takes the
/// longest, where a QRegularExpression takes the first. One that is no valid pattern matches
/// nowhere. What needs no QRegExp to find the same is done without, several times as fast.
class LineSplitter
{
public:
    LineSplitter(const QStringList &delimiters, bool quoted);

    /// The fields of the line from \p begin to \p end, trimmed. They may be about \p expected.
    QStringList split(const QChar *begin, const QChar *end, int expected = 0) const;
    QStringList split(const QString &line) const
    {
        return split(line.constData(), line.constData() + line.size());
    }

    /// Whether there is nothing but one delimiter, of one character, that stands for itself.
    bool isSingle() const { return m_way == Literal && isCharacter(); }

    /// The same with quotes.
    bool isSingleQuoted() const { return m_way == Quoted && isCharacter(); }

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
