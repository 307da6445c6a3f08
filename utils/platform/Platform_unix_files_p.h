#pragma once

#include "utils/platform/Platform.h"

#include <sys/stat.h>

// Files and folders, for the sources of this folder.

namespace Utils::Platform {

inline bool isUsable(const std::string &path)
{
    return !path.empty() && path.find('\0') == std::string::npos;
}

inline Entry entryOf(mode_t mode)
{
    return S_ISREG(mode)   ? Entry::File
           : S_ISDIR(mode) ? Entry::Folder
           : S_ISLNK(mode) ? Entry::Link
                           : Entry::Other;
}

} // namespace Utils::Platform
