#pragma once

#include <QDateTime>
#include <QSet>
#include <QSettings>
#include <QStringList>

#include <memory>

class QFileDevice;

namespace Utils {

/// A settings file that is written whole or not at all, by every QSettings that this class hands
/// out or makes.
///
/// QSettings takes what it could read for all that there is, and replaces the file by what the disk
/// had room for. Here a format of our own with the same text stands between QSettings and the file:
/// what is not read whole is not written, and a write that is too short leaves the old file.
/// QSettings then keeps the changes, which all its objects on the file share, and this class keeps
/// QSettings, so that nothing is forgotten while the disk is full.
///
/// There is one object for a file, which lives as long as the process.
class SettingsFile
{
public:
    /// The file of \p settings, or null where they live elsewhere, in a format of the host, or on
    /// Windows, where the order of keys is kept that the format of our own forgets.
    static SettingsFile *of(const QSettings &settings);

    /// Whether a file has changes that the disk does not have yet. A plain QSettings on such a file
    /// would write them in its own way as it is made.
    static bool isAnyChanged();
    static void storeAll();

    /// What a plain QSettings reads, by an object that writes safely, too.
    static std::unique_ptr<QSettings> openSafely();

    /// Told when static objects may be gone that a new QSettings needs.
    static void setProcessEnds();

    /// The object that takes the changes. Null when the process ends and there is none yet.
    QSettings *writer();

    /// Notes that \p key is set, or removed with all below it.
    void setChanged(const QString &key);
    void setRemoved(const QString &key);

    /// Compares what QSettings holds with the file where the file is not known yet, and has it read
    /// again where that is less. A plain QSettings has read it, or has written it.
    void check();

    /// Writes the changes and reads those of other processes.
    bool store();

    bool isChanged() const { return m_isChanged; }

    /// Why the last attempt to read or to store failed, or "".
    QString reason() const { return m_reason; }

private:
    class Writer;

    /// By what a file is taken for unchanged.
    struct State
    {
        // In place of a size.
        static constexpr qint64 NoFile = -1;
        static constexpr qint64 Unknown = -2;

        qint64 size = NoFile;
        QDateTime modified;

        bool isEmpty() const { return size == 0 || size == NoFile; }
        bool operator==(const State &other) const
        {
            return size == other.size && modified == other.modified;
        }
    };

    explicit SettingsFile(const QString &path);
    static SettingsFile &at(const QString &path);
    static QSettings::Format format(const char *extension);

    static bool read(QIODevice &device, QSettings::SettingsMap &values);
    static bool write(QIODevice &device, const QSettings::SettingsMap &values);
    bool readAll(QSettings::SettingsMap &values);
    bool writeAll(QFileDevice &device, const QSettings::SettingsMap &values);

    State state() const;
    bool readBytes(QByteArray &bytes);
    bool touch() const;
    bool attempt();
    bool isHeld(const QSettings::SettingsMap &stored);
    bool storesWhatIsHeld();
    bool isRemoved(const QString &key) const;
    bool removesWhatWasUnread();
    bool holdsWhatIsStored(const QSettings::SettingsMap &values);
    QString obstacle() const;
    QString messageOf(const QString &reason) const;

    const QString m_path;
    std::unique_ptr<Writer> m_writer;
    QString m_reason;

    State m_known;      ///< the file when it was last read or written whole
    QStringList m_keys; ///< in it

    // Since it was last stored.
    bool m_isChanged = false;
    bool m_wasUnread = false; ///< so that QSettings did not know of keys that were removed
    QSet<QString> m_removed;
    QSet<QString> m_setAgain; ///< though they were removed, or what they are below
    QStringList m_keysBefore; ///< in the file before it was read again

    // Since the current attempt began.
    bool m_wasRead = false;
    bool m_wasWritten = false;
    bool m_mustReadAgain = false; ///< QSettings takes the file for read, and it is not
    QStringList m_writtenKeys;
};

} // namespace Utils
