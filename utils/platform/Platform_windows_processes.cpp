#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#include <algorithm>
#include <chrono>
#include <vector>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After it, of which it needs types.
#include <tlhelp32.h>

namespace Utils::Platform {

bool run(const std::string &command)
{
    std::wstring commandLine = toWide(command);
    if (commandLine.empty())
        return false;

    // The command inherits no handles and gets no window, so its output is lost.
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                        nullptr, nullptr, &startup, &child))
        return false;
    DWORD exitCode = 1;
    const bool hasEnded = WaitForSingleObject(child.hProcess, INFINITE) == WAIT_OBJECT_0 &&
                          GetExitCodeProcess(child.hProcess, &exitCode);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    return hasEnded && exitCode == 0;
}

void startChild(const std::function<void()> &start) { start(); }

int errorOfPipes(int) { return 0; }

bool isChild(std::int64_t id) { return id > 1; } // an open handle keeps the number in use

namespace {

/// The processes of a tree. While their handles are open, no other process has their numbers.
class KilledTree
{
public:
    KilledTree() = default;
    ~KilledTree()
    {
        for (const Member &member : m_members)
            CloseHandle(member.handle);
    }
    KilledTree(const KilledTree &) = delete;
    KilledTree &operator=(const KilledTree &) = delete;

    /// Kills the process \p id and adds it. False when that is not possible, and for a process
    /// that is not younger than its parent, which has the number of an earlier one.
    bool kill(DWORD id, const FILETIME *startOfParent);

    /// Kills the children of the members that are no members yet. False when there are none.
    bool killChildren();

    /// Waits for the end of all members but this process.
    void wait(std::chrono::milliseconds limit) const;

    bool hasThisProcess() const { return m_hasThisProcess; }

private:
    struct Member
    {
        DWORD id;
        HANDLE handle;
        FILETIME start;
    };
    const Member *find(DWORD id) const;

    std::vector<Member> m_members;
    bool m_hasThisProcess = false;
};

} // namespace

const KilledTree::Member *KilledTree::find(DWORD id) const
{
    const auto hasId = [id](const Member &member) { return member.id == id; };
    const auto found = std::find_if(m_members.begin(), m_members.end(), hasId);
    return found == m_members.end() ? nullptr : &*found;
}

bool KilledTree::kill(DWORD id, const FILETIME *startOfParent)
{
    const DWORD rights = PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE;
    const HANDLE process = OpenProcess(rights, FALSE, id);
    if (!process)
        return false;
    FILETIME start = {};
    FILETIME end = {};
    FILETIME kernelTime = {};
    FILETIME userTime = {};
    const bool isMember = GetProcessTimes(process, &start, &end, &kernelTime, &userTime) &&
                          (!startOfParent || CompareFileTime(&start, startOfParent) >= 0);
    const bool isThisProcess = id == GetCurrentProcessId();
    if (!isMember || (!isThisProcess && !TerminateProcess(process, 1) &&
                      WaitForSingleObject(process, 0) != WAIT_OBJECT_0))
    {
        CloseHandle(process);
        return false;
    }
    m_hasThisProcess = m_hasThisProcess || isThisProcess;
    m_members.push_back({id, process, start});
    return true;
}

bool KilledTree::killChildren()
{
    const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (list == INVALID_HANDLE_VALUE)
        return false;
    bool isAnyKilled = false;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL isThere = Process32FirstW(list, &entry); isThere;
         isThere = Process32NextW(list, &entry)) {
        const Member *const parent = find(entry.th32ParentProcessID);
        if (!parent || find(entry.th32ProcessID))
            continue;
        const FILETIME startOfParent = parent->start;
        isAnyKilled = kill(entry.th32ProcessID, &startOfParent) || isAnyKilled;
    }
    CloseHandle(list);
    return isAnyKilled;
}

void KilledTree::wait(std::chrono::milliseconds limit) const
{
    const auto end = std::chrono::steady_clock::now() + limit;
    for (const Member &member : m_members) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (member.id != GetCurrentProcessId() && left.count() > 0)
            WaitForSingleObject(member.handle, static_cast<DWORD>(left.count()));
    }
}

bool killProcessTree(std::int64_t id)
{
    const std::int64_t largest = MAXDWORD;
    if (id <= 1 || id > largest)
        return false;
    if (run(killCommandLine(id)))
        return true;

    KilledTree tree;
    if (!tree.kill(static_cast<DWORD>(id), nullptr))
        return false;
    while (tree.killChildren()) {
    }
    tree.wait(std::chrono::seconds(5));
    if (tree.hasThisProcess())
        TerminateProcess(GetCurrentProcess(), 1);
    return true;
}

/// Holds a handle of the process, so that its number is not used again.
struct ProcessTree::State
{
    std::int64_t id;
    HANDLE process;
    bool isAsked = false;
};

ProcessTree::ProcessTree(std::int64_t id) : m_state(new State{id, nullptr})
{
    if (id > 1)
        m_state->process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(id));
}

ProcessTree::~ProcessTree()
{
    if (m_state->process)
        CloseHandle(m_state->process);
}

void ProcessTree::update() {}

bool ProcessTree::ask(bool all)
{
    if (!all || !m_state->process)
        return false; // Qt closes the windows of one process
    if (!m_state->isAsked)
        run("taskkill /PID " + std::to_string(m_state->id) + " /T");
    m_state->isAsked = true;
    return true;
}

bool ProcessTree::hasEnded() const
{
    return !m_state->process || WaitForSingleObject(m_state->process, 0) == WAIT_OBJECT_0;
}

void ProcessTree::kill()
{
    if (!hasEnded())
        killProcessTree(m_state->id);
}

std::string commandLine(const std::vector<std::string> &words) { return windowsCommandLine(words); }

std::optional<bool> tryInCopy(const std::function<bool()> &, std::chrono::milliseconds)
{
    return {};
}

} // namespace Utils::Platform
