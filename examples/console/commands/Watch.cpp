// kelm watch: runs a command each time a file has changed.

#include "examples/console/Host.h"
#include "examples/console/commands/Commands.h"
#include "utils/files/FileWatch.h"
#include "utils/process/Process.h"
#include "utils/signals/Slot.h"

#include <QCoreApplication>
#include <QProcess>

namespace Kelm {

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"interval", "Checks the file every MS milliseconds, 100 or more.", "MS", "500"},
        {"times", "Ends after COUNT runs of the command.", "COUNT"},
    });
}

/// Runs a command at each change, until it has run often enough.
class Watcher
{
public:
    /// \p times is the number of runs, 0 for no limit.
    Watcher(const QStringList &command, int times, Host &host);

    void onChange();

    Result lastResult() const { return m_lastResult; }

private:
    Result runCommand();
    void onOutput();

    const int m_times;
    Host &m_host;
    Utils::Process m_process;
    Utils::Slot m_output{"CommandOutput", nullptr};
    QString m_unfinishedLine;
    int m_count = 0;
    Result m_lastResult = good();
};

Watcher::Watcher(const QStringList &command, int times, Host &host)
    : m_times(times), m_host(host), m_process(command.constFirst(), command.mid(1))
{
    m_process.setMessage("Running " + command.constFirst());
    m_output.setCallback(this, &Watcher::onOutput);
    m_output.connect(m_process.object(), SIGNAL(readyReadStandardOutput()));
}

void Watcher::onChange()
{
    m_lastResult = runCommand();
    if (++m_count == m_times || m_lastResult.code == Cancelled)
        QCoreApplication::quit();
    else if (!m_lastResult.error.isEmpty())
        m_host.printError("kelm watch: " + m_lastResult.error); // it may succeed at the next change
}

Result Watcher::runCommand()
{
    const QString command = m_process.fullCommand();
    if (!m_process.start())
        return failed(QString("Cannot run \"%1\": %2").arg(command, m_process.errorMessage()));
    // It gets no input: a command that reads would wait without end.
    static_cast<QProcess *>(m_process.object())->closeWriteChannel();
    const bool isFinished = m_process.wait(/*showProgress=*/true);
    onOutput(); // the rest of a character that was cut
    if (!m_unfinishedLine.isEmpty())
        m_host.print(m_unfinishedLine);
    m_unfinishedLine.clear();
    if (!isFinished)
        return cancelled();
    QStringList problems;
    if (!m_process.normalExit())
        problems.append(QString("\"%1\" has crashed").arg(command));
    else if (m_process.exitCode() != 0)
        problems.append(
            QString("\"%1\" has failed with status %2").arg(command).arg(m_process.exitCode()));
    if (m_process.isOutputLost())
        problems.append(QString("The end of the output of \"%1\" is missing: %2")
                            .arg(command, m_process.errorMessage()));
    return problems.isEmpty() ? good() : failed(problems.join(". "));
}

void Watcher::onOutput()
{
    const QString output = m_process.recentOutput();
    const int end = output.lastIndexOf('\n');
    if (end >= 0) {
        m_host.print(m_unfinishedLine + output.left(end));
        m_unfinishedLine.clear();
    }
    m_unfinishedLine += output.mid(end + 1);
}

static Result run(const QCommandLineParser &given, Host &host)
{
    const QStringList arguments = given.positionalArguments();
    const auto interval = wholeNumber(given.value("interval"), 100);
    const auto times = wholeNumber(given.value("times"), 1);
    if (!interval)
        return misused("--interval must be a whole number from 100 on");
    if (given.isSet("times") && !times)
        return misused("--times must be a whole number from 1 on");

    const QString path = arguments.constFirst();
    Watcher watcher(arguments.mid(1), times.value_or(0), host);
    Utils::Slot changed("Watcher", nullptr);
    changed.setCallback(&watcher, &Watcher::onChange);
    Utils::FileWatch watch(path, static_cast<unsigned int>(*interval));
    watch.connect(&changed);
    host.showMessage(QString("Watching \"%1\", Ctrl-C ends it").arg(path), true);
    QCoreApplication::exec();
    return watcher.lastResult();
}

const Command watchCommand = {
    "watch", "FILE -- COMMAND...", 2, -1, "Runs a command each time a file has changed.", declare,
    run,
};

} // namespace Kelm
