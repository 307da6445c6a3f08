#pragma once

#include "utils/script/PythonText_p.h"

namespace Utils::Bindings {

using Utils::isText;
using Utils::readText;
using Utils::toBytes;
using Utils::toUnicode;

// Operations of a Data.String in Python. They do what those of its `unicode` do, which also counts
// the characters; but where the result may be bytes they do what those of its `str` do.

PyObject *representation(const QString &text);
long hash(const QString &text);
Py_ssize_t length(const QString &text);

/// Reads the character at an index, or the part of a slice.
bool partOf(const QString &text, PyObject *index, Data::String &part);

/// Does what `%` does. If a `str` among the values is not plain ASCII, it works on UTF-8.
bool format(const QString &text, PyObject *values, Data::String &result);

/// Returns an iterator over the characters, each as an object of the class \p type.
PyObject *charactersOf(const QString &text, PyTypeObject *type);

} // namespace Utils::Bindings
