#include "utils/text/StringUtil.h"

#include "utils/base/ReplaceAll_p.h"

#include <QHash>

#include <algorithm>
#include <vector>

namespace Utils {

static const char *const greekLetters[] = {
    "Alpha", "Beta", "Gamma", "Delta", "Epsilon", "Zeta", "Eta", "Theta", "Iota", "Kappa", "Lambda",
    "Mu", "Nu", "Xi", "Omicron", "Pi", "Rho", nullptr, // the final sigma and the capital that
                                                       // would go with it have no entity
    "Sigma", "Tau", "Upsilon", "Phi", "Chi", "Psi", "Omega"};

// Looked for one by one: a table that is looked up faster would be gone when static objects of a
// host still show texts at the end of the process, and it is seldom that a name is looked for.

/// The code point of the Greek letter \p name, a capital when that begins with one. 0 for none.
static uint greekLetter(const QStringRef &name)
{
    if (name.isEmpty())
        return 0;
    uint offset = 0;
    for (const char *const letter : greekLetters) {
        if (letter && name.mid(1) == QLatin1String(letter + 1)) {
            const QLatin1Char capital(*letter);
            if (name.front() == capital)
                return 913 + offset;
            if (name.front() == QChar(capital).toLower())
                return 945 + offset;
        }
        ++offset;
    }
    return 0;
}

/// The code point that \p entity stands for, from its "&" to its ";". 0 when it is none.
static uint codePointOf(const QString &entity)
{
    if (!entity.startsWith(QLatin1String("&#")))
        return greekLetter(entity.midRef(1, entity.size() - 2));
    QString digits = entity.mid(2, entity.size() - 3);
    int base = 10;
    if (digits.startsWith(QLatin1Char('x'), Qt::CaseInsensitive)) {
        digits.remove(0, 1);
        base = 16;
    }
    const int number = digits.toInt(nullptr, base);
    return number > 0 && number <= static_cast<int>(QChar::LastValidCodePoint)
               ? static_cast<uint>(number)
               : 0;
}

/// Replaces the entities of a text, in one pass over it.
///
/// What it stands for: again and again the first entity of the text is replaced, and with it all
/// that look like it in the whole text, until the first "&" begins none. Done like that, each
/// different entity costs a pass. What makes it more than a look at one entity after the other is
/// that a replacement may put in a "&", a ";" or a letter of a name, and so form a new entity
/// further on, which was not there yet when its like was replaced.
///
/// So the replacements are numbered, and each character knows the number of the one that put it in,
/// 0 when none did. An entity came to be with the last of its characters, and was replaced by the
/// first replacement of its like after that. Entities nest as brackets do, "&" opening and ";"
/// closing: a piece of text between them with neither inside is replaced or blocks what is around
/// it, since no entity holds another ";".
class SymbolReader
{
public:
    QString read(const QString &text)
    {
        m_replaced.reserve(text.size());
        m_open.reserve(16); // and stays, where an empty text would lose its memory
        for (const QChar character : text)
            add(character, 0);
        giveUpOpen();
        return m_replaced;
    }

private:
    struct Replacement
    {
        int number;
        uint codePoint;
    };

    /// A "&" whose ";" has not come yet.
    struct Open
    {
        int start;  // in m_open
        int number; // of the latest replacement that put a character in
    };

    void add(QChar character, int number)
    {
        // Each round closes an entity; the character that it stands for may close one more.
        for (;;) {
            if (character == QLatin1Char('&'))
                m_opens.push_back({m_open.size(), number});
            if (m_opens.empty()) {
                m_replaced += character;
                return;
            }
            m_open += character;
            Open &open = m_opens.back();
            open.number = std::max(open.number, number);
            if (character != QLatin1Char(';'))
                return;

            const Replacement replacement = replacementOf(m_open.mid(open.start), open.number);
            if (replacement.codePoint == 0) {
                giveUpOpen();
                return;
            }
            m_open.truncate(open.start);
            m_opens.pop_back();
            number = replacement.number;
            if (QChar::requiresSurrogates(replacement.codePoint)) {
                add(QChar(QChar::highSurrogate(replacement.codePoint)), number); // closes nothing
                character = QChar(QChar::lowSurrogate(replacement.codePoint));
            } else {
                character = QChar(replacement.codePoint);
            }
        }
    }

    /// What has replaced \p entity since the replacement \p number, or replaces it now.
    Replacement replacementOf(const QString &entity, int number)
    {
        const auto done = m_done.constFind(entity);
        if (done != m_done.constEnd()) {
            const auto isBefore = [](int left, const Replacement &right) {
                return left < right.number;
            };
            const auto next = std::upper_bound(done->begin(), done->end(), number, isBefore);
            if (next != done->end())
                return *next;
        }

        // Only the first entity of the text is replaced anew. Behind the first "&" that begins
        // none, nothing is.
        const bool isFirst = m_opens.size() == 1 && !m_isStopped;
        const uint codePoint = isFirst ? codePointOf(entity) : 0;
        if (codePoint == 0) {
            m_isStopped = true;
            return {0, 0};
        }
        m_done[entity].push_back({++m_count, codePoint});
        return {m_count, codePoint};
    }

    /// What is open begins no entity: it stays as it is.
    void giveUpOpen()
    {
        m_replaced += m_open;
        m_open.resize(0);
        m_opens.clear();
    }

    QString m_replaced;                              // what is done with
    QString m_open;                                  // the text from the first "&" that is open
    std::vector<Open> m_opens;                       // from the outer to the inner ones
    QHash<QString, std::vector<Replacement>> m_done; // in the order of their numbers
    int m_count = 0;
    bool m_isStopped = false;
};

Data::String StringUtil::replaceSymbol(const Data::String &text)
{
    if (!text.contains(QLatin1Char('&')) || !text.contains(QLatin1Char(';')))
        return text;

    QString plain = text;
    plain = replaceAll(plain, QStringLiteral("&amp;"), QStringLiteral("&"));
    plain = replaceAll(plain, QStringLiteral("&apos;"), QStringLiteral("'"));
    plain = replaceAll(plain, QStringLiteral("&quot;"), QStringLiteral("\""));
    plain = replaceAll(plain, QStringLiteral("&lt;"), QStringLiteral("<"));
    plain = replaceAll(plain, QStringLiteral("&gt;"), QStringLiteral(">"));
    return SymbolReader().read(plain);
}

} // namespace Utils
