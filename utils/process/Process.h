#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QMap>
#include <QStringList>

#include <memory>

class QObject;

namespace Utils {

class LogFile;
class ProcessPrivate;

/// Runs a program and gathers what it writes to its standard output and standard error, as one text
/// in the order in which it comes.
///
///     Utils::Process process("solver", {"-input", path});
///     process.setMessage("Solving");
///     if (!process.start())
///         return process.errorMessage();
///     if (!process.wait(/*showProgress=*/true))
///         return "Cancelled"; // by the user, the program has been killed
///     return process.output();
///
/// The output is read while an event loop runs, or a call that waits. It is UTF-8; a character may
/// come in two pieces, what is no UTF-8 reads as U+FFFD, and a byte order mark in front is dropped.
///
/// One object may run one program after the other. Destroyed while its program runs, it kills that
/// one, but not what that has started, whatever the kill mode, and waits for its end.
class KELMUTILS_EXPORT Process
{
public:
    /// What a kill takes: the program and all that it has started, and what that has; only for
    /// KillSingle the program alone. start() turns KillDefault into KillTree for a command that
    /// ends with ".bat" or ".cmd", case-sensitive, and leaves it so, which changes nothing else and
    /// is meant.
    enum KillModes : int
    {
        KillDefault = 0,
        KillSingle = 1,
        KillTree = 2
    };

    explicit Process(const Data::String &command = Data::String(),
                     const QStringList &arguments = QStringList());
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    ~Process();

    /// The program: a path, or a name that is looked for in the PATH of this process, not in one
    /// that setEnvironment() sets. No command interpreter is in between.
    void setCommand(const Data::String &command);

    void setArguments(const QStringList &arguments);

    /// The label that wait() shows.
    void setMessage(const Data::String &text);

    void setWorkingDirectory(const Data::String &folder);

    /// The environment of the next start: that of this process, with \p variables in place of those
    /// of the same name.
    ///
    /// In "PATH" and "LD_LIBRARY_PATH", when this process has a value for them that is not empty,
    /// that value takes the place of each "%PATH%" and "$PATH". If there is none of them,
    /// \p keepPath adds it at the end.
    ///
    ///     PATH, "/opt", keepPath        => "/opt;/usr/bin"
    ///     PATH, "/opt"                  => "/opt"
    ///     PATH, "x;%PATH%;y", either    => "x;/usr/bin;y"
    ///
    /// The separator is ";" on every system, which is meant, odd as it is where others are read.
    void setEnvironment(const QMap<Data::String, Data::String> &variables, bool keepPath);

    void setKillMode(KillModes mode);

    /// Writes the output to \p file too, as it comes. Null ends that. The file is not owned and
    /// must live until then, or as long as this object. A piece of output that ends no character is
    /// no entry in it: the bytes wait for the piece with the rest, and no time stands alone.
    ///
    /// Without \p keepOutput, output() takes nothing more, and of what recentOutput() has not
    /// fetched only the last line is kept: the one that is under way, or the one that has just
    /// ended, with its "\n". Carriage returns go when a line is cut off so.
    ///
    ///     "a\nb\n"    => "b\n"
    ///     "a\r\nb\rc" => "bc"
    ///     "10\r20\r"  => "10\r20\r"   no line has ended
    void setLogFile(LogFile *file, bool keepOutput);

    /// Deletes this object, which must be on the heap, when its program ends, also within wait().
    /// Nothing but a call that is under way may touch it from then on. An object whose program
    /// could not be started stays.
    void deleteWhenFinished();

    /// Starts the program and waits at most 3 seconds for that. False when it could not be started;
    /// errorMessage() tells why. The output starts empty.
    ///
    /// So it is, too, where the system has no room for one more process, no memory or no
    /// descriptor. getPID() is 0 then, and no process gets a signal from this object.
    ///
    /// The first start in the host makes Qt handle SIGCHLD, and call the handler that was there
    /// before. Without that handler, or with the signal blocked in all threads, the end of a
    /// program is not seen.
    ///
    /// While a program runs it starts none, but empties the output and gives true, which is meant.
    bool start();

    /// Waits for the end of the program. False when the user cancelled: then it is being killed as
    /// by kill(), and may run for a moment more.
    ///
    /// Events are not handled. The host is called every 100 ms by a cancelable Progress with the
    /// label of setMessage(), on the popup display when there is one; with \p showProgress false it
    /// is an ordinary one that the user cannot cancel.
    bool wait(bool showProgress);

    /// Kills the program as the kill mode says. Its end is seen by wait() or the event loop.
    /// Nothing happens when it has ended, even where that has not been seen yet.
    void kill();

    /// Kills the process with the number \p pid, and all that it has started, and what that has.
    /// Returns when it is done. Nothing happens for a number below 1, nor for 1, which everything
    /// else has been started by.
    ///
    /// Who has been started meanwhile is found too; whoever got the number of one that has ended
    /// meanwhile is left alone. A process whose parent had ended before belongs to nobody any more
    /// and stays.
    static void kill(qint64 pid);

    /// Writes \p text to the standard input of the program, as UTF-8. True at once for a \p timeout
    /// of 0, even when nothing runs, which is meant; else whether all of it was written in
    /// \p timeout milliseconds, for as long as it takes when that is negative. Where there is
    /// nothing to write, because the text is empty and all that was sent before has been written,
    /// it was not. What the time was too short for is written later.
    bool sendData(const Data::String &text, int timeout) const;

    bool isRunning() const;

    /// Whether nothing runs, and what ran last did not crash. True before the first start.
    bool normalExit() const;

    /// That of the last program that ended, 0 before. For one that was ended by a signal it is the
    /// number of that.
    int exitCode() const;

    /// The text of the last failure by the toolkit: "Unknown error" when there was none. A wait()
    /// of more than 100 ms counts as one, "Process operation timed out", however it ends, which is
    /// meant; so ask only when start() or normalExit() is false.
    Data::String errorMessage() const;

    /// The number of the running process, or 0.
    qint64 getPID() const;

    /// All that was written since the last start. Neither this nor recentOutput() gives more than
    /// 1,000,000,000 code units: what comes behind those is lost.
    Data::String output() const;

    /// What was written since the last call.
    Data::String recentOutput();

    /// The command and its arguments with blanks in between. What holds a blank is in double
    /// quotes; nothing is escaped.
    ///
    ///     C:/a b/x.exe with -f, c d  => "C:/a b/x.exe" -f "c d"
    Data::String fullCommand() const;

    /// Lines with the full command, "pid: 4711" while it runs, and "name=value" for each variable
    /// by name. Before setEnvironment() there are no variables.
    Data::String info() const;

    /// The QProcess, to connect to.
    QObject *object() const;

private:
    void appendOutput();
    void endOutput();
    void processFinished();

    std::unique_ptr<ProcessPrivate> d;
};

} // namespace Utils
