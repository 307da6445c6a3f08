#pragma once

#include "utils/Export.h"

extern "C" {

/// Makes the module KelmUtils in the running interpreter, for scripts to import.
///
/// Does nothing when no interpreter runs, or when it has the module already. Without the module sip
/// the module stays empty. The engine of ScriptManager calls this function; a host that runs an
/// interpreter of its own may call it, too.
KELMUTILS_EXPORT void initKelmUtils();

/// Makes the module KelmData, which KelmUtils imports, in the same way.
///
/// Does nothing either when another module of that name exists: the one of a sibling library, which
/// has more.
KELMUTILS_EXPORT void initKelmData();
}
