#pragma once

#include "utils/process/Process.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>

namespace Utils {
class LogFile;
class Progress;
} // namespace Utils

namespace Workbench {

/// What the user wants to run. Relative paths are relative to the folder.
struct ProcessTask
{
    QString command;
    QString arguments; ///< separated by spaces; those with spaces in double quotes
    QString folder;    ///< "" is the folder for temporary files
    QString result;    ///< the file that the program writes; "" for none
    QString log;       ///< the file that receives the output; "" for none

    /// \p path as an absolute path; "" stays empty.
    QString absolute(const QString &path) const;
};

/// A program that runs while the user works on: its lines, its progress, its end. All its processes
/// end with the object.
class ProcessRun : public QObject
{
    Q_OBJECT

public:
    explicit ProcessRun(const ProcessTask &task, QObject *parent);
    ~ProcessRun() override;

    enum class End
    {
        None,     ///< it still runs
        Exited,   ///< by itself, with code()
        Crashed,  ///< by the signal code()
        Cancelled ///< by cancel()
    };

    /// Starts the program. False when it cannot be started; problem() tells why.
    bool start();

    /// Asks the program to end, waits, and then kills it with all that it has started. The call
    /// waits for that, as long as the setting says.
    void cancel();

    const ProcessTask &task() const { return m_task; }
    QString command() const { return m_process.quotedCommand(); }
    bool isRunning() const { return m_end == End::None && m_process.getPID() > 0; }
    End end() const { return m_end; }
    int code() const { return m_process.exitCode(); }
    double seconds() const { return double(m_milliseconds) / 1000.0; }

    /// What went wrong beside the program itself, in sentences: it was not started, the end of its
    /// output is missing, its log is incomplete, its result is missing. "" for nothing.
    QString problem() const { return m_problem; }

    /// Whether the program has written its result.
    bool hasResult() const;

    /// Milliseconds until the end is likely; -1 when that is not known.
    int remaining() const;

Q_SIGNALS:
    void lineRead(const QString &line, bool isError);
    void progressRead(int percent);
    void ended();

private:
    void takeLine(const QString &line, Utils::Process::Channel channel);
    void setPercent(int percent);
    void finish(End end);

    const ProcessTask m_task;
    std::unique_ptr<Utils::LogFile> m_log; // which the process writes to
    Utils::Process m_process;
    std::unique_ptr<Utils::Progress> m_progress; // in the status bar
    QElapsedTimer m_time;
    qint64 m_startTime = 0; // in milliseconds since the epoch
    qint64 m_milliseconds = 0;
    int m_percent = -1;
    bool m_isStopping = false;
    End m_end = End::None;
    QString m_problem;
};

} // namespace Workbench
