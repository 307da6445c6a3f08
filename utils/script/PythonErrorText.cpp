#include "utils/script/PythonErrorText_p.h"

namespace Utils {

static PythonErrorText *innermost = nullptr; // guarded by Python's lock

static PyObject *shared(PyObject *object)
{
    Py_XINCREF(object);
    return object;
}

PythonErrorText::PythonErrorText(PyObject *exception)
    : m_outer(innermost), m_exception(shared(exception)), m_type(Py_TYPE(exception)),
      m_original(originalStr(m_type))
{
    innermost = this;
    Py_INCREF(reinterpret_cast<PyObject *>(m_type));
    m_type->tp_str = str;
}

PythonErrorText::~PythonErrorText()
{
    innermost = m_outer;
    bool isUsed = false; // around a run that another one is nested in
    for (const PythonErrorText *text = innermost; text; text = text->m_outer)
        isUsed = isUsed || text->m_type == m_type;
    if (m_type->tp_str == str && !isUsed)
        m_type->tp_str = m_original; // else a script has replaced it
    Py_DECREF(reinterpret_cast<PyObject *>(m_type));
}

PythonReference PythonErrorText::text() const { return PythonReference(shared(m_text.get())); }

/// Returns what the type had before. A class that was made meanwhile may have inherited str().
reprfunc PythonErrorText::originalStr(const PyTypeObject *type)
{
    for (; type->tp_str == str; type = type->tp_base) {
        for (const PythonErrorText *text = innermost; text; text = text->m_outer) {
            if (text->m_type == type)
                return text->m_original;
        }
    }
    return type->tp_str;
}

/// What str() calls for each object of the type.
PyObject *PythonErrorText::str(PyObject *object)
{
    PyObject *const text = originalStr(Py_TYPE(object))(object);
    for (PythonErrorText *keeper = innermost; keeper; keeper = keeper->m_outer) {
        if (keeper->m_exception.get() == object && !keeper->m_text)
            keeper->m_text.reset(shared(text ? text : Py_None));
    }
    return text;
}

} // namespace Utils
