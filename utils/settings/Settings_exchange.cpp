#include "utils/settings/Settings.h"

#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/settings/ExchangeText_p.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/SettingsFile_p.h"
#include "utils/settings/SettingsStore_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPair>
#include <QVector>

#include <algorithm>
#include <limits>
#include <new>

namespace Utils {

static const QLatin1Char separator('/');
static const QLatin1String flagsKey("Default");
static const QLatin1String defaultEnd("_default");

/// Also when other words are beside them: canExport() and canReset() look for a word anywhere.
static bool areFlags(const QVariant &value)
{
    const QString text = value.toString();
    return text == QLatin1String("export reset") || text.contains(QLatin1String("noexport")) ||
           text.contains(QLatin1String("noreset"));
}

static bool isFlagsKey(const QString &key)
{
    return key.endsWith(flagsKey) &&
           (key.size() == flagsKey.size() || key[key.size() - flagsKey.size() - 1] == separator);
}

/// Whether \p key holds the default of another one.
static bool isDefaultKey(const QString &key)
{
    const int start = key.size() - defaultEnd.size();
    return start > 0 && key.endsWith(defaultEnd) && key[start - 1] != separator;
}

static bool isInRecentLists(const QString &key)
{
    return key.startsWith(QLatin1String("MRU/")) || key.contains(QLatin1String("/MRU/"));
}

/// \p value with the hashes in it as lists: the order of a hash, and with it what is written of it,
/// differs between equal ones.
static QVariant withoutHashes(const QVariant &value)
{
    using Entry = QPair<QString, QVariant>;

    if (value.userType() == QMetaType::QVariantMap) {
        QVariantMap map = value.toMap();
        for (QVariant &each : map)
            each = withoutHashes(each);
        return map;
    }
    QVariantList list = value.toList(); // empty unless it is a list
    if (value.userType() == QMetaType::QVariantHash) {
        const QVariantHash hash = value.toHash();
        QVector<Entry> entries;
        for (auto entry = hash.begin(); entry != hash.end(); ++entry)
            entries.append({entry.key(), *entry});
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry &a, const Entry &b) { return a.first < b.first; });
        list.append(QVariantMap()); // so that no list is like a hash
        for (const Entry &entry : qAsConst(entries))
            list << entry.first << entry.second;
    } else if (value.userType() != QMetaType::QVariantList) {
        return value;
    }
    for (QVariant &each : list)
        each = withoutHashes(each);
    return list;
}

static bool areAlike(const QVariant &a, const QVariant &b)
{
    if (IniText::writeValue(a) == IniText::writeValue(b))
        return true;
    const int type = a.userType();
    const bool isContainer = type == QMetaType::QVariantHash || type == QMetaType::QVariantMap ||
                             type == QMetaType::QVariantList;
    return isContainer && b.userType() == type &&
           IniText::writeValue(withoutHashes(a)) == IniText::writeValue(withoutHashes(b));
}

namespace {

/// The groups whose flags contain a word, and all groups in them.
class FlaggedGroups
{
public:
    FlaggedGroups(const QSettings::SettingsMap &values, QLatin1String word)
    {
        for (auto value = values.begin(); value != values.end(); ++value) {
            if (!isFlagsKey(value.key()) || !value->toString().contains(word))
                continue;
            const int length = value.key().size() - flagsKey.size();
            m_prefixes.insert(value.key().left(length));
            m_longest = std::max(m_longest, length);
        }
    }

    /// Whether the current group is one of them, and with it all others.
    bool areAll() const { return m_prefixes.contains(QString()); }

    bool contain(const QString &key) const
    {
        int end = key.indexOf(separator) + 1;
        for (; end > 0 && end <= m_longest; end = key.indexOf(separator, end) + 1) {
            if (m_prefixes.contains(key.left(end)))
                return true;
        }
        return false;
    }

private:
    QSet<QString> m_prefixes; // each ends with a "/", or is ""
    int m_longest = 0;
};

} // namespace

/// Those of \p values that are exported, and imported into a store that has \p stored.
static QSettings::SettingsMap exchanged(const QSettings::SettingsMap &values,
                                        const QSettings::SettingsMap &stored)
{
    const FlaggedGroups kept(stored, QLatin1String("noexport"));
    QSettings::SettingsMap result;
    for (auto value = values.begin(); value != values.end(); ++value) {
        const QString &key = value.key();
        const bool isFlags = isFlagsKey(key) && (areFlags(*value) || areFlags(stored.value(key)));
        if (!isFlags && !isDefaultKey(key) && !isInRecentLists(key) && !kept.contain(key))
            result.insert(result.cend(), key, *value);
    }
    return result;
}

/// Of the keys in \p values, those whose value is not the default that is stored for it, with this
/// default.
static QSettings::SettingsMap changedDefaults(const QSettings::SettingsMap &values)
{
    QSettings::SettingsMap result;
    for (auto kept = values.begin(); kept != values.end(); ++kept) {
        if (!isDefaultKey(kept.key()))
            continue;
        const QString key = kept.key().chopped(defaultEnd.size());
        const auto value = values.constFind(key);
        if (!isDefaultKey(key) && (value == values.end() || !areAlike(*value, *kept)))
            result.insert(key, *kept);
    }
    return result;
}

/// The file that a path refers to, even if it does not exist yet.
static QString destinationOf(const QString &path)
{
    const QFileInfo file(pathForQt(path));
    QString canonical = file.canonicalFilePath();
    if (!canonical.isEmpty())
        return canonical;
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? QDir::cleanPath(file.absoluteFilePath())
                            : QDir(folder).filePath(file.fileName());
}

/// Whether both paths lead to the same file, which may have several names, or will do so.
static bool areSameFile(const QString &a, const QString &b)
{
    return destinationOf(a).compare(destinationOf(b), Qt::CaseInsensitive) == 0 || isSameFile(a, b);
}

static bool isNoFile(const QString &path)
{
    return isName(path) && fileStatus(path).entry == Platform::Entry::Other;
}

static bool writeWhole(const QString &path, const QByteArray &text)
{
    if (isNoFile(path))
        return LastError::set(".err.nofiletype", {path});
    SafeFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(text); // a failure is that of commit(), too
    return file.commit(/*flush=*/true);
}

/// Whether all settings are known. Stores the reason otherwise.
static bool isWhole(const SettingsStore &settings)
{
    return settings.isReadable() || LastError::set(".err.settings", {settings.reason()});
}

bool Settings::exportTo(const Data::String &path) const
{
    LastError operation;
    try {
        if (areSameFile(path, m_settings->fileName()))
            return LastError::set(".err.exportOwnFile", {path});
        if (!isWhole(*m_settings))
            return false;
        const QSettings::SettingsMap stored = m_settings->values();
        if (isPrivate(stored))
            return false;
        const QByteArray text = ExchangeText::write(exchanged(stored, stored));
        return writeWhole(path, text) && operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

/// Whether the flags of the current group exclude it from exports. Stores the reason then.
bool Settings::isPrivate(const QMap<QString, QVariant> &stored) const
{
    const QString group = m_settings->group();
    const bool isRecent = isInRecentLists(group + separator);
    if (!isRecent && !FlaggedGroups(stored, QLatin1String("noexport")).areAll())
        return false;
    LastError::set(".err.noExport", {group});
    return true;
}

static bool readWhole(const QString &path, QByteArray &text)
{
    if (isNoFile(path))
        return LastError::set(".err.nofiletype", {path});
    QFile file(pathForQt(path));
    if (!isName(path) || !file.open(QIODevice::ReadOnly))
        return LastError::cannotRead(file);
    if (file.size() > std::numeric_limits<int>::max() / 2)
        return LastError::set(".err.toolarge", {path});
    text = file.readAll();
    return (file.error() == QFile::NoError && text.size() == file.size()) ||
           LastError::cannotRead(file);
}

static bool readExport(const QString &path, QSettings::SettingsMap &values)
{
    QByteArray text;
    if (!readWhole(path, text))
        return false;
    int line = 0;
    switch (ExchangeText::read(text, values, line)) {
    case ExchangeText::Outcome::Complete:
        break;
    case ExchangeText::Outcome::Foreign:
        return LastError::set(".err.importForeign", {path});
    case ExchangeText::Outcome::Incomplete:
        return LastError::set(".err.importShort", {path});
    case ExchangeText::Outcome::BadLine:
        return LastError::set(".err.importLine", {path, QString::number(line)});
    }
    return true;
}

bool Settings::importFrom(const Data::String &path)
{
    LastError operation;
    const std::shared_ptr<SettingsStore> settings = m_settings;
    try {
        if (!isWhole(*settings)) // whose flags are not known
            return false;
        const QSettings::SettingsMap stored = settings->values();
        QSettings::SettingsMap values;
        if (isPrivate(stored) || !readExport(path, values))
            return false;
        storeTogether(*settings, exchanged(values, stored), stored);
        return operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

bool Settings::resetGroup(const Data::String &group)
{
    LastError operation;
    const std::shared_ptr<SettingsStore> settings = m_settings;
    try {
        if (!isWhole(*settings))
            return false;
        const GroupScope scope(*settings, group);
        const QSettings::SettingsMap stored = settings->values();
        const FlaggedGroups kept(stored, QLatin1String("noreset"));
        if (kept.areAll())
            return LastError::set(".err.noReset", {settings->group()});
        const QSettings::SettingsMap changed = changedDefaults(stored);
        QSettings::SettingsMap defaults;
        for (auto value = changed.begin(); value != changed.end(); ++value) {
            if (!kept.contain(value.key()))
                defaults.insert(defaults.cend(), value.key(), *value);
        }
        storeTogether(*settings, defaults, stored);
        return operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

QStringList Settings::changedFromDefaults() const
{
    return changedDefaults(m_settings->values()).keys();
}

/// Stores all of \p values, or none when there is not enough memory. Then the signal is sent for
/// each that is new, or another one than in \p stored.
void Settings::storeTogether(SettingsStore &settings, const QMap<QString, QVariant> &values,
                             const QMap<QString, QVariant> &stored)
{
    QVector<QString> changed;
    for (auto value = values.begin(); value != values.end(); ++value) {
        const auto old = stored.constFind(value.key());
        if (old == stored.end() || !areAlike(*old, *value))
            changed.append(value.key());
    }

    const Data::String prefix = fullKey(settings, QString());
    int count = 0;
    try {
        for (; count < changed.size(); ++count)
            settings.setValue(changed[count], values[changed[count]]);
    } catch (const std::bad_alloc &) {
        for (int i = 0; i <= count; ++i) {
            const auto old = stored.constFind(changed[i]);
            if (old == stored.end())
                settings.remove(changed[i]);
            else
                settings.setValue(changed[i], *old);
        }
        throw;
    }
    for (const QString &key : qAsConst(changed)) {
        try {
            notify(prefix + key, IniText::built(values[key]));
        } catch (const std::bad_alloc &) {
            // All values are stored, which is the result. This change cannot be reported.
        }
    }
}

} // namespace Utils
