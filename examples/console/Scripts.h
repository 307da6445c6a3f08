#pragma once

#include "data/String.h"

namespace Kelm {

/// Starts the interpreter, so that data can be pushed. Returns false, with the reason in \p error,
/// when it cannot be started, or when the library was built without one.
bool startScripts(Data::String &error);

/// Ends the interpreter, if it was started: what scripts have left to its end, as threads that
/// still work, may use the library. Call it when the output is finished.
void endScripts();

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
