// kelm check: checks whether scripts could be run, without running them.

#include "examples/console/Files.h"
#include "examples/console/Scripts.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"
#include "utils/script/ScriptManager.h"

#include <QRegularExpression>

#include <algorithm>

namespace Kelm {

using Utils::File;

static void declare(QCommandLineParser &) {}

static const char byteOrderMark[] = "\xef\xbb\xbf";

static bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

/// Whether one of the first two lines declares the encoding, as Python requires of files. The
/// second line counts only after a comment or an empty line.
static bool hasCodingLine(const QString &code)
{
    static const QRegularExpression codingLine(
        "^([ \\t\\f]*(#.*)?\\r?\\n)?[ \\t\\f]*#.*coding[:=][ \\t]*[-_.a-zA-Z0-9]");
    return code.contains(codingLine);
}

static Result run(const QCommandLineParser &given, Host &)
{
    Data::String error;
    if (!startScripts(error))
        return failed(error);
    for (const QString &path : given.positionalArguments()) {
        const QString problem = whyUnreadable(path);
        if (!problem.isEmpty())
            return failed(problem);
        const Data::String code = File::read(path);
        if (code.isEmpty() && !File::lastError().isEmpty())
            return failed(File::lastError());
        if (!isAscii(code) && !hasCodingLine(code) &&
            !File::readRaw(path).startsWith(byteOrderMark))
            return failed(QString("\"%1\": It is not ASCII and has no coding line").arg(path));
        if (!Utils::ScriptManager::instance().validate(code, "py", error))
            return failed(QString("\"%1\": %2").arg(path, error));
    }
    return good();
}

const Command checkCommand = {
    "check", "SCRIPT...", 1, -1, "Checks whether scripts could be run.", declare, run,
};

} // namespace Kelm
