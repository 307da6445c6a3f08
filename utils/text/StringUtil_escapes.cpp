#include "utils/text/StringUtil.h"

#include "utils/text/ReplaceAll_p.h"

#include <QHash>

#include <algorithm>
#include <bitset>

namespace Utils {

static const QLatin1Char backslash('\\');

// A text of that many characters is given up: each backslash in the characters to escape doubles
// the backslashes that are there.
static const qint64 mostCharacters = 1 << 29;

/// What stands behind the backslash in the escape sequence of \p character.
static QChar escapeLetter(QChar character)
{
    switch (character.unicode()) {
    case ' ':
        return QLatin1Char('s');
    case '\t':
        return QLatin1Char('t');
    case '\n':
        return QLatin1Char('n');
    default:
        return character;
    }
}

/// Something by character. Asking for what is not there is cheap.
template <typename Value>
class CharacterMap
{
public:
    Value *find(QChar character)
    {
        if (!m_lowBytes[character.unicode() & 0xff])
            return nullptr;
        const auto found = m_values.find(character.unicode());
        return found == m_values.end() ? nullptr : &*found;
    }

    Value &operator[](QChar character)
    {
        m_lowBytes.set(character.unicode() & 0xff);
        return m_values[character.unicode()];
    }

private:
    std::bitset<256> m_lowBytes;
    QHash<ushort, Value> m_values;
};

/// What becomes of each character when backslashes are doubled and then one character after the
/// other is replaced by its escape sequence in the whole text.
///
/// It is always some backslashes and a last character: an escape sequence puts one more in front of
/// each, and that of the backslash doubles them. So they are counted, rather than put into a text
/// that is gone through for every character.
class Escapes
{
public:
    explicit Escapes(const QString &characters)
    {
        for (const QChar character : characters) {
            if (character == backslash) {
                ++m_doublings;
                continue;
            }
            const QChar letter = escapeLetter(character);
            if (letter == character) {
                addBackslash(m_escapes[character], character);
                addBackslashBehindLetter(character);
            } else if (!m_escapes.find(character)) {
                addBackslash(m_escapes[character], letter);
            } // else it does not stand in the text any more
        }
    }

    /// "" when that is too long.
    QString apply(const QString &text)
    {
        qint64 size = 0;
        for (const QChar character : text) {
            size += backslashesOf(character) + 1;
            if (size >= mostCharacters)
                return {};
        }

        QString escaped;
        escaped.reserve(static_cast<int>(size));
        for (const QChar character : text) {
            for (qint64 count = backslashesOf(character); count > 0; --count)
                escaped += backslash;
            const Escape *const escape = m_escapes.find(character);
            escaped += escape ? escape->letter : character;
        }
        return escaped;
    }

private:
    struct Escape
    {
        QChar letter;
        qint64 backslashes = 0; // at the moment of the last change
        int doublings = 0;      // in front of it
    };

    static qint64 doubled(qint64 count, int times)
    {
        return std::min(count << std::min(times, 30), mostCharacters);
    }

    qint64 backslashesOf(QChar character)
    {
        if (character == backslash)
            return doubled(2, m_doublings) - 1; // it is itself the last of them
        const Escape *const escape = m_escapes.find(character);
        return escape ? doubled(escape->backslashes, m_doublings - escape->doublings) : 0;
    }

    void addBackslash(Escape &escape, QChar letter)
    {
        escape.backslashes = doubled(escape.backslashes, m_doublings - escape.doublings) + 1;
        escape.doublings = m_doublings;
        escape.letter = letter;
    }

    // The letter in the escape sequence of a blank is like any other one.
    void addBackslashBehindLetter(QChar letter)
    {
        for (const char blank : {' ', '\t', '\n'}) {
            const QChar character = QLatin1Char(blank);
            if (escapeLetter(character) != letter)
                continue;
            if (Escape *const escape = m_escapes.find(character))
                addBackslash(*escape, letter);
        }
    }

    CharacterMap<Escape> m_escapes;
    int m_doublings = 0; // backslashes met so far
};

/// The ends of \p text replaced by their escape sequences, for one character after the other.
static QString escapeEnds(const QString &text, const QString &characters)
{
    if (text.isEmpty() || characters.isEmpty())
        return text;

    // Only backslashes come in: in front of the text and in front of its last character. The two
    // ends of a single character are the same.
    const bool isSingle = text.size() == 1;
    QChar first = text.front();
    QChar last = text.back();
    int inFront = 0;
    int beforeLast = 0;
    for (const QChar character : characters) {
        if (character == (inFront > 0 ? QChar(backslash) : first)) {
            if (inFront++ == 0)
                first = escapeLetter(first);
            if (isSingle)
                last = first;
        }
        if (character == last) {
            ++beforeLast;
            last = escapeLetter(last);
        }
    }

    QString escaped(inFront, backslash);
    if (!isSingle)
        escaped += first + text.mid(1, text.size() - 2);
    return escaped + QString(beforeLast, backslash) + last;
}

Data::String StringUtil::escape(Data::String text, const Data::String &chars,
                                const Data::String &edgeChars)
{
    return escapeEnds(Escapes(chars).apply(text), edgeChars);
}

Data::String StringUtil::unescape(Data::String text, const Data::String &chars)
{
    const QString placeholder = QStringLiteral("*SLASH*");
    const QString held = replaceAll(text, QStringLiteral("\\\\"), placeholder);

    // No sequence holds another one now, nor comes to do so, so all are replaced at once. The first
    // character of those with the same letter gets it.
    CharacterMap<QChar> characters;
    for (const QChar character : chars) {
        if (!characters.find(escapeLetter(character)))
            characters[escapeLetter(character)] = character;
    }
    QString unescaped;
    unescaped.reserve(held.size());
    for (int at = 0; at < held.size(); ++at) {
        const bool isSequence = held[at] == backslash && at + 1 < held.size();
        const QChar *const character = isSequence ? characters.find(held[at + 1]) : nullptr;
        unescaped += character ? *character : held[at];
        if (character)
            ++at;
    }
    return replaceAll(unescaped, placeholder, QString(backslash));
}

static QChar closingOf(QChar opening)
{
    switch (opening.unicode()) {
    case '(':
        return QLatin1Char(')');
    case '<':
        return QLatin1Char('>');
    case '[':
        return QLatin1Char(']');
    case '{':
        return QLatin1Char('}');
    default:
        return opening;
    }
}

int StringUtil::findMatch(const Data::String &text, int pos)
{
    if (pos < 0 || pos >= text.size())
        return -1;

    const QChar opening = text[pos];
    const QChar closing = closingOf(opening);
    int depth = 0;
    for (int at = pos + 1; at < text.size(); ++at) {
        const bool isEscaped = text[at - 1] == backslash && (at < 2 || text[at - 2] != backslash);
        if (isEscaped)
            continue;
        if (text[at] == closing) {
            if (depth == 0)
                return at;
            --depth;
        } else if (text[at] == opening) {
            ++depth;
        }
    }
    return -1;
}

Data::String StringUtil::extractMatch(const Data::String &text, int pos)
{
    if (pos < 0 || pos >= text.size())
        return {};
    const int match = findMatch(text, pos);
    return text.mid(pos + 1, match < 0 ? -1 : match - pos - 1);
}

} // namespace Utils
