#include "utils/script/PythonObjects_p.h"

#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonStubs_p.h"
#include "utils/script/PythonText_p.h"

#include <QRegularExpression>
#include <QSet>

#include <structmember.h>

#include <cstddef>
#include <cstring>

namespace Utils {

PythonObjects::Guard::Guard()
{
    PyErr_Fetch(&m_type, &m_value, &m_traceback);
    PyErr_SetNone(PyExc_RuntimeError);
}

PythonObjects::Guard::~Guard() { PyErr_Restore(m_type, m_value, m_traceback); }

using PythonObjects::Name;
using PythonObjects::Visitor;

/// Whether \p type is the type of C with that name. A class of a script may have the same name, but
/// its objects have another layout.
static bool isBuiltIn(const PyTypeObject *type, const char *name)
{
    return !(type->tp_flags & Py_TPFLAGS_HEAPTYPE) && std::strcmp(type->tp_name, name) == 0;
}

/// Whether SIP has made \p type, which fills its dictionary when an attribute is first read.
static bool isOfSip(PyTypeObject *type) { return isBuiltIn(Py_TYPE(type), "sip.wrappertype"); }

static bool isMethodOfC(PyObject *value)
{
    const PyTypeObject *const type = Py_TYPE(value);
    return isBuiltIn(type, "method_descriptor") || isBuiltIn(type, "classmethod_descriptor");
}

static bool isMethodOfSip(PyObject *value)
{
    return isBuiltIn(Py_TYPE(value), "sip.methoddescriptor");
}

static PyObject *asObject(PyTypeObject *type) { return reinterpret_cast<PyObject *>(type); }

/// Returns the dictionary of \p type with all of its names.
static PyObject *dictionaryOf(PyTypeObject *type)
{
    if (isOfSip(type)) {
        // Python's own attribute, whose value is there already. No code of a script is run.
        const PythonReference mro(PyObject_GetAttrString(asObject(type), "__mro__"));
    }
    return type->tp_dict;
}

namespace {

/// Visits the names of classes, those of a class of the old style once: its bases may have a base
/// in common at each level.
class ClassVisit
{
public:
    explicit ClassVisit(const Visitor &visit) : m_visit(visit) {}

    void visitOldClass(PyObject *object);
    void visitType(PyTypeObject *type);

private:
    const Visitor &m_visit;
    QSet<PyObject *> m_oldClasses; // that have been visited
};

} // namespace

void ClassVisit::visitOldClass(PyObject *object)
{
    if (m_oldClasses.contains(object))
        return;
    m_oldClasses.insert(object);
    const auto *const visited = reinterpret_cast<PyClassObject *>(object);
    PythonObjects::visitDictionary(visited->cl_dict, nullptr, m_visit);
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(visited->cl_bases); ++i)
        visitOldClass(PyTuple_GET_ITEM(visited->cl_bases, i)); // all of them are old classes
}

void ClassVisit::visitType(PyTypeObject *type)
{
    PyObject *const order = type->tp_mro;
    for (Py_ssize_t i = 0; order && i < PyTuple_GET_SIZE(order); ++i) {
        PyObject *const base = PyTuple_GET_ITEM(order, i);
        if (PyClass_Check(base)) {
            visitOldClass(base);
        } else if (PyType_Check(base)) {
            auto *const baseType = reinterpret_cast<PyTypeObject *>(base);
            PythonObjects::visitDictionary(dictionaryOf(baseType), baseType, m_visit);
        }
    }
}

void PythonObjects::visitDictionary(PyObject *dictionary, PyTypeObject *owner, const Visitor &visit)
{
    if (!dictionary || !PyDict_Check(dictionary))
        return;
    Py_ssize_t position = 0;
    PyObject *key = nullptr;
    PyObject *value = nullptr;
    while (PyDict_Next(dictionary, &position, &key, &value)) {
        if (PyString_Check(key))
            visit({QByteArray(PyString_AS_STRING(key), int(PyString_GET_SIZE(key))), value, owner});
    }
}

void PythonObjects::visitAttributes(PyObject *object, const Visitor &visit)
{
    ClassVisit classes(visit);
    if (PyClass_Check(object)) {
        classes.visitOldClass(object);
    } else if (PyInstance_Check(object)) {
        const auto *const instance = reinterpret_cast<PyInstanceObject *>(object);
        visitDictionary(instance->in_dict, nullptr, visit);
        classes.visitOldClass(reinterpret_cast<PyObject *>(instance->in_class));
    } else if (PyType_Check(object)) {
        classes.visitType(reinterpret_cast<PyTypeObject *>(object));
        classes.visitType(Py_TYPE(object));
    } else {
        PyObject **const dictionary = _PyObject_GetDictPtr(object);
        if (dictionary)
            visitDictionary(*dictionary, nullptr, visit);
        classes.visitType(Py_TYPE(object));
    }
}

PyObject *PythonObjects::findInDictionary(PyObject *dictionary, const QByteArray &name)
{
    PyObject *found = nullptr;
    visitDictionary(dictionary, nullptr, [&](const Name &visited) {
        if (visited.name == name)
            found = visited.value;
    });
    return found;
}

static bool isFunction(PyObject *value)
{
    const PyTypeObject *const type = Py_TYPE(value);
    return PyFunction_Check(value) || PyMethod_Check(value) || PyCFunction_Check(value) ||
           type == &PyStaticMethod_Type || type == &PyClassMethod_Type ||
           type == &PyWrapperDescr_Type || isMethodOfC(value) || isMethodOfSip(value);
}

static bool isProperty(PyObject *value)
{
    const PyTypeObject *const type = Py_TYPE(value);
    return type->tp_descr_set || isBuiltIn(type, "sip.variabledescriptor");
}

PyObject *PythonObjects::findAttribute(PyObject *object, const QByteArray &name)
{
    PyObject *found = nullptr;
    bool isComputed = false;
    visitAttributes(object, [&](const Name &visited) {
        if (visited.name != name)
            return;
        if (!found)
            found = visited.value;
        // One of a class that is set like a variable is read before the object's own. Others are
        // computed only when they are found in a class.
        const PyTypeObject *const type = Py_TYPE(visited.value);
        const bool isOwn = found == visited.value;
        if (visited.owner && (type->tp_descr_set || (isOwn && type->tp_descr_get)))
            isComputed = true;
    });
    if (!found || (isComputed && !isFunction(found) && !PyType_Check(found)))
        return nullptr;
    return found;
}

// What is known of a value

static QString textOf(PyObject *object)
{
    Data::String text;
    if (object && isText(object))
        readText(object, text);
    return text;
}

static QString textOf(const char *text) { return QString::fromUtf8(text); }

/// The longest value in a signature.
static const int longestWritten = 40;

/// Whether \p value may be written in at most longestWritten characters. Large ones take long.
static bool mayBeShort(PyObject *value)
{
    if (PyString_Check(value))
        return PyString_GET_SIZE(value) <= longestWritten;
    if (PyUnicode_Check(value))
        return PyUnicode_GET_SIZE(value) <= longestWritten;
    const std::size_t bitsOfDigit = 4; // at most
    return !PyLong_Check(value) || _PyLong_NumBits(value) <= longestWritten * bitsOfDigit;
}

/// Returns \p value as it is written, if nothing of a script is run for that.
static QString writtenValue(PyObject *value)
{
    const PyTypeObject *const type = Py_TYPE(value);
    const bool isPlain = value == Py_None || type == &PyBool_Type || type == &PyInt_Type ||
                         type == &PyLong_Type || type == &PyFloat_Type || type == &PyString_Type ||
                         type == &PyUnicode_Type;
    const PythonReference text(isPlain && mayBeShort(value) ? PyObject_Repr(value) : nullptr);
    const QString written = text ? textOf(text.get()) : QString();
    return written.isEmpty() || written.size() > longestWritten ? QStringLiteral("...") : written;
}

/// Returns the arguments of a function of Python, without the first one if \p isBound.
static QString argumentsOf(PyObject *object, bool isBound)
{
    const auto *const function = reinterpret_cast<PyFunctionObject *>(object);
    const auto *const code = reinterpret_cast<PyCodeObject *>(function->func_code);
    PyObject *const defaults = function->func_defaults;
    const Py_ssize_t defaultCount = defaults ? PyTuple_GET_SIZE(defaults) : 0;
    int name = 0;
    const Py_ssize_t nameCount = PyTuple_GET_SIZE(code->co_varnames);
    const auto nextName = [&] {
        return name < nameCount ? textOf(PyTuple_GET_ITEM(code->co_varnames, name++)) : QString();
    };

    QStringList arguments;
    while (name < code->co_argcount && name < nameCount) { // fewer in code that a script has made
        const Py_ssize_t withDefault = name - (code->co_argcount - defaultCount);
        QString argument = nextName();
        if (argument.startsWith(QLatin1Char('.'))) // a tuple that is unpacked
            argument = QStringLiteral("(...)");
        if (defaults && withDefault >= 0)
            argument += QLatin1Char('=') + writtenValue(PyTuple_GET_ITEM(defaults, withDefault));
        arguments.append(argument);
    }
    if (isBound && !arguments.isEmpty())
        arguments.removeFirst();
    if (code->co_flags & CO_VARARGS)
        arguments.append(QLatin1Char('*') + nextName());
    if (code->co_flags & CO_VARKEYWORDS)
        arguments.append(QLatin1String("**") + nextName());
    return arguments.join(QLatin1String(", "));
}

/// Returns the signature of \p name with which \p line of its documentation begins; "" when it has
/// none. There may be an object before it, as in "S.lower() -> string".
static QString signatureIn(const QString &line, const QString &name)
{
    const int start = line.indexOf(name + QLatin1Char('('));
    const bool isSignature = start == 0 || (start > 0 && line.at(start - 1) == QLatin1Char('.') &&
                                            !line.left(start).contains(QLatin1Char(' ')));
    return isSignature ? line.mid(start) : QString();
}

/// Splits the documentation of a function in C, whose first lines may be its signatures. What
/// follows " -- " in a signature is documentation, too.
static void setFromC(ScriptCompletion &result, const char *text)
{
    const QString separator = QStringLiteral(" -- ");
    QStringList lines = textOf(text).split(QLatin1Char('\n'));
    QStringList signatures;
    QString rest; // of the line of the last signature
    while (!lines.isEmpty() && rest.isEmpty()) {
        const QString found = signatureIn(lines.constFirst(), result.name);
        const bool isContinued = lines.value(1).startsWith(QLatin1Char(' '));
        if (found.isEmpty() || (isContinued && !signatures.isEmpty()))
            break;
        signatures.append(found.section(separator, 0, 0).trimmed());
        rest = found.section(separator, 1);
        lines.removeFirst();
    }
    result.signature = signatures.join(QLatin1Char('\n'));
    result.documentation = (rest + QLatin1Char('\n') + lines.join(QLatin1Char('\n'))).trimmed();
}

/// Describes a method of a class that SIP has made. Its descriptor has the text in the definition
/// of the function only, which is private.
///
/// Nothing of a script is run: the descriptor's type is one of C, from which no class can be
/// derived. With None in the place of an object, it only makes the function: it reads no attribute,
/// and the function is not called.
static void setFromSip(ScriptCompletion &result, PyObject *descriptor)
{
    static const QRegularExpression self(QStringLiteral(R"(\(self(?:, |(?=\))))"));
    const descrgetfunc get = Py_TYPE(descriptor)->tp_descr_get;
    const PythonReference made(get ? get(descriptor, Py_None, nullptr) : nullptr);
    if (!made || !PyCFunction_Check(made.get()))
        return;
    setFromC(result, reinterpret_cast<PyCFunctionObject *>(made.get())->m_ml->ml_doc);
    QString signature = result.signature;
    result.signature = signature.replace(self, QStringLiteral("("));
}

static void describeFunction(ScriptCompletion &result, PyObject *value, bool isInClass)
{
    const PyTypeObject *const type = Py_TYPE(value);
    bool isBound = isInClass;
    PythonReference wrapped;
    if (type == &PyStaticMethod_Type || type == &PyClassMethod_Type) {
        wrapped.reset(PyObject_GetAttrString(value, "__func__"));
        isBound = type == &PyClassMethod_Type;
        value = wrapped.get();
    } else if (PyMethod_Check(value)) {
        isBound = PyMethod_GET_SELF(value) != nullptr;
        value = PyMethod_GET_FUNCTION(value);
    }
    if (!value)
        return;

    if (PyFunction_Check(value)) {
        result.signature =
            result.name + QLatin1Char('(') + argumentsOf(value, isBound) + QLatin1Char(')');
        result.documentation = textOf(reinterpret_cast<PyFunctionObject *>(value)->func_doc);
    } else if (PyCFunction_Check(value)) {
        setFromC(result, reinterpret_cast<PyCFunctionObject *>(value)->m_ml->ml_doc);
    } else if (isMethodOfC(value)) {
        setFromC(result, reinterpret_cast<PyMethodDescrObject *>(value)->d_method->ml_doc);
    } else if (isMethodOfSip(value)) {
        setFromSip(result, value);
    } else if (Py_TYPE(value) == &PyWrapperDescr_Type) {
        setFromC(result, reinterpret_cast<PyWrapperDescrObject *>(value)->d_base->doc);
    }
}

static void describeClass(ScriptCompletion &result, PyObject *value)
{
    PyObject *initializer = nullptr;
    PyObject *text = nullptr;
    PythonObjects::visitAttributes(value, [&](const Name &visited) {
        if (visited.name == "__init__" && !initializer)
            initializer = visited.value;
        if (visited.name == "__doc__" && !text)
            text = visited.value;
    });
    result.documentation = textOf(text);
    if (initializer && PyFunction_Check(initializer))
        result.signature = result.name + QLatin1Char('(') +
                           argumentsOf(initializer, /*isBound=*/true) + QLatin1Char(')');
    else if (PyType_Check(value))
        setFromC(result, result.documentation.toUtf8().constData());
}

static void describeProperty(ScriptCompletion &result, PyObject *value)
{
    const PyTypeObject *const type = Py_TYPE(value);
    if (type == &PyGetSetDescr_Type)
        result.documentation =
            textOf(reinterpret_cast<PyGetSetDescrObject *>(value)->d_getset->doc);
    else if (type == &PyMemberDescr_Type)
        result.documentation =
            textOf(reinterpret_cast<PyMemberDescrObject *>(value)->d_member->doc);
    else if (type == &PyProperty_Type)
        result.documentation =
            textOf(PythonReference(PyObject_GetAttrString(value, "__doc__")).get());
}

/// Returns the last part of the name of \p type.
static QString classNameOf(const PyTypeObject *type)
{
    return textOf(type->tp_name).section(QLatin1Char('.'), -1);
}

static QString moduleOf(PyTypeObject *type)
{
    return textOf(PythonObjects::findInDictionary(type->tp_dict, "__module__"));
}

static void useStub(ScriptCompletion &result, const Name &name)
{
    const bool isClass = PyType_Check(name.value);
    if (!isClass && !name.owner)
        return;
    PyTypeObject *const type = isClass ? reinterpret_cast<PyTypeObject *>(name.value) : name.owner;
    if (!isOfSip(type))
        return;
    const PythonStubs &stubs = PythonStubs::instance();
    const QString module = moduleOf(type);
    const QString className = classNameOf(type);
    const auto *const entry = stubs.find(module, className, isClass ? QString() : result.name);
    if (entry) {
        result.signature = entry->signature;
        result.documentation = entry->documentation;
    }
    const auto *const initializer =
        isClass ? stubs.find(module, className, QStringLiteral("__init__")) : nullptr;
    if (initializer) {
        result.signature = initializer->signature;
        result.signature.replace(QLatin1String("__init__"), result.name);
        result.signature.replace(QLatin1String(" -> None"), QString());
    }
}

ScriptCompletion PythonObjects::describe(const Name &name)
{
    ScriptCompletion result;
    result.name = QString::fromUtf8(name.name);
    PyObject *const value = name.value;
    if (PyModule_Check(value)) {
        result.kind = ScriptCompletion::Module;
        result.documentation = textOf(findInDictionary(PyModule_GetDict(value), "__doc__"));
    } else if (PyType_Check(value) || PyClass_Check(value)) {
        result.kind = ScriptCompletion::Class;
        describeClass(result, value);
    } else if (isFunction(value)) {
        result.kind = ScriptCompletion::Function;
        describeFunction(result, value, name.owner != nullptr);
    } else if (name.owner && isProperty(value)) {
        result.kind = ScriptCompletion::Property;
        describeProperty(result, value);
    }
    useStub(result, name);
    return result;
}

} // namespace Utils
