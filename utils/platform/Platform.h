#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Everything that differs between operating systems, for internal use.
///
/// Text is UTF-8; paths are in the form of the system. A path that contains a zero byte names
/// nothing. On a system that does not support a function, the function returns its empty result.
namespace Utils::Platform {

/// Whether a path may begin with the prefix "\\?\", which lifts the limit of its length, as on
/// Windows.
bool hasPathPrefixes();

/// Opens the file at \p path in the fopen() mode \p mode. Null when that fails, and for a folder.
///
/// errno is 0 after success and otherwise tells why this call failed. On a system that can open
/// folders, it is EISDIR for a folder.
std::FILE *openFile(const std::string &path, const char *mode);

/// Opens the file at \p path to read its bytes, so that others can remove and replace it meanwhile.
/// Returns the descriptor, which the caller closes; -1 when that fails, and on a system where
/// whatever is open can be removed.
int openShared(const std::string &path);

/// Sets the position of \p file, in bytes from its start, also beyond 2 GiB. False on failure.
bool seekFile(std::FILE *file, std::int64_t position);

/// Flushes what was written to the descriptor \p file to the disk. False, with the reason in errno,
/// when that fails, and when closing the file would fail; otherwise true on a file system that does
/// not support flushing.
bool flushFile(int file);

/// The kind of a directory entry.
enum class Entry
{
    Missing,
    File,
    Folder,
    Link,   ///< even a broken one
    Other,  ///< a pipe, a device and the like
    Unknown ///< the system cannot determine it, or permits no access
};

/// The state of a directory entry at one moment.
struct EntryStatus
{
    Entry entry = Entry::Missing;
    std::int64_t size = 0; ///< in bytes
    /// In milliseconds since the Unix epoch, rounded down. Times beyond 140 million years are that
    /// limit, so that the difference of two times fits, too.
    std::int64_t modified = 0;

    // A file that replaces another one has other numbers, even if it has the same size and the same
    // time of modification. Windows has only the time, which is that of the modification.
    std::uint64_t device = 0;
    std::uint64_t number = 0;  ///< on the device
    std::uint64_t changed = 0; ///< the contents or the properties, in units of the system

    bool operator==(const EntryStatus &other) const
    {
        return entry == other.entry && size == other.size && modified == other.modified &&
               device == other.device && number == other.number && changed == other.changed;
    }
};

/// The state of the entry at \p path. For a link it is the state of the link itself, or with
/// \p followLinks of what the link leads to. Size and time are not valid for a link. When the
/// result is Entry::Unknown, errno tells why.
EntryStatus entryStatus(const std::string &path, bool followLinks);

/// The state of the file with the descriptor \p file. Entry::Unknown when the system cannot
/// determine it, and on Windows, where the time is valid only when the file is closed.
EntryStatus openFileStatus(int file);

/// The absolute path, with "/" and without links, of what \p path leads to. "" when nothing exists
/// there; std::nullopt when the system cannot determine it.
std::optional<std::string> canonicalPath(const std::string &path);

/// Whether both paths lead to the same file or folder, which may have several names. False for all
/// else, such as pipes and devices, and when the system cannot determine it.
bool isSameFile(const std::string &a, const std::string &b);

/// Whether \p target is a name of the directory entry that \p source leads to, so that removing the
/// target would also lose the source. std::nullopt on a system where an entry has one name, so that
/// canonical paths show it, and when the system cannot determine it.
///
/// On Windows an entry has a short name, too, and its case is ignored. A hard link is another
/// entry.
std::optional<bool> isSameEntry(const std::string &source, const std::string &target);

/// Whether the folder \p path, after which a separator may be missing, is the root of a drive or of
/// a share on Windows. False on other systems, which have one root.
///
///     "D:", "D:/", "D:/a/..", "//server/share"  => true
///     "D:a", "D:/a"                             => false
bool isRootOfDrive(const std::string &path);

/// Lets the file or folder \p path be removed when its attribute "read-only" alone forbids it, as
/// on Windows. True when the attribute has been cleared. On other systems the folder decides.
bool allowRemoval(const std::string &path);

/// Takes allowRemoval() back.
void forbidRemoval(const std::string &path);

/// Removes the file \p path when others have it open, so that its name is free at once. False when
/// that is not possible or not needed, because nobody has it open: it is removed in the ordinary
/// way then. On Windows the name of a removed file is in use until the last one closes it; on other
/// systems the result is false.
bool removeOpenFile(const std::string &path);

/// Removes the link to a folder at \p path, and nothing of what it leads to. False when that is not
/// possible, and for all else than such a link. Windows has such links; on other systems a link is
/// removed like a file, and the result is false.
bool removeFolderLink(const std::string &path);

/// Whether there are links to folders that Qt takes for folders, as on Windows, where they are
/// called junctions. canonicalPath() and entryStatus() know them.
bool hasJunctions();

/// A visible entry of a folder.
struct FolderEntry
{
    const char *name; ///< as the system has it; valid during the call
    Entry entry;      ///< what it is; for a link, what that leads to: a File, a Folder or Other
    bool isLink;
};

/// Calls \p visit for the visible files and folders of the folder \p path, in the order in which
/// the system lists them, until \p visit returns false.
///
/// Returns why the folder could not be listed to its end, as an error number (errno): 0 when
/// \p visit has got all entries, or has returned false. std::nullopt, and nothing is done, on a
/// system where the caller has to list the folder in another way.
///
/// Not visible are entries whose names begin with ".", pipes, devices and sockets, and links that
/// lead nowhere. Only a link is examined, and an entry of a file system that lists no kinds.
std::optional<int> listFolder(const std::string &path,
                              const std::function<bool(const FolderEntry &)> &visit);

/// Why the folder \p path cannot be listed to its end, as an error number (errno); 0 when it can.
/// Lists it.
int errorOfListing(const std::string &path);

/// An open folder. It stays the same one when its path leads elsewhere meanwhile, as when another
/// process exchanges a folder of the path for a link: what is removed here was in this folder.
///
/// Functions that return an error return an error number (errno); 0 is success.
class OpenFolder
{
public:
    virtual ~OpenFolder() = default;

    /// As the function listFolder(), once. When the folder could not be opened, returns why.
    virtual int list(const std::function<bool(const FolderEntry &)> &visit) = 0;

    /// What the entry \p name is; a link is not followed.
    virtual Entry entry(const std::string &name) = 0;

    virtual int removeFile(const std::string &name) = 0;   ///< or a link, but no folder
    virtual int removeFolder(const std::string &name) = 0; ///< which is empty

    /// The folder \p name in this one, which is not opened through a link. Never null. It must not
    /// outlive this one. When no file descriptor is free for it, those above it are released.
    virtual std::unique_ptr<OpenFolder> below(const std::string &name) = 0;

    /// Closes the folder until it is used again, to leave file descriptors to others. It is then
    /// opened by its path; while that leads to another folder, functions fail with ESTALE.
    virtual void release() = 0;
};

/// Opens the folder \p path. When that fails, the result is not null, and list() tells why. Without
/// \p followLinks, a link at the end of the path is not followed: the folder is not opened. Null on
/// a system where the caller has to use paths, as on Windows.
std::unique_ptr<OpenFolder> openFolder(const std::string &path, bool followLinks);

/// How copyToNewFile() ended.
enum class CopyResult
{
    Copied,
    Failed,  ///< the source cannot be read to its end, or the disk is full; there is no target
    NotTried ///< the caller has to copy in another way, or to find out why this is not possible
};

/// Copies the regular file \p source to \p target, with its permissions, as QFile::copy() does on
/// a file system that supports files without a name: the copy gets its name when it is complete, so
/// that no part of it is ever visible. Unlike there, the contents are not forced to the disk
/// before.
///
/// NotTried for a file of more than \p largest bytes, and when something exists at \p target, for
/// example. A device is opened all the same.
CopyResult copyToNewFile(const std::string &source, const std::string &target,
                         std::int64_t largest);

/// What an error number (errno) means for a file that is opened, read or written.
enum class FileFault
{
    Missing,  ///< the file, or a folder of its path, does not exist
    Folder,   ///< the file is a folder
    NoRight,  ///< the user may not do it
    ReadOnly, ///< the file system is read-only
    Full,     ///< the file system, or the quota of the user, is full
    NoMemory,
    Other
};
FileFault fileFault(int error);

/// What an error code of the system means for a file. The codes are error numbers (errno) on Unix.
/// A code above lastSystemFault() is FileFault::Other.
FileFault systemFault(int code);
int lastSystemFault();

/// The text for an error number (errno). "" on a system whose error codes are such numbers, so that
/// a text for the code is one for the number.
std::string errorText(int error);

/// Whether paths are always UTF-8, as in this interface. Otherwise they are in the encoding of the
/// locale.
bool hasUtf8Paths();

/// A new content of a file, which replaces the old content when it is complete. At any time, also
/// after a kill of the process, the file has all of the old content or all of the new one.
///
/// The content is written to a file in the same folder, which has no name where the system supports
/// this, and is then renamed to the target. For a symbolic link, the file it refers to is replaced.
/// The permissions, the extended attributes of users and the access control list of the old file
/// are kept, and its owner and group if the user may set them; without its group the new file has
/// no permissions for a group that differ from those of others.
///
/// - A file with several names (hard links) keeps them. It is written in place at the end, after
///   the system has reserved the space, so a full disk leaves the old content. A kill during that
///   copy does not, nor does a full disk on a file system that reserves no space, or that writes
///   each change to another place. A file whose attributes or access control list the new one
///   cannot have, as where no space is left for them, is written in the same way.
/// - Devices and pipes, which hold no content, and open streams such as /dev/stdout are written
///   directly. So is an empty file in a folder in which the user may not create files; it is made
///   empty again on a failure, but not after a kill.
/// - open() fails for a disk, and for a file with contents in such a folder.
///
/// A file without a name is first linked to a temporary name and then renamed to the target. A
/// separate process does this, in microseconds, so a kill of this process leaves no temporary file.
/// A kill of a whole process group, a power failure, and any kill where files without a name are
/// not supported, as on most network drives, may leave a file ".kelm-saving-" with a number in the
/// folder. The next replacement of the same file removes it, unless it is locked by a process that
/// still runs; on Windows also unless it is younger than a minute.
class FileReplacement
{
public:
    FileReplacement();
    ~FileReplacement(); ///< the old content stays, unless finish() has been called
    FileReplacement(const FileReplacement &) = delete;
    FileReplacement &operator=(const FileReplacement &) = delete;

    /// The target must be a new file. open() fails when a file or a link exists there, and finish()
    /// when it was created meanwhile; the error number is EEXIST then. Called before open().
    void requireNewTarget();

    /// All functions return false when they fail. After a failure, the further ones fail, too.

    /// Uses the permissions of the file \p path instead of those of the old content. Called before
    /// open(). On Windows, where finish() sets it last, this is the attribute "read-only".
    bool copyPermissions(const std::string &path);

    /// The same with permissions as numbers of Unix, such as 0644. Without effect on Windows.
    void setPermissions(unsigned permissions);

    bool open(const std::string &path);
    bool write(const char *bytes, std::size_t size);

    /// Replaces the old content. With \p flush, the new content is flushed to the disk before that,
    /// and the folder after that.
    bool finish(bool flush);

    /// Moves the file \p source to \p target, or into the folder there, so that the target has all
    /// of its old content or all of the new one at any time, also on another file system. The entry
    /// itself is replaced, even a link; the new file has the owner, permissions, times and
    /// attributes of the source as far as the user may set them and the file system has them. The
    /// source is removed at the end, on another file system when the disk confirms the new file.
    ///
    /// Returns 0, or the error number (errno) of what failed; the source is still there then, and
    /// the target is the old one unless only the source cannot be removed or the disk does not
    /// confirm. std::nullopt, and nothing is done, when the caller has to move in another way: for
    /// what is no regular file, when the entry cannot be renamed, and on Windows.
    static std::optional<int> move(const std::string &source, const std::string &target);

    enum class Problem
    {
        None,
        System,      ///< see error()
        Folder,      ///< no file can be created in the folder of the target; see error()
        Disk,        ///< the target is a disk
        NotConfirmed ///< the file is replaced, but flushing has failed; see error()
    };
    Problem problem() const;
    int error() const; ///< the error number (errno) of the failed call

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// A name for the temporary file of a FileReplacement for the file \p target, which is a name
/// without a folder. It depends on \p target, so that what a kill has left is found again; \p
/// number distinguishes replacements at the same time.
///
///     "a.txt", 0  => ".kelm-saving-7ed582b5571bbd5a"
///     "a.txt", 2  => ".kelm-saving-7ed582b5571bbd5a-2"
std::string temporaryName(const std::string &target, int number);

/// The four numbers of a program's version, the most significant first.
struct FileVersion
{
    std::uint16_t major;
    std::uint16_t minor;
    std::uint16_t patch;
    std::uint16_t build;
};

/// The version in the resources of the program or library at \p path. std::nullopt when it has
/// none, and on a system whose programs have no such resource.
std::optional<FileVersion> fileVersion(const std::string &path);

/// The four numbers of \p version in decimal, separated by dots.
///
/// \compat Only the second number is padded, to two digits.
///
///     19, 2, 1, 5   => "19.02.1.5"
///     3, 12, 0, 1   => "3.12.0.1"
std::string formatVersion(const FileVersion &version);

/// Moves a file or folder by the command of the system, also to another file system, and returns
/// when the command has finished. An existing file at \p target is replaced. When \p target is an
/// existing folder, the source is moved into it. Nothing is printed, and a failure is not reported.
///
/// On Unix, if the command cannot be started, the source is renamed, with the same result on one
/// file system. In this case it is not moved to another file system, and it is not moved when the
/// kind of the target cannot be determined.
///
/// The paths must be clean and have native separators. Does nothing when one of them is empty.
void moveReplacing(const std::string &source, const std::string &target);

/// The command line that moves a file or folder on Windows. "" when a path contains a double quote,
/// which is not allowed in paths there and would end the quoting.
///
/// A path with white space is quoted. A path with another character that has a meaning for the
/// command interpreter is quoted, too: otherwise the interpreter would run part of the path as a
/// command.
///
///     C:\a, D:\b      => cmd.exe /C move /Y C:\a D:\b
///     C:\a b, D:\c&d  => cmd.exe /C move /Y "C:\a b" "D:\c&d"
std::string moveCommandLine(const std::string &source, const std::string &target);

/// Calls \p start, which starts a child process, and repairs what Qt changes in this process when
/// it starts a child:
///
/// - If a handler for the signal of an ended child was installed, system calls that the signal
///   interrupts are restarted. Other code of the process is not affected by the child.
/// - A write to a pipe without a reader has the same effect as before.
void startChild(const std::function<void()> &start);

/// 0 when \p count further pipes can be opened at the same time, otherwise the error number (errno)
/// that tells why they cannot.
int errorOfPipes(int count);

/// Whether \p id is the number of a child of this process that has not been waited for. While this
/// is true, no other process has the number, and a signal to the number reaches the child.
///
/// On Windows the result is true for every process: an open handle keeps the number in use.
bool isChild(std::int64_t id);

/// Kills the process \p id and all its descendants, and waits for their end, for five seconds at
/// most. It is not reported when a descendant cannot be killed.
///
/// False when the process cannot be killed, or when nothing can be learned of it, because /proc
/// hides it or no file descriptor is left. Also false, and nothing is done, for a number without a
/// process, such as that of a thread, and for the first process of the system, the ancestor of all
/// others.
///
/// Windows has a command for this. When it fails, the processes are killed one by one, the parents
/// first, and a process counts as a child only if it is younger than its parent. On Unix the
/// processes are read from /proc. Each one is stopped before its children are searched, so that it
/// starts no others after the search. When no new process is found, all are killed. A process is
/// identified by its number and its start time, before it is stopped and again before it is killed:
/// a process that has received the number of another is not touched. The calling process may be one
/// of them; it is killed last.
///
/// If the memory does not suffice to find all, those that were found are killed, or nothing is
/// done. If three attempts to read /proc have failed, the processes with a handle are killed and
/// the others are resumed by their numbers: none stays stopped. That signal, SIGCONT, is the only
/// one that may reach a process that has received such a number meanwhile.
///
/// A descendant whose parent had ended before the call is not found, and stays.
bool killProcessTree(std::int64_t id);

/// A child of this process and its descendants, which are to end. No function throws, except that
/// the constructor throws std::bad_alloc.
///
/// A descendant that was found stays known after its parent has ended. As in killProcessTree(), a
/// process that has received the number of another is not touched. Where the processes of the
/// system cannot be listed, only the child itself is known.
class ProcessTree
{
public:
    /// Finds the child \p id and its descendants; nothing if \p id is not the number of a child,
    /// see isChild().
    explicit ProcessTree(std::int64_t id);
    ~ProcessTree();
    ProcessTree(const ProcessTree &) = delete;
    ProcessTree &operator=(const ProcessTree &) = delete;

    /// Finds the descendants that were started since the last call.
    void update();

    /// Asks the child to end, and with \p all also the known descendants, by the signal SIGTERM;
    /// on Windows, by closing their windows. Each is asked only once. False when the child cannot
    /// be asked in this way: the caller has to do it in another way.
    bool ask(bool all);

    /// Whether none of the known processes runs; false when this cannot be told, as where no file
    /// descriptor is left to read /proc.
    bool hasEnded() const;

    /// Kills those that still run, with all their descendants, and waits as killProcessTree() does.
    void kill();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// The command line that kills the process \p id and its descendants on Windows.
///
///     4711  => taskkill /PID 4711 /T /F
std::string killCommandLine(std::int64_t id);

/// The command line that runs \p words, which are a program and its arguments, for display and for
/// scripts: on Unix that of shellCommandLine(), on Windows that of windowsCommandLine(). A word
/// ends before its first zero byte, as it does when the program is started.
std::string commandLine(const std::vector<std::string> &words);

/// The text that a POSIX shell reads as the simple command \p words. A word is in single quotes
/// unless no character of it has a meaning for any usual shell.
///
///     sort, -r, a b.txt  => sort -r 'a b.txt'
///     it's, ""           => 'it'\''s' ''
std::string shellCommandLine(const std::vector<std::string> &words);

/// The text that Windows programs split into \p words, by the rules of CommandLineToArgvW(). The
/// command interpreter has other rules. "" when the program contains a double quote, which is not
/// allowed in paths there and cannot be written.
///
///     C:\a b\x.exe, -f, c d\, "q"  => "C:\a b\x.exe" -f "c d\\" \"q\"
std::string windowsCommandLine(const std::vector<std::string> &words);

/// Creates an empty file at \p path. False when an entry exists there, which is not changed, and
/// when the file cannot be created.
///
/// \compat On Windows the file stays open, for this process only, until the process ends.
bool createNewFile(const std::string &path);

/// The folder for data shared by all users of the machine: the value of the environment variable
/// ALLUSERSPROFILE, on every system. "" when it is not set.
std::string sharedDataFolder();

/// Makes the symbols of a loaded library, the one that contains \p address, available to all
/// libraries that are loaded later. Does nothing on a system where a library uses only symbols of
/// libraries that it names.
///
/// This is needed for a library that was loaded as a dependency of a plugin: otherwise only the
/// plugin can use its symbols.
void makeSymbolsGlobal(const void *address);

/// The result of \p function in a copy of this process. The copy exists only during the call.
///
/// The result is also false when \p function does not return in the copy: when it ends the copy,
/// crashes, throws, or runs longer than \p limit. In the last case the copy is killed with all its
/// descendants. The calling process waits, and its memory does not change. std::nullopt when the
/// system cannot copy processes, or cannot copy this one now.
///
/// The copy has only the calling thread: a lock held by another thread stays locked. What the
/// function writes is lost, except to standard error. No core file is written, and neither exit
/// functions nor signal handlers of the process are run.
std::optional<bool> tryInCopy(const std::function<bool()> &function,
                              std::chrono::milliseconds limit);

/// The name of the character set for text in the locale of the environment, such as "UTF-8". "" on
/// a system where text does not depend on the locale.
std::string localeCodeset();

/// The characters of the bytes of a code page as UTF-16, 0xfffd for a byte that has none.
/// std::nullopt when the system does not have it, when characters have several bytes, and on Unix,
/// which has no code pages.
std::optional<std::array<char16_t, 256>> codePage(unsigned number);

/// Whether QSettings writes the keys of an INI file sorted. On Windows the keys keep their order,
/// and the result is false.
bool hasSortedSettings();

/// Whether the stores of QSettings ignore the case of keys, and the native one is the registry,
/// which lists a key "Default" as ".". So it is on Windows.
bool hasRegistry();

/// Calls \p function with \p context on a stack for deep recursion, on the calling thread, and
/// returns when \p function has returned. A nested call uses the same stack. The caller receives an
/// exception of \p function.
///
/// The process has one such stack, which only one thread uses at a time; if another thread calls
/// meanwhile, \p function runs on the stack of that thread. The deep stack is half as large as the
/// memory of the machine, and at least 2 GiB, so that a recursion that also allocates memory runs
/// out of memory first. It consists of reserved addresses, which take no memory until they are
/// used. When a call has used more than 16 MiB, the memory is released after it.
///
/// If the limits of the process do not permit this size, the stack has two fifths of the size that
/// they permit; on a system that sets memory aside for all reserved addresses, 64 MiB. If that is
/// less than 16 MiB, \p function runs on the stack of the caller.
void callOnDeepStack(void (*function)(void *), void *context);

/// The stack size for a thread that may recurse deeply: a sixteenth of the deep stack, but at least
/// 16 MiB and at most 1 GiB. 0 where a stack takes memory before it is used, as on Windows.
std::size_t deepThreadStack();

/// The number of unused bytes of the calling thread's stack; 0 when it cannot be determined. The
/// end of the stack is determined once for each thread.
std::size_t freeStack();

/// The number of bytes of the stack that Qt's XML parser needs for a level of elements, with a
/// reserve.
std::size_t stackOfXmlLevel();

/// Calls \p function with \p argument, which must not be null, when the calling thread ends. It is
/// not called when the process ends, for threads that run then. Several calls by a thread count
/// once. The process can have only one such \p function. False when there is not enough memory.
///
/// On Windows the library stays loaded until the process ends after the first call.
bool callAtThreadEnd(void (*function)(void *), void *argument);

// Alarms, which interrupt a thread in system calls that wait. There is one alarm in the process.

/// Prepares alarms for the calling thread. \p onAlarm is called at each alarm: on Unix on the
/// thread, in a handler of alarmSignal(); on Windows on a thread of the system, which after that
/// cancels the input or output for which the thread waits. False when the system has no resources
/// for it.
bool openAlarm(void (*onAlarm)());

/// Ends alarms. Must be called on the same thread, and not during startAlarm() or stopAlarm().
void closeAlarm();

/// The signal of an alarm, one that the process does not use; 0 on Windows, or while no alarm is
/// open. A system call that waits is not restarted after it: it fails with EINTR.
int alarmSignal();

/// Installs the handler of the signal again after other code has replaced it. Returns that
/// handler; null when it was none.
void (*replaceAlarmHandler())(int);

/// Starts the alarms: the first one after \p delay, and another one every 20 ms. May be called on
/// any thread, and on Unix in a signal handler, as stopAlarm(). Takes the signal back from other
/// code that handles it. Does nothing while no alarm is open.
void startAlarm(std::chrono::milliseconds delay);
void stopAlarm();

/// Asks the system for large pages in the \p size bytes at \p memory, which the caller has
/// allocated and is going to fill: large pages make this several times as fast. Does nothing for
/// less than 4 MiB, and on a system without large pages for such memory.
void useLargePages(void *memory, std::size_t size);

} // namespace Utils::Platform
