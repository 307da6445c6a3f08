#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// Paths, file contents, folder trees and resources: static operations, no instances.
///
/// Paths are written with "/". Text files are UTF-8. A failure is an empty result, false, or a
/// count; nothing here throws or shows a message.
class KELMUTILS_EXPORT File
{
public:
    File() = delete;

    // Paths: what can be told from the text of a path

    // Contents: whole files, and what can be asked of one

    // Trees: copying, moving, removing and creating

    // Search: files by name, by content, and by the name of a resource
};

} // namespace Utils
