#include "tests/csv/FailingMemory.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#ifdef __SANITIZE_ADDRESS__
#define KELM_BEHIND(name) __interceptor_##name
#else
#define KELM_BEHIND(name) __libc_##name
#endif

extern "C" void *KELM_BEHIND(malloc)(std::size_t size);
extern "C" void *KELM_BEHIND(calloc)(std::size_t count, std::size_t size);
extern "C" void *KELM_BEHIND(realloc)(void *bytes, std::size_t size);

static thread_local bool isArmed;
static thread_local bool isOnce;
static thread_local bool isLarger;
static thread_local int left;
static thread_local bool hasOneFailed;
static thread_local std::int64_t allocations;
static thread_local std::int64_t allocatedBytes;

FailingMemory::FailingMemory(int number, Mode mode)
{
    left = number;
    isOnce = mode == Once;
    isLarger = mode == Larger;
    hasOneFailed = false;
    isArmed = true;
}

void FailingMemory::end() { isArmed = false; }
bool FailingMemory::hasFailed() const { return hasOneFailed; }

AllocatedMemory::AllocatedMemory() : m_countBefore(allocations), m_bytesBefore(allocatedBytes) {}
std::int64_t AllocatedMemory::count() const { return allocations - m_countBefore; }
std::int64_t AllocatedMemory::bytes() const { return allocatedBytes - m_bytesBefore; }

static bool fails(std::size_t size)
{
    ++allocations;
    allocatedBytes += static_cast<std::int64_t>(size);
    if (!isArmed || (isLarger && size <= static_cast<std::size_t>(left)))
        return false;
    if (!isLarger && left > 0) {
        --left;
        return false;
    }
    if (hasOneFailed && isOnce)
        return false;
    hasOneFailed = true;
    errno = ENOMEM;
    return true;
}

#define KELM_IN_FRONT extern "C" __attribute__((visibility("default")))

KELM_IN_FRONT void *malloc(std::size_t size) noexcept
{
    return fails(size) ? nullptr : KELM_BEHIND(malloc)(size);
}

KELM_IN_FRONT void *calloc(std::size_t count, std::size_t size) noexcept
{
    return fails(count * size) ? nullptr : KELM_BEHIND(calloc)(count, size);
}

KELM_IN_FRONT void *realloc(void *bytes, std::size_t size) noexcept
{
    return fails(size) ? nullptr : KELM_BEHIND(realloc)(bytes, size);
}

// The sanitizers have some of their own, which do not use the above.

void *operator new(std::size_t size)
{
    if (void *const bytes = std::malloc(size > 0 ? size : 1))
        return bytes;
    throw std::bad_alloc();
}

void *operator new[](std::size_t size) { return operator new(size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}
void operator delete(void *bytes) noexcept { std::free(bytes); }
void operator delete(void *bytes, std::size_t) noexcept { std::free(bytes); }
void operator delete[](void *bytes) noexcept { std::free(bytes); }
void operator delete[](void *bytes, std::size_t) noexcept { std::free(bytes); }
void operator delete(void *bytes, const std::nothrow_t &) noexcept { std::free(bytes); }
void operator delete[](void *bytes, const std::nothrow_t &) noexcept { std::free(bytes); }
