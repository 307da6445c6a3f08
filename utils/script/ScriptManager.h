#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"
#include "utils/script/ScriptConsole.h"

#include <QList>

#include <memory>

namespace Utils {

class ScriptError;
class Signal;
struct ScriptManagerPrivate;

/// Runs scripts, checks them, and passes data to them.
///
///     Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
///     scripts.execute("scripts/loads.py");
///
///     Data::Variant result;
///     Data::String error;
///     scripts.pushData("width", 2.5, "py");
///     if (scripts.execute("width * 2", "py", result, error)) // the value of the expression
///         use(result.toDouble());
///
/// An expression can be run only with modules that the application supplies; see docs/scripting.md.
/// Without these modules, run a statement that sets a variable, and pass the name of this variable
/// in \p result.
///
/// A script runs on an engine: the first one that supports the language or the path of the call.
/// A language and a path are the same kind of argument: "py" and "script.py" both mean Python. A
/// library that is built without scripting has no engine; each function below says what it then
/// returns.
///
/// The functions must be called on the main thread, and return when the script has ended. A script
/// may call them: runs can be nested.
class KELMUTILS_EXPORT ScriptManager
{
public:
    /// Returns the manager of the process, which is created by the first call. Do not call this
    /// from the destructor of a static object.
    static ScriptManager &instance();

    ScriptManager(const ScriptManager &) = delete;
    ScriptManager &operator=(const ScriptManager &) = delete;

    /// Runs the file \p path. Returns false when no engine supports it, or when it fails.
    ///
    /// If a host is set, it shows the texts that the StringTable has for these keys:
    ///
    ///     ".Kelm.Utils.msg.scriptRunning"  before the run, also without an engine; %1 is \p path
    ///     ".Kelm.Utils.msg.scriptRun"      after a run that succeeded
    ///     ".Kelm.Utils.err.scriptRun"      after a run that failed; %1 is the exit status, %2 the
    ///                                      error of the engine. Not shown without an engine.
    ///
    /// The output of the script is flushed before the text after the run. At the end the signal
    /// ScriptExecuted() is sent, even without an engine. At that time isExecuting() does not count
    /// this run any more.
    bool execute(const Data::String &path);

    /// Runs the text \p code. Shows no message and sends no signal, and isExecuting() does not
    /// count the run.
    ///
    /// On entry, the text of \p result is the name of the variable to read after the run:
    /// "variable" or "module.variable". If that text is empty, \p result is set to the value that
    /// the script has passed to setScriptResult(), or to an invalid variant. If there is no such
    /// variable, \p result is set to an invalid variant and the call returns true.
    ///
    /// \compat The text of a variant of any type is used: the number 5 means the variable "5".
    ///
    /// Returns false when there is no engine; \p result and \p error then stay unchanged. Returns
    /// false when the run fails; \p error then has the reason, and \p result is invalid.
    bool execute(const Data::String &code, const Data::String &language, Data::Variant &result,
                 Data::String &error) const;

    /// Returns whether an engine supports \p language.
    bool supports(const Data::String &language) const;

    /// Checks whether \p code could be run, without running it. Returns false when it could not;
    /// \p error then has the reason. Returns false when there is no engine; \p error then stays
    /// unchanged.
    bool validate(const Data::String &code, const Data::String &language,
                  Data::String &error) const;

    /// Returns the lines of code that import the names that an expression may use; "" without an
    /// engine.
    Data::String importCode(const Data::String &language);

    /// Sets the variable \p name of scripts, "variable" or "module.variable", to \p value, in every
    /// engine that supports \p language. See docs/scripting.md for the types of values.
    ///
    /// The name is added to the current data context, see setDataContext(), even when no engine
    /// supports the language.
    void pushData(const Data::String &name, const Data::Variant &value,
                  const Data::String &language);

    /// Makes \p context the current data context. A context groups the data that is pushed for one
    /// evaluation.
    ///
    /// The data of the previous context is removed from every engine that supports \p language, and
    /// the list of its names is cleared, even when no engine supports the language.
    ///
    /// Returns false, and does nothing, when \p context is current already. The first context is
    /// "".
    bool setDataContext(const Data::String &context, const Data::String &language);

    /// Sets the result of the text that is being run. The function is called by the module through
    /// which scripts use the application.
    void setScriptResult(const Data::Variant &value);

    /// Ends the interpreter of every engine that supports \p language, or of every engine when
    /// \p language is empty. While scripts run, the interpreter ends after the outermost script. An
    /// interpreter is kept as long as a thread of a script does not end; see docs/scripting.md.
    ///
    /// Returns true.
    bool reset(const Data::String &language);

    /// Returns why the run or check that has ended last has failed; an empty error when it has
    /// succeeded. A run ends after the runs that are nested in it, so its error, or its success,
    /// replaces theirs.
    ///
    /// The error is set before the host is told of a run by a message or a signal.
    ScriptError error() const;

    /// Returns the errors of the modules that are not available to scripts, because their
    /// initialisation by the interpreter of \p language has failed; see IScriptableModule. A failed
    /// module does not make a run fail. An exception that the module has raised or printed is
    /// described; without one, the error has a text only.
    QList<ScriptError> moduleErrors(const Data::String &language) const;

    /// Ends the script that runs: a KeyboardInterrupt is raised in it. Returns false, and does
    /// nothing, when no script is run or checked.
    ///
    /// It may be called on any thread, and in a signal handler. The script notices it within 100
    /// ms, also while it sleeps, reads a pipe, or waits for a process or in an operation of the
    /// library; see docs/scripting.md for what cannot be interrupted. A Progress that can be
    /// cancelled is cancelled.
    ///
    /// A script may catch the exception and go on. Of nested runs, the innermost one is interrupted
    /// first. Unless it catches the exception, the run around it is interrupted next, and so on. A
    /// second call has no effect while the script has not noticed the first one.
    static bool interrupt();

    /// Sets how long a run may take, in milliseconds, before it is ended by a KeyboardInterrupt. 0,
    /// the default, and negative numbers mean no limit.
    ///
    /// The limit is that of an outermost run, and includes the runs that are nested in it. The
    /// start of the interpreter and of modules is not counted. A script that catches the exception
    /// gets another one each second. The limit applies to runs that begin after the call. What
    /// runs when the interpreter ends, such as functions of the module atexit, is a run with a
    /// limit of its own.
    static void setTimeLimit(int milliseconds);
    static int timeLimit();

    /// Returns for how many milliseconds the running script has not noticed an interrupt, or the
    /// end of its time limit; 0 when there is none. It may be called on any thread, so that a host
    /// can tell its user that the script is in a call that cannot be interrupted.
    static int interruptDelay();

    /// Returns whether a file is being run.
    bool isExecuting() const;

    /// Returns the signal "ScriptExecuted", which is sent after each run of a file. The payload has
    /// "path", the path as it was passed, and "result", the bool that execute() returns.
    Signal &ScriptExecuted();

    /// Passes what scripts write with print, sys.stdout and sys.stderr, and the tracebacks of files
    /// that fail, to \p sink, as text and in the order in which it is written. An empty function
    /// removes the sink: the text goes to the streams of the process again, as by default.
    ///
    /// The sink is called on the main thread: at once for what that thread writes. What other
    /// threads of scripts write waits until the main thread executes its next instruction of
    /// Python, or its run ends. The sink may run scripts, and may set another sink or none; what
    /// is written while it runs is passed on after it has returned.
    ///
    /// A text is what one call writes, or several joined. A character whose bytes are written one
    /// after the other arrives whole, and bytes that are not UTF-8 as U+FFFD. If the sink throws an
    /// exception, the text goes to the stream of the process. So does what child processes and C
    /// code write, and what a copy of the process writes that a script has made by os.fork().
    ///
    /// A stream that cannot be redirected for lack of memory stays that of the process. Each run
    /// tries again, as well as for the source of setInputSource().
    ///
    /// Remove the sink before what it uses is destroyed: the interpreter may write at its end.
    void setOutputSink(const ScriptOutputSink &sink);

    /// Makes scripts read \p source: raw_input(), input() and sys.stdin. An empty function removes
    /// the source: scripts read the standard input of the process again, as by default.
    ///
    /// The source is called on the main thread, when a script reads more than it has supplied. A
    /// read on another thread raises an IOError, and so does one by a script that the source runs,
    /// and a source that throws an exception.
    void setInputSource(const ScriptInputSource &source);

    /// Returns the names that can complete the end of \p text, sorted: for "Utils.File.si" the
    /// attributes of Utils.File that begin with "si". The text is what has been written up to the
    /// cursor, also of several lines.
    ///
    ///     "fl"              => keywords, variables of scripts and builtins
    ///     "Utils.File."     => attributes; those that begin with "_" only after a "_"
    ///     "import xml."     => modules
    ///     "from os import " => names of a loaded module, and modules of a package
    ///     "'fl", "# fl"     => nothing: the end is in a string or comment
    ///
    /// Signatures and documentation are those of the stubs of KelmUtils, and otherwise what
    /// functions and classes store, also those of the modules of a host.
    ///
    /// Nothing of a script is called: no property, no __getattr__ and no import. So what only a
    /// call could tell is not completed, such as the attributes of "f()" and of a property. Without
    /// a running interpreter there are only keywords; it is not started.
    QVector<ScriptCompletion> complete(const Data::String &text,
                                       const Data::String &language) const;

    /// Runs \p code as the console of the language does. A statement is run when it is complete: a
    /// block when it ends with an empty line. The value of an expression is printed, and so is the
    /// error of code that fails. SystemExit does not end the process.
    ///
    /// It is a run: error() then returns why it has failed, or the SystemExit, and interrupt() and
    /// the time limit end it. Like execute() of a text, it shows no message and sends no signal.
    /// Fails without an engine that has a console.
    ScriptReply interpret(const Data::String &code, const Data::String &language,
                          ScriptUnit unit = ScriptUnit::Statement);

private:
    ScriptManager();
    ~ScriptManager();

    const std::unique_ptr<ScriptManagerPrivate> d;
};

} // namespace Utils
