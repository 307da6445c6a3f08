#include "bindings/ProcessRun_p.h"

#include "utils/script/PythonReference_p.h"

#include <QScopeGuard>
#include <QSet>

#include <new>
#include <utility>

namespace Utils::Bindings {

namespace {

/// The calls of a function of Python with the lines of a program.
class LineCalls
{
public:
    LineCalls(Process &process, PyObject *function, WrapText wrap)
        : m_process(process), m_function(function), m_wrap(wrap)
    {}
    ~LineCalls()
    {
        for (PyObject *const part : m_error)
            Py_XDECREF(part);
    }
    Q_DISABLE_COPY(LineCalls)

    void call(const Data::String &line, Process::Channel channel)
    {
        if (m_hasFailed)
            return;
        const PythonReference text(wrapped(line));
        PyObject *const isError = channel == Process::StandardError ? Py_True : Py_False;
        const PythonReference result(
            text ? PyObject_CallFunctionObjArgs(m_function, text.get(), isError, nullptr)
                 : nullptr);
        if (result)
            return;
        // Kept, as what ends the program may call Python, too.
        m_hasFailed = true;
        PyErr_Fetch(&m_error[0], &m_error[1], &m_error[2]);
        m_process.kill();
    }

    /// Sets the error of the function, if it has raised one.
    void raise()
    {
        if (m_hasFailed)
            PyErr_Restore(std::exchange(m_error[0], nullptr), std::exchange(m_error[1], nullptr),
                          std::exchange(m_error[2], nullptr));
    }

private:
    PyObject *wrapped(const Data::String &line) const
    {
        try {
            return m_wrap(line);
        } catch (const std::bad_alloc &) {
            return PyErr_NoMemory();
        }
    }

    Process &m_process;
    PyObject *const m_function;
    const WrapText m_wrap;
    PyObject *m_error[3] = {};
    bool m_hasFailed = false;
};

} // namespace

Process::RunResult run(Process &process, int timeout, PyObject *function, WrapText wrap)
{
    static QSet<const Process *> running; // with a function
    if (running.contains(&process)) {
        PyErr_SetString(PyExc_RuntimeError, "Process.run(): the process is run already");
        return Process::RunNotStarted;
    }
    if (!function || function == Py_None || process.isRunning())
        return process.run(timeout);

    LineCalls calls(process, function, wrap);
    running.insert(&process);
    const auto ended = qScopeGuard([&] { // also by an exception
        process.onLine(nullptr);
        running.remove(&process);
    });
    process.onLine([&calls](const Data::String &line, Process::Channel channel) {
        calls.call(line, channel);
    });
    const Process::RunResult result = process.run(timeout);
    calls.raise();
    return result;
}

} // namespace Utils::Bindings
