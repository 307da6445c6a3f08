#include "utils/platform/Platform.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace Utils::Platform {

/// The function to call on the deep stack.
struct DeepCall
{
    void (*function)(void *);
    void *context;
    void *caller;                  // a fiber
    std::exception_ptr *exception; // receives what the function throws
};

static DeepCall deepCall;
static void *deepFiber;
static std::atomic<bool> isDeepStackInUse = false;

static const std::size_t mebibyte = 1 << 20;
static const std::size_t smallestDeepStack = 16 * mebibyte;

static std::size_t wantedDeepStack()
{
    std::uint64_t half = 0;
    MEMORYSTATUSEX memory = {};
    memory.dwLength = sizeof(memory);
    if (GlobalMemoryStatusEx(&memory))
        half = memory.ullTotalPageFile / 2;
    const std::uint64_t wanted = std::max<std::uint64_t>(half, 2048 * mebibyte);
    return static_cast<std::size_t>(std::min<std::uint64_t>(wanted, SIZE_MAX / 4));
}

static void CALLBACK makeDeepCalls(void *)
{
    for (;;) {
        try {
            deepCall.function(deepCall.context);
        } catch (...) { // it cannot pass the switch of the fibers
            *deepCall.exception = std::current_exception();
        }
        SwitchToFiber(deepCall.caller);
    }
}

/// Creates the stack at the first call.
static void prepareDeepStack()
{
    const std::size_t committed = mebibyte / 16;
    std::size_t size = wantedDeepStack();
    while (!deepFiber && size >= smallestDeepStack) {
        deepFiber = CreateFiberEx(committed, size, FIBER_FLAG_FLOAT_SWITCH, makeDeepCalls, nullptr);
        size -= size / 8;
    }
}

void callOnDeepStack(void (*function)(void *), void *context)
{
    // In use by a caller of this function, or by another thread.
    if (isDeepStackInUse.exchange(true)) {
        function(context);
        return;
    }
    prepareDeepStack();
    const bool wasFiber = IsThreadAFiber();
    void *caller = nullptr;
    if (deepFiber)
        caller =
            wasFiber ? GetCurrentFiber() : ConvertThreadToFiberEx(nullptr, FIBER_FLAG_FLOAT_SWITCH);
    if (!caller) {
        isDeepStackInUse = false;
        function(context);
        return;
    }

    std::exception_ptr exception;
    deepCall = {function, context, caller, &exception};
    SwitchToFiber(deepFiber);
    if (!wasFiber)
        ConvertFiberToThread();
    isDeepStackInUse = false;
    if (exception)
        std::rethrow_exception(exception);
}

std::size_t deepThreadStack() { return 0; }

std::size_t freeStack()
{
    const char here = 0;
    MEMORY_BASIC_INFORMATION stack = {};
    if (VirtualQuery(&here, &stack, sizeof(stack)) == 0)
        return 0;
    return static_cast<std::size_t>(&here - static_cast<char *>(stack.AllocationBase));
}

std::size_t stackOfXmlLevel() { return 1024; } // the parser uses 566, as measured with mingw-w64

} // namespace Utils::Platform
