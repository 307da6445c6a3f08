#pragma once

#include "utils/script/IScriptEngine.h"

#include <QMap>
#include <QStringList>

#include <optional>
#include <string>

struct _object; // PyObject, without the header of Python, which only sources include

namespace Utils {

/// Runs Python 2.7 in the process, in the module __main__.
///
/// The interpreter starts at the first run or check of a script, and again after a reset(). The
/// host must be there then and have these variables:
///
///     "APP_PATH"    the path of the program, for sys.executable
///     "PYTHON_DIR"  the home of Python, if it exists. Otherwise it is the folder "HOME_DIR", when
///                   that has a python27.zip.
///     "HOME_DIR"    the folder of the start-up program, solver/pyInit, which is run with the home
///                   as its argument until it has once succeeded in this process
///     "RES_DIR"     "site-packages" in there is added to the search path, as the text of a Python
///                   string that is not escaped, which is meant
///
/// A start-up program that cannot be started counts for nothing; one that fails stops the start.
/// Python itself looks at its home and at the program's path only once in a process, and not at a
/// home that has no library.
///
/// A damaged library fails the start, "Python not initialized", and Python prints what it knows of
/// it to the standard error. Until a start has succeeded in the process each is tried first in a
/// copy of it, where a library that ends the process, crashes it or takes longer than 30 seconds
/// does no harm; a start that fails there leaves Python free to look at another home. Not on
/// Windows, nor when the system cannot copy the process: the start goes on untried. What "site"
/// runs is run in the copy, too.
///
/// Data goes to __main__, as a plain name, or behind the first "." to another module, which is made
/// empty when it is not loaded, even if it could be imported: this is meant.
///
/// There is one interpreter in a process, and one engine. Scripts may come back to it from within a
/// run, through what the host offers them. A reset or the end of a module is put off then until
/// the outermost call has returned.
///
/// Threads of scripts get a second to end before the interpreter does, and those that go on have
/// SystemExit raised in them. While one goes on all the same, as in a sleep, the interpreter is
/// kept, and each is told to the host's logMessage() at level 3, or to the standard error without a
/// host:
///
/// - A reset(), or the end of a module, leaves everything in it as it is, and modules stay
///   initialised, of which the one that has died must not be used. The next runs use the old
///   interpreter; the first one after the end of the last such thread starts a new one.
/// - The end of the process goes on without Py_Finalize. It takes no more than two seconds, without
///   the time of what is registered for the exit.
///
/// One that keeps Python's lock makes everything fail, "Python not initialized", until it is back.
///
/// Scripts run on a stack of their own, on the thread of the caller, which is as deep as
/// Platform::callOnDeepStack() says: code that is deep for Python's compiler needs it, whether it
/// is given to the engine or comes from exec or import in a script. Code that would overflow it all
/// the same fails with a MemoryError. sys.setrecursionlimit() goes no further than that stack
/// bears, and 1,000 is in force again at each start. Threads of scripts get a sixteenth of that
/// stack each.
class PythonScript : public IScriptEngine
{
public:
    PythonScript();
    PythonScript(const PythonScript &) = delete;
    PythonScript &operator=(const PythonScript &) = delete;
    ~PythonScript() override;

    /// A script that fails prints its traceback to the standard error; errorMessage() stays "",
    /// which is meant, as does sys.exit() failing like any exception: the host goes on.
    bool runFile(const Data::String &path) override;

    /// Runs an expression, which is a text without newline and "=", or statements, which is any
    /// other, "a == 1" among them: this is meant.
    ///
    /// An expression can use what importCode(), KelmData and KelmFramework have, which must be
    /// there, and the modules that data was pushed to. Its value is in "rval" then and goes to
    /// Framework.app().setScriptResult(). The line that an error tells counts those imports.
    /// Statements see only __main__ and those modules.
    bool runCode(const Data::String &code) override;

    void pushData(const Data::String &name, const Data::Variant &value) override;

    /// What was pushed as \p name, even if a script has given that name another value since, which
    /// is meant, or else the variable. A missing one leaves a Python error set until the next call.
    Data::Variant getData(const Data::String &name) override;

    /// With the last data of any name goes the import of its module, even if other names of that
    /// module are still there, which is meant.
    void popData(const Data::String &name) override;

    bool supports(const Data::String &language, bool isPath) override;
    bool validate(const Data::String &code) override;
    int exitStatus() const override;
    Data::String errorMessage() const override;
    void moduleRemoved(const Data::String &moduleName) override;

    /// The imports of the setting "gui/pythonImports", which are separated by ";" there, each on a
    /// line of its own, also one that is empty.
    ///
    ///     "import a; import b"  => "import a\nimport b\n"
    ///     ";import a"           => "\nimport a\n"
    ///     ""                    => ""
    Data::String importCode() override;

    void reset() override;

    /// Whether the start-up program has succeeded in this process. It stays so across a reset.
    static bool isStartUpProgramDone;

private:
    class Use;

    // The operations of those names, on the stack for deep recursion.
    bool runFileThere(const Data::String &path);
    bool runCodeThere(const Data::String &code);
    void pushDataThere(const Data::String &name, const Data::Variant &value);
    Data::Variant getDataThere(const Data::String &name);
    void popDataThere(const Data::String &name);
    bool validateThere(const Data::String &code);

    bool ensureStarted();
    bool ensureStartedToRun();
    bool runStartUpProgram(const Data::String &home);
    bool startInterpreter(const Data::String &home, bool isZipHome);
    void initializeModules();
    bool runExpression(const Data::String &code);
    bool runStatements(const Data::String &code);
    bool runProgram(const QString &program);
    void extractError();
    void finalize();

    int m_exitStatus = 0;
    Data::String m_errorText;
    std::optional<std::string> m_programName; // both are what the interpreter points to
    std::string m_pythonHome;
    QMap<Data::String, _object *> m_pushedObjects; // by name; a reference is ours
    QStringList m_modules;                         // that names of pushed data have, each once

    int m_uses = 0; // how deep calls that may run scripts are nested
    bool m_isResetPutOff = false;
    bool m_isKept = false; // the interpreter, as a thread of a script goes on
    bool m_isFinalizing = false;
};

} // namespace Utils
