// kelm copy: copies a file, or a folder with all below it.

#include "examples/console/Files.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace Kelm {

using Utils::File;

static void declare(QCommandLineParser &parser)
{
    parser.addOption({"overwrite",
                      "What happens to files that are there already: always, never, or newer for "
                      "those only that are older than their sources. It is always otherwise.",
                      "WHEN", "always"});
}

static Result copyFile(const QString &source, const QString &target, int overwrite)
{
    // Looked at first: what is replaced is removed before the source is opened.
    const QString problem = whyUnreadable(source);
    if (!problem.isEmpty())
        return failed(problem);
    const QString path = File::isDir(target)
                             ? File::join(target, File::base(source, /*withExtension=*/true))
                             : Data::String(target);
    if (isDevice(path))
        return failed(QString("Cannot replace \"%1\": It is no file").arg(path));
    if (File::copy(source, target, overwrite))
        return good();
    return overwrite == 0 && QFileInfo::exists(path)
               ? failed(QString("\"%1\" is there already").arg(path))
               : failed(QString("Cannot copy \"%1\" to \"%2\"").arg(source, target));
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

static Result copyFolder(const QString &source, const QString &target, int overwrite)
{
    // The copy does not tell of single files that failed, so what it is to do is looked at before.
    const QStringList files = File::search(source, "*");
    const Data::String copy = File::join(target, File::base(source));
    const auto copyOf = [&](const QString &file) { return copy + file.mid(source.size()); };
    // Onto a file that stands in the way of a folder the files of the folder would be copied.
    for (const QString &file : files) {
        const QFileInfo folder(File::parentFolder(copyOf(file)));
        if (folder.exists() && !folder.isDir())
            return failed(
                QString("Cannot make the folder \"%1\": There is a file").arg(folder.filePath()));
    }
    QSet<QString> replaced;
    for (const QString &file : files) {
        const QString old = copyOf(file);
        const bool isOlder = File::timestamp(old) < File::timestamp(file);
        if (QFileInfo::exists(old) && (overwrite > 0 || (overwrite < 0 && isOlder)))
            replaced.insert(file);
    }
    const int result = File::copyDir(source, target, overwrite, /*cancelable=*/true);
    if (result < 0)
        return cancelled();

    const auto isMissing = [&](const QString &file) {
        return !QFileInfo(copyOf(file)).isFile() ||
               (replaced.contains(file) && !hasSameContents(file, copyOf(file)));
    };
    const auto missing = std::count_if(files.begin(), files.end(), isMissing);
    if (missing > 0)
        return failed(QString("%1 of %2 files could not be copied, the first is \"%3\"")
                          .arg(missing)
                          .arg(files.size())
                          .arg(*std::find_if(files.begin(), files.end(), isMissing)));
    const QString problem = whyUnreadableFolder(source, /*recursive=*/true);
    if (!problem.isEmpty())
        return failed(problem);
    return File::isDir(copy) ? good() : failed(QString("Cannot make \"%1\"").arg(copy));
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
