#include "utils/base/EncodingFinder_p.h"

#include "utils/base/Simd_p.h"
#include "utils/base/Utf8_p.h"

#include <QTextCodec>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace Utils {

static const int enoughSequences = 4; // other encodings rarely have so many valid sequences

// UTF-16 and UTF-32

/// Whether a code unit or code point may be in a text, which has no control characters except
/// white space.
static bool isOfText(quint32 code)
{
    const bool isControl = code < 0x20 && (code < '\t' || code > '\r') && code != 0x1b;
    const bool isNoCharacter = code == 0xfffe || code == 0xffff || code > QChar::LastValidCodePoint;
    return !isControl && code != 0x7f && !isNoCharacter;
}

template <typename Unit>
static Unit unitAt(const char *bytes, bool isBig)
{
    return isBig ? qFromBigEndian<Unit>(bytes) : qFromLittleEndian<Unit>(bytes);
}

/// Whether \p bytes, at least four, may be a text in UTF-32.
static bool mayBeUtf32(const QByteArray &bytes, bool isBig)
{
    for (int i = 0; i + 4 <= bytes.size(); i += 4) {
        const auto code = unitAt<quint32>(bytes.constData() + i, isBig);
        if (!isOfText(code) || QChar::isSurrogate(code))
            return false;
    }
    return true;
}

/// The number of characters of \p bytes as a text in UTF-16 that have a zero byte, as those of
/// ASCII have. 0 when this cannot be a text in UTF-16.
static int countNarrow(const QByteArray &bytes, bool isBig)
{
    bool isPair = false; // whether the second half of a surrogate pair must follow
    int narrow = 0;
    for (int i = 0; i + 2 <= bytes.size(); i += 2) {
        const auto unit = unitAt<quint16>(bytes.constData() + i, isBig);
        if (!isOfText(unit) || QChar::isLowSurrogate(unit) != isPair)
            return 0;
        isPair = QChar::isHighSurrogate(unit);
        narrow += unit < 0x100;
    }
    // A text of ASCII with some zero bytes in it looks like rare characters of UTF-16. The bytes of
    // other alphabets may be ASCII as well, but some of them are control characters.
    const auto isAscii = [](char byte) { return static_cast<signed char>(byte) >= 0; };
    const auto isOfAscii = [](char byte) { return byte == '\0' || isOfText(uchar(byte)); };
    const int count = bytes.size() / 2;
    int fewest = 0;
    if (std::all_of(bytes.begin(), bytes.end(), isAscii))
        fewest = std::all_of(bytes.begin(), bytes.end(), isOfAscii) ? count - count / 4 : count / 8;
    return narrow > fewest ? narrow : 0;
}

static QByteArray wideName(const QByteArray &head, bool isWhole)
{
    if (head.count('\0') == 0 || (isWhole && head.size() % 2 != 0))
        return {};
    if (!isWhole || head.size() % 4 == 0) {
        if (mayBeUtf32(head, /*isBig=*/false))
            return "UTF-32LE";
        if (mayBeUtf32(head, /*isBig=*/true))
            return "UTF-32BE";
    }
    const int little = countNarrow(head, /*isBig=*/false);
    const int big = countNarrow(head, /*isBig=*/true);
    if (little == 0 && big == 0)
        return {};
    return big > little ? "UTF-16BE" : "UTF-16LE";
}

// The finder

ByteOrderMark ByteOrderMark::of(const QByteArray &start)
{
    const QTextCodec *const codec = QTextCodec::codecForUtfText(start, nullptr);
    if (!codec)
        return {};
    const QByteArray name = codec->name();
    const int size = name.startsWith("UTF-32") ? 4 : name.startsWith("UTF-16") ? 2 : 3;
    return {name, size};
}

bool EncodingFinder::isFull() const { return m_head.size() == headSize; }

bool EncodingFinder::add(const char *bytes, int size)
{
    if (size <= 0)
        return true;
    m_head.append(bytes, std::min(size, headSize - m_head.size()));
    if (m_isUtf8) {
        m_hasEscape = m_hasEscape || std::memchr(bytes, '\x1b', static_cast<std::size_t>(size));
        addUtf8(bytes, bytes + size);
    }
    return m_isUtf8 || !isFull();
}

/// The number of bytes of the sequence that starts with \p first, a byte from 0xc0 on.
static int sequenceLength(char first)
{
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

void EncodingFinder::skip()
{
    m_cut.clear();
    m_isAfterGap = true;
}

static bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

static bool isAscii(const char *begin, const char *end)
{
    constexpr int length = Units<char>::length;
    for (; end - begin >= length; begin += length) {
        if (Units<char>(begin).anyWide() != 0)
            return false;
    }
    return std::all_of(begin, end, [](char byte) { return static_cast<signed char>(byte) >= 0; });
}

void EncodingFinder::addUtf8(const char *begin, const char *end)
{
    if (m_cut.isEmpty() && isAscii(begin, end)) {
        m_isAfterGap = false;
        return;
    }
    const auto isLead = [](char byte) { return static_cast<unsigned char>(byte) >= 0xc0; };
    for (int i = 0; m_isAfterGap && i < 3 && begin != end && isContinuation(*begin); ++i)
        ++begin;
    m_isAfterGap = false;
    while (!m_cut.isEmpty() && begin != end) {
        m_cut += *begin++;
        if (m_cut.size() < sequenceLength(m_cut.at(0)))
            continue;
        m_isUtf8 = isValidUtf8(m_cut.constData(), m_cut.constData() + m_cut.size());
        m_cut.clear();
    }
    const char *last = end;
    for (int back = 0; back < 3 && last != begin && isContinuation(last[-1]); ++back)
        --last;
    if (last != begin && isLead(last[-1]) && sequenceLength(last[-1]) > end - last + 1)
        --last;
    else
        last = end;
    m_isUtf8 = m_isUtf8 && isValidUtf8(begin, last);
    if (m_sequences < enoughSequences)
        m_sequences += static_cast<int>(std::count_if(begin, end, isLead));
    m_cut += QByteArray(last, static_cast<int>(end - last));
}

EncodingFinder::Result EncodingFinder::result() const
{
    const ByteOrderMark mark = ByteOrderMark::of(m_head);
    if (mark.size > 0)
        return {mark.name, /*isGuess=*/false};
    const QByteArray wide = wideName(m_head, !isFull());
    if (!wide.isEmpty())
        return {wide, /*isGuess=*/true};
    if (!isUtf8())
        return {};
    const bool isAscii = m_sequences == 0 && !m_hasEscape && !m_head.contains('\0');
    return {"UTF-8", !isAscii && m_sequences < enoughSequences};
}

} // namespace Utils
