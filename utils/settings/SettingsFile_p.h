#pragma once

#include "utils/platform/Platform.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QSettings>
#include <QStringList>

#include <memory>

class QFileDevice;

namespace Utils {

/// A settings file that is replaced completely or not at all, by every QSettings that this class
/// returns or constructs.
///
/// QSettings itself treats an incomplete read as the whole file, and replaces the file by as much
/// as the disk has room for. This class registers a QSettings format with the same text that checks
/// both: a file that was not read completely is not written, and an incomplete write, or one that
/// cannot be flushed to the disk, leaves the old file. QSettings flushes, too, when it replaces the
/// file, but ignores the result; this class flushes before that. QSettings then keeps the changes,
/// which all its objects for the file share. This class keeps a QSettings, so that no change is
/// lost while the disk is full.
///
/// There is one object for each file. It exists until the process ends.
class SettingsFile
{
public:
    /// The file of \p settings. Null when they are not stored in a file, or in a format of the
    /// host; and on Windows, where QSettings keeps the order of keys, which our format does not.
    static SettingsFile *of(const QSettings &settings);

    /// Stores the changes of all files. To be called before a QSettings is constructed: a plain one
    /// would write them without the checks.
    static void storeAll();

    /// A QSettings for the files of a default-constructed one that reads and writes them in our
    /// format, if it can: values that Qt cannot read safely are not built.
    static std::unique_ptr<QSettings> openSafely();

    /// Whether QSettings can find \p key. A file that was edited by hand may contain keys that it
    /// cannot.
    static bool isNormal(const QString &key);

    /// Must be called before the static objects are destroyed that a new QSettings needs.
    static void setProcessEnds();

    /// The QSettings for changes. Null when the process ends and there was none before.
    QSettings *writer();

    /// Records that \p key is set, or removed with everything below it.
    void setChanged(const QString &key);
    void setRemoved(const QString &key);

    /// If the file has changed since it was last read or written completely, for instance by a
    /// plain QSettings, compares the values in QSettings with it. If some are missing or differ,
    /// QSettings reads the file again.
    void check();

    /// Whether QSettings has all values of the file. Writes the changes, if that is possible.
    bool isReadable();

    /// The same for a caller that decides by the values what to write. The file is only examined
    /// when an attempt to read it has failed, and then read again.
    bool isRead();

    /// Keeps the value of \p key, until the process ends, for a key that has none in QSettings and
    /// may have one in the file. Of several values for a key, the first one counts.
    void keepDefault(const QString &key, const QVariant &value);
    bool hasDefaults() const { return !m_defaults.isEmpty(); }
    QVariant keptDefault(const QString &key, const QVariant &otherwise) const
    {
        return m_defaults.value(key, otherwise);
    }

    /// Writes the changes and reads those of other processes. False when one of them fails.
    bool store();

    /// The same for destructors and events of Qt, which no exception may leave. When there is not
    /// enough memory, the changes stay pending.
    bool tryToStore() noexcept;

    /// Writes the changes. Until release() has been called as often, nothing is written any more:
    /// what is in QSettings meanwhile must not be found after a kill. What was refused is written
    /// then.
    void hold() noexcept;
    void release() noexcept;

    bool isChanged() const { return m_isChanged; }

    /// The cause of the failure of the last attempt to read or to store, or "".
    QString reason() const { return m_reason; }

private:
    class Writer;

    /// The properties by which a change of the file is recognised.
    struct State
    {
        // Instead of a size.
        static constexpr qint64 NoFile = -1;
        static constexpr qint64 Unknown = -2;

        qint64 size = NoFile;
        qint64 modified = 0; ///< in milliseconds since the Unix epoch
        quint64 device = 0;
        quint64 number = 0;
        quint64 changed = 0; ///< a time that can only be compared

        bool isEmpty() const { return size == 0 || size == NoFile; }

        /// Whether QSettings takes files in these states for the same: it knows only the size and
        /// the time, and the clock of the file system may advance in steps of some milliseconds.
        bool looksLike(const State &other) const
        {
            return size == other.size && modified == other.modified;
        }
        bool isSameFile(const State &other) const
        {
            return looksLike(other) && device == other.device && number == other.number;
        }
        bool operator==(const State &other) const
        {
            return isSameFile(other) && changed == other.changed;
        }
    };

    explicit SettingsFile(const QString &path);
    static SettingsFile &at(const QString &path);
    static QSettings::Format format(const char *extension);

    static bool read(QIODevice &device, QSettings::SettingsMap &values);
    static bool write(QIODevice &device, const QSettings::SettingsMap &values);
    bool readAll(QSettings::SettingsMap &values);
    bool writeAll(QFileDevice &device, const QSettings::SettingsMap &values);

    static State stateOf(const Platform::EntryStatus &status);
    State state() const;
    bool isAsKnown(const State &now, const QByteArray &bytes) const;
    bool isHidden(const State &now);
    bool readBytes(QByteArray &bytes);
    bool touch() const;
    bool attempt();
    bool isHeld(const QSettings::SettingsMap &stored);
    void startChanges();
    bool hasLostItsKeys() const;
    bool holdsItsKeys() const;
    bool storesWhatIsHeld();
    bool isRemoved(const QString &key) const;
    bool removesWhatWasUnread();
    bool holdsWhatIsStored(const State &now, const QSettings::SettingsMap &values);

    /// Where the case of keys is ignored, QSettings passes keys in lower case to be written; these
    /// restore the case in which they were read or set.
    void noteCase(const QString &key);
    QSettings::SettingsMap withTheirCase(const QSettings::SettingsMap &values) const;
    QString obstacle() const;
    QString messageOf(const QString &reason) const;

    const QString m_path;
    std::unique_ptr<Writer> m_writer;
    QString m_reason;

    int m_holds = 0;
    bool m_isRefused = false; ///< a write, since the first hold

    State m_known;           ///< of the file when it was last read or written completely
    QByteArray m_bytes;      ///< of the file at that time
    QStringList m_keys;      ///< the same
    bool m_isUnread = false; ///< QSettings may lack values of the file
    QSettings::SettingsMap m_defaults;
    QHash<QString, QString> m_names; ///< of keys, by their lower case, where that is ignored

    // Since the file was last stored.
    bool m_isChanged = false;
    bool m_wasUnread = false; ///< then QSettings may not have known keys that were removed
    QSet<QString> m_removed;
    QSet<QString> m_setAgain; ///< keys set after they, or groups around them, were removed
    QStringList m_keysBefore; ///< of the file before it was read again

    // Since the current attempt began.
    bool m_wasRead = false;
    bool m_wasWritten = false;
    bool m_mustReadAgain = false; ///< QSettings considers the file as read, but it is not
    QByteArray m_writtenBytes;
    QStringList m_writtenKeys;
    State m_written; ///< of the new file, before it replaced the old one
};

} // namespace Utils
