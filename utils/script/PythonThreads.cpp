#include "utils/script/PythonThreads_p.h"

#include "utils/script/PythonInterrupt_p.h"
#include "utils/script/PythonReference_p.h"

#include <Python.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Utils {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

std::chrono::milliseconds threadPatience = 1s;

/// Becomes ready when this thread has Python's lock again. Invalid while it has the lock.
static std::future<void> &lockReturn()
{
    static auto *const future = new std::future<void>; // never destroyed, as it is used late
    return *future;
}

/// Waits for the lock until \p end. Returns whether this thread has it.
static bool waitForLock(Clock::time_point end)
{
    std::future<void> &returned = lockReturn();
    if (returned.valid() && returned.wait_until(end) != std::future_status::ready)
        return false;
    returned = {};
    return true;
}

/// Returns what makes lockReturn() ready, or null when memory is lacking.
static std::shared_ptr<std::promise<void>> promiseLock()
{
    try {
        auto promise = std::make_shared<std::promise<void>>();
        lockReturn() = promise->get_future();
        return promise;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

/// Makes another thread wait for Python's lock, and acquire it for this one, whose state is \p own:
/// Python waits without a limit, and a thread may never release the lock. False when there can be
/// no other thread.
static bool acquireElsewhere(PyThreadState *own,
                             const std::shared_ptr<std::promise<void>> &returned)
{
    try {
        std::thread([own, returned] {
            PyEval_RestoreThread(own);
            returned->set_value();
        }).detach();
        return true;
    } catch (const std::system_error &) {
        return false;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

/// Lets other threads run for \p pause. Returns false when one of them still has the lock at \p
/// end.
static bool letOthersRun(Clock::duration pause, Clock::time_point end)
{
    const std::shared_ptr<std::promise<void>> returned = promiseLock();
    PyThreadState *const own = PyEval_SaveThread();
    std::this_thread::sleep_for(pause);
    if (!returned || !acquireElsewhere(own, returned)) {
        PyEval_RestoreThread(own);
        lockReturn() = {};
    }
    return waitForLock(end);
}

/// Returns a borrowed reference to a loaded module, or null.
static PyObject *loadedModule(const char *name)
{
    return PyDict_GetItemString(PyImport_GetModuleDict(), name);
}

/// Returns the numbers of the other threads.
static std::vector<long> otherThreads()
{
    std::vector<long> threads;
    PyThreadState *const own = PyThreadState_Get();
    for (PyThreadState *state = PyInterpreterState_ThreadHead(own->interp); state;
         state = PyThreadState_Next(state))
    {
        if (state != own)
            threads.push_back(state->thread_id);
    }
    return threads;
}

static bool isTrue(const PythonReference &object)
{
    return object && PyObject_IsTrue(object.get()) == 1;
}

/// Whether there are threads that Python itself waits for before it ends.
static bool hasThreadsToWaitFor()
{
    if (!hasPythonThreads())
        return false;
    PyObject *const threading = loadedModule("threading");
    const PythonReference main(threading ? PyObject_GetAttrString(threading, "_MainThread")
                                         : nullptr);
    const PythonReference list(
        main ? PyObject_CallMethod(threading, const_cast<char *>("enumerate"), nullptr) : nullptr);
    bool isFound = false;
    for (Py_ssize_t i = 0; list && PyList_Check(list.get()) && i < PyList_GET_SIZE(list.get()); ++i)
    {
        PyObject *const thread = PyList_GET_ITEM(list.get(), i);
        const PythonReference isDaemon(PyObject_GetAttrString(thread, "daemon"));
        const PythonReference isAlive(
            PyObject_CallMethod(thread, const_cast<char *>("is_alive"), nullptr));
        if (PyObject_IsInstance(thread, main.get()) == 0 && !isTrue(isDaemon) && isTrue(isAlive))
            isFound = true;
    }
    PyErr_Clear();
    return isFound;
}

/// Returns the names and numbers of the other threads.
static QStringList describeThreads()
{
    PyObject *const threading = loadedModule("threading");
    const PythonReference byNumber(threading ? PyObject_GetAttrString(threading, "_active")
                                             : nullptr);
    QStringList texts;
    for (const long number : otherThreads()) {
        const PythonReference key(PyInt_FromLong(number));
        PyObject *const thread = key && byNumber && PyDict_Check(byNumber.get())
                                     ? PyDict_GetItem(byNumber.get(), key.get())
                                     : nullptr;
        const PythonReference name(thread ? PyObject_GetAttrString(thread, "name") : nullptr);
        const PythonReference text(name ? PyObject_Str(name.get()) : nullptr);
        texts.append((text ? QString::fromUtf8(PyString_AsString(text.get()))
                           : QStringLiteral("without a name")) +
                     QStringLiteral(" (%1)").arg(static_cast<unsigned long>(number)));
    }
    PyErr_Clear();
    return texts;
}

/// Runs the functions that scripts have registered for the exit, as Python does it.
static void runExitFunctions()
{
    char name[] = "exitfunc";
    PyObject *const registered = PySys_GetObject(name);
    if (!registered)
        return;
    Py_INCREF(registered);
    const PythonReference function(registered);
    PySys_SetObject(name, nullptr);
    const PythonInterrupt::Run interruptible(PythonInterrupt::Run::End);
    const PythonReference result(PyObject_CallObject(function.get(), nullptr));
    if (!result) {
        if (!PyErr_ExceptionMatches(PyExc_SystemExit))
            PySys_WriteStderr("Error in sys.exitfunc:\n");
        PyErr_Print();
    }

    // The interpreter may be kept. Functions that are registered from now on are run at the next
    // attempt to end it.
    PyObject *const atexit = loadedModule("atexit");
    const PythonReference runsAll(atexit ? PyObject_GetAttrString(atexit, "_run_exitfuncs")
                                         : nullptr);
    PyErr_Clear();
    if (runsAll.get() == function.get() && !PySys_GetObject(name))
        PySys_SetObject(name, function.get());
}

/// Raises SystemExit in the other threads, which ends them without output.
static void interruptThreads()
{
    const long own = PyThreadState_Get()->thread_id;
    for (const long thread : otherThreads()) {
        if (thread != own) // also that of a new thread until it runs
            PyThreadState_SetAsyncExc(thread, PyExc_SystemExit);
    }
}

/// While it exists, Python looks for a raised exception before each instruction of a thread. By
/// default it looks every hundred instructions, for which a thread that sleeps at times takes long.
class PromptCheck
{
public:
    PromptCheck()
    {
        _Py_CheckInterval = 0;
        _Py_Ticker = 0;
    }
    ~PromptCheck() { _Py_CheckInterval = m_interval; }

    PromptCheck(const PromptCheck &) = delete;
    PromptCheck &operator=(const PromptCheck &) = delete;

private:
    const int m_interval = _Py_CheckInterval;
};

/// The end of the threads, step by step.
class ThreadsEnd
{
public:
    explicit ThreadsEnd(Clock::duration patience)
        : m_end(Clock::now() + patience), m_lockEnd(m_end + 500ms), m_threads(describeThreads())
    {}

    /// Lets other threads run while \p condition is true and time is left.
    void waitWhile(bool (*condition)())
    {
        const Clock::duration longest = 16ms;
        for (Clock::duration pause = 1ms; m_isLockOurs && condition() && Clock::now() < m_end;
             pause = std::min(pause * 2, longest))
            wait(pause);
    }

    void runExitFunctions()
    {
        if (!m_isLockOurs)
            return;
        const auto start = Clock::now();
        Utils::runExitFunctions();
        const auto time = Clock::now() - start;
        m_end += time;
        m_lockEnd += time;
    }

    void interrupt()
    {
        const PromptCheck isPrompt;
        for (const auto end = m_end + 300ms;
             m_isLockOurs && hasPythonThreads() && Clock::now() < end;) {
            interruptThreads(); // repeatedly, as a thread may catch it
            wait(20ms);
        }
    }

    /// The threads that still run. Without the lock, those that ran before it was released.
    QStringList threads() const { return m_isLockOurs ? describeThreads() : m_threads; }

private:
    void wait(Clock::duration pause)
    {
        m_threads = describeThreads();
        m_isLockOurs = letOthersRun(pause, m_lockEnd);
    }

    Clock::time_point m_end;
    Clock::time_point m_lockEnd;
    QStringList m_threads;
    bool m_isLockOurs = true;
};

bool ownsPythonLock() { return waitForLock(Clock::now()); }

void yieldPythonLock()
{
    if (!Py_IsInitialized())
        return;
    PyThreadState *const own = PyGILState_GetThisThreadState();
    const bool hasLock = own && own == _PyThreadState_Current;
    if (!hasLock || (PyInterpreterState_ThreadHead(own->interp) == own && !PyThreadState_Next(own)))
        return;
    PyEval_SaveThread();
    // Python's lock is not fair: a thread that waits for it needs time to wake up.
    std::this_thread::sleep_for(1ms);
    PyEval_RestoreThread(own);
}

bool hasPythonThreads() { return !otherThreads().empty(); }

QStringList endPythonThreads(std::chrono::milliseconds patience)
{
    ThreadsEnd end(patience);
    end.waitWhile(hasThreadsToWaitFor);
    end.runExitFunctions();
    end.waitWhile(hasPythonThreads);
    end.interrupt();
    return end.threads();
}

} // namespace Utils
