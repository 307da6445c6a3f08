#include "utils/settings/Settings.h"

#include "utils/base/LastError_p.h"
#include "utils/platform/Platform.h"
#include "utils/settings/SettingsStore_p.h"

#include <algorithm>
#include <limits>

namespace Utils {

static const QLatin1Char separator('/');
static const QLatin1String temporaryGroup("@@@_temp_@@@");

static QStringList namesIn(const QString &key) { return key.split(separator, Qt::SkipEmptyParts); }

/// Whether \p key lies below \p group. Case is ignored, as some stores do.
static bool isBelow(const QString &key, const QString &group)
{
    const QStringList names = namesIn(key);
    const QStringList above = namesIn(group);
    return names.size() > above.size() &&
           std::equal(above.begin(), above.end(), names.begin(), [](const auto &a, const auto &b) {
               return a.compare(b, Qt::CaseInsensitive) == 0;
           });
}

/// The depth, as a number of names, of the deepest group that a copy into itself still enters.
///
/// A group that is copied into itself can get a new subgroup each time it has been read. Below the
/// groups that existed at the start, the names that lead from \p from to \p to repeat. A copy that
/// followed them more than once would never end.
static int depthLimit(SettingsStore &settings, const QString &from, const QString &to)
{
    const GroupScope scope(settings, from);
    const QStringList keys = settings.allKeys();
    int deepest = 0;
    for (const QString &key : keys)
        deepest = std::max(deepest, namesIn(key).size() - 1);
    return deepest + namesIn(to).size();
}

Settings &Settings::copyKey(const Data::String &from, const Data::String &to, bool recursive)
{
    const LastError operation;
    const std::shared_ptr<SettingsStore> settings = m_settings;
    if (settings->isRead())
        copyGroup(*settings, from, to, recursive);
    return *this;
}

Settings &Settings::renameKey(const Data::String &from, const Data::String &to, bool recursive)
{
    const LastError operation;
    const std::shared_ptr<SettingsStore> settings = m_settings;
    if (settings->isRead())
        renameGroup(*settings, from, to, recursive);
    return *this;
}

/// False when some groups could not be read.
bool Settings::copyGroup(SettingsStore &settings, const QString &from, const QString &to,
                         bool recursive)
{
    const bool isIntoItself = recursive && isBelow(to, from);
    return copyLevel(settings, from, to, recursive,
                     isIntoItself ? depthLimit(settings, from, to)
                                  : std::numeric_limits<int>::max());
}

bool Settings::copyLevel(SettingsStore &settings, const QString &from, const QString &to,
                         bool recursive, int limit)
{
    // A receiver can make QSettings forget the values, and later read them again.
    if (!settings.isRead())
        return false;
    const Data::String target = fullKey(settings, to);

    // Listed before anything is written: a copy into itself would find the groups that it creates.
    QStringList keys;
    QStringList groups;
    {
        const GroupScope scope(settings, from);
        keys = settings.childKeys();
        if (recursive)
            groups = settings.childGroups();
    }

    // An empty name comes from a file that was edited by hand. It stands for the group itself.
    for (const QString &key : qAsConst(keys)) {
        if (!key.isEmpty())
            settings.copy(from + separator + key, to + separator + key);
    }
    bool isWhole = true;
    for (const QString &group : qAsConst(groups)) {
        if (group.isEmpty())
            continue;
        const QString inner = from + separator + group;
        const QString innerTarget = to + separator + group;
        if (namesIn(inner).size() <= limit || !isBelow(innerTarget, inner))
            isWhole = copyLevel(settings, inner, innerTarget, recursive, limit) && isWhole;
    }
    notify(target, Data::Variant());
    return isWhole;
}

static QSettings::SettingsMap valuesIn(SettingsStore &settings, const QString &group)
{
    const GroupScope scope(settings, group);
    return settings.values();
}

/// Moves the values in \p temporary back to \p from, without a signal: receivers may throw, too.
/// \p to, unless it is the same group, gets the values \p before again. What receivers have stored
/// in \p from or \p to stays.
///
/// Returns whether \p to has changed. When the values cannot be read, nothing is stored.
static bool undoRename(SettingsStore &settings, const QString &temporary, const QString &from,
                       const QString &to, bool isSame, const QSettings::SettingsMap &before)
{
    if (!settings.isRead())
        return false;
    const QSettings::SettingsMap moved = valuesIn(settings, temporary);
    const QSettings::SettingsMap atFrom = valuesIn(settings, from);
    for (auto value = moved.begin(); value != moved.end(); ++value) {
        if (!atFrom.contains(value.key()))
            settings.setValue(from + separator + value.key(), *value);
    }

    bool isChanged = false;
    if (!isSame) {
        const QSettings::SettingsMap atTo = valuesIn(settings, to);
        for (auto value = moved.begin(); value != moved.end(); ++value) {
            const auto copy = atTo.constFind(value.key());
            if (copy == atTo.constEnd() || *copy != *value)
                continue;
            settings.remove(to + separator + value.key());
            isChanged = true;
        }
        const QSettings::SettingsMap left = valuesIn(settings, to);
        for (auto value = before.begin(); value != before.end(); ++value) {
            if (!left.contains(value.key()))
                settings.setValue(to + separator + value.key(), *value);
        }
    }
    settings.remove(temporary);
    return isChanged;
}

void Settings::renameGroup(SettingsStore &settings, const QString &from, const QString &to,
                           bool recursive)
{
    // A store that ignores case would copy the group onto itself and then remove it. The temporary
    // group itself is not renamed through a temporary group, which would never end.
    const bool isSame = from.compare(to, Qt::CaseInsensitive) == 0 && from != temporaryGroup;
    const QString target = isSame ? QString(temporaryGroup) : to;

    // A rename to the same name must keep the values: a group that contains the temporary group is
    // not removed, and neither is the temporary group when only the case of its name changes and
    // the store ignores that.
    const auto isSameName = [](const QString &name, const QString &other) {
        return name.compare(other,
                            Platform::hasRegistry() ? Qt::CaseInsensitive : Qt::CaseSensitive) == 0;
    };
    const bool isOntoItself = from == to || (Platform::hasRegistry() && isSameName(from, target));
    const bool isTemporary = isSameName(from, temporaryGroup);
    const auto rename = [&] {
        const Data::String fullFrom = fullKey(settings, from);
        const bool isWhole = copyGroup(settings, from, target, recursive);
        const bool isKept = isOntoItself && (isNameless(from) || isTemporary);
        if (!isKept && isWhole && settings.isRead())
            settings.remove(from);
        notify(fullFrom, Data::Variant());
        if (target != to)
            renameGroup(settings, target, to, recursive);
    };
    if (target == to)
        return rename();
    const StoreHold hold(settings); // under its temporary name nobody would find it after a kill
    const bool isOneGroup = isSameName(from, to);
    const QSettings::SettingsMap before =
        isOneGroup ? QSettings::SettingsMap() : valuesIn(settings, to);
    try {
        rename();
    } catch (...) { // not enough memory, or an exception of a receiver
        const bool isNewChanged = undoRename(settings, target, from, to, isOneGroup, before);
        const auto tell = [&](const QString &name) {
            try {
                notify(fullKey(settings, name), Data::Variant());
            } catch (...) { // the first one is passed on
            }
        };
        tell(from);
        if (isNewChanged)
            tell(to);
        throw;
    }
}

} // namespace Utils
