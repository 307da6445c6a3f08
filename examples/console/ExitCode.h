#pragma once

namespace Kelm {

/// The exit code of the program.
enum ExitCode
{
    Good = 0,
    WorkFailed = 1,
    WrongUsage = 2,
    Cancelled = 130,   ///< by Ctrl-C or Esc; shells return this number for Ctrl-C
    NobodyReads = 141, ///< the output; shells return this number for a closed pipe
};

} // namespace Kelm
