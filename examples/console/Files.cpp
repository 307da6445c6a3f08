#include "examples/console/Files.h"

#include "utils/files/File.h"

#include <cerrno>

namespace Kelm {

using Utils::File;

/// What went wrong when \p file was opened, if it is not open. Closes it.
static QString problem(const char *pattern, const QString &path, std::FILE *file)
{
    const int reason = errno;
    if (file) {
        std::fclose(file);
        return {};
    }
    return QString(pattern).arg(path, qt_error_string(reason));
}

QString whyUnreadable(const QString &path)
{
    // A pipe or a device gives what it holds once, and files are opened more often than that.
    if (File::exists(path) && !File::isFile(path) && !File::isDir(path))
        return QString("Cannot read \"%1\": It is no file").arg(path);
    return problem("Cannot read \"%1\": %2", path, File::openRead(path));
}

QString whyUnwritable(const QString &path)
{
    return problem("Cannot write \"%1\": %2", path, File::openWrite(path, /*append=*/true));
}

QString writeFile(const QString &path, const QString &text)
{
    // Not File::write(), which does not tell whether all could be written: the disk may be full.
    const QByteArray bytes = text.toUtf8();
    const std::size_t size = static_cast<std::size_t>(bytes.size());
    std::FILE *const file = File::openWrite(path, /*append=*/false);
    bool isWritten = file && std::fwrite(bytes.constData(), 1, size, file) == size;
    int reason = errno;
    if (file && std::fclose(file) != 0 && isWritten) {
        isWritten = false;
        reason = errno;
    }
    return isWritten ? QString()
                     : QString("Cannot write \"%1\": %2").arg(path, qt_error_string(reason));
}

} // namespace Kelm
