#include "utils/signals/DelayedSlot.h"

#include "utils/signals/Slot_p.h"

#include <QPointer>
#include <QTimer>

namespace Utils {

DelayedSlot::DelayedSlot(const char *name, QObject *parent) : Slot(name, parent) {}

DelayedSlot::DelayedSlot(const DelayedSlot &other)
    : Slot(nullptr, nullptr), m_pending(other.m_pending), m_postpone(other.m_postpone)
{}

DelayedSlot &DelayedSlot::operator=(const DelayedSlot &other)
{
    m_pending = other.m_pending;
    m_postpone = other.m_postpone;
    return *this;
}

DelayedSlot::~DelayedSlot() = default;

void DelayedSlot::postPending()
{
    if (isPending())
        return;

    // The timer of a withdrawn call is still queued, and is used again.
    if (m_pending == Pending::None)
        QTimer::singleShot(0, this, SLOT(callDelegate()));
    m_pending = Pending::Waits;
}

void DelayedSlot::postPending(const Data::String &key, const Data::Variant &value)
{
    // The replaced value may own the slot, which is then destroyed at the end.
    Data::Variant replaced = value;
    m_data[key].swap(replaced);
    postPending();
}

bool DelayedSlot::flushPending()
{
    if (!isPending())
        return false;

    m_pending = Pending::Withdrawn;
    const PayloadHold hold(m_data);
    m_data.clear();
    Slot::onSig();
    return true;
}

void DelayedSlot::ignorePending()
{
    if (m_pending == Pending::None)
        return;

    m_pending = Pending::Withdrawn;
    m_data.clear();
}

void DelayedSlot::postponePending(bool postpone) { m_postpone = postpone; }

void DelayedSlot::onSig() { postPending(); }

void DelayedSlot::onSig(const Data::VariantCollection &payload)
{
    const PayloadHold hold(m_data);
    m_data = payload;
    postPending();
}

void DelayedSlot::callDelegate()
{
    if (!isPending()) {
        m_pending = Pending::None;
        return;
    }
    if (m_postpone) {
        QTimer::singleShot(0, this, SLOT(callDelegate()));
        return;
    }

    const QPointer<DelayedSlot> self(this);
    m_pending = Pending::None;
    Slot::onSig();
    if (!self)
        return;

    if (m_pending == Pending::None) {
        m_pending = Pending::InOverride; // so that our own onSig() does not post
        onSig();
        if (!self)
            return;
        m_pending = Pending::None;
    }
    if (m_pending == Pending::Withdrawn)
        m_pending = Pending::None;
    m_data.clear();
}

} // namespace Utils
