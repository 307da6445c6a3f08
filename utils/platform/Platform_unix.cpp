#include "utils/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <thread>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace Utils::Platform {

static const std::size_t unknownStack = 256 * 1024;

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

    std::string arguments[] = {"mv", "-f", "--", source, target};
    char *const argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                          arguments[3].data(), arguments[4].data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const bool isStarted = posix_spawnp(&child, argv[0], &actions, nullptr, argv, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);

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
    const int error = errorOfPipes(count - 1);
    close(ends[0]);
    close(ends[1]);
    return error;
}

bool isChild(std::int64_t id)
{
    siginfo_t info = {};
    return isProcessNumber(id) &&
           waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

namespace {

/// A process or a thread. Its number may become that of another one, but not with the same start.
struct ProcessEntry
{
    pid_t id;
    pid_t parent;
    char state;
    unsigned long long start; // in ticks since the system was started
};

using Clock = std::chrono::steady_clock;

} // namespace

static std::string processFolder(pid_t id) { return "/proc/" + std::to_string(id); }

/// What the system tells of the process or thread in \p folder. Nothing when it is gone.
static std::optional<ProcessEntry> readEntry(const std::string &folder)
{
    const int file = open((folder + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    char text[1024]; // more than the numbers that are looked for, and all that are behind them
    const ssize_t size = read(file, text, sizeof(text) - 1);
    close(file);
    text[std::max<ssize_t>(size, 0)] = '\0';

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

/// The names in \p folder that are numbers.
static std::vector<pid_t> numbersIn(const std::string &folder)
{
    std::vector<pid_t> numbers;
    DIR *const entries = opendir(folder.c_str());
    if (!entries)
        return numbers;
    while (const dirent *const entry = readdir(entries)) {
        const int number = std::atoi(entry->d_name);
        if (number > 0)
            numbers.push_back(number);
    }
    closedir(entries);
    return numbers;
}

static bool isSame(const ProcessEntry &process)
{
    const std::optional<ProcessEntry> now = readEntry(processFolder(process.id));
    return now && now->start == process.start;
}

/// Sends \p signal to this process and to no other that has got its number. False when it could
/// not.
static bool send(const ProcessEntry &process, int signal)
{
    // A handle stays with its process: if the number is still that of the right one when the
    // handle is there, it is the right handle. An old system has none.
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, process.id, 0));
    if (handle < 0)
        return isSame(process) && kill(process.id, signal) == 0;
    const bool isSent =
        isSame(process) && syscall(SYS_pidfd_send_signal, handle, signal, nullptr, 0) == 0;
    close(handle);
    return isSent;
}

/// Whether each thread of \p process is in one of \p states or gone.
static bool isInState(const ProcessEntry &process, const char *states)
{
    const std::string folder = processFolder(process.id) + "/task/";
    const std::vector<pid_t> threads = numbersIn(folder);
    return !isSame(process) || std::all_of(threads.begin(), threads.end(), [&](pid_t thread) {
        const std::optional<ProcessEntry> entry = readEntry(folder + std::to_string(thread));
        return !entry || std::strchr(states, entry->state);
    });
}

/// Waits until each thread of \p processes is in one of \p states or gone, or it is \p end.
static void waitForState(const std::vector<ProcessEntry> &processes, const char *states,
                         Clock::time_point end)
{
    for (const ProcessEntry &process : processes) {
        while (!isInState(process, states) && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

/// \p root and all below it, each behind its parent, and stopped, but for this process.
static std::vector<ProcessEntry> stopTree(const ProcessEntry &root)
{
    // A process that cannot be stopped may start others for ever, so there is an end to this.
    const auto end = Clock::now() + std::chrono::seconds(20);
    std::vector<ProcessEntry> tree;
    std::map<pid_t, unsigned long long> starts; // of those in the tree
    std::vector<ProcessEntry> stopping;
    const auto has = [&](const ProcessEntry &process) {
        const auto found = starts.find(process.id);
        return found != starts.end() && found->second == process.start;
    };
    const auto add = [&](const ProcessEntry &process) {
        tree.push_back(process);
        starts[process.id] = process.start;
        if (process.id != getpid() && send(process, SIGSTOP))
            stopping.push_back(process);
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
            const std::optional<ProcessEntry> process = readEntry(processFolder(id));
            if (!process || has(*process) || starts.count(process->parent) == 0)
                continue;
            const std::optional<ProcessEntry> parent = readEntry(processFolder(process->parent));
            if (parent && has(*parent)) {
                add(*process);
                isGrowing = true;
            }
        }
    }
    return tree;
}

bool killProcessTree(std::int64_t id)
{
    if (!isProcessNumber(id))
        return false;
    const std::optional<ProcessEntry> root = readEntry(processFolder(static_cast<pid_t>(id)));
    // A thread has such a folder too, but is not listed. A signal to it would reach its process.
    const std::vector<pid_t> listed = numbersIn("/proc");
    if (!root || std::find(listed.begin(), listed.end(), root->id) == listed.end())
        return false;

    std::vector<ProcessEntry> tree = stopTree(*root);
    // Children first: the end of a parent may set children going that are stopped.
    std::reverse(tree.begin(), tree.end());
    const auto isSelf = [](const ProcessEntry &process) { return process.id == getpid(); };
    const auto others = std::remove_if(tree.begin(), tree.end(), isSelf);
    const bool hasSelf = others != tree.end();
    tree.erase(others, tree.end());
    for (const ProcessEntry &process : tree)
        send(process, SIGKILL);
    waitForState(tree, "ZX", Clock::now() + std::chrono::seconds(5));
    if (hasSelf)
        kill(getpid(), SIGKILL);
    return true;
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0)
        return false;
    close(file);
    return true;
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

} // namespace Utils::Platform
