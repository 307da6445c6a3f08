#pragma once

#include "data/ProcessWide_p.h"
#include "utils/signals/SignalTrace.h"

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

} // namespace Utils
