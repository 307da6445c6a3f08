#include "utils/text/StringUtil.h"

#include "utils/base/ReplaceAll_p.h"

#include <QHash>

#include <algorithm>
#include <vector>

namespace Utils {

static const QLatin1Char backslash('\\');

// A text of this length or more yields "": each backslash in the characters to escape doubles the
// existing backslashes.
static const qint64 mostCharacters = 1 << 29;

/// The letter after the backslash in the escape sequence of \p character.
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

/// A map from character to value. Lookup is fast for ASCII, and as long as the map contains nothing
/// else.
template <typename Value>
class CharacterMap
{
public:
    Value *find(QChar character)
    {
        const int index = indexOf(character.unicode());
        return index < 0 ? nullptr : &m_values[static_cast<std::size_t>(index)];
    }

    /// All values, in no particular order.
    std::vector<Value> &values() { return m_values; }

    Value &operator[](QChar character)
    {
        const ushort code = character.unicode();
        int index = indexOf(code);
        if (index < 0) {
            index = static_cast<int>(m_values.size());
            m_values.push_back(Value());
            if (code < asciiSize)
                m_ascii[code] = index + 1;
            else
                m_others.insert(code, index);
        }
        return m_values[static_cast<std::size_t>(index)];
    }

private:
    static const int asciiSize = 128;

    int indexOf(ushort code) const
    {
        if (code < asciiSize)
            return m_ascii[code] - 1;
        return m_others.isEmpty() ? -1 : m_others.value(code, -1);
    }

    int m_ascii[asciiSize] = {}; // positions, counted from 1
    QHash<ushort, int> m_others;
    std::vector<Value> m_values;
};

/// The result for each character when the backslashes are doubled and then one character after the
/// other is replaced by its escape sequence in the whole text.
///
/// The result is always some backslashes and a last character: an escape sequence inserts one more
/// backslash before a character, and that of the backslash doubles them. So backslashes are
/// counted, instead of rewriting the text for every character.
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
            } // else the text does not contain it any more
        }
        for (Escape &escape : m_escapes.values())
            escape.backslashes = doubled(escape.backslashes, m_doublings - escape.doublings);
        m_escapes[backslash] = {backslash, doubled(2, m_doublings) - 1, m_doublings};
    }

    /// Returns "" when the result is too long.
    QString apply(const QString &text)
    {
        qint64 size = text.size();
        for (const QChar character : text) {
            if (const Escape *const escape = m_escapes.find(character))
                size += escape->backslashes;
            if (size >= mostCharacters)
                return {};
        }

        QString escaped(static_cast<int>(size), Qt::Uninitialized);
        QChar *out = escaped.data();
        for (const QChar character : text) {
            if (const Escape *const escape = m_escapes.find(character)) {
                out = std::fill_n(out, escape->backslashes, QChar(backslash));
                *out++ = escape->letter;
            } else {
                *out++ = character;
            }
        }
        return escaped;
    }

private:
    struct Escape
    {
        QChar letter;
        qint64 backslashes = 0; // at the time of the last change
        int doublings = 0;      // before the last change
    };

    static qint64 doubled(qint64 count, int times)
    {
        return std::min(count << std::min(times, 30), mostCharacters);
    }

    void addBackslash(Escape &escape, QChar letter)
    {
        escape.backslashes = doubled(escape.backslashes, m_doublings - escape.doublings) + 1;
        escape.doublings = m_doublings;
        escape.letter = letter;
    }

    // The letter in the escape sequence of a blank is escaped like any other letter.
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
    int m_doublings = 0; // backslashes found so far
};

/// Replaces the ends of \p text by their escape sequences, for one character after the other.
static QString escapeEnds(const QString &text, const QString &characters)
{
    if (text.isEmpty() || characters.isEmpty())
        return text;

    // Only backslashes are inserted: before the text and before its last character. For a single
    // character, both ends are the same.
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
    if (inFront == 0 && beforeLast == 0)
        return text;

    QString escaped;
    escaped.reserve(inFront + text.size() + beforeLast);
    escaped.fill(backslash, inFront);
    if (!isSingle) {
        escaped.append(first);
        escaped.append(text.constData() + 1, text.size() - 2);
    }
    escaped.append(QString(beforeLast, backslash));
    return escaped.append(last);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts are built against this signature
Data::String StringUtil::escape(Data::String text, const Data::String &chars,
                                const Data::String &edgeChars)
{
    return escapeEnds(Escapes(chars).apply(text), edgeChars);
}

/// Replaces each backslash followed by a letter in \p characters by the character that is stored
/// there for this letter.
static QString replaceSequences(const QString &text, CharacterMap<QChar> &characters)
{
    QString replaced(text.size(), Qt::Uninitialized);
    QChar *out = replaced.data();
    for (int at = 0; at < text.size(); ++at) {
        const bool isSequence = text[at] == backslash && at + 1 < text.size();
        const QChar *const character = isSequence ? characters.find(text[at + 1]) : nullptr;
        *out++ = character ? *character : text[at];
        if (character)
            ++at;
    }
    replaced.truncate(static_cast<int>(out - replaced.constData()));
    return replaced;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts are built against this signature
Data::String StringUtil::unescape(Data::String text, const Data::String &chars)
{
    // No sequence contains another one, or forms one after a replacement, so all are replaced at
    // once. Of several characters with the same letter, the first one is used.
    CharacterMap<QChar> characters;
    for (const QChar character : chars) {
        if (!characters.find(escapeLetter(character)))
            characters[escapeLetter(character)] = character;
    }

    // The placeholder matters only if the text contains a part of it.
    if (!text.contains(QLatin1Char('*'))) {
        characters[backslash] = backslash;
        return replaceSequences(text, characters);
    }
    const QString placeholder = QStringLiteral("*SLASH*");
    const QString held = replaceAll(text, QStringLiteral("\\\\"), placeholder);
    return replaceAll(replaceSequences(held, characters), placeholder, QString(backslash));
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
