#pragma once

#include <sip.h>

#include "utils/feedback/Progress_p.h"

namespace Utils::Bindings {

/// The reporter that \p wrapper wraps, or null when that has gone.
inline void *liveProgress(sipSimpleWrapper *wrapper, AccessFuncOp operation)
{
    if (operation == ReleaseGuard)
        return nullptr; // there is nothing to release
    if (operation == GuardedPointer && !progressState.holds(static_cast<Progress *>(wrapper->data)))
        return nullptr;
    return wrapper->data;
}

/// Makes each further use of a reporter of a chain ask first whether it is still there; it raises a
/// RuntimeError when it is not. \p object may be None or null.
inline void guard(PyObject *object)
{
    if (object && object != Py_None)
        reinterpret_cast<sipSimpleWrapper *>(object)->access_func = liveProgress;
}

} // namespace Utils::Bindings
