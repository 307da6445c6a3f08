#include "utils/base/SafeFile_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FolderList_p.h"
#include "utils/base/LastError_p.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <new>

namespace Utils {

static std::atomic<bool> isSafe{false};
static std::atomic<bool> isDurable{true};

/// The numbers of Unix, in which the owner has what the user of the process has.
static unsigned unixPermissions(QFile::Permissions permissions)
{
    const auto bits = static_cast<unsigned>(permissions);
    const unsigned owner = (bits >> 12 | bits >> 8) & 7;
    return owner << 6 | (bits >> 4 & 7) << 3 | (bits & 7);
}

void SafeFile::setUsed(bool on, bool flush)
{
    isSafe = on;
    isDurable = flush;
}

bool SafeFile::isUsed() { return isSafe; }

bool SafeFile::isFlushed() { return isDurable; }

SafeFile::SafeFile(const QString &path) : m_path(path) {}

SafeFile::~SafeFile() = default;

void SafeFile::requireNewTarget()
{
    m_isNewOnly = true;
    m_replacement.requireNewTarget();
}

bool SafeFile::copyPermissions(const QString &path)
{
    const QString full = fullPath(path);
    if (isResource(full)) { // which the system does not know
        m_replacement.setPermissions(unixPermissions(QFile::permissions(full)));
        return true;
    }
    return m_replacement.copyPermissions(systemPath(path)) ||
           LastError::cannotRead(path, m_replacement.error());
}

bool SafeFile::open(OpenMode mode)
{
    if (!isName(m_path) || isResource(m_path)) // the latter cannot be written
        return LastError::cannotWrite(m_path, EACCES);
    if (!m_replacement.open(systemPath(m_path)))
        return storeReason();
    return QIODevice::open(mode | Unbuffered);
}

bool SafeFile::commit(bool flush)
{
    const bool isReplaced = m_replacement.finish(flush);
    if (isOpen())
        close();
    return isReplaced || storeReason();
}

qint64 SafeFile::readData(char *, qint64) { return -1; }

qint64 SafeFile::writeData(const char *bytes, qint64 size)
{
    return m_replacement.write(bytes, static_cast<std::size_t>(size)) ? size : -1;
}

bool SafeFile::storeReason()
{
    using Problem = Platform::FileReplacement::Problem;
    switch (m_replacement.problem()) {
    case Problem::None:
        break;
    case Problem::System:
        if (m_isNewOnly && m_replacement.error() == EEXIST)
            return LastError::setFor(".err.exists", m_path);
        return LastError::cannotWrite(m_path, m_replacement.error());
    case Problem::Folder:
        return LastError::setFor(".err.nobeside", m_path);
    case Problem::Disk:
        return LastError::setFor(".err.nosafe", m_path);
    case Problem::NotConfirmed:
        return LastError::setFor(".err.notflushed", m_path, errorText(m_replacement.error()));
    }
    return false;
}

std::unique_ptr<QIODevice> makeOutput(const QString &path)
{
    if (SafeFile::isUsed())
        return std::make_unique<SafeFile>(path);
    return std::make_unique<QFile>(pathForQt(path));
}

bool openOutput(QIODevice &output)
{
    auto *const file = qobject_cast<QFile *>(&output);
    if (!file)
        return output.open(QIODevice::WriteOnly);
    // For an empty path QFile prints a warning, and it would cut a path at a zero byte.
    return (isName(file->fileName()) && file->open(QIODevice::WriteOnly)) ||
           LastError::cannotWrite(*file);
}

bool finishOutput(QIODevice &output, bool isWritten)
{
    auto *const file = qobject_cast<QFile *>(&output);
    if (!file) {
        auto &safe = static_cast<SafeFile &>(output);
        return isWritten ? safe.commit() : safe.storeReason();
    }
    const bool isComplete = isWritten && file->flush();
    if (!isComplete && file->error() == QFile::NoError)
        LastError::setFor(".err.diskfull", file->fileName()); // a part was written
    else if (!isComplete)
        LastError::cannotWrite(*file);
    return true;
}

} // namespace Utils
