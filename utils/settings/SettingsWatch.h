#pragma once

#include "utils/Export.h"

#include <memory>

namespace Utils {

class SettingsWatchPrivate;

/// Reports changes of the settings that another process has made: sends
/// Settings::SettingChanged() for each key with a new value, as if this process had set it, and
/// with an invalid value for each key that was removed.
///
///     Utils::SettingsWatch watch; // watches as long as it exists
///     Utils::SettingsSlot slot("View/", nullptr);
///     slot.setCallback(this, &Panel::refresh);
///
/// The settings file is checked at an interval, which needs a running event loop. When it has been
/// replaced, or its size or one of its times has changed, the values are compared key by key.
/// Changes that this process makes through Settings are not reported again; those that it makes
/// through a QSettings are. Several changes of a key between two checks are reported once; a key
/// whose value is the same again is not reported.
///
/// All changes are read before the first one is reported. They are reported sorted by key. A key
/// that a receiver sets during the report is not reported afterwards. A receiver may delete the
/// watch, which ends the report. When a receiver throws an exception, the other changes are
/// reported, and then the first exception is passed on. A change for whose report there was not
/// enough memory is reported again by the next check, unless it has changed since.
///
/// Each change is reported once, even when there are several watches. The store is that of the
/// names of organisation and application when the watch is constructed. Settings that are not
/// stored in a file are not watched.
class KELMUTILS_EXPORT SettingsWatch
{
public:
    /// Checks every \p interval milliseconds; an interval below 100 stands for 100. If no timer can
    /// be started, only check() checks.
    explicit SettingsWatch(unsigned int interval = 1000);
    ~SettingsWatch();

    SettingsWatch(const SettingsWatch &) = delete;
    SettingsWatch &operator=(const SettingsWatch &) = delete;

    /// Checks at once, and writes the changes of this process that are pending. Returns the number
    /// of changes that were reported; 0 also when the file cannot be read. The next check reads it
    /// again.
    int check();

private:
    std::unique_ptr<SettingsWatchPrivate> d;
};

} // namespace Utils
