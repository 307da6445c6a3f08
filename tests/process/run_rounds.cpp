// Runs programs that end in random ways, many times, in a PID namespace of its own, and compares
// what is known of each with what it did:
//
//     run_rounds [ROUNDS [SEED]]
//
// The exit code is 0 when everything was right, 1 when something was wrong, and 77 when such a
// namespace is not allowed.

#include "utils/process/Process.h"

#include "tests/support/OwnNamespace.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

using Utils::Process;

/// What a program does.
struct Plan
{
    explicit Plan(unsigned int seed)
    {
        std::mt19937 random(seed);
        const auto below = [&](unsigned int limit) { return static_cast<int>(random() % limit); };
        const int most = below(4) == 0 ? 400000 : 2000;
        output = text('o', below(static_cast<unsigned int>(most)));
        errors = text('e', below(3) == 0 ? below(100000) : 0);
        closesEarly = below(4) == 0;
        hasGrandchild = below(4) == 0;
        pause = below(5) == 0 ? below(30000) : 0;
        const int signals[] = {SIGTERM, SIGKILL, SIGUSR1, SIGHUP, SIGPIPE};
        signal = below(4) == 0 ? signals[below(5)] : 0;
        exitCode = signal > 0 ? signal : below(256);
        isSeparate = below(2) == 0;
        hasEvents = below(2) == 0;
    }

    /// Lines of different lengths, the last one mostly without its end.
    static std::string text(char first, int size)
    {
        std::string result;
        for (int i = 0; i < size; ++i)
            result += i % 61 == 60 || i % 97 == 3 ? '\n' : static_cast<char>(first + i % 10);
        return result;
    }

    std::string output;
    std::string errors;
    bool closesEarly;   // its output, before it ends
    bool hasGrandchild; // which holds its output longer
    int pause;          // before its end, in microseconds
    int signal;         // by which it ends; 0 for none
    int exitCode;
    bool isSeparate; // standard error
    bool hasEvents;  // its end is noticed by events
};

static void writeAll(int file, const std::string &text)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = write(file, text.data() + done, text.size() - done);
        if (written < 0)
            _exit(99);
        done += static_cast<std::size_t>(written);
    }
}

[[noreturn]] static void play(const Plan &plan)
{
    alarm(60);
    if (plan.hasGrandchild && fork() == 0) {
        usleep(300000);
        _exit(0);
    }
    writeAll(STDERR_FILENO, plan.errors);
    writeAll(STDOUT_FILENO, plan.output);
    if (plan.closesEarly) {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
    }
    usleep(static_cast<useconds_t>(plan.pause));
    if (plan.signal > 0) {
        std::signal(plan.signal, SIG_DFL);
        raise(plan.signal);
    }
    _exit(plan.exitCode);
}

/// The lines of \p text, each with a line feed.
static std::string asLines(const std::string &text)
{
    return text.empty() || text.back() == '\n' ? text : text + '\n';
}

static bool isRight(const Plan &plan, const QString &program, unsigned int seed)
{
    Process process(program, {QStringLiteral("play"), QString::number(seed)});
    process.setSeparateErrorOutput(plan.isSeparate);
    std::string lines[2];
    process.onLine([&](const Data::String &line, Process::Channel channel) {
        lines[channel] += line.toStdString() + '\n';
    });
    bool hasEnded = false;
    if (plan.hasEvents)
        hasEnded = process.start() && QTest::qWaitFor([&] { return !process.isRunning(); }, 60000);
    else
        hasEnded = process.run(60000) == Process::RunFinished;

    const std::string output = plan.isSeparate ? plan.output : plan.errors + plan.output;
    const std::string errors = plan.isSeparate ? plan.errors : std::string();
    return hasEnded && process.exitCode() == plan.exitCode &&
           process.normalExit() == (plan.signal == 0) && process.output().toStdString() == output &&
           process.errorOutput().toStdString() == errors && lines[0] == asLines(output) &&
           lines[1] == asLines(errors);
}

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "play") == 0)
        play(Plan(static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10))));
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 1000;
    const unsigned long seed = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1;
    if (argc > 3 || rounds <= 0) {
        std::fprintf(stderr, "usage: run_rounds [ROUNDS [SEED]]\n");
        return 2;
    }
    OwnNamespace::enter(argv);
    if (!OwnNamespace::isEntered() || getpid() != 1) {
        std::fprintf(stderr, "run_rounds: a PID namespace of its own is not allowed here\n");
        return 77;
    }

    const QCoreApplication application(argc, argv);
    const QString program = QString::fromLocal8Bit(OwnNamespace::linkTarget("/proc/self/exe"));
    int wrong = 0;
    int signals = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto number =
            static_cast<unsigned int>(seed * 1000003 + static_cast<unsigned>(round));
        const Plan plan(number);
        signals += plan.signal > 0 ? 1 : 0;
        if (!isRight(plan, program, number)) {
            std::printf("round %d of seed %lu is wrong\n", round, seed);
            ++wrong;
        }
        // The first process of a namespace becomes the parent of orphans.
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }
    std::printf("%d runs, %d of them ended by a signal, %d wrong\n", rounds, signals, wrong);
    return wrong == 0 ? 0 : 1;
}
