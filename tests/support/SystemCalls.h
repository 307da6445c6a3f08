#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

/// From now on \p calls, such as SYS_pidfd_open, fail with \p error in this process and in all that
/// it starts. There is no way back, so this is for helper programs. False where it is not allowed.
inline bool failSystemCalls(std::initializer_list<long> calls, int error)
{
    std::vector<sock_filter> program = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long call : calls) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(call), 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<__u32>(error)));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// The calls that start a process or a thread.
inline bool failForks(int error)
{
    return failSystemCalls(
        {
            SYS_clone,
            SYS_clone3,
#ifdef SYS_fork
            SYS_fork,
            SYS_vfork,
#endif
        },
        error);
}
