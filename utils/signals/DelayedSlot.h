#pragma once

#include "utils/signals/Slot.h"

namespace Utils {

/// A slot that turns any number of posts into one call of its callback, on the next pass of the
/// event loop. Every delivery is a post.
///
///     postPending("a", 1), postPending("b", 2)  one call, which sees both
///     two payload deliveries                    one call, which sees the second
///     a delivery of a key and a value, or
///     of a value                                one call, which sees nothing, also of what
///                                               waited before
///
/// There is one timer for a burst. Whether the slot is enabled is asked when the call is made, not
/// when it is posted.
class KELMUTILS_EXPORT DelayedSlot : public Slot
{
    Q_OBJECT

public:
    DelayedSlot(const char *name, QObject *parent);

    /// A copy, or what is moved to, is a slot of its own with no name, parent, callback or payload.
    /// It takes over that a call waits and whether it is postponed, but no timer, so the call never
    /// comes by itself: this is meant. Assignment copies the same two and nothing else.
    DelayedSlot(const DelayedSlot &other);
    DelayedSlot &operator=(const DelayedSlot &other);
    ~DelayedSlot() override;

    /// Posts a call, after setting the value of \p key in its payload in the second form.
    void postPending();
    void postPending(const Data::String &key, const Data::Variant &value);

    /// Makes a waiting call now, postponed or not. False when none waits.
    ///
    /// The callback finds an empty payload: a flush delivers the event without its data, which is
    /// meant.
    bool flushPending();

    /// Withdraws a waiting call with its payload.
    void ignorePending();

    /// While true, a waiting call is put back at every pass of the event loop.
    void postponePending(bool postpone);

    using Slot::onSig;

    /// Posts a call.
    void onSig() override;

    /// Makes \p payload the payload of the waiting call and posts it.
    void onSig(const Data::VariantCollection &payload) override;

private Q_SLOTS:
    /// Makes the waiting call. The payload is emptied behind it, also when the callback has posted
    /// again: posts from within a callback are bare notifications, which is meant. An override of
    /// onSig() in a derived class is called once behind the callback.
    void callDelegate();

private:
    // 0: nothing waits. 1: a call waits. 2: inside the onSig() behind the callback. -1: the waiting
    // call was withdrawn, but its timer is still queued.
    qint8 m_pending = 0;
    bool m_postpone = false;
};

} // namespace Utils
