#include "utils/platform/Platform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <langinfo.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace Utils::Platform {

static const std::size_t unknownStack = 256 * 1024;

namespace {

/// An open descriptor that is closed at the end, or none, which is negative.
class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return m_number; }
    bool isOpen() const { return m_number >= 0; }
    void reset()
    {
        if (isOpen())
            close(m_number);
        m_number = -1;
    }

private:
    int m_number;
};

struct CloseFolder
{
    void operator()(DIR *folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

/// What a started program has instead of the three standard streams.
class NoStreams
{
public:
    NoStreams()
    {
        m_isReady = posix_spawn_file_actions_init(&m_actions) == 0;
        m_isComplete = m_isReady && open(STDIN_FILENO, O_RDONLY) && open(STDOUT_FILENO, O_WRONLY) &&
                       open(STDERR_FILENO, O_WRONLY);
    }
    ~NoStreams()
    {
        if (m_isReady)
            posix_spawn_file_actions_destroy(&m_actions);
    }
    NoStreams(const NoStreams &) = delete;
    NoStreams &operator=(const NoStreams &) = delete;

    /// Null when the memory does not suffice.
    const posix_spawn_file_actions_t *actions() const
    {
        return m_isComplete ? &m_actions : nullptr;
    }

private:
    bool open(int stream, int mode)
    {
        return posix_spawn_file_actions_addopen(&m_actions, stream, "/dev/null", mode, 0) == 0;
    }

    posix_spawn_file_actions_t m_actions;
    bool m_isReady;
    bool m_isComplete;
};

} // namespace

static bool isUsable(const std::string &path)
{
    return !path.empty() && path.find('\0') == std::string::npos;
}

std::FILE *openFile(const std::string &path, const char *mode)
{
    errno = isUsable(path) ? 0 : ENOENT;
    if (errno != 0)
        return nullptr;
    std::FILE *const file = std::fopen(path.c_str(), mode);
    if (!file)
        return nullptr;

    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) { // opens for reading
        std::fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    errno = 0;
    return file;
}

std::optional<FileVersion> fileVersion(const std::string &) { return {}; }

void moveReplacing(const std::string &source, const std::string &target)
{
    if (!isUsable(source) || !isUsable(target))
        return;

    // None of them is changed: the call is older than const.
    const char *const arguments[] = {"mv", "-f", "--", source.c_str(), target.c_str(), nullptr};
    const NoStreams streams;
    pid_t child = -1;
    const bool isStarted =
        streams.actions() && posix_spawnp(&child, arguments[0], streams.actions(), nullptr,
                                          const_cast<char *const *>(arguments), environ) == 0;
    if (!isStarted) {
        (void)std::rename(source.c_str(), target.c_str());
        return;
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

static bool isProcessNumber(std::int64_t id)
{
    // 1 is the first process of the system, 0 and below are groups of processes, or all.
    return id > 1 && id <= std::numeric_limits<pid_t>::max();
}

void startChild(const std::function<void()> &start)
{
    struct sigaction before = {};
    sigaction(SIGCHLD, nullptr, &before);
    start();

    struct sigaction now = {};
    sigaction(SIGCHLD, nullptr, &now);
    const bool isNew = now.sa_handler != before.sa_handler && now.sa_handler != SIG_DFL &&
                       now.sa_handler != SIG_IGN;
    if (isNew && (now.sa_flags & SA_RESTART) == 0) {
        now.sa_flags |= SA_RESTART;
        sigaction(SIGCHLD, &now, nullptr);
    }
}

int errorOfPipes(int count)
{
    int ends[2];
    if (count == 0)
        return 0;
    if (pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    const Descriptor read(ends[0]);
    const Descriptor write(ends[1]);
    return errorOfPipes(count - 1);
}

bool isChild(std::int64_t id)
{
    siginfo_t info = {};
    return isProcessNumber(id) &&
           waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

namespace {

/// A process or a thread. Its number may become that of another one, but not with the same start.
/// What handles these needs no memory of the heap if it does not say so.
struct ProcessEntry
{
    pid_t id;
    pid_t parent;
    char state;
    unsigned long long start; // in ticks since the system was started
};

/// Whether a process lives with its number.
enum class Presence
{
    Here,
    Gone,
    Unknown
};

using Clock = std::chrono::steady_clock;

} // namespace

/// What the system tells of a process, or of its thread \p thread. Nothing when it is gone, with
/// errno ESRCH or ENOENT, and where it cannot be read.
static std::optional<ProcessEntry> readEntry(pid_t process, pid_t thread = 0)
{
    char path[64];
    if (thread == 0)
        std::snprintf(path, sizeof(path), "/proc/%d/stat", process);
    else
        std::snprintf(path, sizeof(path), "/proc/%d/task/%d/stat", process, thread);
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        return {};
    char text[1024]; // more than the numbers that are looked for, and all that are behind them
    const ssize_t size = read(file.number(), text, sizeof(text) - 1);
    if (size < 0)
        return {};
    text[size] = '\0';

    // "id (name) state parent ...", where the name may hold anything, also ")" and blanks.
    ProcessEntry entry = {};
    entry.id = std::atoi(text);
    const char *const behindName = std::strrchr(text, ')');
    const char *const format = ") %c %d %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s "
                               "%*s %*s %*s %llu";
    if (!behindName ||
        std::sscanf(behindName, format, &entry.state, &entry.parent, &entry.start) != 3)
        return {};
    return entry;
}

/// The names in \p folder that are numbers. Throws when the memory does not suffice.
static std::vector<pid_t> numbersIn(const char *folder)
{
    std::vector<pid_t> numbers;
    const Folder entries(opendir(folder));
    if (!entries)
        return numbers;
    while (const dirent *const entry = readdir(entries.get())) {
        const int number = std::atoi(entry->d_name);
        if (number > 0)
            numbers.push_back(number);
    }
    return numbers;
}

/// Whether \p id is listed as a process. A thread has a folder too, but is not listed.
static bool isListed(pid_t id)
{
    const Folder entries(opendir("/proc"));
    while (const dirent *const entry = entries ? readdir(entries.get()) : nullptr) {
        if (std::atoi(entry->d_name) == id)
            return true;
    }
    return false;
}

static Presence presence(const ProcessEntry &process)
{
    errno = 0;
    const std::optional<ProcessEntry> now = readEntry(process.id);
    if (now)
        return now->start == process.start ? Presence::Here : Presence::Gone;
    return errno == ENOENT || errno == ESRCH ? Presence::Gone : Presence::Unknown;
}

/// Sends \p signal to this process and to no other that has got its number. False when it could
/// not.
static bool send(const ProcessEntry &process, int signal)
{
    // A handle stays with its process: if the number is still that of the right one when the
    // handle is there, it is the right handle. An old system has none, and there may be no
    // descriptor for one.
    Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process.id, 0)));
    Presence found = presence(process);
    if (found == Presence::Unknown && handle.isOpen()) { // which took the last descriptor
        handle.reset();
        found = presence(process);
    }
    if (found != Presence::Here)
        return false;
    if (handle.isOpen()) {
        if (syscall(SYS_pidfd_send_signal, handle.number(), signal, nullptr, 0) == 0)
            return true;
        if (errno == ESRCH)
            return false;
    }
    return kill(process.id, signal) == 0;
}

/// Whether each thread of \p process is in one of \p states or gone. Throws when the memory does
/// not suffice.
static bool isInState(const ProcessEntry &process, const char *states)
{
    char folder[64];
    std::snprintf(folder, sizeof(folder), "/proc/%d/task", process.id);
    const std::vector<pid_t> threads = numbersIn(folder);
    return presence(process) != Presence::Here ||
           std::all_of(threads.begin(), threads.end(), [&](pid_t thread) {
               const std::optional<ProcessEntry> entry = readEntry(process.id, thread);
               return !entry || std::strchr(states, entry->state);
           });
}

/// Waits until each thread of \p processes is in one of \p states or gone, or it is \p end. Throws
/// when the memory does not suffice.
static void waitForState(const std::vector<ProcessEntry> &processes, const char *states,
                         Clock::time_point end)
{
    for (const ProcessEntry &process : processes) {
        while (!isInState(process, states) && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

/// Stops \p root and all below it, but for this process, and puts them into \p tree, each behind
/// its parent. Throws when the memory does not suffice; who has been stopped is in there then, too.
static void stopTree(const ProcessEntry &root, std::vector<ProcessEntry> &tree)
{
    // A process that cannot be stopped may start others for ever, so there is an end to this.
    const auto end = Clock::now() + std::chrono::seconds(20);
    std::map<pid_t, unsigned long long> starts; // of those in the tree
    std::vector<ProcessEntry> stopping;
    const auto has = [&](const ProcessEntry &process) {
        const auto found = starts.find(process.id);
        return found != starts.end() && found->second == process.start;
    };
    const auto add = [&](const ProcessEntry &process) {
        tree.push_back(process);
        starts[process.id] = process.start;
        stopping.push_back(process);
        if (process.id == getpid() || !send(process, SIGSTOP))
            stopping.pop_back();
    };

    add(root);
    for (bool isGrowing = true; isGrowing && Clock::now() < end;) {
        // A thread that is in the middle of starting a process completes that first, and the look
        // must come behind it. One that waits for its child to run another program does not stop
        // before the child has done so, which may be stopped: that one need not be waited for.
        waitForState(stopping, "TtZX",
                     std::min(end, Clock::now() + std::chrono::milliseconds(100)));
        waitForState(stopping, "TtZXD", end);
        stopping.clear();

        isGrowing = false;
        for (const pid_t id : numbersIn("/proc")) {
            const std::optional<ProcessEntry> process = readEntry(id);
            if (!process || has(*process) || starts.count(process->parent) == 0)
                continue;
            const std::optional<ProcessEntry> parent = readEntry(process->parent);
            if (parent && has(*parent)) {
                add(*process);
                isGrowing = true;
            }
        }
    }
}

bool killProcessTree(std::int64_t id)
{
    if (!isProcessNumber(id))
        return false;
    const std::optional<ProcessEntry> root = readEntry(static_cast<pid_t>(id));
    // A signal to a thread would reach its process.
    if (!root || !isListed(root->id))
        return false;

    std::vector<ProcessEntry> tree;
    try {
        stopTree(*root, tree);
    } catch (const std::bad_alloc &) {
        // Nobody stays stopped: those that were found go all the same.
    }
    // Children first: the end of a parent may set children going that are stopped.
    std::reverse(tree.begin(), tree.end());
    const auto isSelf = [](const ProcessEntry &process) { return process.id == getpid(); };
    const bool hasSelf = std::any_of(tree.begin(), tree.end(), isSelf);
    const auto stays = [&](const ProcessEntry &process) {
        return isSelf(process) || !send(process, SIGKILL);
    };
    tree.erase(std::remove_if(tree.begin(), tree.end(), stays), tree.end());
    try {
        waitForState(tree, "ZX", Clock::now() + std::chrono::seconds(5));
    } catch (const std::bad_alloc &) {
        // They end all the same.
    }
    if (hasSelf)
        kill(getpid(), SIGKILL);
    const auto isRoot = [&](const ProcessEntry &process) { return process.id == root->id; };
    return std::any_of(tree.begin(), tree.end(), isRoot) || presence(*root) == Presence::Gone;
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    return file.isOpen();
}

std::string sharedDataFolder()
{
    const char *const folder = std::getenv("ALLUSERSPROFILE");
    return folder ? folder : "";
}

std::size_t stackLeft()
{
    struct Bounds
    {
        Bounds()
        {
            pthread_attr_t attributes;
            if (pthread_getattr_np(pthread_self(), &attributes) != 0)
                return;
            void *lowest = nullptr;
            std::size_t size = 0;
            std::size_t guard = 0;
            pthread_attr_getstack(&attributes, &lowest, &size);
            pthread_attr_getguardsize(&attributes, &guard);
            pthread_attr_destroy(&attributes);
            low = reinterpret_cast<std::uintptr_t>(lowest) + guard;
            high = reinterpret_cast<std::uintptr_t>(lowest) + size;
        }
        std::uintptr_t low = 0;
        std::uintptr_t high = 0;
    };
    // For the first thread the system's list of memory is read, which takes a while.
    static thread_local const Bounds bounds;
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    return here > bounds.low && here <= bounds.high ? here - bounds.low : unknownStack;
}

void makeSymbolsGlobal(const void *address)
{
    // Opened to stay: who takes the symbols does not keep their library.
    Dl_info library;
    if (dladdr(address, &library) != 0)
        dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
}

namespace {

/// What has come of a function in a copy of the process, in memory that both have. It says more
/// than the exit code of the copy, which code that ends it may choose.
enum class Outcome
{
    None,
    False,
    True
};
using SharedOutcome = std::atomic<Outcome>;

/// Leaves a copy of the process before anything else that its exit runs.
struct ExitGuard
{
    ~ExitGuard() { _exit(0); }
};

} // namespace

/// Has the copy leave the world of the process alone: its input and output, its handlers, its exit.
static void detachCopy(pid_t original)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != original) // which has ended before
        _exit(0);
    prctl(PR_SET_DUMPABLE, 0); // also for programs that take core files
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_DFL ||
            action.sa_handler == SIG_IGN)
            continue;
        // The keys of a terminal reach all its processes: one that goes on at them lets its copy.
        const bool interrupts =
            number == SIGHUP || number == SIGINT || number == SIGQUIT || number == SIGTERM;
        action = {};
        action.sa_handler = interrupts ? SIG_IGN : SIG_DFL;
        sigaction(number, &action, nullptr);
    }
    const int nowhere = open("/dev/null", O_RDWR);
    for (int stream : {STDIN_FILENO, STDOUT_FILENO})
        dup2(nowhere, stream);
    if (nowhere > STDERR_FILENO)
        close(nowhere);

    // What comes last goes first, and objects of the thread before functions of the process. So
    // what the process has for its exit, as files to flush and folders to remove, is not run.
    std::atexit([] { _exit(0); });
    thread_local const ExitGuard guard;
    (void)&guard;
}

[[noreturn]] static void runInCopy(const std::function<bool()> &function, SharedOutcome *outcome,
                                   pid_t original)
{
    try {
        detachCopy(original);
        *outcome = function() ? Outcome::True : Outcome::False;
    } catch (...) {
    }
    _exit(0);
}

/// Waits for the end of \p child, and no longer than \p limit, after which it is killed.
static void waitForCopy(pid_t child, std::chrono::milliseconds limit)
{
    const std::chrono::microseconds longestPause(2000);
    const auto end = Clock::now() + limit;
    for (std::chrono::microseconds pause(100);; pause = std::min(pause * 2, longestPause)) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) // or the host has waited for it
            return;
        if (Clock::now() >= end)
            break;
        std::this_thread::sleep_for(pause);
    }
    killProcessTree(child);
    waitpid(child, nullptr, WNOHANG); // one that even this does not end is not waited for
}

std::optional<bool> tryInCopy(const std::function<bool()> &function,
                              std::chrono::milliseconds limit)
{
    void *const memory = mmap(nullptr, sizeof(SharedOutcome), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return {};
    auto *const outcome = new (memory) SharedOutcome(Outcome::None);
    const pid_t original = getpid();
    const pid_t child = fork();
    if (child == 0)
        runInCopy(function, outcome, original);
    if (child > 0)
        waitForCopy(child, limit);
    const bool isTrue = *outcome == Outcome::True;
    munmap(memory, sizeof(SharedOutcome));
    return child > 0 ? std::optional<bool>(isTrue) : std::nullopt;
}

std::string localeCodeset()
{
    const char *const current = std::setlocale(LC_CTYPE, nullptr);
    const std::string original = current ? current : "C";
    std::setlocale(LC_CTYPE, "");
    const char *const name = nl_langinfo(CODESET);
    const std::string codeset = name ? name : "";
    std::setlocale(LC_CTYPE, original.c_str());
    return codeset;
}

} // namespace Utils::Platform
