#pragma once

#include <Python.h>

#include <memory>

namespace Utils {

struct PythonRelease
{
    void operator()(PyObject *object) const { Py_DECREF(object); }
};

/// A reference that is ours to release, or null.
using PythonReference = std::unique_ptr<PyObject, PythonRelease>;

} // namespace Utils
