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

// Searched linearly: a hash table would already be destroyed when static objects of a host show
// texts at the end of the process, and names are rarely searched.

/// The code point of the Greek letter \p name, a capital if the name begins with one. 0 if unknown.
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

/// The code point of \p entity, a text from its "&" to its ";". 0 when it is not an entity.
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
/// The result is defined as follows: again and again, the first entity of the text is replaced,
/// together with all equal ones in the whole text, until the first "&" does not begin an entity.
/// Implemented like that, each different entity would cost a pass. Replacing one entity after the
/// other does not suffice: a replacement may insert a "&", a ";" or a letter of a name, and so form
/// a new entity further on, which did not exist yet when the equal ones were replaced.
///
/// So replacements are numbered, and each character has the number of the replacement that inserted
/// it, 0 for none. An entity exists from the latest replacement that inserted one of its
/// characters, and is replaced by the first later replacement of an equal entity. Entities nest
/// like brackets, "&" opens and ";" closes: a piece between them without other brackets is either
/// replaced or blocks the text around it, because no entity contains another ";".
class SymbolReader
{
public:
    QString read(const QString &text)
    {
        m_replaced.reserve(text.size());
        m_open.reserve(16); // kept, whereas an empty text would release it
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

    /// A "&" whose ";" has not been found yet.
    struct Open
    {
        int start;  // in m_open
        int number; // of the latest replacement that inserted a character
    };

    void add(QChar character, int number)
    {
        // Each iteration closes an entity; the resulting character may close another one.
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

    /// The first replacement of \p entity after the replacement \p number; or a new one, which is
    /// added.
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

        // A new replacement is made only for the first entity of the text. After the first "&" that
        // does not begin an entity, none is made.
        const bool isFirst = m_opens.size() == 1 && !m_isStopped;
        const uint codePoint = isFirst ? codePointOf(entity) : 0;
        if (codePoint == 0) {
            m_isStopped = true;
            return {0, 0};
        }
        m_done[entity].push_back({++m_count, codePoint});
        return {m_count, codePoint};
    }

    /// The open text does not begin an entity and remains unchanged.
    void giveUpOpen()
    {
        m_replaced += m_open;
        m_open.resize(0);
        m_opens.clear();
    }

    QString m_replaced;                              // the finished text
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
