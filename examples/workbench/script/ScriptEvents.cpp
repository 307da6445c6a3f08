#include <Python.h>
#include <frameobject.h>

#include "examples/workbench/script/ScriptEvents.h"

#include "utils/script/ScriptManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace Workbench {

using Utils::ScriptManager;

static const std::chrono::milliseconds interval(30);
static const double longestSleep = 0.03; // seconds

static ScriptEvents *active = nullptr;

ScriptEvents::ScriptEvents(const std::function<void()> &handle)
    : m_handle(handle), m_process(QCoreApplication::applicationPid())
{
    active = this;
    // The first call makes the lock of Python's queue, so the thread is not started before it.
    m_isPending = Py_AddPendingCall(onPendingCall, nullptr) == 0;
}

ScriptEvents::~ScriptEvents()
{
    active = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isEnding = true;
    }
    m_end.notify_one();
    if (m_ticker.joinable())
        m_ticker.join();
}

/// Whether there is an object, and this is its process: a script may have made a copy by os.fork(),
/// which must not touch the windows.
bool ScriptEvents::isActive()
{
    return active && active->m_process == QCoreApplication::applicationPid();
}

int ScriptEvents::onPendingCall(void *) { return isActive() ? active->handle() : 0; }

/// Whether the code of a script is executed, rather than what describes its error after it.
static bool isInScript()
{
    const PyFrameObject *frame = PyEval_GetFrame();
    while (frame && frame->f_back)
        frame = frame->f_back;
    return frame && std::strcmp(PyString_AS_STRING(frame->f_code->co_name), "<module>") == 0;
}

int ScriptEvents::handle()
{
    m_isPending = false;
    if (m_ticker.joinable())
        m_handle();
    else
        m_ticker = std::thread([this] { tick(); });
    if (!m_isForced || !isInScript() || ScriptManager::interruptDelay() > 0)
        return 0; // an interrupt that waits is raised first
    m_isPending = Py_AddPendingCall(onPendingCall, nullptr) == 0;
    PyErr_SetNone(PyExc_KeyboardInterrupt);
    return -1;
}

void ScriptEvents::tick()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_end.wait_for(lock, interval, [this] { return m_isEnding; })) {
        if (!m_isPending.exchange(true) && Py_AddPendingCall(onPendingCall, nullptr) != 0)
            m_isPending = false; // the queue is full
    }
}

/// time.sleep for scripts.
struct Sleep
{
    static PyObject *original;

    static PyObject *call(PyObject *, PyObject *arguments)
    {
        double seconds = 0.0;
        if (!PyArg_ParseTuple(arguments, "d:sleep", &seconds))
            return nullptr;
        const bool isMainThread = QThread::currentThread() == qApp->thread();
        if (!(seconds > longestSleep) || !isMainThread || !ScriptEvents::isActive())
            return PyObject_Call(original, arguments, nullptr);

        QElapsedTimer timer;
        timer.start();
        for (;;) {
            const double rest = seconds - double(timer.nsecsElapsed()) / 1e9;
            if (rest <= 0.0)
                Py_RETURN_NONE;
            PyObject *const slept = PyObject_CallFunction(original, const_cast<char *>("d"),
                                                          std::min(rest, longestSleep));
            if (!slept)
                return nullptr;
            Py_DECREF(slept);
            if (Py_MakePendingCalls() < 0)
                return nullptr;
        }
    }
};
PyObject *Sleep::original = nullptr;

bool ScriptEvents::replaceSleep()
{
    static PyMethodDef definition = {
        "sleep", Sleep::call, METH_VARARGS,
        "sleep(seconds)\n\nWaits for a number of seconds, while the window is drawn."};
    PyObject *const time = PyImport_ImportModule("time");
    if (!time)
        return false;
    // That of an earlier interpreter has ended with it.
    Sleep::original = PyObject_GetAttrString(time, "sleep");
    PyObject *const function = PyCFunction_New(&definition, nullptr);
    const bool isDone =
        Sleep::original && function && PyObject_SetAttrString(time, "sleep", function) == 0;
    Py_XDECREF(function);
    Py_DECREF(time);
    return isDone;
}

} // namespace Workbench
