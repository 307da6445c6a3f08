#include "utils/files/LogFile.h"

#include "utils/base/FileName_p.h"
#include "utils/files/File.h"
#include "utils/text/DateTime.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <new>

namespace Utils {

class LogFilePrivate
{
public:
    bool open(const Data::String &name);

    Data::String path;
    QFile file;
    bool removeIfEmpty = false;
    bool hasTimestamp = false;
    bool isOurs = false; // was opened, and so truncated, by this log
};

bool LogFilePrivate::open(const Data::String &name)
{
    file.setFileName(pathForQt(name));
    // In append mode, so that an entry never overwrites others: if the size is unknown, the seek to
    // the end fails or goes to the start.
    isOurs =
        isName(name) && file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Append);
    return isOurs;
}

/// Whether the running program is in \p folder and has a name without the suffix ".exe".
static bool isFolderOfPlainProgram(const Data::String &folder)
{
    if (!QCoreApplication::instance())
        return false;
    const bool hasSuffix = QCoreApplication::applicationFilePath().endsWith(QLatin1String(".exe"),
                                                                            Qt::CaseInsensitive);
    return !hasSuffix && File::isSamePath(File::absolutePath(folder, Data::String()),
                                          QCoreApplication::applicationDirPath());
}

/// Whether a log at \p path would be in a folder of programs.
static bool isBesidePrograms(const Data::String &path)
{
    Data::String folder = File::parentFolder(path);
    if (folder == QLatin1String("."))
        folder = QDir::currentPath();
    const auto holds = [&](const char *text) { return folder.contains(QLatin1String(text)); };
    if (holds("code") && (holds("comp") || holds("apps")))
        return true;

    Data::String companion = path;
    companion.replace(QLatin1String(".log"), QLatin1String(".exe"));
    return QFile::exists(companion) || isFolderOfPlainProgram(folder);
}

LogFile::LogFile(const Data::String &path, bool removeIfEmpty)
    : d(std::make_unique<LogFilePrivate>())
{
    d->path = path;
    d->removeIfEmpty = removeIfEmpty;
    if (path.isEmpty() || (!isBesidePrograms(path) && d->open(path)))
        return;
    d->path = File::join(QDir::homePath(), QFileInfo(path).fileName());
    d->open(d->path);
}

LogFile::~LogFile()
{
    d->file.close();
    // A file that could not be opened belongs to another owner.
    if (!d->removeIfEmpty || !d->isOurs)
        return;
    try {
        // A file whose status cannot be read, for which Qt reports the size 0 and no regular file,
        // may have content.
        const QFileInfo left(d->file.fileName());
        if (left.isFile() && left.size() == 0)
            d->file.remove();
    } catch (const std::bad_alloc &) {
        // The empty file stays.
    }
}

LogFile &LogFile::append(const Data::String &text, bool newLine)
{
    if (!isValid())
        return *this;

    Data::String entry;
    if (d->hasTimestamp)
        entry = DateTime().toString("hh:mm:ss.zzz: ");
    entry += text;
    if (newLine)
        entry += QLatin1Char('\n');
    d->file.seek(d->file.size()); // other users of the QFile may have moved it
    d->file.write(entry.toUtf8());
    d->file.flush();
    return *this;
}

bool LogFile::isValid() const { return d->file.handle() != -1; }

QObject *LogFile::object() const { return &d->file; }

Data::String LogFile::path() const { return d->path; }

bool LogFile::setPath(const Data::String &path)
{
    if (isValid() || !d->path.isEmpty() || path.isEmpty())
        return false;
    return d->open(path) && isValid();
}

void LogFile::setTimestamp(bool enabled) { d->hasTimestamp = enabled; }

} // namespace Utils
