// The output of a program line by line, in other encodings, and its standard error apart.

#include "utils/process/Process.h"

#include "utils/base/Interrupt_p.h"
#include "utils/base/LastError_p.h"
#include "utils/process/Process_p.h"

#include <QDeadlineTimer>
#include <QPointer>

#include <algorithm>
#include <new>
#include <utility>

namespace Utils {

/// How long lines wait for the next delivery while a program is waited for, in milliseconds.
static const int deliveryPause = 10;

/// The interval at which an interrupt is looked for, in milliseconds.
static const int interruptPause = 10;

void ProcessPrivate::add(const Data::String &text, Process::Channel channel)
{
    log(text);
    if (!lineFunction)
        return;
    // Not called at once: Qt accesses the process after its signal, and the function may delete it.
    if (!isScheduled) {
        const auto deliver = [this] {
            isScheduled = false;
            deliverLines();
        };
        QMetaObject::invokeMethod(&process, deliver, Qt::QueuedConnection);
        isScheduled = true;
    }
    lines.append(text, channel); // those before one without memory are delivered, too
}

static void call(const Process::LineFunction &function, const ProcessLines::Line &line)
{
    const LastError::Apart apart; // of the operations that it calls
    try {
        function(line.text, line.channel);
    } catch (...) { // a program does not fail because of what its output is used for
    }
}

void ProcessPrivate::deliverLines()
{
    if (isDelivering)
        return;
    const QPointer<QProcess> isAlive = &process;
    isDelivering = true;
    while (!lines.isEmpty() && lineFunction) {
        const std::shared_ptr<const Process::LineFunction> function = lineFunction;
        call(*function, lines.take());
        if (!isAlive)
            return;
    }
    isDelivering = false;
    Process *const finished = isDeletionDue ? owner : nullptr; // not a member during its deletion
    delete finished;
}

bool ProcessPrivate::waitForEnd(int time)
{
    if (!lineFunction)
        return process.waitForFinished(time);
    const QPointer<QProcess> isAlive = &process;
    const QDeadlineTimer end(std::max(time, -1)); // -1 is no end
    do {
        const auto left = end.isForever() ? deliveryPause : end.remainingTime();
        const bool hasEnded =
            process.waitForFinished(static_cast<int>(std::min<qint64>(left, deliveryPause)));
        if (!isAlive)
            return hasEnded;
        deliverLines();
        if (hasEnded || !isAlive || process.state() == QProcess::NotRunning)
            return hasEnded;
    } while (!end.hasExpired());
    return false;
}

bool ProcessPrivate::waitForEndOrInterrupt(int time)
{
    if (!Interrupt::isPossible())
        return waitForEnd(time);
    const QPointer<QProcess> isAlive = &process;
    const QDeadlineTimer end(std::max(time, -1));
    for (;;) {
        const qint64 left = end.remainingTime(); // negative without an end
        const bool isLast = left >= 0 && left <= interruptPause;
        const QString errorText = process.errorString();
        Interrupt::letOthersRun();
        if (waitForEnd(isLast ? static_cast<int>(left) : interruptPause))
            return true;
        if (!isAlive || process.state() == QProcess::NotRunning || isLast ||
            Interrupt::isRequested())
            return false;
        process.setErrorString(errorText); // the time of the call is not over
    }
}

bool ProcessPrivate::waitForWritten(int time)
{
    if (!Interrupt::isPossible())
        return process.waitForBytesWritten(time);
    const QPointer<QProcess> isAlive = &process;
    const QDeadlineTimer end(std::max(time, -1));
    for (;;) {
        const qint64 left = end.remainingTime(); // negative without an end
        const bool isLast = left >= 0 && left <= interruptPause;
        const QDeadlineTimer slice(isLast ? left : interruptPause);
        const QString errorText = process.errorString();
        if (process.waitForBytesWritten(static_cast<int>(slice.remainingTime())))
            return true;
        if (!isAlive || isLast || Interrupt::isRequested())
            return false;
        const bool isOnlyLate = process.error() == QProcess::Timedout && slice.hasExpired() &&
                                process.state() != QProcess::NotRunning;
        if (!isOnlyLate || process.bytesToWrite() == 0)
            return false;
        process.setErrorString(errorText); // the time of the call is not over
    }
}

void Process::onLine(LineFunction function)
{
    d->lines.clear();
    d->lineFunction.reset();
    if (function)
        d->lineFunction = std::make_shared<const LineFunction>(std::move(function));
}

void Process::setSeparateErrorOutput(bool separate)
{
    if (separate && !d->isChannelModeSet) {
        d->errorSlot.setCallback(this, &Process::appendErrorOutput);
        d->errorSlot.connect(&d->process, SIGNAL(readyReadStandardError()));
    }
    d->isChannelModeSet = d->isChannelModeSet || separate;
    d->separatesErrors = separate;
}

bool Process::setEncoding(const Data::String &name)
{
    LastError operation;
    try {
        const Encoding encoding(name);
        if (!encoding.isValid() && !name.isEmpty())
            return LastError::set(".err.encoding", {name});
        d->encoding = encoding;
        return operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

Data::String Process::encoding() const { return d->encoding.name(); }

Data::String Process::errorOutput() const { return d->errorOutput.text(); }

void Process::appendErrorOutput()
{
    d->receive([this] {
        const QByteArray bytes = d->process.readAllStandardError();
        d->add(d->errorOutput.append(bytes, d->keepOutput), StandardError);
    });
    if (d->isOutputLost)
        d->dropBytes(QProcess::StandardError);
}

} // namespace Utils
