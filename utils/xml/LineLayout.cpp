#include "utils/xml/LineLayout_p.h"

#include "utils/base/Simd_p.h"

#include <QtAlgorithms>

#include <algorithm>

namespace Utils {
namespace Xml {

static const QLatin1Char lineEnd('\n');
static const QLatin1Char blank(' ');

static bool startsWith(QStringView text, QStringView start)
{
    return text.size() >= start.size() && std::equal(start.cbegin(), start.cend(), text.cbegin());
}

/// Compares code units. The comparison of QStringView is a function call into Qt, which is slower
/// than comparing most tokens: they differ in their first character.
static bool isBefore(QStringView left, QStringView right)
{
    return std::lexicographical_compare(left.cbegin(), left.cend(), right.cbegin(), right.cend());
}

/// Writes \p text to \p target, and returns the position after it.
static QChar *put(QStringView text, QChar *target)
{
    return std::copy(text.cbegin(), text.cend(), target);
}

static QChar *put(QLatin1Char character, QChar *target)
{
    *target = character;
    return target + 1;
}

void LineLayout::append(QStringView text, QString &target)
{
    // No line gets longer: a character after each kept token is dropped.
    const int before = target.size();
    target.resize(before + static_cast<int>(text.size()));
    QChar *end = target.data() + before;
    while (true) {
        const auto length = text.indexOf(lineEnd);
        if (length < 0)
            break;
        end = putLine(text.left(length), end);
        end = put(lineEnd, end);
        text = text.mid(length + 1);
    }
    end = putLine(text, end);
    target.resize(static_cast<int>(end - target.constData()));
}

QChar *LineLayout::putLine(QStringView line, QChar *target)
{
    const QStringView text = line.trimmed();
    if (text == QStringView(u"<!--*-->"))
        return target;
    if (!readTokens(text))
        return put(line, target);

    // The trimmed text starts with the first "<".
    target = put(QStringView(line.data(), text.data() + 1), target);
    target = put(m_tag, target);
    const auto putAttribute = [&](QStringView token) {
        target = put(blank, target);
        target = put(token, target);
    };
    if (!m_name.isEmpty())
        putAttribute(m_name);
    if (!m_type.isEmpty())
        putAttribute(m_type);
    for (const QStringView &token : m_others)
        putAttribute(token);
    return put(m_ending, target);
}

/// Whether \p line, trimmed, is between the brackets of a tag.
static bool isTag(QStringView line)
{
    const auto size = line.size();
    return size >= 2 && line[0] == QLatin1Char('<') && line[size - 1] == QLatin1Char('>') &&
           line[1] != QLatin1Char('!') && line[1] != QLatin1Char('?');
}

/// Parses the tokens of the trimmed line \p tag. False when it does not look like a start tag with
/// attributes.
bool LineLayout::readTokens(QStringView tag)
{
    if (!isTag(tag))
        return false;

    m_tag = {};
    m_name = {};
    m_type = {};
    m_others.clear();
    const auto size = tag.size();
    m_ending = tag.mid(size - (tag[size - 2] == QLatin1Char('/') ? 2 : 1));
    if (!splitTag(tag) || startsWith(tag, u"</"))
        return false;

    std::sort(m_others.begin(), m_others.end(), isBefore);
    return true;
}

/// Whether splitTag() examines \p unit: a quote, a space, "/", "<" or ">".
static bool isSpecial(ushort unit)
{
    constexpr quint64 specials = quint64(1) << '"' | quint64(1) << ' ' | quint64(1) << '/' |
                                 quint64(1) << '<' | quint64(1) << '>';
    return unit < 64 && (specials >> unit & 1) != 0;
}

/// The next character from \p at on that splitTag() examines, or \p end. There are a few others
/// between two of them, in which a branch for each would take most of the time.
static const QChar *nextSpecial(const QChar *at, const QChar *end)
{
#ifdef KELMUTILS_SSE2
    for (; end - at >= 8; at += 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
        const auto equalTo = [&](char unit) {
            return _mm_cmpeq_epi16(units, _mm_set1_epi16(unit));
        };
        const __m128i brackets = _mm_or_si128(equalTo('<'), equalTo('>'));
        const __m128i others = _mm_or_si128(equalTo('"'), _mm_or_si128(equalTo(' '), equalTo('/')));
        const int found = _mm_movemask_epi8(_mm_or_si128(brackets, others));
        if (found != 0)
            return at + qCountTrailingZeroBits(static_cast<quint32>(found)) / 2;
    }
#endif
    while (at != end && !isSpecial(at->unicode()))
        ++at;
    return at;
}

static bool isFollowedBy(QLatin1Char character, const QChar *at, const QChar *end)
{
    return at + 1 != end && at[1] == character;
}

/// Splits \p tag into tokens. False when it has no attributes, or an end tag follows.
bool LineLayout::splitTag(QStringView tag)
{
    const QChar *const end = tag.data() + tag.size();
    bool hasBlank = false;
    bool hasValue = false;
    bool inQuotes = false;
    bool isCut = false; // another tag begins: nothing after its start is split
    const QChar *token = tag.data() + 1;
    for (const QChar *at = nextSpecial(token, end); at != end; at = nextSpecial(at + 1, end)) {
        // Not a switch: its jump would depend on a table.
        const QChar character = *at;
        if (character == QLatin1Char('"')) {
            hasValue = hasValue || at[-1] == QLatin1Char('=');
            inQuotes = !inQuotes;
            continue;
        }
        if (character == QLatin1Char('<')) {
            if (isFollowedBy(QLatin1Char('/'), at, end))
                return false;
            if (!inQuotes && !isCut && at[-1] == QLatin1Char('>')) {
                m_ending = QStringView(at - 1, end);
                isCut = true;
            }
            continue;
        }
        if (character == QLatin1Char('/') && !isFollowedBy(QLatin1Char('>'), at, end))
            continue;
        hasBlank = hasBlank || character == blank;
        if (!inQuotes && !isCut) {
            addToken(token, at);
            token = at + 1;
        }
    }
    return hasBlank && hasValue;
}

/// Stores the token from \p begin to \p end according to its position in the layout.
void LineLayout::addToken(const QChar *begin, const QChar *end)
{
    const QStringView token(begin, end);
    if (m_tag.isEmpty())
        m_tag = token;
    else if (begin == end)
        return;
    else if (*begin == QLatin1Char('n') && m_name.isEmpty() && startsWith(token, u"name="))
        m_name = token;
    else if (*begin == QLatin1Char('t') && m_type.isEmpty() && startsWith(token, u"type="))
        m_type = token;
    else
        m_others.emplace_back(begin, end); // the processor would wait for a copy of the view
}

} // namespace Xml
} // namespace Utils
