#include "utils/base/Utf8_p.h"

#include "utils/base/Simd_p.h"

#include <QTextCodec>
#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace Utils {

static constexpr int stride = 16;

/// The number of ASCII bytes among the \p stride bytes at \p source, up to the first other byte.
static int asciiLength(const char *source)
{
    constexpr quint64 highBits = 0x8080808080808080;
    const quint64 first = qFromLittleEndian<quint64>(source) & highBits;
    const quint64 second = qFromLittleEndian<quint64>(source + 8) & highBits;
    if (first != 0)
        return static_cast<int>(qCountTrailingZeroBits(first)) / 8;
    return 8 + static_cast<int>(qCountTrailingZeroBits(second)) / 8;
}

/// Writes \p stride bytes from \p source to \p target, one code unit per byte. Returns the number
/// of leading ASCII bytes; the code units after those are undefined.
static int widen(const char *source, QChar *target)
{
    // Uses local arrays, which cannot overlap, so that compilers generate a few vector
    // instructions.
    std::array<uchar, stride> bytes;
    std::array<ushort, stride> units;
    std::memcpy(bytes.data(), source, sizeof(bytes));
    for (int i = 0; i < stride; ++i)
        units[i] = bytes[i];
    std::memcpy(static_cast<void *>(target), units.data(), sizeof(units));

    return asciiLength(source);
}

/// The six payload bits of the continuation byte at \p source; a value above 0x3f for other bytes.
static uint continuation(const char *source) { return uchar(*source) ^ 0x80; }

/// Decodes the sequence at \p source, which is not ASCII, and returns its length: 0 when it is
/// invalid, and more than \p room, the number of bytes left, when it is cut off.
static int decodeSequence(const char *source, std::ptrdiff_t room, QChar *&target)
{
    const uint first = uchar(*source);
    if (first < 0xc2 || first > 0xf4)
        return 0;

    if (first < 0xe0) {
        if (room < 2)
            return 2;
        const uint last = continuation(source + 1);
        if (last > 0x3f)
            return 0;
        *target++ = QChar((first & 0x1f) << 6 | last);
        return 2;
    }
    if (first < 0xf0) {
        if (room < 3)
            return 3;
        const uint middle = continuation(source + 1);
        const uint last = continuation(source + 2);
        const uint code = (first & 0x0f) << 12 | middle << 6 | last;
        if ((middle | last) > 0x3f || code < 0x800 || QChar::isSurrogate(code))
            return 0;
        *target++ = QChar(code);
        return 3;
    }
    if (room < 4)
        return 4;
    const uint second = continuation(source + 1);
    const uint third = continuation(source + 2);
    const uint last = continuation(source + 3);
    const uint code = (first & 0x07) << 18 | second << 12 | third << 6 | last;
    if ((second | third | last) > 0x3f || code < 0x10000 || code > QChar::LastValidCodePoint)
        return 0;
    *target++ = QChar(QChar::highSurrogate(code));
    *target++ = QChar(QChar::lowSurrogate(code));
    return 4;
}

/// Decodes the last bytes up to \p end, fewer than \p stride, together with ASCII bytes before them
/// that \p target has already; \p plain is the first of those. Does nothing unless all are ASCII.
static void decodeEnd(const char *&source, const char *end, const char *plain, QChar *&target)
{
    const std::ptrdiff_t again = stride - (end - source);
    if (source - plain < again || widen(end - stride, target - again) != stride)
        return;
    target += end - source;
    source = end;
}

bool decodeUtf8(const char *&source, const char *end, QChar *&target)
{
    const char *plain = source; // ASCII from there on
    while (source != end) {
        if (end - source >= stride) {
            const int length = widen(source, target);
            source += length;
            target += length;
            if (length == stride)
                continue;
        }
        while (source != end && uchar(*source) >= 0x80) {
            const std::ptrdiff_t room = end - source;
            const int length = decodeSequence(source, room, target);
            if (length == 0 || length > room)
                return length > 0;
            source += length;
            plain = source;
        }
        if (end - source < stride) {
            decodeEnd(source, end, plain, target);
            while (source != end && uchar(*source) < 0x80)
                *target++ = QLatin1Char(*source++);
        }
    }
    return true;
}

/// Skips valid UTF-8. False when it stops before an invalid sequence. Stops before one that \p end
/// cuts off, too.
static bool skipUtf8(const char *&begin, const char *end)
{
    while (begin != end) {
        if (uchar(*begin) < 0x80) {
            ++begin;
            continue;
        }
        QChar units[2];
        QChar *target = units;
        const std::ptrdiff_t room = end - begin;
        const int length = decodeSequence(begin, room, target);
        if (length == 0 || length > room)
            return length > 0;
        begin += length;
    }
    return true;
}

bool isValidUtf8Plainly(const char *begin, const char *end)
{
    return skipUtf8(begin, end) && begin == end;
}

#ifdef KELMUTILS_SIMD

namespace {

/// Validates 64 bytes at once, with one bit per byte. What a byte requires of the bytes after it is
/// carried over to the next 64.
class Utf8Check : public Utf8Validator::State
{
public:
    explicit Utf8Check(const State &state) : State(state) {}

    Q_ALWAYS_INLINE void add(const SimdUnits<char> &bytes)
    {
        if (bytes.anyWide() == 0 && wanted == 0)
            return;

        const quint64 wide = bytes.wide();
        const quint64 leads = bytes.atLeast(0xc0);
        const quint64 ofThree = bytes.atLeast(0xe0); // of three bytes or more
        const quint64 ofFour = ofThree == 0 ? 0 : bytes.atLeast(0xf0);
        const quint64 continuations = wanted | leads << 1 | ofThree << 2 | ofFour << 3;
        invalid |= (wide & ~leads) ^ continuations;
        invalid |= leads & ~bytes.atLeast(0xc2);
        wanted = leads >> 63 | ofThree >> 62 | ofFour >> 61;
        if (ofThree == 0 && limits == 0)
            return;

        // After some lead bytes, the next byte has special limits, which exclude overlong
        // sequences, surrogates and code points after the last one.
        const quint64 least = equalTo(bytes, 0xe0);
        const quint64 surrogates = equalTo(bytes, 0xed);
        const quint64 leastOfFour = equalTo(bytes, 0xf0);
        const quint64 last = equalTo(bytes, 0xf4);
        const quint64 highs = bytes.atLeast(0xa0);
        const quint64 middles = bytes.atLeast(0x90);
        const auto after = [&](quint64 bits, int number) {
            return bits << 1 | (limits >> number & 1);
        };
        invalid |= after(least, 0) & ~highs;
        invalid |= after(surrogates, 1) & highs;
        invalid |= after(leastOfFour, 2) & ~middles;
        invalid |= after(last, 3) & middles;
        invalid |= bytes.atLeast(0xf5);
        limits = least >> 63 | surrogates >> 63 << 1 | leastOfFour >> 63 << 2 | last >> 63 << 3;
    }

private:
    static quint64 equalTo(const SimdUnits<char> &bytes, int byte)
    {
        return bytes.equalTo(static_cast<char>(byte));
    }
};

} // namespace

void Utf8Validator::advance(const char *end)
{
    constexpr int length = SimdUnits<char>::length;
    Utf8Check check(m_state); // a copy, which is in registers
    const char *next = m_next;
    for (; end - next >= length; next += length)
        check.add(SimdUnits<char>(next));
    m_next = next;
    m_state = check;
}

bool Utf8Validator::finish(const char *end)
{
    advance(end);
    char rest[SimdUnits<char>::length] = {}; // padded with ASCII, which invalidates a cut sequence
    std::copy(m_next, end, rest);
    Utf8Check check(m_state);
    check.add(SimdUnits<char>(rest));
    return check.invalid == 0;
}

#else

void Utf8Validator::advance(const char *end)
{
    if (m_state.invalid == 0 && !skipUtf8(m_next, end))
        m_state.invalid = 1;
}

bool Utf8Validator::finish(const char *end)
{
    advance(end);
    return m_state.invalid == 0 && m_next == end;
}

#endif

bool isValidUtf8(const char *begin, const char *end) { return Utf8Validator(begin).finish(end); }

bool startsWithWideMark(const QByteArray &bytes)
{
    const QTextCodec *const codec = QTextCodec::codecForUtfText(bytes, nullptr);
    return codec && codec != QTextCodec::codecForName("UTF-8");
}

} // namespace Utils
