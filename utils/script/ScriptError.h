#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QList>
#include <QSharedDataPointer>

namespace Utils {

class ScriptErrorPrivate;

/// Why a run or a check of a script failed.
///
///     if (!ScriptManager::instance().execute("loads.py")) {
///         const ScriptError error = ScriptManager::instance().error();
///         show(error.type() + ": " + error.text(), error.traceback());
///         edit(error.file(), error.line());
///     }
///
/// An error that no exception of the script has caused has a text only: the interpreter cannot be
/// started, the file cannot be opened, or no engine supports the language.
///
/// The file of code that was passed as text is "<string>", and "code" in a check. Its lines count
/// from 1; for an expression, the lines of imports before it count, too.
///
/// Copies share their contents.
class KELMUTILS_EXPORT ScriptError
{
public:
    /// A call that was active when the exception was raised.
    struct Frame
    {
        Data::String file;
        int line = 0; ///< from 1
        Data::String function;
        Data::String source; ///< the line without the blanks around it; "" when it is not available
    };

    /// Constructs an empty object: no error.
    ScriptError();
    ScriptError(const ScriptError &other);
    ScriptError &operator=(const ScriptError &other);
    ~ScriptError();

    /// Whether there is no error.
    bool isEmpty() const;

    /// The name of the exception's class, such as "ZeroDivisionError"; "" without an exception.
    Data::String type() const;

    /// The text of the exception, or the reason without one. The text of a syntax error has no
    /// position.
    Data::String text() const;

    /// The text that Python prints for the exception, in several lines; "" without an exception. It
    /// quotes the lines of a file, and also those of code that was passed as text.
    Data::String traceback() const;

    /// The position of a syntax error; otherwise that of the innermost frame, which has no column.
    /// "" and 0 when unknown. Lines and columns count from 1; the column counts bytes.
    Data::String file() const;
    int line() const;
    int column() const;

    /// The active calls, the outermost first, as in the traceback; the innermost 1,000 if there are
    /// more. A syntax error in the code itself has none.
    QList<Frame> frames() const;

    /// Whether the script has called sys.exit(), and the status that a program would return: 0
    /// without an argument, 1 when the argument is no int. The text is that of the argument.
    bool isExit() const;
    int exitStatus() const;

    /// Whether the script has ended because of ScriptManager::interrupt() or its time limit, by the
    /// KeyboardInterrupt that these raise. The text then tells which of them it was, in the
    /// language of the StringTable: ".Kelm.Utils.err.scriptinterrupt" or
    /// ".Kelm.Utils.err.scriptlimit".
    bool isInterrupted() const;

    /// Whether isInterrupted() is true because of the time limit.
    bool isTimeLimit() const;

    /// The milliseconds from the call of ScriptManager::interrupt(), or from the end of the time
    /// limit, until the script has noticed it. More than 100 means that it was in a call that
    /// cannot be interrupted, or that the machine was busy; from 500 on, the text says so, too. 0
    /// without an interrupt.
    int interruptDelay() const;

    /// The name of the module that failed, for an error of ScriptManager::moduleErrors(); otherwise
    /// "".
    Data::String module() const;

    /// The error as one line of JSON: an object with "type", "text", "file", "line", "column",
    /// "frames", an array of objects with "file", "line", "function" and "source", and "traceback".
    /// What is unknown is null. "{}" when there is no error.
    Data::String toJson() const;

private:
    friend class ScriptErrorPrivate;

    explicit ScriptError(ScriptErrorPrivate *data);

    QSharedDataPointer<ScriptErrorPrivate> d;
};

} // namespace Utils
