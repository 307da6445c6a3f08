#pragma once

#include "data/Color.h"
#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QMap>
#include <QStringList>

#include <memory>

namespace Utils {

class SettingsSignal;
class SettingsStore;

/// The persistent settings of the application: a typed layer over QSettings that reports changes by
/// one signal for the whole process, SettingChanged().
///
///     Utils::Settings settings("View");
///     const int width = settings.getInt("width", 640);
///     settings.setInt("width", 800); // sends "View/width" with 800
///
/// The organisation name and the application name of QCoreApplication, which the host sets,
/// determine where the values are stored.
///
/// Each object that has made changes writes them at its end, the whole file at a time, so that
/// another process reads them at once. For many changes in a row use one object, or copies of it,
/// which write once; see Status for the other moments.
///
/// A settings file is replaced completely or not at all, after the new one has been flushed to the
/// disk. When one of these fails, for instance on a full disk, the old file stays, and the changes
/// stay in memory until the process ends. The write is tried again by each further change, each new
/// object, the destructor of each object that has made changes, and sync(). A file that cannot be
/// read completely is not written. status() reports both failures.
///
/// Setters and removeKey() work on a file that could not be read, too: their changes are merged
/// with its values once it can be read. Operations that decide by the stored values what to write,
/// which are copyKey(), renameKey(), setDefault(), addMRU(), removeMRU(), importFrom() and
/// resetGroup(), first try to read it again. When that fails, they change nothing, and
/// File::lastError() has the reason.
///
/// This protection does not cover
/// - what a QSettings of the host writes, including the changes that are pending when it is
///   constructed;
/// - settings that are not stored in a file, or in a format that the host has registered;
/// - INI files on Windows;
/// - a file whose first change is made while static objects are destroyed.
///
/// A "/" in a key separates groups. Keys are relative to the current group of the object: the one
/// passed to the constructor, and those entered by beginGroup() and not left by endGroup().
/// SettingChanged() reports the current group, a "/" and the key as it was passed; QSettings itself
/// treats "/a//b/" as "a/b". A key without a name, "" or slashes only, is never written, removed or
/// reported, and reading it returns the default.
///
/// QSettings stores the groups "general" and "GENERAL" at the root as "General": a later process
/// finds their values there.
///
/// A stored value keeps its type only within the process; a later process may read it as text. The
/// registry of Windows keeps the type of few values, even within the process. The typed getters
/// convert the value. The getters return the default only for an absent key; a value that does not
/// convert yields 0, false or "". Only getColor() returns the default for such a value, too.
///
/// A value in the file that Qt cannot read safely is read as an invalid variant: a damaged
/// container or region, a container nested deeper than a hundred levels, a QEasingCurve, a QColor
/// of an unknown kind, also in a QBrush, QPen or QPalette, and a date in a time zone that the
/// system does not know. The file keeps the value. Without a QGuiApplication this is also so for a
/// QPixmap, QBitmap, QIcon or QCursor and a value that contains one, which Qt cannot build then.
/// This does not cover stores in the registry or in a format of the host, INI files on Windows, and
/// a store that a QSettings of the host has read before and whose file this process may not write.
/// A value of a type of the host is read by the host's own stream operator.
///
/// Copies share one QSettings and with it the current group. The destruction of one copy does not
/// affect the others.
///
/// Receivers of SettingChanged() may do anything, even delete this object, but must leave the
/// current group of a shared QSettings as they found it.
///
/// When there is not enough memory, functions throw std::bad_alloc where their description does not
/// say otherwise. A change may then be stored or not; no other value is lost.
class KELMUTILS_EXPORT Settings
{
public:
    /// The settings in \p group, or all of them when it is empty.
    explicit Settings(const Data::String &group = Data::String());
    Settings(const Settings &other);
    Settings &operator=(const Settings &other);
    virtual ~Settings();

    /// Enters \p group below the current group. Each call needs a call of endGroup(), which returns
    /// to the previous group. Both return this object.
    Settings &beginGroup(const Data::String &group) const;
    Settings &endGroup() const;

    Data::Variant getValue(const Data::String &key,
                           const Data::Variant &defaultValue = Data::Variant()) const;
    bool getBool(const Data::String &key, bool defaultValue = false) const;
    int getInt(const Data::String &key, int defaultValue = 0) const;
    Data::String getString(const Data::String &key,
                           const Data::String &defaultValue = Data::String()) const;

    /// Returns \p defaultValue also when the stored value is not a valid colour.
    Data::Color getColor(const Data::String &key,
                         const Data::Color &defaultValue = Data::Color()) const;

    /// Stores \p value and sends SettingChanged(), even when the same value was stored before. An
    /// invalid value removes the key and everything below it.
    Settings &setValue(const Data::String &key, const Data::Variant &value);
    Settings &setBool(const Data::String &key, bool value);
    Settings &setInt(const Data::String &key, int value);
    Settings &setString(const Data::String &key, const Data::String &value);
    Settings &setColor(const Data::String &key, const Data::Color &value);

    /// Removes \p key and everything below it. SettingChanged() is sent for \p key only, with an
    /// invalid value.
    Settings &removeKey(const Data::String &key);

    /// Copies the values in the group \p from to the group \p to: those directly in it, and with
    /// \p recursive those in its subgroups, too. A value of the key \p from itself is not copied.
    /// An empty \p from or \p to is the current group.
    ///
    /// Each group is read when the copy reaches it: first its keys, then its subgroups by name.
    /// When one of the groups \p from and \p to lies in the other, the copy also reads the values
    /// that it has written there:
    ///
    ///     a/x=1, a/b/y=2:  from "a" to "a/b", recursive  => adds a/b/x=1, a/b/b/x=1, a/b/b/y=2
    ///
    /// A copy of a group into itself ends: it lists the subgroups of a level before it writes
    /// there, and below the deepest group that existed at the start it descends only as many levels
    /// as \p to lies below \p from.
    ///
    /// SettingChanged() is sent with an invalid value for each subgroup of \p to that corresponds
    /// to a copied subgroup, inner subgroups first. Last it is sent for \p to, even when nothing
    /// was written. It is not sent for single values.
    ///
    /// Nothing is copied or sent when the stored settings cannot be read completely. The reason is
    /// in File::lastError() then, and in status(). When a receiver makes them unreadable during the
    /// copy, the groups that it reaches then are neither copied nor reported.
    Settings &copyKey(const Data::String &from, const Data::String &to, bool recursive = false);

    /// Copies the values in \p from to \p to, as copyKey() does, then removes the key \p from and
    /// everything below it. SettingChanged() is sent as by copyKey(), then for \p from with an
    /// invalid value.
    ///
    /// Nothing is changed or sent when the stored settings cannot be read completely, as by
    /// copyKey(). When a receiver makes them unreadable during the copy, \p from is not removed,
    /// even when they can be read again at the end.
    ///
    /// When std::bad_alloc is thrown, each value is in \p from or in \p to. It is in the temporary
    /// group, see below, only if the memory does not suffice to move it back either.
    ///
    /// When the two names are equal or differ only in case, the values move through a temporary
    /// group "@@@_temp_@@@". SettingChanged() is sent for that group, too. At the end the temporary
    /// group is removed; values that were in it before are moved as well. There are two exceptions,
    /// because otherwise all values would be lost: a rename of "" to itself does not remove
    /// \p from, and a rename of "@@@_temp_@@@" to itself neither removes it nor uses a temporary
    /// group. Such a rename first writes the changes that are pending. Then the settings file is
    /// not written until it has ended; sync() of a receiver returns false when there is something
    /// to write, and a kill loses that. When, before the temporary group has
    /// been removed, a receiver throws an exception or there is not enough memory, the values get
    /// their old names again. \p to has its former values then, and what receivers have stored
    /// stays. SettingChanged() is sent for \p from, and for \p to if values were removed from it.
    ///
    /// \compat Values that copyKey() does not copy are lost: the value of the key \p from itself
    /// and, without \p recursive, the values in its subgroups. The part of the copy that lies in
    /// \p from is lost, too: a group that is moved into itself is lost completely.
    Settings &renameKey(const Data::String &from, const Data::String &to, bool recursive = false);

    /// The keys that have a value, or the groups, directly in \p group, or in the current group
    /// when \p group is empty. The result is sorted, case-sensitively.
    QStringList keys(const Data::String &group) const;
    QStringList groups(const Data::String &group) const;

    /// Whether the changes have reached the disk.
    enum Status
    {
        Stored,  ///< All changes are on the disk.
        Pending, ///< Some are not yet. They are written when control returns to the event loop, by
                 ///< the destructor of an object that has made changes, and by sync().
        Failed   ///< The last attempt to read or to write the store failed.
    };

    /// Writes the changes made through any object on the same store, and reads those of other
    /// processes. False, with a reason in File::lastError(), when writing or reading fails.
    bool sync();

    /// The status of all changes to the store. \p reason, if not null, is set to the path and the
    /// cause of the failure, or to "" when there is none.
    Status status(Data::String *reason = nullptr) const;

    /// Stores \p value if \p key has no value yet; an empty text is a value. With \p keepDefault,
    /// also stores \p value under \p key followed by "_default", even when \p key has a value.
    /// SettingChanged() is not sent: a default is no change. An invalid \p value is stored as such;
    /// the key exists then.
    ///
    /// When the stored settings cannot be read completely and \p key has no value in memory,
    /// \p value is not stored under \p key, as it could replace a value of the user. Until the
    /// process ends, the getters return it in place of their default while \p key has no value. The
    /// reason is in File::lastError() then, and in status().
    Settings &setDefault(const Data::String &key, const Data::Variant &value,
                         bool keepDefault = false);

    /// Stores whether the host may export and may reset \p group. The key "Default" in the group
    /// then has the value "export reset", "export noreset", "noexport reset" or "noexport noreset".
    /// SettingChanged() is not sent.
    void setFlags(const Data::String &group, bool canExport, bool canReset);

    /// The flags that setFlags() has stored; true when it has stored none. The group "MRU" is never
    /// exported.
    bool canExport(const Data::String &group) const;
    bool canReset(const Data::String &group) const;

    /// Writes the values in the current group and below it to the file at \p path, from which
    /// importFrom() reads them, in this program or in another one. Keys are relative to the current
    /// group. False, with the file unchanged and the reason in File::lastError(), when it cannot be
    /// written completely, when it is the file in which the settings are stored, when these cannot
    /// be read completely, and when canExport() is false for the current group.
    ///
    /// These are left out:
    /// - the groups for which canExport() is false, and all groups in them: those that setFlags()
    ///   has marked, and the recent lists in each group "MRU";
    /// - the flags that setFlags() has stored, and the defaults that setDefault() has kept under
    ///   another key, because both belong to the program;
    /// - values that only a program with a QGuiApplication can read, such as a QPixmap, or that
    ///   Qt cannot read safely;
    /// - keys of more than 2000 characters.
    ///
    /// The file is an INI file between two comments. It is replaced completely or not at all.
    bool exportTo(const Data::String &path) const;

    /// Stores the values of a file that exportTo() has written, in the current group. Other values
    /// stay as they are, and so do those that exportTo() leaves out, even when the file contains
    /// them.
    ///
    /// False, with all values as they were and the reason in File::lastError(), when the file
    /// cannot be read, was not written by exportTo(), is incomplete, or has a line that is not a
    /// setting; when the stored settings cannot be read completely; when canExport() is false for
    /// the current group; and when there is not enough memory. The whole file is examined before
    /// the first value is stored.
    ///
    /// The file may be changed in an editor: it is UTF-8, lines may be removed and added, but the
    /// first and the last line must stay.
    ///
    /// After all values are stored, SettingChanged() is sent for each one that has changed, sorted
    /// by key. The result is true when the values are in memory; status() tells whether they are on
    /// the disk.
    bool importFrom(const Data::String &path);

    /// Stores the kept default of each key in \p group and below it: the one that setDefault() has
    /// stored under the key followed by "_default". Keys without a kept default keep their value.
    /// Groups for which canReset() is false, and all groups in them, are left out. An empty
    /// \p group is the current group.
    ///
    /// False, with no value changed and the reason in File::lastError(), when the stored settings
    /// cannot be read completely, when canReset() is false for \p group itself, and when there is
    /// not enough memory.
    ///
    /// After all defaults are stored, SettingChanged() is sent for each value that has changed,
    /// sorted by key.
    bool resetGroup(const Data::String &group);

    /// The keys in the current group and below it whose value is not the kept default, or which
    /// have been removed. They are relative to the current group, and sorted.
    QStringList changedFromDefaults() const;

    /// Inserts \p path at the front of the list of recent paths named \p list, with "/" for each
    /// backslash, and removes the first earlier occurrence of the path; comparison is
    /// case-sensitive. SettingChanged() is sent with the key "MRU/" followed by \p list, without
    /// the current group, and with \p path as it was passed. Nothing happens when \p list is "" or
    /// consists of slashes only. Nothing is stored or sent when the stored settings cannot be read
    /// completely, as older paths would be lost. The reason is in File::lastError() then, and in
    /// status().
    ///
    /// A list is a group in "MRU" with the keys "aa", "ab" to "zz", the newest path first. It holds
    /// at most 676 paths; the oldest are dropped.
    ///
    /// \compat Keys that are no longer needed are not removed: after removeMRU() has left a gap
    /// between the keys, a path may be in the list twice.
    Settings &addMRU(const Data::String &list, const Data::String &path);

    /// The first \p count paths in \p list. 0 stands for the number stored as "MRU/Count", or 20
    /// when none is stored. A negative \p count means no limit, and so does a stored number of 0 or
    /// below. When \p list is empty, the result is the values directly in the group "MRU",
    /// including that of "Count".
    ///
    /// With \p checkExists, only paths that exist are returned. If \p suffixes is not empty, a file
    /// is then returned only if its suffix is a case-sensitive substring of \p suffixes; folders
    /// and files without a suffix always pass.
    ///
    /// \compat Each path is checked only once in the life of the process. The first result stays,
    /// even when the file is created or removed later, or when other \p suffixes are passed.
    QStringList getMRU(const Data::String &list, bool checkExists = true, int count = 0,
                       const Data::String &suffixes = Data::String()) const;

    /// Removes the first entry of \p list that equals \p path, with "/" for each backslash. The
    /// other entries keep their keys. SettingChanged() is not sent. Nothing is removed when the
    /// stored settings cannot be read completely, as by addMRU().
    Settings &removeMRU(const Data::String &list, const Data::String &path);

    /// The folder of the first path in \p list that exists, or this path itself when it is not a
    /// file; "" when no path in the list exists. Existence is checked as by getMRU().
    Data::String firstMRUPath(const Data::String &list) const;

    /// The signal that is sent for every change; the process has one. The first call of this
    /// function constructs it. Do not call this function after the destruction of static objects
    /// has begun.
    static SettingsSignal &SettingChanged();

    /// Whether SettingChanged() may still be called. When the result is false, changes are no
    /// longer reported.
    static bool isSettingChangedAlive();

private:
    friend class SettingsWatchPrivate;

    static bool isNameless(const Data::String &key);
    static Data::String fullKey(const SettingsStore &settings, const Data::String &key);
    static void notify(const Data::String &fullKey, const Data::Variant &value);

    // They do not use the object, which a receiver may delete during the call.
    static bool copyGroup(SettingsStore &settings, const QString &from, const QString &to,
                          bool recursive);
    static bool copyLevel(SettingsStore &settings, const QString &from, const QString &to,
                          bool recursive, int limit);
    static void renameGroup(SettingsStore &settings, const QString &from, const QString &to,
                            bool recursive);

    bool hasFlag(const Data::String &group, QLatin1String word) const;
    bool isPrivate(const QMap<QString, QVariant> &stored) const;
    static void storeTogether(SettingsStore &settings, const QMap<QString, QVariant> &values,
                              const QMap<QString, QVariant> &stored);

    std::shared_ptr<SettingsStore> m_settings;
};

} // namespace Utils
