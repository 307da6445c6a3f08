#include "utils/platform/Platform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Utils::Platform {

namespace {

/// Owns a file descriptor; a negative one stands for none.
class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
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

} // namespace

static bool isProcessNumber(std::int64_t id)
{
    // 1 is the first process of the system; 0 and below mean process groups, or all processes.
    return id > 1 && id <= std::numeric_limits<pid_t>::max();
}

void startChild(const std::function<void()> &start)
{
    struct sigaction before = {};
    sigaction(SIGCHLD, nullptr, &before);
    struct sigaction pipeBefore = {};
    sigaction(SIGPIPE, nullptr, &pipeBefore);
    start();

    // Qt ignores this signal for its own pipes. A host whose reader has gone would keep running.
    struct sigaction pipeNow = {};
    sigaction(SIGPIPE, nullptr, &pipeNow);
    if (pipeNow.sa_handler == SIG_IGN && pipeBefore.sa_handler != SIG_IGN)
        sigaction(SIGPIPE, &pipeBefore, nullptr);

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

/// A process or a thread. Its number may be used again, but not with the same start time. Functions
/// for these allocate no memory unless their comment says so.
struct ProcessEntry
{
    pid_t id;
    pid_t parent;
    char state;
    unsigned long long start; // in ticks since the system was started
};

/// Whether a process still exists with its number.
enum class Presence
{
    Here,
    Gone,
    Unknown
};

using Clock = std::chrono::steady_clock;

/// A process in a tree that is being killed.
struct TreeProcess
{
    ProcessEntry entry;
    bool isStopped = false;
    Descriptor handle{-1}; // identifies it even when /proc can no longer be read
};

} // namespace

// How often a read is attempted.
static constexpr int readAttempts = 3;

// How many process handles are kept at most, to leave descriptors for other uses here.
static constexpr int maxHandles = 64;

static bool meansGone(int error) { return error == ENOENT || error == ESRCH; }

/// The process or thread that the file \p path describes; std::nullopt when it cannot be read.
static std::optional<ProcessEntry> readEntryOnce(const char *path)
{
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        return {};
    char text[1024]; // longer than the line up to the numbers that are needed
    const ssize_t size = read(file.number(), text, sizeof(text) - 1);
    if (size < 0)
        return {};
    text[size] = '\0';

    // "id (name) state parent ...", where the name may contain any character, also ")" and spaces.
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

/// The process \p process, or its thread \p thread. std::nullopt when it has ended, with errno
/// ESRCH or ENOENT, and when it cannot be read.
static std::optional<ProcessEntry> readEntry(pid_t process, pid_t thread = 0)
{
    char path[64];
    if (thread == 0)
        std::snprintf(path, sizeof(path), "/proc/%d/stat", process);
    else
        std::snprintf(path, sizeof(path), "/proc/%d/task/%d/stat", process, thread);
    std::optional<ProcessEntry> entry;
    for (int i = 0; i < readAttempts && !entry; ++i) {
        errno = 0;
        entry = readEntryOnce(path);
        if (!entry && meansGone(errno))
            break;
    }
    return entry;
}

/// Calls \p accept with the names in \p folder that are numbers, until it is true, which is the
/// result then. What cannot be read to its end is read again, so that a number may come twice.
template <typename Accept>
static bool findNumber(const char *folder, const Accept &accept)
{
    for (int i = 0; i < readAttempts; ++i) {
        errno = 0;
        const Folder entries(opendir(folder));
        while (const dirent *const entry = entries ? readdir(entries.get()) : nullptr) {
            const int number = std::atoi(entry->d_name);
            if (number > 0 && accept(number))
                return true;
            errno = 0;
        }
        if (errno == 0 || meansGone(errno))
            break;
    }
    return false;
}

/// The names in \p folder that are numbers. Throws std::bad_alloc.
static std::vector<pid_t> numbersIn(const char *folder)
{
    std::vector<pid_t> numbers;
    findNumber(folder, [&](pid_t number) {
        numbers.push_back(number);
        return false;
    });
    return numbers;
}

/// Whether \p id is listed as a process. Threads have folders, too, but are not listed.
static bool isListed(pid_t id)
{
    return findNumber("/proc", [id](pid_t number) { return number == id; });
}

static Presence presence(const ProcessEntry &process)
{
    errno = 0;
    const std::optional<ProcessEntry> now = readEntry(process.id);
    if (now)
        return now->start == process.start ? Presence::Here : Presence::Gone;
    return errno == ENOENT || errno == ESRCH ? Presence::Gone : Presence::Unknown;
}

/// A handle for a process, which always refers to that process: if the number still belongs to the
/// right process after the handle was opened, so does the handle. None on an old system, and when
/// there is no file descriptor for it.
static Descriptor handleOf(const ProcessEntry &process, Presence &found)
{
    Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process.id, 0)));
    found = presence(process);
    if (found == Presence::Unknown && handle.isOpen()) { // it took the last descriptor
        handle.reset();
        found = presence(process);
    }
    return handle;
}

/// Sends \p signal by \p handle. Whether it was sent; std::nullopt when the handle cannot be used.
static std::optional<bool> sendByHandle(const Descriptor &handle, int signal)
{
    if (handle.isOpen()) {
        if (syscall(SYS_pidfd_send_signal, handle.number(), signal, nullptr, 0) == 0)
            return true;
        if (errno == ESRCH)
            return false;
    }
    return {};
}

/// Sends \p signal to this process, but not to another one that has received its number. False when
/// this failed. With \p keepsHandle, a handle opened for it is stored in \p process.
static bool send(TreeProcess &process, int signal, bool keepsHandle = false)
{
    if (const std::optional<bool> isSent = sendByHandle(process.handle, signal))
        return *isSent;
    Presence found;
    Descriptor handle = handleOf(process.entry, found);
    if (found != Presence::Here)
        return false;
    const std::optional<bool> isSent = sendByHandle(handle, signal);
    if (isSent && keepsHandle)
        process.handle = std::move(handle);
    return isSent ? *isSent : kill(process.entry.id, signal) == 0;
}

/// Resumes a process that could not be killed.
static void resume(TreeProcess &process)
{
    if (!process.isStopped || send(process, SIGCONT))
        return;
    // Without a handle and without /proc the number alone must do. The signal to resume does no
    // harm to another process.
    if (presence(process.entry) == Presence::Unknown)
        kill(process.entry.id, SIGCONT);
}

/// Whether each thread of \p process is in one of \p states or has ended. Throws std::bad_alloc.
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

/// Waits until each thread of \p processes is in one of \p states or has ended, but not beyond
/// \p end. Throws std::bad_alloc.
static void waitForState(const std::vector<ProcessEntry> &processes, const char *states,
                         Clock::time_point end)
{
    for (const ProcessEntry &process : processes) {
        while (!isInState(process, states) && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

/// Stops \p root and its descendants, except this process, and appends all of them to \p tree, each
/// after its parent. Throws std::bad_alloc; \p tree then contains all that were stopped.
static void stopTree(const ProcessEntry &root, std::vector<TreeProcess> &tree)
{
    // A process that cannot be stopped may start others without end, so the time is limited.
    const auto end = Clock::now() + std::chrono::seconds(20);
    std::map<pid_t, unsigned long long> starts; // of those in the tree
    std::vector<ProcessEntry> stopping;
    const auto has = [&](const ProcessEntry &process) {
        const auto found = starts.find(process.id);
        return found != starts.end() && found->second == process.start;
    };
    int numHandles = 0;
    const auto add = [&](const ProcessEntry &process) {
        tree.push_back({process});
        starts[process.id] = process.start;
        stopping.push_back(process);
        TreeProcess &added = tree.back();
        added.isStopped =
            process.id != getpid() && send(added, SIGSTOP, /*keepsHandle=*/numHandles < maxHandles);
        if (!added.isStopped)
            stopping.pop_back();
        if (added.handle.isOpen())
            ++numHandles;
    };

    add(root);
    for (bool isGrowing = true; isGrowing && Clock::now() < end;) {
        // A thread that is starting a process completes this before it stops; only then can the
        // child be found. A thread that waits for its child to run another program (state D) stops
        // only after the child did so. As the child may be stopped itself, such a thread is waited
        // for only a short time.
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

/// Waits until \p processes have ended, but not beyond \p end.
static void waitForEnd(const std::vector<TreeProcess> &processes, Clock::time_point end)
{
    for (const TreeProcess &process : processes) {
        if (process.handle.isOpen()) {
            pollfd handle = {process.handle.number(), POLLIN, 0};
            int result = 0;
            do { // the end of another child interrupts it
                const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
                const auto limit = std::max<std::int64_t>(left.count(), 0);
                result = poll(&handle, 1, static_cast<int>(limit));
            } while (result < 0 && errno == EINTR);
            continue;
        }
        try {
            waitForState({process.entry}, "ZX", end);
        } catch (const std::bad_alloc &) {
            // It ends without being waited for.
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

    std::vector<TreeProcess> tree;
    try {
        stopTree(*root, tree);
    } catch (const std::bad_alloc &) {
        // Those that were found are killed, so that none stays stopped.
    }
    // Children first: the end of a parent may resume stopped children.
    std::reverse(tree.begin(), tree.end());
    const auto isSelf = [](const TreeProcess &process) { return process.entry.id == getpid(); };
    const bool hasSelf = std::any_of(tree.begin(), tree.end(), isSelf);
    const auto stays = [&](TreeProcess &process) {
        if (isSelf(process))
            return true;
        if (send(process, SIGKILL))
            return false;
        resume(process);
        return true;
    };
    tree.erase(std::remove_if(tree.begin(), tree.end(), stays), tree.end());
    waitForEnd(tree, Clock::now() + std::chrono::seconds(5));
    if (hasSelf)
        kill(getpid(), SIGKILL);
    const auto isRoot = [&](const TreeProcess &process) { return process.entry.id == root->id; };
    return std::any_of(tree.begin(), tree.end(), isRoot) || presence(*root) == Presence::Gone;
}

namespace {

/// The result of a function in a copy of the process, in memory shared with the copy. The exit code
/// of the copy would not do, as the function may end the copy with any code.
enum class Outcome
{
    None,
    False,
    True
};
using SharedOutcome = std::atomic<Outcome>;

/// Ends a copy of the process before any exit function of the process is run.
struct ExitGuard
{
    ~ExitGuard() { _exit(0); }
};

} // namespace

/// Separates the copy from the process: input and output, signal handlers, exit functions.
static void detachCopy(pid_t original)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != original) // it has ended before the call above
        _exit(0);
    prctl(PR_SET_DUMPABLE, 0); // no core file, not even for a program that collects them
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_DFL ||
            action.sa_handler == SIG_IGN)
            continue;
        // The keys of a terminal send these to all its processes: if the process handles them, the
        // copy ignores them.
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

    // Exit functions run in reverse order, thread-local objects first. So none of the process is
    // run, such as those that flush files or remove folders.
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

/// Waits for the end of \p child, and kills it after \p limit.
static void waitForCopy(pid_t child, std::chrono::milliseconds limit)
{
    const std::chrono::microseconds longestPause(2000);
    const auto end = Clock::now() + limit;
    for (std::chrono::microseconds pause(100);; pause = std::min(pause * 2, longestPause)) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) // the host may have waited for it
            return;
        if (Clock::now() >= end)
            break;
        std::this_thread::sleep_for(pause);
    }
    killProcessTree(child);
    waitpid(child, nullptr, WNOHANG); // without waiting, in case it cannot be killed
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

} // namespace Utils::Platform
