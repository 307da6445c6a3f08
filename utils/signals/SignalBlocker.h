#pragma once

#include "utils/Export.h"

#include <QObject>
#include <QPointer>

namespace Utils {

/// Blocks the signals of a QObject until the blocker is destroyed. With \p unblock, it unblocks
/// them instead. Null is allowed and does nothing.
///
/// If the object is already in the wanted state, neither the constructor nor the destructor changes
/// it. So blockers nest: only the outermost blocker restores the object. The object may be deleted
/// before the blocker.
///
/// \compat The destructor inverts the state that the object has at that time: if other code has
/// unblocked the object meanwhile, the destructor blocks it. A copy refers to the same object and
/// inverts its state once more.
class KELMUTILS_EXPORT SignalBlocker
{
public:
    explicit SignalBlocker(QObject *object, bool unblock = false);
    SignalBlocker(const SignalBlocker &other);
    SignalBlocker &operator=(const SignalBlocker &other);
    ~SignalBlocker();

    /// Restores the object at once; the destructor then does nothing.
    void reset();

private:
    QPointer<QObject> m_object; // null when there is nothing to restore
};

} // namespace Utils
