#include "examples/console/Terminal.h"

#include "examples/console/ExitCode.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace Kelm::Terminal {

static const char emptyLine[] = "\r\x1b[K"; // to the start of the line, then clear the rest

// Ctrl-C is handled in another thread.
static std::atomic<bool> isLineDrawn = false;
static std::atomic<bool> isListening = false;
static std::atomic<bool> isDeferring = false;
static std::atomic<bool> isInterrupted = false;
static std::atomic<bool (*)()> interruptFunction = nullptr;
static std::atomic<bool> wasFunctionCalled = false;
static DWORD lineMode = 0; // how the console was, valid while listening

static HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

static HANDLE file(Stream stream)
{
    if (stream == Stream::Input)
        return input();
    return GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

static void writeError(const std::string &bytes)
{
    DWORD written = 0;
    WriteFile(file(Stream::Error), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
              nullptr);
}

/// Restores the console.
static void leave()
{
    if (isLineDrawn.exchange(false))
        writeError(emptyLine);
    if (isListening.exchange(false))
        SetConsoleMode(input(), lineMode);
}

/// Returns whether something else than the program ends.
static bool callInterruptFunction()
{
    bool (*const function)() = interruptFunction;
    if (isDeferring || wasFunctionCalled || !function || !function())
        return false;
    wasFunctionCalled = true;
    return true;
}

static BOOL WINAPI onControl(DWORD event)
{
    if (event != CTRL_C_EVENT) {
        leave();
        return FALSE; // the system's own handler ends the program
    }
    if (callInterruptFunction())
        return TRUE;
    if (!isDeferring || isInterrupted.exchange(true))
        endCancelled();
    return TRUE;
}

void replaceClosedStreams() // handles of files have no fixed numbers, so none is replaced
{
    for (std::FILE *const stream : {stdout, stderr})
        _setmode(_fileno(stream), _O_BINARY);
}

bool isTerminal(Stream stream)
{
    DWORD mode = 0;
    return GetConsoleMode(file(stream), &mode);
}

bool canEdit() { return isTerminal(Stream::Input) && isTerminal(Stream::Output); }

std::string errorText(int error) { return std::strerror(error); }

bool isReaderGone(int error)
{
    // The C library has no number for a pipe that is being closed.
    return error == EPIPE ||
           (error == EINVAL && GetFileType(file(Stream::Output)) == FILE_TYPE_PIPE);
}

bool canDraw()
{
    DWORD mode = 0;
    return GetConsoleMode(file(Stream::Error), &mode) &&
           SetConsoleMode(file(Stream::Error), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

int width(Stream stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    const bool isKnown = GetConsoleScreenBufferInfo(file(stream), &info);
    return isKnown ? info.srWindow.Right - info.srWindow.Left + 1 : 80;
}

void drawLine(const std::string &line)
{
    isLineDrawn = !line.empty();
    writeError(emptyLine + line);
}

void listenForKeys(bool on)
{
    if (on == isListening)
        return;
    if (!on) {
        SetConsoleMode(input(), lineMode);
        isListening = false;
        return;
    }
    if (!GetConsoleMode(input(), &lineMode))
        return;
    const DWORD keyMode = lineMode & ~static_cast<DWORD>(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT);
    isListening = SetConsoleMode(input(), keyMode);
}

void lendTerminal(bool) {} // the console itself edits lines

bool wasEscapePressed()
{
    bool isPressed = false;
    INPUT_RECORD record = {};
    DWORD count = 0;
    while (isListening && GetNumberOfConsoleInputEvents(input(), &count) && count > 0 &&
           ReadConsoleInputW(input(), &record, 1, &count) && count > 0)
    {
        const KEY_EVENT_RECORD &key = record.Event.KeyEvent;
        isPressed = isPressed || (record.EventType == KEY_EVENT && key.bKeyDown &&
                                  key.wVirtualKeyCode == VK_ESCAPE);
    }
    return isPressed;
}

void handleSignals()
{
    SetConsoleOutputCP(CP_UTF8);
    SetConsoleCtrlHandler(onControl, TRUE);
}

void deferInterrupt(bool on) { isDeferring = on; }
bool wasInterrupted() { return isInterrupted; }

void setInterruptFunction(bool (*interrupt)())
{
    interruptFunction = interrupt;
    wasFunctionCalled = false;
}

void endReadsAtInterrupt(bool) {}

void endCancelled()
{
    leave();
    std::_Exit(Cancelled);
}

} // namespace Kelm::Terminal
