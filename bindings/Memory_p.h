#pragma once

#include <Python.h>

#include <new>

namespace Utils::Bindings {

/// Calls \p function. Returns true, with a MemoryError set, when it throws std::bad_alloc.
///
/// Code that is written by hand in a definition of a module needs it where it allocates: SIP
/// catches exceptions only in calls that it generates itself, and they must not pass through the
/// C functions of Python.
template <typename Function>
bool isOutOfMemory(const Function &function)
{
    try {
        function();
        return false;
    } catch (const std::bad_alloc &) {
        PyErr_NoMemory();
        return true;
    }
}

} // namespace Utils::Bindings
