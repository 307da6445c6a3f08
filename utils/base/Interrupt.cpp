#include "utils/base/Interrupt_p.h"

#include <chrono>
#include <limits>

namespace Utils {

// A signal handler may call them only if they use no lock.
static_assert(std::atomic<quint64>::is_always_lock_free &&
                  std::atomic<void (*)()>::is_always_lock_free,
              "a signal handler needs atomics without locks");

qint64 Interrupt::now()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool Interrupt::request()
{
    const quint64 id = run;
    if (id == 0)
        return false;
    if (requested != id) {
        requestTime = now();
        requested = id; // without effect if that run has ended meanwhile
    }
    if (void (*const function)() = wake)
        function();
    return true;
}

bool Interrupt::take()
{
    quint64 id = run;
    return id != 0 && requested.compare_exchange_strong(id, 0);
}

int Interrupt::age()
{
    const qint64 time = requestTime;
    if (!isRequested())
        return 0;
    return static_cast<int>(qBound<qint64>(1, now() - time, std::numeric_limits<int>::max()));
}

} // namespace Utils
