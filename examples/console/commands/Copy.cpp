// kelm copy: copies a file, or a folder with all below it.

#include "examples/console/Files.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace Kelm {

using Utils::File;

static void declare(QCommandLineParser &parser)
{
    parser.addOption({"overwrite",
                      "What happens to files that exist already: always, never, or newer for "
                      "those only that are older than their sources. It is always otherwise.",
                      "WHEN", "always"});
}

static Result copyFile(const QString &source, const QString &target, int overwrite)
{
    // Checked first: the target is removed before the source is opened.
    const QString problem = whyUnreadable(source);
    if (!problem.isEmpty())
        return failed(problem);
    const QString path = File::isDir(target)
                             ? File::join(target, File::base(source, /*withExtension=*/true))
                             : Data::String(target);
    if (isDevice(path))
        return failed(QString("Cannot replace \"%1\": It is no file").arg(path));
    return File::copy(source, target, overwrite) ? good() : failed(File::lastError());
}

static bool hasSameContents(const QString &one, const QString &other)
{
    const qint64 chunk = 65536;
    QFile first(one);
    QFile second(other);
    if (!first.open(QIODevice::ReadOnly) || !second.open(QIODevice::ReadOnly))
        return false;
    while (!first.atEnd()) {
        if (first.read(chunk) != second.read(chunk))
            return false;
    }
    return second.atEnd();
}

/// A copy of a folder. The library does not report single files that failed, so the folder is
/// checked before and after the copy.
class FolderCopy
{
public:
    FolderCopy(const QString &source, const QString &target, int overwrite)
        : m_source(source), m_copy(File::join(target, File::base(source))),
          m_files(File::search(source, "*"))
    {
        for (const QString &file : qAsConst(m_files)) {
            const QString old = copyOf(file);
            const bool isOlder = File::timestamp(old) < File::timestamp(file);
            if (QFileInfo::exists(old) && (overwrite > 0 || (overwrite < 0 && isOlder)))
                m_replaced.insert(file);
        }
    }

    QString target() const { return m_copy; }
    int numFiles() const { return m_files.size(); }

    /// Returns a file that has the path of a folder of the copy, or "". The library would copy the
    /// files of the folder onto that file.
    QString fileInTheWay() const
    {
        for (const QString &file : m_files) {
            const QFileInfo folder(File::parentFolder(copyOf(file)));
            if (folder.exists() && !folder.isDir())
                return folder.filePath();
        }
        return {};
    }

    /// Returns the files that are not as expected after the copy.
    QStringList failedFiles() const
    {
        QStringList files;
        for (const QString &file : m_files) {
            const QString copy = copyOf(file);
            if (!QFileInfo(copy).isFile() ||
                (m_replaced.contains(file) && !hasSameContents(file, copy)))
                files.append(file);
        }
        return files;
    }

private:
    QString copyOf(const QString &file) const { return m_copy + file.mid(m_source.size()); }

    QString m_source;
    QString m_copy;
    QStringList m_files;
    QSet<QString> m_replaced;
};

static Result copyFolder(const QString &source, const QString &target, int overwrite)
{
    const FolderCopy copy(source, target, overwrite);
    const QString inTheWay = copy.fileInTheWay();
    if (!inTheWay.isEmpty())
        return failed(QString("Cannot make the folder \"%1\": There is a file").arg(inTheWay));
    if (File::copyDir(source, target, overwrite, /*cancelable=*/true) < 0)
        return cancelled();
    const QString reason = File::lastError();

    const QStringList failedFiles = copy.failedFiles();
    if (!failedFiles.isEmpty()) {
        const QString count = QString("%1 of %2 files could not be copied")
                                  .arg(failedFiles.size())
                                  .arg(copy.numFiles());
        return failed(reason.isEmpty()
                          ? QString("%1, the first is \"%2\"").arg(count, failedFiles.first())
                          : QString("%1: %2").arg(count, reason));
    }
    const QString problem = whyUnreadableFolder(source, /*recursive=*/true);
    if (!problem.isEmpty())
        return failed(problem);
    if (File::isDir(copy.target()))
        return good();
    return failed(reason.isEmpty() ? QString("Cannot make \"%1\"").arg(copy.target()) : reason);
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QString source = given.positionalArguments().at(0);
    const QString target = given.positionalArguments().at(1);
    const int place = QStringList{"newer", "never", "always"}.indexOf(given.value("overwrite"));
    if (place < 0)
        return misused("--overwrite must be always, never or newer");
    if (target.isEmpty())
        return misused("TARGET must not be empty");
    const int overwrite = place - 1;

    return File::isDir(source) ? copyFolder(File::cleanPath(source), target, overwrite)
                               : copyFile(source, target, overwrite);
}

const Command copyCommand = {
    "copy",
    "SOURCE TARGET",
    2,
    2,
    "Copies a file, or into the folder TARGET a folder with all below it.",
    declare,
    run,
};

} // namespace Kelm
