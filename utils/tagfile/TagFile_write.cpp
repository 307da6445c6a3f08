#include "utils/tagfile/TagFile.h"

#include "utils/base/LastError_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagText_p.h"

#include <QIODevice>
#include <QTextStream>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace Utils {

static constexpr int chunkSize = 1 << 16;

template <typename Append>
void TagFilePrivate::write(const Append &append)
{
    if (!stream || stream->status() != QTextStream::Ok || (file && !file->isWritable()))
        return;
    try {
        QString text;
        append(text);
        *stream << text;
    } catch (const std::bad_alloc &) {
        stream->setStatus(QTextStream::WriteFailed); // also discards its buffer
        hasNoMemory = true;
    }
}

bool TagFile::open(const Data::String &path, Data::String &error)
{
    const LastError operation;
    if (path.isEmpty())
        return LastError::set(".err.noname");
    close();
    try {
        // Both are allocated before the old file is overwritten.
        auto file = makeOutput(path);
        auto stream = std::make_unique<QTextStream>(file.get());
        stream->setCodec("UTF-8");
        if (openOutput(*file)) {
            d->stream = stream.release();
            d->file = file.release();
            d->hasNoMemory = false;
            return true;
        }
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
    }
    tell(error, ".err.filewrite", path);
    return false;
}

void TagFile::close()
{
    if (!d->stream)
        return;
    const LastError operation;
    if (d->hasNoMemory)
        LastError::set(".err.memory");
    try {
        d->stream->flush();
        finishOutput(*d->file, d->stream->status() == QTextStream::Ok);
    } catch (const std::bad_alloc &) {
        d->stream->setStatus(QTextStream::WriteFailed); // or its destructor would throw
        LastError::set(".err.memory");
    }
    delete d->stream;
    delete d->file;
    d->stream = nullptr;
    d->file = nullptr;
}

TagFile &TagFile::writeFileType(const Data::String &name, const Data::String &version,
                                const Data::String &comment)
{
    d->write([&](QString &text) {
        appendTag(text, QLatin1String(typeTagName), comment, /*blankLine=*/false, d->options);
        appendProperty(text, QStringLiteral("name"), name, d->options);
        if (!version.isEmpty())
            appendProperty(text, QStringLiteral("version"), version, d->options);
    });
    return *this;
}

TagFile &TagFile::writeTag(const Data::String &name, const Data::String &comment, bool blankLine)
{
    d->write([&](QString &text) { appendTag(text, name, comment, blankLine, d->options); });
    return *this;
}

TagFile &TagFile::writeProperty(const Data::String &key, const Data::String &value)
{
    d->write([&](QString &text) { appendProperty(text, key, value, d->options); });
    return *this;
}

// Writing all tags

/// Prefetches \p text, if the compiler supports it.
static void prefetch(const QString &text)
{
#ifdef __GNUC__
    __builtin_prefetch(const_cast<QString &>(text).data_ptr()); // a pointer, without a copy
#else
    Q_UNUSED(text);
#endif
}

/// Prefetches all texts of a tag that will be written soon. Waiting for them one by one takes
/// longer than writing them.
static void prefetch(const TagFile::Tag &tag)
{
    const int count = std::min(tag.numProps(), 64); // more would displace the first ones
    for (int i = 0; i < count; ++i) {
        prefetch(tag.keys[i]);
        prefetch(tag.values[i]);
    }
}

template <typename Sink>
void TagFilePrivate::writeTags(Sink &sink) const
{
    const bool isSeparating = options & TagFile::BlankLines;
    bool separate = isSeparating;
    for (int at = 0; at < tags.size(); ++at) {
        if (at + 2 < tags.size())
            prefetch(tags.at(at + 2));
        const TagFile::Tag &tag = tags.at(at);
        const int count = tag.numProps();
        const bool blankLine = isSeparating && (count > 0 || separate);
        if (tag.isValid())
            sink.tag(tag.name, tag.comment, blankLine && at > 0);
        sink.properties(tag, count);
        separate = count > 0 && blankLine;
    }
}

/// Writes to a text.
class TextSink
{
public:
    explicit TextSink(int options) : m_options(options) {}

    void tag(const QString &name, const QString &comment, bool blankLine)
    {
        appendTag(text, name, comment, blankLine, m_options);
    }
    void properties(const TagFile::Tag &tag, int count)
    {
        for (int i = 0; i < count; ++i)
            appendProperty(text, tag.keys[i], tag.values[i], m_options);
    }

    QString text;

private:
    const int m_options;
};

static constexpr int stride = 4;

/// A number with \p unit in each of its four 16-bit parts.
static constexpr quint64 inEach(quint64 unit) { return unit * 0x0001000100010001; }

/// Writes \p stride characters to \p target, one byte each. Returns false, with undefined bytes,
/// when one is not ASCII or equals the character in each 16-bit part of \p special.
static bool narrowFour(const QChar *source, char *target, quint64 special)
{
    quint64 units;
    std::memcpy(&units, source, sizeof(units));
    const quint64 others = units ^ special; // zero in the part of a special character
    const quint64 found = (others - inEach(1)) & ~others & inEach(0x8000);
    const quint64 pairs = (units | units >> 8) & 0x0000ffff0000ffff;
    const quint32 bytes = static_cast<quint32>(pairs | pairs >> 16);
    std::memcpy(target, &bytes, sizeof(bytes));
    return (found | (units & inEach(0xff80))) == 0;
}

/// The same for a text of any length.
static bool narrow(const QString &text, char *target, ushort special)
{
    const QChar *const source = text.constData();
    const int size = text.size();
    if (size < stride) {
        for (int i = 0; i < size; ++i) {
            const ushort unit = source[i].unicode();
            if (unit > 0x7f || unit == special)
                return false;
            target[i] = static_cast<char>(unit);
        }
        return true;
    }
    for (int i = 0; i + stride < size; i += stride) {
        if (!narrowFour(source + i, target + i, inEach(special)))
            return false;
    }
    // The last characters, some of them for the second time.
    const int last = size - stride;
    return narrowFour(source + last, target + last, inEach(special));
}

/// Writes UTF-8 directly to a file: through a QTextStream, most of the time would be its overhead
/// per text.
class FileSink
{
public:
    FileSink(QIODevice &file, int options)
        : m_file(file), m_options(options), m_chunk(std::make_unique<char[]>(chunkSize))
    {}

    void tag(const QString &name, const QString &comment, bool blankLine)
    {
        char *const target = room(qint64(name.size()) + 3);
        if (target && comment.isEmpty() && !isComment(name) &&
            narrow(name, target + blankLine + 1, nothing))
        {
            target[0] = '\n';
            target[blankLine] = '*';
            target[blankLine + 1 + name.size()] = '\n';
            m_size += blankLine + name.size() + 2;
            return;
        }
        appendTag(m_text, name, comment, blankLine, m_options);
        addText();
    }

    void properties(const TagFile::Tag &tag, int count)
    {
        for (int i = 0; i < count; ++i) {
            if (writePlainly(tag.keys[i], tag.values[i]))
                continue;
            appendProperty(m_text, tag.keys[i], tag.values[i], m_options);
            addText();
        }
    }

    /// Whether all tags were written, after flush().
    bool isWhole() const { return !m_isFull; }

    void flush()
    {
        // Stops when the disk is full: anything after a gap would be useless.
        m_isFull = m_isFull || m_file.write(m_chunk.get(), m_size) != m_size;
        m_size = 0;
    }

private:
    static constexpr ushort nothing = 0x80; // not ASCII, so no character is special

    /// The room for the next \p size bytes; null when they are more than a chunk.
    char *room(qint64 size)
    {
        if (size > chunkSize)
            return nullptr;
        if (m_size + size > chunkSize)
            flush();
        return m_chunk.get() + m_size;
    }

    /// Writes a property with an ASCII key and an ASCII value in one line, as most are. Returns
    /// false and writes nothing for others.
    bool writePlainly(const QString &key, const QString &value)
    {
        if (key.size() == 1 && isComment(key))
            return false;
        if (value.isEmpty() && isLeftOut(value, m_options))
            return true;
        const bool mayChange = value.isEmpty() || value.size() == 4 || value.size() == 5;
        const QString word = mayChange ? oneLineValue(value, m_options) : QString();
        const QString &text = mayChange ? word : value;

        char *target = room(qint64(key.size()) + text.size() + 3);
        if (!target || !narrow(key, target, ':') || !narrow(text, target + key.size() + 2, '\n'))
            return false;
        target += key.size();
        target[0] = ':';
        target[1] = ' ';
        target[2 + text.size()] = '\n';
        m_size += key.size() + text.size() + 3;
        return true;
    }

    /// Adds the lines that were appended to m_text. They never end within a surrogate pair.
    void addText()
    {
        const QByteArray bytes = m_text.toUtf8();
        m_text.resize(0);
        if (char *const target = room(bytes.size())) {
            std::memcpy(target, bytes.constData(), bytes.size());
            m_size += bytes.size();
            return;
        }
        flush();
        m_isFull = m_isFull || m_file.write(bytes) != bytes.size();
    }

    QIODevice &m_file;
    const int m_options;
    std::unique_ptr<char[]> m_chunk;
    int m_size = 0; // of the bytes in the chunk
    QString m_text;
    bool m_isFull = false;
};

bool TagFile::save(const Data::String &path, Data::String &error)
{
    const LastError operation;
    if (path.isEmpty())
        return LastError::set(".err.noname");
    close();
    try {
        const std::unique_ptr<QIODevice> file = makeOutput(path);
        FileSink sink(*file, d->options); // allocates before the old file is overwritten
        if (openOutput(*file)) {
            d->writeTags(sink);
            sink.flush();
            if (finishOutput(*file, sink.isWhole()))
                return true;
        }
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
    }
    tell(error, ".err.filewrite", path);
    return false;
}

bool TagFile::save(const Data::String &path, QStringList &errors)
{
    Data::String error;
    const bool isSaved = save(path, error);
    if (!isSaved && !path.isEmpty())
        append(errors, error);
    return isSaved;
}

Data::String TagFile::toString()
{
    close();
    try {
        TextSink sink(d->options);
        d->writeTags(sink);
        return sink.text;
    } catch (const std::bad_alloc &) {
        return {};
    }
}

} // namespace Utils
