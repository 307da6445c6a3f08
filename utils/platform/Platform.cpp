#include "utils/platform/Platform.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>

// Functions that are the same on every system.

namespace Utils::Platform {

FileFault fileFault(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return FileFault::Missing;
    case EISDIR:
        return FileFault::Folder;
    case EACCES:
    case EPERM:
        return FileFault::NoRight;
    case EROFS:
        return FileFault::ReadOnly;
    case ENOSPC:
#ifdef EDQUOT // which not every system has
    case EDQUOT:
#endif
        return FileFault::Full;
    case ENOMEM:
        return FileFault::NoMemory;
    default:
        return FileFault::Other;
    }
}

std::string temporaryName(const std::string &target, int number)
{
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char byte : target)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    char name[64];
    std::snprintf(name, sizeof(name), ".kelm-saving-%016" PRIx64, hash);
    std::string result = name;
    if (number > 0)
        result.append(1, '-').append(std::to_string(number));
    return result;
}

std::string formatVersion(const FileVersion &version)
{
    const std::string padding = version.minor < 10 ? "0" : "";
    return std::to_string(version.major) + "." + padding + std::to_string(version.minor) + "." +
           std::to_string(version.patch) + "." + std::to_string(version.build);
}

static std::string quoted(const std::string &path)
{
    const bool isPlain = path.find_first_of(" \t&|<>()^,;=") == std::string::npos;
    return isPlain ? path : "\"" + path + "\"";
}

std::string moveCommandLine(const std::string &source, const std::string &target)
{
    if ((source + target).find('"') != std::string::npos)
        return {};
    return "cmd.exe /C move /Y " + quoted(source) + " " + quoted(target);
}

std::string killCommandLine(std::int64_t id)
{
    return "taskkill /PID " + std::to_string(id) + " /T /F";
}

} // namespace Utils::Platform
