#include "utils/tagfile/TagFile.h"

#include "utils/files/FileName_p.h"
#include "utils/tagfile/TagFile_p.h"
#include "utils/tagfile/TagReader_p.h"

#include <QFile>

#include <new>

namespace Utils {

template <typename Source>
void TagFilePrivate::readTags(Source &in)
{
    try {
        Utils::readTags(in, options, tags);
    } catch (const std::bad_alloc &) {
        // What was read up to here stays.
    }
}

bool TagFile::read(const Data::String &path, Data::String &error)
{
    if (path.isEmpty())
        return false;
    QFile file(path);
    if (hasZeroByte(path) || !file.open(QIODevice::ReadOnly)) {
        error = fileMessage(".err.fileread", path);
        return false;
    }
    d->readTags(file);
    return true;
}

bool TagFile::read(const Data::String &path, QStringList &errors)
{
    Data::String error;
    const bool isRead = read(path, error);
    if (!isRead && !path.isEmpty())
        errors.append(error);
    return isRead;
}

bool TagFile::read(QTextStream &in, Data::String &)
{
    d->readTags(in);
    return true;
}

} // namespace Utils
