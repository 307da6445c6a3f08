#pragma once

#include "utils/signals/Slot.h"

namespace Utils {

/// A slot that merges any number of posts into one call of its callback, on the next pass of the
/// event loop. A post is a call of postPending() or a delivery to the slot.
///
///     postPending("a", 1), postPending("b", 2)  => one call with both
///     two payload deliveries                    => one call with the second payload
///     a delivery of a key and a value, or of    => one call with an empty payload; what was
///     a value                                      pending before is lost, too
///
/// All posts before the call share one timer. Whether the slot is enabled is checked when the call
/// is made, not when it is posted.
class KELMUTILS_EXPORT DelayedSlot : public Slot
{
    Q_OBJECT

public:
    DelayedSlot(const char *name, QObject *parent);

    /// A copy is an independent slot without name, parent, callback and payload. Moving copies.
    ///
    /// \compat It copies the flags "pending" and "postponed", but no timer, so a pending call is
    /// made only by flushPending(). Assignment copies these two flags and nothing else.
    DelayedSlot(const DelayedSlot &other);
    DelayedSlot &operator=(const DelayedSlot &other);
    ~DelayedSlot() override;

    /// Posts a call. The second form first sets the value of \p key in the payload of this call.
    void postPending();
    void postPending(const Data::String &key, const Data::Variant &value);

    /// Makes the pending call now, even when it is postponed. False when none is pending.
    ///
    /// \compat The callback gets an empty payload.
    bool flushPending();

    /// Cancels the pending call and clears its payload.
    void ignorePending();

    /// While \p postpone is true, each pass of the event loop delays a pending call to the next
    /// pass.
    void postponePending(bool postpone);

    using Slot::onSig;

    /// Posts a call.
    void onSig() override;

    /// Posts a call with \p payload, replacing the payload of a pending call.
    void onSig(const Data::VariantCollection &payload) override;

private Q_SLOTS:
    /// Makes the pending call, then clears the payload. If a derived class overrides onSig(), its
    /// onSig() is called once after the callback.
    ///
    /// \compat The payload of posts that the callback itself makes is cleared, too.
    void callDelegate();

private:
    enum class Pending : qint8
    {
        Withdrawn = -1, ///< the call that waited was withdrawn, but its timer is still queued
        None = 0,
        Waits = 1,
        InOverride = 2, ///< within the onSig() after the callback
    };

    bool isPending() const { return m_pending > Pending::None; }

    Pending m_pending = Pending::None;
    bool m_postpone = false;
};

} // namespace Utils
