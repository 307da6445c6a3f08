#pragma once

#include "utils/Export.h"

#include <memory>

namespace Utils {

class SettingsWatchPrivate;

/// Reports changes of the settings that another process has made: sends
/// Settings::SettingChanged() for each key with a new value, as if this process had set it, and
/// with an invalid value for each key that was removed.
///
///     Utils::SettingsWatch watch; // as long as this object exists
///     Utils::SettingsSlot slot("View/", nullptr);
///     slot.setCallback(this, &Panel::refresh);
///
/// Checks the settings file at an interval, which needs a running event loop. When its size or its
/// modification time has changed, the values are compared key by key. What this process changes
/// through Settings is not reported again, but what a QSettings of the host changes is. Changes of
/// the same key between two checks are reported once; a value that is the same again is not
/// reported.
///
/// All changes are read before the first one is reported, sorted by key. A key that a receiver sets
/// in the meantime is not reported after that. A receiver may delete the watch, which ends the
/// report.
///
/// Each change is reported once, even when there are several watches. The store is that of the
/// names of organisation and application when the watch is constructed. Settings that are not
/// stored in a file are not watched.
class KELMUTILS_EXPORT SettingsWatch
{
public:
    /// Checks every \p interval milliseconds; intervals below 100 are raised to 100. If no timer
    /// can be started, only check() checks.
    explicit SettingsWatch(unsigned int interval = 1000);
    ~SettingsWatch();

    SettingsWatch(const SettingsWatch &) = delete;
    SettingsWatch &operator=(const SettingsWatch &) = delete;

    /// Checks now, and writes the changes of this process that are pending. Returns the number of
    /// changes that were reported. 0 also when the file cannot be read; the next check tries again.
    int check();

private:
    std::unique_ptr<SettingsWatchPrivate> d;
};

} // namespace Utils
