#pragma once

#include "utils/signals/Signal.h"

#include <memory>

namespace Utils {

class FileWatchPrivate;

/// A signal that fires when the modification time of a file has changed, which it looks at again
/// and again. It does not look while its receivers run.
///
///     Utils::FileWatch watch(path, 1000);
///     watch.connect(&document, SLOT(reload(const Data::String &)));
///
/// Times have whole seconds, so that two changes within one may be told once; any other time counts
/// as a change, also an earlier one. What is older than the Unix epoch counts as from there. While
/// the system cannot tell the time, nothing has changed. A file that is missing is waited for: it
/// fires when it is there again with another time than it had, or for the first time. A file that
/// goes does not fire.
///
/// The path is the object name, but the registry of signals knows the watch under the empty name.
/// The switch is the dynamic property "enabled"; setting that from outside does not stop the timer,
/// only what looks at the property next does.
///
/// The host is told of each change, and with its variable "verbose" at 3 or more, when the watch is
/// made, of each look at the file. Without a host nothing is told.
class KELMUTILS_EXPORT FileWatch : public Signal
{
    Q_OBJECT

public:
    /// Looks at \p path every \p interval milliseconds, at least 100. It needs a running event
    /// loop; where there can be no timer, the watch is disabled.
    FileWatch(const Data::String &path, unsigned int interval);
    ~FileWatch() override;

    bool isEnabled() const;

    /// Switches the watch off or on. Changes made while it was off do not fire.
    ///
    /// Switched off by one of its receivers, it goes on all the same when they have run, which is
    /// meant: abort() stops it, or reset() behind the switch.
    void setEnabled(bool enabled);

    /// Changes the interval, and takes the file as it is now when the watch is enabled. Nothing
    /// happens below 100 milliseconds, or when it has that interval already.
    void setInterval(unsigned int interval);

    /// Takes the file as it is now: changes that were not seen yet do not fire. Revives a watch
    /// that has stopped, when it is enabled.
    void reset();

    /// The modification time that was last seen, in seconds since the Unix epoch, 0 for a missing
    /// file and for one that is older than that.
    unsigned int timestamp() const;

    /// The modification time of the file now, as text in \p format, or in DateTime::formatISO()
    /// when that is empty. "" when the file is missing.
    Data::String modifiedTime(const Data::String &format) const;

    /// As in Signal, but a method with "String" anywhere in its text is connected to
    /// sig(const Data::String &), and gets the path alone. The name of the method counts, too:
    /// "1setString()" is connected so. One with a key and a value cannot be connected for that
    /// reason: the result is false. All this is meant.
    bool connect(const QObject *receiver, const char *method) override;
    using Signal::connect;

    using Signal::sig;

Q_SIGNALS:
    /// The path of the file, before the emissions of Signal, of which "path" is the only entry. A
    /// receiver that calls abort() here keeps those from being made, and stops the watch.
    void sig(const Data::String &path);

protected:
    bool sendSignals() override;
    void timerEvent(QTimerEvent *event) override;

private:
    std::unique_ptr<FileWatchPrivate> d;
};

} // namespace Utils
