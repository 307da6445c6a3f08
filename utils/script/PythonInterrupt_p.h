#pragma once

#include "utils/script/ScriptError.h"

#include <QtGlobal>

struct _object; // PyObject, without the header of Python, which only sources include

namespace Utils {

/// Ends scripts by a KeyboardInterrupt: when the host has requested it, or when their time limit is
/// over.
///
/// A signal of its own is sent to the thread of the scripts, which ends system calls that wait.
/// Python's handler of that signal makes it call a function, which raises the exception. The
/// handler is that of the module "signal", which is loaded for this alone: a script that imports it
/// gets another one, so that Python handles Ctrl-C as if this one had not been loaded.
namespace PythonInterrupt {

/// Call it before Python is started.
void prepare();

/// Call it when Python has been started. Does nothing on a system without signals.
void open();

/// Finalises Python. What scripts have left to that, as methods __del__, is a run.
void finalizePython();

/// Call it when the process ends.
void end();

/// Raises the exception when the end of the script is requested. Returns -1 then, otherwise 0.
int raiseIfRequested();

/// Call it when the code of the innermost run has ended, with its error set, before that is printed
/// or described. An interrupt of what this calls cannot be caught any more.
void endScript();

/// A call of the engine that can be interrupted: a run or a check. Runs can be nested; the
/// innermost one is interrupted, and then the ones around it.
class Run
{
public:
    enum Kind
    {
        Script,
        End, ///< of the interpreter: what scripts have left to it. Its time limit begins at once.
    };

    explicit Run(Kind kind = Script);
    ~Run();
    Q_DISABLE_COPY(Run)

    /// Marks the end of the start of Python. An interrupt from before is not lost: what modules run
    /// does not pass it on. The time limit begins.
    void beginScript();

    /// Returns the \p error of the run with what is known of its interruption. An interrupt that
    /// the run has not caught is passed on to the run around it.
    ScriptError finish(const ScriptError &error);

private:
    friend int raiseIfRequested();
    friend void endScript();

    bool takeException();
    void passOn();

    const Kind m_kind;
    Run *const m_outer;
    _object *m_exception = nullptr; // that of the last interrupt, which the script may have caught
    bool m_isInterrupted = false;   // the run, or a part of the end, has ended by it
    bool m_isTimeOver = false;
    int m_delay = 0;
};

} // namespace PythonInterrupt

} // namespace Utils
