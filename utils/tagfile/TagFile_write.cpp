#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagText_p.h"

#include <QFile>
#include <QTextStream>

namespace Utils {

using Tag = TagFile::Tag;

bool TagFilePrivate::canWrite() const { return stream && (!file || file->isWritable()); }

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
    if (!d->canWrite())
        return *this;
    QTextStream &out = *d->stream;
    if (blankLine)
        out << QLatin1Char('\n');
    if (!comment.isEmpty() && d->options & WriteComments)
        out << commentLines(comment) << QLatin1Char('\n');
    if (!isCommentKey(name))
        out << QLatin1Char('*') << name << QLatin1Char('\n');
    return *this;
}

TagFile &TagFile::writeProperty(const Data::String &key, const Data::String &value)
{
    if (!d->canWrite())
        return *this;
    QTextStream &out = *d->stream;
    if (isCommentKey(key)) {
        if (d->options & WriteComments)
            out << commentLines(value) << QLatin1Char('\n');
        return *this;
    }
    QString escaped = key;
    escaped.replace(QLatin1Char(':'), QLatin1String("\\:"));
    if (value.contains(QLatin1Char('\n'))) {
        out << escaped << blockStart(value) << QLatin1Char('\n') << value << QLatin1Char('\n');
        return *this;
    }
    const QString text = oneLineValue(value, d->options);
    if (!text.isEmpty())
        out << escaped << text << QLatin1Char('\n');
    return *this;
}

void TagFilePrivate::writeTags(TagFile &to) const
{
    bool separate = options & TagFile::BlankLines;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const Tag &tag = *tags[i];
        const int count = tag.numProps();
        const bool hasProperties = count > 0;
        const bool blank = options & TagFile::BlankLines && hasProperties ? true : separate;
        if (tag.isValid())
            to.writeTag(tag.name, tag.comment, blank && i > 0);
        for (int p = 0; p < count; ++p)
            to.writeProperty(tag.keys[p], tag.values[p]);
        separate = hasProperties && blank;
    }
}

bool TagFile::save(const Data::String &path, Data::String &error)
{
    if (!open(path, error))
        return false;
    d->writeTags(*this);
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
    QString text;
    delete d->stream;
    d->stream = new QTextStream(&text, QIODevice::ReadWrite);
    d->writeTags(*this);
    close();
    return text;
}

} // namespace Utils
