#include "utils/base/Encoding_p.h"

#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/base/Simd_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/platform/Platform.h"

#include <QTextCodec>
#include <QVector>
#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>

namespace Utils {

static const QChar replacement(QChar::ReplacementCharacter);

/// A character of a single-byte encoding: its code unit, and its bytes in UTF-8.
struct SingleByte
{
    ushort unit = QChar::ReplacementCharacter;
    bool isDefined = false;
    uchar length = 3;
    std::array<char, 4> bytes = {'\0', '\xef', '\xbf', '\xbd'}; // at the end
};

/// The same in four bytes, which are written at once.
struct PackedByte
{
    static constexpr uchar lengthBits = 3;
    static constexpr uchar undefined = 0x80;

    std::array<char, 3> bytes = {'\xef', '\xbf', '\xbd'};
    uchar lengthAndFlag = 3 | undefined;
};

struct EncodingTable
{
    QTextCodec *codec = nullptr; // Qt owns it; null for a code page of the system
    QString name;
    bool isUtf8 = false;
    bool isWide = false;     // UTF-16 or UTF-32
    bool keepsAscii = false; // line ends, blanks, digits and their like are ASCII
    bool isSingleByte = false;
    std::array<SingleByte, 256> characters; // if isSingleByte
    std::array<PackedByte, 256> packed;     // the same characters
};

static QString decode(QTextCodec *codec, const char *bytes, int size)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    return codec->toUnicode(bytes, size, &state);
}

/// Keeps the data of a codec loaded, which otherwise are loaded again for each text.
class LoadedCodec
{
public:
    explicit LoadedCodec(const QTextCodec &codec) { codec.toUnicode("x", 1, &m_state); }

private:
    QTextCodec::ConverterState m_state;
};

static SingleByte singleByte(QChar character)
{
    SingleByte result;
    if (character == replacement)
        return result;
    const QByteArray bytes = QString(character).toUtf8();
    result.unit = character.unicode();
    result.isDefined = true;
    result.length = static_cast<uchar>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), result.bytes.end() - bytes.size());
    return result;
}

static PackedByte packedByte(const SingleByte &character)
{
    PackedByte result;
    std::copy_n(character.bytes.end() - character.length, character.length, result.bytes.begin());
    if (character.isDefined)
        result.lengthAndFlag = character.length;
    return result;
}

/// Examines what each byte is when it is decoded separately by \p decodeByte, to find the kind of
/// the encoding.
template <typename Decode>
static void examineBytes(EncodingTable &table, Decode decodeByte)
{
    bool isAscii = true;
    table.keepsAscii = true;
    table.isSingleByte = true;
    for (int byte = 0; byte < 256; ++byte) {
        const QString text = decodeByte(static_cast<char>(byte));
        const bool isOne = text.size() == 1; // else it is a part of a longer sequence
        const bool isSame = isOne && text.at(0) == QChar(byte);
        isAscii = isAscii && (isSame || byte >= 0x80);
        const bool isField = byte == '\t' || byte == '\n' || byte == '\r' ||
                             (byte >= ' ' && byte < 0x40); // which lines and numbers need
        table.keepsAscii = table.keepsAscii && (isSame || (isOne && !isField) || byte >= 0x80);
        table.isSingleByte = table.isSingleByte && isOne && !text.at(0).isSurrogate() &&
                             (byte < 0x80 || text.at(0) >= QChar(0x80));
        if (table.isSingleByte)
            table.characters[static_cast<std::size_t>(byte)] = singleByte(text.at(0));
    }
    table.isSingleByte = table.isSingleByte && isAscii;
}

/// The number of the code page that consoles of Windows use with the name \p name; 0 when it is
/// none, or one that each Qt has.
static unsigned numberOfCodePage(const QByteArray &name)
{
    static const unsigned numbers[] = {437, 720, 737, 775, 850, 852, 855, 857,
                                       858, 860, 861, 862, 863, 865, 866, 869};
    QByteArray plain = name.toLower();
    for (const char ignored : {'-', '_', ' '})
        plain.replace(ignored, QByteArray());
    const auto isName = [&plain](unsigned number) {
        const QByteArray digits = QByteArray::number(number);
        return plain == digits || plain == "ibm" + digits || plain == "ibm00" + digits ||
               plain == "cp" + digits || plain == "windows" + digits;
    };
    const auto found = std::find_if(std::begin(numbers), std::end(numbers), isName);
    return found != std::end(numbers) ? *found : 0;
}

/// The usual name of a code page, as Qt with ICU has it.
static QByteArray nameOfCodePage(unsigned number)
{
    return (number == 858 ? "IBM00" : "IBM") + QByteArray::number(number);
}

/// The table of a code page that the system has; null when it has none.
static std::shared_ptr<EncodingTable> tableOfSystem(unsigned number)
{
    const auto characters = Platform::codePage(number);
    if (!characters)
        return {};
    auto table = std::make_shared<EncodingTable>();
    table->name = QString::fromLatin1(nameOfCodePage(number));
    examineBytes(*table, [&](char byte) {
        return QString(QChar((*characters)[static_cast<unsigned char>(byte)]));
    });
    return table->isSingleByte ? table : nullptr;
}

static std::shared_ptr<EncodingTable> tableOfCodec(QTextCodec *codec)
{
    auto table = std::make_shared<EncodingTable>();
    table->codec = codec;
    table->name = QString::fromLatin1(codec->name());
    table->isUtf8 = table->name == QLatin1String("UTF-8");
    table->isWide = table->name.startsWith(QLatin1String("UTF-16")) ||
                    table->name.startsWith(QLatin1String("UTF-32"));
    if (table->isUtf8) {
        table->keepsAscii = true;
    } else if (!table->isWide) {
        const LoadedCodec loaded(*codec);
        examineBytes(*table, [codec](char byte) { return decode(codec, &byte, 1); });
    }
    if (table->name == QLatin1String("windows-1252")) {
        for (const int byte : {0x81, 0x8d, 0x8f, 0x90, 0x9d})
            table->characters[static_cast<std::size_t>(byte)] = singleByte(QChar(byte));
    }
    return table;
}

Encoding::Encoding(const QString &name)
{
    const QByteArray wanted = name.trimmed().toLatin1();
    QTextCodec *codec = QTextCodec::codecForName(wanted);
    const unsigned page = codec ? 0 : numberOfCodePage(wanted);
    if (page != 0) // Qt without ICU may know another name of it
        codec = QTextCodec::codecForName(nameOfCodePage(page));
    const std::shared_ptr<EncodingTable> table = codec       ? tableOfCodec(codec)
                                                 : page != 0 ? tableOfSystem(page)
                                                             : nullptr;
    if (!table)
        return;
    std::transform(table->characters.begin(), table->characters.end(), table->packed.begin(),
                   packedByte);
    m_table = table;
}

QString Encoding::name() const { return m_table ? m_table->name : QString(); }
bool Encoding::isUtf8() const { return m_table && m_table->isUtf8; }
bool Encoding::isSingleByte() const { return m_table && m_table->isSingleByte; }

bool Encoding::keepsLinesAndFields(char delimiter) const
{
    if (!m_table || !m_table->keepsAscii)
        return false;
    if (m_table->isUtf8 || m_table->isSingleByte)
        return true;
    const LoadedCodec loaded(*m_table->codec);
    // After the first byte of a character, neither may be the next one of it.
    for (const char next : {'\n', delimiter}) {
        for (int byte = 0x80; byte < 0x100; ++byte) {
            const char sequence[] = {static_cast<char>(byte), next};
            if (!decode(m_table->codec, sequence, 2).endsWith(QLatin1Char(next)))
                return false;
        }
    }
    return true;
}

// Decoding

static bool isWide(char byte) { return static_cast<signed char>(byte) < 0; }

/// The number of bytes of the text in UTF-8; -1 when a byte has no character.
static qint64 sizeInUtf8(const EncodingTable &table, const QByteArray &bytes)
{
    constexpr int length = Units<char>::length;
    qint64 size = bytes.size();
    bool isValid = true;
    const auto add = [&](char byte) {
        const SingleByte &character = table.characters[static_cast<unsigned char>(byte)];
        isValid = isValid && character.isDefined;
        size += character.length - 1;
    };
    const char *next = bytes.constData();
    const char *const end = next + bytes.size();
    for (; end - next >= length; next += length) {
        for (quint64 wide = Units<char>(next).wide(); wide != 0; wide &= wide - 1)
            add(next[qCountTrailingZeroBits(wide)]);
    }
    std::for_each(next, end, add);
    return isValid ? size : -1;
}

static const int stride = 16; // bytes that are copied at once

/// The number of bytes of ASCII at the end of \p stride bytes.
static int asciiAtEnd(const char *bytes)
{
#ifdef KELMUTILS_SIMD
    const quint32 wide = SimdBlock(bytes).highBits();
    return static_cast<int>(qCountLeadingZeroBits(wide << stride | quint32(0x8000)));
#else
    int count = 0;
    while (count < stride && !isWide(bytes[stride - 1 - count]))
        ++count;
    return count;
#endif
}

/// Moves the text before \p source so that it ends at \p target, and decodes it: from its end to
/// its start, up to where no further byte becomes longer. Most of a text is usually ASCII.
static void decodeBackwards(const EncodingTable &table, char *begin, char *source, char *target)
{
    while (source != target) {
        // A byte of ASCII after 16 others is decoded, too, which is faster than a branch.
        const bool isFar = target - source > stride && source - begin > stride;
        int ascii = 0;
        if (isFar) {
            ascii = asciiAtEnd(source - stride);
            std::memcpy(target - stride, source - stride, stride);
        } else { // rare: few bytes are left that become longer, or few at all
            while (!isWide(source[-1 - ascii]))
                ++ascii;
            std::memmove(target - ascii, source - ascii, static_cast<std::size_t>(ascii));
        }
        source -= ascii + 1;
        target -= ascii;
        const SingleByte &next = table.characters[static_cast<unsigned char>(*source)];
        if (isFar)
            std::memcpy(target - next.bytes.size(), next.bytes.data(), next.bytes.size());
        else
            std::copy_n(next.bytes.end() - next.length, next.length, target - next.length);
        target -= next.length;
    }
}

/// Decodes bytes of a single-byte encoding in place.
static Encoding::Outcome decodeSingleBytes(const EncodingTable &table, QByteArray &bytes)
{
    const qint64 size = sizeInUtf8(table, bytes);
    if (size < 0)
        return Encoding::Outcome::Invalid;
    if (size > maxByteCount)
        return Encoding::Outcome::TooLong;
    if (size == bytes.size())
        return Encoding::Outcome::Decoded;

    const int sizeBefore = bytes.size();
    bytes.reserve(static_cast<int>(size)); // resize() would add room for a larger text
    bytes.resize(static_cast<int>(size));
    char *const begin = bytes.data();
    decodeBackwards(table, begin, begin + sizeBefore, begin + size);
    return Encoding::Outcome::Decoded;
}

namespace {

/// Decodes bytes of a single-byte encoding, of which some are not ASCII.
class PartDecoder
{
public:
    explicit PartDecoder(const EncodingTable &table) : m_characters(table.packed) {}

    /// Decodes the bytes from \p begin to \p end, block by block. Moves \p to after the text.
    void decodeBlocks(const char *begin, const char *end, char *&to);

    /// The same for many bytes: the quarters of the part are decoded side by side.
    void decodeQuarters(const char *begin, const char *end, char *&to);

    /// Whether all bytes so far are valid.
    bool isValid() const { return (m_flags & PackedByte::undefined) == 0; }

private:
    void append(char byte, char *&to)
    {
        const PackedByte &character = m_characters[static_cast<unsigned char>(byte)];
        std::memcpy(to, &character, sizeof(character));
        to += character.lengthAndFlag & PackedByte::lengthBits;
        m_flags |= character.lengthAndFlag;
    }

    const std::array<PackedByte, 256> &m_characters;
    uint m_flags = 0;
};

void PartDecoder::decodeBlocks(const char *begin, const char *end, char *&to)
{
    constexpr int length = Units<char>::length;
    char *target = to; // which the compiler can keep in a register
    while (begin < end) {
        const qint64 count = std::min<qint64>(end - begin, length);
        quint64 wide = Units<char>(begin).wide();
        if (count < length)
            wide &= (quint64(1) << count) - 1;
        if (wide == 0) {
            std::memcpy(target, begin, length);
            target += count;
            begin += count;
            continue;
        }
        // Up to the last byte of the block that is not ASCII
        const char *const start = begin;
        for (; wide != 0; wide &= wide - 1) {
            const char *const next = start + qCountTrailingZeroBits(wide);
            std::memcpy(target, begin, length); // a copy of the run only would need branches
            target += next - begin;
            append(*next, target);
            begin = next + 1;
        }
    }
    to = target;
}

#ifdef KELMUTILS_SIMD

// A step copies up to 32 bytes of ASCII and decodes the byte after them, without a branch: where
// texts have many bytes that are not ASCII, a processor cannot predict branches on them. A step has
// to wait for the one before, so four steps at different places are made at the same time.
void PartDecoder::decodeQuarters(const char *begin, const char *end, char *&to)
{
    constexpr int count = 4;
    constexpr int ascii = 2 * SimdBlock::length;
    struct Quarter
    {
        const char *next;
        const char *end;
        char *text;
        char *target;
    };
    std::array<Quarter, count> quarters;
    const qint64 size = (end - begin) / count;
    const char *next = begin;
    char *text = to;
    for (Quarter &quarter : quarters) {
        quarter = {next, next + size, text, text};
        next += size;
        text += Encoding::quarterRoom(size);
    }
    quarters.back().end = end;

    const auto stepsToEnd = [](const Quarter &quarter) {
        return (quarter.end - quarter.next) / (ascii + 1);
    };
    while (true) {
        qint64 steps = std::numeric_limits<qint64>::max();
        for (const Quarter &quarter : quarters)
            steps = std::min<qint64>(steps, stepsToEnd(quarter));
        if (steps == 0)
            break;
        std::array<Quarter, count> current = quarters;
        for (; steps > 0; --steps) {
            for (Quarter &quarter : current) {
                const quint64 wide = SimdBlock(quarter.next).highBits() |
                                     quint64(SimdBlock(quarter.next + SimdBlock::length).highBits())
                                         << SimdBlock::length |
                                     quint64(1) << ascii;
                std::memcpy(quarter.target, quarter.next, ascii);
                const uint run = qCountTrailingZeroBits(wide);
                quarter.target += run;
                quarter.next += run + 1;
                append(quarter.next[-1], quarter.target);
            }
        }
        quarters = current;
    }

    for (Quarter &quarter : quarters) {
        decodeBlocks(quarter.next, quarter.end, quarter.target);
        const auto length = static_cast<std::size_t>(quarter.target - quarter.text);
        if (to != quarter.text)
            std::memmove(to, quarter.text, length);
        to += length;
    }
}

#else

void PartDecoder::decodeQuarters(const char *begin, const char *end, char *&to)
{
    decodeBlocks(begin, end, to);
}

#endif

} // namespace

/// Whether many bytes of a part are not ASCII, from a sample.
static bool isMostlyWide(const char *begin, const char *end)
{
    constexpr int numSamples = 16;
    const qint64 distance = (end - begin) / numSamples;
    int numWide = 0;
    for (int i = 0; i < numSamples; ++i)
        numWide += Units<char>(begin + i * distance).anyWide() != 0;
    return numWide > numSamples / 4;
}

bool Encoding::decodePart(const char *begin, const char *end, char *&to) const
{
    constexpr qint64 fewest = 4096; // bytes, for which quarters are worth it
    PartDecoder decoder(*m_table);
    if (end - begin >= fewest && isMostlyWide(begin, end))
        decoder.decodeQuarters(begin, end, to);
    else
        decoder.decodeBlocks(begin, end, to);
    return decoder.isValid();
}

/// The codec of a text in UTF-16 or UTF-32, in the order that its byte order mark tells. Moves
/// \p begin after the mark.
static QTextCodec *wideCodec(const EncodingTable &table, const char *&begin, const char *end)
{
    const int unit = table.name.startsWith(QLatin1String("UTF-16")) ? 2 : 4;
    const QByteArray start =
        QByteArray::fromRawData(begin, static_cast<int>(std::min<qint64>(unit, end - begin)));
    const QByteArray little = QByteArray("\xff\xfe\0\0", 4).left(unit);
    const QByteArray big = QByteArray("\0\0\xfe\xff", 4).right(unit);
    const QString family = table.name.left(6);
    const bool isOpen = table.name.size() == family.size(); // without an order
    const bool isBig = isOpen ? start == big : table.name.endsWith(QLatin1String("BE"));
    if (start == (isBig ? big : little))
        begin += unit;
    const QString name = family + QLatin1String(isBig ? "BE" : "LE");
    return QTextCodec::codecForName(name.toLatin1());
}

namespace {

/// Decodes bytes by Qt, piece by piece, so that only a piece of the text is in memory as UTF-16.
class CodecDecoder
{
public:
    CodecDecoder(const QTextCodec &codec, bool isWide) : m_codec(codec), m_isWide(isWide) {}

    /// Appends the text of a piece. False when it is not valid.
    bool add(const char *bytes, int size, QByteArray &utf8)
    {
        QString text = m_half + m_codec.toUnicode(bytes, size, &m_state);
        m_half.clear();
        if (!text.isEmpty() && qAsConst(text).back().isHighSurrogate()) {
            m_half = text.right(1);
            text.chop(1);
        }
        // Qt does not count all bytes that it replaces because they are not valid.
        if (!text.isValidUtf16() || (!m_isWide && text.contains(replacement)))
            return false;
        utf8 += text.toUtf8();
        return true;
    }

    /// False when the text ends within a character.
    bool finish()
    {
        if (m_isWide)
            return m_half.isEmpty() && m_state.remainingChars == 0;
        // A codec reports an incomplete character only when another one follows.
        return m_codec.toUnicode("\n", 1, &m_state) == QLatin1String("\n");
    }

private:
    const QTextCodec &m_codec;
    const bool m_isWide;
    QTextCodec::ConverterState m_state{QTextCodec::IgnoreHeader};
    QString m_half; // the first half of a surrogate pair
};

} // namespace

static Encoding::Outcome decodeByCodec(const EncodingTable &table, QByteArray &bytes)
{
    constexpr qint64 pieceSize = 1 << 20;
    constexpr qint64 largest = 8 * pieceSize; // in UTF-8, with room to spare
    const char *next = bytes.constData();
    const char *const end = next + bytes.size();
    CodecDecoder decoder(table.isWide ? *wideCodec(table, next, end) : *table.codec, table.isWide);
    QByteArray result;
    while (next != end) {
        if (result.size() > maxByteCount - largest)
            return Encoding::Outcome::TooLong;
        const auto size = static_cast<int>(std::min<qint64>(pieceSize, end - next));
        if (!decoder.add(next, size, result))
            return Encoding::Outcome::Invalid;
        next += size;
    }
    if (!decoder.finish())
        return Encoding::Outcome::Invalid;
    bytes = result;
    return Encoding::Outcome::Decoded;
}

Encoding::Outcome Encoding::toUtf8(QByteArray &bytes) const
{
    if (!m_table)
        return Outcome::Invalid;
    if (m_table->isSingleByte)
        return decodeSingleBytes(*m_table, bytes);
    if (!m_table->isUtf8)
        return decodeByCodec(*m_table, bytes);
    if (!isValidUtf8(bytes.constData(), bytes.constData() + bytes.size()))
        return Outcome::Invalid;
    bytes.remove(0, sizeOfUtf8Mark(bytes));
    return Outcome::Decoded;
}

QString Encoding::toText(const char *begin, const char *end) const
{
    const auto size = static_cast<int>(end - begin);
    if (!m_table || size == 0)
        return {};
    if (m_table->isUtf8)
        return QString::fromUtf8(begin, size);
    if (!m_table->isSingleByte) {
        QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
        QString text = m_table->codec->toUnicode(begin, size, &state);
        text += m_table->codec->toUnicode("\n", 1, &state); // reports an incomplete character
        text.chop(1);
        return text;
    }
    QString text(size, Qt::Uninitialized);
    std::transform(begin, end, text.begin(), [this](char byte) {
        return QChar(m_table->characters[static_cast<unsigned char>(byte)].unit);
    });
    return text;
}

// Encoding

/// The byte of a character. False when the encoding does not have the character.
static bool findByte(const EncodingTable &table, QChar character, char &byte)
{
    byte = character.toLatin1();
    const auto fits = [&](const SingleByte &each) {
        return each.isDefined && each.unit == character.unicode();
    };
    if (fits(table.characters[static_cast<unsigned char>(byte)]))
        return true;
    const auto found = std::find_if(table.characters.begin(), table.characters.end(), fits);
    byte = static_cast<char>(found - table.characters.begin());
    return found != table.characters.end();
}

/// Encodes as UTF-32. That of Qt adds zero bytes for each pair of surrogates.
static QByteArray toUtf32(const QString &text, bool isBig)
{
    const QVector<uint> codes = text.toUcs4();
    QByteArray bytes(4 * codes.size(), Qt::Uninitialized);
    char *next = bytes.data();
    for (const uint code : codes) {
        if (isBig)
            qToBigEndian(code, next);
        else
            qToLittleEndian(code, next);
        next += 4;
    }
    return bytes;
}

QByteArray Encoding::partToUtf8(const QByteArray &part) const
{
    return toText(part.constData(), part.constData() + part.size()).toUtf8();
}

bool Encoding::fromText(const QString &text, QByteArray &bytes) const
{
    if (!m_table)
        return false;
    QByteArray result;
    if (m_table->isSingleByte) {
        result.resize(text.size());
        for (int i = 0; i < text.size(); ++i) {
            if (!findByte(*m_table, text.at(i), result.data()[i]))
                return false;
        }
        bytes = result;
        return true;
    }
    if (!text.isValidUtf16())
        return false;
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const bool hasMark = m_table->isWide && m_table->name.size() == 6; // without an order
    const QString marked = hasMark ? QChar(QChar::ByteOrderMark) + text : text;
    result = m_table->name.startsWith(QLatin1String("UTF-32"))
                 ? toUtf32(marked, m_table->name.endsWith(QLatin1String("BE")))
                 : m_table->codec->fromUnicode(marked.constData(), marked.size(), &state);
    // A codec replaces characters that it does not have, and does not report all of them.
    QByteArray decoded = result;
    if (toUtf8(decoded) != Outcome::Decoded || decoded != text.toUtf8())
        return false;
    bytes = result;
    return true;
}

bool findUsualName(const QString &name, QString &usual)
{
    const bool isSpecial = name.isEmpty() || isAutomatic(name);
    const QString found = isSpecial ? name : Encoding(name).name();
    if (found.isEmpty() && !isSpecial)
        return LastError::set(".err.encoding", {name});
    usual = found;
    return true;
}

QString textOfUtf8(const QByteArray &utf8)
{
    QString text(utf8.size(), Qt::Uninitialized);
    const char *source = utf8.constData();
    QChar *target = text.data();
    decodeUtf8(source, source + utf8.size(), target);
    text.resize(static_cast<int>(target - text.constData()));
    text.squeeze();
    return text;
}

} // namespace Utils
