#pragma once

#include "utils/platform/Platform.h"

class QString;

namespace Utils {

/// The current status of \p path, as returned by Platform::entryStatus(); also for a path that only
/// Qt can open, such as that of a resource. There is no file for "" or for a path with a zero byte.
///
/// The times that Qt returns cannot be used: Qt returns an invalid time for the epoch itself, and a
/// wrong time for earlier times, when the offset of the time zone was different from today.
Platform::EntryStatus fileStatus(const QString &path, bool followLinks = true);

/// Whether both paths lead to the same existing file, which may have several names. False, too,
/// when the system cannot determine it.
bool isSameFile(const QString &a, const QString &b);

/// The time of the last modification, in seconds since the Unix epoch. 0 for earlier times, and the
/// largest number for times that do not fit.
unsigned int timestampOf(const Platform::EntryStatus &status);

} // namespace Utils
