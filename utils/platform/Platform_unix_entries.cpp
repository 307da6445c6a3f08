#include "utils/platform/Platform_unix_p.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>

namespace Utils::Platform {

namespace {

struct CloseFolder
{
    void operator()(DIR *folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

} // namespace

bool isProcessNumber(std::int64_t id)
{
    // 1 is the first process of the system; 0 and below mean process groups, or all processes.
    return id > 1 && id <= std::numeric_limits<pid_t>::max();
}

// How often a read is attempted.
static constexpr int readAttempts = 3;

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

std::optional<ProcessEntry> readEntry(pid_t process, pid_t thread)
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

std::vector<pid_t> numbersIn(const char *folder)
{
    std::vector<pid_t> numbers;
    findNumber(folder, [&](pid_t number) {
        numbers.push_back(number);
        return false;
    });
    return numbers;
}

bool isListed(pid_t id)
{
    return findNumber("/proc", [id](pid_t number) { return number == id; });
}

Presence presence(const ProcessEntry &process)
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

bool send(TreeProcess &process, int signal, bool keepsHandle)
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

std::optional<bool> isInState(const ProcessEntry &process, const char *states)
{
    char folder[64];
    std::snprintf(folder, sizeof(folder), "/proc/%d/task", process.id);
    const std::vector<pid_t> threads = numbersIn(folder);
    const Presence found = presence(process);
    if (found == Presence::Gone)
        return true;
    bool isKnown = found == Presence::Here && !threads.empty();
    for (const pid_t thread : threads) {
        const std::optional<ProcessEntry> entry = readEntry(process.id, thread);
        if (!entry)
            isKnown = isKnown && meansGone(errno);
        else if (!std::strchr(states, entry->state))
            return false;
    }
    return isKnown ? std::optional(true) : std::nullopt;
}

} // namespace Utils::Platform
