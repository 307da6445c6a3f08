// Stands between libFuzzer, whose statistics count in seconds, and a target: the time that the
// slowest input of a run took goes to the standard error at the end.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>

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
    return result;
}
