#pragma once

#include "data/ProcessWide_p.h"
#include "utils/signals/SignalTrace.h"

#include <chrono>
#include <functional>
#include <memory>

namespace Utils {

/// The function that is called for each send, and the number of sends in progress.
struct SignalTracer
{
    using Function = std::function<void(const SignalTrace &)>;

    ~SignalTracer() { active = nullptr; }

    void setFunction(Function tracer);

    /// Calls the function, which may replace itself.
    void report(const SignalTrace &trace);

    std::shared_ptr<const Function> function;
    bool isRunning = false;
    int depth = 0;

    /// The function while sends are traced; null without one, and while it runs. A plain pointer,
    /// as each send tests it, also the sends after the destruction of this object.
    static inline const Function *active = nullptr;
};
extern Data::ProcessWide<SignalTracer> signalTracer;

/// A traced send, from its start to its end.
class TracedSend
{
public:
    explicit TracedSend(const SignalTrace &trace);

    /// Reports the send, even one that an exception has left.
    ~TracedSend();

    TracedSend(const TracedSend &) = delete;
    TracedSend &operator=(const TracedSend &) = delete;

private:
    using Clock = std::chrono::steady_clock;

    SignalTrace m_trace;
    Clock::time_point m_start;
};

} // namespace Utils
