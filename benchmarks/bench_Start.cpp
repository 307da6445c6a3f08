// Programs from their start to their end, in processor time, beside programs without the library.

#include "benchmarks/Pairs.h"

#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

using benchmark::State;
using Command = std::vector<std::string>;

/// Whether the program ended with 0. Its output is dropped.
static bool run(const Command &command)
{
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = 1;
    const bool isStarted =
        posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return isStarted && waitpid(child, &status, 0) == child && status == 0;
}

static void measure(State &state, const Command &command)
{
    const double before = secondsUsed(RUSAGE_CHILDREN);
    for (auto _ : state) {
        if (!run(command))
            state.SkipWithError("the program failed");
    }
    const double used = secondsUsed(RUSAGE_CHILDREN) - before;
    state.counters["child_ns"] = 1e9 * used / static_cast<double>(state.iterations());
}

static void add(const char *topic, const char *detail, double target, const Command &ours,
                const Command &peer)
{
    addPair(
        topic, detail, target, [=](State &state) { measure(state, ours); },
        [=](State &state) { measure(state, peer); });
}

#ifdef MLR
/// Writes a table with 200,000 rows of numbers and a text to the file \p path.
static std::string makeTable(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write("Time{s},Force{kN},Strain{mm/m},Remark\n");
    for (int row = 0; row < 200000; ++row) {
        const double time = 0.001 * row;
        char line[64];
        file.write(line, std::snprintf(line, sizeof(line), "%.3f,%.5f,%.6f,ok %09d\n", time,
                                       40.0 * std::sin(time), 2.0 * std::cos(time), row));
    }
    return path.toStdString();
}
#endif

int main(int argc, char **argv)
{
    add("start and end", "an empty host beside its Qt alone", 1.15, {START_HOST}, {START_QT});
#ifdef KELM
    add("start and end", "kelm eval 1+1 beside python -c 1+1", 2.0, {KELM, "eval", "1+1"},
        {PYTHON, "-c", "1+1"});
#ifdef MLR
    const QTemporaryDir folder;
    const std::string table = makeTable(folder.filePath("table.csv"));
    add("kelm table, 200,000 rows, aligned", "beside mlr", 0.5, {KELM, "table", table},
        {MLR, "--icsv", "--opprint", "--right", "cat", table});
#endif
#endif
    return runBenchmarks(argc, argv);
}
