#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <io.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace Utils::Platform {

// What other programs may do with the file while it is open: as on other systems, all.
static const DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool hasUtf8Paths() { return true; }

/// The error number (errno) for the last error of the system.
static int lastErrorNumber() { return errorNumber(GetLastError()); }

/// Whether the last call of the system has failed because the file system does not support it.
static bool isUnsupported()
{
    const DWORD error = GetLastError(); // one of three, as file systems differ
    return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED ||
           error == ERROR_CALL_NOT_IMPLEMENTED;
}

/// Flushes \p file to the disk, as flushFile(). False, with the error of the system, on failure.
static bool flushToDisk(HANDLE file) { return FlushFileBuffers(file) || isUnsupported(); }

bool flushFile(int file)
{
    if (flushToDisk(reinterpret_cast<HANDLE>(_get_osfhandle(file))))
        return true;
    errno = lastErrorNumber();
    return false;
}

/// The folder of \p path, with its separator, or "" for the current one.
static std::wstring folderOf(const std::wstring &path)
{
    return path.substr(0, path.find_last_of(L"/\\") + 1);
}

struct FileReplacement::State
{
    ~State()
    {
        closeFile();
        if (!temporary.empty())
            DeleteFileW(temporary.c_str());
    }

    /// Stores why a call of the system failed. Returns false.
    bool fail(int newError, Problem newProblem = Problem::System)
    {
        problem = newProblem;
        error = newError;
        return false;
    }

    void closeFile()
    {
        if (file != INVALID_HANDLE_VALUE)
            CloseHandle(file);
        file = INVALID_HANDLE_VALUE;
    }

    bool open(const std::string &givenPath);
    bool create();
    bool overwrite(bool flush);
    bool replace();
    bool protect();

    Problem problem = Problem::None;
    int error = 0;
    bool isNewOnly = false;
    bool isReadOnly = false; // as the file whose permissions are copied
    bool isDirect = false;   // written in place at once
    bool exists = false;
    bool hasOtherNames = false;
    std::wstring path;      // of the target
    std::string name;       // of the target in its folder
    std::wstring temporary; // path of the new content, "" while there is none
    HANDLE file = INVALID_HANDLE_VALUE;
};

bool FileReplacement::State::open(const std::string &givenPath)
{
    if (givenPath.empty() || givenPath.find('\0') != std::string::npos)
        return fail(ENOENT);
    const std::optional<std::string> resolved = canonicalPath(givenPath);
    const std::string target = resolved && !resolved->empty() ? *resolved : givenPath;
    path = toWidePath(target);
    name = target.substr(target.find_last_of("/\\") + 1);
    const EntryStatus status = entryStatus(givenPath, /*followLinks=*/true);
    if (status.entry == Entry::Folder)
        return fail(EISDIR);
    exists = status.entry != Entry::Missing;
    if (exists && isNewOnly)
        return fail(EEXIST);
    if (!exists)
        return create();

    // Shows whether the user may write it, and whether it is a file.
    const HANDLE old = CreateFileW(path.c_str(), GENERIC_WRITE, shareAll, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL, nullptr);
    if (old == INVALID_HANDLE_VALUE)
        return fail(lastErrorNumber());
    if (GetFileType(old) != FILE_TYPE_DISK) {
        isDirect = true;
        file = old;
        return true;
    }
    BY_HANDLE_FILE_INFORMATION information = {};
    hasOtherNames = GetFileInformationByHandle(old, &information) && information.nNumberOfLinks > 1;
    CloseHandle(old);
    return create();
}

/// Whether the file \p path is older than a minute. One that is younger may be that of another
/// replacement, which has closed it a moment ago and is about to rename it.
static bool isOld(const std::wstring &path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return false;
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const auto ticks = [](const FILETIME &time) { // of 100 ns
        return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    };
    const std::int64_t minute = 600000000;
    return ticks(now) - ticks(data.ftLastWriteTime) > minute;
}

/// Whether the file \p path, which cannot be created, has been removed, but is still open.
static bool isBeingRemoved(const std::wstring &path)
{
    const bool isThere = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    return !isThere && lastErrorNumber() == EACCES;
}

/// Creates the file for the new content with the first name that is free. An open file cannot be
/// removed, so an old one that can be removed is left over.
bool FileReplacement::State::create()
{
    const std::wstring folder = folderOf(path);
    const int most = 100;
    for (int i = 0; i < most; ++i) {
        std::wstring candidate = folder + toWide(temporaryName(name, i));
        do {
            file = CreateFileW(candidate.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                               CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
            if (file != INVALID_HANDLE_VALUE) {
                temporary = std::move(candidate); // needs no memory: what is done must not fail
                return true;
            }
            const int number = lastErrorNumber();
            const bool isTaken =
                number == EEXIST || (number == EACCES && isBeingRemoved(candidate));
            if (!isTaken)
                return fail(number, number == EACCES && exists ? Problem::Folder : Problem::System);
        } while (isOld(candidate) && DeleteFileW(candidate.c_str()));
    }
    return fail(EEXIST);
}

/// Copies the new content into the old file, after space for it is set aside.
bool FileReplacement::State::overwrite(bool flush)
{
    const HANDLE old = CreateFileW(path.c_str(), GENERIC_WRITE, shareAll, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size = {};
    const LARGE_INTEGER start = {};
    FILE_ALLOCATION_INFO room = {};
    bool isWritten = old != INVALID_HANDLE_VALUE && GetFileSizeEx(file, &size) &&
                     SetFilePointerEx(file, start, nullptr, FILE_BEGIN);
    if (isWritten) {
        room.AllocationSize = size;
        isWritten = SetFileInformationByHandle(old, FileAllocationInfo, &room, sizeof(room)) ||
                    isUnsupported();
    }
    char block[65536];
    DWORD count = 0;
    while (isWritten && (isWritten = ReadFile(file, block, sizeof(block), &count, nullptr)) &&
           count > 0)
    {
        DWORD written = 0;
        isWritten = WriteFile(old, block, count, &written, nullptr) && written == count;
    }
    isWritten = isWritten && SetEndOfFile(old) && (!flush || flushToDisk(old));
    const int number = isWritten ? 0 : lastErrorNumber();
    if (old != INVALID_HANDLE_VALUE)
        CloseHandle(old);
    return isWritten || fail(number);
}

bool FileReplacement::State::replace()
{
    closeFile();
    // Keeps the attributes and the access control list of the old file. A failed call may have
    // renamed that already, to the name of the backup, or without one to a name that nobody knows.
    const std::wstring backup = exists ? temporary + L"-old" : std::wstring();
    const bool isReplaced =
        (exists && ReplaceFileW(path.c_str(), temporary.c_str(), backup.c_str(),
                                REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr)) ||
        MoveFileExW(temporary.c_str(), path.c_str(),
                    (isNewOnly ? 0 : MOVEFILE_REPLACE_EXISTING) | MOVEFILE_WRITE_THROUGH);
    if (!isReplaced) {
        const int number = lastErrorNumber();
        if (exists) // fails while the old file has its name
            MoveFileExW(backup.c_str(), path.c_str(), MOVEFILE_WRITE_THROUGH);
        return fail(number);
    }
    if (exists)
        DeleteFileW(backup.c_str());
    temporary.clear();
    return true;
}

/// Makes the file read-only at the end, if it is to be so. It was writable: open() has tried it.
bool FileReplacement::State::protect()
{
    if (!isReadOnly)
        return true;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return (attributes != INVALID_FILE_ATTRIBUTES &&
            SetFileAttributesW(path.c_str(), attributes | FILE_ATTRIBUTE_READONLY)) ||
           fail(lastErrorNumber());
}

bool removeOpenFile(const std::string &path)
{
    if (path.empty() || path.find('\0') != std::string::npos)
        return false;
    const std::wstring widePath = toWidePath(path);
    const DWORD attributes = GetFileAttributesW(widePath.c_str());
    const DWORD others =
        FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_REPARSE_POINT;
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & others) != 0)
        return false;
    const HANDLE alone = CreateFileW(widePath.c_str(), DELETE, 0, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    if (alone != INVALID_HANDLE_VALUE)
        CloseHandle(alone);
    if (alone != INVALID_HANDLE_VALUE || GetLastError() != ERROR_SHARING_VIOLATION)
        return false;

    // A file that lets others remove it lets them rename it, too. A kill after that leaves the file
    // with a name that the next replacement removes.
    const std::string name = path.substr(path.find_last_of("/\\:") + 1);
    const std::wstring folder = widePath.substr(0, widePath.find_last_of(L"/\\:") + 1);
    const int most = 100;
    for (int i = 0; i < most; ++i) {
        const std::wstring other = folder + toWide(temporaryName(name, i));
        if (!MoveFileExW(widePath.c_str(), other.c_str(), 0)) {
            const int number = lastErrorNumber();
            if (number == EEXIST || (number == EACCES && isBeingRemoved(other)))
                continue;
            return false;
        }
        return DeleteFileW(other.c_str()) ||
               !MoveFileExW(other.c_str(), widePath.c_str(), MOVEFILE_WRITE_THROUGH);
    }
    return false;
}

FileReplacement::FileReplacement() : m_state(std::make_unique<State>()) {}

FileReplacement::~FileReplacement() = default;

void FileReplacement::requireNewTarget() { m_state->isNewOnly = true; }

bool FileReplacement::copyPermissions(const std::string &path)
{
    if (path.empty() || path.find('\0') != std::string::npos)
        return m_state->fail(ENOENT);
    const DWORD attributes = GetFileAttributesW(toWidePath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return m_state->fail(lastErrorNumber());
    m_state->isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    return true;
}

void FileReplacement::setPermissions(unsigned) {}

bool FileReplacement::open(const std::string &path) { return m_state->open(path); }

bool FileReplacement::write(const char *bytes, std::size_t size)
{
    if (m_state->problem != Problem::None)
        return false;
    const std::size_t largest = 1 << 30;
    while (size > 0) {
        DWORD written = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(size, largest));
        if (!WriteFile(m_state->file, bytes, wanted, &written, nullptr))
            return m_state->fail(lastErrorNumber());
        if (written == 0)
            return m_state->fail(ENOSPC);
        bytes += written;
        size -= written;
    }
    return true;
}

bool FileReplacement::finish(bool flush)
{
    State &state = *m_state;
    if (state.problem != Problem::None || state.file == INVALID_HANDLE_VALUE)
        return false;
    if (state.isDirect) {
        state.closeFile();
        return true;
    }
    if (flush && !flushToDisk(state.file))
        return state.fail(lastErrorNumber());
    return (state.hasOtherNames ? state.overwrite(flush) : state.replace()) && state.protect();
}

std::optional<int> FileReplacement::move(const std::string &, const std::string &) { return {}; }

FileReplacement::Problem FileReplacement::problem() const { return m_state->problem; }

int FileReplacement::error() const { return m_state->error; }

} // namespace Utils::Platform
