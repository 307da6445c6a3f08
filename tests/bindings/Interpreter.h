#pragma once

#include <Python.h>

#include <QByteArray>
#include <QString>

/// A Python interpreter from here to the end of the scope, as the engine starts it.
class Interpreter
{
public:
    Interpreter()
    {
        static char home[] = KELMUTILS_PYTHON_HOME;
        Py_SetPythonHome(home);
        Py_DontWriteBytecodeFlag = 1;
        Py_InitializeEx(0);
    }
    ~Interpreter() { Py_Finalize(); }
    Interpreter(const Interpreter &) = delete;
    Interpreter &operator=(const Interpreter &) = delete;

    /// Runs statements in `__main__`. "", or the text of the exception: "TypeError: ...".
    QString run(const QByteArray &code)
    {
        PyObject *const names = PyModule_GetDict(PyImport_AddModule("__main__"));
        PyObject *const result = PyRun_String(code.constData(), Py_file_input, names, names);
        Py_XDECREF(result);
        return takeError();
    }

    /// The `str` of an expression, or the text of the exception.
    QString text(const QByteArray &expression)
    {
        const QString error = run("_ = str((" + expression + "))");
        if (!error.isEmpty())
            return error;
        PyObject *const names = PyModule_GetDict(PyImport_AddModule("__main__"));
        return QString::fromUtf8(PyString_AsString(PyDict_GetItemString(names, "_")));
    }

private:
    static QString takeError()
    {
        if (!PyErr_Occurred())
            return QString();
        PyObject *type = nullptr;
        PyObject *value = nullptr;
        PyObject *traceback = nullptr;
        PyErr_Fetch(&type, &value, &traceback);
        PyErr_NormalizeException(&type, &value, &traceback);
        PyObject *const text = PyObject_Str(value);
        const QString result =
            QString("%1: %2").arg(reinterpret_cast<PyTypeObject *>(type)->tp_name,
                                  QString::fromUtf8(text ? PyString_AsString(text) : "?"));
        Py_XDECREF(text);
        Py_XDECREF(type);
        Py_XDECREF(value);
        Py_XDECREF(traceback);
        PyErr_Clear();
        return result.startsWith("exceptions.") ? result.mid(11) : result;
    }
};
