#include "utils/settings/SettingsFile_p.h"

#include "utils/base/FileStatus_p.h"
#include "utils/settings/IniText_p.h"

#include <QDateTime>
#include <QEvent>
#include <QFile>
#include <QHash>
#include <QTemporaryFile>

#include <algorithm>
#include <new>
#include <utility>

namespace Utils {

static const int readAttempts = 3;

static bool processEnds = false;

/// The QSettings in which changes are made. It stores them when control returns to the event loop.
class SettingsFile::Writer : public QSettings
{
public:
    explicit Writer(SettingsFile &file)
        : QSettings(file.m_path, SettingsFile::format("conf")), m_file(file)
    {}

    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::UpdateRequest)
            m_file.tryToStore();
        try {
            return QSettings::event(event);
        } catch (const std::bad_alloc &) {
            return true; // the next object, or sync(), stores
        }
    }

private:
    SettingsFile &m_file;
};

// Never destroyed: static objects of a host may change settings when the process ends.
static QHash<QString, SettingsFile *> &files()
{
    static auto &files = *new QHash<QString, SettingsFile *>;
    return files;
}

static bool isPlainFile(const QSettings &settings)
{
    const QSettings::Format format = settings.format();
    const QString path = settings.fileName();
    return Platform::hasSortedSettings() &&
           (format == QSettings::NativeFormat || format == QSettings::IniFormat) &&
           (path.endsWith(QLatin1String(".conf")) || path.endsWith(QLatin1String(".ini")));
}

static bool isAtOrBelow(const QString &key, const QString &group)
{
    return group.isEmpty() || key == group || key.startsWith(group + QLatin1Char('/'));
}

/// Removes the entries that are at or below \p group; \p keyOf returns the key at an iterator.
template <typename Entries, typename KeyOf>
static void removeAtOrBelow(Entries &entries, const QString &group, const KeyOf &keyOf)
{
    for (auto entry = entries.begin(); entry != entries.end();) {
        if (isAtOrBelow(keyOf(entry), group))
            entry = entries.erase(entry);
        else
            ++entry;
    }
}

SettingsFile::SettingsFile(const QString &path) : m_path(path) {}

SettingsFile *SettingsFile::of(const QSettings &settings)
{
    const bool isOurs = settings.format() == format("conf") || settings.format() == format("ini");
    const bool hasFormats =
        format("conf") != QSettings::InvalidFormat && format("ini") != QSettings::InvalidFormat;
    return hasFormats && (isOurs || isPlainFile(settings)) ? &at(settings.fileName()) : nullptr;
}

SettingsFile &SettingsFile::at(const QString &path)
{
    const auto known = files().constFind(path);
    if (known != files().constEnd())
        return **known;
    std::unique_ptr<SettingsFile> file(new SettingsFile(path));
    files().insert(path, file.get()); // inserts nothing when there is not enough memory
    return *file.release();
}

void SettingsFile::storeAll()
{
    const QList<SettingsFile *> all = files().values();
    for (SettingsFile *file : all) {
        if (file->m_isChanged)
            file->store();
    }
}

bool SettingsFile::isNormal(const QString &key)
{
    bool isName = false;
    for (const QChar c : key) {
        const bool wasName = isName;
        isName = c != QLatin1Char('/');
        if (!isName && !wasName)
            return false;
    }
    return isName;
}

void SettingsFile::setProcessEnds() { processEnds = true; }

QSettings *SettingsFile::writer()
{
    if (!m_writer && !processEnds) {
        m_writer = std::make_unique<Writer>(*this);
        m_wasRead = false;
    }
    return m_writer.get();
}

void SettingsFile::setChanged(const QString &key)
{
    if (!m_isChanged)
        startChanges();
    noteCase(key);
    if (!m_removed.isEmpty())
        m_setAgain.insert(key);
}

void SettingsFile::setRemoved(const QString &key)
{
    if (!m_isChanged)
        startChanges();
    m_wasUnread = m_wasUnread || m_isUnread;
    m_removed.insert(key);
    removeAtOrBelow(m_defaults, key, [](const auto &kept) { return kept.key(); });
    removeAtOrBelow(m_setAgain, key, [](const auto &set) { return *set; });
}

void SettingsFile::startChanges()
{
    // From now on, a key may be found because it has been set.
    m_isUnread = m_isUnread || hasLostItsKeys();
    m_isChanged = true;
}

/// Whether QSettings has forgotten the values of the file, as it does when it looks for changes of
/// the file and the system does not let it examine or open the file. It tells nobody. Only while
/// there are no changes.
bool SettingsFile::hasLostItsKeys() const
{
    // It forgets all or none.
    const auto sample = std::find_if(m_keys.cbegin(), m_keys.cend(), &isNormal);
    return m_writer && sample != m_keys.cend() && !m_writer->contains(*sample);
}

/// Whether QSettings knows all keys of the file, except those that were removed.
bool SettingsFile::holdsItsKeys() const
{
    const QStringList held = m_writer ? m_writer->allKeys() : QStringList(); // sorted
    return std::all_of(m_keys.cbegin(), m_keys.cend(), [&](const QString &key) {
        return std::binary_search(held.begin(), held.end(), key) || isRemoved(key);
    });
}

void SettingsFile::keepDefault(const QString &key, const QVariant &value)
{
    if (!m_defaults.contains(key))
        m_defaults.insert(key, value);
}

void SettingsFile::check()
{
    if (m_isChanged)
        return;
    const State now = state();
    m_isUnread = m_isUnread || hasLostItsKeys();
    if (now == m_known && m_reason.isEmpty() && !m_isUnread)
        return;

    m_reason.clear();
    if (now.isEmpty()) {
        m_known = now;
        m_bytes.clear();
        m_keys.clear();
        m_isUnread = false;
        return;
    }

    m_wasRead = false;
    m_isUnread = true;
    QByteArray bytes;
    if (readBytes(bytes)) {
        const QSettings::SettingsMap stored = IniText::read(bytes);
        // What a plain QSettings of the host has read, QSettings would build in its own way.
        const bool isOurs = !IniText::hasUnbuilt(stored) || isAsKnown(now, bytes) || touch();
        if (!isOurs || (!isHeld(stored) && (!touch() || !isHeld(stored)))) {
            if (m_reason.isEmpty())
                m_reason = messageOf(QStringLiteral("The file could not be read whole"));
        } else {
            m_isUnread = false;
            if (!m_wasRead) {
                m_known = now;
                m_bytes = bytes;
                m_keys = stored.keys();
            }
        }
    }
    m_wasRead = false;
}

bool SettingsFile::isRead()
{
    if (processEnds)
        return !m_isUnread;
    writer(); // made later, it could be the one that loses the keys
    if (!m_isChanged && !m_isUnread)
        m_isUnread = hasLostItsKeys();
    if (!m_isUnread)
        return true;
    if (!m_isChanged)
        store(); // what the host has changed by a QSettings of its own
    return isReadable();
}

bool SettingsFile::isReadable()
{
    writer();
    if (!m_isChanged || store()) {
        check();
        return m_reason.isEmpty();
    }
    // With changes, the reason may be that of a write. Then QSettings tells what it has read.
    const QSettings settings(m_path, format("conf"));
    QSettings::SettingsMap held;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        held.insert(key, QVariant());
    m_isUnread = !holdsWhatIsStored(state(), held);
    m_wasRead = false;
    return !m_isUnread;
}

bool SettingsFile::store()
{
    bool isStored = attempt();
    // Another process may replace the file again before QSettings reads it.
    for (int i = 1; !isStored && m_mustReadAgain && i < readAttempts && touch(); ++i)
        isStored = attempt();
    if (processEnds)
        return isStored;

    if (isStored && m_wasUnread && !m_removed.isEmpty())
        isStored = removesWhatWasUnread();
    if (isStored) {
        if (m_wasWritten) {
            const State now = state();
            const bool isWritten = now.isSameFile(m_written) || m_written.size == State::Unknown;
            m_known = isWritten ? now : m_written; // another process has replaced it since
            m_bytes = m_writtenBytes;
            m_keys = m_writtenKeys;
        }
        m_removed.clear();
        m_setAgain.clear();
        m_keysBefore.clear();
        m_isChanged = false;
        m_wasUnread = false;
    } else if (m_reason.isEmpty()) {
        m_reason = messageOf(obstacle());
    }
    m_wasRead = false;
    return isStored;
}

bool SettingsFile::tryToStore() noexcept
{
    try {
        return store();
    } catch (const std::bad_alloc &) {
        m_wasRead = false;
        return false;
    }
}

void SettingsFile::hold() noexcept
{
    if (m_holds == 0 && m_isChanged)
        tryToStore(); // a receiver may keep the file held for minutes
    ++m_holds;
}

void SettingsFile::release() noexcept
{
    if (--m_holds == 0 && std::exchange(m_isRefused, false))
        tryToStore();
}

/// Makes QSettings write and read. The status of a QSettings keeps its first failure, so each
/// attempt needs a new object.
bool SettingsFile::attempt()
{
    m_wasRead = false;
    m_wasWritten = false;
    m_mustReadAgain = false;
    m_reason.clear();

    if (!processEnds) {
        const bool isDone = QSettings(m_path, format("conf")).status() == QSettings::NoError;
        if (!isDone && !m_isUnread)
            m_isUnread = !holdsItsKeys();
        return isDone && (!m_isChanged || m_wasWritten || storesWhatIsHeld());
    }
    if (m_writer)
        m_writer->sync();
    return m_reason.isEmpty();
}

/// Whether QSettings has all values of \p stored. The call may make it read the file.
bool SettingsFile::isHeld(const QSettings::SettingsMap &stored)
{
    const QSettings settings(m_path, format("conf"));
    if (m_wasRead)
        return true;

    const QStringList keys = settings.allKeys(); // sorted
    return std::all_of(stored.keyBegin(), stored.keyEnd(), [&](const QString &key) {
        return std::binary_search(keys.begin(), keys.end(), key) &&
               (!isNormal(key) ||
                IniText::writeValue(settings.value(key)) == IniText::writeValue(stored[key]));
    });
}

/// Stores the values that the file lacks. Called when there were changes but QSettings had nothing
/// to write: a plain QSettings has written them, perhaps to a full disk, or nothing had changed.
bool SettingsFile::storesWhatIsHeld()
{
    const State now = state();
    if (isHidden(now)) {
        m_mustReadAgain = true;
        return false;
    }
    QByteArray bytes;
    if (!now.isEmpty() && !readBytes(bytes))
        return false;

    const QSettings::SettingsMap stored = IniText::read(bytes);
    QSettings settings(m_path, format("conf"));
    bool isComplete = true;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys) {
        const QVariant value = isNormal(key) ? settings.value(key) : stored.value(key);
        if (stored.contains(key) && IniText::writeValue(stored[key]) == IniText::writeValue(value))
            continue;
        if (isNormal(key))
            settings.setValue(key, value);
        isComplete = false;
    }
    if (isComplete) {
        m_known = now;
        m_bytes = bytes;
        m_keys = stored.keys();
        return true;
    }
    settings.sync();
    return settings.status() == QSettings::NoError && m_wasWritten;
}

bool SettingsFile::isRemoved(const QString &key) const
{
    for (int end = key.size(); end > 0; end = key.lastIndexOf(QLatin1Char('/'), end - 1)) {
        if (m_removed.contains(key.left(end)))
            return true;
    }
    return m_removed.contains(QString());
}

/// Removes the keys whose removal QSettings has lost, because it had not read them at that time.
bool SettingsFile::removesWhatWasUnread()
{
    QSettings settings(m_path, format("conf"));
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys) {
        if (!isNormal(key) || !isRemoved(key) || m_setAgain.contains(key))
            continue;
        // Keys below it that were set since then must stay.
        QSettings::SettingsMap kept;
        for (const QString &other : keys) {
            if (other != key && isAtOrBelow(other, key) && settings.contains(other))
                kept[other] = settings.value(other);
        }
        settings.remove(key);
        for (auto entry = kept.begin(); entry != kept.end(); ++entry)
            settings.setValue(entry.key(), *entry);
    }
    settings.sync();
    return settings.status() == QSettings::NoError;
}

SettingsFile::State SettingsFile::stateOf(const Platform::EntryStatus &status)
{
    State state;
    if (status.entry == Platform::Entry::Unknown) {
        state.size = State::Unknown;
    } else if (status.entry != Platform::Entry::Missing) {
        state.size = status.size;
        state.modified = status.modified;
        state.device = status.device;
        state.number = status.number;
        state.changed = status.changed;
    }
    return state;
}

SettingsFile::State SettingsFile::state() const
{
    // Not by QFileInfo, which converts the time to local time for longer than the query takes.
    State state = stateOf(fileStatus(m_path));
    // When the query fails, the file looks empty or missing.
    if (state.isEmpty()) {
        QFile file(m_path);
        if (file.open(QIODevice::ReadOnly) && !file.read(1).isEmpty())
            state.size = State::Unknown;
    }
    return state;
}

/// Whether QSettings has not read the file again, and need not: the file, whose state is \p now,
/// still contains \p bytes. Its rights or its number may be others.
bool SettingsFile::isAsKnown(const State &now, const QByteArray &bytes) const
{
    return now.looksLike(m_known) && bytes == m_bytes;
}

/// Whether the file, whose state is \p now, has been replaced without QSettings noticing it: what
/// QSettings holds, and would write, is older.
bool SettingsFile::isHidden(const State &now)
{
    if (m_wasRead || !now.looksLike(m_known) || now == m_known || now.isEmpty())
        return false;
    // A change of rights or a hard link changes the state, too, and some file systems change the
    // number of a file. To let QSettings read it again takes the right to set its time.
    QByteArray bytes;
    if (!readBytes(bytes) || !isAsKnown(now, bytes))
        return true;
    m_known = now;
    return false;
}

bool SettingsFile::readBytes(QByteArray &bytes)
{
    for (int i = 0; i < readAttempts; ++i) {
        const State before = state();
        QFile file(m_path);
        if (file.open(QIODevice::ReadOnly)) {
            bytes = file.readAll();
            if (bytes.size() == before.size && before == state())
                return true;
        }
        m_reason = messageOf(file.error() == QFile::NoError
                                 ? QStringLiteral("The file could not be read whole")
                                 : file.errorString());
    }
    m_wasUnread = true;
    m_isUnread = true;
    return false;
}

/// Changes the modification time of the file, so that QSettings reads it again.
bool SettingsFile::touch() const
{
    // In milliseconds. There are file systems that store whole seconds, or only even ones.
    static const int steps[] = {1, 1000, 2000};
    static const auto modification = QFileDevice::FileModificationTime;

    QFile file(m_path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        return false;
    const QDateTime before = file.fileTime(modification);
    for (const int step : steps) {
        const QDateTime now = QDateTime::currentDateTime();
        if (!file.setFileTime(qMax(before.addMSecs(step), now), modification))
            return false;
        if (file.fileTime(modification) != before)
            return true;
    }
    return false;
}

/// The reason why the file cannot be replaced.
QString SettingsFile::obstacle() const
{
    QFile file(m_path);
    if (file.exists() && !file.open(QIODevice::ReadWrite))
        return file.errorString();
    QTemporaryFile trial(m_path + QLatin1String(".XXXXXX"));
    const QByteArray block(4096, ' ');
    if (!trial.open() || trial.write(block) != block.size() || !trial.flush())
        return trial.errorString();
    return QStringLiteral("The file could not be replaced");
}

QString SettingsFile::messageOf(const QString &reason) const
{
    return m_path + QLatin1String(": ") + reason;
}

} // namespace Utils
