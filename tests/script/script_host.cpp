// A host that executes its arguments in order, and prints a line for the result of each. So it is
// visible when a script ends the host or crashes it.
//
//     NAME=VALUE       sets a host variable
//     --no-host        removes the host
//     --module NAME    adds a module that fails to initialise
//     --cancel         cancels the start-up program as soon as it runs
//     --file PATH      runs a script
//     --code TEXT      runs a text
//     --value TEXT     runs a text and prints the variable "value"
//     --check TEXT     validates a text
//     --reset          ends the interpreter
//
// A line consists of "true" or "false", followed by the error, the value, or the message that the
// host shows.

#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/ScriptManager.h"
#include "utils/strings/StringTable.h"

#include "tests/support/FakeHost.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>
#include <vector>

using Data::String;
using Data::Variant;
using Utils::Progress;
using Utils::ScriptManager;

class Host : public FakeHost
{
public:
    QString lastMessage;

    void showMessage(const String &text, bool) override { lastMessage = text; }
};

class FailingModule : public Utils::IScriptableModule
{
public:
    explicit FailingModule(const QByteArray &name) : IScriptableModule(name) {}

    bool initialize() override { return false; }
};

static void print(bool result, const QString &text)
{
    QString line = QString::fromLatin1(result ? "true" : "false");
    if (!text.isEmpty())
        line += ' ' + text;
    std::printf("%s\n", line.replace('\n', "\\n").toUtf8().constData());
    std::fflush(stdout);
}

static void runText(const QString &code, const char *variable)
{
    Variant result = variable;
    String error;
    const bool ran = ScriptManager::instance().execute(code, "py", result, error);
    print(ran, ran ? result.toString() : error);
}

/// Cancels the innermost reporter from within a call by it, as a nested task does that the user
/// cancels. It cannot be cancelled itself.
static void cancelByNestedTask()
{
    Progress nested(1, "", /*cancelable=*/true);
    nested.cancel();
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Host host;
    Utils::setApplication(&host);
    Utils::File::setSearchPath(KELMUTILS_EXAMPLES_DIR "/../res", "");
    Utils::StringTable::initialize("en", "", "");
    if (!Utils::StringTable::load("Kelm.Utils"))
        return 2;

    std::vector<std::unique_ptr<FailingModule>> modules;
    std::unique_ptr<Progress> task;
    ScriptManager &scripts = ScriptManager::instance();

    QStringList arguments = QCoreApplication::arguments().mid(1);
    while (!arguments.isEmpty()) {
        const QString option = arguments.takeFirst();
        if (!option.startsWith("--")) {
            host.variables[option.section('=', 0, 0)] = option.section('=', 1);
        } else if (option == "--no-host") {
            Utils::setApplication(nullptr);
        } else if (option == "--reset") {
            print(scripts.reset("py"), "");
        } else if (option == "--cancel") {
            task = std::make_unique<Progress>(10);
            task->show(); // so that a nested reporter calls the host at once
            host.reaction = [&](const QString &call) {
                if (!call.startsWith("setProgress("))
                    return;
                host.reaction = nullptr;
                cancelByNestedTask();
            };
        } else {
            const QString argument = arguments.takeFirst();
            String error;
            if (option == "--module") {
                modules.push_back(std::make_unique<FailingModule>(argument.toUtf8()));
            } else if (option == "--file") {
                const bool ran = scripts.execute(argument);
                print(ran, host.lastMessage);
            } else if (option == "--code") {
                runText(argument, "");
            } else if (option == "--value") {
                runText(argument, "value");
            } else if (option == "--check") {
                const bool valid = scripts.validate(argument, "py", error);
                print(valid, error);
            } else {
                return 2;
            }
        }
    }
    return 0;
}
