#include "examples/console/History.h"

#include "utils/files/File.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Kelm {

static const int largest = 1000; // lines
static const QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;

History::History(const QString &path) : m_path(path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    m_lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    file.close();
    if (m_lines.size() < 2 * largest)
        return;
    m_lines = m_lines.mid(m_lines.size() - largest);
    if (Utils::File::writeSafely(path, QString(m_lines.join('\n') + '\n')))
        QFile::setPermissions(path, ownerOnly);
}

QString History::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/python_history";
}

bool History::append(const QString &line)
{
    if (line.trimmed().isEmpty() || (!m_lines.isEmpty() && m_lines.constLast() == line))
        return true;
    m_lines.append(line);
    const bool isNew = !QFileInfo::exists(m_path);
    if (isNew)
        QDir().mkpath(QFileInfo(m_path).path());
    QFile file(m_path);
    if (!file.open(QIODevice::Append))
        return false;
    if (isNew)
        file.setPermissions(ownerOnly);
    const QByteArray bytes = line.toUtf8() + '\n';
    return file.write(bytes) == bytes.size() && file.flush();
}

} // namespace Kelm
