#pragma once

#include "utils/signals/Slot.h"

#include <QPointer>

namespace Utils {

/// Holds what a payload is at the start of a scope up to its end: it may own the slot, which would
/// die where it goes.
class PayloadHold
{
public:
    explicit PayloadHold(const Data::VariantCollection &payload) : m_held(payload) {}

private:
    const Data::VariantCollection m_held;
};

/// A delivery to a slot that stores what it is given. At the end the store is emptied, unless the
/// slot has died meanwhile.
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
