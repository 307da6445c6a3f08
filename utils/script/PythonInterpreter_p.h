#pragma once

#include "data/String.h"
#include "utils/script/ScriptError.h"

#include <QList>
#include <QtGlobal>

#include <optional>
#include <string>

namespace Utils {

struct PythonHome;

/// Keeps sys.exit() from ending the host, where Python prints errors itself, while it exists.
class PythonExitGuard
{
public:
    PythonExitGuard();
    ~PythonExitGuard();
    Q_DISABLE_COPY(PythonExitGuard)

private:
    const int m_original;
};

/// The interpreter of the process: finds its home, starts it and ends it. PythonScript tells what
/// callers see of that.
///
/// What starts, runs or ends scripts here must be called on the stack for deep recursion.
class PythonInterpreter
{
public:
    class RunGuard;

    PythonInterpreter() = default;
    ~PythonInterpreter();
    Q_DISABLE_COPY(PythonInterpreter)

    /// Whether there is an interpreter that can be called.
    static bool isCallable();

    /// Starts the interpreter when none runs, and initialises the modules that are not initialised
    /// yet. Call it under a RunGuard.
    ///
    /// When true, \p messages has what modules have reported, one line for each. When false, it has
    /// the reason, or "" when there is no text for it.
    bool ensureStarted(Data::String &messages);

    /// Ends the interpreter after the outermost run. Does nothing while it is ending.
    void requestEnd();

    /// Ends the interpreter at once, or keeps it while a thread of a script does not end.
    void end();

    /// The errors of the modules that have failed in this interpreter, in order.
    QList<ScriptError> moduleErrors() const { return m_moduleErrors; }

    /// Whether calls that may run scripts have not returned yet.
    bool isInUse() const { return m_runs > 0; }

    /// Whether the start-up program has succeeded in this process. It stays so across an end.
    static bool isStartUpProgramDone;

    /// Makes the library's own module in a new interpreter. The list of the library's objects
    /// supplies it, as the bindings are above the engine.
    static void (*const makeLibraryModule)();

private:
    bool start(Data::String &messages);
    void initializeModules(Data::String &failures);
    bool setHome(PythonHome &home);
    void setProgramName();

    std::optional<std::string> m_programName; // the interpreter points to both
    std::string m_home;

    QList<ScriptError> m_moduleErrors;

    int m_runs = 0; // how deep calls that may run scripts are nested
    bool m_isEndRequested = false;
    bool m_isKept = false; // beyond its end, as a thread of a script goes on
    bool m_isEnding = false;
};

/// Marks a call that may run scripts: the interpreter does not end before the outermost one has
/// returned. An error that an inner one has left is cleared, as the script around it must not see
/// it.
class PythonInterpreter::RunGuard
{
public:
    explicit RunGuard(PythonInterpreter &interpreter);
    ~RunGuard();
    Q_DISABLE_COPY(RunGuard)

private:
    PythonInterpreter &m_interpreter;
};

} // namespace Utils
