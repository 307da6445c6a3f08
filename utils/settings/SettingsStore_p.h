#pragma once

#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <memory>

namespace Utils {

class SettingsFile;

/// The QSettings of one Settings object and of its copies. A plain one answers, and the writer of
/// the file takes the changes. Both share what they hold, with each QSettings on the file.
class SettingsStore
{
public:
    SettingsStore();
    ~SettingsStore();

    SettingsStore(const SettingsStore &) = delete;
    SettingsStore &operator=(const SettingsStore &) = delete;

    // As QSettings.
    void beginGroup(const QString &group) { m_settings->beginGroup(group); }
    void endGroup() { m_settings->endGroup(); }
    QString group() const { return m_settings->group(); }
    QVariant value(const QString &key, const QVariant &defaultValue = QVariant()) const
    {
        return m_settings->value(key, defaultValue);
    }
    QStringList allKeys() const { return m_settings->allKeys(); }
    QStringList childKeys() const { return m_settings->childKeys(); }
    QStringList childGroups() const { return m_settings->childGroups(); }
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);

    /// Stores what was set. False with why() when it cannot.
    bool sync();
    bool isStored() const;

    /// Why the last attempt to read or to store failed, or "".
    QString reason() const;

private:
    QString fullKey(const QString &key) const;

    std::unique_ptr<QSettings> m_settings;
    SettingsFile *m_file;     ///< null where QSettings writes in its own way
    bool m_isChanged = false; ///< by this object
};

/// While it lives, a store is in a group. It leaves that when an exception passes, too.
class GroupScope
{
public:
    GroupScope(SettingsStore &store, const QString &group) : m_store(store)
    {
        m_store.beginGroup(group);
    }
    ~GroupScope() { m_store.endGroup(); }

    GroupScope(const GroupScope &) = delete;
    GroupScope &operator=(const GroupScope &) = delete;

private:
    SettingsStore &m_store;
};

} // namespace Utils
