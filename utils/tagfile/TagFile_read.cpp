#include "utils/tagfile/TagFile.h"

#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagReader_p.h"

#include <QFile>

#include <new>
#include <utility>

namespace Utils {

bool TagFile::read(const Data::String &path, Data::String &error)
{
    const LastError operation;
    if (path.isEmpty())
        return LastError::set(".err.noname");
    try {
        QFile file(pathForQt(path));
        TagList tags;
        if (!hasZeroByte(path) && file.open(QIODevice::ReadOnly) &&
            readTags(file, d->options, tags)) {
            d->tags.append(std::move(tags));
            return true;
        }
        LastError::cannotRead(file);
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
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
        d->tags.appendFrom([&](TagList &tags) { readTags(in, d->options, tags); });
    } catch (const std::bad_alloc &) {
        // The tags that were read completely remain.
    }
    return true;
}

} // namespace Utils
