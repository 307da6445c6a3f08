#pragma once

#include "utils/platform/Platform.h"

class QString;

namespace Utils {

/// The current status of \p path, as returned by Platform::entryStatus(); also for a path that only
/// Qt can open, such as that of a resource. "" and a path with a zero byte name nothing.
///
/// The times of Qt cannot be used: Qt has no time for the epoch itself, and a wrong one for earlier
/// times, where the offset of the time zone was different from today.
Platform::EntryStatus fileStatus(const QString &path, bool followLinks = true);

/// The time of the last modification, in seconds since the Unix epoch. 0 for earlier times, and the
/// largest number for times that do not fit.
unsigned int timestampOf(const Platform::EntryStatus &status);

} // namespace Utils
