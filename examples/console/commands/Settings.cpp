// kelm settings: reads and changes the settings of this program, or of another one.

#include "utils/settings/Settings.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QCoreApplication>

#include <algorithm>
#include <optional>

namespace Kelm {

using Utils::File;
using Utils::Settings;

static void declare(QCommandLineParser &parser)
{
    parser.addPositionalArgument("list [GROUP]", "Prints all settings, or those in GROUP.");
    parser.addPositionalArgument("get KEY", "Prints a value.");
    parser.addPositionalArgument("set KEY VALUE", "Stores a value.");
    parser.addPositionalArgument("remove KEY", "Removes a value, and all below it.");
    parser.addPositionalArgument("mru LIST", "Prints the list of recent files LIST.");
    parser.addPositionalArgument("export FILE [GROUP]",
                                 "Writes all settings, or those in GROUP, to FILE.");
    parser.addPositionalArgument("import FILE [GROUP]",
                                 "Stores the settings in FILE, which was exported, in GROUP.");
    parser.addPositionalArgument("reset [GROUP]", "Stores the kept defaults.");
    parser.addPositionalArgument("diff [GROUP]",
                                 "Prints the settings that differ from their kept defaults.");
    parser.addOptions({
        {"organization",
         "The organization of the program whose settings are used; Kelm by default.", "NAME",
         "Kelm"},
        {"application", "The program whose settings are used; kelm by default.", "NAME", "kelm"},
        {"add", "With mru: puts FILE at the front of the list. May be given several times.",
         "FILE"},
        {"drop", "With mru: removes FILE from the list. May be given several times.", "FILE"},
        {"existing", "With mru: prints only what exists."},
    });
}

/// Why the settings cannot be read completely, or "". What is missing would look as if it had never
/// been set.
static QString whyUnreadable(const Settings &settings)
{
    Data::String reason;
    if (settings.status(&reason) != Settings::Failed)
        return {};
    return QString(Utils::StringTable::lookup(".Kelm.Utils.err.settings")).arg(reason);
}

static QString text(const Data::Variant &value)
{
    return value.type() == QVariant::StringList ? value.toStringList().join(", ")
                                                : QString(value.toString());
}

static void printGroup(const Settings &settings, const QString &group)
{
    for (const QString &key : settings.keys(group)) {
        const QString path = File::join(group, key);
        print(path + "=" + text(settings.getValue(path)));
    }
    for (const QString &name : settings.groups(group)) {
        // A key with too many "/", from another program, has a group without a name: this one
        // again.
        if (!name.isEmpty())
            printGroup(settings, File::join(group, name));
    }
}

static Result list(const QString &group)
{
    const Settings settings;
    if (const QString problem = whyUnreadable(settings); !problem.isEmpty())
        return failed(problem);
    printGroup(settings, group);
    return good();
}

static Result get(const QString &key)
{
    const Settings settings;
    if (const QString problem = whyUnreadable(settings); !problem.isEmpty())
        return failed(problem);
    const Data::Variant value = settings.getValue(key);
    if (!value.isValid())
        return failed(QString("There is no setting \"%1\"").arg(key));
    print(text(value));
    return good();
}

static Result written(Settings &settings)
{
    return settings.sync() ? good() : failed(File::lastError());
}

/// Stores a value, or removes it when it is invalid.
static Result set(const QString &key, const Data::Variant &value)
{
    Settings settings;
    settings.setValue(key, value);
    return written(settings);
}

/// The outcome of an operation of the library that has the result \p isDone.
static Result outcome(Settings &settings, bool isDone)
{
    return isDone ? written(settings) : failed(File::lastError());
}

static Result printMru(const QString &list, bool existing)
{
    const int all = -1;
    const Settings settings;
    if (const QString problem = whyUnreadable(settings); !problem.isEmpty())
        return failed(problem);
    for (const QString &path : settings.getMRU(list, existing, all))
        print(path);
    return good();
}

static Result changeMru(const QString &list, const QStringList &added, const QStringList &dropped)
{
    Settings settings;
    using Change = Settings &(Settings::*)(const Data::String &, const Data::String &);
    const auto changeAll = [&](Change change, const QStringList &paths) {
        return std::all_of(paths.begin(), paths.end(), [&](const QString &path) {
            (settings.*change)(list, path);
            return File::lastError().isEmpty(); // a list that cannot be read is not changed
        });
    };
    return outcome(settings,
                   changeAll(&Settings::addMRU, added) && changeAll(&Settings::removeMRU, dropped));
}

static Result exchange(const QString &action, const QString &path, const QString &group)
{
    Settings settings(group);
    if (action == "import")
        return outcome(settings, settings.importFrom(path));
    return settings.exportTo(path) ? good() : failed(File::lastError());
}

static Result reset(const QString &group)
{
    Settings settings;
    return outcome(settings, settings.resetGroup(group));
}

static Result diff(const QString &group)
{
    const Settings settings(group);
    if (const QString problem = whyUnreadable(settings); !problem.isEmpty())
        return failed(problem);
    for (const QString &key : settings.changedFromDefaults()) {
        const Data::Variant value = settings.getValue(key);
        print(File::join(group, key) + (value.isValid() ? "=" + text(value) : " is not set") +
              " (default " + text(settings.getValue(key + "_default")) + ")");
    }
    return good();
}

/// The actions whose argument may be a group.
static std::optional<Result> runOnGroup(const QString &action, const QStringList &arguments)
{
    if (action == "list" && arguments.size() < 2)
        return list(arguments.value(0));
    if (action == "reset" && arguments.size() < 2)
        return reset(arguments.value(0));
    if (action == "diff" && arguments.size() < 2)
        return diff(arguments.value(0));
    const bool isExchange = action == "export" || action == "import";
    if (isExchange && (arguments.size() == 1 || arguments.size() == 2))
        return exchange(action, arguments[0], arguments.value(1));
    return std::nullopt;
}

static Result run(const QCommandLineParser &given, Host &)
{
    for (const char *const option : {"organization", "application"}) {
        const QString name = given.value(option);
        if (name.isEmpty() ||
            name.contains('/')) // which would be outside of the folder of settings
            return misused(QString("--%1 must be a name without \"/\"").arg(option));
    }
    QCoreApplication::setOrganizationName(given.value("organization"));
    QCoreApplication::setApplicationName(given.value("application"));

    const QStringList arguments = given.positionalArguments();
    const QString action = arguments.constFirst();
    const QString key = arguments.value(1);
    const int count = arguments.size() - 1;
    if (const std::optional<Result> result = runOnGroup(action, arguments.mid(1)))
        return *result;
    if (count > 0 && QString(key).remove('/').isEmpty())
        return misused("There is no name in \"" + key + "\"");
    if (action == "get" && count == 1)
        return get(key);
    if (action == "set" && count == 2)
        return set(key, arguments[2]);
    if (action == "remove" && count == 1)
        return set(key, Data::Variant());
    if (action == "mru" && count == 1 && (given.isSet("add") || given.isSet("drop")))
        return changeMru(key, given.values("add"), given.values("drop"));
    if (action == "mru" && count == 1)
        return printMru(key, given.isSet("existing"));
    return misused("The arguments must be list [GROUP], get KEY, set KEY VALUE, remove KEY, "
                   "mru LIST, export FILE [GROUP], import FILE [GROUP], reset [GROUP] or "
                   "diff [GROUP]");
}

const Command settingsCommand = {
    "settings", "ACTION...", 1, -1, "Reads, changes, exports and imports settings.", declare, run,
};

} // namespace Kelm
