#pragma once

namespace Kelm {

/// What the program tells whoever has started it.
enum ExitCode
{
    Good = 0,
    WorkFailed = 1,
    WrongUsage = 2,
    Cancelled = 130,   ///< by Ctrl-C or Esc; the number is the one that shells give for Ctrl-C
    NobodyReads = 141, ///< the output; the number is the one that shells give for a closed pipe
};

} // namespace Kelm
