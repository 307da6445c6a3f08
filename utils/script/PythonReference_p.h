#pragma once

#include <Python.h>

#include <memory>

namespace Utils {

struct PythonRelease
{
    void operator()(PyObject *object) const { Py_DECREF(object); }
};

/// An owned reference, which is released at its end, or null.
using PythonReference = std::unique_ptr<PyObject, PythonRelease>;

} // namespace Utils
