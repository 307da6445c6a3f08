#pragma once

#include "utils/signals/Signal.h"

#include <memory>

namespace Utils {

class FileWatchPrivate;

/// A signal that is sent when the modification time of a file has changed. The watch checks the
/// time at an interval, but not while its receivers run.
///
///     Utils::FileWatch watch(path, 1000);
///     watch.connect(&document, SLOT(reload(const Data::String &)));
///
/// Times are compared in whole seconds, so two changes within a second may be reported once. Any
/// different time is a change, also an earlier one. A time before the Unix epoch counts as the
/// epoch. While the system cannot determine the time, nothing has changed. The removal of a file is
/// not a change. When a missing file appears, that is a change, unless it has the same time as
/// before its removal.
///
/// An exception of a receiver is passed on, as that of any slot: QCoreApplication::notify() of the
/// host may catch it. The change is not reported again, and the watch goes on. When there is not
/// enough memory to start its timer after the receivers have run, it stays stopped until reset().
///
/// The object name of the watch is the path, but the signal is registered under the empty name:
/// Signal::find() does not find it by the path. The state of isEnabled() is the dynamic property
/// "enabled". Setting this property directly neither stops nor starts the timer; call reset()
/// afterwards.
///
/// The library passes each change to Data::IApplication::logMessage() of the host. If the host's
/// variable "verbose" is 3 or more when the watch is constructed, each check of the file is logged,
/// too. Without a host nothing is logged.
class KELMUTILS_EXPORT FileWatch : public Signal
{
    Q_OBJECT

public:
    /// Checks \p path every \p interval milliseconds; intervals below 100 are raised to 100. This
    /// needs a running event loop. If no timer can be started, the watch is disabled.
    FileWatch(const Data::String &path, unsigned int interval);
    ~FileWatch() override;

    bool isEnabled() const;

    /// Enables or disables the watch. Changes made while it is disabled are not reported.
    ///
    /// \compat A receiver that calls only setEnabled(false) does not stop the watch: the timer is
    /// started again after the receivers have run. To stop the watch, the receiver calls abort(),
    /// or reset() after setEnabled(false).
    void setEnabled(bool enabled);

    /// Sets the interval in milliseconds. An enabled watch then starts anew from the current state
    /// of the file. Does nothing when \p interval is below 100 or is the current interval.
    void setInterval(unsigned int interval);

    /// Starts anew from the current state of the file: earlier changes that were not reported yet
    /// are not reported any more. Restarts a watch that abort() has stopped, if it is enabled.
    void reset();

    /// The modification time that was last seen, in seconds since the Unix epoch. 0 when the file
    /// was missing when the watch last started anew, and for a time before the epoch. The removal
    /// of the file does not change it.
    unsigned int timestamp() const;

    /// The current modification time of the file as text in the format \p format, or in
    /// DateTime::formatISO() when that is empty. "" when the file is missing or the system cannot
    /// determine the time.
    Data::String modifiedTime(const Data::String &format) const;

    /// Connects \p method as Signal::connect() does, but a method whose text contains "String" is
    /// connected to sig(const Data::String &) and receives only the path.
    ///
    /// \compat The name of the method counts, too: "1setString()" is connected this way. A method
    /// that receives a key and a value cannot be connected: the result is false.
    bool connect(const QObject *receiver, const char *method) override;
    using Signal::connect;

    using Signal::sig;

Q_SIGNALS:
    /// Emitted with the path of the file, before the emissions of Signal. Their payload has only
    /// the entry "path". A receiver that calls abort() here suppresses those emissions and stops
    /// the watch.
    void sig(const Data::String &path);

protected:
    bool sendSignals() override;
    void timerEvent(QTimerEvent *event) override;

private:
    std::unique_ptr<FileWatchPrivate> d;
};

} // namespace Utils
