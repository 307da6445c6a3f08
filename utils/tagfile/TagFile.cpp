#include "utils/tagfile/TagFile.h"

#include "utils/catalogue/Catalogue_p.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagText_p.h"

#include <QFile>
#include <QTextStream>

#include <algorithm>
#include <new>
#include <utility>

namespace Utils {

using Tag = TagFile::Tag;

static const char *const messagesName = "_errmsg";

void tell(Data::String &error, const char *id, const Data::String &path)
{
    try {
        error = message(".Kelm.Utils", id, {path});
    } catch (const std::bad_alloc &) {
        // the result false suffices
    }
}

void append(QStringList &errors, const Data::String &error)
{
    try {
        errors.append(error);
    } catch (const std::bad_alloc &) {
        // the result false suffices
    }
}

// The tags that represent a failed search are never destroyed: static objects of a host may still
// search for tags when the process ends.

/// The result of a failed search.
static const Tag &noTagFound()
{
    static const auto &none = *new Tag(Data::String());
    return none;
}

static Data::String headerValue(const Tag &first, const char *key)
{
    return first.name == Data::String(typeTagName) ? first.get(key, 0) : Data::String();
}

TagFile::TagFile() : d(std::make_unique<TagFilePrivate>()) {}

TagFile::TagFile(const Data::String &path) : TagFile()
{
    d->filename = path;
    Data::String error;
    read(path, error);
}

TagFile::~TagFile()
{
    // A new content beside the old one is discarded.
    if (!d->file || qobject_cast<QFile *>(d->file))
        return;
    d->stream->setStatus(QTextStream::WriteFailed); // or its destructor would write
    delete d->stream;
    delete d->file;
}

Data::String TagFile::filename() const { return d->filename; }

int TagFile::options() const { return d->options; }

void TagFile::setOption(int option, bool on)
{
    d->options = on ? d->options | option : d->options & ~option;
}

// Tags

Tag &TagFile::addFileType(const Data::String &name, const Data::String &version,
                          const Data::String &comment)
{
    auto tag = std::make_unique<Tag>(typeTagName);
    tag->comment = comment;
    tag->add("name", name).add("version", version);
    return d->tags.prependLent(std::move(tag));
}

Tag &TagFile::addTag(const Data::String &name, const Data::String &comment)
{
    Tag &tag = d->tags.appendLent(std::make_unique<Tag>(name));
    tag.comment = comment;
    return tag;
}

void TagFile::addTag(const Tag &tag)
{
    if (tag.isValid())
        d->tags.append(std::make_unique<Tag>(tag));
}

void TagFile::addComment(const Data::String &text) { addTag("$", text); }

bool TagFile::removeTag(int index)
{
    if (index < 0 || index >= numTags())
        return false;
    d->tags.remove(index);
    return true;
}

void TagFile::clear() { d->tags.clear(); }

int TagFile::numTags() const { return d->tags.size(); }

const Tag &TagFile::tag(int index) const
{
    static const auto &none = *new Tag(Data::String());
    return index >= 0 && index < numTags() ? d->tags.at(index) : none;
}

Tag &TagFile::mtag(int index)
{
    static auto &none = *new Tag(Data::String());
    return index >= 0 && index < numTags() ? d->tags.lend(index) : none;
}

const Tag *TagFile::tag(const Data::String &name, int &index) const
{
    if (index < 0 || index >= numTags())
        return nullptr;
    const int found = d->tags.find(name, Data::String(), Data::String(), index);
    index = found < numTags() ? found : -1;
    return index < 0 ? nullptr : &d->tags.at(index);
}

const Tag &TagFile::findTag(const Data::String &name) const
{
    int index = 0;
    const Tag *const found = tag(name, index);
    return found ? *found : noTagFound();
}

const Tag &TagFile::findTag(const Data::String &name, const Data::String &key,
                            const Data::String &value, int *index) const
{
    // A missing key has the value "", so an empty value needs no separate test.
    const int found = d->tags.find(name, key, value, index ? std::max(*index, 0) : 0);
    const bool isFound = found < numTags();
    if (index)
        *index = isFound ? found : -1;
    return isFound ? d->tags.at(found) : noTagFound();
}

Data::String TagFile::fileType() const { return headerValue(tag(0), "name"); }

Data::String TagFile::fileVersion() const { return headerValue(tag(0), "version"); }

// Meta values

QVariant TagFile::getMeta(const Data::String &name) { return d->meta[name]; }

void TagFile::setMeta(const Data::String &name, const Data::Variant &value)
{
    if (value.isValid())
        d->meta.insert(name, value);
    else
        d->meta.remove(name);
}

void TagFile::setMeta(const QMap<Data::String, Data::Variant> &values)
{
    for (auto entry = values.begin(); entry != values.end(); ++entry)
        d->meta.insert(entry.key(), *entry);
}

void TagFile::addErrorMessage(const Data::String &message)
{
    // Taken out of the entry, so that the text is not shared and grows in place.
    Data::Variant &entry = d->meta[messagesName];
    Data::String text = entry.toString();
    entry = Data::Variant();
    const int size = text.size();
    try {
        if (size > 0)
            text += QLatin1Char('\n');
        text += message;
    } catch (const std::bad_alloc &) {
        text.truncate(size);
        entry = text;
        throw;
    }
    entry = text;
}

Data::String TagFile::errorMessage(bool clear)
{
    Data::String text = getMeta(messagesName).toString();
    if (clear)
        d->meta.remove(messagesName);
    return text;
}

} // namespace Utils
