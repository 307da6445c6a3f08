#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

// Processes as /proc shows them, for the sources of this folder.

namespace Utils::Platform {

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

/// Whether \p id can be the number of one process other than the first one of the system.
bool isProcessNumber(std::int64_t id);

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

/// The process \p process, or its thread \p thread. std::nullopt when it has ended, with errno
/// ESRCH or ENOENT, and when it cannot be read.
std::optional<ProcessEntry> readEntry(pid_t process, pid_t thread = 0);

/// The names in \p folder that are numbers. Throws std::bad_alloc.
std::vector<pid_t> numbersIn(const char *folder);

/// Whether \p id is listed as a process. Threads have folders, too, but are not listed.
bool isListed(pid_t id);

Presence presence(const ProcessEntry &process);

/// Sends \p signal to this process, but not to another one that has received its number. False when
/// this failed. With \p keepsHandle, a handle opened for it is stored in \p process.
bool send(TreeProcess &process, int signal, bool keepsHandle = false);

/// Whether each thread of \p process is in one of \p states or has ended; std::nullopt when this
/// cannot be read. Throws std::bad_alloc.
std::optional<bool> isInState(const ProcessEntry &process, const char *states);

} // namespace Utils::Platform
