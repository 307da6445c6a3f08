#include "examples/console/Command.h"
#include "examples/console/Output.h"
#include "examples/console/Terminal.h"
#include "examples/console/commands/Commands.h"

#include <QCoreApplication>
#include <QTextCodec>

using namespace Kelm;

static QString helpText()
{
    QStringList lines{
        "Usage: kelm COMMAND [options] [arguments]",
        "The services of the library KelmUtils on the command line.",
        "",
        "Commands:",
    };
    for (const Command *const command : allCommands())
        lines.append(QString("  %1  %2").arg(command->name, -8).arg(command->summary));
    lines << ""
          << "kelm COMMAND --help describes one of them, and kelm --version prints the version."
          << "The status is 0 when all went well, 1 when the work failed, 2 for wrong usage, and"
          << "130 when it was cancelled.";
    return lines.join('\n');
}

/// Runs "kelm" without a command, or with an option in its place.
static ExitCode runWithoutCommand(const QString &argument)
{
    if (argument == "--help" || argument == "-h") {
        print(helpText());
    } else if (argument == "--version") {
        print("kelm " + QCoreApplication::applicationVersion());
    } else {
        const QString problem = argument.isEmpty()
                                    ? QString("There is no command")
                                    : QString("Unknown command \"%1\"").arg(argument);
        writeError("kelm: " + problem + ". See kelm --help");
        return WrongUsage;
    }
    QString error;
    if (finishOutput(error))
        return Good;
    if (error.isEmpty())
        return NobodyReads;
    writeError("kelm: " + error);
    return WorkFailed;
}

int main(int argc, char **argv)
{
    Terminal::replaceClosedStreams();
    Terminal::handleSignals();
    // Arguments and file names are UTF-8, also in a locale that has only ASCII.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Kelm");
    QCoreApplication::setApplicationName("kelm");
    QCoreApplication::setApplicationVersion(KELM_VERSION);

    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (const Command *const command : allCommands()) {
        if (arguments.value(0) == command->name)
            return perform(*command, arguments.mid(1));
    }
    return runWithoutCommand(arguments.value(0));
}
