#pragma once

#include <QFile>

#include <sys/resource.h>
#include <unistd.h>

/// While it lives, \p resource of this process is limited to \p value.
class Limit
{
public:
    Limit(decltype(RLIMIT_FSIZE) resource, rlim_t value) : m_resource(resource)
    {
        getrlimit(resource, &m_before);
        const rlimit limited = {value, m_before.rlim_max};
        setrlimit(resource, &limited);
    }
    ~Limit() { setrlimit(m_resource, &m_before); }

private:
    decltype(RLIMIT_FSIZE) m_resource;
    rlimit m_before;
};

/// The address space of this process at this moment, in bytes.
inline rlim_t memoryInUse()
{
    QFile statistics("/proc/self/statm");
    statistics.open(QIODevice::ReadOnly);
    const rlim_t pages = statistics.readAll().split(' ').value(0).toULongLong();
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}
