#include "examples/workbench/Document.h"

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
    if (!readFile(m_path))
        return false;
    m_changes.clear();
    Q_EMIT contentsReplaced();
    return true;
}

bool Document::write(const QString &path)
{
    if (!writeFile(path))
        return false;
    m_changes.setClean();
    m_path = QFileInfo(path).absoluteFilePath();
    watch();
    Q_EMIT pathChanged();
    return true;
}

QString Document::failure() const { return Utils::File::lastError(); }
bool Document::holdsContents() const { return true; }
QString Document::whatSavingLoses() const { return {}; }

void Document::watch()
{
    m_watch = std::make_unique<Utils::FileWatch>(m_path, watchInterval);
    m_watch->Signal::connect(this, [this] { Q_EMIT changedOnDisk(); });
}

} // namespace Workbench
