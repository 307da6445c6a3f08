#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <memory>

namespace Utils {

class Signal;
struct ScriptManagerPrivate;

/// The one door through which the application runs scripts, checks them and gives them data.
///
///     Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
///     scripts.execute("scripts/loads.py");
///
///     Data::Variant result;
///     Data::String error;
///     scripts.pushData("width", 2.5, "py");
///     if (scripts.execute("width * 2", "py", result, error)) // an expression gives its value
///         use(result.toDouble());
///
/// An expression needs modules of the application; see docs/scripting.md. Without them a statement
/// does, whose variable the result names.
///
/// A script runs on an engine, which is the first one that takes the language or the path that the
/// call names. A language and a path are the same kind of argument: "py" and "script.py" both mean
/// Python. A library that is built without scripting has no engine, and everything then fails as
/// told below.
///
/// Scripts run to their end on the caller's stack, on the main thread. They may come back here:
/// runs nest.
class KELMUTILS_EXPORT ScriptManager
{
public:
    /// The manager of the process. It is made at its first use and must not be asked for once
    /// static objects die.
    static ScriptManager &instance();

    ScriptManager(const ScriptManager &) = delete;
    ScriptManager &operator=(const ScriptManager &) = delete;

    /// Runs the file \p path. False when no engine takes it, and when it fails.
    ///
    /// The host shows the texts of these keys, each when a host is set at that time:
    ///
    ///     ".Kelm.Utils.msg.scriptRunning"  first, in any case; %1 is \p path
    ///     ".Kelm.Utils.msg.scriptRun"      behind a run that went well
    ///     ".Kelm.Utils.err.scriptRun"      behind one that failed; %1 is the engine's exit status,
    ///                                      %2 its error. Not shown without an engine.
    ///
    /// What the script printed is flushed before the second text. At the end, in any case, the
    /// signal ScriptExecuted() is sent; isExecuting() does not count this run any more by then.
    bool execute(const Data::String &path);

    /// Runs the text \p code. Nothing is shown or sent, and isExecuting() does not count the run.
    ///
    /// \p result names on entry, by its text, the variable to read behind the run, which may be
    /// "module.variable". When that text is empty, the result is what the script has given to
    /// setScriptResult(), or invalid. The text of any variant counts, which is meant: the number 5
    /// asks for a variable "5". A variable that is not there is invalid, and no failure.
    ///
    /// False when there is no engine, which leaves \p result and \p error as they are, and when the
    /// run fails: \p error then tells why, and \p result is invalid.
    bool execute(const Data::String &code, const Data::String &language, Data::Variant &result,
                 Data::String &error) const;

    /// Whether an engine takes \p language.
    bool supports(const Data::String &language) const;

    /// Whether \p code could be run, without running it. When it could not, \p error tells why,
    /// unless there is no engine.
    bool validate(const Data::String &code, const Data::String &language,
                  Data::String &error) const;

    /// The lines by which an expression gets what it may use; "" without an engine.
    Data::String importCode(const Data::String &language);

    /// Gives \p value to scripts as the variable \p name, or "module.variable", in every engine
    /// that takes \p language. See docs/scripting.md for the types of values.
    ///
    /// The name belongs to the current data context, also when no engine takes the language.
    void pushData(const Data::String &name, const Data::Variant &value,
                  const Data::String &language);

    /// Enters the data context \p context, which groups the data pushed for one evaluation: what
    /// was pushed in the last one is taken away again, from every engine that takes \p language,
    /// and forgotten, also when no engine takes it.
    ///
    /// False, and nothing is done, in the context that is current already. The first one is "".
    bool setDataContext(const Data::String &context, const Data::String &language);

    /// Sets what the running text gives as its result. For the module through which scripts reach
    /// the application.
    void setScriptResult(const Data::Variant &value);

    /// Ends what every engine that takes \p language has started, or what every engine has when
    /// it is empty. From within a script that waits until the outermost run has returned. Always
    /// true. An interpreter in which a thread of a script does not end is kept, see
    /// docs/scripting.md.
    bool reset(const Data::String &language);

    /// Whether a file is being run.
    bool isExecuting() const;

    /// Tells of every file run, under the name "ScriptExecuted". The payload holds "path", the path
    /// as it was passed, and "result", the bool that execute() returns.
    Signal &ScriptExecuted();

private:
    ScriptManager();
    ~ScriptManager();

    const std::unique_ptr<ScriptManagerPrivate> d;
};

} // namespace Utils
