// kelm find: finds files by name and content, or a resource by its name.

#include "examples/console/Files.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

namespace Kelm {

using Utils::File;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"flat", "Does not search the folders of FOLDER."},
        {"contains", "Finds only text files that contain TEXT.", "TEXT"},
        {"word", "Finds only text files that contain WORD.", "WORD"},
        {"ignore-case", "With --word: ignores case."},
        {"encoding",
         "With --contains and --word: the encoding of the files, such as windows-1252. Without "
         "this "
         "option it is guessed for each file.",
         "NAME", "auto"},
        {"details", "Prints the size and the time of each file."},
        {"resource", "Finds the resource NAME instead, such as Kelm.Utils_de.", "NAME"},
        {"suffixes", "With --resource: the suffixes that it may have, between \";\".", "SUFFIXES",
         ".xml"},
    });
}

/// Returns the text of a file, or "" when it is no text.
static QString textOf(const QString &path, const QString &encoding)
{
    QString text = File::read(path, encoding);
    if (encoding != "auto" || !text.contains(QChar::Null))
        return text;
    // Each byte is valid in the fallback encoding, even those of a picture.
    return File::encoding(path) == File::fallbackEncoding() ? QString() : text;
}

/// Whether \p text has \p word between characters that are neither letters nor digits.
static bool hasWord(const QString &text, const QString &word, Qt::CaseSensitivity rule)
{
    const auto isBoundary = [&](int position) {
        return position < 0 || position >= text.size() || !text.at(position).isLetterOrNumber();
    };
    for (int at = text.indexOf(word, 0, rule); at >= 0; at = text.indexOf(word, at + 1, rule)) {
        if (isBoundary(at - 1) && isBoundary(at + word.size()))
            return true;
    }
    return false;
}

static bool hasText(const QCommandLineParser &given, const QString &path)
{
    if (!given.isSet("contains") && !given.isSet("word"))
        return true;
    const QString text = textOf(path, given.value("encoding"));
    if (given.isSet("contains") && !text.contains(given.value("contains")))
        return false;
    const auto rule = given.isSet("ignore-case") ? Qt::CaseInsensitive : Qt::CaseSensitive;
    return !given.isSet("word") || hasWord(text, given.value("word"), rule);
}

static void printFiles(const QStringList &paths)
{
    for (const QString &path : paths)
        print(path);
}

static void printDetails(const QStringList &paths)
{
    Utils::CSVTable table("  ");
    for (const QString &path : paths)
        table.appendData(QStringList{File::sizeString(path), File::timestampString(path), path});
    printAligned(table, /*leftColumn=*/2);
}

static Result findResource(const QString &name, const QString &suffixes)
{
    const QString path = File::findResource(name, suffixes);
    if (path.isEmpty())
        return failed(QString("There is no resource \"%1\"").arg(name));
    print(path);
    return good();
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QStringList arguments = given.positionalArguments();
    if (given.isSet("resource") != arguments.isEmpty())
        return misused("Either a FOLDER or --resource must be given");
    if (!isEncoding(given.value("encoding")))
        return misused("--encoding must be the name of an encoding, or auto");
    if (given.isSet("resource"))
        return findResource(given.value("resource"), given.value("suffixes"));

    const QString folder = arguments.constFirst();
    if (!File::isDir(folder))
        return failed(QString("There is no folder \"%1\"").arg(folder));
    const QString patterns = arguments.size() > 1 ? arguments.mid(1).join(';') : QString("*");
    QStringList files = File::search(folder, patterns, !given.isSet("flat"));
    files.sort();

    QStringList found;
    Utils::Progress progress(files.size(), "Searching " + folder, /*cancelable=*/true);
    for (const QString &path : qAsConst(files)) {
        if (hasText(given, path))
            found.append(path);
        if (!progress.tick())
            return cancelled();
    }
    if (given.isSet("details"))
        printDetails(found);
    else
        printFiles(found);
    const QString problem = whyUnreadableFolder(folder, !given.isSet("flat"));
    return problem.isEmpty() ? good() : failed(problem);
}

const Command findCommand = {
    "find", "FOLDER [PATTERN...]", 0, -1, "Finds files by name and content.", declare, run,
};

} // namespace Kelm
