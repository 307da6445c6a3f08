#include "utils/csv/dialect/DialectSample_p.h"

#include "utils/base/EncodingFinder_p.h"

#include <algorithm>

namespace Utils {

static const int startSize = EncodingFinder::headSize;
static const int partSize = 32 * 1024;

/// A multiple of all sizes of code units, so that none is cut in two.
static const qint64 alignment = 4;

/// Leaves out the first line, which begins before the part.
static QString withoutFirstLine(const QString &text)
{
    const int feed = text.indexOf(QLatin1Char('\n'));
    return feed < 0 ? QString() : text.mid(feed + 1);
}

static QString withoutLastLine(const QString &text)
{
    return text.left(text.lastIndexOf(QLatin1Char('\n')) + 1);
}

static QString lineFeedsOnly(QString text)
{
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

/// Whether few characters are control characters or not valid, as in a text.
static bool isText(const QStringList &parts)
{
    qint64 controls = 0;
    qint64 all = 0;
    for (const QString &part : parts) {
        all += part.size();
        controls += std::count_if(part.begin(), part.end(), [](QChar character) {
            const ushort unit = character.unicode();
            const bool isSpace = unit >= '\t' && unit <= '\r';
            return (unit < ' ' && !isSpace) || unit == 0x7f || unit >= 0xfffd;
        });
    }
    const int oneOf = 50;
    return controls * oneOf <= all;
}

DialectSample DialectSample::take(qint64 size, const QString &encoding, const Read &read)
{
    DialectSample sample;
    sample.isWhole = size <= startSize + 2 * partSize;
    QVector<QByteArray> bytes;
    if (sample.isWhole) {
        bytes.append(read(0, static_cast<int>(size)));
    } else {
        bytes.append(read(0, startSize));
        const qint64 middle = std::max<qint64>(size / 2, startSize) / alignment * alignment;
        bytes.append(read(middle, partSize));
        const qint64 last = (size - partSize) / alignment * alignment;
        bytes.append(read(last, partSize + alignment));
    }
    sample.encoding = encoding.isEmpty() ? DialectEncoding::find(bytes, sample.isWhole)
                                         : DialectEncoding::named(encoding, bytes.first());

    for (int i = 0; i < bytes.size(); ++i)
        sample.parts.append(sample.encoding.decode(bytes.at(i), i == 0));
    sample.isText = Utils::isText(sample.parts);
    if (!sample.isText)
        sample.encoding.confidence = std::min(sample.encoding.confidence, 0.2);
    // Some old programs end lines by a carriage return alone.
    const auto occurs = [&](char character) {
        return std::any_of(sample.parts.cbegin(), sample.parts.cend(), [=](const QString &part) {
            return part.contains(QLatin1Char(character));
        });
    };
    sample.hasReturns = occurs('\r') && !occurs('\n');
    if (sample.hasReturns)
        std::transform(sample.parts.begin(), sample.parts.end(), sample.parts.begin(),
                       lineFeedsOnly);

    for (int i = 0; i < sample.parts.size(); ++i) {
        QString &part = sample.parts[i];
        if (i > 0)
            part = withoutFirstLine(part);
        const bool isLast = i + 1 == sample.parts.size();
        // A first line that is longer than the part is better than nothing.
        const bool isOneLine = i == 0 && !part.contains(QLatin1Char('\n'));
        if (!isLast && !isOneLine)
            part = withoutLastLine(part);
    }
    return sample;
}

} // namespace Utils
