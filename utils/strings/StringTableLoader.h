#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// Loads a table of the catalogue in its constructor. As a static object, it loads the table when
/// its library is loaded.
///
///     static const Utils::StringTableLoader loader("TORVE.Solver");
///
/// Nothing is loaded before StringTable::initialize(). The class is therefore for libraries that
/// are loaded after the host has called that function.
class KELMUTILS_EXPORT StringTableLoader
{
public:
    /// Calls StringTable::load() and ignores its result.
    explicit StringTableLoader(const Data::String &name);
};

} // namespace Utils
