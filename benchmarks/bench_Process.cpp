// What a child writes, gathered by Process and by QProcess alone, and how long a run takes.
// benchmarks/report tells how names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "utils/process/Process.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <stdexcept>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using benchmark::State;

static const int size = 100 * 1000 * 1000;

/// Lines of 2 to 120 letters; one letter in \p oneIn is beyond ASCII, 0 is none.
static QByteArray makeText(int oneIn)
{
    QByteArray text;
    text.reserve(size + 200);
    unsigned int random = 1;
    for (int column = 0; text.size() < size;) {
        random = random * 1664525 + 1013904223;
        const unsigned int number = random >> 16;
        if (oneIn > 0 && number % static_cast<unsigned int>(oneIn) == 0)
            text += "\u00e4";
        else
            text += static_cast<char>('a' + number % 26);
        if (++column > 1 && number % 60 == 0) {
            text += '\n';
            column = 0;
        }
    }
    return text;
}

/// Sides that do not find the same must not be compared.
static void check(State &state, qint64 found, qint64 expected)
{
    if (found != expected)
        state.SkipWithError("not everything was found");
}

static void addProgram(const char *detail, const QString &path, const QByteArray &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        throw std::runtime_error("cannot write " + path.toStdString());
    const QString program = QStringLiteral("/bin/cat");
    const QStringList arguments(path);
    const int expected = QString::fromUtf8(text).size();
    const int numBytes = text.size(); // without the text, which each fork would have to map

    const auto ours = [=](State &state) {
        for (auto _ : state) {
            Utils::Process process(program, arguments);
            process.start();
            process.wait(/*showProgress=*/false);
            check(state, process.output().size(), expected);
        }
    };
    addPair("output of 100 MB as text beside QProcess::readAll", detail, 1.2, ours,
            [=](State &state) {
                for (auto _ : state) {
                    QProcess process;
                    process.setProcessChannelMode(QProcess::MergedChannels);
                    process.start(program, arguments);
                    process.waitForFinished(-1);
                    check(state, QString::fromUtf8(process.readAll()).size(), expected);
                }
            });
    addPair("output of 100 MB beside bytes by QProcess::readAll", detail, 0.0, ours,
            [=](State &state) {
                for (auto _ : state) {
                    QProcess process;
                    process.setProcessChannelMode(QProcess::MergedChannels);
                    process.start(program, arguments);
                    process.waitForFinished(-1);
                    check(state, process.readAll().size(), numBytes);
                }
            });
}

/// Measures \p run with the time of the children, in which a copy of this process may start.
template <typename Run>
static auto withChildren(const Run &run)
{
    return [=](State &state) {
        const auto used = [] { return secondsUsed(RUSAGE_SELF) + secondsUsed(RUSAGE_CHILDREN); };
        const double before = used();
        for (auto _ : state)
            run(state);
        const auto count = static_cast<double>(state.iterations());
        state.counters["child_ns"] = 1e9 * (used() - before) / count;
    };
}

/// A run of the shortest program, to its end.
static void addRuns()
{
    const QString program = QStringLiteral("/bin/true");
    const auto ours = withChildren([=](State &state) {
        Utils::Process process(program);
        check(state, process.run(60000), Utils::Process::RunFinished);
    });
    addPair("run of a program beside QProcess", "true", 0.0, ours, withChildren([=](State &state) {
                QProcess process;
                process.start(program, QStringList());
                check(state, process.waitForFinished(60000) ? 1 : 0, 1);
            }));
    addPair("run of a program beside posix_spawn, whose output is not read", "true", 0.0, ours,
            withChildren([](State &state) {
                char name[] = "/bin/true";
                char *const arguments[] = {name, nullptr};
                pid_t child = 0;
                int status = -1;
                check(state, posix_spawn(&child, name, nullptr, nullptr, arguments, environ), 0);
                check(state, waitpid(child, &status, 0), child);
            }));
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    addProgram("ASCII", folder.filePath(QStringLiteral("ascii")), makeText(0));
    addProgram("UTF-8", folder.filePath(QStringLiteral("utf8")), makeText(10));
    addRuns();
    return runBenchmarks(argc, argv);
}
