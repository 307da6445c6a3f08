#pragma once

#include <sys/types.h>

// What libinject.so and the programs that it is preloaded into both know. It needs no Qt.

/// Makes the system calls of one group fail.
///
/// Calls are counted from 1 while it is armed, and only those of the process that armed it: neither
/// those of its children nor, through LD_PRELOAD, those of the programs that it runs. A function of
/// the C library counts as one call of its group, even when it calls others.
namespace Inject {

/// The groups, each with the error that its calls fail with. Reading counts for regular files and
/// sockets, as it hardly fails for a pipe; writing for pipes, too, with EPIPE. Neither counts for
/// the handles by which an event loop wakes itself.
enum Group : int
{
    None,
    Open,    ///< open, openat, creat, fopen: EMFILE
    Read,    ///< read, pread, readv, fread, fgets, getc: EIO
    Write,   ///< write, pwrite, writev, fwrite, fflush, fclose, ftruncate, sendfile: ENOSPC
    Short,   ///< the same, but the call takes half; with Lasting all later ones fail with ENOSPC
    Fsync,   ///< fsync, fdatasync: EIO
    Rename,  ///< rename, link, symlink: EACCES
    Mkdir,   ///< mkdir: ENOSPC
    Unlink,  ///< unlink, rmdir, remove: EACCES
    Stat,    ///< stat, fstat, lstat, statx, access, readlink, realpath: EACCES
    ReadDir, ///< opendir: EMFILE; readdir: EIO
    Fork,    ///< fork, clone, posix_spawn, popen, system: EAGAIN
    Pipe,    ///< pipe, socketpair, eventfd: EMFILE
    Seek,    ///< lseek, fseek, ftell: EIO
    Lock,    ///< flock, lockf, fcntl with a lock: ENOLCK
    Malloc,  ///< malloc, calloc, realloc, posix_memalign, and so operator new: ENOMEM
    GroupCount
};

constexpr const char *groupNames[] = {"",       "open",  "read",   "write", "short",   "fsync",
                                      "rename", "mkdir", "unlink", "stat",  "readdir", "fork",
                                      "pipe",   "seek",  "lock",   "malloc"};

static_assert(sizeof(groupNames) / sizeof(*groupNames) == GroupCount);

/// Lies in memory that a process shares with those that it forks. The parent can read there what a
/// child did, however the child ended.
struct State
{
    int group;
    long nth;          // the call that fails
    bool isLasting;    // all later calls of the group fail as well
    pid_t process;     // that armed it
    long calls;        // of the group
    long failures;     // calls that were made to fail
    long signalled;    // signals to ids of 1 and below, which were refused
    char call[32];     // the name of the first one that failed
    int depth;         // how many entries of the next one hold
    void *callers[40]; // of the first one that failed, innermost first
};

} // namespace Inject

// Found by dlsym(), so that a program runs without the library, too.
extern "C" {
Inject::State *inject_state();
void inject_arm(int group, long nth, bool isLasting);
void inject_disarm();
}
