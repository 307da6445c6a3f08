#pragma once

#include "utils/script/IScriptConsole_p.h"
#include "utils/script/IScriptEngine.h"
#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/ScriptError_p.h"

#include <QMap>
#include <QStringList>

struct _object; // PyObject, without the header of Python, which only sources include

namespace Utils {

struct PythonRun;

/// Runs Python 2.7 in the process, in the module __main__.
///
/// The interpreter starts at the first run or check of a script, and again after a reset(). A host
/// must be set then and have these variables:
///
///     "APP_PATH"    the path of the program, for sys.executable
///     "PYTHON_DIR"  the home of Python, if this folder exists. Otherwise the home is the folder
///                   "HOME_DIR", which must contain a file python27.zip.
///     "HOME_DIR"    the folder of the start-up program, solver/pyInit. It is run with the home as
///                   its argument, at each start until it has once succeeded in this process.
///     "RES_DIR"     its folder "site-packages" is added to the search path, as the text of a
///                   Python string. \compat The path is not escaped.
///
/// A start-up program that cannot be started is ignored; one that fails stops the start. Python
/// itself reads its home and the program's path only once in a process, and does not read a home
/// that has no library.
///
/// When the library is damaged the start fails, "Python not initialized", and Python prints what it
/// knows of the fault to the standard error. Until a start has succeeded in the process, each start
/// is first tried in a copy of the process. A library that ends the process, crashes it or takes
/// longer than 30 seconds does no harm in the copy, and after a start that failed there Python can
/// still be started with another home. Where the system cannot copy the process, as on Windows, the
/// start is not tried first. Code that "site" runs is run in the copy, too.
///
/// A plain name of data is a variable of __main__. In a name with a ".", the text before the first
/// "." is the module. \compat A module that is not loaded is made, empty, even if it could be
/// imported.
///
/// There is one interpreter in a process, and one engine. Scripts may call the engine during a run,
/// through what the host offers them. A reset, or the end of a module, then waits until the
/// outermost call has returned.
///
/// Before the interpreter ends, threads of scripts have a second to end. SystemExit is then raised
/// in those that still run. While one still goes on, as in a sleep, the interpreter is kept, and
/// each such thread is reported to the host by logMessage() at level 3, or to the standard error
/// without a host:
///
/// - After a reset(), or the end of a module, everything in the interpreter stays as it is, and
///   modules stay initialised. The module that has ended must not be used. The next runs use the
///   old interpreter; the first run after the last such thread has ended starts a new one.
/// - The process ends without Py_Finalize(). That takes no more than two seconds, without the time
///   of the functions that are registered for the exit.
///
/// While a thread keeps Python's lock, every call fails with "Python not initialized".
///
/// Scripts run on the thread of the caller, on a stack of their own whose size
/// Platform::callOnDeepStack() tells: Python's compiler recurses for deeply nested code, which may
/// be passed to the engine or come from exec or import in a script. Code that would overflow even
/// that stack fails with a MemoryError. sys.setrecursionlimit() is limited to what that stack
/// holds, and the limit is 1,000 again after each start. Each thread of a script has a sixteenth of
/// that stack.
class PythonScript : public IScriptEngine, public IScriptErrors, public IScriptConsole
{
public:
    PythonScript();
    PythonScript(const PythonScript &) = delete;
    PythonScript &operator=(const PythonScript &) = delete;
    ~PythonScript() override;

    /// \compat errorMessage() stays "" when a script fails, as Python prints the traceback to the
    /// standard error. sys.exit() fails like an exception, and the host goes on.
    bool runFile(const Data::String &path) override;

    /// Runs an expression or statements. \compat A text without newline and "=" is an expression,
    /// any other is statements, also "a == 1".
    ///
    /// An expression can use the imports of importCode(), KelmData and KelmFramework, which must
    /// exist, and the modules of pushed data. Its value is stored in "rval" and passed to
    /// Framework.app().setScriptResult(). The line number of an error counts those imports.
    /// Statements can use only __main__ and the modules of pushed data.
    bool runCode(const Data::String &code) override;

    void pushData(const Data::String &name, const Data::Variant &value) override;

    /// Returns what was pushed as \p name, else the value of the variable. \compat The pushed value
    /// is returned even if a script has changed the variable. A missing variable leaves a Python
    /// error set until the next call.
    Data::Variant getData(const Data::String &name) override;

    /// \compat Also ends the import of the module of \p name, even if other names of that module
    /// are still pushed.
    void popData(const Data::String &name) override;

    bool supports(const Data::String &language, bool isPath) override;
    bool validate(const Data::String &code) override;
    int exitStatus() const override;
    Data::String errorMessage() const override;
    void moduleRemoved(const Data::String &moduleName) override;

    /// Returns the imports of the setting "gui/pythonImports", which are separated by ";" there,
    /// each on a line of its own, even if it is empty.
    ///
    ///     "import a; import b"  => "import a\nimport b\n"
    ///     ";import a"           => "\nimport a\n"
    ///     ""                    => ""
    Data::String importCode() override;

    void reset() override;

    ScriptError error() const override;
    QList<ScriptError> moduleErrors() const override;

    void setOutputSink(const ScriptOutputSink &sink) override;
    void setInputSource(const ScriptInputSource &source) override;
    QVector<ScriptCompletion> complete(const Data::String &text) override;
    ScriptReply interpret(const Data::String &code, ScriptUnit unit) override;

    /// Ends the engine with the process: releases the pushed data and ends the interpreter. Does
    /// nothing within a run.
    void end();

private:
    bool start();
    bool startToRun();
    bool store(const PythonRun &run);
    QString expressionProgram(const QString &expression);

    int m_exitStatus = 0;
    Data::String m_errorText;
    ScriptError m_error;
    PythonInterpreter m_interpreter;
    QMap<Data::String, _object *> m_pushedObjects; // by name; a reference is ours
    QStringList m_modules;                         // in names of pushed data, each once
    int m_consoleFeatures = 0;                     // imported from __future__
    bool m_hasEnded = false;
};

} // namespace Utils
