// kelm eval: runs a text of script, and prints its value.

#include "examples/console/Output.h"
#include "examples/console/Scripts.h"
#include "examples/console/commands/Commands.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

namespace Kelm {

using Utils::ScriptManager;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"set", "Sets a variable first, to a number or else a text. May be given several times.",
         "NAME=VALUE"},
        {"variable",
         "Prints the variable NAME at the end. A single line without \"=\" is an expression, and "
         "has a value without this option.",
         "NAME"},
        {"json", "Prints the error of a text that fails as a line of JSON."},
    });
}

static Data::Variant valueOf(const QString &text)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber ? Data::Variant(number) : Data::Variant(text);
}

static Result run(const QCommandLineParser &given, Host &)
{
    Data::String error;
    if (!startScripts(error))
        return failed(error);
    ScriptManager &scripts = ScriptManager::instance();
    for (const QString &assignment : given.values("set")) {
        const QString name = assignment.section('=', 0, 0);
        if (name.isEmpty() || !assignment.contains('='))
            return misused("--set must be NAME=VALUE");
        scripts.pushData(name, valueOf(assignment.section('=', 1)), "py");
    }

    Data::Variant result = given.value("variable"); // its name at first, then its value
    const InterruptibleScript interruptible;
    if (!scripts.execute(given.positionalArguments().constFirst(), "py", result, error)) {
        if (given.isSet("json"))
            print(scripts.error().toJson());
        return scripts.error().isInterrupted() ? cancelled() : failed(error);
    }
    if (!result.isValid() && given.isSet("variable"))
        return failed(QString("There is no value in \"%1\"").arg(given.value("variable")));
    if (result.isValid())
        print(result.toString());
    return good();
}

const Command evalCommand = {
    "eval", "CODE", 1, 1, "Runs a text of script and prints its value.", declare, run,
};

} // namespace Kelm
