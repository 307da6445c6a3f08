#pragma once

#include "utils/Export.h"

extern "C" {

/// Makes the module KelmUtils in the running interpreter, for scripts to import. Does nothing when
/// none runs, when it has the module already, and, leaving an empty module, when there is no module
/// sip. The engine of ScriptManager calls it; a host that runs an interpreter of its own may.
KELMUTILS_EXPORT void initKelmUtils();

/// The same for the companion KelmData, which KelmUtils imports. Does nothing either when a module
/// of that name is there: that of a sibling library, which has more.
KELMUTILS_EXPORT void initKelmData();
}
