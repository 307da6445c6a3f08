// kelm check: tells whether scripts could be run, without running them.

#include "examples/console/Files.h"
#include "examples/console/Scripts.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"
#include "utils/script/ScriptManager.h"

namespace Kelm {

static void declare(QCommandLineParser &) {}

static Result run(const QCommandLineParser &given, Host &)
{
    Data::String error;
    if (!startScripts(error))
        return failed(error);
    for (const QString &path : given.positionalArguments()) {
        const QString problem = whyUnreadable(path);
        if (!problem.isEmpty())
            return failed(problem);
        const Data::String code = Utils::File::read(path);
        if (code.isEmpty() && Utils::File::size(path) > 0)
            return failed(QString("Cannot read \"%1\": It is no text in UTF-8").arg(path));
        if (!Utils::ScriptManager::instance().validate(code, "py", error))
            return failed(QString("\"%1\": %2").arg(path, error));
    }
    return good();
}

const Command checkCommand = {
    "check", "SCRIPT...", 1, -1, "Tells whether scripts could be run.", declare, run,
};

} // namespace Kelm
