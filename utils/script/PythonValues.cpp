#include "utils/script/PythonValues_p.h"

#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonText_p.h"

#include <QList>
#include <QMetaType>
#include <QVector>

#include <Python.h>

namespace Utils {

using DoubleList = QList<double>;
using Int32List = QList<int>;
using DoubleVector = QVector<double>;

/// Registers the lists by name, which also makes Qt able to iterate them.
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

/// A `str` of the text up to its first zero.
static PyObject *toCutBytes(const QString &text)
{
    return PyString_FromString(text.toUtf8().constData());
}

/// A new list of what \a convert makes of each of \a values. Null, with an error set, when one
/// cannot be made.
template <typename List, typename Convert>
static PyObject *toList(const List &values, Convert convert)
{
    PythonReference list(PyList_New(values.size()));
    for (int i = 0; list && i < values.size(); ++i) {
        PyObject *const item = convert(values[i]);
        if (!item)
            return nullptr;
        PyList_SET_ITEM(list.get(), i, item);
    }
    return list.release();
}

template <typename List>
static PyObject *toNumberList(const List &values)
{
    return toList(values, [](auto value) { return toObject(value); });
}

/// The first list of numbers that \a value converts to and that is not empty, or null.
static PyObject *convertToNumberList(const Data::Variant &value)
{
    registerLists();
    const auto vector = value.value<DoubleVector>();
    if (!vector.isEmpty())
        return toNumberList(vector);
    const auto doubles = value.value<DoubleList>();
    if (!doubles.isEmpty())
        return toNumberList(doubles);
    const auto ints = value.value<Int32List>();
    return ints.isEmpty() ? nullptr : toNumberList(ints);
}

static PyObject *toPushedObject(const Data::Variant &value)
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
        return toCutBytes(value.toString());
    case QMetaType::QStringList:
        return toList(value.toStringList(), toCutBytes);
    default:
        return convertToNumberList(value);
    }
}

static PyObject *toExactObject(const Data::Variant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        Py_RETURN_NONE;
    case QMetaType::Bool:
        return PyBool_FromLong(value.toBool());
    case QMetaType::Int:
        return toObject(value.toInt());
    case QMetaType::LongLong:
        return PyLong_FromLongLong(value.toLongLong());
    case QMetaType::Double:
        return toObject(value.toDouble());
    case QMetaType::QStringList:
        return toList(value.toStringList(), toBytes);
    default:
        return toBytes(value.toString());
    }
}

PyObject *toPython(const Data::Variant &value, PythonTypes types)
{
    if (types == PythonTypes::Exact)
        return toExactObject(value);
    PyObject *const object = toPushedObject(value);
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
