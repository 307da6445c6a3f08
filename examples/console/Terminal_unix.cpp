#include "examples/console/Terminal.h"

#include "examples/console/ExitCode.h"

#include <QString>

#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace Kelm::Terminal {

static const char emptyLine[] = "\r\x1b[K"; // to the start of the line, then clear the rest

// Everything that signal handlers read.
static volatile std::sig_atomic_t isLineDrawn = 0;
static volatile std::sig_atomic_t isListening = 0;
static volatile std::sig_atomic_t isDeferring = 0;
static volatile std::sig_atomic_t isInterrupted = 0;
static std::atomic<bool (*)()> interruptFunction = nullptr;
static volatile std::sig_atomic_t wasFunctionCalled = 0;
static termios lineMode;                    // how the terminal was, valid while listening
static std::atomic<bool> isReading = false; // a line, on the thread below
static pthread_t reader;
static sigjmp_buf interruptedRead; // where that thread goes on

static void writeError(const char *bytes, std::size_t size)
{
    // A failure is ignored: there is nowhere to report it.
    while (size > 0) {
        const ssize_t written = write(STDERR_FILENO, bytes, size);
        if (written <= 0)
            return;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

/// Whether the terminal may be read and set, which stops a program in the background.
static bool isInForeground()
{
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground == -1 || foreground == getpgrp();
}

static void stopListening()
{
    if (isListening && isInForeground())
        tcsetattr(STDIN_FILENO, TCSANOW, &lineMode);
    isListening = 0;
}

/// Restores the terminal. Called by signal handlers, too.
static void leave()
{
    if (isLineDrawn)
        writeError(emptyLine, std::strlen(emptyLine));
    isLineDrawn = 0;
    stopListening();
}

/// Returns whether something else than the program ends.
static bool callInterruptFunction()
{
    bool (*const function)() = interruptFunction;
    if (isDeferring || wasFunctionCalled || !function || !function())
        return false;
    wasFunctionCalled = 1;
    return true;
}

/// Ends the read of a line. Returns false when none is read.
static bool endReading()
{
    if (!isReading)
        return false;
    if (pthread_equal(pthread_self(), reader))
        siglongjmp(interruptedRead, 1);
    pthread_kill(reader, SIGINT); // a thread of a script has got the signal
    return true;
}

static void onInterrupt(int)
{
    const int error = errno;
    if (endReading() || callInterruptFunction()) {
        errno = error;
        return;
    }
    if (!isDeferring || isInterrupted)
        endCancelled();
    isInterrupted = 1;
}

static void onEnd(int signal)
{
    leave();
    raise(signal); // with its default action, as the handler was for one signal
}

static void handle(int signal, void (*handler)(int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

/// Restores the terminal before the program is stopped. The next line that is drawn sets it again.
static void onStop(int signal)
{
    const int error = errno;
    leave();
    raise(signal);
    handle(signal, onStop, SA_RESETHAND | SA_NODEFER | SA_RESTART);
    errno = error;
}

static bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void replaceClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0)
            continue;
        // This number is the lowest free one. Reads and writes fail there, as they would without.
        if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream)
            return;
    }
}

static int file(Stream stream)
{
    switch (stream) {
    case Stream::Input:
        return STDIN_FILENO;
    case Stream::Output:
        return STDOUT_FILENO;
    case Stream::Error:
        break;
    }
    return STDERR_FILENO;
}

bool isTerminal(Stream stream) { return isatty(file(stream)); }

std::string errorText(int error) { return qt_error_string(error).toStdString(); }

bool isReaderGone(int error) { return error == EPIPE; }

/// Whether the kind of the terminal has what it takes to redraw a line.
static bool isCapable()
{
    const char *const kind = std::getenv("TERM");
    return kind && *kind && std::strcmp(kind, "dumb") != 0;
}

bool canEdit() { return isTerminal(Stream::Input) && isTerminal(Stream::Output) && isCapable(); }

bool canDraw() { return isTerminal(Stream::Error) && isCapable(); }

int width(Stream stream)
{
    winsize size = {};
    const bool isKnown = ioctl(file(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

void drawLine(const std::string &line)
{
    const std::string bytes = emptyLine + line;
    isLineDrawn = !line.empty();
    writeError(bytes.data(), bytes.size());
}

void listenForKeys(bool on)
{
    if (on == static_cast<bool>(isListening))
        return;
    if (!on) {
        stopListening();
        return;
    }
    if (!isInForeground() || tcgetattr(STDIN_FILENO, &lineMode) != 0)
        return;
    termios keyMode = lineMode;
    keyMode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keyMode.c_cc[VMIN] = 0; // a read returns what there is, and does not wait
    keyMode.c_cc[VTIME] = 0;
    isListening = 1; // set before the mode, as a signal may arrive in between
    if (tcsetattr(STDIN_FILENO, TCSANOW, &keyMode) != 0)
        isListening = 0;
}

void lendTerminal(bool on)
{
    if (!on)
        isListening = 0; // its borrower has restored it
    else if (isInForeground() && tcgetattr(STDIN_FILENO, &lineMode) == 0)
        isListening = 1;
}

bool wasEscapePressed()
{
    if (!isListening)
        return false;
    // Not read unless there is input: while this program was stopped another one may have changed
    // the terminal so that a read waits for a line.
    std::string keys;
    char some[64];
    pollfd ready = {STDIN_FILENO, POLLIN, 0};
    while (isInForeground() && poll(&ready, 1, 0) > 0) {
        const ssize_t count = read(STDIN_FILENO, some, sizeof(some));
        if (count <= 0)
            break;
        keys.append(some, static_cast<std::size_t>(count));
    }

    const char escape = '\x1b';
    bool isPressed = false;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const char next = i + 1 < keys.size() ? keys[i + 1] : '\0';
        isPressed = isPressed || (keys[i] == escape && next != '[' && next != 'O');
    }
    return isPressed;
}

void handleSignals()
{
    // A program that is started in the background may ignore these signals, which is kept.
    if (!isIgnored(SIGINT))
        handle(SIGINT, onInterrupt, SA_RESTART);
    if (!isIgnored(SIGTSTP))
        handle(SIGTSTP, onStop, SA_RESETHAND | SA_NODEFER | SA_RESTART);
    for (const int signal : {SIGHUP, SIGQUIT}) {
        if (!isIgnored(signal))
            handle(signal, onEnd, SA_RESETHAND | SA_NODEFER);
    }
    handle(SIGTERM, onEnd, SA_RESETHAND | SA_NODEFER);
    handle(SIGPIPE, onEnd, SA_RESETHAND | SA_NODEFER);
}

void deferInterrupt(bool on) { isDeferring = on; }
bool wasInterrupted() { return isInterrupted; }

void setInterruptFunction(bool (*interrupt)())
{
    interruptFunction = interrupt;
    wasFunctionCalled = 0;
}

static constexpr ssize_t interrupted = -2;

/// Reads as read() does, or returns interrupted. \p interrupt is SIGINT, which is blocked at all
/// other times: one that arrives before the read ends it, too. Has no objects with destructors, as
/// the signal handler leaves it by a jump.
static ssize_t readByte(char *byte, const sigset_t *interrupt)
{
    if (sigsetjmp(interruptedRead, 1) != 0)
        return interrupted;
    pthread_sigmask(SIG_UNBLOCK, interrupt, nullptr);
    const ssize_t count = read(STDIN_FILENO, byte, 1);
    pthread_sigmask(SIG_BLOCK, interrupt, nullptr);
    return count;
}

static Typed readBytes(std::string &line, const sigset_t *interrupt)
{
    for (;;) {
        char byte = '\0';
        const ssize_t count = readByte(&byte, interrupt);
        if (count == interrupted)
            return Typed::Interrupted;
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return line.empty() ? Typed::End : Typed::Line;
        if (byte == '\n')
            return Typed::Line;
        line += byte;
    }
}

Typed readLine(const std::string &prompt, std::string &line)
{
    line.clear();
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    reader = pthread_self();
    isReading = true;
    std::fputs(prompt.c_str(), stdout);
    std::fflush(stdout);
    const Typed typed = readBytes(line, &interrupt);
    isReading = false;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return typed;
}

void endCancelled()
{
    leave();
    _exit(Cancelled);
}

} // namespace Kelm::Terminal
