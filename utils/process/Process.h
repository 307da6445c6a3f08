#pragma once

#include "data/String.h"
#include "utils/Export.h"

#include <QMap>
#include <QStringList>

#include <functional>
#include <memory>

class QObject;

namespace Utils {

class LogFile;
class ProcessPrivate;

/// Runs a program and collects its standard output and standard error as one text, in the order in
/// which they arrive.
///
///     Utils::Process process("solver", {"-input", path});
///     process.setMessage("Solving");
///     if (!process.start())
///         return process.errorMessage();
///     if (!process.wait(/*showProgress=*/true))
///         return "Cancelled"; // by the user; the program has been killed
///     if (process.isOutputLost())
///         return process.errorMessage(); // there was not enough memory
///     return process.output();
///
/// The output is read while an event loop runs and during calls that wait. It is decoded as UTF-8,
/// unless setEncoding() is set, even when a character arrives in several pieces. Invalid bytes
/// become U+FFFD, and so does an incomplete character at the end. A byte order mark at the start is
/// removed.
///
/// An object can run several programs, one after the other. In any kill mode, the destructor kills
/// a program that is still running, but not the processes that this program has started, and waits
/// for its end.
class KELMUTILS_EXPORT Process
{
public:
    /// Which processes kill() ends: the program and all its descendants, or with KillSingle only
    /// the program.
    ///
    /// \compat start() permanently changes KillDefault to KillTree for a command that ends with
    /// ".bat" or ".cmd", case-sensitively. As KillDefault and KillTree do the same, this has no
    /// further effect.
    enum KillModes : int
    {
        KillDefault = 0,
        KillSingle = 1,
        KillTree = 2
    };

    /// The result of run().
    enum RunResult : int
    {
        RunFinished = 0,  ///< the program has ended; exitCode() and normalExit() tell how
        RunTimedOut = 1,  ///< it did not end in time and was stopped
        RunNotStarted = 2 ///< it was not started; errorMessage() and File::lastError() tell why
    };

    /// Which processes stop() asks to end.
    enum StopRequest : int
    {
        AskProgram = 0, ///< the program, which is to end its descendants itself
        AskTree = 1     ///< the program and all its descendants
    };

    /// The streams that a program writes.
    enum Channel : int
    {
        StandardOutput = 0,
        StandardError = 1
    };

    using LineFunction = std::function<void(const Data::String &line, Channel channel)>;

    explicit Process(const Data::String &command = Data::String(),
                     const QStringList &arguments = QStringList());
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    ~Process();

    /// Sets the program: a path, or a name that is searched in the PATH of this process, not in
    /// that of setEnvironment(). The program is started directly, without a command interpreter.
    void setCommand(const Data::String &command);

    void setArguments(const QStringList &arguments);

    /// Sets the text that wait() shows as the label of its progress display.
    void setMessage(const Data::String &text);

    void setWorkingDirectory(const Data::String &folder);

    /// Sets the environment for the next start: the environment of this process, in which
    /// \p variables are added or replace those of the same name.
    ///
    /// A value for "PATH" or "LD_LIBRARY_PATH" may contain a reference to the value that the
    /// variable has in this process: "%PATH%" or "$PATH", for example. With \p keepPath, a value
    /// without such a reference gets one at its end. If the variable is not set in this process, or
    /// is empty there, the text is unchanged.
    ///
    ///     PATH, "/opt", keepPath        => "/opt;/usr/bin"
    ///     PATH, "/opt"                  => "/opt"
    ///     PATH, "x;%PATH%;y", either    => "x;/usr/bin;y"
    ///
    /// \compat The separator that \p keepPath adds is ";" on every system, even where paths are
    /// separated by ":".
    void setEnvironment(const QMap<Data::String, Data::String> &variables, bool keepPath);

    void setKillMode(KillModes mode);

    /// Also writes the output to \p file as it arrives; null stops this. The object does not own
    /// \p file, which must exist until another call replaces it, or as long as this object. Output
    /// that contains no complete character is not written at once; its bytes are added to the next
    /// entry of the log. Empty pieces are left out of the log.
    ///
    /// Without \p keepOutput, nothing more is added to output(), and of the output not yet returned
    /// by recentOutput() only the last line is kept. This is the incomplete line, or the line that
    /// has just ended, with its "\n". Carriage returns are removed when earlier lines are
    /// discarded.
    ///
    ///     "a\nb\n"    => "b\n"
    ///     "a\r\nb\rc" => "bc"
    ///     "10\r20\r"  => "10\r20\r"   no line has ended
    void setLogFile(LogFile *file, bool keepOutput);

    /// Makes the object delete itself when its program ends, even within wait(). The object must be
    /// on the heap and must not be accessed after its deletion; a call in progress returns
    /// normally. When start() fails, the object is not deleted.
    void deleteWhenFinished();

    /// Starts the program and waits up to 3 seconds until it has started. The output is cleared
    /// first. False when the program could not be started; errorMessage() tells why.
    ///
    /// The result is also false when the system cannot create another process, or lacks memory or
    /// file descriptors. getPID() is then 0, and this object sends no signal to any process.
    ///
    /// On Unix the first start in a process makes Qt install a handler for SIGCHLD, which calls the
    /// previous handler. If that handler is replaced, or all threads block the signal, the end of a
    /// program is not detected.
    ///
    /// \compat While a program is running, no other program is started, but the output is cleared
    /// and the result is true.
    bool start();

    /// Waits for the end of the program. False when the user cancelled: the program is then killed
    /// as by kill(), and may still be running when the call returns.
    ///
    /// No events are processed. Every 100 ms a Progress with the label of setMessage() calls the
    /// host. With \p showProgress the user can cancel this Progress, which is on the popup display
    /// if the label is not empty, and otherwise on the ordinary display. Without \p showProgress
    /// the Progress is on the ordinary display and cannot be cancelled. The wait cursor is shown
    /// during the call. ScriptManager::interrupt() cancels the call when a script has made it.
    bool wait(bool showProgress);

    /// Kills the program according to the kill mode. Its end is noticed by wait() or by the event
    /// loop. Does nothing when the program has ended, even if its end was not noticed yet. Where
    /// the processes of the system cannot be listed, as on Linux without /proc, the descendants
    /// stay.
    void kill();

    /// Kills the process \p pid and all its descendants, and returns when this is done. Does
    /// nothing for a number below 1, nor for 1, the ancestor of all processes. A process that
    /// cannot be killed stays, and this is not reported.
    ///
    /// Processes that are started meanwhile are killed, too. When a process has ended meanwhile and
    /// another process has received its number, this other process is not killed. A descendant
    /// whose parent had ended before the call is not found, and stays.
    static void kill(qint64 pid);

    /// Writes \p text to the standard input of the program, as UTF-8, and waits up to \p timeout
    /// milliseconds, or without limit if \p timeout is negative. Returns whether all text was
    /// written. Text that was not written in time is written later. The result is also false when
    /// there is nothing to write: the text is empty, and all earlier text has been written; and
    /// when a script waits and ScriptManager::interrupt() ends that.
    ///
    /// On Unix the first text that is written makes Qt ignore SIGPIPE in the whole process.
    ///
    /// \compat With a \p timeout of 0 the call does not wait and returns true, even when no program
    /// is running.
    bool sendData(const Data::String &text, int timeout) const;

    bool isRunning() const;

    /// Whether no program is running and the last one did not crash. The result is true before the
    /// first start.
    bool normalExit() const;

    /// The exit code of the last program; 0 before any program has ended. For a program that was
    /// ended by a signal, the result is the number of the signal.
    int exitCode() const;

    /// The text that Qt has for the last error; "Unknown error" when there was none. While
    /// isOutputLost() is true, it is the text of the system for the lack of memory.
    ///
    /// \compat A wait() of more than 100 ms sets the text to "Process operation timed out", even if
    /// it succeeds. So use this text only when start() or normalExit() returns false, or
    /// isOutputLost() returns true.
    Data::String errorMessage() const;

    /// The number of the running process, or 0.
    qint64 getPID() const;

    /// All output since the last start. Neither this text nor that of recentOutput() has more than
    /// 1,000,000,000 code units; further output is lost.
    ///
    /// Output for which there is not enough memory is lost, too, and so is all output after it
    /// until the next start, standard error included. So each text, the log file and the lines of
    /// onLine() are the start of the whole, without a gap; a line that is not complete by then is
    /// left out. isOutputLost() tells it, and run() stores a reason.
    Data::String output() const;

    /// The output since the last call of this function.
    Data::String recentOutput();

    /// Whether output since the last start was lost because there was not enough memory, see
    /// output(). The program itself may have succeeded, and start(), wait() and run() return the
    /// same as without a loss.
    bool isOutputLost() const;

    /// The command and its arguments, separated by spaces, for display. A command or argument that
    /// contains a space is in double quotes; nothing is escaped.
    ///
    ///     C:/a b/x.exe with -f, c d  => "C:/a b/x.exe" -f "c d"
    Data::String fullCommand() const;

    /// The full command, "pid: 4711" while the program is running, and "name=value" for each
    /// variable, sorted by name, each on a line of its own. Before setEnvironment() there are no
    /// variables.
    Data::String info() const;

    /// The QProcess, for connections to its Qt signals. This object owns it.
    QObject *object() const;

    /// Starts the program and waits for its end, \p timeout milliseconds at most, or without limit
    /// if \p timeout is negative. A program that has not ended by then is stopped as by stop(),
    /// which adds the time of the stop policy. So is one for which a script waits that is
    /// interrupted, see ScriptManager::interrupt(), but that adds 50 ms at most.
    ///
    /// Unlike wait(), the call reports no progress and shows no wait cursor, and the user cannot
    /// cancel it. No events are processed. If a program of this object is running, no other one is
    /// started, and neither that program nor its output is touched.
    ///
    /// For each result but RunFinished, File::lastError() has the reason; also for RunFinished when
    /// output was lost because there was not enough memory. The time of the start
    /// counts, too, but a start may take its 3 seconds even if \p timeout is less. Output that
    /// descendants write after the end of the program is not part of its output.
    RunResult run(int timeout = -1);

    /// Ends the running program in three steps:
    ///
    /// 1. Asks it to end: on Unix by the signal SIGTERM, on Windows by closing its windows, which a
    ///    program without windows ignores.
    /// 2. Waits until the program and its descendants have ended, up to the time of
    ///    setStopPolicy(), but not longer than 50 ms after ScriptManager::interrupt() when a script
    ///    waits. The output is read meanwhile. When the program ends before its descendants, those
    ///    are asked, too.
    /// 3. Kills those that still run, with all their descendants.
    ///
    /// With KillSingle, only the program is asked, waited for and killed, and so it is where the
    /// processes of the system cannot be listed, as on Linux without /proc: the descendants stay.
    /// Otherwise, a descendant that was started during the call and whose parent ended within 50 ms
    /// may be missed, as well as one whose parent had ended before the call; both stay.
    ///
    /// True when the program has ended, or none was running. No events are processed. A call during
    /// another one, from a function of onLine(), returns at once.
    bool stop();

    /// Sets that stop() waits up to \p waitTime milliseconds after its request, and whom it asks. 0
    /// kills without a request. From then on a cancelled wait() stops the program as by stop()
    /// instead of kill().
    ///
    /// Without this call, and again after a negative \p waitTime, stop() and run() ask the program
    /// and wait up to 3,000 ms, and a cancelled wait() kills as it always did.
    void setStopPolicy(int waitTime, StopRequest request = AskProgram);

    /// Sets \p function to be called with each line of the output, in order; null for none. Set it
    /// before the start.
    ///
    /// A line ends with "\n", "\r\n" or "\r", which are not part of it: programs that show their
    /// progress end each state of it with "\r". The last line need not have an end. The text is
    /// decoded as that of output(), which has all lines as well. The channel is StandardOutput,
    /// unless setSeparateErrorOutput() is set. A line of more than 1,000,000,000 code units is
    /// divided.
    ///
    ///     "a\nb\r\n\n10%\r20%\rend"  => "a", "b", "", "10%", "20%", "end"
    ///
    /// The lines arrive when an event loop runs, within 10 ms during wait(), run() and stop(), and
    /// at the end of a sendData() that waits; the last ones before other receivers of the signal
    /// finished(int, QProcess::ExitStatus) of object() are called. A start() drops the lines of an
    /// earlier program that have not been delivered.
    ///
    /// The function may do anything: replace itself, kill() or delete this object, which drops the
    /// remaining lines, start other programs, or run an event loop. It is not called again before
    /// it returns: lines that arrive meanwhile follow after that, also those after the end of the
    /// program; with deleteWhenFinished() the object then lives until they are delivered. An
    /// exception of the function is dropped.
    void onLine(LineFunction function);

    /// Sets for the next start whether output() has standard output only, and errorOutput()
    /// standard error. recentOutput() is then that of standard output, too. A log file receives
    /// both as they arrive. The order between the two is not exactly that in which the program
    /// wrote them.
    void setSeparateErrorOutput(bool separate);

    /// The standard error since the last start, when it is separate, decoded and limited as
    /// output().
    Data::String errorOutput() const;

    /// Sets the encoding of the output, standard error included, from the next start on, such as
    /// "windows-1252" or "IBM850"; the names are those of File. With "", as at first, it is UTF-8.
    /// False, with a reason in File::lastError() and nothing changed, when there is no encoding of
    /// that name. sendData() writes UTF-8 in any case.
    bool setEncoding(const Data::String &name);

    /// The name last set: "", or the usual name of the encoding.
    Data::String encoding() const;

    /// The command and its arguments as a text that a program reads back exactly: on Unix a POSIX
    /// shell, on Windows a program that splits its command line by the rules of
    /// CommandLineToArgvW(), which are not those of cmd.exe. Unlike fullCommand(), the text can be
    /// run.
    ///
    ///     sort, -r, a b.txt, it's  => sort -r 'a b.txt' 'it'\''s'
    ///
    /// A shell runs its own command, such as "echo" or "test", instead of a program of that name; a
    /// command with a path is always the program. bash takes a name that begins with "%" for a job.
    /// On Windows the result is "" if the command contains a double quote, which is not allowed in
    /// paths there.
    Data::String quotedCommand() const;

private:
    void appendOutput();
    void endOutput();
    void processFinished();
    void appendErrorOutput();

    std::unique_ptr<ProcessPrivate> d;
};

} // namespace Utils
