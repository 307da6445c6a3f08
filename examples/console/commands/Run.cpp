// kelm run: runs a script file.

#include "examples/console/Files.h"
#include "examples/console/Host.h"
#include "examples/console/Output.h"
#include "examples/console/Scripts.h"
#include "examples/console/commands/Commands.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"
#include "utils/signals/Slot.h"

#include <limits>
#include <optional>

namespace Kelm {

using Utils::ScriptManager;

static void declare(QCommandLineParser &parser)
{
    // Everything after the script is an argument of the script.
    parser.addOption({"trace", "Prints each signal that is sent on standard error."});
    parser.addOption({"limit", "Ends the script after that time.", "SECONDS"});
    parser.addOption({"json", "Prints the error of a script that fails as a line of JSON."});
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

/// Prints each send of a signal while it exists, indented by the sends in which it was made.
class Trace
{
public:
    explicit Trace(Host &host)
    {
        Utils::Signal::setTracer([&host](const Utils::SignalTrace &send) {
            const char *const shapes[] = {"empty", "one entry", "item", "collection"};
            const char *const receivers = send.receivers == 1 ? "receiver" : "receivers";
            host.printError(QString("trace: %1%2: %3, %4 %5, %6 us")
                                .arg(QString(2 * send.depth, QChar(' ')), send.name,
                                     shapes[static_cast<int>(send.shape)])
                                .arg(send.receivers)
                                .arg(receivers)
                                .arg(send.microseconds, 0, 'f', 1));
        });
    }
    ~Trace() { Utils::Signal::setTracer(nullptr); }

    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;
};

static Result run(const QCommandLineParser &given, Host &host)
{
    const QString path = given.positionalArguments().constFirst();
    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);
    if (!ScriptManager::instance().supports(path))
        return failed(QString("Nothing here runs \"%1\"").arg(path));
    if (given.isSet("limit")) {
        bool isNumber = false;
        const double limit = given.value("limit").toDouble(&isNumber) * 1000.0;
        if (!isNumber || !(limit >= 1.0 && limit <= std::numeric_limits<int>::max()))
            return misused("--limit must be a number of seconds from 0.001 to 2147483");
        ScriptManager::setTimeLimit(static_cast<int>(limit));
    }
    Data::String error;
    if (!startScripts(error) || !prepare(given.positionalArguments(), error))
        return failed(error);

    ScriptReport report{host};
    Utils::Slot executed("ScriptReport", nullptr);
    executed.setCallback(&report, &ScriptReport::show);
    ScriptManager::instance().ScriptExecuted().connect(&executed);

    std::optional<Trace> trace;
    if (given.isSet("trace"))
        trace.emplace(host);
    const InterruptibleScript interruptible;
    const bool isGood = ScriptManager::instance().execute(path);
    const Utils::ScriptError failure = ScriptManager::instance().error();
    if (!isGood && given.isSet("json"))
        print(failure.toJson());
    if (failure.isTimeLimit())
        return failed(failure.text());
    if (host.hasCancelled() || failure.isInterrupted())
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
