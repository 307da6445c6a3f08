#include "utils/settings/SettingsWatch.h"

#include "utils/base/FileStatus_p.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsFile_p.h"
#include "utils/settings/SettingsStore_p.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTimerEvent>
#include <QVector>

#include <algorithm>
#include <exception>
#include <list>
#include <new>
#include <utility>

namespace Utils {

static const unsigned int shortestInterval = 100;

/// The values as they are written, by their keys.
using Texts = QMap<QString, QByteArray>;

class SettingsWatchPrivate : public QObject
{
public:
    explicit SettingsWatchPrivate(unsigned int interval);
    ~SettingsWatchPrivate() override;

    int check();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    class Observer;
    struct Change
    {
        QString key;
        QByteArray text; // null of a removed key
        QVariant value;
    };

    using Changes = std::list<Change>; // sorted by key; its elements move without an allocation

    static QVector<SettingsWatchPrivate *> &watches();
    static bool isBefore(const Change &a, const Change &b) { return a.key < b.key; }

    void readStatus();
    bool hasChanged() const;
    Changes changes();

    SettingsStore m_store;
    Platform::EntryStatus m_status; // of the file when it was compared last
    Texts m_known;                  // what was reported, or changed by this process
    Changes m_failed;               // those for whose report there was not enough memory
    bool m_isSettled = false;       // the file was read, and had not been written just before
    QBasicTimer m_timer;
};

/// Records the changes that this process makes.
class SettingsWatchPrivate::Observer : public StoreObserver
{
public:
    void changed(const QString &file, const QString &key, const QVariant &value) override
    {
        for (SettingsWatchPrivate *watch : watches()) {
            if (watch->m_store.fileName() == file)
                watch->m_known.insert(key, IniText::writeValue(value));
        }
    }

    void removed(const QString &file, const QString &key) override
    {
        const QString prefix = key + QLatin1Char('/');
        for (SettingsWatchPrivate *watch : watches()) {
            Texts &known = watch->m_known;
            if (watch->m_store.fileName() != file)
                continue;
            if (key.isEmpty())
                known.clear();
            known.remove(key);
            auto below = known.lowerBound(prefix);
            while (below != known.end() && below.key().startsWith(prefix))
                below = known.erase(below);
        }
    }
};

QVector<SettingsWatchPrivate *> &SettingsWatchPrivate::watches()
{
    // Never destroyed: static objects of a host may change settings when the process ends.
    static auto &watches = *new QVector<SettingsWatchPrivate *>;
    return watches;
}

static Texts textsOf(const QSettings::SettingsMap &values)
{
    Texts texts;
    for (auto value = values.begin(); value != values.end(); ++value)
        texts.insert(texts.cend(), value.key(), IniText::writeValue(*value));
    return texts;
}

SettingsWatchPrivate::SettingsWatchPrivate(unsigned int interval)
{
    readStatus();
    m_isSettled = m_isSettled && m_store.reason().isEmpty();
    m_known = textsOf(m_store.values());

    static auto &observer = *new Observer;
    watches().append(this);
    SettingsStore::setObserver(&observer);
    if (QCoreApplication::instance())
        m_timer.start(static_cast<int>(std::max(interval, shortestInterval)), this);
}

SettingsWatchPrivate::~SettingsWatchPrivate()
{
    watches().removeOne(this);
    if (watches().isEmpty())
        SettingsStore::setObserver(nullptr);
}

void SettingsWatchPrivate::timerEvent(QTimerEvent *) // there is no other timer
{
    try {
        check();
    } catch (const std::bad_alloc &) { // which may not pass through Qt; the next check goes on
    }
}

void SettingsWatchPrivate::readStatus()
{
    // A file that is written twice within a tick of the clock has the same time after both.
    static const qint64 longestTick = 100; // milliseconds

    m_status = fileStatus(m_store.fileName());
    m_isSettled = QDateTime::currentMSecsSinceEpoch() - m_status.modified > longestTick;
}

bool SettingsWatchPrivate::hasChanged() const
{
    return !m_isSettled || !(fileStatus(m_store.fileName()) == m_status);
}

/// The changes of other processes since the last call.
SettingsWatchPrivate::Changes SettingsWatchPrivate::changes()
{
    readStatus(); // before the file is read: a change after that is found by the next check
    const bool isSettled = std::exchange(m_isSettled, false);
    if (!m_store.sync())
        return {};
    const QSettings::SettingsMap values = m_store.values();
    const Texts texts = textsOf(values);

    Changes changes;
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        const auto known = m_known.constFind(text.key());
        if (known == m_known.constEnd() || *known != *text)
            changes.push_back({text.key(), *text, IniText::built(values[text.key()])});
    }
    for (auto known = m_known.cbegin(); known != m_known.cend(); ++known) {
        if (!texts.contains(known.key()))
            changes.push_back({known.key(), QByteArray(), QVariant()});
    }
    changes.sort(&isBefore);

    for (SettingsWatchPrivate *watch : qAsConst(watches())) {
        if (watch->m_store.fileName() == m_store.fileName())
            watch->m_known = texts;
    }
    m_isSettled = isSettled;
    return changes;
}

int SettingsWatchPrivate::check()
{
    const QPointer<QObject> self(this);
    Changes left = hasChanged() ? changes() : Changes();
    left.merge(m_failed, &isBefore);

    int count = 0;
    Changes failed;
    std::exception_ptr exception;
    const auto keepFirst = [&] {
        if (!exception)
            exception = std::current_exception();
    };
    for (auto change = left.begin(); self && change != left.end();) {
        const auto current = change++;
        if (m_known.value(current->key) != current->text)
            continue; // a receiver has set it, or it has changed again
        try {
            Settings::notify(current->key, current->value);
            ++count;
        } catch (const std::bad_alloc &) {
            keepFirst();
            failed.splice(failed.end(), left, current);
        } catch (...) {
            keepFirst();
        }
    }
    if (self)
        m_failed.merge(failed, &isBefore);
    if (exception)
        std::rethrow_exception(exception);
    return count;
}

SettingsWatch::SettingsWatch(unsigned int interval)
    : d(std::make_unique<SettingsWatchPrivate>(interval))
{}

SettingsWatch::~SettingsWatch() = default;

int SettingsWatch::check() { return d->check(); }

} // namespace Utils
