// What Windows has of the calls of Unix that tests make. Paths are in the code page of the system,
// as QFile::encodeName() makes them.

#include <cerrno>
#include <cstdint>
#include <ctime>

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
