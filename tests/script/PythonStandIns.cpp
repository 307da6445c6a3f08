#include "tests/script/PythonStandIns.h"

#include "utils/script/ScriptManager.h"

#include <Python.h>

static PythonStandIns *current = nullptr;

static PyObject *call(PyObject *, PyObject *arguments)
{
    const char *text = nullptr;
    if (!PyArg_ParseTuple(arguments, "s", &text))
        return nullptr;
    if (current && current->reaction)
        current->reaction(QString::fromUtf8(text));
    if (PyErr_Occurred())
        return nullptr;
    Py_RETURN_NONE;
}

static PyObject *setScriptResult(PyObject *, PyObject *arguments)
{
    PyObject *value = nullptr;
    if (!PyArg_ParseTuple(arguments, "O", &value))
        return nullptr;
    Data::Variant result;
    if (PyInt_Check(value))
        result = static_cast<int>(PyInt_AsLong(value));
    else if (PyFloat_Check(value))
        result = PyFloat_AsDouble(value);
    else if (PyString_Check(value))
        result = PyString_AsString(value);
    Utils::ScriptManager::instance().setScriptResult(result);
    Py_RETURN_NONE;
}

static PyMethodDef methods[] = {
    {"call", call, METH_VARARGS, nullptr},
    {"setScriptResult", setScriptResult, METH_VARARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

static const char modules[] = "import sys, host\n"
                              "Module = type(sys)\n"
                              "class Data(object):\n"
                              "    class Variant(object):\n"
                              "        def __init__(self, value):\n"
                              "            self.value = value\n"
                              "class Application(object):\n"
                              "    def setScriptResult(self, variant):\n"
                              "        host.setScriptResult(variant.value)\n"
                              "class Framework(object):\n"
                              "    app = Application\n"
                              "sys.modules['KelmData'] = Module('KelmData')\n"
                              "sys.modules['KelmData'].Data = Data\n"
                              "sys.modules['KelmFramework'] = Module('KelmFramework')\n"
                              "sys.modules['KelmFramework'].Framework = Framework\n";

PythonStandIns::PythonStandIns() : IScriptableModule("stand-ins") { current = this; }

PythonStandIns::~PythonStandIns() { current = nullptr; }

bool PythonStandIns::initialize()
{
    ++initialized;
    if (!Py_IsInitialized() || !Py_InitModule("host", methods))
        return false;
    PyObject *const scope = PyDict_New();
    PyDict_SetItemString(scope, "__builtins__", PyEval_GetBuiltins());
    PyObject *const result = PyRun_String(modules, Py_file_input, scope, scope);
    const bool succeeded = result != nullptr;
    if (!succeeded)
        PyErr_Print();
    Py_XDECREF(result);
    Py_DECREF(scope);
    return succeeded;
}
