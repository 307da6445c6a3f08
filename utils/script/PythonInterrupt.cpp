#include "utils/script/PythonInterrupt_p.h"

#include "utils/base/Interrupt_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/platform/Platform.h"
#include "utils/script/PythonError_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonThreads_p.h"
#include "utils/script/ScriptError_p.h"

#include <QLocale>

#include <pythread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <new>
#include <utility>

namespace Utils::PythonInterrupt {

using std::chrono::milliseconds;

/// A script that has not noticed an interrupt for so long was in a call that cannot be interrupted.
static const int longDelay = 500; // ms

/// How long after its time limit a script that has caught the exception gets another one.
static const int repetition = 1000; // ms

// Everything that the handler of the alarm reads. It runs on the thread of the scripts.
static std::atomic<qint64> deadline = 0; // of the outermost run, 0 without a limit
static std::atomic<bool> isTimeOver = false;
static std::atomic<bool> isAlarmOn = false;
static std::atomic<bool> isOpen = false;
static std::atomic<void (*)(int)> handlerOfPython = nullptr;

// For the thread of the scripts.
static Run *innermost = nullptr;
static quint64 lastRun = 0;
static int limitOfRun = 0; // in milliseconds
static long threadOfScripts = 0;
static void (*initSignalModule)() = nullptr;
static PyObject *signalModule = nullptr; // the one that is loaded for this
static PyCFunction setHandler = nullptr; // its function signal()

static void startAlarm(qint64 delay)
{
    isAlarmOn = true;
    Platform::startAlarm(milliseconds(delay));
}

/// Sets the alarm for the time limit, if there is one, or stops it.
static void setAlarmForLimit()
{
    const qint64 end = deadline;
    if (end != 0) {
        startAlarm(std::max<qint64>(end - Interrupt::now(), 0));
    } else {
        isAlarmOn = false;
        Platform::stopAlarm();
    }
    if (Interrupt::isRequested()) // by another thread meanwhile
        startAlarm(0);
}

/// Returns the exception, or null with another one set. Its text tells the user what has ended the
/// script, \p delay ms late.
static PythonReference makeException(bool isLimit, int delay, Run::Kind kind)
{
    // The default locale may have been destroyed when the process ends.
    const QLocale locale = kind == Run::End ? QLocale::c() : QLocale();
    const auto seconds = [&](double ms) { return locale.toString(ms / 1000.0, 'g', 6); };
    const bool isLate = delay >= longDelay;
    try {
        QStringList values;
        if (isLimit)
            values.append(seconds(limitOfRun));
        if (isLate)
            values.append(seconds(std::round(delay / 100.0) * 100.0));
        const char *id = isLimit ? ".err.scriptlimit" : ".err.scriptinterrupt";
        if (isLate)
            id = isLimit ? ".err.scriptlimitlate" : ".err.scriptinterruptlate";
        const Data::String text = message(".Kelm.Utils", id, values);
        return PythonReference(PyObject_CallFunction(
            PyExc_KeyboardInterrupt, const_cast<char *>("s"), text.toUtf8().constData()));
    } catch (const std::bad_alloc &) {
        return PythonReference(PyObject_CallObject(PyExc_KeyboardInterrupt, nullptr));
    }
}

int raiseIfRequested()
{
    if (!Interrupt::take())
        return 0;
    const auto delay = static_cast<int>(
        std::clamp<qint64>(Interrupt::now() - Interrupt::requestTime, 0, 1'000'000'000));
    const bool isLimit = isTimeOver.exchange(false);
    if (isLimit && deadline != 0)
        deadline = Interrupt::now() + repetition;
    setAlarmForLimit();
    Run *const run = innermost; // there is one, as only a run can be interrupted
    const PythonReference exception = makeException(isLimit, delay, run->m_kind);
    if (!exception)
        return -1;
    if (run->m_kind == Run::End) {
        run->m_isInterrupted = true; // it keeps no object, as Python ends before it does
    } else {
        run->takeException();
        Py_INCREF(exception.get());
        run->m_exception = exception.get();
        if (!run->m_isInterrupted) {
            run->m_isTimeOver = isLimit;
            run->m_delay = delay;
        }
    }
    PyErr_SetObject(PyExc_KeyboardInterrupt, exception.get());
    return -1;
}

void endScript()
{
    Run *const run = innermost;
    if (!run->m_exception)
        return;
    PythonError error = PythonError::fetch();
    run->m_isInterrupted = error.value.get() == run->m_exception;
    run->takeException();
    std::move(error).restore();
}

/// What Python calls for the signal. There may be one that comes too late.
static PyObject *onPythonSignal(PyObject *, PyObject *)
{
    if (raiseIfRequested() != 0)
        return nullptr;
    Py_RETURN_NONE;
}

static int onPendingCall(void *) { return raiseIfRequested(); }

/// Makes Python call raiseIfRequested() before its next instruction. Does nothing while Python
/// starts or ends: the alarm is repeated. Safe in a signal handler.
static void tellPython()
{
    if (!isOpen)
        return;
    if (void (*const handler)(int) = handlerOfPython)
        handler(Platform::alarmSignal());
    else
        Py_AddPendingCall(onPendingCall, nullptr);
}

static void onAlarm()
{
    const qint64 end = deadline;
    if (Interrupt::run == 0) {
        Platform::stopAlarm(); // the run has ended while it was interrupted
        return;
    }
    if (!Interrupt::isRequested() && end != 0 && Interrupt::now() >= end) {
        isTimeOver = true;
        Interrupt::requestTime = end;
        Interrupt::requested = Interrupt::run.load();
    }
    if (Interrupt::isRequested())
        tellPython();
    else
        setAlarmForLimit();
}

/// What an interrupt calls, on any thread.
static void wake()
{
    startAlarm(0);
    if (Platform::alarmSignal() == 0)
        tellPython();
}

/// What scripts call as signal.signal(). Scripts cannot handle the signal of the alarm: it is
/// refused as SIGKILL is.
static PyObject *onSetHandler(PyObject *self, PyObject *arguments)
{
    int number = 0;
    PyObject *handler = nullptr;
    if (!PyArg_ParseTuple(arguments, "iO:signal", &number, &handler))
        return nullptr;
    if (isOpen && number != 0 && number == Platform::alarmSignal()) {
        errno = EINVAL;
        return PyErr_SetFromErrno(PyExc_RuntimeError);
    }
    const PythonReference checked(Py_BuildValue("iO", number, handler));
    return checked ? setHandler(self, checked.get()) : nullptr;
}

/// Makes \p function, which is that of Python, the one above. There is one table of the functions
/// of the module in the process. Returns false for another function.
static bool guardHandler(PyObject *function)
{
    if (!function || !PyCFunction_Check(function))
        return false;
    PyMethodDef *const method = reinterpret_cast<PyCFunctionObject *>(function)->m_ml;
    if (method->ml_meth != onSetHandler) {
        setHandler = method->ml_meth;
        method->ml_meth = onSetHandler;
    }
    return true;
}

/// Lets Python handle the signal by \p handler, a function or signal.SIG_IGN.
static bool setPythonHandler(PyObject *handler)
{
    const PythonReference arguments(handler ? Py_BuildValue("iO", Platform::alarmSignal(), handler)
                                            : nullptr);
    const PythonReference result(arguments ? setHandler(nullptr, arguments.get()) : nullptr);
    PyErr_Clear();
    return result != nullptr;
}

/// Connects the signal to the function above, by a module "signal" that has just been made.
static void handleSignal(PyObject *module)
{
    static PyMethodDef definition = {"interrupt", onPythonSignal, METH_VARARGS, nullptr};
    static void (*original)(int) = nullptr;
    handlerOfPython = nullptr;
    const PythonReference signal(PyObject_GetAttrString(module, "signal"));
    const PythonReference function(PyCFunction_New(&definition, nullptr));
    if (guardHandler(signal.get()) && setPythonHandler(function.get())) {
        if (void (*const handler)(int) = Platform::replaceAlarmHandler())
            original = handler; // none when an alarm has taken the signal back meanwhile
        handlerOfPython = original;
    }
    PyErr_Clear();
}

/// Makes the module "signal" for a script. Signals are handled in the thread that makes it: another
/// thread gets the module that is loaded already.
static void initForScript()
{
    if (signalModule && PyThread_get_thread_ident() != threadOfScripts) {
        PyDict_SetItemString(PyImport_GetModuleDict(), "signal", signalModule);
        return;
    }
    initSignalModule();
    PyObject *const module = PyDict_GetItemString(PyImport_GetModuleDict(), "signal");
    if (module && !PyErr_Occurred() && Platform::alarmSignal() != 0)
        handleSignal(module);
}

void prepare()
{
    for (_inittab *entry = PyImport_Inittab; !initSignalModule && entry->name; ++entry) {
        if (std::strcmp(entry->name, "signal") == 0) {
            initSignalModule = entry->initfunc;
            entry->initfunc = initForScript;
        }
    }
}

void open()
{
    Interrupt::wake = wake;
    Interrupt::yield = yieldPythonLock;
    isOpen = true;
    threadOfScripts = PyThread_get_thread_ident();
    if (!Platform::openAlarm(onAlarm) || Platform::alarmSignal() == 0 || !initSignalModule)
        return;
    PyObject *const modules = PyImport_GetModuleDict();
    if (PyObject *const loaded = PyDict_GetItemString(modules, "signal")) {
        handleSignal(loaded); // "site" has imported it
        return;
    }

    // It handles SIGINT, if nothing else does.
    const auto original = PyOS_getsig(SIGINT);
    initSignalModule();
    if (PyOS_getsig(SIGINT) != original)
        PyOS_setsig(SIGINT, original);
    signalModule = PyDict_GetItemString(modules, "signal");
    if (signalModule) {
        Py_INCREF(signalModule);
        handleSignal(signalModule);
        PyDict_DelItemString(modules, "signal");
    }
    PyErr_Clear();
}

/// Makes the interrupts that follow raise the exception without the module "signal".
static void closeSignal()
{
    if (setHandler && Platform::alarmSignal() != 0) {
        // Otherwise Python would set the signal to its default action, which ends the process.
        const PythonReference ignore(PyInt_FromLong(1));
        setPythonHandler(ignore.get());
        Platform::replaceAlarmHandler();
    }
    handlerOfPython = nullptr;
    Py_CLEAR(signalModule);
}

void finalizePython()
{
    const Run run(Run::End);
    closeSignal();
    Py_Finalize();
    isOpen = false;
}

void end()
{
    Interrupt::wake = nullptr;
    Interrupt::yield = nullptr;
    Platform::closeAlarm();
}

Run::Run(Kind kind) : m_kind(kind), m_outer(innermost)
{
    innermost = this;
    if (!m_outer)
        Interrupt::run = ++lastRun;
    if (kind == End)
        beginScript();
}

Run::~Run()
{
    if (takeException() || (m_kind == End && m_isInterrupted))
        passOn();
    innermost = m_outer;
    if (m_outer)
        return;
    Interrupt::run = 0;
    deadline = 0;
    isTimeOver = false;
    if (isAlarmOn.exchange(false))
        Platform::stopAlarm();
}

/// Releases the exception of the last interrupt. Returns false when there was none.
bool Run::takeException()
{
    if (!m_exception)
        return false;
    const PythonReference exception(std::exchange(m_exception, nullptr));
    return true;
}

/// Interrupts the run around this one.
void Run::passOn()
{
    if (!m_outer)
        return;
    isTimeOver = m_isTimeOver;
    Interrupt::request();
}

void Run::beginScript()
{
    const bool isLimited = !m_outer && Interrupt::timeLimit > 0;
    if (isLimited) {
        limitOfRun = Interrupt::timeLimit;
        deadline = Interrupt::now() + limitOfRun;
    }
    const bool wasInterrupted = takeException(); // in modules
    if (wasInterrupted && m_isTimeOver)
        isTimeOver = true;
    if (wasInterrupted || Interrupt::isRequested()) {
        Interrupt::request();
    } else if (isLimited) {
        setAlarmForLimit();
    }
}

ScriptError Run::finish(const ScriptError &error)
{
    const bool isLate = takeException(); // while the error was printed
    if (m_isInterrupted || isLate)
        passOn();
    if (!m_isInterrupted)
        return error;
    return ScriptErrorPrivate::ofInterrupt(error, m_isTimeOver, m_delay);
}

} // namespace Utils::PythonInterrupt
