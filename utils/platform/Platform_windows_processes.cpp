#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace Utils::Platform {

void run(const std::string &command)
{
    std::wstring commandLine = toWide(command);
    if (commandLine.empty())
        return;

    // The command inherits no handles and gets no window, so its output is lost.
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                        nullptr, nullptr, &startup, &child))
        return;
    WaitForSingleObject(child.hProcess, INFINITE);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
}

void startChild(const std::function<void()> &start) { start(); }

int errorOfPipes(int) { return 0; }

bool isChild(std::int64_t id) { return id > 1; } // an open handle keeps the number in use

bool killProcessTree(std::int64_t id)
{
    if (id <= 1)
        return false;
    run(killCommandLine(id));
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
