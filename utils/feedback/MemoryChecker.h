#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class MemoryCheckerPrivate;

/// The interface of a tool that finds errors in the use of memory.
///
/// This library contains no such tool; the interface exists so that calling code needs no
/// conditional compilation. Every check succeeds, there are no leaks, and the functions that
/// configure the tool do nothing.
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

    /// Returns 0, which has no meaning.
    long startId();

    /// Creates the empty file \p path. Nothing is ever written to it. Does nothing when \p path is
    /// empty, when a file exists there already, or when the file cannot be created.
    ///
    /// \compat On Windows the file stays open until the process ends, and no other code can open it
    /// meanwhile.
    static void setReportFile(const Data::String &path = {});

private:
    std::unique_ptr<MemoryCheckerPrivate> d;
};

} // namespace Utils
