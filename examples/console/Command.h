#pragma once

#include "examples/console/ExitCode.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

namespace Kelm {

class Host;

/// How a command ended. A text in error is told to the user in one line.
struct Result
{
    ExitCode code;
    QString error;
};

inline Result good() { return {Good, {}}; }
inline Result failed(const QString &error) { return {WorkFailed, error}; }
inline Result misused(const QString &error) { return {WrongUsage, error}; }
inline Result cancelled() { return {Cancelled, QString("Cancelled")}; }

/// What the program can be asked to do: "kelm NAME ...".
struct Command
{
    const char *name;
    const char *arguments; ///< what is expected behind the options, as "FILE"; for the help
    int fewest;            ///< how many arguments there must be at least,
    int most;              ///< and at most, -1 for any number
    const char *summary;

    /// Adds the options.
    void (*declare)(QCommandLineParser &parser);

    /// Does the work. The number of arguments is right by then.
    Result (*run)(const QCommandLineParser &given, Host &host);
};

/// Runs \p command with the arguments behind its name: the library's host and texts are there for
/// as long as that takes.
ExitCode perform(const Command &command, const QStringList &arguments);

/// The number in the text of an option, if it is a whole one and no smaller than \p least.
std::optional<int> wholeNumber(const QString &text, int least);

} // namespace Kelm
