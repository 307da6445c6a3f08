#pragma once

#include "data/String.h"
#include "utils/Export.h"

namespace Utils {

/// Loads a table of the catalogue when it is made: as a static object, when its library is loaded.
///
///     static const Utils::StringTableLoader loader("TORVE.Solver");
///
/// The catalogue must have been set up by then, or nothing is loaded, as StringTable::load() has
/// it. So this is for libraries that a host loads while it runs.
class KELMUTILS_EXPORT StringTableLoader
{
public:
    /// What StringTable::load() gives is ignored.
    explicit StringTableLoader(const Data::String &name);
};

} // namespace Utils
