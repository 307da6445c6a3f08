#pragma once

#include "utils/process/ChildProcess_p.h"
#include "utils/process/Process.h"
#include "utils/process/ProcessOutput_p.h"
#include "utils/signals/Slot.h"

namespace Utils {

class LogFile;

class ProcessPrivate
{
public:
    void log(const Data::String &text);

    // Destroyed after the slots, so that a process that is killed by this calls none of them.
    ChildProcess process;
    LogFile *logFile = nullptr;
    Data::String command;
    QStringList arguments;
    Data::String message;
    ProcessOutput output;
    Slot outputSlot{"stdout", nullptr};
    Slot endSlot{"end", nullptr};
    Slot finishedSlot{"finished", nullptr};
    bool selfDelete = false;
    bool keepOutput = true;
    Process::KillModes killMode = Process::KillDefault;
};

} // namespace Utils
