// Runs scenarios, each in a process of its own, while a system call of theirs fails.
//
//     torture_scenarios --list        the scenarios, and the groups of each
//     torture_scenarios FOLDER        reads lines of "scenario, group, largest n", separated by
//                                     tabs; prints a line for each run, and "done" after the last
//
// The line of a run is: n, "once" or "lasting", the class, the state, descriptors left, processes
// left, the call that failed, and its caller as module+offset.
//
// It must be the child of the first process of a PID namespace, which tools/torture makes: if the
// result of a failed fork is used as a process id, the signal goes to all processes.

#include "tests/inject/Torture.h"

#include "tests/inject/Inject.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QMetaType>
#include <QRegExp>
#include <QRegularExpression>
#include <QTextCodec>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <new>
#include <sstream>
#include <string>

#include <csignal>
#include <cxxabi.h>
#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int timeLimit = 20000; // ms
constexpr int mostHung = 4;      // of a scenario in a group; then it is left

/// What a run reports to the process that waits for it, however the run ends.
struct Report
{
    bool isComplete;
    bool isTold;
    bool isOnlyReason;
    bool isOutOfMemory; // by an exception that left the library
    char state[400];
    char damage[400];
    int left; // descriptors
    char leftFiles[300];
    int signal;
    int depth;
    void *frames[48]; // of a crash
};

struct Library
{
    Inject::State *(*state)() = nullptr;
    void (*arm)(int, long, bool) = nullptr;
    void (*disarm)() = nullptr;
};

Library library;
Report *report = nullptr;
std::string plainState; // of the run without faults
int plainLeft = 0;

template <typename Function>
void find(Function &function, const char *name)
{
    function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

template <std::size_t size>
void copyTo(char (&target)[size], const QByteArray &text)
{
    std::strncpy(target, text.constData(), size - 1);
}

// In the process of a run

/// The open descriptors, and what they are.
std::map<int, std::string> descriptors()
{
    std::map<int, std::string> found;
    DIR *const folder = opendir("/proc/self/fd");
    if (!folder)
        return found;
    while (const dirent *const entry = readdir(folder)) {
        const int number = std::atoi(entry->d_name);
        char target[200] = {};
        const std::string path = std::string("/proc/self/fd/") + entry->d_name;
        if (entry->d_name[0] != '.' && number != dirfd(folder) &&
            readlink(path.c_str(), target, sizeof(target) - 1) > 0)
            found[number] = target;
    }
    closedir(folder);
    return found;
}

void whenCrashed(int signal)
{
    if (library.disarm)
        library.disarm();
    report->signal = signal;
    report->depth = backtrace(report->frames, sizeof(report->frames) / sizeof(void *));
    ::signal(signal, SIG_DFL);
    raise(signal);
}

void whenTerminated()
{
    const bool isMemoryRefused = library.state()->group == Inject::Malloc;
    library.disarm();
    try {
        // Where a function may not throw, the compiler may have it end without a look at the
        // exception. While memory is refused, there is no other one.
        if (!std::current_exception() && std::uncaught_exceptions() > 0 && isMemoryRefused)
            report->isOutOfMemory = true;
        if (std::current_exception())
            std::rethrow_exception(std::current_exception());
    } catch (const std::bad_alloc &) {
        report->isOutOfMemory = true;
    } catch (...) {
    }
    std::abort();
}

/// Makes \a folder the current one, and the home of the user.
void enter(const std::string &folder)
{
    if (chdir(folder.c_str()) != 0)
        _exit(3);
    for (const char *const name : {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "TMPDIR"})
        qputenv(name, QByteArray::fromStdString(folder) + "/home");
    QDir().mkdir("home");
}

/// Has Qt make what it makes once in a process. Where the memory ends in there, Qt itself waits for
/// ever at the next use, in every program.
void prepareQt()
{
    QLocale().toString(1.5);
    QLocale::system().name();
    QFileInfo(":/none").exists();
    QTextCodec::codecForLocale();
    QTextCodec::codecForName("UTF-8");
    QDateTime::currentDateTime().toString(Qt::ISODate);
    QRegularExpression("a").match("a");
    QRegExp("a").indexIn("a");
    QMetaType::type("QVariant");
}

void runHere(const Scenario &scenario, int group, long nth, bool isLasting,
             const std::string &folder)
{
    enter(folder);
    static char stack[64 * 1024];
    const stack_t other = {stack, 0, sizeof(stack)};
    sigaltstack(&other, nullptr);
    struct sigaction action = {};
    action.sa_handler = whenCrashed;
    action.sa_flags = SA_ONSTACK;
    for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP})
        sigaction(signal, &action, nullptr);
    std::set_terminate(whenTerminated);

    int count = 1;
    char name[] = "torture";
    char *arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Torture");

    prepareQt();
    Outcome outcome;
    const Run run = scenario.prepare();
    const auto before = descriptors();
    try {
        library.arm(group, nth, isLasting);
        run.act(outcome);
        library.disarm();
    } catch (const std::bad_alloc &) {
        library.disarm();
        report->isOutOfMemory = true;
    }
    // Qt closes its pipe to a killed child when it is told that the child has ended.
    const std::size_t expected = before.size() + static_cast<std::size_t>(plainLeft);
    auto after = descriptors();
    for (int i = 0; i < 20 && after.size() > expected; ++i) {
        usleep(5000);
        after = descriptors();
    }
    QByteArray files;
    for (const auto &file : after) {
        if (before.count(file.first) == 0) {
            ++report->left;
            files += QByteArray::fromStdString(file.second) + " ";
        }
    }
    copyTo(report->leftFiles, files);
    run.inspect(outcome);

    report->isTold = outcome.isTold;
    report->isOnlyReason = outcome.isOnlyReason;
    copyTo(report->state, outcome.states.join(", "));
    copyTo(report->damage, outcome.damage);
    report->isComplete = true;
}

// In the process that waits

/// Waits for the end of \a child, at most the time limit. False when it has not ended.
bool waitFor(pid_t child)
{
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd events = {handle, POLLIN, 0};
    int result = 0;
    do {
        result = poll(&events, 1, timeLimit);
    } while (result < 0 && errno == EINTR);
    close(handle);
    return result == 1;
}

/// The processes that this one has got as children, but for those that have ended.
std::vector<pid_t> runningChildren()
{
    std::vector<pid_t> found;
    DIR *const folder = opendir("/proc");
    while (const dirent *const entry = folder ? readdir(folder) : nullptr) {
        const int id = std::atoi(entry->d_name);
        if (id <= 1)
            continue;
        const std::ifstream file(std::string("/proc/") + entry->d_name + "/stat");
        std::ostringstream bytes;
        bytes << file.rdbuf(); // it may end while it is read
        const std::string text = bytes.str();
        const std::size_t end = text.rfind(')');
        if (end == std::string::npos)
            continue;
        std::istringstream rest(text.substr(end + 1));
        char state = 0;
        pid_t parent = 0;
        rest >> state >> parent;
        if (parent == getpid() && state != 'Z' && state != 'X')
            found.push_back(id);
    }
    if (folder)
        closedir(folder);
    return found;
}

/// Ends what a run has left running. How many processes that were.
int endLeftProcesses()
{
    // What has lost its parent just now may be about to end, which takes long on a busy machine.
    std::vector<pid_t> left = runningChildren();
    for (int i = 0; i < 400 && !left.empty(); ++i) {
        usleep(5000);
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        left = runningChildren();
    }
    const auto count = static_cast<int>(left.size());
    for (int i = 0; i < 100 && !left.empty(); ++i) {
        for (const pid_t id : left) {
            if (id > 1)
                kill(id, SIGKILL);
        }
        usleep(1000);
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        left = runningChildren();
    }
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    return count;
}

/// \a address as "libX.so+0x123", with ":name" after it when the symbol is known.
std::string place(void *address)
{
    Dl_info info;
    char text[32];
    if (dladdr(address, &info) == 0 || !info.dli_fname) {
        std::snprintf(text, sizeof(text), "?+%p", address);
        return text;
    }
    const char *const slash = std::strrchr(info.dli_fname, '/');
    std::snprintf(text, sizeof(text), "+0x%zx",
                  static_cast<std::size_t>(static_cast<char *>(address) -
                                           static_cast<char *>(info.dli_fbase)));
    std::string found = (slash ? slash + 1 : info.dli_fname) + std::string(text);
    if (info.dli_sname) {
        char *const name = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr);
        const std::string plain = name ? name : info.dli_sname;
        std::free(name);
        found += ":" + plain.substr(0, plain.find_first_of("( \t"));
    }
    return found;
}

std::string places(void *const *frames, int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += (i > 0 ? " " : "") + place(frames[i]);
    return text;
}

/// The module that a crash is in, past the C and C++ libraries and what sees the crash here.
std::string crashModule()
{
    for (int i = 0; i < report->depth; ++i) {
        const std::string where = place(report->frames[i]);
        const std::string module = where.substr(0, where.find("+0x"));
        const auto isPassed = [&](const char *name) { return module.rfind(name, 0) == 0; };
        if (!isPassed("libc.so") && !isPassed("libstdc++") && !isPassed("libgcc") &&
            !isPassed("libinject") && !isPassed("torture_scenarios"))
            return module;
    }
    return "this program";
}

struct Result
{
    std::string kind;
    std::string state;
    int processes;
};

Result runOnce(const Scenario &scenario, int group, long nth, bool isLasting,
               const std::string &work)
{
    const std::string folder = work + "/run";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    *report = {};
    library.arm(Inject::None, 0, false);
    library.state()->signalled = 0;

    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        std::exit(3);
    }
    if (child == 0) {
        const int output = open((work + "/output").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0666);
        const int input = open("/dev/null", O_RDONLY);
        dup2(input, 0);
        dup2(output, 1);
        dup2(output, 2);
        close(input);
        close(output);
        runHere(scenario, group, nth, isLasting, folder);
        _exit(0); // a build that counts what the tests reach saves its counters here
    }
    Result result;
    const bool hasEnded = waitFor(child);
    if (!hasEnded && child > 1) {
        kill(child, SIGABRT); // makes it report where it is
        usleep(200000);
        kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    result.processes = endLeftProcesses();
    library.disarm();

    result.state = report->state;
    if (library.state()->signalled > 0) {
        result.kind = "crashed";
        result.state = "signalled others";
    } else if (!hasEnded) {
        result.kind = "hung";
        result.state = "hung in " + crashModule();
    } else if (!report->isComplete) {
        result.kind = "crashed";
        if (WIFEXITED(status))
            result.state = "ended the process";
        else if (report->isOutOfMemory)
            result.state = "terminated by bad_alloc in " + crashModule();
        else
            result.state = "signal " + std::to_string(WTERMSIG(status)) + " in " + crashModule();
    } else if (report->damage[0]) {
        result.kind = "silent";
        result.state = report->damage;
    } else if (report->isOutOfMemory) {
        result.kind = "told";
        result.state = "bad_alloc thrown";
    } else if (report->isOnlyReason && result.state == plainState) {
        result.kind = "silent";
        result.state = "a reason without a failure";
    } else if (!report->isTold && result.state == plainState) {
        result.kind = "harmless";
    } else {
        result.kind = report->isTold || report->isOnlyReason ? "told" : "silent";
    }
    return result;
}

/// The next n: each of the first ones, then ever fewer.
long after(long n, long limit) { return n < limit ? n + 1 : n + std::max(1L, n / 20); }

void torture(const Scenario &scenario, int group, long limit, long most, const std::string &work)
{
    int hung = 0;
    for (long n = 1; n <= std::min(most, scenario.most) && hung < mostHung; n = after(n, limit)) {
        bool hasFailed = false;
        for (const bool isLasting : {false, true}) {
            const Result result = runOnce(scenario, group, n, isLasting, work);
            const Inject::State &state = *library.state();
            if (state.failures == 0)
                continue;
            hasFailed = true;
            const bool isCrash = report->depth > 0;
            hung += result.kind == "hung" ? 1 : 0;
            const int left = report->isComplete ? std::max(0, report->left - plainLeft) : 0;
            std::cout << n << '\t' << (isLasting ? "lasting" : "once") << '\t' << result.kind
                      << '\t' << result.state << '\t' << left << '\t' << result.processes << '\t'
                      << state.call << '\t' << places(state.callers, state.depth) << '\t'
                      << (isCrash ? places(report->frames, report->depth) : std::string()) << '\t'
                      << (left > 0 ? report->leftFiles : "") << std::endl;
        }
        if (!hasFailed)
            return;
    }
}

/// Whether this process is one below the first of a PID namespace that is not that of the system.
bool isAlone()
{
    const char *const outer = std::getenv("TORTURE_OUTER_NAMESPACE");
    char own[64] = {};
    return outer && getppid() == 1 && getpid() > 1 &&
           readlink("/proc/self/ns/pid", own, sizeof(own) - 1) > 0 && std::strcmp(outer, own) != 0;
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<Scenario> scenarios;
    for (const auto &some :
         {fileScenarios(), textScenarios(), formatScenarios(), processScenarios(), runScenarios()})
        scenarios.insert(scenarios.end(), some.begin(), some.end());
    if (argc != 2)
        return 2;
    if (std::strcmp(argv[1], "--list") == 0) {
        for (const Scenario &scenario : scenarios)
            std::cout << scenario.name << '\t' << scenario.groups << '\n';
        return 0;
    }

    find(library.state, "inject_state");
    find(library.arm, "inject_arm");
    find(library.disarm, "inject_disarm");
    if (!library.state || !isAlone()) {
        std::cerr << "torture_scenarios: start tools/torture\n";
        return 2;
    }
    void *const shared =
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    report = static_cast<Report *>(shared);
    prctl(PR_SET_CHILD_SUBREAPER, 1);

    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream fields(line);
        std::string name, group, limit, most;
        std::getline(fields, name, '\t');
        std::getline(fields, group, '\t');
        std::getline(fields, limit, '\t');
        std::getline(fields, most, '\t');
        const auto scenario =
            std::find_if(scenarios.begin(), scenarios.end(),
                         [&](const Scenario &candidate) { return name == candidate.name; });
        const auto number =
            std::find_if(std::begin(Inject::groupNames) + 1, std::end(Inject::groupNames),
                         [&](const char *candidate) { return group == candidate; });
        if (scenario == scenarios.end() || number == std::end(Inject::groupNames))
            return 2;

        plainState.clear();
        plainLeft = 0;
        const Result plain = runOnce(*scenario, Inject::None, 0, false, argv[1]);
        plainState = report->state;
        plainLeft = report->left;
        const bool isGood = plain.kind == "harmless" || plain.kind == "silent";
        if (isGood && report->isComplete && !report->damage[0] && plain.processes == 0)
            torture(*scenario, static_cast<int>(number - std::begin(Inject::groupNames)),
                    std::stol(limit), std::stol(most), argv[1]);
        else
            std::cout << "0\tonce\tbroken\t" << plain.kind << ": " << plain.state << std::endl;
        std::cout << "done" << std::endl;
    }
    return 0;
}
