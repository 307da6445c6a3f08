#pragma once

#include "data/String.h"

namespace Kelm {

/// Starts the interpreter, so that data can be pushed. Returns false, with the reason in \p error,
/// when it cannot be started, or when the library was built without one.
bool startScripts(Data::String &error);

} // namespace Kelm
