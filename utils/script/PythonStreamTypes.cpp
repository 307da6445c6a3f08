#include "utils/script/PythonStreamTypes_p.h"

#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonText_p.h"
#include "utils/script/ScriptInput_p.h"
#include "utils/script/ScriptOutput_p.h"

#include <structmember.h>

#include <algorithm>
#include <cstddef>
#include <new>

namespace Utils {

namespace {

/// A standard stream of scripts.
struct Stream
{
    PyObject_HEAD int softSpace; // of the statement print
    PyObject *original;          // owned
    ScriptOutput *output;
    ScriptChannel channel; // both of an output
    ScriptInput *input;
};

} // namespace

static Stream *stream(PyObject *self) { return reinterpret_cast<Stream *>(self); }

static PyObject *none(bool succeeded)
{
    if (!succeeded)
        return nullptr;
    Py_RETURN_NONE;
}

static bool isRedirected(PyObject *self)
{
    const Stream *const asked = stream(self);
    return asked->output ? asked->output->hasSink() : asked->input->hasSource();
}

static PyObject *callOriginal(PyObject *self, const char *method)
{
    return PyObject_CallMethod(stream(self)->original, const_cast<char *>(method), nullptr);
}

// Writing

/// Writes \p text as a file does: a str, a unicode or a buffer of characters. Returns false with
/// the error set.
static bool writeToSink(Stream *to, PyObject *text)
{
    try {
        if (PyUnicode_Check(text)) {
            Data::String read;
            if (!readText(text, read))
                return false;
            to->output->write(read, to->channel);
            return true;
        }
        const char *bytes = nullptr;
        Py_ssize_t size = 0;
        if (PyObject_AsCharBuffer(text, &bytes, &size) != 0)
            return false;
        // A script that the sink runs may change the buffer.
        Py_INCREF(text);
        const PythonReference source(
            PyString_Check(text) ? text : PyString_FromStringAndSize(bytes, size));
        if (!PyString_Check(text))
            Py_DECREF(text);
        if (!source)
            return false;
        to->output->write(PyString_AS_STRING(source.get()), static_cast<std::size_t>(size),
                          to->channel);
        return true;
    } catch (const std::bad_alloc &) {
        PyErr_NoMemory();
        return false;
    }
}

static bool writeText(PyObject *self, PyObject *text)
{
    if (isRedirected(self))
        return writeToSink(stream(self), text);
    char method[] = "write";
    char format[] = "(O)";
    return PythonReference(PyObject_CallMethod(stream(self)->original, method, format, text)) !=
           nullptr;
}

static PyObject *write(PyObject *self, PyObject *text) { return none(writeText(self, text)); }

static PyObject *writelines(PyObject *self, PyObject *lines)
{
    const PythonReference iterator(PyObject_GetIter(lines));
    if (!iterator)
        return nullptr;
    while (const PythonReference line{PyIter_Next(iterator.get())}) {
        if (!writeText(self, line.get()))
            return nullptr;
    }
    return none(!PyErr_Occurred());
}

static PyObject *flush(PyObject *self, PyObject *)
{
    if (!isRedirected(self))
        return callOriginal(self, "flush");
    stream(self)->output->deliver();
    Py_RETURN_NONE;
}

// Reading

/// Fetches more of the input. Returns false at its end, and with an error set.
static bool fetch(PyObject *self)
{
    if (Py_MakePendingCalls() != 0) // a source without text may be asked for long
        return false;
    const char *problem = nullptr;
    switch (stream(self)->input->fetch()) {
    case ScriptInput::Outcome::Read:
        return true;
    case ScriptInput::Outcome::End:
        return false;
    case ScriptInput::Outcome::OtherThread:
        problem = "only the main thread can read the input of the host";
        break;
    case ScriptInput::Outcome::InUse:
        problem = "the host is reading the input already";
        break;
    case ScriptInput::Outcome::Failed:
        problem = "the host has failed to read the input";
        break;
    }
    PyErr_SetString(PyExc_IOError, problem);
    return false;
}

/// Takes \p size bytes of the available input, or all if it has less. Takes none when there is no
/// memory for them.
static PyObject *take(PyObject *self, int size)
{
    ScriptInput *const input = stream(self)->input;
    const int taken = std::min(size, input->size());
    PyObject *const text = PyString_FromStringAndSize(nullptr, taken);
    if (text)
        input->take(PyString_AS_STRING(text), taken);
    return text;
}

/// Reads a line, or the first \p limit bytes of one. Returns an empty str at the end of the input.
static PyObject *readLine(PyObject *self, int limit)
{
    const ScriptInput *const input = stream(self)->input;
    int checked = 0;
    for (;;) {
        const int end = input->indexOf('\n', checked);
        const int size = end >= 0 ? end + 1 : input->size();
        if (limit >= 0 && size >= limit)
            return take(self, limit);
        if (end >= 0)
            return take(self, size);
        checked = size;
        if (!fetch(self))
            return PyErr_Occurred() ? nullptr : take(self, input->size());
    }
}

static PyObject *readAll(PyObject *self, int limit)
{
    const ScriptInput *const input = stream(self)->input;
    while (limit < 0 || input->size() < limit) {
        if (!fetch(self)) {
            if (PyErr_Occurred())
                return nullptr;
            break;
        }
    }
    return take(self, limit < 0 ? input->size() : limit);
}

/// Calls \p read with the limit in the arguments of \p method, of which None and no one mean none.
static PyObject *readLimited(PyObject *self, PyObject *arguments, const char *method,
                             PyObject *(*read)(PyObject *self, int limit))
{
    if (!isRedirected(self)) {
        const PythonReference original(PyObject_GetAttrString(stream(self)->original, method));
        return original ? PyObject_CallObject(original.get(), arguments) : nullptr;
    }
    int limit = -1;
    return PyArg_ParseTuple(arguments, "|i", &limit) ? read(self, limit) : nullptr;
}

static PyObject *readline(PyObject *self, PyObject *arguments)
{
    return readLimited(self, arguments, "readline", readLine);
}

static PyObject *read(PyObject *self, PyObject *arguments)
{
    return readLimited(self, arguments, "read", readAll);
}

/// Returns the next line of an iteration, or null at its end.
static PyObject *next(PyObject *self)
{
    if (!isRedirected(self)) {
        PyObject *const original = stream(self)->original; // which a script may have set
        if (PyIter_Check(original))
            return PyIter_Next(original);
        PyErr_Format(PyExc_TypeError, "'%.200s' object is not an iterator",
                     Py_TYPE(original)->tp_name);
        return nullptr;
    }
    PythonReference line(readLine(self, -1));
    return line && PyString_GET_SIZE(line.get()) > 0 ? line.release() : nullptr;
}

static PyObject *readLines(PyObject *self, int limit)
{
    PythonReference lines(PyList_New(0));
    Py_ssize_t size = 0;
    while (lines && (limit <= 0 || size < limit)) {
        const PythonReference line(readLine(self, -1));
        if (!line ||
            (PyString_GET_SIZE(line.get()) > 0 && PyList_Append(lines.get(), line.get()) != 0))
            return nullptr;
        if (PyString_GET_SIZE(line.get()) == 0)
            break;
        size += PyString_GET_SIZE(line.get());
    }
    return lines.release();
}

static PyObject *readlines(PyObject *self, PyObject *arguments)
{
    return readLimited(self, arguments, "readlines", readLines);
}

static PyObject *itself(PyObject *self, PyObject *)
{
    Py_INCREF(self);
    return self;
}

static PyObject *iterator(PyObject *self) { return itself(self, nullptr); }

// Both

static PyObject *isatty(PyObject *self, PyObject *)
{
    if (!isRedirected(self))
        return callOriginal(self, "isatty");
    Py_RETURN_FALSE;
}

static PyObject *fileno(PyObject *self, PyObject *) { return callOriginal(self, "fileno"); }

static PyObject *close(PyObject *, PyObject *) { Py_RETURN_NONE; }

/// Returns the text \p constant.
static PyObject *constantText(PyObject *, void *constant)
{
    return PyString_FromString(static_cast<const char *>(constant));
}

static PyObject *constantNone(PyObject *, void *) { Py_RETURN_NONE; }

static PyObject *constantFalse(PyObject *, void *) { Py_RETURN_FALSE; }

static PyObject *outputName(PyObject *self, void *)
{
    const bool isError = stream(self)->channel == ScriptChannel::Error;
    return PyString_FromString(isError ? "<stderr>" : "<stdout>");
}

static void release(PyObject *self)
{
    Py_DECREF(stream(self)->original);
    PyObject_Del(self);
}

static char utf8[] = "UTF-8";
static char writing[] = "w";
static char reading[] = "r";
static char inputName[] = "<stdin>";

// Those of both are at the end of each list.

static PyMethodDef outputMethods[] = {
    {"write", write, METH_O, "write(text): writes a text"},
    {"writelines", writelines, METH_O, "writelines(texts): writes each text of a sequence"},
    {"flush", flush, METH_NOARGS, "flush(): passes on what threads have written"},
    {"isatty", isatty, METH_NOARGS, "isatty(): whether the stream is a terminal"},
    {"fileno", fileno, METH_NOARGS, "fileno(): the descriptor of the stream of the process"},
    {"close", close, METH_NOARGS, "close(): does nothing"},
    {nullptr, nullptr, 0, nullptr},
};

static PyMethodDef inputMethods[] = {
    {"readline", readline, METH_VARARGS, "readline([size]): reads a line"},
    {"read", read, METH_VARARGS, "read([size]): reads to the end, or size bytes"},
    {"readlines", readlines, METH_VARARGS, "readlines([size]): reads a list of lines"},
    {"xreadlines", itself, METH_NOARGS, "xreadlines(): returns the stream itself"},
    {"isatty", isatty, METH_NOARGS, "isatty(): whether the stream is a terminal"},
    {"fileno", fileno, METH_NOARGS, "fileno(): the descriptor of the stream of the process"},
    {"close", close, METH_NOARGS, "close(): does nothing"},
    {nullptr, nullptr, 0, nullptr},
};

static PyMemberDef members[] = {
    {const_cast<char *>("softspace"), T_INT, offsetof(Stream, softSpace), 0, nullptr},
    {nullptr, 0, 0, 0, nullptr},
};

static PyGetSetDef outputProperties[] = {
    {const_cast<char *>("name"), outputName, nullptr, nullptr, nullptr},
    {const_cast<char *>("mode"), constantText, nullptr, nullptr, writing},
    {const_cast<char *>("encoding"), constantText, nullptr, nullptr, utf8},
    {const_cast<char *>("errors"), constantNone, nullptr, nullptr, nullptr},
    {const_cast<char *>("newlines"), constantNone, nullptr, nullptr, nullptr},
    {const_cast<char *>("closed"), constantFalse, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

static PyGetSetDef inputProperties[] = {
    {const_cast<char *>("name"), constantText, nullptr, nullptr, inputName},
    {const_cast<char *>("mode"), constantText, nullptr, nullptr, reading},
    {const_cast<char *>("encoding"), constantText, nullptr, nullptr, utf8},
    {const_cast<char *>("errors"), constantNone, nullptr, nullptr, nullptr},
    {const_cast<char *>("newlines"), constantNone, nullptr, nullptr, nullptr},
    {const_cast<char *>("closed"), constantFalse, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

static PyTypeObject outputType;
static PyTypeObject inputType;

/// Sets what both types of streams have in common.
static void prepare(PyTypeObject &type, const char *name)
{
    Py_REFCNT(&type) = 1;
    type.tp_name = name;
    type.tp_basicsize = sizeof(Stream);
    type.tp_flags = Py_TPFLAGS_DEFAULT;
    type.tp_dealloc = release;
    type.tp_members = members;
}

static void prepareOutput()
{
    prepare(outputType, "ScriptOutput");
    outputType.tp_methods = outputMethods;
    outputType.tp_getset = outputProperties;
}

static void prepareInput()
{
    prepare(inputType, "ScriptInput");
    inputType.tp_iter = iterator;
    inputType.tp_iternext = next;
    inputType.tp_methods = inputMethods;
    inputType.tp_getset = inputProperties;
}

/// Returns a type, or null with the error set. \p prepareIt sets its fields.
static PyTypeObject *ready(PyTypeObject &type, void (*prepareIt)())
{
    if ((type.tp_flags & Py_TPFLAGS_READY) != 0)
        return &type;
    prepareIt();
    if (PyType_Ready(&type) == 0)
        return &type;
    // Not tried again as it is: its dictionary, which could not grow, becomes full, and then Python
    // looks up a name in it without end.
    for (PyObject *const part : {type.tp_dict, type.tp_mro, type.tp_bases})
        Py_XDECREF(part);
    Py_XDECREF(reinterpret_cast<PyObject *>(type.tp_base));
    type = PyTypeObject();
    return nullptr;
}

static PyObject *make(PyTypeObject *type, PyObject *original, const Stream &values)
{
    Stream *const made = type ? PyObject_New(Stream, type) : nullptr;
    if (!made)
        return nullptr;
    made->softSpace = 0;
    Py_INCREF(original);
    made->original = original;
    made->output = values.output;
    made->channel = values.channel;
    made->input = values.input;
    return reinterpret_cast<PyObject *>(made);
}

PyObject *makeOutputStream(ScriptOutput &output, ScriptChannel channel, PyObject *original)
{
    Stream values = {};
    values.output = &output;
    values.channel = channel;
    return make(ready(outputType, prepareOutput), original, values);
}

PyObject *makeInputStream(ScriptInput &input, PyObject *original)
{
    Stream values = {};
    values.input = &input;
    return make(ready(inputType, prepareInput), original, values);
}

PyObject *originalOf(PyObject *object)
{
    const PyTypeObject *const type = Py_TYPE(object);
    return type == &outputType || type == &inputType ? stream(object)->original : nullptr;
}

} // namespace Utils
