#pragma once

#include <sip.h>

#include "utils/feedback/Progress_p.h"

namespace Utils::Bindings {

/// Returns the reporter that \p wrapper wraps, or null when it has been destroyed.
inline void *liveProgress(sipSimpleWrapper *wrapper, AccessFuncOp operation)
{
    if (operation == ReleaseGuard)
        return nullptr; // there is nothing to release
    if (operation == GuardedPointer && !progressState.holds(static_cast<Progress *>(wrapper->data)))
        return nullptr;
    return wrapper->data;
}

/// Makes each further use of a reporter check first whether it still exists: the use raises a
/// RuntimeError when it does not. \p object may be None or null.
inline void guard(PyObject *object)
{
    if (object && object != Py_None)
        reinterpret_cast<sipSimpleWrapper *>(object)->access_func = liveProgress;
}

} // namespace Utils::Bindings
