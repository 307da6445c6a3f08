#pragma once

#include "utils/Export.h"

#include <QObject>
#include <QPointer>

namespace Utils {

/// Blocks the signals of an object for a scope, or unblocks them with \p unblock.
///
/// An object that is in the wanted state already is not changed, nor at the end of the scope, so
/// blockers nest: only the outermost restores the object. The object may be deleted in the scope.
///
/// \compat The end inverts the state that the object then has: if other code unblocks the object in
/// the scope, the end blocks it. A copy refers to the same object and inverts its state once more.
class KELMUTILS_EXPORT SignalBlocker
{
public:
    explicit SignalBlocker(QObject *object, bool unblock = false);
    SignalBlocker(const SignalBlocker &other);
    SignalBlocker &operator=(const SignalBlocker &other);
    ~SignalBlocker();

    /// Restores the object now and releases it.
    void reset();

private:
    QPointer<QObject> m_object; // null when there is nothing to restore
};

} // namespace Utils
