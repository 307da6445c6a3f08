#include "utils/script/PythonValues_p.h"

#include "utils/script/PythonReference_p.h"

#include <QList>
#include <QMetaType>
#include <QVector>

#include <Python.h>

namespace Utils {

using DoubleList = QList<double>;
using Int32List = QList<int>;
using DoubleVector = QVector<double>;

/// Makes the lists known by name, and with that iterable, as Qt does it for sequences.
static void registerLists()
{
    static const bool isRegistered = [] {
        qRegisterMetaType<Int32List>("QInt32List");
        qRegisterMetaType<DoubleList>("QDoubleList");
        qRegisterMetaType<DoubleVector>("QVector<double>");
        return true;
    }();
    Q_UNUSED(isRegistered)
}

static PyObject *toObject(int value) { return PyInt_FromLong(value); }

static PyObject *toObject(double value) { return PyFloat_FromDouble(value); }

static PyObject *toObject(const QString &value)
{
    return PyString_FromString(value.toUtf8().constData());
}

/// A new list of \p values. Null, with an error set, when the memory does not suffice.
template <typename List>
static PyObject *toList(const List &values)
{
    PythonReference list(PyList_New(values.size()));
    for (int i = 0; list && i < values.size(); ++i) {
        PyObject *const item = toObject(values[i]);
        if (!item)
            return nullptr;
        PyList_SET_ITEM(list.get(), i, item);
    }
    return list.release();
}

static PyObject *toNumberList(const Data::Variant &value)
{
    registerLists();
    const auto vector = value.value<DoubleVector>();
    if (!vector.isEmpty())
        return toList(vector);
    const auto doubles = value.value<DoubleList>();
    if (!doubles.isEmpty())
        return toList(doubles);
    const auto ints = value.value<Int32List>();
    return ints.isEmpty() ? nullptr : toList(ints);
}

static PyObject *toNewObject(const Data::Variant &value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return toObject(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return toObject(static_cast<int>(value.toLongLong()));
    case QMetaType::Double:
        return toObject(value.toDouble());
    case QMetaType::QString:
        return toObject(value.toString());
    case QMetaType::QStringList:
        return toList(value.toStringList());
    default:
        return toNumberList(value);
    }
}

PyObject *toPython(const Data::Variant &value)
{
    PyObject *const object = toNewObject(value);
    if (!object)
        PyErr_Clear();
    return object;
}

Data::Variant fromPython(PyObject *object)
{
    if (!object)
        return {};
    if (PyBool_Check(object)) // before int, which it derives from
        return PyInt_AS_LONG(object) != 0;
    if (PyInt_Check(object))
        return static_cast<int>(PyInt_AS_LONG(object));
    if (PyFloat_Check(object))
        return PyFloat_AS_DOUBLE(object);
    if (PyString_Check(object))
        return PyString_AS_STRING(object);
    return {};
}

} // namespace Utils
