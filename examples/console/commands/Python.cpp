// kelm python: a console of Python.

#include "examples/console/Files.h"
#include "examples/console/History.h"
#include "examples/console/Host.h"
#include "examples/console/LineEditor.h"
#include "examples/console/Scripts.h"
#include "examples/console/Terminal.h"
#include "examples/console/commands/Commands.h"
#include "utils/script/ScriptManager.h"

#include <QFile>
#include <QVector>

#include <cstdio>

namespace Kelm {

using Utils::ScriptManager;
using Utils::ScriptReply;
using Utils::ScriptUnit;

static void declare(QCommandLineParser &parser)
{
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
}

static ScriptReply interpret(const QString &code, ScriptUnit unit = ScriptUnit::Statement)
{
    return ScriptManager::instance().interpret(code, "py", unit);
}

/// Makes the next Ctrl-C end the script that runs, if there is one, and a second one the program.
static void interruptByKey()
{
    Terminal::setInterruptFunction([] {
        ScriptManager::interrupt();
        return true;
    });
}

/// Sets the arguments as Python does, and lets scripts import the modules beside FILE, or in the
/// current folder.
static bool prepare(const QStringList &arguments, Data::String &error)
{
    ScriptManager &scripts = ScriptManager::instance();
    scripts.pushData("sys.argv", arguments.isEmpty() ? QStringList(QString("")) : arguments, "py");
    Data::Variant result;
    return scripts.execute("import os, sys\n"
                           "sys.path.insert(0, sys.argv[0] and\n"
                           "                os.path.dirname(os.path.abspath(sys.argv[0])))\n"
                           "del os, sys\n",
                           "py", result, error);
}

static QVector<Completion> complete(const QString &text)
{
    QVector<Completion> completions;
    for (const Utils::ScriptCompletion &found : ScriptManager::instance().complete(text, "py"))
        completions.append({found.name, found.signature});
    return completions;
}

static ExitCode exitCode(const ScriptReply &reply)
{
    return static_cast<ExitCode>(reply.exitStatus & 0xff);
}

/// Runs what the user types, until they leave.
static Result converse(const QCommandLineParser &given, Host &host)
{
    if (!given.isSet("quiet"))
        std::printf("Python 2.7 in kelm " KELM_VERSION ". exit() or Ctrl-D ends it.\n");
    QStringList lines; // of the statement
    LineEditor editor(
        [&](const QString &text) { return complete((lines + QStringList(text)).join('\n')); });
    History history(History::defaultPath());
    for (const QString &line : history.lines())
        editor.remember(line);
    bool isKept = true; // the history

    for (;;) {
        QString line;
        interruptByKey();
        const auto outcome = editor.read(lines.isEmpty() ? ">>> " : "... ", line);
        if (outcome == LineEditor::Outcome::End) {
            std::printf("\n");
            return good();
        }
        if (outcome == LineEditor::Outcome::Interrupted) {
            std::printf("\nKeyboardInterrupt\n");
            lines.clear();
            continue;
        }
        editor.remember(line);
        if (isKept && !history.append(line)) {
            host.showMessage(
                "The lines of this console cannot be kept in " + History::defaultPath(), true);
            isKept = false;
        }
        lines.append(line);
        interruptByKey();
        const ScriptReply reply = interpret(lines.join('\n'));
        if (reply.state == ScriptReply::Exit)
            return {exitCode(reply), {}};
        if (!reply.error.isEmpty())
            return failed(reply.error);
        if (reply.state != ScriptReply::Incomplete)
            lines.clear();
    }
}

/// Runs standard input as a script.
static Result runInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return failed("Cannot read the standard input");
    const ScriptReply reply = interpret(QString::fromUtf8(input.readAll()), ScriptUnit::File);
    if (!reply.error.isEmpty())
        return failed(reply.error);
    return {exitCode(reply), {}};
}

static Result run(const QCommandLineParser &given, Host &host)
{
    const QStringList arguments = given.positionalArguments();
    const QString path = arguments.value(0);
    const QString problem = path.isEmpty() ? QString() : whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);
    const bool isTyped = Terminal::isTerminal(Terminal::Stream::Input);
    if (isTyped) // what a script leaves of a line is read after it, by the console
        std::setvbuf(stdin, nullptr, _IONBF, 0);
    Data::String error;
    if (!startScripts(error) || !prepare(arguments, error))
        return failed(error);

    const auto runFile = [&] { return path.isEmpty() || ScriptManager::instance().execute(path); };
    if (isTyped) {
        interruptByKey();
        runFile();
        Result result = converse(given, host);
        Terminal::setInterruptFunction(nullptr);
        return result;
    }
    const bool isGood = runFile();
    Result result = runInput();
    if (!isGood && result.code == Good)
        return failed(QString("The script \"%1\" has failed").arg(path));
    return result;
}

const Command pythonCommand = {
    "python",
    "[SCRIPT [ARGUMENT...]]",
    0,
    -1,
    "Runs a script, if there is one, and then what is typed.",
    declare,
    run,
};

} // namespace Kelm
