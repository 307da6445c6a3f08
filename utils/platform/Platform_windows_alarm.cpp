#include "utils/platform/Platform.h"

#include <algorithm>
#include <atomic>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace Utils::Platform {

static const DWORD alarmInterval = 20; // in milliseconds
static const DWORD never = 0xfffffffe; // 49 days

static std::atomic<bool> isAlarmOpen = false;
static HANDLE alarmTimer;
static HANDLE alarmThread;
static void (*alarmFunction)();

static void CALLBACK onTimer(void *, BOOLEAN)
{
    alarmFunction();
    CancelSynchronousIo(alarmThread);
}

bool openAlarm(void (*onAlarm)())
{
    closeAlarm();
    alarmFunction = onAlarm;
    if (!DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &alarmThread,
                         THREAD_TERMINATE, FALSE, 0))
        return false;
    if (!CreateTimerQueueTimer(&alarmTimer, nullptr, onTimer, nullptr, never, alarmInterval,
                               WT_EXECUTEINTIMERTHREAD))
    {
        CloseHandle(alarmThread);
        return false;
    }
    isAlarmOpen = true;
    return true;
}

void closeAlarm()
{
    if (!isAlarmOpen.exchange(false))
        return;
    DeleteTimerQueueTimer(nullptr, alarmTimer, INVALID_HANDLE_VALUE); // waits for the function
    CloseHandle(alarmThread);
}

int alarmSignal() { return 0; }

void (*replaceAlarmHandler())(int) { return nullptr; }

void startAlarm(std::chrono::milliseconds delay)
{
    if (!isAlarmOpen)
        return;
    const auto first = std::clamp<std::chrono::milliseconds::rep>(delay.count(), 0, never);
    ChangeTimerQueueTimer(nullptr, alarmTimer, static_cast<ULONG>(first), alarmInterval);
}

void stopAlarm()
{
    if (isAlarmOpen)
        ChangeTimerQueueTimer(nullptr, alarmTimer, never, alarmInterval);
}

} // namespace Utils::Platform
