#include "utils/xml/LineLayout_p.h"

#include "utils/base/Simd_p.h"

#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace Utils {
namespace Xml {

static const QLatin1Char lineEnd('\n');
static const QLatin1Char blank(' ');

static bool startsWith(QStringView text, QStringView start)
{
    return text.size() >= start.size() && std::equal(start.cbegin(), start.cend(), text.cbegin());
}

/// The first four code units of \p text as a number, in whose order texts are sorted. Units that a
/// shorter text lacks count as 0.
static quint64 startOf(QStringView text)
{
    constexpr int count = sizeof(quint64) / sizeof(QChar);
    if (text.size() < count) {
        quint64 units = 0;
        for (int i = 0; i < count; ++i)
            units = units << 16 | (i < text.size() ? text[i].unicode() : 0U);
        return units;
    }
    const auto units = qFromBigEndian<quint64>(text.data());
    if (QSysInfo::ByteOrder == QSysInfo::BigEndian)
        return units;
    return (units & 0x00ff00ff00ff00ff) << 8 | (units >> 8 & 0x00ff00ff00ff00ff);
}

LineLayout::Token::Token(const QChar *begin, const QChar *end)
    : text(begin, end), start(startOf(text))
{}

/// Compares code units. The comparison of QStringView is a function call into Qt, which is slower
/// than comparing most tokens: they differ in their first characters.
bool LineLayout::isBefore(const Token &left, const Token &right)
{
    if (left.start != right.start)
        return left.start < right.start;
    return std::lexicographical_compare(left.text.cbegin(), left.text.cend(), right.text.cbegin(),
                                        right.text.cend());
}

/// Writes \p text to \p target, and returns the position after it.
QChar *LineLayout::put(QStringView text, QChar *target) const
{
    if (m_hasSlack && text.size() <= slack) // a copy of constant size is not a function call
        std::memcpy(static_cast<void *>(target), text.data(), slack * sizeof(QChar));
    else
        std::copy(text.cbegin(), text.cend(), target);
    return target + text.size();
}

QChar *LineLayout::put(QLatin1Char character, QChar *target)
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
    m_readable = text.cend();
    while (true) {
        const auto length = text.indexOf(lineEnd);
        m_hasSlack = length >= 0 && text.size() - length >= slack;
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
    for (const Token &token : m_others)
        putAttribute(token.text);
    return put(m_ending, target);
}

/// Whether \p line, trimmed, is between the brackets of a tag that is no end tag.
static bool isTag(QStringView line)
{
    const auto size = line.size();
    return size >= 2 && line[0] == QLatin1Char('<') && line[size - 1] == QLatin1Char('>') &&
           line[1] != QLatin1Char('!') && line[1] != QLatin1Char('?') &&
           line[1] != QLatin1Char('/');
}

/// Parses the tokens of the trimmed line \p tag. False when it does not look like a start tag with
/// attributes.
bool LineLayout::readTokens(QStringView tag)
{
    if (!isTag(tag))
        return false;

    m_tag = tag.mid(1, 0);
    m_name = {};
    m_type = {};
    m_others.clear();
    const auto size = tag.size();
    m_ending = tag.mid(size - (tag[size - 2] == QLatin1Char('/') ? 2 : 1));
    if (!splitTag(tag))
        return false;

    std::sort(m_others.begin(), m_others.end(), isBefore);
    return true;
}

namespace {

/// The characters of a tag that splitTag() examines, one after the other: each "<", and outside of
/// quotes each space, "/" and ">". They are found in blocks: between two of them there are only a
/// few others.
class Specials
{
public:
    /// \p readable, at or after \p end, is the end of the memory that may be read.
    Specials(const QChar *begin, const QChar *end, const QChar *readable)
        : m_end(end), m_readable(readable), m_block(begin), m_next(begin)
    {}

    /// The next one, or the end of the tag.
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

    /// Whether \p at, which next() returned last, is in quotes.
    bool isQuoted(const QChar *at) const { return (m_quoted >> (at - m_block) & 1) != 0; }

    // After the last one.
    bool hasQuotedBlank() const { return m_hasQuotedBlank; }
    bool hasValue() const { return m_hasValue; } ///< an equals sign with a quote after it

private:
    static constexpr int blockSize = 32;

    /// The characters of a block. Bit i is for the character i.
    struct Block
    {
        quint32 quotes;
        quint32 others; // that next() may return
    };

    void findBlock()
    {
        m_block = m_next;
        const auto size = std::min<qptrdiff>(blockSize, m_end - m_block);
        m_next += size;
        const Block block = m_readable - m_block >= blockSize ? read(m_block) : readPadded(size);
        const quint32 inTag = ~quint32(0) >> (blockSize - size);
        const quint32 quotes = block.quotes & inTag;
        const quint32 others = block.others & inTag;
        m_quoted = prefixXor(quotes) ^ m_isQuoted;
        m_isQuoted = 0 - (m_quoted >> (blockSize - 1)); // a shorter block is the last one
        m_found = others & ~m_quoted;
        for (quint32 rest = others & m_quoted; rest != 0; rest &= rest - 1)
            addQuoted(qCountTrailingZeroBits(rest));
        for (quint32 rest = m_hasValue ? 0 : quotes; rest != 0; rest &= rest - 1)
            m_hasValue = m_hasValue || isAfterEquals(qCountTrailingZeroBits(rest));
    }

    /// Adds the character \p index of the block, which is in quotes.
    void addQuoted(uint index)
    {
        if (m_block[index] == blank)
            m_hasQuotedBlank = true;
        if (m_block[index] == QLatin1Char('<'))
            m_found |= quint32(1) << index;
    }

    bool isAfterEquals(uint index) const { return (m_block + index)[-1] == QLatin1Char('='); }

    /// For each bit, whether the number of bits up to it is odd.
    static quint32 prefixXor(quint32 bits)
    {
        for (int shift = 1; shift < blockSize; shift *= 2)
            bits ^= bits << shift;
        return bits;
    }

    /// The block of the last \p size characters.
    Block readPadded(qptrdiff size) const
    {
        QChar padded[blockSize] = {};
        std::copy(m_block, m_block + size, padded);
        return read(padded);
    }

#ifdef KELMUTILS_SIMD
    static Block read(const QChar *block)
    {
        // Characters that are no bytes become 0 or 255.
        const SimdBlock low = SimdBlock::narrowed(block);
        const SimdBlock high = SimdBlock::narrowed(block + SimdBlock::length);
        const auto bits = [](SimdBlock first, SimdBlock second) {
            return first.highBits() | second.highBits() << SimdBlock::length;
        };
        const quint32 quotes = bits(low.equalTo('"'), high.equalTo('"'));
        return {quotes, bits(specialsOf(low), specialsOf(high)) & ~quotes};
    }

    /// Also the quotes: they and "<" differ from " " and ">" in one bit.
    static SimdBlock specialsOf(SimdBlock bytes)
    {
        const SimdBlock second = bytes | SimdBlock::filled(2);
        return bytes.equalTo('/') | second.equalTo('"') | second.equalTo('>');
    }
#else
    static Block read(const QChar *block)
    {
        Block found = {};
        for (int i = 0; i < blockSize; ++i) {
            const ushort unit = block[i].unicode();
            const bool isOther = unit == ' ' || unit == '/' || unit == '<' || unit == '>';
            found.quotes |= quint32(unit == '"') << i;
            found.others |= quint32(isOther) << i;
        }
        return found;
    }
#endif

    const QChar *const m_end;
    const QChar *const m_readable;
    const QChar *m_block;
    const QChar *m_next;    // the first character that is not in a block yet
    quint32 m_found = 0;    // those of the block that are still to come, as bits
    quint32 m_quoted = 0;   // the characters of the block that are in quotes, as bits
    quint32 m_isQuoted = 0; // all bits if the block ends in quotes, or none
    bool m_hasQuotedBlank = false;
    bool m_hasValue = false;
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
    bool isCut = false; // another tag begins: nothing after its start is split
    const QChar *token = tag.data() + 1;
    Specials specials(token, end, m_readable);
    for (const QChar *at = specials.next(); at != end; at = specials.next()) {
        if (*at == QLatin1Char('<')) {
            if (isFollowedBy(QLatin1Char('/'), at, end))
                return false;
            if (!isCut && at[-1] == QLatin1Char('>') && !specials.isQuoted(at)) {
                m_ending = QStringView(at - 1, end);
                isCut = true;
            }
            continue;
        }
        if (*at == QLatin1Char('/') && !isFollowedBy(QLatin1Char('>'), at, end))
            continue;
        hasBlank = hasBlank || *at == blank;
        if (!isCut) {
            addToken(token, at);
            token = at + 1;
        }
    }
    return (hasBlank || specials.hasQuotedBlank()) && specials.hasValue();
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
