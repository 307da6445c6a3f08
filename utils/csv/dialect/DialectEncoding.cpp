#include "utils/csv/dialect/DialectSample_p.h"

#include "utils/base/EncodingFinder_p.h"
#include "utils/base/Encoding_p.h"
#include "utils/files/File.h"

#include <QTextCodec>

#include <algorithm>

namespace Utils {

/// The bytes of a code unit of the encoding \p name.
static int unitSizeOf(const QString &name)
{
    if (name.startsWith(QLatin1String("UTF-16"), Qt::CaseInsensitive))
        return 2;
    return name.startsWith(QLatin1String("UTF-32"), Qt::CaseInsensitive) ? 4 : 1;
}

/// How certain UTF-16 without a mark is: in Latin text nearly all high bytes are zero, in other
/// text those of blanks, digits, delimiters and line ends.
static double confidenceInUtf16(const QVector<QByteArray> &parts, bool isBig)
{
    const int high = isBig ? 0 : 1; // the position of the high byte
    qint64 zeros = 0;
    qint64 feeds = 0;
    qint64 numUnits = 0;
    for (const QByteArray &part : parts) {
        numUnits += part.size() / 2;
        for (int i = 0; i + 1 < part.size(); i += 2) {
            const bool isNarrow = part.at(i + high) == '\0';
            zeros += isNarrow;
            feeds += isNarrow && part.at(i + 1 - high) == '\n';
        }
    }
    const double share = double(zeros) / double(std::max<qint64>(numUnits, 1));
    if (share <= 0.7 || numUnits < 8)
        return 0.6;
    return feeds == 0 ? 0.7 : 0.95;
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

/// How certain it is that a sample of UTF-8 is the start of a file in UTF-8.
static double confidenceInUtf8(const QVector<QByteArray> &parts, bool isWhole)
{
    qint64 wide = 0;
    for (const QByteArray &part : parts)
        wide += std::count_if(part.begin(), part.end(),
                              [](char byte) { return static_cast<uchar>(byte) >= 0xc0; });
    // ASCII is UTF-8; the other parts of the file may be of any encoding.
    if (wide == 0)
        return isWhole ? 0.98 : 0.7;
    if (wide < 3)
        return isWhole ? 0.92 : 0.85;
    return 0.98;
}

DialectEncoding DialectEncoding::find(const QVector<QByteArray> &parts, bool isWhole)
{
    EncodingFinder finder;
    for (int i = 0; i < parts.size(); ++i) {
        if (i > 0)
            finder.skip();
        finder.add(parts.at(i).constData(), parts.at(i).size());
    }
    if (!isWhole)
        finder.skip();
    const QString found = QString::fromLatin1(finder.result().name);

    DialectEncoding encoding;
    encoding.name = found.isEmpty() ? QString(File::fallbackEncoding()) : found;
    encoding.unitSize = unitSizeOf(encoding.name);
    encoding.markSize = ByteOrderMark::of(parts.value(0)).size;
    if (encoding.markSize > 0)
        encoding.confidence = 0.99;
    else if (encoding.unitSize == 4)
        encoding.confidence = parts.value(0).size() >= 32 ? 0.95 : 0.6;
    else if (encoding.unitSize == 2)
        encoding.confidence = confidenceInUtf16(parts, encoding.name.endsWith(QLatin1String("BE")));
    else if (!found.isEmpty())
        encoding.confidence = confidenceInUtf8(parts, isWhole);
    else if (encoding.name == QLatin1String("windows-1252"))
        encoding.confidence = confidenceIn1252(parts);
    else
        encoding.confidence = 0.6; // the host has chosen it
    if (parts.size() == 1 && parts.first().isEmpty())
        encoding.confidence = 0.0;
    return encoding;
}

DialectEncoding DialectEncoding::named(const QString &name, const QByteArray &start)
{
    DialectEncoding encoding;
    encoding.name = name;
    encoding.confidence = 1.0;
    const ByteOrderMark mark = ByteOrderMark::of(start);
    const QString marked = QString::fromLatin1(mark.name);
    if (mark.size > 0 && marked.startsWith(name, Qt::CaseInsensitive)) { // "UTF-16" with a mark
        encoding.name = marked;
        encoding.markSize = mark.size;
    }
    encoding.unitSize = unitSizeOf(encoding.name);
    return encoding;
}

QString DialectEncoding::decode(const QByteArray &part, bool isStart) const
{
    const int skipped = isStart ? markSize : 0;
    if (name == QLatin1String("UTF-8"))
        return QString::fromUtf8(part.constData() + skipped, part.size() - skipped);
    const Encoding encoding(name);
    if (encoding.isSingleByte())
        return encoding.toText(part.constData() + skipped, part.constData() + part.size());
    QTextCodec *const codec = QTextCodec::codecForName(name.toLatin1());
    if (!codec)
        return QString::fromLatin1(part.constData() + skipped, part.size() - skipped);
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    return codec->toUnicode(part.constData() + skipped, part.size() - skipped, &state);
}

} // namespace Utils
