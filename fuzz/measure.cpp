// Stands between libFuzzer, whose statistics count in seconds, and a target: the time that the
// slowest input of a run took goes to the standard error at the end.
//
// With FUZZ_REPEATABLE in the environment, libFuzzer is not told which code an input has reached.
// That differs from run to run, by the time and by names of temporary files, and libFuzzer chooses
// its inputs by it. Without it, the inputs follow from the seeds and the random seed alone.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using Clock = std::chrono::steady_clock;

struct SlowestInput
{
    ~SlowestInput()
    {
        const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(duration);
        std::fprintf(stderr, "stat::slowest_input_ms: %lld\n",
                     static_cast<long long>(time.count()));
    }
    Clock::duration duration{};
};

// The counters of the code that was reached, and the lowest address of the stack, which the
// compiler has added. The linker makes the names of the section's ends.
extern "C" unsigned char __start___sancov_cntrs[];
extern "C" unsigned char __stop___sancov_cntrs[];
extern "C"
    __attribute__((tls_model("initial-exec"))) thread_local std::uintptr_t __sancov_lowest_stack;

static void forgetReachedCode()
{
    std::memset(__start___sancov_cntrs, 0,
                static_cast<std::size_t>(__stop___sancov_cntrs - __start___sancov_cntrs));
    __sancov_lowest_stack = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

// The linker's option --wrap makes these of the one name that libFuzzer calls.
extern "C" int __real_LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int __wrap_LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static SlowestInput slowest;
    const Clock::time_point start = Clock::now();
    const int result = __real_LLVMFuzzerTestOneInput(data, size);
    const Clock::duration duration = Clock::now() - start;
    if (duration > slowest.duration)
        slowest.duration = duration;
    static const bool isRepeatable = std::getenv("FUZZ_REPEATABLE") != nullptr;
    if (isRepeatable)
        forgetReachedCode();
    return result;
}
