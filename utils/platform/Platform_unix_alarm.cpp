#include "utils/platform/Platform.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Utils::Platform {

static const long alarmInterval = 20; // in milliseconds

static std::atomic<bool> isAlarmOpen = false;
static timer_t alarmTimer;
static int signalOfAlarm;
static pthread_t alarmThread;
static struct sigaction originalAction;
static void (*alarmFunction)();

static void keepHandler();

static void onSignal(int)
{
    const int error = errno;
    keepHandler();
    alarmFunction();
    errno = error;
}

/// Returns a signal that nothing handles, 0 when there is none. The first and the last real-time
/// signals are the ones that programs take first.
static int findSignal()
{
    for (int number = SIGRTMAX - 3; number > SIGRTMIN + 3; --number) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
            return number;
    }
    return 0;
}

static void installHandler(struct sigaction *previous)
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // a system call that waits ends
    sigaction(signalOfAlarm, &action, previous);
}

/// Installs the handler again when other code has replaced it, or lets system calls go on after it.
static void keepHandler()
{
    struct sigaction action = {};
    if (sigaction(signalOfAlarm, nullptr, &action) != 0)
        return;
    if (action.sa_handler != onSignal || (action.sa_flags & SA_RESTART) != 0)
        installHandler(nullptr);
}

/// Returns whether a timer that signals this thread could be created.
static bool createTimer()
{
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = signalOfAlarm;
    event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
    return timer_create(CLOCK_MONOTONIC, &event, &alarmTimer) == 0;
}

bool openAlarm(void (*onAlarm)())
{
    closeAlarm();
    signalOfAlarm = findSignal();
    if (signalOfAlarm == 0 || !createTimer()) {
        signalOfAlarm = 0;
        return false;
    }
    alarmFunction = onAlarm;
    alarmThread = pthread_self();
    installHandler(&originalAction);
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, signalOfAlarm);
    pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
    isAlarmOpen = true;
    return true;
}

void closeAlarm()
{
    if (!isAlarmOpen.exchange(false))
        return;
    timer_delete(alarmTimer);
    // A signal that was sent before has been handled when that call returns, on its own thread. For
    // another thread the signal stays without effect.
    if (!pthread_equal(alarmThread, pthread_self()))
        originalAction.sa_handler = SIG_IGN;
    sigaction(signalOfAlarm, &originalAction, nullptr);
    signalOfAlarm = 0;
}

int alarmSignal() { return signalOfAlarm; }

void (*replaceAlarmHandler())(int)
{
    if (!isAlarmOpen)
        return nullptr;
    struct sigaction previous = {};
    installHandler(&previous);
    const bool isHandler = previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN &&
                           previous.sa_handler != onSignal;
    return isHandler ? previous.sa_handler : nullptr;
}

static void setTimer(std::chrono::nanoseconds first, long interval)
{
    if (!isAlarmOpen)
        return;
    const int error = errno;
    itimerspec times = {};
    times.it_value.tv_sec = static_cast<time_t>(first.count() / 1'000'000'000);
    times.it_value.tv_nsec = static_cast<long>(first.count() % 1'000'000'000);
    times.it_interval.tv_nsec = interval * 1'000'000;
    timer_settime(alarmTimer, 0, &times, nullptr);
    errno = error;
}

void startAlarm(std::chrono::milliseconds delay)
{
    if (!isAlarmOpen)
        return;
    const int error = errno;
    keepHandler();
    errno = error;
    const std::chrono::nanoseconds soon(1); // 0 would stop the timer
    setTimer(delay.count() > 0 ? std::chrono::nanoseconds(delay) : soon, alarmInterval);
}

void stopAlarm() { setTimer(std::chrono::nanoseconds(0), 0); }

} // namespace Utils::Platform
