#include "utils/csv/cells/CSVText_p.h"

#include "utils/base/Limits_p.h"
#include "utils/base/Utf8_p.h"

#include <QTextStream>

#include <cstring>

namespace Utils {

CSVText CSVText::fromFile(const QByteArray &bytes, bool isUtf8)
{
    CSVText text{QString()};
    if (bytes.size() > maxTextLength)
        return text;
    if (!isUtf8) {
        if (startsWithWideMark(bytes))
            text.m_text = QTextStream(bytes).readAll();
        return text;
    }
    text.m_utf8 = bytes;
    text.m_start = sizeOfUtf8Mark(bytes);
    return text;
}

CSVText CSVText::fromUtf8(const QByteArray &utf8)
{
    CSVText text{QString()};
    if (utf8.size() <= maxTextLength)
        text.m_utf8 = csvToKeep(utf8);
    return text;
}

CSVText CSVText::ofBytes(const QByteArray &bytes)
{
    if (startsWithWideMark(bytes))
        return fromFile(bytes, /*isUtf8=*/false);
    CSVText text{QString()};
    text.m_utf8 = csvToKeep(bytes);
    text.m_start = sizeOfUtf8Mark(bytes);
    return text;
}

QString csvDecoded(const char *begin, const char *end)
{
    // A byte order mark within the text is a character, but Qt drops it at the start of the bytes
    // that it decodes.
    QString marks;
    for (int size = 0; (size = sizeOfUtf8Mark(begin, end)) > 0; begin += size)
        marks += QChar(QChar::ByteOrderMark);
    const QString text = QString::fromUtf8(begin, static_cast<int>(end - begin));
    return marks.isEmpty() ? text : marks + text;
}

QString csvUtf8Text(const char *begin, const char *end)
{
    const auto isWide = [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; };
    const QString text = csvDecoded(begin, end);
    const bool mayHaveBlanks = begin != end && (isWide(*begin) || isWide(end[-1]));
    return mayHaveBlanks ? text.trimmed() : text;
}

QString CSVText::part(int begin, int end) const
{
    return isUtf8() ? csvDecoded(bytes() + begin, bytes() + end) : m_text.mid(begin, end - begin);
}

QString CSVText::firstLine() const
{
    if (!isUtf8())
        return m_text.left(m_text.indexOf(QLatin1Char('\n')));
    const void *const feed = std::memchr(bytes(), '\n', static_cast<std::size_t>(size()));
    return part(0, feed ? static_cast<int>(static_cast<const char *>(feed) - bytes()) : size());
}

} // namespace Utils
