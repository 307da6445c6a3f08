#include "utils/settings/Settings.h"

#include "utils/base/FileName_p.h"
#include "utils/settings/SettingsStore_p.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

namespace Utils {

static const int letters = 26;
static const int maxEntries = letters * letters;
static const QLatin1String mruGroup("MRU");

/// "aa" for 0, "ab" for 1 to "zz" for 675.
static QString entryName(int index)
{
    const auto letter = [](int number) { return QChar('a' + number); };
    return QString(letter(index / letters)) + letter(index % letters);
}

static QString withSlashes(QString path)
{
    return path.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

static bool isWanted(const QString &path, const QString &suffixes)
{
    // The type first: a file exists, so the disk is asked only once for it.
    const QFileInfo file(pathForQt(path));
    if (file.isFile())
        return suffixes.isEmpty() || suffixes.contains(file.suffix());
    return file.exists();
}

static bool wasWantedAtFirst(const QString &path, const QString &suffixes)
{
    // Never destroyed: static objects of a host may still call this when the process ends.
    static auto &verdicts = *new QMap<QString, bool>;

    auto verdict = verdicts.constFind(path);
    if (verdict == verdicts.constEnd())
        verdict = verdicts.insert(path, isWanted(path, suffixes));
    return *verdict;
}

Settings &Settings::addMRU(const Data::String &list, const Data::String &path)
{
    if (isNameless(list) || !m_settings->isRead())
        return *this;

    const QString entry = withSlashes(path);
    QStringList entries = getMRU(list, /*checkExists=*/false, /*count=*/-1);
    entries.removeOne(entry);
    entries.prepend(entry);

    const int count = qMin(entries.size(), maxEntries);
    {
        const GroupScope lists(*m_settings, mruGroup);
        const GroupScope scope(*m_settings, list);
        for (int i = 0; i < count; ++i)
            m_settings->setValue(entryName(i), entries[i]);
    }

    notify(mruGroup + QLatin1Char('/') + list, path);
    return *this;
}

QStringList Settings::getMRU(const Data::String &list, bool checkExists, int count,
                             const Data::String &suffixes) const
{
    const GroupScope lists(*m_settings, mruGroup);
    const int limit = count == 0 ? m_settings->value(QStringLiteral("Count"), 20).toInt() : count;

    const GroupScope scope(*m_settings, list);
    QStringList names = m_settings->childKeys();
    names.sort(Qt::CaseSensitive); // newest first
    QStringList paths;
    for (const QString &name : qAsConst(names)) {
        const QString path = m_settings->value(name).toString();
        if (checkExists && !wasWantedAtFirst(path, suffixes))
            continue;
        paths.append(path);
        if (limit > 0 && paths.size() >= limit)
            break;
    }
    return paths;
}

Settings &Settings::removeMRU(const Data::String &list, const Data::String &path)
{
    if (isNameless(list) || !m_settings->isRead())
        return *this;

    const QString entry = withSlashes(path);
    const GroupScope lists(*m_settings, mruGroup);
    const GroupScope scope(*m_settings, list);
    const QStringList names = m_settings->childKeys();
    for (const QString &name : names) {
        if (m_settings->value(name).toString() == entry) {
            m_settings->remove(name);
            break;
        }
    }
    return *this;
}

Data::String Settings::firstMRUPath(const Data::String &list) const
{
    const QString path = getMRU(list, /*checkExists=*/true, /*count=*/1).value(0);
    const QFileInfo file(pathForQt(path));
    return file.isFile() ? file.dir().path() : path;
}

} // namespace Utils
