#pragma once

#include <cstdint>

/// While it lives, an allocation of this thread fails, as where the memory ends.
///
///     for (int n = 0; ; ++n) {
///         FailingMemory memory(n, FailingMemory::Once);
///         ... // the operation
///         if (!memory.hasFailed())
///             break; // it needs no more than n
///     }
///
/// A test that uses it links the target FailingMemory, whose functions replace those of the C
/// library.
class FailingMemory
{
public:
    enum Mode
    {
        Once,       ///< only the allocation \p number, counted from 0
        FromThenOn, ///< that one and all later ones
        Larger      ///< each of more bytes than \p number
    };

    FailingMemory(int number, Mode mode);
    ~FailingMemory() { end(); }

    FailingMemory(const FailingMemory &) = delete;
    FailingMemory &operator=(const FailingMemory &) = delete;

    /// Lets all allocations succeed again.
    void end();

    bool hasFailed() const;
};

/// What this thread has requested of the C library since the object was made, also what it has
/// released again. Needs the target FailingMemory, too; on Windows it counts nothing.
class AllocatedMemory
{
public:
    AllocatedMemory();

    std::int64_t count() const; ///< allocations
    std::int64_t bytes() const; ///< in all of them

private:
    std::int64_t m_countBefore;
    std::int64_t m_bytesBefore;
};
