#pragma once

#include "utils/signals/Slot.h"

#include <QPointer>

namespace Utils {

/// Holds a copy of a payload until the end of a scope: the payload may own the slot, which would be
/// destroyed with it.
class PayloadHold
{
public:
    explicit PayloadHold(const Data::VariantCollection &payload) : m_held(payload) {}

private:
    const Data::VariantCollection m_held;
};

/// A delivery to a slot that stores its payload. Clears the store at the end, unless the slot has
/// been destroyed meanwhile.
class StoredDelivery
{
public:
    StoredDelivery(Slot *slot, Data::VariantCollection &store)
        : m_slot(slot), m_store(store), m_hold(store)
    {}
    ~StoredDelivery()
    {
        if (m_slot)
            m_store.clear();
    }

    StoredDelivery(const StoredDelivery &) = delete;
    StoredDelivery &operator=(const StoredDelivery &) = delete;

private:
    const QPointer<Slot> m_slot;
    Data::VariantCollection &m_store;
    const PayloadHold m_hold;
};

} // namespace Utils
