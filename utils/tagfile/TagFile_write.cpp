#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagText_p.h"

#include <QFile>
#include <QTextStream>

namespace Utils {

static constexpr int blockSize = 1 << 14;

void TagFilePrivate::write(const QString &text)
{
    if (stream && (!file || file->isWritable()))
        *stream << text;
}

bool TagFile::open(const Data::String &path, Data::String &error)
{
    if (path.isEmpty())
        return false;
    close();
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly)) {
        error = fileMessage(".err.filewrite", path);
        return false;
    }
    d->file = file.release();
    d->stream = new QTextStream(d->file);
    d->stream->setCodec("UTF-8");
    return true;
}

void TagFile::close()
{
    delete d->stream; // flushes into the file
    delete d->file;
    d->stream = nullptr;
    d->file = nullptr;
}

TagFile &TagFile::writeFileType(const Data::String &name, const Data::String &version,
                                const Data::String &comment)
{
    writeTag(typeTagName, comment, /*blankLine=*/false);
    writeProperty("name", name);
    if (!version.isEmpty())
        writeProperty("version", version);
    return *this;
}

TagFile &TagFile::writeTag(const Data::String &name, const Data::String &comment, bool blankLine)
{
    QString text;
    appendTag(text, name, comment, blankLine, d->options);
    d->write(text);
    return *this;
}

TagFile &TagFile::writeProperty(const Data::String &key, const Data::String &value)
{
    QString text;
    appendProperty(text, key, value, d->options);
    d->write(text);
    return *this;
}

template <typename Empty>
void TagFilePrivate::writeTags(QString &out, Empty empty) const
{
    const bool isSeparating = options & TagFile::BlankLines;
    bool separate = isSeparating;
    bool isFirst = true;
    for (const auto &tag : tags) {
        const int count = tag->numProps();
        const bool blankLine = isSeparating && (count > 0 || separate);
        if (tag->isValid())
            appendTag(out, tag->name, tag->comment, blankLine && !isFirst, options);
        for (int i = 0; i < count; ++i) {
            appendProperty(out, tag->keys[i], tag->values[i], options);
            empty();
        }
        empty();
        separate = count > 0 && blankLine;
        isFirst = false;
    }
}

bool TagFile::save(const Data::String &path, Data::String &error)
{
    if (!open(path, error))
        return false;
    // Past the stream, whose cost per text is the most of it.
    QString text;
    bool isFull = false;
    const auto flush = [&] {
        const QByteArray bytes = text.toUtf8();
        text.resize(0);
        isFull = isFull || d->file->write(bytes) != bytes.size();
    };
    d->writeTags(text, [&] {
        if (text.size() > blockSize)
            flush();
    });
    flush();
    close();
    return true;
}

bool TagFile::save(const Data::String &path, QStringList &errors)
{
    Data::String error;
    const bool isSaved = save(path, error);
    if (!isSaved && !path.isEmpty())
        errors.append(error);
    return isSaved;
}

Data::String TagFile::toString()
{
    close();
    QString text;
    d->writeTags(text, [] {});
    return text;
}

} // namespace Utils
