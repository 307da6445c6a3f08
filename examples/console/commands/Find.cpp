// kelm find: finds files by name and content, or a resource by its name.

#include "examples/console/Files.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

#include <QTextCodec>

#include <algorithm>

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
         "this option it is guessed for each file, and a text that is not ASCII is searched in "
         "every encoding that the file may have.",
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

/// Whether \p text has what the user searches for.
static bool matches(const QCommandLineParser &given, const QString &text)
{
    if (given.isSet("contains") && !text.contains(given.value("contains")))
        return false;
    const auto rule = given.isSet("ignore-case") ? Qt::CaseInsensitive : Qt::CaseSensitive;
    return !given.isSet("word") || hasWord(text, given.value("word"), rule);
}

/// Encodings whose texts cannot be told from those of the fallback encoding.
static const char *const otherEncodings[] = {
    "ISO-8859-15",  "windows-1250", "windows-1251", "windows-1253", "windows-1254", "windows-1255",
    "windows-1256", "windows-1257", "windows-1258", "KOI8-R",       "KOI8-U",       "Shift_JIS",
    "EUC-JP",       "EUC-KR",       "GB18030",      "Big5",
};

/// Whether the file matches in one of these encodings, in which the user's text has other bytes.
static bool matchesInOtherEncoding(const QCommandLineParser &given, const QString &path)
{
    const QString wanted = given.value(given.isSet("contains") ? "contains" : "word");
    const auto isAscii = [](QChar c) { return c.unicode() < 0x80; };
    bool isGuess = false;
    if (std::all_of(wanted.begin(), wanted.end(), isAscii) ||
        File::encoding(path, &isGuess) != File::fallbackEncoding() || !isGuess)
        return false;
    return std::any_of(std::begin(otherEncodings), std::end(otherEncodings), [&](const char *name) {
        const QTextCodec *const codec = QTextCodec::codecForName(name);
        return codec && codec->canEncode(wanted) && matches(given, textOf(path, name));
    });
}

static bool hasText(const QCommandLineParser &given, const QString &path)
{
    if (!given.isSet("contains") && !given.isSet("word"))
        return true;
    const QString encoding = given.value("encoding");
    const QString text = textOf(path, encoding);
    return matches(given, text) ||
           (encoding == "auto" && !text.isEmpty() && matchesInOtherEncoding(given, path));
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
    const QString patterns = arguments.size() > 1 ? arguments.mid(1).join(';') : QString("*");
    QStringList files = File::search(folder, patterns, !given.isSet("flat"));
    const QString reason = File::lastError();
    if (!reason.isEmpty())
        return failed(reason);
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
