#pragma once

#include "utils/platform/Platform.h"

class QString;

namespace Utils {

/// What is known of \p path at this moment, as Platform::entryStatus() tells it, and also of a path
/// that Qt alone can take, as that of a resource. "" and a path with a zero byte name nothing.
///
/// The times of Qt will not do: it has none for the epoch itself, and another one for what is
/// older, where the clocks of the zone were not those of today.
Platform::EntryStatus fileStatus(const QString &path, bool followLinks = true);

/// When it was last modified, in seconds since the Unix epoch. 0 for what is older than that, and
/// the largest number for what it cannot hold.
unsigned int timestampOf(const Platform::EntryStatus &status);

} // namespace Utils
