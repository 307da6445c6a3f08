#include "utils/signals/SignalTracer_p.h"

#include "utils/signals/Signal.h"

#include <utility>

namespace Utils {

TracedSend::TracedSend(const SignalTrace &trace) : m_trace(trace)
{
    m_trace.depth = signalTracer->depth++;
    m_start = Clock::now();
}

TracedSend::~TracedSend()
{
    const std::chrono::duration<double, std::micro> spent = Clock::now() - m_start;
    SignalTracer *const tracer = signalTracer.ifAlive();
    if (!tracer)
        return;
    --tracer->depth;
    m_trace.microseconds = spent.count();
    tracer->report(m_trace);
}

void SignalTracer::setFunction(Function tracer)
{
    // The old function is destroyed last: what it has captured may set another one.
    std::shared_ptr<const Function> next;
    if (tracer)
        next = std::make_shared<const Function>(std::move(tracer));
    function.swap(next);
    active = isRunning ? nullptr : function.get();
}

void SignalTracer::report(const SignalTrace &trace)
{
    if (!active)
        return;
    const std::shared_ptr<const Function> running = function;
    active = nullptr;
    isRunning = true;
    try {
        (*running)(trace);
    } catch (...) { // a send does not fail because of its tracer
    }
    isRunning = false;
    active = function.get();
}

void Signal::setTracer(std::function<void(const SignalTrace &)> tracer)
{
    if (SignalTracer *const state = signalTracer.ifAlive())
        state->setFunction(std::move(tracer));
}

SignalTrace Signal::trace() const
{
    SignalTrace trace;
    trace.name = objectName();
    trace.shape = m_data.isEmpty()                          ? SignalTrace::Shape::Empty
                  : m_data.size() == 1                      ? SignalTrace::Shape::OneEntry
                  : m_data.contains(QStringLiteral("item")) ? SignalTrace::Shape::Item
                                                            : SignalTrace::Shape::Collection;
    trace.receivers = receivers(SIGNAL(sig()));
    if (trace.shape == SignalTrace::Shape::OneEntry)
        trace.receivers += receivers(SIGNAL(sig(const Data::Variant &)));
    if (trace.shape == SignalTrace::Shape::OneEntry || trace.shape == SignalTrace::Shape::Item)
        trace.receivers += receivers(SIGNAL(sig(const Data::String &, const Data::Variant &)));
    if (trace.shape != SignalTrace::Shape::Empty)
        trace.receivers += receivers(SIGNAL(sig(const Data::VariantCollection &)));
    return trace;
}

bool Signal::sendTraced()
{
    const TracedSend traced(trace());
    return send();
}

} // namespace Utils
