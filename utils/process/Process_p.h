#pragma once

#include "utils/base/Encoding_p.h"
#include "utils/process/ChildProcess_p.h"
#include "utils/process/Process.h"
#include "utils/process/ProcessLines_p.h"
#include "utils/process/ProcessOutput_p.h"
#include "utils/signals/Slot.h"

#include <memory>
#include <new>

namespace Utils {

class LogFile;

class ProcessPrivate
{
public:
    explicit ProcessPrivate(Process *newOwner) : owner(newOwner) {}

    void log(const Data::String &text);

    /// Called before a program starts, but not while one is running.
    void prepareStart();

    /// Handles \p text, which has arrived from \p channel.
    void add(const Data::String &text, Process::Channel channel);

    /// Calls \p handle, which handles output that has arrived. When there is no memory for it, this
    /// output is lost: the exception would pass through Qt, which then ends the process. All later
    /// output is lost as well, the end of an incomplete line included, so that texts, log and lines
    /// are the start of the whole, without a gap.
    template <typename Function>
    void receive(const Function &handle)
    {
        if (isOutputLost)
            return;
        try {
            handle();
        } catch (const std::bad_alloc &) {
            isOutputLost = true;
        }
    }

    /// Removes the bytes that have arrived from \p channel. This needs no memory.
    void dropBytes(QProcess::ProcessChannel channel);

    /// Calls the line function for all lines, unless it is running. It may delete this object.
    void deliverLines();

    /// Waits up to \p time milliseconds, without limit if it is negative, for the end of the
    /// program, and delivers lines meanwhile. Returns whether the program has ended meanwhile. This
    /// object may be deleted during the call.
    bool waitForEnd(int time);

    /// Like waitForEnd(), but returns soon when the script that waits is interrupted.
    bool waitForEndOrInterrupt(int time);

    /// Waits up to \p time milliseconds, without limit if it is negative, until some bytes are
    /// written to the program. Returns whether they are; false soon when the script that waits is
    /// interrupted. This object may be deleted during the call.
    bool waitForWritten(int time);

    Process *const owner;

    // Destroyed after the slots, so that a process that is killed by this calls none of them.
    ChildProcess process;
    LogFile *logFile = nullptr;
    Data::String command;
    QStringList arguments;
    Data::String message;
    ProcessOutput output;
    ProcessOutput errorOutput;
    Encoding encoding; // of the outputs of the next program; invalid for UTF-8
    Slot outputSlot{"stdout", nullptr};
    Slot errorSlot{"stderr", nullptr};
    Slot endSlot{"end", nullptr};
    Slot finishedSlot{"finished", nullptr};
    bool selfDelete = false;
    bool keepOutput = true;
    bool isOutputLost = false; // since the last start
    Process::KillModes killMode = Process::KillDefault;

    bool isChannelModeSet = false; // otherwise a host may have set another one
    bool separatesErrors = false;

    bool isStopPolicySet = false;
    int stopTime = defaultStopTime; // in milliseconds
    Process::StopRequest stopRequest = Process::AskProgram;
    bool isStopping = false;

    // Shared with the running call, which may replace it.
    std::shared_ptr<const Process::LineFunction> lineFunction;
    ProcessLines lines;
    bool isScheduled = false; // deliverLines() by the event loop
    bool isDelivering = false;
    bool isDeletionDue = false; // after the delivery

    static constexpr int defaultStopTime = 3000;
};

} // namespace Utils
