// What Windows has of the calls of Unix and of Qt that tests make. Paths are in the code page of
// the system, as QFile::encodeName() makes them.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include <dlfcn.h>
#include <process.h>
#include <sys/stat.h>
#include <unistd.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

static int result(bool isDone)
{
    if (isDone)
        return 0;
    errno = GetLastError() == ERROR_FILE_NOT_FOUND ? ENOENT : EACCES;
    return -1;
}

int link(const char *path, const char *newPath)
{
    return result(CreateHardLinkA(newPath, path, nullptr));
}

int utimensat(int, const char *path, const timespec *times, int)
{
    const std::int64_t ticksOfSecond = 10000000;
    const std::int64_t epoch = 11644473600; // of Unix, in seconds since 1601
    FILETIME fileTimes[2] = {};
    for (int i = 0; i < 2; ++i) {
        const std::int64_t time =
            (times[i].tv_sec + epoch) * ticksOfSecond + times[i].tv_nsec / 100;
        fileTimes[i] = {static_cast<DWORD>(time),
                        static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32)};
    }
    const HANDLE file = CreateFileA(path, FILE_WRITE_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return result(false);
    const bool isSet =
        SetFileTime(file, nullptr, times[0].tv_nsec == UTIME_OMIT ? nullptr : fileTimes,
                    times[1].tv_nsec == UTIME_OMIT ? nullptr : fileTimes + 1);
    CloseHandle(file);
    return result(isSet);
}

namespace {

struct Call
{
    void (*function)(void *);
    void *context;
};

} // namespace

static unsigned __stdcall runCall(void *call)
{
    const auto *const called = static_cast<const Call *>(call);
    called->function(called->context);
    return 0;
}

void runOnStack(unsigned bytes, void (*function)(void *), void *context)
{
    Call call = {function, context};
    const std::uintptr_t thread =
        _beginthreadex(nullptr, bytes, runCall, &call, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0)
        return;
    const HANDLE handle = reinterpret_cast<HANDLE>(thread);
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
}

void *dlopen(const char *path, int) { return LoadLibraryA(path); }

void *dlsym(void *library, const char *name)
{
    return library ? reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name))
                   : nullptr;
}

const char *dlerror()
{
    static char text[32];
    std::snprintf(text, sizeof(text), "error %lu", GetLastError());
    return text;
}

int dlclose(void *library) { return FreeLibrary(static_cast<HMODULE>(library)) ? 0 : -1; }
