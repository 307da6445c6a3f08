#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class MemoryCheckerPrivate;

/// The interface of a tool that looks for faults in the use of memory.
///
/// It checks nothing in this build, which is meant: calling code stays as it is where no tool is
/// built in. Every check succeeds, there are no leaks, and what would set the tool up does nothing.
class KELMUTILS_EXPORT MemoryChecker
{
public:
    MemoryChecker();
    MemoryChecker(const MemoryChecker &other) = delete;
    MemoryChecker &operator=(const MemoryChecker &other) = delete;
    ~MemoryChecker();

    bool check();                       ///< True.
    static bool checkHeap(long id = 0); ///< True.
    static bool dumpLeaks();            ///< False: there are none.
    static void dumpLeaksAtExit();
    void dumpDifference();
    void dumpNewObjects();

    static void setBreakAlloc(long id);
    void setBreakAllocOffset(long offset);
    static void setCheckAlways(bool always = true);
    static void setKeepFreed(bool keep = true);

    /// A number without meaning, 0.
    long startId();

    /// Creates an empty file \p path, in which nothing is ever reported. Does nothing when \p path
    /// is empty, when something is there already, or when it cannot be created.
    ///
    /// On Windows the file is kept open, for nobody else to open, until the process ends, which is
    /// meant.
    static void setReportFile(const Data::String &path = {});

private:
    std::unique_ptr<MemoryCheckerPrivate> d;
};

} // namespace Utils
