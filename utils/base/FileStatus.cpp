#include "utils/base/FileStatus_p.h"

#include "utils/base/FileName_p.h"

#include <QDateTime>
#include <QFileInfo>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Utils {

using Platform::Entry;
using Platform::EntryStatus;

/// The same as determined by Qt: for resources, paths with a prefix of QDir, and paths that the
/// system has in another encoding.
static EntryStatus statusByQt(const QString &path, bool followLinks)
{
    QFileInfo file(pathForQt(path));
    file.setCaching(false);
    if (!followLinks && file.isSymLink())
        return {Entry::Link, 0, 0};
    if (!file.exists())
        return {};
    const Entry entry = file.isFile() ? Entry::File : file.isDir() ? Entry::Folder : Entry::Other;
    const QDateTime modified = file.lastModified();
    return {entry, file.size(), modified.isValid() ? modified.toMSecsSinceEpoch() : 0};
}

EntryStatus fileStatus(const QString &path, bool followLinks)
{
    if (path.isEmpty() || path.contains(QChar::Null))
        return {};
    if (!path.startsWith(QLatin1Char(':'))) {
        const EntryStatus status = Platform::entryStatus(path.toStdString(), followLinks);
        if (status.entry != Entry::Missing)
            return status;
    }
    return statusByQt(path, followLinks);
}

unsigned int timestampOf(const EntryStatus &status)
{
    const std::int64_t most = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::clamp<std::int64_t>(status.modified / 1000, 0, most));
}

bool isSameFile(const QString &a, const QString &b)
{
    return Platform::isSameFile(a.toStdString(), b.toStdString());
}

} // namespace Utils
