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
    const QString error = whyUnwritable(path);
    if (!error.isEmpty())
        return error;
    // Whether all could be written is not told by the call: the disk may be full.
    const QByteArray bytes = text.toUtf8();
    const bool isOpen = File::writeRaw(path, bytes);
    return isOpen && File::size(path) == bytes.size()
               ? QString()
               : QString("Cannot write all of \"%1\"").arg(path);
}

} // namespace Kelm
