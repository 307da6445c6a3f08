#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

/// All that differs between operating systems, for the library's own use.
///
/// Text is UTF-8, and a path is as the system writes it. A path that holds a zero byte names
/// nothing. What a system lacks gives its empty result.
namespace Utils::Platform {

/// Opens the file at \p path in the fopen mode \p mode. Null when it cannot, and for a folder.
///
/// errno describes this open: 0 when the file is open, else why it is not; EISDIR for a folder
/// where the system could open one.
std::FILE *openFile(const std::string &path, const char *mode);

/// What a path leads to.
enum class Entry
{
    Missing,
    File,
    Folder,
    Link,   ///< to whatever it leads, and be it nothing
    Other,  ///< a pipe, a device and the like
    Unknown ///< the system cannot tell, or does not want to
};

/// What the system knows of a path at one moment.
struct EntryStatus
{
    Entry entry = Entry::Missing;
    std::int64_t size = 0;     ///< in bytes
    std::int64_t modified = 0; ///< in milliseconds since the Unix epoch, rounded down
};

/// What there is at \p path: a link itself, or with \p followLinks what it leads to. Size and time
/// count for a file, a folder and what is else there, but not for a link.
EntryStatus entryStatus(const std::string &path, bool followLinks);

/// The path with "/" of what \p path leads to: absolute, and without links. "" where there is
/// nothing, and nothing where the system cannot tell.
std::optional<std::string> canonicalPath(const std::string &path);

/// The four parts of a program's version, the most significant one first.
struct FileVersion
{
    std::uint16_t major;
    std::uint16_t minor;
    std::uint16_t patch;
    std::uint16_t build;
};

/// The version in the resources of the program or library at \p path. Nothing when there is none,
/// or on a system whose programs carry no version.
std::optional<FileVersion> fileVersion(const std::string &path);

/// Its parts in decimal; only the second is padded, to two digits, which is meant.
///
///     19, 2, 1, 5   => "19.02.1.5"
///     3, 12, 0, 1   => "3.12.0.1"
std::string formatVersion(const FileVersion &version);

/// Moves a file or a folder, also to another file system, through the system's own command, and
/// returns when that is done. An existing file at \p target is replaced; into an existing folder
/// the source is moved. Nothing is printed, and nobody is told when it fails.
///
/// Where there is no such command, or it cannot be started, the source is renamed, to the same end,
/// but nothing goes to another file system. It stays where the target cannot be looked at.
///
/// The paths are clean and have native separators. Does nothing when one of them is empty.
void moveReplacing(const std::string &source, const std::string &target);

/// The command line that moves on Windows. "" when a path has a double quote, which no path may
/// have there and which would end the quoting.
///
/// A path with a blank is quoted. So is one with another character that the command interpreter
/// reads as its own: unquoted it would run a part of the path as a command.
///
///     C:\a, D:\b      => cmd.exe /C move /Y C:\a D:\b
///     C:\a b, D:\c&d  => cmd.exe /C move /Y "C:\a b" "D:\c&d"
std::string moveCommandLine(const std::string &source, const std::string &target);

/// Calls \p start, which starts a child process.
///
/// When that makes this process handle the signal of an ended child, calls of the system that the
/// signal interrupts go on afterwards: who has nothing to do with the child need not care. What the
/// process does when it writes to a pipe that nobody reads stays as it was.
void startChild(const std::function<void()> &start);

/// Why \p count pipes cannot be open at once: an error number of the system, or 0 when they can.
int errorOfPipes(int count);

/// Whether the process with the number \p id is a child of this one that has not been waited for.
/// As long as it is, the number is that of no other process, and a signal to it reaches the child.
///
/// Where a number stays with its process for as long as this one knows it, that is true for each.
bool isChild(std::int64_t id);

/// Kills the process with the number \p id, all that it has started and what that has, and returns
/// when they have ended, or five seconds later. Nobody is told when one cannot be killed.
/// Does nothing for a number that no process has, as that of a thread, and for the first process of
/// the system, which is above all others. False then, and where nothing can be learned of the
/// process, as /proc hides it or there is no descriptor left, or it cannot be killed.
///
/// Windows has a command for it. Elsewhere /proc tells of the processes. Each is stopped before its
/// children are looked for, so that it starts none behind the look, and when no new one is found
/// all are killed. A process is told by its number and its start, before it is stopped and again
/// before it is killed: one that has got the number of another is left alone. The calling process
/// may be among them and goes last.
///
/// Where the memory does not suffice to find all, those that were found are killed, or nothing
/// happens. Where /proc can no longer be read, which is tried three times, those are killed of
/// which there is a handle, and the others go on: nobody stays stopped.
///
/// A process whose parent had ended before is below nobody any more, and stays.
bool killProcessTree(std::int64_t id);

/// The command line that kills on Windows.
///
///     4711  => taskkill /PID 4711 /T /F
std::string killCommandLine(std::int64_t id);

/// Creates an empty file at \p path. False when something is there already, which is left alone,
/// or when it cannot be created.
///
/// Windows keeps the file open, for nobody else to open it, until the process ends, which is meant.
bool createNewFile(const std::string &path);

/// The folder of the machine for data that all its users share: the environment variable
/// ALLUSERSPROFILE, on every system. "" when it is not set.
std::string sharedDataFolder();

/// Offers the symbols of the loaded library that has \p address in it to every library that is
/// loaded from now on. Does nothing where a library takes symbols only from those that it names.
///
/// A library that came in with another one that was loaded for itself alone, as a plugin is, offers
/// its symbols to that one only.
void makeSymbolsGlobal(const void *address);

/// What \p function returns in a copy of this process, which is made for the call and ends with it.
///
/// False as well when the function does not return there: it ends the copy, crashes, throws, or
/// runs for longer than \p limit, after which the copy is killed with all that it has started. The
/// calling process waits, and nothing in its memory changes. Nothing when the system cannot copy a
/// process, or not now.
///
/// Of the threads only the calling one is in the copy: a lock that another one holds stays locked
/// there. What the function prints is lost, but for the standard error; no core file is written,
/// and what the process has set up for its exit and for signals does not run.
std::optional<bool> tryInCopy(const std::function<bool()> &function,
                              std::chrono::milliseconds limit);

/// The name of the character set that the environment's locale has for text, as "UTF-8". "" where
/// text does not depend on it.
std::string localeCodeset();
/// Calls \p function with \p context on a stack for deep recursion, and returns when it has
/// returned. It runs on the calling thread. A call from within another one stays on the same stack.
/// \p function must not throw.
///
/// There is one such stack in the process, which one thread at a time uses. It is half as large as
/// the memory of the machine, and has 2 GiB at least, so that a recursion that takes memory, too,
/// runs out of that first. It is a mere range of addresses until it is used, and so it is again
/// when \p function has used more than 16 MiB of it.
///
/// A process that may not have as much gets two fifths of what it may have, and 64 MiB on a system
/// that sets the memory for each address aside. When that is less than 16 MiB, \p function runs on
/// the stack of the caller.
void callOnDeepStack(void (*function)(void *), void *context);

/// The size for the stack of a thread that may recurse deeply: a sixteenth of the one above, but
/// from 16 MiB to 1 GiB. 0 where a stack takes memory before it is used, as on Windows.
std::size_t deepThreadStack();

/// How many bytes of its stack the calling thread has not used. 0 when that cannot be learned. The
/// end of a thread's stack is looked up once.
std::size_t freeStack();

} // namespace Utils::Platform
