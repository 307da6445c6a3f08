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
    // Without a handle and without /proc the number alone must do, as a process that stays stopped
    // would be worse. If another process has received the number, the signal only resumes it.
    if (presence(process.entry) == Presence::Unknown)
        kill(process.entry.id, SIGCONT);
}

/// Waits until each thread of \p processes is in one of \p states or has ended, but not beyond
/// \p end, nor for a process that cannot be read. Throws std::bad_alloc.
static void waitForState(const std::vector<ProcessEntry> &processes, const char *states,
                         Clock::time_point end)
{
    for (const ProcessEntry &process : processes) {
        while (isInState(process, states) == false && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

namespace {

/// Finds the descendants of processes. Functions throw std::bad_alloc.
class DescendantSearch
{
public:
    bool has(const ProcessEntry &process) const
    {
        const auto found = m_starts.find(process.id);
        return found != m_starts.end() && found->second == process.start;
    }

    void add(const ProcessEntry &process) { m_starts[process.id] = process.start; }

    /// Calls \p accept with each process that has not been added and whose parent has been. False
    /// when there is none.
    template <typename Accept>
    bool run(const Accept &accept) const
    {
        bool isFound = false;
        for (const pid_t id : numbersIn("/proc")) {
            const std::optional<ProcessEntry> process = readEntry(id);
            if (!process || has(*process) || m_starts.count(process->parent) == 0)
                continue;
            const std::optional<ProcessEntry> parent = readEntry(process->parent);
            if (parent && has(*parent)) {
                accept(*process);
                isFound = true;
            }
        }
        return isFound;
    }

private:
    std::map<pid_t, unsigned long long> m_starts; // of those that were added
};

} // namespace

/// Stops \p roots and their descendants, except this process, and appends all of them to \p tree,
/// each after its parent if that is no root. Throws std::bad_alloc; \p tree then contains all that
/// were stopped.
static void stopTrees(const std::vector<ProcessEntry> &roots, std::vector<TreeProcess> &tree)
{
    // A process that cannot be stopped may start others without end, so the time is limited.
    const auto end = Clock::now() + std::chrono::seconds(20);
    DescendantSearch search;
    std::vector<ProcessEntry> stopping;
    int numHandles = 0;
    const auto add = [&](const ProcessEntry &process) {
        tree.push_back({process});
        search.add(process);
        stopping.push_back(process);
        TreeProcess &added = tree.back();
        added.isStopped =
            process.id != getpid() && send(added, SIGSTOP, /*keepsHandle=*/numHandles < maxHandles);
        if (!added.isStopped)
            stopping.pop_back();
        if (added.handle.isOpen())
            ++numHandles;
    };

    std::for_each(roots.begin(), roots.end(), add);
    for (bool isGrowing = true; isGrowing && Clock::now() < end;) {
        // A thread that is starting a process completes this before it stops; only then can the
        // child be found. A thread that waits for its child to run another program (state D) stops
        // only after the child did so. As the child may be stopped itself, such a thread is waited
        // for only a short time.
        waitForState(stopping, "TtZX",
                     std::min(end, Clock::now() + std::chrono::milliseconds(100)));
        waitForState(stopping, "TtZXD", end);
        stopping.clear();
        isGrowing = search.run(add);
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

/// Kills \p roots and their descendants. Returns those that were killed.
static std::vector<TreeProcess> killTrees(const std::vector<ProcessEntry> &roots)
{
    std::vector<TreeProcess> tree;
    try {
        stopTrees(roots, tree);
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
    return tree;
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
        tree = killTrees({*root});
    } catch (const std::bad_alloc &) {
        // Nothing was stopped.
    }
    const auto isRoot = [&](const TreeProcess &process) { return process.entry.id == root->id; };
    return std::any_of(tree.begin(), tree.end(), isRoot) || presence(*root) == Presence::Gone;
}

struct ProcessTree::State
{
    DescendantSearch search;
    std::vector<TreeProcess> processes; // the first one is the child itself
    std::size_t numAsked = 0;           // of them, from the first one on
};

ProcessTree::ProcessTree(std::int64_t id) : m_state(std::make_unique<State>())
{
    const std::optional<ProcessEntry> child =
        isProcessNumber(id) ? readEntry(static_cast<pid_t>(id)) : std::nullopt;
    // As long as a child has not been waited for, no other process has its number.
    if (!child || !isChild(id))
        return;
    m_state->search.add(*child);
    m_state->processes.push_back({*child});
    update();
}

ProcessTree::~ProcessTree() = default;

void ProcessTree::update()
{
    State &state = *m_state;
    const auto add = [&](const ProcessEntry &process) {
        state.processes.push_back({process});
        state.search.add(process);
    };
    try {
        while (!state.processes.empty() && state.search.run(add)) {
        }
    } catch (const std::bad_alloc &) {
        // Those that were found are known.
    }
}

bool ProcessTree::ask(bool all)
{
    State &state = *m_state;
    const std::size_t count =
        all ? state.processes.size() : std::min<std::size_t>(state.processes.size(), 1);
    bool isAsked = !state.processes.empty();
    for (; state.numAsked < count; ++state.numAsked) {
        TreeProcess &process = state.processes[state.numAsked];
        const bool isSent = send(process, SIGTERM);
        if (isSent)
            send(process, SIGCONT); // a process that is stopped would not end
        if (state.numAsked == 0)
            isAsked = isSent;
    }
    return isAsked;
}

/// Whether \p process no longer runs; false when this cannot be read. Throws std::bad_alloc.
static bool isEnded(const ProcessEntry &process) { return isInState(process, "ZX") == true; }

bool ProcessTree::hasEnded() const
{
    try {
        return std::all_of(m_state->processes.begin(), m_state->processes.end(),
                           [](const auto &process) { return isEnded(process.entry); });
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void ProcessTree::kill()
{
    try {
        std::vector<ProcessEntry> left;
        for (const TreeProcess &process : m_state->processes) {
            if (!isEnded(process.entry))
                left.push_back(process.entry);
        }
        if (!left.empty())
            killTrees(left);
    } catch (const std::bad_alloc &) {
        // Nothing was stopped.
    }
}

} // namespace Utils::Platform
