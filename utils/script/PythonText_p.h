#pragma once

#include <Python.h>

#include "data/String.h"

namespace Utils {

// Conversions between Python's texts and ours. A `str` is UTF-8, and each invalid byte is read as
// U+FFFD; a `unicode` keeps each of its characters, also half of a surrogate pair. Zeros are
// characters.
//
// A function that returns a PyObject returns a new reference, or null with the error set. One that
// returns a bool returns false with the error set, also when there is not enough memory.

/// Whether \p object is a `str` or a `unicode`, or of a class derived from one.
bool isText(PyObject *object);

/// Reads what isText() accepts. Raises an OverflowError where it is too long for a Data.String.
bool readText(PyObject *text, Data::String &result);

/// Makes a `str`. Raises an OverflowError where the text is too long for UTF-8.
PyObject *toBytes(const QString &text);
PyObject *toUnicode(const QString &text);

} // namespace Utils
