#include "examples/console/Command.h"

#include "examples/console/Host.h"
#include "examples/console/Output.h"
#include "examples/console/Resources.h"
#include "examples/console/Scripts.h"
#include "utils/Application.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/signals/Slot.h"

#include <QCoreApplication>
#include <QLocale>

namespace Kelm {

static void declareCommon(QCommandLineParser &parser)
{
    const auto add = [&](const QStringList &names, const char *text, const char *value = "") {
        parser.addOption({names, text, value});
    };
    add({"h", "help"}, "Shows this text.");
    add({"version"}, "Shows the version of the program.");
    add({"quiet"}, "Does not show messages of the library; errors are shown.");
    add({"verbose"}, "Writes the log lines of the library, too.");
    add({"language"},
        "Language of texts and numbers, such as de or en_GB; by default that of the system.",
        "NAME");
    add({"res-dir"}, "Folder of resources; or the environment variable KELM_RES_DIR.", "FOLDER");
    add({"home-dir"}, "Folder of the program's own files; or KELM_HOME_DIR.", "FOLDER");
    add({"python-dir"}, "Home of Python 2.7; or PYTHON_DIR.", "FOLDER");
}

static QString helpText(const Command &command, const QCommandLineParser &parser)
{
    // Qt begins with the path of the program, and knows no commands.
    const QString text = parser.helpText();
    return QString("Usage: kelm %1 [options] %2\n").arg(command.name, command.arguments) +
           text.mid(text.indexOf('\n') + 1).trimmed();
}

static bool isCountRight(const Command &command, int count)
{
    return count >= command.fewest && (command.most < 0 || count <= command.most);
}

static QString expectation(const Command &command)
{
    const QString arguments = command.arguments;
    return arguments.isEmpty() ? QString("No arguments are expected")
                               : QString("The arguments must be %1").arg(arguments);
}

/// Prints the error of a result, if it has one, and returns its exit code.
static ExitCode report(const Command &command, Result result)
{
    QString error;
    if (!finishOutput(error) && result.code == Good)
        result = error.isEmpty() ? Result{NobodyReads, {}} : failed(error);
    if (result.code == WrongUsage)
        result.error += QString(". See kelm %1 --help").arg(command.name);
    if (!result.error.isEmpty()) {
        const QString line = result.error.trimmed().replace(QRegExp("\\s*\n\\s*"), "; ");
        writeError(QString("kelm %1: ").arg(command.name) + line);
    }
    return result.code;
}

/// Logs each change of a setting that the signal SettingChanged reports.
struct SettingsLog
{
    Host &host;

    void add(const Data::VariantCollection &change)
    {
        host.logMessage("SettingChanged: key " + change["key"].toString() + ", value " +
                            change["value"].toString(),
                        3);
    }
};

static Result parseAndRun(const Command &command, const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(command.summary);
    command.declare(parser);
    declareCommon(parser);

    const bool isUnderstood = parser.parse(QStringList("kelm") + arguments);
    if (isUnderstood && parser.isSet("help")) {
        print(helpText(command, parser));
        return good();
    }
    if (isUnderstood && parser.isSet("version")) {
        print("kelm " + QCoreApplication::applicationVersion());
        return good();
    }
    if (!isUnderstood)
        return misused(parser.errorText().remove(QRegExp("\\.$")));
    if (!isCountRight(command, parser.positionalArguments().size()))
        return misused(expectation(command));

    if (parser.isSet("language"))
        QLocale::setDefault(QLocale(parser.value("language")));
    const QMap<QString, QString> variables = hostVariables(parser);
    Host host(variables, parser.isSet("quiet") ? Host::Messages::Hidden : Host::Messages::Shown);
    Utils::setApplication(&host);
    SettingsLog log{host};
    Utils::Slot changed("SettingsLog", nullptr);
    changed.setCallback(&log, &SettingsLog::add);
    Utils::Settings::SettingChanged().connect(&changed);
    loadTexts(variables["RES_DIR"], parser.value("language"));
    Result result = command.run(parser, host);
    Utils::setApplication(nullptr);
    return result;
}

ExitCode perform(const Command &command, const QStringList &arguments)
{
    const ExitCode code = report(command, parseAndRun(command, arguments));
    endScripts(); // Python would report output that cannot be written once more
    return code;
}

std::optional<int> wholeNumber(const QString &text, int least)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= least ? std::optional(number) : std::nullopt;
}

} // namespace Kelm
