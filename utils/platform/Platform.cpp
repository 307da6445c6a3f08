#include "utils/platform/Platform.h"

// Functions that only format text, and so are the same on every system.

namespace Utils::Platform {

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
