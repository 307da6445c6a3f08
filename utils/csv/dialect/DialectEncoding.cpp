#include "utils/csv/dialect/DialectEncoding_p.h"

#include "utils/base/Utf8_p.h"

#include <QTextCodec>

#include <algorithm>
#include <array>

namespace Utils {

/// The byte order marks. That of UTF-32LE begins with that of UTF-16LE.
static const struct
{
    const char *bytes;
    const char *name;
    int size;
    int unitSize;
} marks[] = {
    {"\xff\xfe\0\0", "UTF-32LE", 4, 4}, {"\0\0\xfe\xff", "UTF-32BE", 4, 4},
    {"\xff\xfe", "UTF-16LE", 2, 2},     {"\xfe\xff", "UTF-16BE", 2, 2},
    {"\xef\xbb\xbf", "UTF-8", 3, 1},
};

static DialectEncoding findMark(const QByteArray &start)
{
    DialectEncoding encoding;
    for (const auto &mark : marks) {
        if (start.startsWith(QByteArray::fromRawData(mark.bytes, mark.size))) {
            encoding.name = QLatin1String(mark.name);
            encoding.confidence = 0.99;
            encoding.unitSize = mark.unitSize;
            encoding.markSize = mark.size;
            break;
        }
    }
    return encoding;
}

/// How many bytes of some kind there are, at even and at odd positions.
using ByPosition = std::array<qint64, 2>;

/// Whether the bytes are UTF-16 without a mark, in which ASCII has a zero byte at every other
/// position: in Latin text nearly all are zero, in other text those of blanks, digits, delimiters
/// and line ends.
static DialectEncoding findUtf16(const QVector<QByteArray> &parts)
{
    ByPosition zeros{};
    ByPosition feeds{}; // line feeds whose other byte is zero
    qint64 numBytes = 0;
    for (const QByteArray &part : parts) {
        numBytes += part.size();
        for (int i = 0; i + 1 < part.size(); i += 2) {
            zeros[0] += part.at(i) == '\0';
            zeros[1] += part.at(i + 1) == '\0';
            feeds[0] += part.at(i) == '\n' && part.at(i + 1) == '\0';
            feeds[1] += part.at(i) == '\0' && part.at(i + 1) == '\n';
        }
    }
    DialectEncoding encoding;
    const std::size_t high = zeros[1] >= zeros[0] ? 1 : 0; // the position of the high bytes
    const qint64 numUnits = numBytes / 2;
    // A table with some zero bytes is not UTF-16; nor is a column of zero bytes.
    const bool isOneSided = zeros[1 - high] * 50 <= zeros[high];
    if (numUnits < 2 || zeros[high] * 12 < numUnits || !isOneSided)
        return encoding;
    encoding.name = high == 1 ? QStringLiteral("UTF-16LE") : QStringLiteral("UTF-16BE");
    encoding.unitSize = 2;
    const double share = double(zeros[high]) / double(numUnits);
    encoding.confidence = share > 0.7 && numUnits >= 8 ? 0.95 : 0.6;
    if (feeds[1 - high] == 0)
        encoding.confidence = std::min(encoding.confidence, 0.7);
    return encoding;
}

/// The start of the first character in \p part, or of the one that its end cuts off.
static int utf8Start(const QByteArray &part)
{
    int start = 0;
    while (start < std::min(part.size(), 3) && (part.at(start) & 0xc0) == 0x80)
        ++start;
    return start;
}

static int utf8End(const QByteArray &part)
{
    for (int back = 1; back <= std::min(part.size(), 3); ++back) {
        const auto byte = static_cast<uchar>(part.at(part.size() - back));
        if (byte < 0x80)
            break;
        if (byte >= 0xc0) {
            const int length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2;
            return length > back ? part.size() - back : part.size();
        }
    }
    return part.size();
}

/// Whether a byte that is not ASCII is usual in tables of Western Europe: letters with accents, the
/// signs of degree, micro, squares, cubes, paragraphs, plus-minus and euro, and typographic dashes
/// and quotes.
static bool isUsualIn1252(uchar byte)
{
    static const QByteArray usual("\x80\x84\x85\x91\x92\x93\x94\x96\x97\x99\xa0\xa3\xa7\xa9\xaa\xab"
                                  "\xad\xae\xb0\xb1\xb2\xb3\xb4\xb5\xb7\xb9\xba\xbb\xbc\xbd\xbe\xd7"
                                  "\xd8\xf7");
    return usual.contains(static_cast<char>(byte)) ||
           (byte >= 0xc0 && byte != 0xd0 && byte != 0xde && byte != 0xf0 && byte != 0xfe);
}

static double confidenceIn1252(const QVector<QByteArray> &parts)
{
    qint64 wide = 0;
    qint64 usual = 0;
    qint64 all = 0;
    qint64 longest = 0; // run of wide bytes
    qint64 run = 0;
    for (const QByteArray &part : parts) {
        for (const char character : part) {
            const auto byte = static_cast<uchar>(character);
            ++all;
            run = byte < 0x80 ? 0 : run + 1;
            longest = std::max(longest, run);
            if (byte >= 0x80) {
                ++wide;
                usual += isUsualIn1252(byte);
            }
        }
    }
    // A text of another alphabet has many of these bytes, side by side.
    if (wide * 3 > all || longest > 3)
        return 0.3;
    return usual == wide ? 0.75 : 0.45;
}

DialectEncoding DialectEncoding::find(const QVector<QByteArray> &parts, bool isWhole)
{
    DialectEncoding encoding = findMark(parts.value(0));
    if (encoding.markSize > 0)
        return encoding;
    encoding = findUtf16(parts);
    if (encoding.unitSize > 1)
        return encoding;

    bool isUtf8 = true;
    qint64 wide = 0;
    for (int i = 0; i < parts.size(); ++i) {
        const QByteArray &part = parts.at(i);
        const int start = i == 0 ? 0 : utf8Start(part);
        const int end = isWhole ? part.size() : utf8End(part);
        isUtf8 = isUtf8 &&
                 (start >= end || isValidUtf8(part.constData() + start, part.constData() + end));
        wide += std::count_if(part.begin(), part.end(),
                              [](char byte) { return static_cast<uchar>(byte) >= 0xc0; });
    }
    if (isUtf8) {
        // ASCII is UTF-8; the other parts of the file may be of any encoding.
        encoding.confidence = wide == 0 ? (isWhole ? 0.98 : 0.7) : wide < 3 ? 0.92 : 0.98;
        if (wide > 0 && wide < 3 && !isWhole)
            encoding.confidence = 0.85;
    } else {
        encoding.name = QStringLiteral("windows-1252");
        encoding.confidence = confidenceIn1252(parts);
    }
    if (parts.size() == 1 && parts.first().isEmpty())
        encoding.confidence = 0.0;
    return encoding;
}

DialectEncoding DialectEncoding::named(const QString &name, const QByteArray &start)
{
    DialectEncoding encoding = findMark(start);
    if (encoding.name.startsWith(name, Qt::CaseInsensitive)) { // "UTF-16" with a mark
        encoding.confidence = 1.0;
        return encoding;
    }
    encoding = DialectEncoding();
    encoding.name = name;
    encoding.confidence = 1.0;
    if (name.startsWith(QLatin1String("UTF-16"), Qt::CaseInsensitive))
        encoding.unitSize = 2;
    else if (name.startsWith(QLatin1String("UTF-32"), Qt::CaseInsensitive))
        encoding.unitSize = 4;
    return encoding;
}

QString DialectEncoding::decode(const QByteArray &part, bool isStart) const
{
    const int skipped = isStart ? markSize : 0;
    if (name == QLatin1String("UTF-8"))
        return QString::fromUtf8(part.constData() + skipped, part.size() - skipped);
    QTextCodec *const codec = QTextCodec::codecForName(name.toLatin1());
    if (!codec)
        return QString::fromLatin1(part.constData() + skipped, part.size() - skipped);
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    return codec->toUnicode(part.constData() + skipped, part.size() - skipped, &state);
}

} // namespace Utils
