#include "utils/tagfile/TagReader_p.h"

#include "utils/base/ReplaceAll_p.h"
#include "utils/tagfile/TagText_p.h"

#include <QIODevice>
#include <QTextCodec>
#include <QTextStream>

#include <algorithm>
#include <array>

namespace Utils {

using Tag = TagFile::Tag;

static const QLatin1Char lineFeed('\n');
static const QLatin1Char carriageReturn('\r');

/// Replaces "\:" in a line until the line is split at its first plain colon.
static QString colonMarker() { return QStringLiteral("*COLON*"); }

/// For how many properties of a tag room is reserved at most. A tag with fewer properties than the
/// previous one does not release this room.
static constexpr int maxExpected = 32;

/// The lines of a stream.
class StreamLines
{
public:
    StreamLines(QTextStream &in, int maxLength) : m_in(in), m_maxLength(maxLength) {}

    bool atEnd() const { return m_isEnded || m_in.atEnd(); }

    /// The next line. Valid until the next call of next() or atEnd().
    QStringView next()
    {
        m_isEnded = !m_in.readLineInto(&m_line, m_maxLength);
        return m_line;
    }

    /// Whether the line may contain an escaped colon or the marker.
    bool mayHoldColons() const { return true; }

private:
    QTextStream &m_in;
    const int m_maxLength;
    QString m_line;
    bool m_isEnded = false; // a device may have less than it says
};

/// The lines of a device, as a QTextStream returns them.
///
/// They are the same for any bytes, because the device is read and decoded in the same blocks: the
/// result for a byte order mark or an invalid sequence depends on its position in a block. It is
/// faster because QTextStream needs most of its time to get from a block to a line.
class DeviceLines
{
public:
    DeviceLines(QIODevice &device, int maxLength) : m_device(device), m_maxLength(maxLength) {}

    bool atEnd()
    {
        return m_at == m_text.size() &&
               (m_isEnded || (m_device.atEnd() && (isAtKnownEnd() || !decodeBlock())));
    }

    bool hasFailed() const { return m_hasFailed; }

    QStringView next()
    {
        m_line.resize(0);
        do {
            const QStringView rest =
                QStringView(m_text).mid(m_at).left(m_maxLength - m_line.size());
            const auto end = rest.indexOf(lineFeed);
            if (end >= 0) {
                m_at += static_cast<int>(end) + 1;
                return withoutReturn(joined(rest.left(end)));
            }
            m_at += static_cast<int>(rest.size());
            m_line.append(rest.data(), static_cast<int>(rest.size()));
        } while (m_line.size() < m_maxLength && decodeBlock());
        m_isEnded = m_line.isEmpty();
        return m_device.atEnd() ? withoutReturn(m_line) : QStringView(m_line);
    }

    /// Lines are searched for colons only if their block contains such text.
    bool mayHoldColons() const { return m_mayHoldColons || !m_line.isEmpty(); }

private:
    /// The line that ends with \p end.
    QStringView joined(QStringView end)
    {
        if (m_line.isEmpty())
            return end;
        return m_line.append(end.data(), static_cast<int>(end.size()));
    }

    static QStringView withoutReturn(QStringView line)
    {
        return line.endsWith(carriageReturn) ? line.chopped(1) : line;
    }

    /// Whether the whole device was read. When its size is unknown, this is false, whereas Qt
    /// reports the end at any position.
    bool isAtKnownEnd() const
    {
        const qint64 size = m_device.size();
        return size > 0 && m_device.pos() >= size;
    }

    bool decodeBlock()
    {
        const int size =
            m_hasFailed ? -1 : static_cast<int>(m_device.read(m_block.data(), blockSize));
        m_hasFailed = size < 0;
        if (size <= 0)
            return false;
        if (!m_codec) {
            const QByteArray start = QByteArray::fromRawData(m_block.data(), size);
            m_codec = QTextCodec::codecForUtfText(start, QTextCodec::codecForName("UTF-8"));
        }
        m_text = m_codec->toUnicode(m_block.data(), size, &m_state);
        m_at = 0;
        m_mayHoldColons = m_text.contains(QLatin1Char('\\')) || m_text.contains(colonMarker());
        return true;
    }

    static constexpr int blockSize = 16384; // as large as that of a QTextStream

    QIODevice &m_device;
    const int m_maxLength;
    bool m_isEnded = false;   // a device may have less than it says
    bool m_hasFailed = false; // permanently: a later read would skip bytes
    std::array<char, blockSize> m_block;
    QTextCodec *m_codec = nullptr; // detected in the first block
    QTextCodec::ConverterState m_state;
    QString m_text; // the decoded block
    int m_at = 0;   // how much of it has been returned
    bool m_mayHoldColons = false;
    QString m_line; // the start of a line that begins in an earlier block
};

/// Implicitly shares the text of keys, which occur again and again.
class SharedKeys
{
public:
    const QString &text(QStringView key)
    {
        uint hash = 0;
        for (const QChar character : key)
            hash = hash * 31 + character.unicode();
        QString &shared = m_texts[hash % m_texts.size()];
        const bool isSame =
            shared.size() == key.size() && std::equal(key.begin(), key.end(), shared.constData());
        if (!isSame || shared.isNull())
            shared = key.toString();
        return shared;
    }

private:
    std::array<QString, 1024> m_texts; // the latest key of each hash
};

template <typename Lines>
class TagReader
{
public:
    TagReader(Lines &lines, int options) : m_lines(lines), m_options(options) {}

    void read(TagList &tags);

private:
    static bool isIgnored(QStringView line)
    {
        return line.isEmpty() || line.front() == QLatin1Char('$');
    }
    static bool isTag(QStringView line) { return line.front() == QLatin1Char('*'); }
    static bool hasColonSigns(QStringView line)
    {
        return std::any_of(line.begin(), line.end(), [](QChar character) {
            return character == QLatin1Char('\\') || character == QLatin1Char('*');
        });
    }
    static QString withColons(QStringView text)
    {
        return replaceAll(text.toString(), colonMarker(), QStringLiteral(":"));
    }

    void readProperty(Tag &tag, QStringView line);
    QString readBlock(int count);
    void add(Tag &tag, const QString &key, QString value);

    Lines &m_lines;
    const int m_options;
    qint64 m_lineNumber = 0;
    SharedKeys m_sharedKeys;
    int m_expected = 0; // number of properties, from the previous tag
    QString m_block;
};

template <typename Lines>
void TagReader<Lines>::read(TagList &tags)
{
    QString pending; // a tag line that ended the previous tag
    while (!m_lines.atEnd()) {
        ++m_lineNumber;
        const QString held = pending;
        const QStringView line = held.isEmpty() ? m_lines.next() : QStringView(held);
        pending.clear();
        if (isIgnored(line) || !isTag(line))
            continue;

        auto tag = std::make_unique<Tag>(line.mid(1).toString());
        tag->line = static_cast<int>(m_lineNumber);
        while (!m_lines.atEnd()) {
            ++m_lineNumber;
            const QStringView inner = m_lines.next();
            if (isIgnored(inner))
                continue;
            if (isTag(inner)) {
                pending = inner.toString();
                --m_lineNumber;
                break;
            }
            readProperty(*tag, inner);
        }
        m_expected = std::min(tag->keys.size(), maxExpected);
        tags.push_back(std::move(tag));
    }
}

/// Reads the property that starts with \p line. The line number grows by the stated number of lines
/// of a block even if the file has fewer.
template <typename Lines>
void TagReader<Lines>::readProperty(Tag &tag, QStringView line)
{
    const bool mayHoldColons = m_lines.mayHoldColons() && hasColonSigns(line);
    QString marked;
    if (mayHoldColons) {
        marked = replaceAll(line.toString(), QStringLiteral("\\:"), colonMarker());
        line = marked;
    }
    PropertyLine property;
    if (!parseProperty(line, property))
        return;

    const QString key = mayHoldColons ? m_sharedKeys.text(withColons(property.key))
                                      : m_sharedKeys.text(property.key);
    if (property.isBlock) {
        add(tag, key, readBlock(property.numLines));
        m_lineNumber += property.numLines;
    } else if (!isDropped(property.value, m_options)) {
        add(tag, key, mayHoldColons ? withColons(property.value) : property.value.toString());
    }
}

/// Reads the next \p count lines, or fewer at the end of the file.
template <typename Lines>
QString TagReader<Lines>::readBlock(int count)
{
    m_block.resize(0);
    for (; count > 0 && !m_lines.atEnd(); --count)
        appendBlockLine(m_block, m_lines.next());
    return QString(m_block.constData(), m_block.size());
}

template <typename Lines>
void TagReader<Lines>::add(Tag &tag, const QString &key, QString value)
{
    if (tag.keys.isEmpty()) {
        tag.keys.reserve(m_expected);
        tag.values.reserve(m_expected);
    }
    tag.keys.append(key);
    tag.values.append(QString());
    tag.values.last().swap(value); // cheaper than a temporary second reference
}

void readTags(QTextStream &in, int options, TagList &tags, int maxLineLength)
{
    StreamLines lines(in, maxLineLength);
    TagReader<StreamLines>(lines, options).read(tags);
}

bool readTags(QIODevice &device, int options, TagList &tags, int maxLineLength)
{
    DeviceLines lines(device, maxLineLength);
    TagReader<DeviceLines>(lines, options).read(tags);
    return !lines.hasFailed();
}

} // namespace Utils
