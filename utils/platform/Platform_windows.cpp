#include "utils/platform/Platform.h"

#include "utils/platform/Platform_windows_p.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <io.h>

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

/// The absolute path for \p path, with "\" only and without "." and ".."; "" when it cannot be
/// determined.
static std::wstring fullPath(const std::wstring &path)
{
    const DWORD room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(room, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), room, full.data(), nullptr);
    full.resize(length < room ? length : 0);
    return full;
}

/// The path \p path with a prefix that lifts the limit of 260 characters, if it comes near to it.
/// With the prefix, the system neither resolves "." and ".." nor knows "/".
std::wstring toWidePath(const std::string &path)
{
    const std::size_t longest = 200; // leaves room for a name in the folder
    std::wstring wide = toWide(path);
    const auto hasPrefix = [](const std::wstring &text) {
        return text.rfind(LR"(\\?\)", 0) == 0 || text.rfind(LR"(\\.\)", 0) == 0;
    };
    if (hasPrefix(wide)) {
        std::replace(wide.begin(), wide.end(), L'/', L'\\'); // of names that were added
        return wide;
    }
    const std::wstring full = fullPath(wide); // a relative path is as long as its folder makes it
    // A prefix may have been written with "/", and a device gets one.
    if (full.size() < longest || hasPrefix(full))
        return full.size() < longest ? wide : full;
    const bool isOnServer = full.rfind(LR"(\\)", 0) == 0;
    return isOnServer ? LR"(\\?\UNC)" + full.substr(1) : LR"(\\?\)" + full;
}

int errorNumber(unsigned long code)
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_PATHNAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_NOT_READY:
        return ENOENT;
    case ERROR_DIRECTORY:
        return ENOTDIR;
    case ERROR_FILENAME_EXCED_RANGE:
        return ENAMETOOLONG;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_PRIVILEGE_NOT_HELD:
        return EACCES;
    case ERROR_WRITE_PROTECT:
        return EROFS;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case 1295: // ERROR_DISK_QUOTA_EXCEEDED, which not every header has
        return ENOSPC;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return ENOMEM;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return EEXIST;
    case ERROR_TOO_MANY_OPEN_FILES:
        return EMFILE;
    default:
        return EIO;
    }
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

/// Opens a file to read it, and returns its descriptor or -1. Unlike those of _wfopen(), its handle
/// lets others rename and remove the file, as every system but this one does.
static int openDescriptor(const std::wstring &path, int textMode)
{
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = errorNumber(GetLastError());
        return -1;
    }
    const int descriptor =
        _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_RDONLY | textMode);
    if (descriptor < 0)
        CloseHandle(handle);
    return descriptor;
}

static std::FILE *openToRead(const std::wstring &path, const char *mode)
{
    const int descriptor = openDescriptor(path, std::strchr(mode, 'b') ? _O_BINARY : _O_TEXT);
    if (descriptor < 0)
        return nullptr;
    std::FILE *const file = _fdopen(descriptor, mode);
    if (!file) {
        const int error = errno;
        _close(descriptor);
        errno = error;
    }
    return file;
}

std::FILE *openFile(const std::string &path, const char *mode)
{
    if (!isUsable(path)) {
        errno = ENOENT;
        return nullptr;
    }
    const std::wstring widePath = toWidePath(path);
    const bool isToRead = *mode == 'r' && !std::strchr(mode, '+');
    errno = 0;
    std::FILE *const file =
        isToRead ? openToRead(widePath, mode) : _wfopen(widePath.c_str(), toWide(mode).c_str());
    if (file) {
        errno = 0;
        return file;
    }
    const int error = errno;
    const DWORD attributes = GetFileAttributesW(widePath.c_str());
    const bool isFolder =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (isFolder) // the system tells it by various errors, such as for "folder/"
        errno = EISDIR;
    else
        errno = error == EINVAL ? ENOENT : error; // a character that no name has
    return nullptr;
}

int openShared(const std::string &path)
{
    return isUsable(path) ? openDescriptor(toWidePath(path), _O_BINARY) : -1;
}

bool seekFile(std::FILE *file, std::int64_t position)
{
    return _fseeki64(file, position, SEEK_SET) == 0;
}

static bool isMissing(DWORD error) { return errorNumber(error) == ENOENT; }

/// Opens a file or folder to read its properties. Without other \p flags, links are followed.
static HANDLE openForStatus(const std::wstring &path, DWORD flags = 0)
{
    return CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
}

/// Whether the reparse point \p path is a link to another path, or of a kind that the system does
/// not tell, as Wine. Files that are stored elsewhere, such as in a cloud, are reparse points, too.
static bool isLink(const std::wstring &path)
{
    WIN32_FIND_DATAW data = {};
    const HANDLE search = FindFirstFileW(path.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return true;
    FindClose(search);
    return data.dwReserved0 == 0 || data.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
           data.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT;
}

/// The status of an entry that cannot be examined because of \p error.
static EntryStatus failedStatus(DWORD error)
{
    errno = errorNumber(error);
    return {isMissing(error) ? Entry::Missing : Entry::Unknown, 0, 0};
}

EntryStatus entryStatus(const std::string &path, bool followLinks)
{
    if (!isUsable(path))
        return {};
    const std::wstring widePath = toWidePath(path);
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(widePath.c_str(), GetFileExInfoStandard, &data))
        return failedStatus(GetLastError());

    if (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) {
        if (!followLinks && isLink(widePath))
            return {Entry::Link, 0, 0};
        const HANDLE file = openForStatus(widePath);
        if (file == INVALID_HANDLE_VALUE)
            return failedStatus(GetLastError());
        BY_HANDLE_FILE_INFORMATION target = {};
        const bool isKnown = GetFileInformationByHandle(file, &target);
        const DWORD error = GetLastError();
        CloseHandle(file);
        if (!isKnown)
            return failedStatus(error);
        data.dwFileAttributes = target.dwFileAttributes;
        data.ftLastWriteTime = target.ftLastWriteTime;
        data.nFileSizeHigh = target.nFileSizeHigh;
        data.nFileSizeLow = target.nFileSizeLow;
    }

    const auto joined = [](DWORD high, DWORD low) {
        return static_cast<std::int64_t>((static_cast<std::uint64_t>(high) << 32) | low);
    };
    const std::int64_t epoch = 11644473600000; // of Unix, in milliseconds since 1601
    const std::int64_t ticks =                 // of 100 nanoseconds
        joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
    const bool isFolder = data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
    EntryStatus status;
    status.entry = isFolder ? Entry::Folder : Entry::File;
    status.size = joined(data.nFileSizeHigh, data.nFileSizeLow);
    status.modified = ticks / 10000 - epoch;
    status.changed = static_cast<std::uint64_t>(ticks);
    return status;
}

EntryStatus openFileStatus(int) { return {Entry::Unknown}; }

/// The long path of the open file or folder \p file, with its prefix and in its own case; "" when
/// it cannot be determined.
static std::wstring finalPath(HANDLE file)
{
    const DWORD longest = 32768; // no path is longer
    std::wstring path(longest, L'\0');
    const DWORD length = GetFinalPathNameByHandleW(file, path.data(), longest, 0);
    if (length == 0 || length >= longest)
        return {};
    path.resize(length);
    std::wstring withLongNames(longest, L'\0');
    const DWORD longLength = GetLongPathNameW(path.c_str(), withLongNames.data(), longest);
    if (longLength == 0 || longLength >= longest)
        return path;
    withLongNames.resize(longLength);
    return withLongNames;
}

std::optional<std::string> canonicalPath(const std::string &path)
{
    if (!isUsable(path))
        return std::string();
    const HANDLE file = openForStatus(toWidePath(path));
    if (file == INVALID_HANDLE_VALUE) {
        if (isMissing(GetLastError()))
            return std::string();
        return std::nullopt;
    }
    std::wstring resolved = finalPath(file);
    CloseHandle(file);
    if (resolved.empty())
        return std::nullopt;
    if (resolved.compare(0, 8, L"\\\\?\\UNC\\") == 0)
        resolved.replace(0, 8, L"\\\\");
    else if (resolved.compare(0, 4, L"\\\\?\\") == 0)
        resolved.erase(0, 4);
    std::replace(resolved.begin(), resolved.end(), L'\\', L'/');
    return fromWide(resolved);
}

namespace {

enum class Compared
{
    Files,  ///< which may have several names
    Entries ///< each name is one; a link at the second path is not followed
};

} // namespace

/// Whether each of the bytes of \p id is 0, or each is 255: then it is the number of no file.
static bool isNoNumber(const FILE_ID_128 &id)
{
    const auto &bytes = id.Identifier;
    const auto isFirst = [&](BYTE byte) { return byte == bytes[0]; };
    return (bytes[0] == 0 || bytes[0] == 255) &&
           std::all_of(std::begin(bytes), std::end(bytes), isFirst);
}

/// Whether two open files have the same number on the same volume. No value when the system does
/// not number them, as some servers.
static std::optional<bool> haveSameNumber(HANDLE a, HANDLE b)
{
    // Before Windows 8, and by some servers, there are only the numbers of 64 bits. On a volume of
    // ReFS those are not unique.
    FILE_ID_INFO idOfA = {};
    FILE_ID_INFO idOfB = {};
    if (GetFileInformationByHandleEx(a, FileIdInfo, &idOfA, sizeof(idOfA)) &&
        GetFileInformationByHandleEx(b, FileIdInfo, &idOfB, sizeof(idOfB)) &&
        !isNoNumber(idOfA.FileId) && !isNoNumber(idOfB.FileId))
    {
        return idOfA.VolumeSerialNumber == idOfB.VolumeSerialNumber &&
               std::memcmp(&idOfA.FileId, &idOfB.FileId, sizeof(FILE_ID_128)) == 0;
    }

    BY_HANDLE_FILE_INFORMATION ofA = {};
    BY_HANDLE_FILE_INFORMATION ofB = {};
    if (!GetFileInformationByHandle(a, &ofA) || !GetFileInformationByHandle(b, &ofB))
        return std::nullopt;
    const auto isNumbered = [](const BY_HANDLE_FILE_INFORMATION &file) {
        return (file.nFileIndexHigh | file.nFileIndexLow) != 0 &&
               (file.nFileIndexHigh & file.nFileIndexLow) != MAXDWORD;
    };
    if (!isNumbered(ofA) || !isNumbered(ofB))
        return std::nullopt;
    return ofA.dwVolumeSerialNumber == ofB.dwVolumeSerialNumber &&
           ofA.nFileIndexHigh == ofB.nFileIndexHigh && ofA.nFileIndexLow == ofB.nFileIndexLow;
}

/// Whether two open files have the same path. No value when a path cannot be determined.
static std::optional<bool> haveSamePath(HANDLE a, HANDLE b)
{
    const std::wstring pathOfA = finalPath(a);
    const std::wstring pathOfB = finalPath(b);
    if (pathOfA.empty() || pathOfB.empty())
        return std::nullopt;
    return CompareStringOrdinal(pathOfA.c_str(), -1, pathOfB.c_str(), -1, TRUE) == CSTR_EQUAL;
}

static std::optional<bool> isSame(const std::string &first, const std::string &second,
                                  Compared compared)
{
    if (!isUsable(first) || !isUsable(second))
        return std::nullopt;
    const bool areEntries = compared == Compared::Entries;
    const HANDLE a = openForStatus(toWidePath(first));
    const HANDLE b =
        openForStatus(toWidePath(second), areEntries ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
    std::optional<bool> isSame;
    if (a != INVALID_HANDLE_VALUE && b != INVALID_HANDLE_VALUE) {
        isSame = haveSameNumber(a, b);
        BY_HANDLE_FILE_INFORMATION ofA = {};
        const bool isOneEntry =
            !areEntries || (GetFileInformationByHandle(a, &ofA) && ofA.nNumberOfLinks == 1);
        if (!isSame || (*isSame && !isOneEntry))
            isSame = haveSamePath(a, b);
    }
    for (const HANDLE file : {a, b}) {
        if (file != INVALID_HANDLE_VALUE)
            CloseHandle(file);
    }
    return isSame;
}

bool isSameFile(const std::string &a, const std::string &b)
{
    return isSame(a, b, Compared::Files) == true;
}

std::optional<bool> isSameEntry(const std::string &source, const std::string &target)
{
    return isSame(source, target, Compared::Entries);
}

bool isRootOfDrive(const std::string &path)
{
    if (!isUsable(path))
        return false;
    std::wstring wide = toWide(path);
    if (std::wcschr(L"/\\", wide.back()) == nullptr)
        wide += L'\\';
    std::wstring full = fullPath(wide);
    std::ptrdiff_t names = 1; // of the root, a drive or a volume
    const auto cut = [&full](const wchar_t *prefix) {
        const bool isThere = full.rfind(prefix, 0) == 0;
        full.erase(0, isThere ? std::wcslen(prefix) : 0);
        return isThere;
    };
    if (cut(LR"(\\?\UNC\)") || (!cut(LR"(\\?\)") && !cut(LR"(\\.\)") && cut(LR"(\\)")))
        names = 2; // a server and its share
    return !full.empty() && std::count(full.begin(), full.end(), L'\\') <= names;
}

bool allowRemoval(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const std::wstring widePath = toWidePath(path);
    const DWORD attributes = GetFileAttributesW(widePath.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0)
        return false;
    return SetFileAttributesW(widePath.c_str(),
                              attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
}

void forbidRemoval(const std::string &path)
{
    const std::wstring widePath = toWidePath(path);
    const DWORD attributes = GetFileAttributesW(widePath.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        SetFileAttributesW(widePath.c_str(), attributes | FILE_ATTRIBUTE_READONLY);
}

bool removeFolderLink(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const std::wstring widePath = toWidePath(path);
    const DWORD attributes = GetFileAttributesW(widePath.c_str());
    const DWORD wanted = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
    const bool isFolderLink = attributes != INVALID_FILE_ATTRIBUTES &&
                              (attributes & wanted) == wanted && isLink(widePath);
    return isFolderLink && RemoveDirectoryW(widePath.c_str());
}

bool hasJunctions() { return true; }

std::string errorText(int error) { return std::strerror(error); }

FileFault systemFault(int code) { return fileFault(errorNumber(static_cast<unsigned long>(code))); }

int lastSystemFault() { return ERROR_CANT_ACCESS_FILE; }

std::optional<int> listFolder(const std::string &, const std::function<bool(const FolderEntry &)> &)
{
    return {};
}

std::unique_ptr<OpenFolder> openFolder(const std::string &, bool) { return {}; }

int errorOfListing(const std::string &path)
{
    if (!isUsable(path))
        return ENOENT;
    std::wstring all = toWidePath(path);
    if (std::wcschr(L"/\\:", all.back()) == nullptr) // "C:" is the current folder of a drive
        all += L'\\';
    WIN32_FIND_DATAW data = {};
    const HANDLE search = FindFirstFileW((all + L'*').c_str(), &data);
    // A drive has no entries "." and "..": it may be empty.
    if (search == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : errorNumber(GetLastError());
    while (FindNextFileW(search, &data)) {
    }
    const DWORD end = GetLastError();
    FindClose(search);
    return end == ERROR_NO_MORE_FILES ? 0 : errorNumber(end);
}

CopyResult copyToNewFile(const std::string &, const std::string &, std::int64_t)
{
    return CopyResult::NotTried;
}

std::optional<FileVersion> fileVersion(const std::string &path)
{
    if (!isUsable(path))
        return {};
    const std::wstring widePath = toWidePath(path);
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

/// Whether the command interpreter takes \p path as it is. It replaces what stands between percent
/// signs, also in quotes, and does not know long paths.
static bool isPlainForCommands(const std::string &path)
{
    const std::size_t longest = 240;
    return path.find('%') == std::string::npos && toWide(path).size() < longest;
}

/// The name at the end of \p path.
static std::string lastName(const std::string &path)
{
    return path.substr(path.find_last_of("/\\:") + 1);
}

/// Moves a file or folder to \p target, which is no folder, without the command.
static void moveBySystem(const std::string &source, const std::string &target)
{
    MoveFileExW(toWidePath(source).c_str(), toWidePath(target).c_str(),
                MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH);
}

void moveReplacing(const std::string &source, const std::string &target)
{
    if (!isUsable(source) || !isUsable(target))
        return;
    // The command takes what follows "/" for an option. In a folder of a share, it would resolve
    // relative paths in another one.
    const auto absolute = [](std::string path) {
        std::replace(path.begin(), path.end(), '/', '\\');
        return fromWide(fullPath(toWide(path)));
    };
    const std::string from = absolute(source);
    const std::string to = absolute(target);
    if (from.empty() || to.empty())
        return;
    const bool isInto = entryStatus(to, /*followLinks=*/true).entry == Entry::Folder;
    const std::string moved = isInto ? to + '\\' + lastName(from) : to;
    const auto isThere = [&from] {
        return entryStatus(from, /*followLinks=*/false).entry != Entry::Missing;
    };
    // The system does not replace a read-only file.
    const bool isAllowed = isThere() && allowRemoval(moved);
    const std::string command = moveCommandLine(from, to);
    if (command.empty() || !isPlainForCommands(from) || !isPlainForCommands(to))
        moveBySystem(from, moved);
    else
        run(L"cmd.exe", command);
    if (isAllowed && isThere())
        forbidRemoval(moved);
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const HANDLE file = CreateFileW(toWidePath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
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

std::optional<std::array<char16_t, 256>> codePage(unsigned number)
{
    CPINFO info = {};
    if (!GetCPInfo(number, &info) || info.MaxCharSize != 1)
        return {};
    std::array<char16_t, 256> characters = {};
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const char byte = static_cast<char>(i);
        wchar_t character = 0;
        const bool isDefined =
            MultiByteToWideChar(number, MB_ERR_INVALID_CHARS, &byte, 1, &character, 1) == 1;
        characters[i] = isDefined ? static_cast<char16_t>(character) : u'\xfffd';
    }
    return characters;
}

bool hasPathPrefixes() { return true; }

bool hasSortedSettings() { return false; }

bool hasRegistry() { return true; }

/// Keeps the library loaded until the process ends. False when that is not possible.
static bool pinLibrary()
{
    HMODULE library = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN |
                                  GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<const wchar_t *>(&pinLibrary), &library);
}

bool callAtThreadEnd(void (*function)(void *), void *argument)
{
    // A thread may end after the host has unloaded the library.
    static const bool isPinned = pinLibrary();
    if (!isPinned)
        return false;
    static void (*const called)(void *) = function;
    static const DWORD key = FlsAlloc([](void *value) { called(value); });
    return key != FLS_OUT_OF_INDEXES && FlsSetValue(key, argument);
}

void useLargePages(void *, std::size_t) {}

} // namespace Utils::Platform
