#include "utils/platform/Platform.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#ifndef __x86_64__
#include <ucontext.h>
#endif

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define CHECKS_ADDRESSES
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

#ifdef __x86_64__

// Calls a function on the stack that ends at top. The frame has unwind information, so a debugger
// shows the caller. The functions of <ucontext.h> hide the caller, and need a system call for each
// switch, which takes longer than a short script.
extern "C" void kelmCallOnStack(char *top, void (*function)());
__asm__(".text\n"
        ".p2align 4\n"
        ".globl kelmCallOnStack\n"
        ".hidden kelmCallOnStack\n"
        ".type kelmCallOnStack, @function\n"
        "kelmCallOnStack:\n"
        ".cfi_startproc\n"
        "pushq %rbp\n"
        ".cfi_def_cfa_offset 16\n"
        ".cfi_offset %rbp, -16\n"
        "movq %rsp, %rbp\n"
        ".cfi_def_cfa_register %rbp\n"
        "movq %rdi, %rsp\n"
        "callq *%rsi\n"
        "movq %rbp, %rsp\n"
        "popq %rbp\n"
        ".cfi_def_cfa %rsp, 8\n"
        "ret\n"
        ".cfi_endproc\n"
        ".size kelmCallOnStack, . - kelmCallOnStack\n");

#else

static void kelmCallOnStack(char *top, void (*function)())
{
    const std::size_t used = 1 << 20; // any size: only the end counts
    ucontext_t there;
    ucontext_t here;
    getcontext(&there);
    there.uc_stack.ss_sp = top - used;
    there.uc_stack.ss_size = used;
    there.uc_link = &here;
    makecontext(&there, function, 0);
    swapcontext(&here, &there);
}

#endif

namespace Utils::Platform {

namespace {

/// The range of addresses of the deep stack, which is used from its end.
struct DeepStack
{
    bool has(const void *address) const { return address >= start && address < start + size; }

    char *start = nullptr;
    std::size_t size = 0;

    // The limits because of which it is smaller than wanted, if it is.
    bool isLimited = true;
    rlim_t addressLimit = 0;
    rlim_t dataLimit = 0;
};

/// The function to call on it.
struct DeepCall
{
    void (*function)(void *);
    void *context;
    std::exception_ptr *exception; // receives what it throws
#ifdef CHECKS_ADDRESSES
    const void *callerStack;
    std::size_t callerSize;
#endif
};

} // namespace

static DeepStack deepStack;
static DeepCall deepCall;
static std::atomic<bool> isDeepStackInUse = false;

static const std::size_t mebibyte = 1 << 20;
static const std::size_t smallestDeepStack = 16 * mebibyte;
static const std::size_t deepGuard = mebibyte;      // larger than the frame of any function
static const std::size_t keptStack = 16 * mebibyte; // not released after a call

static std::size_t wantedDeepStack()
{
    const int file = open("/proc/sys/vm/overcommit_memory", O_RDONLY | O_CLOEXEC);
    char policy = '0';
    if (file >= 0) {
        if (read(file, &policy, 1) != 1)
            policy = '0';
        close(file);
    }
    if (policy == '2') // reserved addresses count as memory
        return 64 * mebibyte;

    std::uint64_t half = 0;
    struct sysinfo system;
    if (sysinfo(&system) == 0)
        half = (std::uint64_t{system.totalram} + system.totalswap) * system.mem_unit / 2;
    const std::uint64_t wanted = std::max<std::uint64_t>(half, 2048 * mebibyte);
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(wanted, std::numeric_limits<std::size_t>::max() / 2));
}

/// A \a size in whole pages.
static std::size_t wholePages(std::size_t size) { return size / mebibyte * mebibyte; }

static char *mapStack(std::size_t size)
{
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<char *>(memory);
}

static rlim_t limitOf(decltype(RLIMIT_AS) resource)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    return limit.rlim_cur;
}

/// Reserves the stack at the first call, and again if it is smaller than wanted and the limits of
/// the process have changed.
static void prepareDeepStack()
{
    if (!deepStack.isLimited)
        return;
    const rlim_t addressLimit = limitOf(RLIMIT_AS);
    const rlim_t dataLimit = limitOf(RLIMIT_DATA);
    if (addressLimit == deepStack.addressLimit && dataLimit == deepStack.dataLimit)
        return;

    if (deepStack.start)
        munmap(deepStack.start, deepStack.size);
    deepStack = {};
    deepStack.addressLimit = addressLimit;
    deepStack.dataLimit = dataLimit;
    const std::size_t wanted = wholePages(wantedDeepStack());
    std::size_t size = wanted;
    char *start = mapStack(size);
    while (!start && size >= smallestDeepStack) {
        size = wholePages(size / 8 * 7);
        start = mapStack(size);
    }
    if (start && size < wanted) {
        // The rest is for the data of the recursion. Python's compiler allocates twice as much
        // memory as it uses of the stack, and so runs out of memory first.
        munmap(start, size);
        size = wholePages(size / 5 * 2);
        start = size >= smallestDeepStack ? mapStack(size) : nullptr;
    }
    if (!start)
        return;

    mprotect(start, deepGuard, PROT_NONE);
    madvise(start, size, MADV_NOHUGEPAGE); // otherwise the first use would take 2 MiB
    if (size > 4 * keptStack)
        madvise(start, size - 4 * keptStack, MADV_DONTDUMP); // keeps core files small
    deepStack.start = start;
    deepStack.size = size;
    deepStack.isLimited = size < wanted;
}

/// Releases the memory that a deep recursion has used. The words just beyond the part that is kept
/// show whether there was one: they are zero until a recursion passes them, and again after the
/// release. A system call for this would take as long as a short script.
static void releaseDeepStack()
{
    if (deepStack.size < 2 * keptStack)
        return;
    const std::size_t released = deepStack.size - keptStack;
    const auto *const end = reinterpret_cast<std::uint64_t *>(deepStack.start + released);
    const auto isZero = [](std::uint64_t word) { return word == 0; };
    if (!std::all_of(end - 64, end, isZero)) // most frames are smaller than that
        madvise(deepStack.start, released, MADV_DONTNEED);
}

static void makeDeepCall()
{
#ifdef CHECKS_ADDRESSES
    __sanitizer_finish_switch_fiber(nullptr, &deepCall.callerStack, &deepCall.callerSize);
    __lsan_register_root_region(deepCall.callerStack, deepCall.callerSize); // the process may end
#endif
    // On most machines an exception cannot pass the switch of the stacks, and it would leave the
    // stack in use.
    try {
        deepCall.function(deepCall.context);
    } catch (...) {
        *deepCall.exception = std::current_exception();
    }
#ifdef CHECKS_ADDRESSES
    __lsan_unregister_root_region(deepCall.callerStack, deepCall.callerSize);
    __sanitizer_start_switch_fiber(nullptr, deepCall.callerStack, deepCall.callerSize);
#endif
}

void callOnDeepStack(void (*function)(void *), void *context)
{
    const bool isOnIt = deepStack.has(__builtin_frame_address(0));
    // In use by another thread, or by a caller that has switched to a stack of its own.
    if (isOnIt || isDeepStackInUse.exchange(true)) {
        function(context);
        return;
    }
    prepareDeepStack();
    if (!deepStack.start) {
        isDeepStackInUse = false;
        function(context);
        return;
    }

    std::exception_ptr exception;
    deepCall.function = function;
    deepCall.context = context;
    deepCall.exception = &exception;
#ifdef CHECKS_ADDRESSES
    void *callerFrames = nullptr;
    __sanitizer_start_switch_fiber(&callerFrames, deepStack.start, deepStack.size);
#endif
    kelmCallOnStack(deepStack.start + deepStack.size, makeDeepCall);
#ifdef CHECKS_ADDRESSES
    __sanitizer_finish_switch_fiber(callerFrames, nullptr, nullptr);
#endif
    releaseDeepStack();
    isDeepStackInUse = false;
    if (exception)
        std::rethrow_exception(exception);
}

std::size_t deepThreadStack()
{
    return std::clamp(deepStack.size / 16, smallestDeepStack, 1024 * mebibyte);
}

std::size_t freeStack()
{
    const char *const frame = static_cast<const char *>(__builtin_frame_address(0));
    if (deepStack.has(frame)) {
        const auto left = static_cast<std::size_t>(frame - deepStack.start);
        return left - std::min(left, deepGuard);
    }

    struct Bounds
    {
        Bounds()
        {
            pthread_attr_t attributes;
            if (pthread_getattr_np(pthread_self(), &attributes) != 0)
                return;
            void *lowest = nullptr;
            std::size_t size = 0;
            std::size_t guard = 0;
            pthread_attr_getstack(&attributes, &lowest, &size);
            pthread_attr_getguardsize(&attributes, &guard);
            pthread_attr_destroy(&attributes);
            low = reinterpret_cast<std::uintptr_t>(lowest) + guard;
            high = reinterpret_cast<std::uintptr_t>(lowest) + size;
        }
        std::uintptr_t low = 0;
        std::uintptr_t high = 0;
    };
    // For the main thread this reads the memory map of the process, which takes a while.
    static thread_local const Bounds bounds;
    const auto here = reinterpret_cast<std::uintptr_t>(frame);
    return here > bounds.low && here <= bounds.high ? here - bounds.low : 0;
}

// Parsing uses 340 bytes on x86-64 and 300 on 64-bit ARM, copying the tree 110 or 130, and
// destroying it 60 or 80.
std::size_t stackOfXmlLevel() { return 512; }

} // namespace Utils::Platform
