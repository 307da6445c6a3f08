#pragma once

#include "utils/script/PythonReference_p.h"

#include <QtGlobal>

namespace Utils {

/// Keeps the text that str() returns for an exception while it exists, so that an exception that is
/// printed and then described is asked once for its text.
class PythonErrorText
{
public:
    explicit PythonErrorText(PyObject *exception);
    ~PythonErrorText();
    Q_DISABLE_COPY(PythonErrorText)

    /// Returns the text; None when str() has failed; null when nothing has asked for it.
    PythonReference text() const;

private:
    static PyObject *str(PyObject *object);
    static reprfunc originalStr(const PyTypeObject *type);

    PythonErrorText *const m_outer;
    const PythonReference m_exception;
    PyTypeObject *const m_type;
    const reprfunc m_original;
    PythonReference m_text;
};

} // namespace Utils
