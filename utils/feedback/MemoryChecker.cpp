#include "utils/feedback/MemoryChecker.h"

#include "utils/platform/Platform.h"

#include <QtGlobal>

namespace Utils {

class MemoryCheckerPrivate
{
public:
    qint32 startId = 0;
};

MemoryChecker::MemoryChecker() : d(new MemoryCheckerPrivate) {}
MemoryChecker::~MemoryChecker() = default;

bool MemoryChecker::check() { return true; }
bool MemoryChecker::checkHeap(long) { return true; }
bool MemoryChecker::dumpLeaks() { return false; }
void MemoryChecker::dumpLeaksAtExit() {}
void MemoryChecker::dumpDifference() {}
void MemoryChecker::dumpNewObjects() {}

void MemoryChecker::setBreakAlloc(long) {}
void MemoryChecker::setBreakAllocOffset(long) {}
void MemoryChecker::setCheckAlways(bool) {}
void MemoryChecker::setKeepFreed(bool) {}

long MemoryChecker::startId() { return d->startId; }

void MemoryChecker::setReportFile(const Data::String &path)
{
    if (!path.isEmpty())
        Platform::createNewFile(path.toUtf8().toStdString());
}

} // namespace Utils
