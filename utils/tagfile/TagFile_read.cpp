#include "utils/tagfile/TagFile.h"

#include "utils/base/FileName_p.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagReader_p.h"

#include <QFile>

#include <iterator>
#include <new>

namespace Utils {

bool TagFile::read(const Data::String &path, Data::String &error)
{
    if (path.isEmpty())
        return false;
    try {
        QFile file(path);
        TagList tags;
        if (!hasZeroByte(path) && file.open(QIODevice::ReadOnly) &&
            readTags(file, d->options, tags)) {
            d->tags.insert(d->tags.end(), std::make_move_iterator(tags.begin()),
                           std::make_move_iterator(tags.end()));
            return true;
        }
    } catch (const std::bad_alloc &) {
        // reported as a file that cannot be read
    }
    tell(error, ".err.fileread", path);
    return false;
}

bool TagFile::read(const Data::String &path, QStringList &errors)
{
    Data::String error;
    const bool isRead = read(path, error);
    if (!isRead && !path.isEmpty())
        append(errors, error);
    return isRead;
}

bool TagFile::read(QTextStream &in, Data::String &)
{
    try {
        readTags(in, d->options, d->tags);
    } catch (const std::bad_alloc &) {
        // The tags that were read completely remain.
    }
    return true;
}

} // namespace Utils
