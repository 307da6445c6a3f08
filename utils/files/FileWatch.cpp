#include "utils/files/FileWatch.h"

#include "utils/Application_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/files/File.h"

#include <QFileInfo>
#include <QPointer>
#include <QTimerEvent>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace Utils {

static const unsigned int minInterval = 100;
static const char enabledProperty[] = "enabled";
static const int noTimer = -1;

class FileWatchPrivate
{
public:
    explicit FileWatchPrivate(FileWatch *watch) : q(watch) {}

    void startTimer();
    void stopTimer();
    void readTime();
    void log(const QString &text) const;

    FileWatch *const q;
    unsigned int timestamp = 0;
    int timerId = noTimer;
    unsigned int interval = minInterval;
    bool verbose = false;
};

void FileWatchPrivate::startTimer()
{
    const unsigned int longest = std::numeric_limits<int>::max();
    const int id = q->startTimer(static_cast<int>(std::min(interval, longest)), Qt::CoarseTimer);
    timerId = id > 0 ? id : noTimer;
}

void FileWatchPrivate::stopTimer()
{
    if (timerId > 0)
        q->killTimer(timerId);
    timerId = noTimer;
}

void FileWatchPrivate::readTime()
{
    const Platform::EntryStatus status = fileStatus(q->objectName());
    if (status.entry != Platform::Entry::Unknown) // else it may be unchanged
        timestamp = timestampOf(status);
}

void FileWatchPrivate::log(const QString &text) const
{
    if (Data::IApplication *const host = application())
        host->logMessage(text, 3);
}

FileWatch::FileWatch(const Data::String &path, unsigned int interval)
    : Signal(nullptr, nullptr), d(std::make_unique<FileWatchPrivate>(this))
{
    d->interval = std::max(interval, minInterval);
    setObjectName(path);
    setProperty(enabledProperty, true);
    reset();
    if (d->timerId < 0)
        setProperty(enabledProperty, false);
    if (Data::IApplication *const host = application())
        d->verbose = host->getVariable("verbose", "0").toInt() >= 3;
}

FileWatch::~FileWatch() = default;

bool FileWatch::isEnabled() const { return property(enabledProperty).toBool(); }

void FileWatch::setEnabled(bool enabled)
{
    if (enabled == isEnabled())
        return;
    setProperty(enabledProperty, enabled);
    d->stopTimer();
    if (enabled) {
        d->startTimer();
        d->readTime();
    }
}

void FileWatch::setInterval(unsigned int interval)
{
    if (interval == d->interval || interval < minInterval)
        return;
    d->interval = interval;
    if (isEnabled()) {
        setEnabled(false);
        setEnabled(true);
    }
}

void FileWatch::reset()
{
    d->stopTimer();
    d->readTime();
    if (isEnabled())
        d->startTimer();
}

unsigned int FileWatch::timestamp() const { return d->timestamp; }

Data::String FileWatch::modifiedTime(const Data::String &format) const
{
    return File::timestampString(objectName(), format);
}

bool FileWatch::connect(const QObject *receiver, const char *method)
{
    if (method && std::strstr(method, "String"))
        return QObject::connect(this, SIGNAL(sig(const Data::String &)), receiver, method);
    return Signal::connect(receiver, method);
}

bool FileWatch::sendSignals()
{
    const QPointer<FileWatch> self(this);
    clearAborted();

    const Data::VariantCollection payload = data();
    const auto path = payload.constFind(QStringLiteral("path"));
    if (path != payload.constEnd())
        Q_EMIT sig(path->toString());
    if (!self)
        return false;
    if (isAborted()) {
        clearData();
        return false;
    }
    return Signal::sendSignals();
}

void FileWatch::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != d->timerId)
        return;

    // The host and the receivers may delete the watch.
    const QPointer<FileWatch> self(this);
    try {
        const Data::String path = objectName();
        const Data::String name = File::base(path, /*withExtension=*/true);
        if (d->verbose) {
            d->log(QStringLiteral("Modification check for ") + name);
            if (self && !QFileInfo::exists(path))
                d->log(QStringLiteral("Path does not exists: ") + path);
            if (!self)
                return;
        }

        const Platform::EntryStatus status = fileStatus(path);
        const bool isThere =
            status.entry != Platform::Entry::Missing && status.entry != Platform::Entry::Unknown;
        const unsigned int modified = timestampOf(status);
        if (!isThere || modified == d->timestamp)
            return;
        d->log(QStringLiteral("Modification detected for ") + name);
        if (!self)
            return;
        d->stopTimer();
        addData("path", path);
        const bool isAccepted = sendSignals();
        if (!self || !isAccepted || d->timerId != noTimer)
            return;
        d->startTimer();
        d->timestamp = modified; // used if readTime() cannot read it
        d->readTime();
    } catch (const std::bad_alloc &) { // which may not pass through Qt; the next check reports it
        if (self && d->timerId == noTimer)
            d->startTimer();
    }
}

} // namespace Utils
