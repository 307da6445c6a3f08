#include "utils/script/PythonError_p.h"

#include "utils/base/LineFile_p.h"
#include "utils/platform/Platform.h"
#include "utils/script/PythonErrorText_p.h"
#include "utils/script/PythonText_p.h"
#include "utils/script/ScriptError_p.h"

#include <frameobject.h>
#include <osdefs.h> // SEP, the separator of paths

#include <QByteArrayList>
#include <QMap>
#include <QSet>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace Utils {

static const long largestTraceback = 1000; // as Python prints by default

static QString fromBytes(const QByteArray &bytes) { return QString::fromUtf8(bytes); }

/// Returns an attribute; null, without an error, when there is none.
static PythonReference attribute(PyObject *object, const char *name)
{
    PythonReference found(object ? PyObject_GetAttrString(object, name) : nullptr);
    if (!found)
        PyErr_Clear();
    return found;
}

/// Returns the bytes of a str; "" for another object.
static QByteArray bytesOf(PyObject *object)
{
    if (!object || !PyString_Check(object))
        return {};
    const Py_ssize_t size = std::min<Py_ssize_t>(PyString_GET_SIZE(object), 1 << 28);
    return QByteArray(PyString_AS_STRING(object), static_cast<int>(size));
}

/// Reads a text as Python prints it; a null one for None. Returns false for another object, and for
/// null.
static bool readPrinted(const PythonReference &object, QByteArray &text)
{
    text.clear();
    if (object.get() == Py_None)
        return true;
    if (!object)
        return false;
    text = PyString_AsString(object.get());
    PyErr_Clear();
    return !text.isNull();
}

/// Reads a number as Python prints it. Returns false for another object, and for null.
static bool readPrinted(const PythonReference &object, int &number)
{
    number = static_cast<int>(PyInt_AsLong(object.get()));
    const bool isNumber = !PyErr_Occurred();
    PyErr_Clear();
    return isNumber;
}

static PythonReference borrowed(PyObject *object)
{
    Py_XINCREF(object);
    return PythonReference(object);
}

/// Returns the lines of a text, without their ends: line feeds, or carriage returns with or without
/// one.
static QByteArrayList linesOf(QByteArray text)
{
    text.replace("\r\n", "\n").replace('\r', '\n');
    return text.split('\n');
}

/// The lines of the sources from which code was compiled.
class SourceLines
{
public:
    /// \p code is the text that was run, and \p compiled its code object; either may be null.
    SourceLines(const QByteArray &code, PyCodeObject *compiled)
    {
        if (code.isEmpty())
            return;
        m_code = linesOf(code);
        if (compiled)
            addCode(compiled);
    }

    /// Returns a line of the source of \p code, without the blanks before it; "" when it is not
    /// available.
    QByteArray line(PyCodeObject *code, int line)
    {
        return lineOf(m_compiled.contains(code) ? m_code : file(bytesOf(code->co_filename)), line);
    }

    /// Returns a line of the text that was run.
    QByteArray codeLine(int line) const { return lineOf(m_code, line); }

private:
    /// Adds the code of functions and classes, too. Code that was compiled from other texts has the
    /// same file name.
    void addCode(PyCodeObject *code)
    {
        QVector<PyCodeObject *> pending{code};
        while (!pending.isEmpty()) {
            PyCodeObject *const next = pending.takeLast();
            m_compiled.insert(next);
            for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(next->co_consts); ++i) {
                PyObject *const constant = PyTuple_GET_ITEM(next->co_consts, i);
                if (PyCode_Check(constant))
                    pending.append(reinterpret_cast<PyCodeObject *>(constant));
            }
        }
    }

    static QByteArray lineOf(const QByteArrayList &lines, int line)
    {
        if (line < 1 || line > lines.size())
            return {};
        const QByteArray &text = lines[line - 1];
        const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\f'; };
        const auto *const start = std::find_if_not(text.begin(), text.end(), isBlank);
        return text.mid(static_cast<int>(start - text.begin()));
    }

    const QByteArrayList &file(const QByteArray &path)
    {
        const auto known = m_files.constFind(path);
        if (known != m_files.constEnd())
            return *known;
        return *m_files.insert(path, linesOf(contents(path)));
    }

    /// Returns the contents of a file, which is searched as Python does it: in the folders of
    /// sys.path when its path does not exist.
    static QByteArray contents(const QByteArray &path)
    {
        if (isFile(path))
            return read(path);
        const QByteArray name = path.mid(path.lastIndexOf(SEP) + 1);
        char list[] = "path";
        PyObject *const folders = PySys_GetObject(list);
        for (Py_ssize_t i = 0; folders && PyList_Check(folders) && i < PyList_GET_SIZE(folders);
             ++i) {
            QByteArray found = bytesOf(PyList_GET_ITEM(folders, i));
            if (!found.isEmpty() && !found.endsWith(SEP))
                found += SEP;
            found += name;
            if (isFile(found))
                return read(found);
        }
        return {};
    }

    /// Pipes and devices are not read.
    static bool isFile(const QByteArray &path)
    {
        using Platform::Entry;
        return !path.isEmpty() && !path.contains('\0') &&
               Platform::entryStatus(path.toStdString(), /*followLinks=*/true).entry == Entry::File;
    }

    static QByteArray read(const QByteArray &path)
    {
        QByteArray text;
        const OwnedFile file(Platform::openFile(path.toStdString(), "rb"));
        if (!file)
            return text;
        char block[16384];
        const int most = 1 << 28; // of what is no source of a script
        std::size_t count = 0;
        while (text.size() < most && (count = std::fread(block, 1, sizeof(block), file.get())) > 0)
            text.append(block, static_cast<int>(count));
        return text;
    }

    QByteArrayList m_code;
    QSet<PyCodeObject *> m_compiled;
    QMap<QByteArray, QByteArrayList> m_files;
};

/// Makes the data of an error.
class ErrorDescription
{
public:
    ErrorDescription(const PythonError &error, const QByteArray &code, PyObject *valueText)
        : m_error(error), m_sources(code, compiled(error)), m_valueText(borrowed(valueText)),
          m_isCode(!code.isEmpty())
    {}

    ScriptErrorPrivate make()
    {
        try {
            addFrames();
            m_data.type = fromBytes(className());
            if (const PythonReference message = addPosition()) {
                m_valueText.reset();
                addText(message.get());
            } else {
                addText(m_error.value.get());
            }
            addExit();
            m_data.traceback = fromBytes(m_traceback);
        } catch (const std::bad_alloc &) {
            // The rest of the description is left out.
        }
        PyErr_Clear();
        return m_data;
    }

private:
    static PyTracebackObject *firstTraceback(const PythonError &error)
    {
        PyObject *const traceback = error.traceback.get();
        return traceback && PyTraceBack_Check(traceback)
                   ? reinterpret_cast<PyTracebackObject *>(traceback)
                   : nullptr;
    }

    /// Returns the code of the outermost frame, which is that of the run.
    static PyCodeObject *compiled(const PythonError &error)
    {
        const PyTracebackObject *const first = firstTraceback(error);
        return first ? first->tb_frame->f_code : nullptr;
    }

    void addFrames()
    {
        PyTracebackObject *traceback = firstTraceback(m_error);
        if (!traceback)
            return;
        long count = 0;
        for (const PyTracebackObject *next = traceback; next; next = next->tb_next)
            ++count;

        char name[] = "tracebacklimit";
        PyObject *const limit = PySys_GetObject(name);
        const long largestText =
            limit && PyInt_Check(limit) ? PyInt_AS_LONG(limit) : largestTraceback;
        if (largestText > 0)
            m_traceback += "Traceback (most recent call last):\n";
        for (; traceback; traceback = traceback->tb_next, --count)
            addFrame(*traceback, count <= largestTraceback, count <= largestText);
        m_data.file = m_data.frames.last().file;
        m_data.line = m_data.frames.last().line;
    }

    void addFrame(const PyTracebackObject &traceback, bool isInList, bool isInText)
    {
        if (!isInList && !isInText)
            return;
        PyCodeObject *const code = traceback.tb_frame->f_code;
        const QByteArray file = bytesOf(code->co_filename);
        const QByteArray function = bytesOf(code->co_name);
        const QByteArray source = m_sources.line(code, traceback.tb_lineno);
        if (isInList)
            m_data.frames.append({fromBytes(file), traceback.tb_lineno, fromBytes(function),
                                  fromBytes(source).trimmed()});
        if (!isInText)
            return;
        m_traceback += "  File \"" + file.left(500) + "\", line " +
                       QByteArray::number(traceback.tb_lineno) + ", in " + function.left(500) +
                       '\n';
        if (!source.isEmpty())
            m_traceback += "    " + source + '\n';
    }

    QByteArray className() const
    {
        PyObject *const type = m_error.type.get();
        if (!PyExceptionClass_Check(type))
            return bytesOf(PythonReference(PyObject_Str(type)).get());
        const QByteArray whole(PyExceptionClass_Name(type));
        return whole.mid(whole.lastIndexOf('.') + 1);
    }

    /// Returns the name as it is printed, with the module of the class.
    QByteArray printedName() const
    {
        if (!PyExceptionClass_Check(m_error.type.get()))
            return className();
        const PythonReference module = attribute(m_error.type.get(), "__module__");
        if (!module)
            return "<unknown>" + className();
        QByteArray name;
        const bool isShown = readPrinted(module, name) && !name.isNull() && name != "exceptions";
        return isShown ? name + '.' + className() : className();
    }

    /// Whether unicode() calls code of a script, which str() has called before.
    static bool isTextOfScript(PyObject *value)
    {
        return Py_TYPE(value)->tp_str !=
               reinterpret_cast<PyTypeObject *>(PyExc_BaseException)->tp_str;
    }

    /// Adds the text of \p value, which is the exception, or the message of a syntax error.
    void addText(PyObject *value)
    {
        if (!value || value == Py_None) {
            m_traceback += printedName() + '\n';
            return;
        }
        if (!m_valueText)
            m_valueText.reset(PyObject_Str(value));
        if (!m_valueText || m_valueText.get() == Py_None) {
            PyErr_Clear();
            m_traceback += printedName() + ": <exception str() failed>\n";
            const PythonReference unicode(
                m_valueText && isTextOfScript(value) ? nullptr : PyObject_Unicode(value));
            if (!unicode || !readText(unicode.get(), m_data.text))
                PyErr_Clear();
            return;
        }
        const QByteArray text = bytesOf(m_valueText.get());
        m_data.text = fromBytes(text);
        m_traceback += printedName() + (text.isEmpty() ? "" : ": ") + text + '\n';
    }

    /// Adds the position of a syntax error, and returns its message. Adds nothing, and returns
    /// null, for an error without a position, and for one of a script that Python prints as if it
    /// had none.
    PythonReference addPosition()
    {
        PyObject *const value = m_error.value.get();
        PythonReference message = attribute(value, "msg");
        const PythonReference offset = attribute(value, "offset");
        QByteArray file;
        QByteArray source;
        int line = 0;
        int column = -1; // none
        if (!attribute(value, "print_file_and_line") || !message ||
            !readPrinted(attribute(value, "filename"), file) ||
            !readPrinted(attribute(value, "lineno"), line) ||
            (offset.get() != Py_None && !readPrinted(offset, column)) ||
            !readPrinted(attribute(value, "text"), source))
            return nullptr;
        if (file.isNull())
            file = "<string>";

        m_data.file = fromBytes(file);
        m_data.line = line;
        m_data.column = std::max(column, 0);
        m_traceback += "  File \"" + file + "\", line " + QByteArray::number(line) + '\n';
        if (!source.isNull())
            addErrorLine(source, column);
        else if (m_isCode && m_data.frames.isEmpty()) // Python has some lines of files only
            addErrorLine(m_sources.codeLine(line), -1);
        return message;
    }

    /// Adds the line of a syntax error, and a mark below its \p column, which is -1 without one.
    /// The source may have several lines.
    void addErrorLine(QByteArray source, int column)
    {
        if (column >= 0) {
            if (column > 0 && column == source.size() && source.endsWith('\n'))
                --column;
            for (int end = source.indexOf('\n'); end >= 0 && end < column;
                 end = source.indexOf('\n')) {
                column -= end + 1;
                source.remove(0, end + 1);
            }
            while (source.startsWith(' ') || source.startsWith('\t')) {
                source.remove(0, 1);
                --column;
            }
        }
        m_traceback += "    " + source;
        if (!source.endsWith('\n'))
            m_traceback += '\n';
        if (column != -1)
            m_traceback += "    " + QByteArray(std::max(column - 1, 0), ' ') + "^\n";
    }

    void addExit()
    {
        PyObject *const value = m_error.value.get();
        if (!PyErr_GivenExceptionMatches(m_error.type.get(), PyExc_SystemExit) || !value)
            return;
        const PythonReference code = attribute(value, "code");
        const bool isNumber = code && PyInt_Check(code.get());
        if (isNumber)
            m_data.exitStatus = static_cast<int>(PyInt_AS_LONG(code.get()));
        else
            m_data.exitStatus = code.get() == Py_None ? 0 : 1;
    }

    const PythonError &m_error;
    SourceLines m_sources;
    PythonReference m_valueText;
    const bool m_isCode;
    ScriptErrorPrivate m_data;
    QByteArray m_traceback;
};

PythonError PythonError::fetch()
{
    PyObject *fetched[3] = {};
    PyErr_Fetch(&fetched[0], &fetched[1], &fetched[2]);
    return {PythonReference(fetched[0]), PythonReference(fetched[1]), PythonReference(fetched[2])};
}

PythonError PythonError::printed()
{
    char type[] = "last_type";
    char value[] = "last_value";
    char traceback[] = "last_traceback";
    return {borrowed(PySys_GetObject(type)), borrowed(PySys_GetObject(value)),
            borrowed(PySys_GetObject(traceback))};
}

void PythonError::restore() &&
{
    PyErr_Restore(type.release(), value.release(), traceback.release());
}

void PythonError::normalize()
{
    PyObject *fetched[3] = {type.release(), value.release(), traceback.release()};
    PyErr_NormalizeException(&fetched[0], &fetched[1], &fetched[2]);
    type.reset(fetched[0]);
    value.reset(fetched[1]);
    traceback.reset(fetched[2]);
}

void setMissingError()
{
    if (!PyErr_Occurred())
        PyErr_NoMemory();
}

ScriptError printPythonError()
{
    setMissingError();
    PythonError error = PythonError::fetch();
    error.normalize();
    PythonReference text;
    {
        const PythonErrorText keeper(error.value.get());
        PyErr_Restore(borrowed(error.type.get()).release(), borrowed(error.value.get()).release(),
                      borrowed(error.traceback.get()).release());
        PyErr_Print();
        text = keeper.text();
    }
    return error.describe({}, text.get());
}

ScriptError PythonError::describe(const QByteArray &code, PyObject *valueText) const
{
    if (!type)
        return {};
    return ScriptErrorPrivate::make(ErrorDescription(*this, code, valueText).make());
}

} // namespace Utils
