#pragma once

#include "data/Color.h"
#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QStringList>

#include <memory>

namespace Utils {

class SettingsSignal;
class SettingsStore;

/// The persistent settings of the application: a typed layer over a QSettings, which tells of every
/// change on one signal of the process, SettingChanged().
///
///     Utils::Settings settings("View");
///     const int width = settings.getInt("width", 640);
///     settings.setInt("width", 800); // tells of "View/width"
///
/// Where the values live is decided by the organisation and application names of the host.
///
/// A file is replaced whole or not at all. When that fails, for instance on a full disk, the old
/// file stays, and what was set stays in memory until the process ends; each change, each death of
/// an object that has set something and sync() try again. A file that cannot be read whole is not
/// written. status() tells of both. Not protected is what a QSettings of the host writes, which
/// includes what is pending when one is made; what lives elsewhere than in a file, or in a format
/// of the host; on Windows, INI files too; and what is set for the first time when static objects
/// die.
///
/// Keys are separated into groups by "/" and are relative to the group that the object is in. A key
/// is told of as it was passed, behind the group and a "/"; QSettings itself takes "/a//b/" for
/// "a/b". A key without a name, which is "" or nothing but "/", is never written or removed, and
/// reading it gives the default.
///
/// A stored value keeps its type only within the process; afterwards it may be text. The getX()
/// convert it, and what does not convert gives 0, false or "": the default is for an absent key.
///
/// Copies share one QSettings and with it the group that they are in. The death of one of them
/// changes nothing for the others.
///
/// Receivers of SettingChanged() may do anything, down to deleting this object, but must leave the
/// group of a shared QSettings as they find it.
class KELMUTILS_EXPORT Settings
{
public:
    /// The settings in \p group, or all of them when it is empty.
    explicit Settings(const Data::String &group = Data::String());
    Settings(const Settings &other);
    Settings &operator=(const Settings &other);
    virtual ~Settings();

    /// Enters \p group below the current one. Balance it with endGroup(), which goes back.
    Settings &beginGroup(const Data::String &group) const;
    Settings &endGroup() const;

    Data::Variant getValue(const Data::String &key,
                           const Data::Variant &defaultValue = Data::Variant()) const;
    bool getBool(const Data::String &key, bool defaultValue = false) const;
    int getInt(const Data::String &key, int defaultValue = 0) const;
    Data::String getString(const Data::String &key,
                           const Data::String &defaultValue = Data::String()) const;

    /// \p defaultValue also when what is stored is no valid colour.
    Data::Color getColor(const Data::String &key,
                         const Data::Color &defaultValue = Data::Color()) const;

    /// Stores \p value, and tells of it even when it is what was stored. The invalid value removes
    /// the key with all below it.
    Settings &setValue(const Data::String &key, const Data::Variant &value);
    Settings &setBool(const Data::String &key, bool value);
    Settings &setInt(const Data::String &key, int value);
    Settings &setString(const Data::String &key, const Data::String &value);
    Settings &setColor(const Data::String &key, const Data::Color &value);

    /// Removes \p key with all below it, and tells of \p key alone, with the invalid value.
    Settings &removeKey(const Data::String &key);

    /// Copies the values below \p from to below \p to: those directly below it, or with
    /// \p recursive those in its groups too. A value at \p from itself is not copied.
    ///
    /// A group is read when the copy comes to it: its keys, then its groups by name. Where \p from
    /// and \p to lie in each other, it finds there what it has written before.
    ///
    ///     a/x=1, a/b/y=2:  from "a" to "a/b"  => a/b/x=1, a/b/b/x=1, a/b/b/y=2
    ///
    /// A copy into itself ends: the groups of a level are listed before the copy writes there, and
    /// deeper than the groups that were there at first, the names that \p to has more than \p from
    /// are followed once.
    ///
    /// Nothing is told of single values. With the invalid value, even when nothing was written,
    /// each group below \p to is told of, inner ones first, and \p to last. An empty \p from or
    /// \p to is the current group.
    Settings &copyKey(const Data::String &from, const Data::String &to, bool recursive = false);

    /// Moves the values below \p from to below \p to, as copyKey() takes them, and tells of both:
    /// of \p to as copyKey() does, then of \p from. Names that differ only in case, or not at all,
    /// go through a group "@@@_temp_@@@", which is told of as well and has gone at the end. What
    /// was in a group of that name before goes along. Two names are renamed to themselves without
    /// a loss, where these steps would remove what they have just copied: "", and "@@@_temp_@@@",
    /// which does not go through itself.
    ///
    /// All that lies at or below \p from is removed then, by intention: what copyKey() does not
    /// take, which is a value at \p from itself and without \p recursive the groups below it, and
    /// the copy as far as it lies in \p from. A group that is moved into itself is lost.
    Settings &renameKey(const Data::String &from, const Data::String &to, bool recursive = false);

    /// The keys with a value, or the groups, directly in \p group, or in the current group when it
    /// is empty; sorted, case counts.
    QStringList keys(const Data::String &group) const;
    QStringList groups(const Data::String &group) const;

    /// Whether what was set has reached the disk.
    enum Status
    {
        Stored,  ///< All of it.
        Pending, ///< Not yet. It is written when control returns to the event loop, when an object
                 ///< that has set it dies, and by sync().
        Failed   ///< The last attempt to read or to write the store has failed.
    };

    /// Writes what was set through any object on the store, and reads what other processes wrote.
    /// False when one of them fails.
    bool sync();

    /// What has become of all that was set on the store, with the path and why it failed in
    /// \p reason, which is "" otherwise.
    Status status(Data::String *reason = nullptr) const;

    /// Stores \p value if \p key has none yet; an empty text is a value. With \p keepDefault it is
    /// also stored under the key with "_default" behind it, in any case. Nobody is told: a default
    /// is no change. An invalid \p value is stored as one, and the key is there then.
    Settings &setDefault(const Data::String &key, const Data::Variant &value,
                         bool keepDefault = false);

    /// Notes whether \p group takes part in export and in reset: under its key "Default", as
    /// "export reset", "noexport reset", "export noreset" or "noexport noreset". Nobody is told.
    void setFlags(const Data::String &group, bool canExport, bool canReset);

    /// What setFlags() noted; true when it noted nothing. The group "MRU" is never exported.
    bool canExport(const Data::String &group) const;
    bool canReset(const Data::String &group) const;

    /// Puts \p path at the front of the recent list \p list, with "/" for each backslash. It is
    /// removed where it was before; case counts. Tells of "MRU/" and the list, without the current
    /// group, and of \p path as it was passed. A list without a name is ignored.
    ///
    /// A list is a group in "MRU" with the entries "aa", "ab" to "zz", newest first. It holds 676
    /// at most; the oldest are dropped. Names that are no longer needed are not removed, which is
    /// meant: behind a gap that removeMRU() left, an entry may come up twice.
    Settings &addMRU(const Data::String &list, const Data::String &path);

    /// The first \p count paths in \p list. 0 takes the number stored as "MRU/Count", or 20;
    /// anything negative, and "MRU/Count" too when it is 0 or below, is no limit.
    ///
    /// With \p checkExists only paths that exist, and if \p suffixes is not empty, only folders and
    /// files whose suffix is somewhere in that text, where case counts and no suffix is in any
    /// text. A path is looked at once in the life of the process, which is meant: neither the
    /// file's end nor other \p suffixes change what was found then. An empty \p list is what lies
    /// in "MRU" itself, "Count" among it.
    QStringList getMRU(const Data::String &list, bool checkExists = true, int count = 0,
                       const Data::String &suffixes = Data::String()) const;

    /// Removes the first entry of \p list that is \p path, with "/" for each backslash. The others
    /// keep their names, and nobody is told.
    Settings &removeMRU(const Data::String &list, const Data::String &path);

    /// The folder of the first path in \p list that exists, or the path itself when it is no file;
    /// "" when there is none.
    Data::String firstMRUPath(const Data::String &list) const;

    /// The signal of the process that tells of every change. It is made at its first use and must
    /// not be asked for once static objects die.
    static SettingsSignal &SettingChanged();

    /// Whether that signal can still be asked for. What dies behind it hears of no change.
    static bool isSettingChangedAlive();

private:
    static bool isNameless(const Data::String &key);
    static Data::String fullKey(const SettingsStore &settings, const Data::String &key);
    static void notify(const Data::String &fullKey, const Data::Variant &value);

    // Without the object, which a receiver may delete meanwhile.
    static void copyGroup(SettingsStore &settings, const QString &from, const QString &to,
                          bool recursive);
    static void copyLevel(SettingsStore &settings, const QString &from, const QString &to,
                          bool recursive, int limit);
    static void renameGroup(SettingsStore &settings, const QString &from, const QString &to,
                            bool recursive);

    bool hasFlag(const Data::String &group, QLatin1String word) const;

    std::shared_ptr<SettingsStore> m_settings;
};

} // namespace Utils
