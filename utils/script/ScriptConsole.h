#pragma once

#include "data/String.h"

#include <QVector>

#include <functional>

namespace Utils {

/// The stream to which a script has written a text.
enum class ScriptChannel
{
    Output, ///< standard output: print and sys.stdout
    Error,  ///< standard error: tracebacks, warnings and sys.stderr
};

/// Receives what scripts write; see ScriptManager::setOutputSink().
using ScriptOutputSink = std::function<void(const Data::String &text, ScriptChannel channel)>;

/// Supplies what scripts read; see ScriptManager::setInputSource().
///
/// Sets \p text to the next part of the input and returns true. Usually that is a line with its
/// line feed, but it may be any text. Returns false at the end of the input.
using ScriptInputSource = std::function<bool(Data::String &text)>;

/// A name that can complete what is being written; see ScriptManager::complete().
struct ScriptCompletion
{
    enum Kind
    {
        Keyword,
        Module,
        Class,
        Function,
        Property, ///< what is computed when it is read
        Variable,
    };

    Data::String name; ///< the whole name, such as "size" for "File.si"
    Kind kind = Variable;

    /// How a function or class is called, such as "size(path: Text) -> int". Each overload is a
    /// line of its own. "" when it is not known.
    Data::String signature;
    Data::String documentation; ///< "" when there is none
};

/// How ScriptManager::interpret() runs a text.
enum class ScriptUnit
{
    Statement, ///< a statement that is typed into a console, whose value is printed
    File,      ///< all statements of a file
};

/// The result of ScriptManager::interpret().
struct ScriptReply
{
    enum State
    {
        Done,
        Incomplete, ///< nothing was run, as the statement goes on in a next line
        Failed,     ///< the error has been printed, or is in \ref error
        Exit,       ///< the code wants the program to end, as by exit()
    };

    State state = Failed;
    int exitStatus = 0; ///< for the program: of Exit the given one, 1 of Failed, else 0
    Data::String error; ///< why nothing could be run; else ""
};

} // namespace Utils
