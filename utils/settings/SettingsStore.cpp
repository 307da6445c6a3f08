#include "utils/settings/SettingsStore_p.h"

#include "utils/base/LastError_p.h"
#include "utils/platform/Platform.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/SettingsFile_p.h"
#include "utils/settings/StoredVariant_p.h"

#include <algorithm>

namespace Utils {

static const QLatin1Char separator('/');

StoreObserver *SettingsStore::s_observer = nullptr;

static std::unique_ptr<QSettings> openSettings()
{
    static const int type = qRegisterMetaTypeStreamOperators<UnbuiltValue>();
    Q_UNUSED(type)
    SettingsFile::storeAll();
    return SettingsFile::openSafely();
}

SettingsStore::SettingsStore() : m_settings(openSettings()), m_file(SettingsFile::of(*m_settings))
{
    // Constructed after the static objects of Qt, it is destroyed before them.
    static const struct EndOfProcess
    {
        ~EndOfProcess() { SettingsFile::setProcessEnds(); }
    } endOfProcess;

    if (m_file)
        m_file->check();
}

SettingsStore::~SettingsStore()
{
    if (m_file && m_isChanged && m_file->isChanged())
        m_file->tryToStore();
}

void SettingsStore::hold()
{
    if (m_file)
        m_file->hold();
}

void SettingsStore::release()
{
    if (m_file)
        m_file->release();
}

void SettingsStore::beginGroup(const QString &group)
{
    m_prefix.reset();
    m_settings->beginGroup(group);
}

void SettingsStore::endGroup()
{
    m_prefix.reset();
    m_settings->endGroup();
}

QVariant SettingsStore::storedValue(const QString &key, const QVariant &defaultValue) const
{
    return IniText::built(m_settings->value(key, defaultValue));
}

QVariant SettingsStore::value(const QString &key, const QVariant &defaultValue) const
{
    if (m_file && m_file->hasDefaults() && !m_settings->contains(key))
        return m_file->keptDefault(fullKey(key), defaultValue);
    return storedValue(key, defaultValue);
}

void SettingsStore::keepDefault(const QString &key, const QVariant &value)
{
    if (m_file)
        m_file->keepDefault(fullKey(key), value);
}

/// The keys of \p settings with the names by which they were stored.
static QStringList withTheirNames(QStringList keys, const QSettings &settings)
{
    if (!Platform::hasRegistry() || settings.format() != QSettings::NativeFormat)
        return keys;
    const QString last = QStringLiteral(".");
    for (QString &key : keys) {
        if (key == last || key.endsWith(separator + last))
            key.replace(key.size() - 1, 1, QStringLiteral("Default"));
    }
    return keys;
}

QStringList SettingsStore::allKeys() const
{
    return withTheirNames(m_settings->allKeys(), *m_settings);
}

QStringList SettingsStore::childKeys() const
{
    return withTheirNames(m_settings->childKeys(), *m_settings);
}

QSettings::SettingsMap SettingsStore::values() const
{
    QSettings::SettingsMap values;
    QStringList keys = allKeys();
    keys.sort(Qt::CaseSensitive);
    for (const QString &key : qAsConst(keys)) {
        if (SettingsFile::isNormal(key))
            values.insert(values.cend(), key, m_settings->value(key));
    }
    return values;
}

void SettingsStore::copy(const QString &from, const QString &to)
{
    setValue(to, m_settings->value(from));
}

void SettingsStore::setValue(const QString &key, const QVariant &value)
{
    m_isChanged = true;
    if (QSettings *writer = m_file ? m_file->writer() : nullptr) {
        const QString full = fullKey(key);
        m_file->setChanged(full);
        writer->setValue(full, value);
    } else {
        m_settings->setValue(key, value);
    }
    if (s_observer)
        s_observer->changed(m_settings->fileName(), fullKey(key), value);
}

void SettingsStore::remove(const QString &key)
{
    m_isChanged = true;
    if (QSettings *writer = m_file ? m_file->writer() : nullptr) {
        const QString full = fullKey(key);
        m_file->setRemoved(full);
        writer->remove(full);
    } else {
        m_settings->remove(key);
    }
    if (s_observer)
        s_observer->removed(m_settings->fileName(), fullKey(key));
}

bool SettingsStore::sync()
{
    if (m_file) {
        m_file->store();
        m_file->check();
        return m_file->reason().isEmpty();
    }
    m_settings->sync();
    m_isChanged = m_settings->status() != QSettings::NoError;
    return !m_isChanged;
}

bool SettingsStore::isStored() const { return m_file ? !m_file->isChanged() : !m_isChanged; }

QString SettingsStore::reason() const
{
    if (m_file)
        return m_file->reason();
    const bool hasFailed = m_settings->status() == QSettings::AccessError;
    return hasFailed ? m_settings->fileName() + QLatin1String(": The store cannot be written")
                     : QString();
}

bool SettingsStore::isReadable() const
{
    if (m_file)
        return m_file->isReadable();
    return !isStored() || reason().isEmpty();
}

bool SettingsStore::isRead() const
{
    const LastError operation;
    return !m_file || m_file->isRead() || LastError::setFor(".err.settings", m_file->reason());
}

/// The key from the root, normalised as by QSettings.
QString SettingsStore::fullKey(const QString &key) const
{
    if (!m_prefix) {
        const QString group = m_settings->group();
        m_prefix = group.isEmpty() ? group : QString(group + separator);
    }
    if (!SettingsFile::isNormal(key)) {
        const QString full = *m_prefix + key;
        return full.split(separator, Qt::SkipEmptyParts).join(separator);
    }
    if (m_prefix->isEmpty())
        return key;
    // The operator + would allocate twice.
    QString full(m_prefix->size() + key.size(), Qt::Uninitialized);
    std::copy(key.begin(), key.end(), std::copy(m_prefix->begin(), m_prefix->end(), full.begin()));
    return full;
}

} // namespace Utils
