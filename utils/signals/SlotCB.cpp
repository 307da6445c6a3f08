#include "utils/signals/SlotCB.h"

#include "utils/signals/Slot.h"

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

} // namespace Utils
