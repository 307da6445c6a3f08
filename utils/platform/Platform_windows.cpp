#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#include <cerrno>
#include <cstdlib>
#include <vector>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace Utils::Platform {

static bool isUsable(const std::string &path)
{
    return !path.empty() && path.find('\0') == std::string::npos;
}

std::wstring toWide(const std::string &text)
{
    const int bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), length);
    return wide;
}

static std::string fromWide(const std::wstring &wide)
{
    const int units = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(), length, nullptr, nullptr);
    return text;
}

std::FILE *openFile(const std::string &path, const char *mode)
{
    if (!isUsable(path)) {
        errno = ENOENT;
        return nullptr;
    }
    const std::wstring widePath = toWide(path);
    const std::wstring wideMode = toWide(mode);
    errno = 0;
    std::FILE *const file = _wfopen(widePath.c_str(), wideMode.c_str());
    if (file)
        errno = 0;
    return file;
}

bool seekFile(std::FILE *file, std::int64_t position)
{
    return _fseeki64(file, position, SEEK_SET) == 0;
}

static bool isMissing(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
           error == ERROR_INVALID_NAME || error == ERROR_NOT_READY;
}

/// Opens a file or folder, following links, to read its properties.
static HANDLE openForStatus(const std::wstring &path)
{
    return CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

/// Whether the reparse point \p path is a link to another path. Files that are stored elsewhere,
/// such as in a cloud, are reparse points, too.
static bool isLink(const std::wstring &path)
{
    WIN32_FIND_DATAW data = {};
    const HANDLE search = FindFirstFileW(path.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return true;
    FindClose(search);
    return data.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
           data.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT;
}

EntryStatus entryStatus(const std::string &path, bool followLinks)
{
    if (!isUsable(path))
        return {};
    const std::wstring widePath = toWide(path);
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(widePath.c_str(), GetFileExInfoStandard, &data))
        return {isMissing(GetLastError()) ? Entry::Missing : Entry::Unknown, 0, 0};

    if (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) {
        if (!followLinks && isLink(widePath))
            return {Entry::Link, 0, 0};
        const HANDLE file = openForStatus(widePath);
        if (file == INVALID_HANDLE_VALUE)
            return {isMissing(GetLastError()) ? Entry::Missing : Entry::Unknown, 0, 0};
        BY_HANDLE_FILE_INFORMATION target = {};
        const bool isKnown = GetFileInformationByHandle(file, &target);
        CloseHandle(file);
        if (!isKnown)
            return {Entry::Unknown, 0, 0};
        data.dwFileAttributes = target.dwFileAttributes;
        data.ftLastWriteTime = target.ftLastWriteTime;
        data.nFileSizeHigh = target.nFileSizeHigh;
        data.nFileSizeLow = target.nFileSizeLow;
    }

    const auto joined = [](DWORD high, DWORD low) {
        return static_cast<std::int64_t>((static_cast<std::uint64_t>(high) << 32) | low);
    };
    const std::int64_t epoch = 11644473600000; // of Unix, in milliseconds since 1601
    const std::int64_t modified =
        joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime) / 10000;
    const bool isFolder = data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
    return {isFolder ? Entry::Folder : Entry::File, joined(data.nFileSizeHigh, data.nFileSizeLow),
            modified - epoch};
}

std::optional<std::string> canonicalPath(const std::string &path)
{
    if (!isUsable(path))
        return std::string();
    const HANDLE file = openForStatus(toWide(path));
    if (file == INVALID_HANDLE_VALUE) {
        if (isMissing(GetLastError()))
            return std::string();
        return std::nullopt;
    }
    std::wstring resolved(32768, L'\0'); // no path is longer
    const DWORD length = GetFinalPathNameByHandleW(file, resolved.data(), 32768, 0);
    CloseHandle(file);
    if (length == 0 || length >= resolved.size())
        return std::nullopt;
    resolved.resize(length);
    if (resolved.compare(0, 8, L"\\\\?\\UNC\\") == 0)
        resolved.replace(0, 8, L"\\\\");
    else if (resolved.compare(0, 4, L"\\\\?\\") == 0)
        resolved.erase(0, 4);
    std::replace(resolved.begin(), resolved.end(), L'\\', L'/');
    return fromWide(resolved);
}

bool listFolder(const std::string &, const std::function<bool(const FolderEntry &)> &)
{
    return false;
}

CopyResult copyToNewFile(const std::string &, const std::string &, std::int64_t)
{
    return CopyResult::NotTried;
}

std::optional<FileVersion> fileVersion(const std::string &path)
{
    if (!isUsable(path))
        return {};
    const std::wstring widePath = toWide(path);
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(widePath.c_str(), &ignored);
    if (size == 0)
        return {};
    std::vector<unsigned char> resource(size);
    if (!GetFileVersionInfoW(widePath.c_str(), 0, size, resource.data()))
        return {};

    void *block = nullptr;
    UINT blockSize = 0;
    if (!VerQueryValueW(resource.data(), L"\\", &block, &blockSize) ||
        blockSize < sizeof(VS_FIXEDFILEINFO))
        return {};
    const auto *const info = static_cast<const VS_FIXEDFILEINFO *>(block);
    return FileVersion{HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                       HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS)};
}

void moveReplacing(const std::string &source, const std::string &target)
{
    if (isUsable(source) && isUsable(target))
        run(moveCommandLine(source, target));
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const HANDLE file = CreateFileW(toWide(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    return file != INVALID_HANDLE_VALUE; // stays open, see the header
}

std::string sharedDataFolder()
{
    const wchar_t *const folder = _wgetenv(L"ALLUSERSPROFILE");
    return folder ? fromWide(folder) : std::string();
}

void makeSymbolsGlobal(const void *) {}

std::string localeCodeset() { return {}; }

bool hasSortedSettings() { return false; }

bool callAtThreadEnd(void (*function)(void *), void *argument)
{
    static void (*const called)(void *) = function;
    static const DWORD key = FlsAlloc([](void *value) { called(value); });
    return key != FLS_OUT_OF_INDEXES && FlsSetValue(key, argument);
}

void useLargePages(void *, std::size_t) {}

} // namespace Utils::Platform
