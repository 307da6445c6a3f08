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
#include <utility>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#ifndef __x86_64__
#include <ucontext.h>
#endif

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define CHECKS_ADDRESSES
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

extern char **environ;

#ifdef __x86_64__

// Calls a function on the stack that ends at top. The frame has unwind information, so a debugger
// shows the caller. The functions of <ucontext.h> hide the caller, and need a system call for each
// switch, which takes longer than a short script.
extern "C" void kelmCallOnStack(char *top, void (*function)());
__asm__(".text\n"
        ".p2align 4\n"
        ".globl kelmCallOnStack\n"
        ".hidden kelmCallOnStack\n"
        ".type kelmCallOnStack, @function\n"
        "kelmCallOnStack:\n"
        ".cfi_startproc\n"
        "pushq %rbp\n"
        ".cfi_def_cfa_offset 16\n"
        ".cfi_offset %rbp, -16\n"
        "movq %rsp, %rbp\n"
        ".cfi_def_cfa_register %rbp\n"
        "movq %rdi, %rsp\n"
        "callq *%rsi\n"
        "movq %rbp, %rsp\n"
        "popq %rbp\n"
        ".cfi_def_cfa %rsp, 8\n"
        "ret\n"
        ".cfi_endproc\n"
        ".size kelmCallOnStack, . - kelmCallOnStack\n");

#else

static void kelmCallOnStack(char *top, void (*function)())
{
    const std::size_t used = 1 << 20; // any size: only the end counts
    ucontext_t there;
    ucontext_t here;
    getcontext(&there);
    there.uc_stack.ss_sp = top - used;
    there.uc_stack.ss_size = used;
    there.uc_link = &here;
    makecontext(&there, function, 0);
    swapcontext(&here, &there);
}

#endif

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

/// Redirects the three standard streams of a program that is started to the null device.
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
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) { // can be opened to read
        std::fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    errno = 0;
    return file;
}

static Entry entryOf(mode_t mode)
{
    return S_ISREG(mode)   ? Entry::File
           : S_ISDIR(mode) ? Entry::Folder
           : S_ISLNK(mode) ? Entry::Link
                           : Entry::Other;
}

EntryStatus entryStatus(const std::string &path, bool followLinks)
{
    if (!isUsable(path))
        return {};
    struct stat status;
    if ((followLinks ? stat(path.c_str(), &status) : lstat(path.c_str(), &status)) != 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {isMissing ? Entry::Missing : Entry::Unknown, 0, 0};
    }
    // Nanoseconds are added to the seconds, also when these are negative (before the epoch).
    return {entryOf(status.st_mode), status.st_size,
            std::int64_t(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000};
}

std::optional<std::string> canonicalPath(const std::string &path)
{
    if (!isUsable(path))
        return std::string();
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               &std::free);
    if (resolved)
        return std::string(resolved.get());
    if (errno == ENOENT || errno == ENOTDIR)
        return std::string();
    return std::nullopt;
}

std::optional<FileVersion> fileVersion(const std::string &) { return {}; }

/// Moves as mv does, but only within a file system.
static void renameReplacing(const std::string &source, const std::string &target)
{
    switch (entryStatus(target, /*followLinks=*/true).entry) {
    case Entry::Unknown:
        return;
    case Entry::Folder:
        (void)std::rename(source.c_str(),
                          (target + '/' + source.substr(source.rfind('/') + 1)).c_str());
        return;
    default:
        (void)std::rename(source.c_str(), target.c_str());
    }
}

void moveReplacing(const std::string &source, const std::string &target)
{
    if (!isUsable(source) || !isUsable(target))
        return;

    // The call changes none of them, although it does not take them as const.
    const char *const arguments[] = {"mv", "-f", "--", source.c_str(), target.c_str(), nullptr};
    const NoStreams streams;
    pid_t child = -1;
    const bool isStarted =
        streams.actions() && posix_spawnp(&child, arguments[0], streams.actions(), nullptr,
                                          const_cast<char *const *>(arguments), environ) == 0;
    if (!isStarted) {
        renameReplacing(source, target);
        return;
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

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

/// Calls \p take with each name in \p folder that is a number, until it returns true; returns
/// whether it did. A folder that cannot be read to its end is read again, so a number may be passed
/// twice.
template <typename Take>
static bool findNumber(const char *folder, const Take &take)
{
    for (int i = 0; i < readAttempts; ++i) {
        errno = 0;
        const Folder entries(opendir(folder));
        while (const dirent *const entry = entries ? readdir(entries.get()) : nullptr) {
            const int number = std::atoi(entry->d_name);
            if (number > 0 && take(number))
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

void makeSymbolsGlobal(const void *address)
{
    // Never closed: libraries that use the symbols do not keep this library loaded.
    Dl_info library;
    if (dladdr(address, &library) != 0)
        dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
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

namespace {

/// The range of addresses of the deep stack, which is used from its end.
struct DeepStack
{
    bool has(const void *address) const { return address >= start && address < start + size; }

    char *start = nullptr;
    std::size_t size = 0;

    // The limits because of which it is smaller than wanted, if it is.
    bool isLimited = true;
    rlim_t addressLimit = 0;
    rlim_t dataLimit = 0;
};

/// The function to call on it.
struct DeepCall
{
    void (*function)(void *);
    void *context;
#ifdef CHECKS_ADDRESSES
    const void *callerStack;
    std::size_t callerSize;
#endif
};

} // namespace

static DeepStack deepStack;
static DeepCall deepCall;
static std::atomic<bool> isDeepStackInUse = false;

static const std::size_t mebibyte = 1 << 20;
static const std::size_t smallestDeepStack = 16 * mebibyte;
static const std::size_t deepGuard = mebibyte;      // larger than the frame of any function
static const std::size_t keptStack = 16 * mebibyte; // not released after a call

static std::size_t wantedDeepStack()
{
    const int file = open("/proc/sys/vm/overcommit_memory", O_RDONLY | O_CLOEXEC);
    char policy = '0';
    if (file >= 0) {
        if (read(file, &policy, 1) != 1)
            policy = '0';
        close(file);
    }
    if (policy == '2') // reserved addresses count as memory
        return 64 * mebibyte;

    std::uint64_t half = 0;
    struct sysinfo system;
    if (sysinfo(&system) == 0)
        half = (std::uint64_t{system.totalram} + system.totalswap) * system.mem_unit / 2;
    const std::uint64_t wanted = std::max<std::uint64_t>(half, 2048 * mebibyte);
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(wanted, std::numeric_limits<std::size_t>::max() / 2));
}

/// \p size, rounded down to whole mebibytes, and so to whole pages.
static std::size_t wholePages(std::size_t size) { return size / mebibyte * mebibyte; }

static char *mapStack(std::size_t size)
{
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<char *>(memory);
}

static rlim_t limitOf(decltype(RLIMIT_AS) resource)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    return limit.rlim_cur;
}

/// Reserves the stack at the first call, and again if it is smaller than wanted and the limits of
/// the process have changed.
static void prepareDeepStack()
{
    if (!deepStack.isLimited)
        return;
    const rlim_t addressLimit = limitOf(RLIMIT_AS);
    const rlim_t dataLimit = limitOf(RLIMIT_DATA);
    if (addressLimit == deepStack.addressLimit && dataLimit == deepStack.dataLimit)
        return;

    if (deepStack.start)
        munmap(deepStack.start, deepStack.size);
    deepStack = {};
    deepStack.addressLimit = addressLimit;
    deepStack.dataLimit = dataLimit;
    const std::size_t wanted = wholePages(wantedDeepStack());
    std::size_t size = wanted;
    char *start = mapStack(size);
    while (!start && size >= smallestDeepStack) {
        size = wholePages(size / 8 * 7);
        start = mapStack(size);
    }
    if (start && size < wanted) {
        // The rest is for the data of the recursion. Python's compiler allocates twice as much
        // memory as it uses of the stack, and so runs out of memory first.
        munmap(start, size);
        size = wholePages(size / 5 * 2);
        start = size >= smallestDeepStack ? mapStack(size) : nullptr;
    }
    if (!start)
        return;

    mprotect(start, deepGuard, PROT_NONE);
    madvise(start, size, MADV_NOHUGEPAGE); // otherwise the first use would take 2 MiB
    if (size > 4 * keptStack)
        madvise(start, size - 4 * keptStack, MADV_DONTDUMP); // keeps core files small
    deepStack.start = start;
    deepStack.size = size;
    deepStack.isLimited = size < wanted;
}

/// Releases the memory that a deep recursion has used. The words just beyond the part that is kept
/// show whether there was one: they are zero until a recursion passes them, and again after the
/// release. A system call for this would take as long as a short script.
static void releaseDeepStack()
{
    if (deepStack.size < 2 * keptStack)
        return;
    const std::size_t released = deepStack.size - keptStack;
    const auto *const end = reinterpret_cast<std::uint64_t *>(deepStack.start + released);
    const auto isZero = [](std::uint64_t word) { return word == 0; };
    if (!std::all_of(end - 64, end, isZero)) // most frames are smaller than that
        madvise(deepStack.start, released, MADV_DONTNEED);
}

static void makeDeepCall()
{
#ifdef CHECKS_ADDRESSES
    __sanitizer_finish_switch_fiber(nullptr, &deepCall.callerStack, &deepCall.callerSize);
    __lsan_register_root_region(deepCall.callerStack, deepCall.callerSize); // the process may end
#endif
    deepCall.function(deepCall.context);
#ifdef CHECKS_ADDRESSES
    __lsan_unregister_root_region(deepCall.callerStack, deepCall.callerSize);
    __sanitizer_start_switch_fiber(nullptr, deepCall.callerStack, deepCall.callerSize);
#endif
}

void callOnDeepStack(void (*function)(void *), void *context)
{
    const bool isOnIt = deepStack.has(__builtin_frame_address(0));
    // In use by another thread, or by a caller that has switched to a stack of its own.
    if (isOnIt || isDeepStackInUse.exchange(true)) {
        function(context);
        return;
    }
    prepareDeepStack();
    if (!deepStack.start) {
        isDeepStackInUse = false;
        function(context);
        return;
    }

    deepCall.function = function;
    deepCall.context = context;
#ifdef CHECKS_ADDRESSES
    void *callerFrames = nullptr;
    __sanitizer_start_switch_fiber(&callerFrames, deepStack.start, deepStack.size);
#endif
    kelmCallOnStack(deepStack.start + deepStack.size, makeDeepCall);
#ifdef CHECKS_ADDRESSES
    __sanitizer_finish_switch_fiber(callerFrames, nullptr, nullptr);
#endif
    releaseDeepStack();
    isDeepStackInUse = false;
}

std::size_t deepThreadStack()
{
    return std::clamp(deepStack.size / 16, smallestDeepStack, 1024 * mebibyte);
}

std::size_t freeStack()
{
    const char *const place = static_cast<const char *>(__builtin_frame_address(0));
    if (deepStack.has(place)) {
        const auto left = static_cast<std::size_t>(place - deepStack.start);
        return left - std::min(left, deepGuard);
    }

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
    // For the main thread this reads the memory map of the process, which takes a while.
    static thread_local const Bounds bounds;
    const auto here = reinterpret_cast<std::uintptr_t>(place);
    return here > bounds.low && here <= bounds.high ? here - bounds.low : 0;
}

} // namespace Utils::Platform
