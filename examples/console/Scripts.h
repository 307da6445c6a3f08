#pragma once

#include "data/String.h"

namespace Kelm {

/// Starts the interpreter, so that data can be pushed. Returns false, with the reason in \p error,
/// when it cannot be started, or when the library was built without one.
bool startScripts(Data::String &error);

/// While it exists, the first Ctrl-C ends the script that runs, by a KeyboardInterrupt. The second
/// one ends the program.
class InterruptibleScript
{
public:
    InterruptibleScript();
    ~InterruptibleScript();
    InterruptibleScript(const InterruptibleScript &) = delete;
    InterruptibleScript &operator=(const InterruptibleScript &) = delete;
};

} // namespace Kelm
