#pragma once

#include <Python.h>

#include <memory>

namespace Utils::Bindings {

struct Release
{
    void operator()(PyObject *object) const { Py_DECREF(object); }
};

/// A reference that is ours to release, or null.
using Reference = std::unique_ptr<PyObject, Release>;

} // namespace Utils::Bindings
