#include "examples/workbench/Document.h"

#include "examples/workbench/Texts.h"
#include "utils/files/File.h"
#include "utils/files/FileWatch.h"

#include <QFileInfo>

namespace Workbench {

static const unsigned int watchInterval = 1000; // milliseconds

Document::Document(const QString &path) : m_path(QFileInfo(path).absoluteFilePath()) {}
Document::~Document() = default;

bool Document::isAt(const QString &path) const
{
    const QFileInfo file(m_path);
    const QFileInfo other(path);
    if (file.exists() && other.exists())
        return file == other;
    return file.absoluteFilePath() == other.absoluteFilePath();
}

bool Document::read()
{
    watch(); // before it is read: a change during that is reported
    m_failure.clear();
    if (isDevice(m_path))
        return fail(text(".err.noFile").arg(m_path));
    if (!readFile(m_path))
        return false;
    Q_EMIT contentsReplaced();
    m_changes.clear(); // after the views have left the old contents
    return true;
}

bool Document::write(const QString &path)
{
    m_failure.clear();
    if (isDevice(path))
        return fail(text(".err.noFile").arg(path));
    if (!writeFile(path))
        return false;
    m_changes.setClean();
    m_path = QFileInfo(path).absoluteFilePath();
    watch();
    Q_EMIT pathChanged();
    return true;
}

QString Document::failure() const
{
    return m_failure.isEmpty() ? QString(Utils::File::lastError()) : m_failure;
}

bool Document::fail(const QString &reason)
{
    m_failure = reason;
    return false;
}

bool Document::isDevice(const QString &path)
{
    const QFileInfo file(path);
    return file.exists() && !file.isFile() && !file.isDir();
}

bool Document::holdsContents() const { return true; }
QString Document::whatSavingLoses() const { return {}; }

void Document::watch()
{
    m_watch = std::make_unique<Utils::FileWatch>(m_path, watchInterval);
    m_watch->Signal::connect(this, [this] { Q_EMIT changedOnDisk(); });
}

} // namespace Workbench
