#pragma once

#include <Python.h>

#include "data/Variant.h"

namespace Utils::Bindings {

/// Whether \p object is None, a bool, a number or a text of Python's own.
bool isPlainValue(PyObject *object);

/// Reads what isPlainValue() accepts. False, with the error set, when a Data::Variant cannot hold
/// it.
///
///     None                      the invalid variant
///     True                      a bool
///     5, 5L                     an int, or a 64-bit integer when it is too large for one
///     2 ** 64                   a double, when it is too large for that as well
///     1.5                       a double
///     "text", u"text"           a text
bool readPlainValue(PyObject *object, Data::Variant &value);

/// Returns "Variant(...)" with the value as Python would write it.
PyObject *representation(const Data::Variant &value);

} // namespace Utils::Bindings
