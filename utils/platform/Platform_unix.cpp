#include "utils/platform/Platform.h"

#include <cerrno>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace Utils::Platform {

static bool isUsable(const std::string &path)
{
    return !path.empty() && path.find('\0') == std::string::npos;
}

std::FILE *openFile(const std::string &path, const char *mode)
{
    errno = isUsable(path) ? 0 : ENOENT;
    if (errno != 0)
        return nullptr;
    std::FILE *const file = std::fopen(path.c_str(), mode);
    if (!file)
        return nullptr;

    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) { // opens for reading
        std::fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    errno = 0;
    return file;
}

std::optional<FileVersion> fileVersion(const std::string &) { return {}; }

void moveReplacing(const std::string &source, const std::string &target)
{
    if (!isUsable(source) || !isUsable(target))
        return;

    std::string arguments[] = {"mv", "-f", "--", source, target};
    char *const argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                          arguments[3].data(), arguments[4].data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const bool isStarted = posix_spawnp(&child, argv[0], &actions, nullptr, argv, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);

    if (!isStarted) {
        (void)std::rename(source.c_str(), target.c_str());
        return;
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool createNewFile(const std::string &path)
{
    if (!isUsable(path))
        return false;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0)
        return false;
    close(file);
    return true;
}

std::string sharedDataFolder()
{
    const char *const folder = std::getenv("ALLUSERSPROFILE");
    return folder ? folder : "";
}

void makeSymbolsGlobal(const void *address)
{
    // Opened to stay: who takes the symbols does not keep their library.
    Dl_info library;
    if (dladdr(address, &library) != 0)
        dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
}

} // namespace Utils::Platform
