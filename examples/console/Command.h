#pragma once

#include "examples/console/ExitCode.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

namespace Kelm {

class Host;

/// The outcome of a command. The user sees the text in error as one line.
struct Result
{
    ExitCode code;
    QString error;
};

inline Result good() { return {Good, {}}; }
inline Result failed(const QString &error) { return {WorkFailed, error}; }
inline Result misused(const QString &error) { return {WrongUsage, error}; }
inline Result cancelled() { return {Cancelled, QString("Cancelled")}; }

/// A command of the program: "kelm NAME ...".
struct Command
{
    const char *name;
    const char *arguments; ///< what is expected after the options, such as "FILE"; for the help
    int fewest;            ///< the smallest number of arguments
    int most;              ///< the largest number of arguments, -1 for any number
    const char *summary;

    /// Adds the options.
    void (*declare)(QCommandLineParser &parser);

    /// Does the work. The number of arguments has been checked before.
    Result (*run)(const QCommandLineParser &given, Host &host);
};

/// Runs \p command with the arguments after its name. The library has its host and its texts while
/// the command runs.
ExitCode perform(const Command &command, const QStringList &arguments);

/// Returns the number in the text of an option, if it is whole and not less than \p least.
std::optional<int> wholeNumber(const QString &text, int least);

} // namespace Kelm
