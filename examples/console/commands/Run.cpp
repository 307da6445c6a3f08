// kelm run: runs a script file.

#include "examples/console/Files.h"
#include "examples/console/Host.h"
#include "examples/console/Scripts.h"
#include "examples/console/commands/Commands.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"
#include "utils/signals/Slot.h"

namespace Kelm {

using Utils::ScriptManager;

static void declare(QCommandLineParser &parser)
{
    // Everything after the script is an argument of the script.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
}

/// Reports each script that was run, also those that scripts run.
struct ScriptReport
{
    Host &host;

    void show(const Data::VariantCollection &payload)
    {
        host.showMessage("ScriptExecuted: path " + payload["path"].toString() + ", result " +
                             payload["result"].toString(),
                         true);
    }
};

/// Sets the arguments of a script, and lets it import the modules beside it.
static bool prepare(const QStringList &arguments, Data::String &error)
{
    ScriptManager &scripts = ScriptManager::instance();
    scripts.pushData("sys.argv", arguments, "py");
    Data::Variant result;
    return scripts.execute("import os, sys\n"
                           "sys.path.insert(0, os.path.dirname(os.path.abspath(sys.argv[0])))\n"
                           "del os, sys\n",
                           "py", result, error);
}

static Result run(const QCommandLineParser &given, Host &host)
{
    const QString path = given.positionalArguments().constFirst();
    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);
    if (!ScriptManager::instance().supports(path))
        return failed(QString("Nothing here runs \"%1\"").arg(path));
    Data::String error;
    if (!startScripts(error) || !prepare(given.positionalArguments(), error))
        return failed(error);

    ScriptReport report{host};
    Utils::Slot executed("ScriptReport", nullptr);
    executed.setCallback(&report, &ScriptReport::show);
    ScriptManager::instance().ScriptExecuted().connect(&executed);

    const bool isGood = ScriptManager::instance().execute(path);
    if (host.hasCancelled())
        return cancelled();
    return isGood ? good() : failed(QString("The script \"%1\" has failed").arg(path));
}

const Command runCommand = {
    "run",
    "SCRIPT [ARGUMENT...]",
    1,
    -1,
    "Runs a script, whose arguments are in sys.argv.",
    declare,
    run,
};

} // namespace Kelm
