#include "utils/base/LastError_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/platform/Platform.h"

#include <QFileDevice>

#include <cerrno>
#include <new>

namespace Utils {

using Platform::FileFault;

namespace {

/// The reason of a thread. It has no destructor: static objects of a host, which are destroyed
/// after the objects of the main thread, may still call operations.
struct Reason
{
    const char *id;      // null when there is none
    QStringList *values; // null when there are none
    int depth;           // operations that run

    void clear()
    {
        id = nullptr;
        if (values)
            values->clear();
    }
};

thread_local Reason reason = {nullptr, nullptr, 0};

} // namespace

/// Frees the values when the thread ends.
static void releaseValues(void *)
{
    reason.id = nullptr;
    delete reason.values;
    reason.values = nullptr;
}

static void setValues(const QStringList &values)
{
    if (!reason.values && values.isEmpty())
        return;
    if (!reason.values) {
        // Not by a thread-local object: for the destructor of one, the C library needs memory, and
        // it ends the process when there is none.
        if (!Platform::callAtThreadEnd(&releaseValues, &reason))
            return;
        reason.values = new QStringList;
    }
    *reason.values = values;
}

LastError::LastError()
{
    if (reason.depth++ == 0)
        reason.clear();
}

LastError::~LastError() { --reason.depth; }

bool LastError::succeeded()
{
    if (reason.depth == 1)
        reason.clear();
    return true;
}

bool LastError::set(const char *id, const QStringList &values)
{
    if (reason.id)
        return false;
    reason.id = id;
    try {
        setValues(values);
    } catch (const std::bad_alloc &) {
        // shown without the values
    }
    return false;
}

const char *LastError::id() { return reason.id; }

QStringList LastError::values() { return reason.values ? *reason.values : QStringList(); }

LastError::Apart::Apart() : m_id(reason.id), m_values(reason.values), m_depth(reason.depth)
{
    reason = {nullptr, nullptr, 0};
}

LastError::Apart::~Apart()
{
    delete reason.values;
    reason = {m_id, m_values, m_depth};
}

// Files

/// Stores the reason of \p fault. The ids are those for a file that is missing, and for others.
static bool setFault(const QString &path, FileFault fault, const QString &text, bool isReading)
{
    if (path.isEmpty())
        return LastError::set(".err.noname");
    if (hasZeroByte(path))
        return LastError::setFor(".err.badname", path);
    switch (fault) {
    case FileFault::Missing:
        return LastError::setFor(isReading ? ".err.nofile" : ".err.nofolder", path);
    case FileFault::Folder:
        return LastError::setFor(".err.isfolder", path);
    case FileFault::NoRight:
        return LastError::setFor(isReading ? ".err.noread" : ".err.nowrite", path);
    case FileFault::ReadOnly:
        return LastError::setFor(".err.readonly", path);
    case FileFault::Full:
        return LastError::setFor(".err.diskfull", path);
    case FileFault::NoMemory:
        return LastError::set(".err.memory");
    case FileFault::Other:
        break;
    }
    return LastError::setFor(isReading ? ".err.readfault" : ".err.writefault", path, text);
}

/// The text for an error number (errno).
QString errorText(int error)
{
    const std::string text = Platform::errorText(error);
    return text.empty() ? qt_error_string(error) : QString::fromLocal8Bit(text.c_str());
}

static bool setNumber(const QString &path, int error, bool isReading)
{
    try {
        return setFault(path, Platform::fileFault(error), errorText(error), isReading);
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

bool LastError::cannotRead(const QString &path, int error)
{
    return setNumber(path, error, /*isReading=*/true);
}

bool LastError::cannotWrite(const QString &path, int error)
{
    return setNumber(path, error, /*isReading=*/false);
}

/// The last failure of \p file, which is at \p path, or of the link there without \p followLinks.
/// Qt keeps only its text.
static FileFault faultOf(const QString &path, const QFileDevice &file, bool followLinks)
{
    if (fileStatus(path, followLinks).entry == Platform::Entry::Folder)
        return FileFault::Folder;
    const QString text = file.errorString();
    for (int code = 1; code <= Platform::lastSystemFault(); ++code) {
        const FileFault fault = Platform::systemFault(code);
        if (fault != FileFault::Other && text == qt_error_string(code))
            return fault;
    }
    return FileFault::Other;
}

static bool setFile(const QString &path, const QFileDevice &file, bool isReading,
                    bool followLinks = true)
{
    // When a seek fails, Qt prints a warning before it asks the system for the reason, which is
    // lost then.
    if (file.error() == QFileDevice::PositionError)
        return setNumber(path, EIO, isReading);
    try {
        return setFault(path, faultOf(path, file, followLinks), file.errorString(), isReading);
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

bool LastError::cannotRead(const QFileDevice &file) { return cannotRead(file.fileName(), file); }

bool LastError::cannotRead(const QString &path, const QFileDevice &file)
{
    return setFile(path, file, /*isReading=*/true);
}

bool LastError::cannotWrite(const QFileDevice &file)
{
    return setFile(file.fileName(), file, /*isReading=*/false);
}

bool LastError::cannotRemove(const QFileDevice &file)
{
    return setFile(file.fileName(), file, /*isReading=*/false, /*followLinks=*/false);
}

/// The error of the system for a path that is not the path of a file.
static int errorFor(Platform::Entry entry)
{
    switch (entry) {
    case Platform::Entry::Folder:
        return EISDIR;
    case Platform::Entry::Unknown:
        return EACCES;
    default:
        return ENOENT;
    }
}

bool LastError::isNoFile(const QString &path)
{
    const Platform::Entry entry = fileStatus(path).entry;
    return entry == Platform::Entry::Other ? setFor(".err.nofiletype", path)
                                           : cannotRead(path, errorFor(entry));
}

} // namespace Utils
