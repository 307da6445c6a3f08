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
static std::atomic<bool> isDrawing = false;
static DWORD plainMode = 0;                         // how its output was, valid while drawing
static std::atomic<UINT> codePage = 0;              // of its output before; 0 when it is the same
static std::atomic<HANDLE> readInterrupt = nullptr; // an event, while a line is read

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

/// Restores the console, which the programs that run after this one share. Called by other threads,
/// too.
static void leave()
{
    if (isLineDrawn.exchange(false))
        writeError(emptyLine);
    if (isListening.exchange(false))
        SetConsoleMode(input(), lineMode);
    if (isDrawing.exchange(false))
        SetConsoleMode(file(Stream::Error), plainMode);
    if (const UINT before = codePage.exchange(0))
        SetConsoleOutputCP(before);
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
    if (const HANDLE interrupt = readInterrupt) {
        SetEvent(interrupt);
        return TRUE;
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
    std::setvbuf(stderr, nullptr, _IONBF, 0); // to files and pipes it has a buffer there
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
    if (!GetConsoleMode(file(Stream::Error), &mode))
        return false;
    if (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING)
        return true;
    plainMode = mode;
    isDrawing = true; // set before the mode, as Ctrl-C may come in between
    return SetConsoleMode(file(Stream::Error), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
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
    // What is still to be written is UTF-8.
    std::atexit([] {
        std::fflush(stdout);
        leave();
    });
    SetConsoleCtrlHandler(onControl, TRUE);
    codePage = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
}

void deferInterrupt(bool on) { isDeferring = on; }
bool wasInterrupted() { return isInterrupted; }

void setInterruptFunction(bool (*interrupt)())
{
    interruptFunction = interrupt;
    wasFunctionCalled = false;
}

static std::string toUtf8(const std::wstring &text)
{
    const auto size = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0'); // as many as it may need
    const int count = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, &bytes[0],
                                          static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

static Typed readText(HANDLE interrupt, std::wstring &line)
{
    const HANDLE events[] = {interrupt, input()};
    for (;;) {
        // A read of the console ends at Ctrl-C, but only at one that comes after its start.
        if (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0)
            return Typed::Interrupted;
        wchar_t text[512];
        DWORD count = 0;
        const bool isRead = ReadConsoleW(input(), text, 512, &count, nullptr);
        const bool isAborted = count == 0 && GetLastError() == ERROR_OPERATION_ABORTED;
        // The handler of Ctrl-C may run a moment after that.
        if (WaitForSingleObject(interrupt, isAborted ? 1000 : 0) == WAIT_OBJECT_0)
            return Typed::Interrupted;
        const wchar_t endKey = 26; // Ctrl-Z
        if (!isRead || count == 0 || (line.empty() && text[0] == endKey))
            return line.empty() ? Typed::End : Typed::Line;
        line.append(text, count);
        if (line.back() == L'\n')
            return Typed::Line;
    }
}

Typed readLine(const std::string &prompt, std::string &line)
{
    static const HANDLE interrupt = CreateEventW(nullptr, /*manual reset*/ TRUE, FALSE, nullptr);
    ResetEvent(interrupt);
    readInterrupt = interrupt;
    std::fputs(prompt.c_str(), stdout);
    std::fflush(stdout);
    std::wstring text;
    const Typed typed = readText(interrupt, text);
    readInterrupt = nullptr;
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r'))
        text.pop_back();
    line = toUtf8(text);
    return typed;
}

void endCancelled()
{
    leave();
    std::_Exit(Cancelled);
}

} // namespace Kelm::Terminal
