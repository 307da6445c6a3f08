#pragma once

#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <optional>

namespace Utils {

class SettingsFile;

/// Is called after each change that this process makes through Settings, with the key from the
/// root.
class StoreObserver
{
public:
    virtual void changed(const QString &file, const QString &key, const QVariant &value) = 0;
    virtual void removed(const QString &file, const QString &key) = 0; ///< and all below it

protected:
    ~StoreObserver() = default; // a store does not own it
};

/// The QSettings of one Settings object and of its copies. A plain one would build values that end
/// the process, so values are read by that of SettingsFile::openSafely(); changes are made in the
/// writer of the file. Both share their values with each other QSettings for the file.
class SettingsStore
{
public:
    SettingsStore();
    ~SettingsStore();

    /// Sets the observer of all stores of the process, or none.
    static void setObserver(StoreObserver *observer) { s_observer = observer; }

    SettingsStore(const SettingsStore &) = delete;
    SettingsStore &operator=(const SettingsStore &) = delete;

    // As in QSettings.
    void beginGroup(const QString &group);
    void endGroup();
    QString group() const { return m_settings->group(); }
    QVariant storedValue(const QString &key, const QVariant &defaultValue = QVariant()) const;
    QString fileName() const { return m_settings->fileName(); }
    QStringList allKeys() const;
    QStringList childKeys() const;
    QStringList childGroups() const { return m_settings->childGroups(); }
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);

    /// The same as storedValue(), but of a key without a value that by keepDefault(), if any.
    QVariant value(const QString &key, const QVariant &defaultValue = QVariant()) const;

    /// Keeps \p value for \p key until the process ends, without storing it.
    void keepDefault(const QString &key, const QVariant &value);

    /// All values in the current group and below it, by their keys, as they are stored: value()
    /// need not be able to return them.
    QSettings::SettingsMap values() const;

    /// Stores under \p to what is stored at \p from, which value() need not be able to return.
    void copy(const QString &from, const QString &to);

    /// Between the two, nothing is written to a file; see SettingsFile::hold().
    void hold();
    void release();

    /// Stores the changes. False when that fails; see reason().
    bool sync();
    bool isStored() const;

    /// The cause of the failure of the last attempt to read or to store, or "".
    QString reason() const;

    /// Whether the store has been read completely. Otherwise reason() tells why. True, too, while
    /// there are changes that cannot be stored.
    bool isReadable() const;

    /// Whether all values are known: to be asked before values decide what is written. Otherwise
    /// tries to read them again; when that fails, stores the reason for File::lastError() and
    /// returns false. True where QSettings itself writes the changes.
    bool isRead() const;

private:
    QString fullKey(const QString &key) const;

    static StoreObserver *s_observer; // a plain pointer, which objects that die late may test

    std::unique_ptr<QSettings> m_settings;
    mutable std::optional<QString> m_prefix; ///< the group and a "/", or "" at the root
    SettingsFile *m_file;                    ///< null where QSettings itself writes the changes
    bool m_isChanged = false;                ///< by this object
};

/// Enters a group of a store for a scope, and leaves it even when an exception passes.
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

/// Keeps what is in a store for the duration of a scope from being written.
class StoreHold
{
public:
    explicit StoreHold(SettingsStore &store) : m_store(store) { m_store.hold(); }
    ~StoreHold() { m_store.release(); }

    StoreHold(const StoreHold &) = delete;
    StoreHold &operator=(const StoreHold &) = delete;

private:
    SettingsStore &m_store;
};

} // namespace Utils
