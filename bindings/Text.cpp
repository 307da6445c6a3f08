#include "bindings/Text_p.h"

#include "utils/script/PythonReference_p.h"

#include <algorithm>

namespace Utils::Bindings {

static bool hasSurrogates(const QString &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](QChar character) { return character.isSurrogate(); });
}

/// Reads the text of an operation's \p result. False when that is null.
static bool readResult(const PythonReference &result, Data::String &text)
{
    return result && readText(result.get(), text);
}

PyObject *representation(const QString &text)
{
    const PythonReference bytes(toBytes(text));
    return bytes ? PyObject_Repr(bytes.get()) : nullptr;
}

long hash(const QString &text)
{
    const PythonReference bytes(toBytes(text));
    return bytes ? PyObject_Hash(bytes.get()) : -1;
}

Py_ssize_t length(const QString &text)
{
    if (!hasSurrogates(text))
        return text.size();
    const PythonReference unicode(toUnicode(text));
    return unicode ? PyUnicode_GET_SIZE(unicode.get()) : -1;
}

bool partOf(const QString &text, PyObject *index, Data::String &part)
{
    // Requests for a single character are frequent, mostly in a text without surrogates.
    const long position = PyInt_Check(index) ? PyInt_AS_LONG(index) : -1;
    if (position >= 0 && position < text.size() && !hasSurrogates(text)) {
        part = QString(text.at(int(position)));
        return true;
    }
    const PythonReference unicode(toUnicode(text));
    return unicode && readResult(PythonReference(PyObject_GetItem(unicode.get(), index)), part);
}

bool format(const QString &text, PyObject *values, Data::String &result)
{
    const PythonReference unicode(toUnicode(text));
    if (!unicode)
        return false;
    if (readResult(PythonReference(PyUnicode_Format(unicode.get(), values)), result))
        return true;
    if (!PyErr_ExceptionMatches(PyExc_UnicodeDecodeError))
        return false;

    PyErr_Clear();
    const PythonReference bytes(toBytes(text));
    return bytes && readResult(PythonReference(PyString_Format(bytes.get(), values)), result);
}

PyObject *charactersOf(const QString &text, PyTypeObject *type)
{
    const PythonReference unicode(toUnicode(text));
    const PythonReference itertools(unicode ? PyImport_ImportModule("itertools") : nullptr);
    if (!itertools)
        return nullptr;
    return PyObject_CallMethod(itertools.get(), const_cast<char *>("imap"),
                               const_cast<char *>("OO"), type, unicode.get());
}

} // namespace Utils::Bindings
