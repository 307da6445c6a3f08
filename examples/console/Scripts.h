#pragma once

#include "data/String.h"

namespace Kelm {

/// Starts the interpreter, so that data can be given to it. False, with the reason in \p error,
/// when it cannot be started, or there is none.
bool startScripts(Data::String &error);

} // namespace Kelm
