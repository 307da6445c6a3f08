#pragma once

#include <Python.h>

#include "utils/script/ScriptConsole.h"

#include <functional>

// What can be learnt about objects of Python without running anything of a script: no attribute is
// read as a script reads it, no hook such as __getattr__ is called, no key is hashed or compared.
// The references are borrowed, and hold until something runs.
namespace Utils::PythonObjects {

/// Keeps Python from collecting garbage while it exists, which could run finalizers of scripts, and
/// an error as it is. Create one first.
class Guard
{
public:
    Guard();
    ~Guard();
    Q_DISABLE_COPY(Guard)

private:
    // Python collects nothing while an error is set.
    PyObject *m_type = nullptr;
    PyObject *m_value = nullptr;
    PyObject *m_traceback = nullptr;
};

/// A name in a dictionary.
struct Name
{
    QByteArray name;
    PyObject *value;
    PyTypeObject *owner; ///< the class in whose dictionary it is; null for other dictionaries
};

using Visitor = std::function<void(const Name &name)>;

/// Calls \p visit for each name in \p dictionary that is a str.
void visitDictionary(PyObject *dictionary, PyTypeObject *owner, const Visitor &visit);

/// Calls \p visit for each attribute of \p object: first its own, then those of its classes, so
/// that the first one of a name is the one that counts.
void visitAttributes(PyObject *object, const Visitor &visit);

/// Returns the value of \p name in \p dictionary, or null.
PyObject *findInDictionary(PyObject *dictionary, const QByteArray &name);

/// Returns the attribute \p name of \p object. Null when there is none, and when only a call could
/// tell its value.
PyObject *findAttribute(PyObject *object, const QByteArray &name);

/// Describes a name: its kind, and its signature and documentation, as far as they are known.
ScriptCompletion describe(const Name &name);

} // namespace Utils::PythonObjects
