#include "bindings/Value_p.h"

#include "bindings/Text_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonValues_p.h"

#include <limits>

namespace Utils::Bindings {

/// The integer as the narrowest of int and 64 bits that holds it.
static Data::Variant integer(qint64 value)
{
    const bool fits =
        value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    return fits ? Data::Variant(int(value)) : Data::Variant(QVariant(qlonglong(value)));
}

bool isPlainValue(PyObject *object)
{
    return object == Py_None || PyInt_Check(object) || PyLong_Check(object) ||
           PyFloat_Check(object) || isText(object); // a bool is an int
}

bool readPlainValue(PyObject *object, Data::Variant &value)
{
    if (object == Py_None) {
        value = Data::Variant();
    } else if (PyBool_Check(object)) {
        value = Data::Variant(object == Py_True);
    } else if (PyInt_Check(object)) {
        value = integer(PyInt_AS_LONG(object));
    } else if (PyFloat_Check(object)) {
        value = Data::Variant(PyFloat_AS_DOUBLE(object));
    } else if (isText(object)) {
        Data::String text;
        if (!readText(object, text))
            return false;
        value = Data::Variant(text);
    } else {
        int overflow = 0;
        const qint64 number = PyLong_AsLongLongAndOverflow(object, &overflow);
        if (!overflow) {
            value = integer(number);
            return true;
        }
        const double rounded = PyLong_AsDouble(object);
        if (PyErr_Occurred())
            return false;
        value = Data::Variant(rounded);
    }
    return true;
}

PyObject *representation(const Data::Variant &value)
{
    const PythonReference object(toPython(value, PythonTypes::Exact));
    const PythonReference text(object ? PyObject_Repr(object.get()) : nullptr);
    return text ? PyString_FromFormat("Variant(%s)", PyString_AS_STRING(text.get())) : nullptr;
}

} // namespace Utils::Bindings
