#include "examples/console/Files.h"

#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QDirIterator>
#include <QFileInfo>

namespace Kelm {

using Utils::File;

bool isDevice(const QString &path)
{
    const QFileInfo file(path); // not File::exists(), for which a "*" in the name is a wildcard
    return file.exists() && !file.isFile() && !file.isDir();
}

QString whyUnreadable(const QString &path)
{
    // A pipe or a device can be read only once, and files are opened more often.
    if (isDevice(path))
        return QString("Cannot read \"%1\": It is no file").arg(path);
    if (std::FILE *const file = File::openRead(path)) {
        std::fclose(file);
        return {};
    }
    return File::lastError();
}

QString whyUnreadableFolder(const QString &path, bool recursive)
{
    const QString problem = Utils::StringTable::lookup(".Kelm.Utils.err.noread");
    const auto isReadable = [](const QFileInfo &folder) {
        return folder.isReadable() && folder.isExecutable();
    };
    if (!isReadable(QFileInfo(path)))
        return problem.arg(path);
    if (!recursive)
        return {};
    QDirIterator below(path, QDir::AllDirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (below.hasNext()) {
        below.next();
        if (!isReadable(below.fileInfo()))
            return problem.arg(below.filePath());
    }
    return {};
}

bool isEncoding(const QString &name)
{
    return !name.isEmpty() && Utils::CSVTable().setEncoding(name);
}

QString writeFile(const QString &path, const QString &text)
{
    return File::writeSafely(path, text) ? QString() : QString(File::lastError());
}

} // namespace Kelm
