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
#include <optional>

namespace Utils {

static const unsigned int minInterval = 100;
static const char enabledProperty[] = "enabled";
static const int noTimer = -1;

class FileWatchPrivate
{
public:
    explicit FileWatchPrivate(FileWatch *watch) : q(watch), self(watch) {}

    void startTimer();
    void stopTimer();
    void readTime();
    std::optional<unsigned int> changedTime(const QPointer<FileWatch> &watch);
    void goOn(unsigned int reported);
    void log(const QString &text) const;

    FileWatch *const q;
    const QPointer<FileWatch> self; // the first one of an object needs memory, copies need none
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

/// The time of the file when it has changed; its path is in the payload then. No value, too, when
/// the host has deleted the watch in a call, which \p watch, a copy of self, tells.
std::optional<unsigned int> FileWatchPrivate::changedTime(const QPointer<FileWatch> &watch)
{
    const Data::String path = q->objectName();
    const Data::String name = File::base(path, /*withExtension=*/true);
    if (verbose) {
        log(QStringLiteral("Modification check for ") + name);
        if (watch && !QFileInfo::exists(path))
            log(QStringLiteral("Path does not exists: ") + path);
        if (!watch)
            return std::nullopt;
    }

    const Platform::EntryStatus status = fileStatus(path);
    const bool isThere =
        status.entry != Platform::Entry::Missing && status.entry != Platform::Entry::Unknown;
    const unsigned int modified = timestampOf(status);
    if (!isThere || modified == timestamp)
        return std::nullopt;
    log(QStringLiteral("Modification detected for ") + name);
    if (!watch)
        return std::nullopt;
    q->addData("path", path);
    return modified;
}

/// Goes on after the receivers have run, unless one of them has started the timer. \p reported is
/// the time of which they were notified.
void FileWatchPrivate::goOn(unsigned int reported)
{
    if (timerId != noTimer)
        return;
    timestamp = reported; // used if readTime() cannot read it
    try {
        startTimer();
        readTime();
    } catch (const std::bad_alloc &) { // which may not pass through Qt
    }
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
    const QPointer<FileWatch> self = d->self;
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
    const QPointer<FileWatch> self = d->self;
    std::optional<unsigned int> modified;
    try {
        modified = d->changedTime(self);
    } catch (const std::bad_alloc &) { // which may not pass through Qt; the next check reports it
    }
    if (!modified)
        return;

    d->stopTimer();
    bool isAccepted = false;
    try {
        isAccepted = sendSignals();
    } catch (...) {
        // Of a receiver. If the change were reported again, it might fail each time.
        if (self && !isAborted())
            d->goOn(*modified);
        throw;
    }
    if (self && isAccepted)
        d->goOn(*modified);
}

} // namespace Utils
