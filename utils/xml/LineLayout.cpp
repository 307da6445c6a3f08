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

    std::sort(m_others.begin(), m_others.end(),
              [](QStringView left, QStringView right) { return isBefore(left, right); });
    return true;
}

/// Whether splitTag() examines \p unit: a quote, a space, "/", "<" or ">".
static bool isSpecial(ushort unit)
{
    constexpr quint64 specials = quint64(1) << '"' | quint64(1) << ' ' | quint64(1) << '/' |
                                 quint64(1) << '<' | quint64(1) << '>';
    return unit < 64 && (specials >> unit & 1) != 0;
}

namespace {

/// The characters of a text that splitTag() examines, one after the other. They are found in
/// blocks: between two of them there are only a few others.
class Specials
{
public:
    Specials(const QChar *begin, const QChar *end)
        : m_begin(begin), m_end(end), m_block(begin), m_next(begin)
    {}

    /// The next one, or the end of the text.
    const QChar *next()
    {
        while (m_found == 0) {
            if (m_next == m_end)
                return m_end;
            findBlock();
        }
        const QChar *const at = m_block + qCountTrailingZeroBits(m_found);
        m_found &= m_found - 1;
        return at;
    }

private:
    static constexpr int blockSize = 16;

    void findBlock()
    {
#ifdef KELMUTILS_SSE2
        if (m_end - m_begin >= blockSize) {
            m_block = std::min(m_next, m_end - blockSize);
            const auto before = m_next - m_block; // of the last block, in the one before it
            m_found = foundIn(m_block) >> before << before;
            m_next = m_block + blockSize;
            return;
        }
#endif
        m_block = m_next;
        m_next += std::min<qptrdiff>(blockSize, m_end - m_next);
        for (const QChar *at = m_block; at != m_next; ++at)
            m_found |= quint32(isSpecial(at->unicode())) << (at - m_block);
    }

#ifdef KELMUTILS_SSE2
    /// Bit i of the result is for the character i of the block.
    static quint32 foundIn(const QChar *block)
    {
        const auto *const units = reinterpret_cast<const __m128i *>(block);
        // Characters that are no bytes become 0 or 255.
        const __m128i bytes = _mm_packus_epi16(_mm_loadu_si128(units), _mm_loadu_si128(units + 1));
        const auto equalTo = [&](char byte) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte)); };
        const __m128i brackets = _mm_or_si128(equalTo('<'), equalTo('>'));
        const __m128i others = _mm_or_si128(equalTo('"'), _mm_or_si128(equalTo(' '), equalTo('/')));
        return static_cast<quint32>(_mm_movemask_epi8(_mm_or_si128(brackets, others)));
    }
#endif

    [[maybe_unused]] const QChar *const m_begin; ///< not used without vector instructions
    const QChar *const m_end;
    const QChar *m_block;
    const QChar *m_next; ///< the first character that is not in a block yet
    quint32 m_found = 0; ///< those of the block that are still to come, as bits
};

} // namespace

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
    Specials specials(token, end);
    for (const QChar *at = specials.next(); at != end; at = specials.next()) {
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
