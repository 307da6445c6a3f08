#include "utils/signals/DelayedSlot.h"

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
    if (m_pending > 0)
        return;

    // A withdrawn call has left its timer queued, and that one serves again.
    if (m_pending == 0)
        QTimer::singleShot(0, this, "1callDelegate()");
    m_pending = 1;
}

void DelayedSlot::postPending(const Data::String &key, const Data::Variant &value)
{
    const Data::VariantCollection before = m_data; // may own the slot, so it goes last
    m_data[key] = value;
    postPending();
}

bool DelayedSlot::flushPending()
{
    if (m_pending <= 0)
        return false;

    m_pending = -1;
    const Data::VariantCollection before = m_data; // may own the slot, so it goes last
    m_data.clear();
    Slot::onSig();
    return true;
}

void DelayedSlot::ignorePending()
{
    if (m_pending == 0)
        return;

    m_pending = -1;
    m_data.clear();
}

void DelayedSlot::postponePending(bool postpone) { m_postpone = postpone; }

void DelayedSlot::onSig() { postPending(); }

void DelayedSlot::onSig(const Data::VariantCollection &payload)
{
    const Data::VariantCollection before = m_data; // may own the slot, so it goes last
    m_data = payload;
    postPending();
}

void DelayedSlot::callDelegate()
{
    if (m_pending <= 0) {
        m_pending = 0;
        return;
    }
    if (m_postpone) {
        QTimer::singleShot(0, this, "1callDelegate()");
        return;
    }

    const QPointer<DelayedSlot> self(this);
    m_pending = 0;
    Slot::onSig();
    if (!self)
        return;

    if (m_pending == 0) {
        m_pending = 2; // makes our own onSig(), a post, do nothing
        onSig();
        if (!self)
            return;
        m_pending = 0;
    }
    if (m_pending < 0)
        m_pending = 0;
    m_data.clear();
}

} // namespace Utils
