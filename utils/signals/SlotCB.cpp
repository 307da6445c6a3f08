#include "utils/signals/SlotCB.h"

#include "utils/signals/Slot.h"

#include <utility>
#include <variant>

namespace Utils {

SlotCB::~SlotCB() = default;

Data::VariantCollection SlotCB::payloadOf(const Slot *slot) { return slot->data(); }

FunctionCB::FunctionCB(void (*function)()) : m_function(function) {}

FunctionCB::FunctionCB(void (*function)(const Slot *)) : m_functionWithSlot(function) {}

FunctionCB::FunctionCB(void (*function)(const Data::VariantCollection &))
    : m_functionWithData(function)
{}

void FunctionCB::call(Slot *slot)
{
    // Exactly one is set, so nothing is read after the call, which may have deleted this object.
    if (m_function)
        m_function();
    else if (m_functionWithSlot)
        m_functionWithSlot(slot);
    else if (m_functionWithData)
        m_functionWithData(payloadOf(slot));
}

/// The function, which the callback owns together with the calls that are in progress.
///
/// The count is not atomic, as that of a shared_ptr is: a slot is used on one thread.
struct FunctionObjectCB::Body
{
    std::variant<std::function<void()>, std::function<void(const Slot *)>,
                 std::function<void(const Data::VariantCollection &)>>
        function;
    int owners = 1;

    void release()
    {
        if (--owners == 0)
            delete this;
    }
};

class FunctionObjectCB::Running
{
public:
    explicit Running(Body *body) : m_body(body) { ++body->owners; }
    ~Running() { m_body->release(); }

    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

private:
    Body *const m_body;
};

FunctionObjectCB::FunctionObjectCB(std::function<void()> function)
    : m_body(new Body{std::move(function)})
{}

FunctionObjectCB::FunctionObjectCB(std::function<void(const Slot *)> function)
    : m_body(new Body{std::move(function)})
{}

FunctionObjectCB::FunctionObjectCB(std::function<void(const Data::VariantCollection &)> function)
    : m_body(new Body{std::move(function)})
{}

FunctionObjectCB::~FunctionObjectCB() { m_body->release(); }

void FunctionObjectCB::call(Slot *slot)
{
    // This object may be deleted by the function, so only the body is used.
    Body *const body = m_body;
    const Running running(body);
    if (const auto *plain = std::get_if<std::function<void()>>(&body->function)) {
        if (*plain)
            (*plain)();
    } else if (const auto *withSlot =
                   std::get_if<std::function<void(const Slot *)>>(&body->function)) {
        if (*withSlot)
            (*withSlot)(slot);
    } else if (const auto &withData = std::get<2>(body->function)) {
        withData(payloadOf(slot));
    }
}

} // namespace Utils
