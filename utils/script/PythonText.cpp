#include "utils/script/PythonText_p.h"

#include <QVarLengthArray>

#include <limits>
#include <new>

namespace Utils {

/// The length that Qt can convert from and to UTF-8: it allocates three bytes for a character, and
/// ends the program for a string that is too long.
static constexpr Py_ssize_t maxLength = std::numeric_limits<int>::max() / 3 - 64;

/// Whether a text may have \p length. Sets the error when it may not.
static bool checkLength(Py_ssize_t length, Py_ssize_t largest)
{
    if (length <= largest)
        return true;
    PyErr_SetString(PyExc_OverflowError, "text is too long");
    return false;
}

/// Returns what \p convert returns; false or null, with the error set, when memory is lacking: an
/// exception would leave calls of Python unfinished.
template <typename Function>
static auto withMemoryError(const Function &convert) -> decltype(convert())
{
    try {
        return convert();
    } catch (const std::bad_alloc &) {
        PyErr_NoMemory();
        return {};
    }
}

bool isText(PyObject *object) { return PyString_Check(object) || PyUnicode_Check(object); }

static bool decode(PyObject *text, Data::String &result)
{
    if (PyString_Check(text)) {
        const Py_ssize_t size = PyString_GET_SIZE(text);
        if (!checkLength(size, maxLength))
            return false;
        result = QString::fromUtf8(PyString_AS_STRING(text), int(size));
        return true;
    }

    // Not by QString::fromUcs4(), which drops a mark at the start and the halves of pairs.
    const Py_UNICODE *const characters = PyUnicode_AS_UNICODE(text);
    const Py_ssize_t size = PyUnicode_GET_SIZE(text);
    if (!checkLength(size, maxLength / 2)) // each may be a pair
        return false;
    QString read;
    read.reserve(int(size));
    for (Py_ssize_t i = 0; i < size; ++i) {
        const uint character = characters[i];
        if (QChar::requiresSurrogates(character)) {
            read.append(QChar(QChar::highSurrogate(character)));
            read.append(QChar(QChar::lowSurrogate(character)));
        } else {
            read.append(QChar(character));
        }
    }
    result = read;
    return true;
}

bool readText(PyObject *text, Data::String &result)
{
    return withMemoryError([&] { return decode(text, result); });
}

PyObject *toBytes(const QString &text)
{
    if (!checkLength(text.size(), maxLength))
        return nullptr;
    return withMemoryError([&] {
        const QByteArray utf8 = text.toUtf8();
        return PyString_FromStringAndSize(utf8.constData(), utf8.size());
    });
}

static PyObject *makeUnicode(const QString &text)
{
    QVarLengthArray<Py_UNICODE, 256> characters;
    characters.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        const bool isPair = sizeof(Py_UNICODE) > 2 && character.isHighSurrogate() &&
                            i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (isPair)
            characters.append(Py_UNICODE(QChar::surrogateToUcs4(character, text.at(++i))));
        else
            characters.append(character.unicode());
    }
    return PyUnicode_FromUnicode(characters.constData(), characters.size());
}

PyObject *toUnicode(const QString &text)
{
    return withMemoryError([&] { return makeUnicode(text); });
}

} // namespace Utils
