#include "utils/platform/Platform.h"

#include "utils/platform/Platform_unix_p.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <map>
#include <new>
#include <thread>

#include <poll.h>

namespace Utils::Platform {

// How many process handles are kept at most, to leave descriptors for other uses here.
static constexpr int maxHandles = 64;

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

} // namespace Utils::Platform
