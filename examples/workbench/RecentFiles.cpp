#include "examples/workbench/RecentFiles.h"

#include "examples/workbench/Preferences.h"
#include "utils/settings/Settings.h"
#include "utils/signals/Signal.h"

namespace Workbench {

RecentFiles::RecentFiles()
{
    m_used.setCallback([](const Data::VariantCollection &document) {
        Utils::Settings().addMRU(Preferences::recentFiles, document["path"].toString());
    });
    for (const char *const name : {"DocumentOpened", "DocumentSaved"})
        Utils::Signal::find(name)->connect(&m_used);
}

QStringList RecentFiles::paths()
{
    return Utils::Settings().getMRU(Preferences::recentFiles, /*checkExists=*/true);
}

} // namespace Workbench
