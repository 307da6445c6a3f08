#pragma once

#include <csignal>

#include <sys/resource.h>

/// While it lives, no file can grow beyond a number of bytes, as on a disk that is full then. A
/// write beyond it runs a function first.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes, void (*whenFull)(int) = SIG_IGN)
    {
        m_handler = std::signal(SIGXFSZ, whenFull);
        getrlimit(RLIMIT_FSIZE, &m_limit);
        rlimit limit = m_limit;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        makeRoom();
        std::signal(SIGXFSZ, m_handler);
    }

    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

    void makeRoom() { setrlimit(RLIMIT_FSIZE, &m_limit); }

private:
    void (*m_handler)(int);
    rlimit m_limit;
};
