// Reads or changes the settings, as its first argument says, in the store of the test that starts
// it, whose environment it inherits.

#include "tests/support/SettingsHome.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSlot.h"

#include <cstdio>
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
    }
    std::unique_ptr<Utils::Settings> settings;
};
LateWriter lateWriter;

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
    } else if (argc == 2 && std::strcmp(argv[1], "writeAtTheEnd") == 0) {
        lateWriter.settings = std::make_unique<Utils::Settings>();
        lateWriter.settings->setInt("early", 1);
    } else {
        return 1;
    }
}
