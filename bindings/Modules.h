#pragma once

#include "utils/Export.h"

extern "C" {

/// Creates the module KelmUtils in the running Python interpreter, so that scripts can import it.
///
/// Does nothing when no interpreter runs, or when it has the module already. If the Python module
/// sip cannot be imported, KelmUtils stays empty. The engine of ScriptManager calls this function;
/// a host that runs an interpreter of its own may call it, too.
KELMUTILS_EXPORT void initKelmUtils();

/// Creates the module KelmData in the same way. KelmUtils imports it.
///
/// Also does nothing when another module named KelmData exists already: a sibling library may
/// supply one, which contains more.
KELMUTILS_EXPORT void initKelmData();
}
