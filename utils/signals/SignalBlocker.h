#pragma once

#include "utils/Export.h"

#include <QObject>
#include <QPointer>

namespace Utils {

/// Holds the signals of an object off for a scope, or on where \p unblock is given.
///
/// What is already in the wanted state is left alone, also at the end, so blockers nest: only the
/// outermost puts the object back. An object that dies within the scope is forgotten.
///
/// The end flips the state that the object has then, which is meant: if someone unblocks the
/// object within the scope, the end blocks it. A copy holds the same object and flips it again.
class KELMUTILS_EXPORT SignalBlocker
{
public:
    explicit SignalBlocker(QObject *object, bool unblock = false);
    SignalBlocker(const SignalBlocker &other);
    SignalBlocker &operator=(const SignalBlocker &other);
    ~SignalBlocker();

    /// Puts the object back now and forgets it.
    void reset();

private:
    QPointer<QObject> m_object; // null when there is nothing to put back
};

} // namespace Utils
