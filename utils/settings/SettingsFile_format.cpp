// The format of settings files: where they are, and what QSettings calls to read and write them.

#include "utils/settings/SettingsFile_p.h"

#include "utils/base/LastError_p.h"
#include "utils/settings/IniText_p.h"

#include <QCoreApplication>
#include <QFileDevice>
#include <QHash>
#include <QPair>

#include <algorithm>
#include <cerrno>
#include <new>

namespace Utils {

QSettings::Format SettingsFile::format(const char *extension)
{
    // As in the formats of Qt: a plain QSettings shares the values of a file in memory.
    static const auto caseOfKeys =
        Platform::hasRegistry() ? Qt::CaseInsensitive : Qt::CaseSensitive;
    static const QSettings::Format conf =
        QSettings::registerFormat(QStringLiteral("conf"), &read, &write, caseOfKeys);
    static const QSettings::Format ini =
        QSettings::registerFormat(QStringLiteral("ini"), &read, &write, caseOfKeys);
    return *extension == 'c' ? conf : ini;
}

/// Lets \p safe, a format of this file, have the folders of \p plain.
static void followFolders(QSettings::Format plain, QSettings::Format safe)
{
    // To find them out, open the settings of an organisation that has none.
    const QString nobody = QStringLiteral("Kelm has no settings");
    // Of the safe formats, by format and scope. Never destroyed: scripts may store at the exit.
    static auto &known = *new QHash<QPair<int, int>, QString>;
    for (const auto scope : {QSettings::UserScope, QSettings::SystemScope}) {
        const auto folder = [&](QSettings::Format format) {
            const QString path = QSettings(format, scope, nobody).fileName();
            return path.left(path.lastIndexOf(QLatin1Char('/')));
        };
        QString &now = known[qMakePair(int(safe), int(scope))];
        const QString wanted = folder(plain);
        // A format without folders of its own has those of IniFormat. The system scope keeps them
        // while they are right, as QSettings searches fewer folders of the system once it is set.
        const bool isSystem = scope == QSettings::SystemScope;
        const auto isRight = [&] {
            return plain == QSettings::IniFormat || folder(safe) == wanted;
        };
        if (now != wanted && !(isSystem && now.isEmpty() && isRight())) {
            QSettings::setPath(safe, scope, wanted);
            now = wanted;
        }
    }
}

std::unique_ptr<QSettings> SettingsFile::openSafely()
{
    const QSettings::Format plain = QSettings::defaultFormat();
    const QSettings::Format safe = format(plain == QSettings::NativeFormat ? "conf" : "ini");
    const bool isRegistry = plain == QSettings::NativeFormat && Platform::hasRegistry();
    const bool isOfHost = plain != QSettings::NativeFormat && plain != QSettings::IniFormat;
    // Qt has room for sixteen formats, and the host may have registered as many.
    if (isRegistry || isOfHost || safe == QSettings::InvalidFormat)
        return std::make_unique<QSettings>();

    // The host chooses the folders, for each format, and may change them at any time.
    followFolders(plain, safe);
    const QString name = QCoreApplication::organizationName();
    auto settings = std::make_unique<QSettings>(
        safe, QSettings::UserScope, name.isEmpty() ? QCoreApplication::organizationDomain() : name,
        QCoreApplication::applicationName());
    at(settings->fileName()).m_wasRead = false;
    return settings;
}

bool SettingsFile::read(QIODevice &device, QSettings::SettingsMap &values)
{
    SettingsFile &file = at(static_cast<QFileDevice &>(device).fileName());
    try {
        return file.readAll(values);
    } catch (const std::bad_alloc &) { // which the constructor of QSettings does not survive
        file.m_wasUnread = true;
        file.m_isUnread = true;
        file.m_mustReadAgain = true;
        return false;
    }
}

bool SettingsFile::write(QIODevice &device, const QSettings::SettingsMap &values)
{
    auto &file = static_cast<QFileDevice &>(device);
    SettingsFile &settings = at(file.fileName());
    try {
        return settings.writeAll(file, settings.withTheirCase(values));
    } catch (const std::bad_alloc &) { // as in read()
        return false;
    }
}

void SettingsFile::noteCase(const QString &key)
{
    if (Platform::hasRegistry())
        m_names.insert(key.toLower(), key);
}

QSettings::SettingsMap SettingsFile::withTheirCase(const QSettings::SettingsMap &values) const
{
    if (m_names.isEmpty())
        return values;
    QSettings::SettingsMap named;
    for (auto value = values.begin(); value != values.end(); ++value)
        named.insert(m_names.value(value.key(), value.key()), *value);
    return named;
}

bool SettingsFile::readAll(QSettings::SettingsMap &values)
{
    const State now = state();
    QByteArray bytes;
    if (!readBytes(bytes)) {
        m_mustReadAgain = true;
        return false;
    }
    values = IniText::read(bytes);
    if (!m_isChanged)
        m_keysBefore.clear();
    m_keysBefore += m_keys;
    m_known = now;
    m_bytes = bytes;
    m_keys = values.keys();
    for (const QString &key : qAsConst(m_keys))
        noteCase(key);
    m_wasRead = true;
    return true;
}

bool SettingsFile::writeAll(QFileDevice &device, const QSettings::SettingsMap &values)
{
    if (m_holds > 0) {
        m_isRefused = true;
        m_reason = messageOf(QStringLiteral("A group is being renamed"));
        return false;
    }
    const State now = state();
    if (isHidden(now)) {
        m_mustReadAgain = true;
        return false;
    }
    if (!m_wasRead && !holdsWhatIsStored(now, values)) {
        m_mustReadAgain = true;
        m_wasUnread = true;
        m_isUnread = true;
        return false;
    }

    // A key that was removed but exists again, because QSettings had not read it at that time.
    m_wasUnread = m_wasUnread ||
                  std::any_of(m_keysBefore.cbegin(), m_keysBefore.cend(), [&](const QString &key) {
                      return values.contains(key) && isRemoved(key) && !m_setAgain.contains(key);
                  });

    // An incomplete write is not an error for the device, nor is one in its commit. The next write
    // or flush reports the reason.
    const QByteArray text = IniText::write(values);
    int written = 0;
    while (written < text.size()) {
        const qint64 count = device.write(text.constData() + written, text.size() - written);
        if (count <= 0)
            break;
        written += static_cast<int>(count);
    }
    if (written < text.size() || (!device.flush() && !device.flush())) {
        m_reason = messageOf(device.errorString());
        return false;
    }
    // The commit flushes to the disk, too, but ignores the result. It then finds nothing left to
    // flush, which takes some 30 us on a disk.
    if (!Platform::flushFile(device.handle())) {
        m_reason = messageOf(errorText(errno));
        return false;
    }
    m_written = stateOf(Platform::openFileStatus(device.handle()));
    m_writtenBytes = text;
    m_writtenKeys = values.keys();
    m_wasWritten = true;
    m_wasRead = false;
    return true;
}

/// Whether \p values, all values that are to be written, contain the keys of the file, whose state
/// is \p now, except those that were removed. Otherwise QSettings failed to read them, or an object
/// of the host has removed them; which of these is the case shows when the file is read again.
bool SettingsFile::holdsWhatIsStored(const State &now, const QSettings::SettingsMap &values)
{
    QStringList keys = m_keys;
    if (!(now == m_known)) {
        QByteArray bytes;
        if (!now.isEmpty() && !readBytes(bytes))
            return false;
        keys = IniText::read(bytes).keys();
    }
    auto value = values.keyBegin(); // sorted, as the keys are
    return std::all_of(keys.cbegin(), keys.cend(), [&](const QString &key) {
        value = std::find_if(value, values.keyEnd(),
                             [&](const QString &other) { return !(other < key); });
        return (value != values.keyEnd() && *value == key) || isRemoved(key);
    });
}

} // namespace Utils
