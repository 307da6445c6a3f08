#include "tests/csv/FailingMemory.h"

// Each DLL allocates by itself: nothing fails or is counted, and the tests are skipped.

FailingMemory::FailingMemory(int, Mode) {}
void FailingMemory::end() {}
bool FailingMemory::hasFailed() const { return false; }

AllocatedMemory::AllocatedMemory() : m_countBefore(0), m_bytesBefore(0) {}
std::int64_t AllocatedMemory::count() const { return m_countBefore; }
std::int64_t AllocatedMemory::bytes() const { return m_bytesBefore; }
