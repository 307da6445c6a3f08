// Reads or changes the settings, as its first argument says, in the store of the test that starts
// it, whose environment it inherits.

#include "tests/support/SettingsHome.h"
#include "utils/settings/Setting.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSlot.h"
#include "utils/settings/SettingsWatch.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

/// Set before the library's signal of changes is made, and so released after it.
struct LateWriter
{
    ~LateWriter()
    {
        if (!settings)
            return;
        settings->setInt("late", settings->getInt("early") + 1);
        settings->addMRU("late", "path").getMRU("late", /*checkExists=*/true);
        settings->copyKey("MRU", "copy", true);
        const Utils::SettingsSlot slot("late", nullptr); // has nobody to connect to any more
        if (!settings->sync())
            std::puts("not stored");
    }
    std::unique_ptr<Utils::Settings> settings;
};
LateWriter lateWriter;

/// Stores each number that it gets, after which another process stores, too.
int storeInTurn()
{
    int number = 0;
    while (std::scanf("%d", &number) == 1) {
        Utils::Settings settings;
        settings.setInt("theirs", number);
        std::puts(settings.sync() ? "stored" : "not stored");
        std::fflush(stdout);
    }
    return 0;
}

int changesLeft = 0;

/// Prints \p count changes that other processes make, each as soon as it is known.
int printChanges(int count)
{
    changesLeft = count;
    const Utils::SettingsWatch watch(100);
    Utils::SettingsSlot slot("watched", nullptr);
    slot.setCallback([](const Data::VariantCollection &change) {
        std::printf("%s=%s\n", qPrintable(change["key"].toString()),
                    qPrintable(change["value"].toString()));
        std::fflush(stdout);
        if (--changesLeft == 0)
            QCoreApplication::quit();
    });
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    SettingsHome::nameApplication();

    if (argc == 2 && std::strcmp(argv[1], "list") == 0) {
        std::printf("%s", SettingsHome::stored().toUtf8().constData());
    } else if (argc == 3 && std::strcmp(argv[1], "getInt") == 0) {
        std::printf("%d", Utils::Settings().getInt(argv[2], -1));
    } else if (argc == 3 && std::strcmp(argv[1], "getColor") == 0) {
        std::printf("%s", qPrintable(Utils::Settings().getColor(argv[2]).name()));
    } else if (argc == 4 && std::strcmp(argv[1], "setString") == 0) {
        Utils::Settings().setString(argv[2], argv[3]);
    } else if (argc == 4 && std::strcmp(argv[1], "printList") == 0) {
        const Utils::Setting<QStringList> list(argv[2], QStringList(argv[3]));
        std::printf("%s|", qPrintable(list.value().join(';')));
    } else if (argc == 3 && std::strcmp(argv[1], "removeKey") == 0) {
        Utils::Settings().removeKey(argv[2]);
    } else if (argc == 3 && std::strcmp(argv[1], "printChanges") == 0) {
        return printChanges(std::atoi(argv[2]));
    } else if (argc == 2 && std::strcmp(argv[1], "storeInTurn") == 0) {
        return storeInTurn();
    } else if (argc == 2 && std::strcmp(argv[1], "writeAtTheEnd") == 0) {
        lateWriter.settings = std::make_unique<Utils::Settings>();
        lateWriter.settings->setInt("early", 1);
    } else if (argc == 2 && std::strcmp(argv[1], "writeOnlyAtTheEnd") == 0) {
        lateWriter.settings = std::make_unique<Utils::Settings>();
    } else {
        return 1;
    }
}
