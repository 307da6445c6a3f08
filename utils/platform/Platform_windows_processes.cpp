#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <vector>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After it, of which it needs types.
#include <tlhelp32.h>

namespace Utils::Platform {

bool run(const wchar_t *name, const std::string &command)
{
    std::wstring commandLine = toWide(command);
    wchar_t folder[MAX_PATH];
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    if (commandLine.empty() || length == 0 || length >= MAX_PATH)
        return false;
    // By the command line alone, a program of that name beside this one or in the current folder
    // would run.
    const std::wstring program = folder + std::wstring(L"\\") + name;

    // The command inherits no handles and gets no window, so its output is lost.
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                        CREATE_NO_WINDOW, nullptr, nullptr, &startup, &child))
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

// The end of a process that has been killed takes time.
static const std::chrono::seconds longestEnd(5);

namespace {

/// A process and its descendants, the parents first. While their handles are open, no other process
/// has their numbers. A Job object would also take what a program leaves running on purpose after
/// its end, and before Windows 8 no process can be in two of them.
class WindowsTree
{
public:
    WindowsTree() = default;
    ~WindowsTree()
    {
        for (const Member &member : m_members)
            CloseHandle(member.handle);
    }
    WindowsTree(const WindowsTree &) = delete;
    WindowsTree &operator=(const WindowsTree &) = delete;

    /// Adds the process \p id. False when that is not possible, also for lack of memory, and for a
    /// process that is not younger than its parent, which has the number of an earlier one.
    bool add(DWORD id, const FILETIME *startOfParent);

    /// Adds the children of the members that are no members yet. False when there are none.
    bool addChildren();

    /// Closes the windows of the members, each member's once.
    void close();

    /// Whether no member runs.
    bool hasEnded() const;

    /// Kills the members, and what they have started meanwhile, and waits for their end. This
    /// process is killed last. False when the first one cannot be killed.
    bool kill();

    /// Waits for the end of the members, except this process, but not longer than \p limit.
    void wait(std::chrono::milliseconds limit) const;

private:
    struct Member
    {
        DWORD id;
        HANDLE handle;
        FILETIME start;
        bool isAsked;
    };
    static bool isRunning(const Member &member);
    const Member *find(DWORD id) const;

    std::vector<Member> m_members;
};

} // namespace

bool WindowsTree::isRunning(const Member &member)
{
    return WaitForSingleObject(member.handle, 0) != WAIT_OBJECT_0;
}

const WindowsTree::Member *WindowsTree::find(DWORD id) const
{
    const auto hasId = [id](const Member &member) { return member.id == id; };
    const auto found = std::find_if(m_members.begin(), m_members.end(), hasId);
    return found == m_members.end() ? nullptr : &*found;
}

bool WindowsTree::add(DWORD id, const FILETIME *startOfParent)
{
    const DWORD rights = PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE;
    const HANDLE process = OpenProcess(rights, FALSE, id);
    if (!process)
        return false;
    FILETIME start = {};
    FILETIME end = {};
    FILETIME kernelTime = {};
    FILETIME userTime = {};
    if (!GetProcessTimes(process, &start, &end, &kernelTime, &userTime) ||
        (startOfParent && CompareFileTime(&start, startOfParent) < 0))
    {
        CloseHandle(process);
        return false;
    }
    try {
        m_members.push_back({id, process, start, false});
    } catch (const std::bad_alloc &) {
        CloseHandle(process);
        return false;
    }
    return true;
}

bool WindowsTree::addChildren()
{
    const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (list == INVALID_HANDLE_VALUE)
        return false;
    bool isAnyAdded = false;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL isThere = Process32FirstW(list, &entry); isThere;
         isThere = Process32NextW(list, &entry)) {
        const Member *const parent = find(entry.th32ParentProcessID);
        if (!parent || find(entry.th32ProcessID))
            continue;
        const FILETIME startOfParent = parent->start;
        isAnyAdded = add(entry.th32ProcessID, &startOfParent) || isAnyAdded;
    }
    CloseHandle(list);
    return isAnyAdded;
}

void WindowsTree::close()
{
    const auto closeWindow = [](HWND window, LPARAM tree) -> BOOL {
        DWORD owner = 0;
        GetWindowThreadProcessId(window, &owner);
        const Member *const member = reinterpret_cast<const WindowsTree *>(tree)->find(owner);
        if (member && !member->isAsked)
            PostMessageW(window, WM_CLOSE, 0, 0);
        return TRUE;
    };
    EnumWindows(closeWindow, reinterpret_cast<LPARAM>(this));
    for (Member &member : m_members)
        member.isAsked = true;
}

bool WindowsTree::hasEnded() const
{
    return std::none_of(m_members.begin(), m_members.end(), isRunning);
}

bool WindowsTree::kill()
{
    const DWORD own = GetCurrentProcessId();
    std::size_t next = 0;
    do {
        for (; next < m_members.size(); ++next) {
            const Member &member = m_members[next];
            const bool isKilled =
                member.id == own || TerminateProcess(member.handle, 1) || !isRunning(member);
            if (!isKilled && next == 0)
                return false;
        }
    } while (addChildren());
    wait(longestEnd);
    if (find(own))
        TerminateProcess(GetCurrentProcess(), 1);
    return true;
}

void WindowsTree::wait(std::chrono::milliseconds limit) const
{
    const auto end = std::chrono::steady_clock::now() + limit;
    for (const Member &member : m_members) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (member.id != GetCurrentProcessId() && left.count() > 0)
            WaitForSingleObject(member.handle, static_cast<DWORD>(left.count()));
    }
}

static bool isProcessId(std::int64_t id)
{
    const std::int64_t largest = MAXDWORD;
    return id > 1 && id <= largest;
}

bool killProcessTree(std::int64_t id)
{
    if (!isProcessId(id))
        return false;
    // Found before: the command does not wait, and who has lost its parent cannot be found later.
    WindowsTree tree;
    const bool isKnown = tree.add(static_cast<DWORD>(id), nullptr);
    while (isKnown && tree.addChildren()) {
    }
    if (run(L"taskkill.exe", killCommandLine(id))) {
        tree.wait(longestEnd);
        return true;
    }
    return isKnown && tree.kill();
}

struct ProcessTree::State
{
    WindowsTree tree;
};

ProcessTree::ProcessTree(std::int64_t id) : m_state(std::make_unique<State>())
{
    if (isProcessId(id) && m_state->tree.add(static_cast<DWORD>(id), nullptr))
        update();
}

ProcessTree::~ProcessTree() = default;

void ProcessTree::update()
{
    while (m_state->tree.addChildren()) {
    }
}

bool ProcessTree::ask(bool all)
{
    if (!all)
        return false; // Qt closes the windows of one process
    m_state->tree.close();
    return true;
}

bool ProcessTree::hasEnded() const { return m_state->tree.hasEnded(); }

void ProcessTree::kill()
{
    if (!hasEnded())
        m_state->tree.kill();
}

std::string commandLine(const std::vector<std::string> &words) { return windowsCommandLine(words); }

std::optional<bool> tryInCopy(const std::function<bool()> &, std::chrono::milliseconds)
{
    return {};
}

} // namespace Utils::Platform
