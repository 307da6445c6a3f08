#pragma once

#include "utils/signals/Slot.h"

QT_FORWARD_DECLARE_CLASS(QStringList)

namespace Workbench {

/// The files that were opened or saved last. It hears of them by the signal bus, so that the window
/// does not know of it; construct it after the signals "DocumentOpened" and "DocumentSaved".
class RecentFiles
{
public:
    RecentFiles();

    /// Those that exist, the last one first.
    static QStringList paths();

private:
    Utils::Slot m_used{"RecentFiles", nullptr};
};

} // namespace Workbench
