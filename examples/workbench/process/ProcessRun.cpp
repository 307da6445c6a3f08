#include "examples/workbench/process/ProcessRun.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File.h"
#include "utils/files/LogFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace Workbench {

using Utils::Process;
using Utils::Progress;

static const qint64 timeStep = 2000; // milliseconds; file times may be as coarse as that

QString ProcessTask::absolute(const QString &path) const
{
    const QString base = folder.isEmpty() ? QString(Utils::File::tempPath()) : folder;
    return path.isEmpty() ? QString() : QDir(base).absoluteFilePath(path);
}

ProcessRun::ProcessRun(const ProcessTask &task, QObject *parent)
    : QObject(parent), m_task(task), m_process(task.command, QProcess::splitCommand(task.arguments))
{
    m_process.setWorkingDirectory(task.absolute("."));
    m_process.setSeparateErrorOutput(true);
    m_process.onLine(
        [this](const Data::String &line, Process::Channel channel) { takeLine(line, channel); });
    connect(qobject_cast<QProcess *>(m_process.object()),
            QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, [this] {
                if (!m_isStopping) // what it has started may still run
                    finish(m_process.normalExit() ? End::Exited : End::Crashed);
            });
}

ProcessRun::~ProcessRun()
{
    disconnect();
    m_process.onLine(nullptr);
    m_process.setStopPolicy(/*waitTime=*/0); // the destructor of a process leaves its descendants
    m_isStopping = true;
    m_process.stop();
    if (m_progress)
        m_progress->hide();
}

/// The reason why \p log is not written, or has not been written completely.
static QString logProblem(const Utils::LogFile &log)
{
    const auto *const file = qobject_cast<QFile *>(log.object());
    return text(".err.log").arg(file->fileName(), file->errorString());
}

bool ProcessRun::start()
{
    const QString folder = m_task.absolute(".");
    if (!QFileInfo(folder).isDir()) {
        m_problem = text(".err.noFolder").arg(folder);
        return false;
    }
    if (!m_task.log.isEmpty()) {
        m_log = std::make_unique<Utils::LogFile>("", /*removeIfEmpty=*/false);
        if (!m_log->setPath(m_task.absolute(m_task.log))) {
            m_problem = logProblem(*m_log);
            return false;
        }
    }
    m_process.setLogFile(m_log.get(), /*keepOutput=*/false); // it may print for days
    m_startTime = QDateTime::currentMSecsSinceEpoch();
    m_time.start();
    if (!m_process.start()) {
        m_problem = text(".err.start").arg(m_task.command, m_process.errorMessage());
        return false;
    }
    if (m_end != End::None)
        return true;
    m_progress = std::make_unique<Progress>(); // in the background: the user works on
    m_progress->setLabel(QFileInfo(m_task.command).fileName());
    return true;
}

void ProcessRun::takeLine(const QString &line, Process::Channel channel)
{
    Q_EMIT lineRead(line, channel == Process::StandardError);
    if (!line.contains('%'))
        return;
    static const QRegularExpression percent("(\\d{1,3})(?:[.,]\\d+)?\\s?%");
    const QRegularExpressionMatch match = percent.match(line);
    if (match.hasMatch())
        setPercent(qMin(match.captured(1).toInt(), 100));
}

void ProcessRun::setPercent(int percent)
{
    if (percent == m_percent || !m_progress)
        return;
    // Another stage of the program begins at 0 again.
    if (m_percent < 0 || percent < m_percent)
        m_progress->setMaxSteps(100);
    m_percent = percent;
    if (!Progress::any()) { // the display belongs to a task that the user waits for
        m_progress->show();
        m_progress->setCount(percent);
    }
    Q_EMIT progressRead(percent);
}

int ProcessRun::remaining() const { return m_progress ? m_progress->remaining() : -1; }

void ProcessRun::cancel()
{
    if (!isRunning() || m_isStopping)
        return;
    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    m_isStopping = true;
    m_process.setStopPolicy(Preferences::stopTime.value() * 1000);
    const bool isStopped = m_process.stop();
    m_isStopping = false;
    if (isStopped)
        finish(End::Cancelled);
    else
        Q_EMIT lineRead(text(".err.stop"), /*isError=*/true);
}

bool ProcessRun::hasResult() const
{
    const QFileInfo file(m_task.absolute(m_task.result));
    return !m_task.result.isEmpty() && file.isFile() &&
           file.lastModified().toMSecsSinceEpoch() >= m_startTime - timeStep;
}

void ProcessRun::finish(End end)
{
    m_end = end;
    m_milliseconds = m_time.elapsed();
    if (m_progress)
        m_progress->hide();
    m_progress.reset();
    QStringList problems;
    if (m_process.isOutputLost())
        problems.append(text(".err.outputLost").arg(m_process.errorMessage()));
    if (m_log && qobject_cast<QFile *>(m_log->object())->error() != QFileDevice::NoError)
        problems.append(logProblem(*m_log));
    if (end == End::Exited && code() == 0 && !m_task.result.isEmpty() && !hasResult())
        problems.append(text(".err.noResult").arg(m_task.absolute(m_task.result)));
    m_problem = problems.join('\n');
    m_process.setLogFile(nullptr, /*keepOutput=*/false);
    m_log.reset(); // another program may read or move it now
    Q_EMIT ended();
}

} // namespace Workbench
