#pragma once

#include <Python.h>

#include "data/String.h"

namespace Utils::Bindings {

// Between Python's texts and ours. A `str` is UTF-8, and each invalid byte becomes U+FFFD; a
// `unicode` keeps each of its characters, a half of a surrogate pair too. Zeros are characters.
//
// What gives a PyObject gives a new reference, or null with the error set. What gives a bool is
// false with the error set.

bool isText(PyObject *object); ///< a `str` or a `unicode`, or of a class derived from one

/// Reads what isText() knows. An OverflowError where it is too long for a Data.String.
bool readText(PyObject *text, Data::String &result);

/// A `str`. An OverflowError where the text is too long to be given as UTF-8.
PyObject *toBytes(const QString &text);
PyObject *toUnicode(const QString &text);

// What a Data.String does in Python is what its `unicode` does, so characters are counted as that
// counts them; but where the result may be bytes it is what its `str` does.

PyObject *representation(const QString &text);
long hash(const QString &text);
Py_ssize_t length(const QString &text);

/// The character at an index, or the part that a slice is.
bool partOf(const QString &text, PyObject *index, Data::String &part);

/// As `%` does it. Where a `str` among the values is not plain ASCII, all of it is done in UTF-8.
bool format(const QString &text, PyObject *values, Data::String &result);

/// An iterator over the characters, each of the class \p type.
PyObject *charactersOf(const QString &text, PyTypeObject *type);

} // namespace Utils::Bindings
