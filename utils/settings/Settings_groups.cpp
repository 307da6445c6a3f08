#include "utils/settings/Settings.h"

#include <QSettings>
#include <QVector>

#include <algorithm>
#include <utility>

namespace Utils {

static const QLatin1Char separator('/');
static const QLatin1String temporaryGroup("@@@_temp_@@@");

namespace {

/// A stored value, by its key below the group in question.
struct Entry
{
    QString key;
    QVariant value;
};

} // namespace

/// The part of \p key that names a group, with the "/" behind it, or "".
static QString groupOf(const QString &key) { return key.left(key.lastIndexOf(separator) + 1); }

/// Whether a walk through the groups comes to \p left before \p right. The values of a group come
/// before those in its groups, and these by name.
static bool isBefore(const QString &left, const QString &right)
{
    const auto difference = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    const int same = static_cast<int>(difference.first - left.begin());
    const int shared = groupOf(left.left(same)).size();

    const int leftEnd = left.indexOf(separator, shared);
    const int rightEnd = right.indexOf(separator, shared);
    if ((leftEnd < 0) != (rightEnd < 0))
        return leftEnd < 0;
    return left.mid(shared, leftEnd < 0 ? -1 : leftEnd - shared) <
           right.mid(shared, rightEnd < 0 ? -1 : rightEnd - shared);
}

static QVector<Entry> entriesIn(QSettings &settings, const QString &group, bool recursive)
{
    settings.beginGroup(group);
    QStringList keys = recursive ? settings.allKeys() : settings.childKeys();
    std::sort(keys.begin(), keys.end(), isBefore);
    QVector<Entry> entries;
    for (const QString &key : qAsConst(keys))
        entries.append({key, settings.value(key)});
    settings.endGroup();
    return entries;
}

Settings &Settings::copyKey(const Data::String &from, const Data::String &to, bool recursive)
{
    const std::shared_ptr<QSettings> settings = m_settings;
    copyGroup(*settings, from, to, recursive);
    return *this;
}

Settings &Settings::renameKey(const Data::String &from, const Data::String &to, bool recursive)
{
    const std::shared_ptr<QSettings> settings = m_settings;
    renameGroup(*settings, from, to, recursive);
    return *this;
}

void Settings::copyGroup(QSettings &settings, const QString &from, const QString &to,
                         bool recursive)
{
    const Data::String target = fullKey(settings, to);
    const QVector<Entry> entries = entriesIn(settings, from, recursive);

    QString current; // the group that the walk is in, below the target, with a "/" behind, or ""
    const auto leave = [&] {
        current.chop(1);
        notify(target + QString(separator + current), Data::Variant());
        current = groupOf(current);
    };
    for (const Entry &entry : entries) {
        const QString group = groupOf(entry.key);
        while (!group.startsWith(current))
            leave();
        current = group;
        settings.setValue(to + separator + entry.key, entry.value);
    }
    while (!current.isEmpty())
        leave();
    notify(target, Data::Variant());
}

void Settings::renameGroup(QSettings &settings, const QString &from, const QString &to,
                           bool recursive)
{
    // A store that ignores case would copy the group onto itself and then remove it. The temporary
    // group itself takes no detour, which would lead through itself and never end.
    const bool isSame = from.compare(to, Qt::CaseInsensitive) == 0 && from != temporaryGroup;
    const QString target = isSame ? QString(temporaryGroup) : to;

    const Data::String fullFrom = fullKey(settings, from);
    copyGroup(settings, from, target, recursive);

    // A name renamed to itself is to end as it began: what holds the temporary group stays.
    if (from != to || !(isNameless(from) || from == temporaryGroup))
        settings.remove(from);
    notify(fullFrom, Data::Variant());

    if (target != to)
        renameGroup(settings, target, to, recursive);
}

} // namespace Utils
