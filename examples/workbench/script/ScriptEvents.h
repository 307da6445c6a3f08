#pragma once

#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Workbench {

/// Lets the program handle events while Python runs on the main thread, until the object ends.
///
/// Python calls the function of the object between two instructions, some thirty times a second,
/// and so does a script that sleeps. A script that waits in another call of C code, such as a read
/// of a pipe, does not: then no events are handled until the call returns.
class ScriptEvents
{
public:
    /// The interpreter must have been started. One object can exist at a time.
    explicit ScriptEvents(const std::function<void()> &handle);
    ScriptEvents(const ScriptEvents &) = delete;
    ScriptEvents &operator=(const ScriptEvents &) = delete;
    ~ScriptEvents();

    /// Raises a KeyboardInterrupt at each instruction of the script: it ends even if it catches
    /// exceptions.
    void force() { m_isForced = true; }

    /// Makes `time.sleep` of the running interpreter handle events, too. False, with the error set,
    /// when that fails.
    static bool replaceSleep();

private:
    static int onPendingCall(void *);
    static bool isActive();
    int handle();
    void tick();

    friend struct Sleep;

    const std::function<void()> m_handle;
    const qint64 m_process;
    std::atomic<bool> m_isPending = false;
    bool m_isForced = false;
    bool m_isEnding = false;
    std::mutex m_mutex;
    std::condition_variable m_end;
    std::thread m_ticker;
};

} // namespace Workbench
