#include "utils/process/Process.h"

#include "utils/base/Interrupt_p.h"
#include "utils/base/LastError_p.h"
#include "utils/feedback/Progress.h"
#include "utils/files/LogFile.h"
#include "utils/platform/Platform.h"
#include "utils/process/Process_p.h"

#include <QDeadlineTimer>
#include <QPointer>

#include <cerrno>
#include <new>
#include <string>
#include <vector>

namespace Utils {

static const QLatin1Char blank(' ');

void ProcessPrivate::prepareStart()
{
    errorOutput.clear();
    output.begin(encoding);
    errorOutput.begin(encoding);
    lines.clear();
    isOutputLost = false;
    if (isChannelModeSet)
        process.setProcessChannelMode(separatesErrors ? QProcess::SeparateChannels
                                                      : QProcess::MergedChannels);
}

void ProcessPrivate::log(const Data::String &text)
{
    if (logFile && !text.isEmpty()) // an empty entry would still have a timestamp
        logFile->append(text, /*newLine=*/false);
}

void ProcessPrivate::dropBytes(QProcess::ProcessChannel channel)
{
    const QProcess::ProcessChannel before = process.readChannel();
    process.setReadChannel(channel);
    process.skip(process.bytesAvailable());
    process.setReadChannel(before);
}

static const char *finishedSignal() { return SIGNAL(finished(int, QProcess::ExitStatus)); }

Process::Process(const Data::String &command, const QStringList &arguments)
    : d(new ProcessPrivate(this))
{
    d->command = command;
    d->arguments = arguments;
    d->process.setProcessChannelMode(QProcess::MergedChannels);
    d->outputSlot.setCallback(this, &Process::appendOutput);
    d->outputSlot.connect(&d->process, SIGNAL(readyReadStandardOutput()));
    d->endSlot.setCallback(this, &Process::endOutput);
    d->endSlot.connect(&d->process, finishedSignal());
    d->finishedSlot.setCallback(this, &Process::processFinished);
}

Process::~Process() { d->logFile = nullptr; }

void Process::setCommand(const Data::String &command) { d->command = command; }

void Process::setArguments(const QStringList &arguments) { d->arguments = arguments; }

void Process::setMessage(const Data::String &text) { d->message = text; }

void Process::setWorkingDirectory(const Data::String &folder)
{
    d->process.setWorkingDirectory(folder);
}

void Process::setEnvironment(const QMap<Data::String, Data::String> &variables, bool keepPath)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (auto variable = variables.begin(); variable != variables.end(); ++variable) {
        const QString &key = variable.key();
        QString value = variable.value();
        const QString old = environment.value(key);
        const bool isPath = key == QLatin1String("PATH") || key == QLatin1String("LD_LIBRARY_PATH");
        if (isPath && !old.isEmpty()) {
            const QString inPercents = QLatin1Char('%') + key + QLatin1Char('%');
            const QString withDollar = QLatin1Char('$') + key;
            if (keepPath && !value.contains(inPercents) && !value.contains(withDollar))
                value += QLatin1Char(';') + inPercents;
            value.replace(inPercents, old);
            value.replace(withDollar, old);
        }
        environment.insert(key, value);
    }
    d->process.setProcessEnvironment(environment);
}

void Process::setKillMode(KillModes mode) { d->killMode = mode; }

void Process::setLogFile(LogFile *file, bool keepOutput)
{
    d->logFile = file;
    d->keepOutput = keepOutput;
}

void Process::deleteWhenFinished()
{
    if (!d->selfDelete)
        d->finishedSlot.connect(&d->process, finishedSignal());
    d->selfDelete = true;
}

bool Process::start()
{
    const bool isBatch =
        d->command.endsWith(QLatin1String(".bat")) || d->command.endsWith(QLatin1String(".cmd"));
    if (d->killMode == KillDefault && isBatch)
        d->killMode = KillTree;

    const bool wasRunning = d->process.state() != QProcess::NotRunning;
    try {
        d->output.clear();
        if (!wasRunning)
            d->prepareStart();
        d->process.run(d->command, d->arguments);
        return d->process.state() != QProcess::NotRunning && d->process.waitForStarted(3000);
    } catch (const std::bad_alloc &) {
        if (wasRunning)
            return true;
        d->process.abandon();
        return false;
    }
}

bool Process::wait(bool showProgress)
{
    // Null when the object has deleted itself: while this waits for the process, or while the host,
    // called by the progress, processes events.
    const QPointer<QProcess> process = &d->process;
    const Data::String message = d->message;
    Progress progress(0, message, /*cancelable=*/showProgress, /*waitCursor=*/true,
                      /*popup=*/showProgress && !message.isEmpty());
    bool isInterrupted = false;
    while (process && !d->waitForEndOrInterrupt(100) && process) {
        isInterrupted = Interrupt::isRequested();
        if (!progress.tick() || isInterrupted) {
            if (process && d->isStopPolicySet)
                stop();
            else if (process)
                kill();
            break;
        }
        if (!process || process->state() == QProcess::NotRunning)
            break;
    }
    return !progress.cancelled() && !isInterrupted;
}

void Process::kill()
{
    const qint64 pid = getPID();
    if (!Platform::isChild(pid)) // it has ended, and its number may be that of another process
        return;
    // When the processes of the system cannot be listed, at least this one is killed.
    if (d->killMode == KillSingle || !Platform::killProcessTree(pid))
        d->process.kill();
}

void Process::kill(qint64 pid) { Platform::killProcessTree(pid); }

bool Process::sendData(const Data::String &text, int timeout) const
{
    // Null when the object has deleted itself during the wait.
    const QPointer<QProcess> process = &d->process;
    const QByteArray bytes = text.toUtf8();
    const bool isTaken = process->write(bytes) == bytes.size();
    if (timeout == 0)
        return true;

    // Qt returns when the first bytes are written.
    const QDeadlineTimer end(qMax(timeout, -1)); // -1 is no end
    bool isWritten = d->waitForWritten(timeout);
    while (isWritten && process && process->bytesToWrite() > 0)
        isWritten = d->waitForWritten(static_cast<int>(end.remainingTime()));
    if (process)
        d->deliverLines();
    return isWritten && isTaken && process;
}

bool Process::isRunning() const { return d->process.state() == QProcess::Running; }

bool Process::normalExit() const
{
    return !isRunning() && d->process.exitStatus() == QProcess::NormalExit;
}

int Process::exitCode() const { return d->process.exitCode(); }

Data::String Process::errorMessage() const
{
    try {
        return d->isOutputLost ? errorText(ENOMEM) : d->process.errorString();
    } catch (const std::bad_alloc &) {
        return Data::String();
    }
}

qint64 Process::getPID() const { return d->process.processId(); }

Data::String Process::output() const { return d->output.text(); }

Data::String Process::recentOutput() { return d->output.takeRecent(); }

bool Process::isOutputLost() const { return d->isOutputLost; }

Data::String Process::fullCommand() const
{
    const auto quoted = [](const QString &text) {
        const QLatin1Char quote('"');
        return text.contains(blank) ? quote + text + quote : text;
    };
    QString command = quoted(d->command);
    for (const QString &argument : qAsConst(d->arguments))
        command += blank + quoted(argument);
    return command;
}

Data::String Process::quotedCommand() const
{
    std::vector<std::string> words = {d->command.toStdString()};
    for (const QString &argument : qAsConst(d->arguments))
        words.push_back(argument.toStdString());
    return QString::fromStdString(Platform::commandLine(words));
}

Data::String Process::info() const
{
    QStringList lines(fullCommand());
    if (isRunning())
        lines.append(QLatin1String("pid: ") + QString::number(getPID()));
    const QProcessEnvironment environment = d->process.processEnvironment();
    QStringList keys = environment.keys();
    keys.sort(Qt::CaseSensitive);
    for (const QString &key : qAsConst(keys)) {
        if (!key.isEmpty())
            lines.append(key + QLatin1Char('=') + environment.value(key));
    }
    return lines.join(QLatin1Char('\n'));
}

QObject *Process::object() const { return &d->process; }

void Process::appendOutput()
{
    d->receive([this] {
        const QByteArray bytes = d->process.readAllStandardOutput();
        d->add(d->output.append(bytes, d->keepOutput), StandardOutput);
    });
    if (d->isOutputLost)
        d->dropBytes(QProcess::StandardOutput);
}

void Process::endOutput()
{
    d->receive([this] { d->add(d->output.end(d->keepOutput), StandardOutput); });
    d->receive([this] { d->add(d->errorOutput.end(d->keepOutput), StandardError); });
    d->receive([this] { d->lines.end(); });
    d->deliverLines();
}

void Process::processFinished()
{
    if (d->isDelivering)
        d->isDeletionDue = true;
    else
        delete this;
}

} // namespace Utils
