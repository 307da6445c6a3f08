#include "utils/script/PythonDepth_p.h"

#include "utils/platform/Platform.h"
#include "utils/script/PythonReference_p.h"

#include <Python.h>

#include <graminit.h>
#include <node.h>
#include <pythread.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Utils {

namespace {

struct FreeTree
{
    void operator()(node *tree) const { PyNode_Free(tree); }
};

struct Level
{
    const node *part;
    std::size_t depth;
    std::size_t unit; // the function, class or module that contains it
};

} // namespace

// Of the stack. A part of the tree takes up to 168 in the compiler, and a character no more.
static const std::size_t bytesPerPart = 256;

// Also of the stack, for each level that Python counts. Its own code takes up to 1,600, a program
// that runs an event loop in between may take more.
static const std::size_t bytesPerCall = std::size_t(16) * 1024;

// So many calls take about a gigabyte.
static const std::size_t maxRecursionLimit = 1'000'000;

/// Whether the parts of a \a type are links of a chain, the first of which is the deepest.
static bool isChain(int type)
{
    switch (type) {
    case and_expr:
    case arith_expr:
    case comparison:
    case expr:
    case if_stmt:
    case power:
    case shift_expr:
    case term:
    case with_stmt:
    case xor_expr:
        return true;
    default:
        return false;
    }
}

/// Whether each part of a \a type may make a jump.
static bool jumps(int type)
{
    switch (type) {
    case and_test:
    case assert_stmt:
    case comparison:
    case for_stmt:
    case if_stmt:
    case list_for:
    case list_if:
    case or_test:
    case test:
    case try_stmt:
    case while_stmt:
    case with_stmt:
        return true;
    default:
        return false;
    }
}

static bool opensUnit(int type) { return type == funcdef || type == classdef || type == lambdef; }

static bool isTooDeep(const node *tree, std::size_t stack)
{
    const std::size_t maxParts = stack / bytesPerPart;
    std::vector<std::size_t> unitJumps{0};
    std::vector<Level> waiting{{tree, 0, 0}};
    while (!waiting.empty()) {
        Level level = waiting.back();
        waiting.pop_back();
        const int type = TYPE(level.part);
        const int parts = NCH(level.part);
        level.depth += isChain(type) ? static_cast<std::size_t>(parts) : 1;
        if (opensUnit(type)) {
            level.unit = unitJumps.size();
            unitJumps.push_back(0);
        }
        if (jumps(type) && parts > 1)
            unitJumps[level.unit] += static_cast<std::size_t>(parts);
        if (std::max(level.depth, unitJumps[level.unit]) > maxParts)
            return true;
        for (int i = 0; i < parts; ++i)
            waiting.push_back({CHILD(level.part, i), level.depth, level.unit});
    }
    return false;
}

bool mayBeTooDeepForPython(std::size_t size, std::size_t stack)
{
    return size > stack / bytesPerPart;
}

/// Whether the characters of ASCII are the same in the source as in what Python parses: its first
/// two lines name no other encoding.
static bool hasPlainEncoding(const QByteArray &source)
{
    const QByteArray key = "coding";
    const QByteArray head = source.left(source.indexOf('\n', source.indexOf('\n') + 1));
    const int at = head.indexOf(key);
    if (at < 0)
        return true;
    const QByteArray tail = head.mid(at + key.size() + 1).trimmed();
    const auto isName = [](char sign) {
        return std::isalnum(uchar(sign)) || std::strchr("-_.", sign);
    };
    const auto end = std::find_if_not(tail.begin(), tail.end(), isName);
    const QByteArray name = tail.left(static_cast<int>(end - tail.begin())).toLower();
    return head.lastIndexOf(key) == at &&
           (name == "utf-8" || name == "utf8" || name == "latin-1" || name == "ascii");
}

namespace {

/// Divides a source into its statements at the left margin, without parsing it.
class SourceParts
{
public:
    explicit SourceParts(const QByteArray &source) : m_source(source) {}

    /// A number that is not exceeded by what isParsedTooDeepForPython() counts: the size of the
    /// largest statement, or if that is larger, the jumps of all that are no functions and classes.
    /// The size of the source when this cannot be told.
    std::size_t bound();

private:
    char at(int i) const { return i < m_source.size() ? m_source[i] : '\0'; }
    bool startsDefinition(int i) const;
    void startPart(int i);
    int afterText(int i) const;
    int afterWord(int i);
    int afterSign(int i);

    const QByteArray &m_source;
    int m_part = 0; // where it starts
    bool m_isDefinition = false;
    int m_brackets = 0;
    bool m_isLineStart = true;  // of a statement
    bool m_hasContexts = false; // each of which jumps, in the current part
    std::size_t m_jumps = 0;    // in the current part
    std::size_t m_others = 0;
    std::size_t m_largest = 0;
};

} // namespace

bool SourceParts::startsDefinition(int i) const
{
    for (const QByteArray word : {"def", "class"}) {
        const char next = at(i + word.size());
        if (m_source.mid(i, word.size()) == word && (next == ' ' || next == '\t'))
            return true;
    }
    return false;
}

/// Ends the current part before \p i.
void SourceParts::startPart(int i)
{
    const auto size = static_cast<std::size_t>(i - m_part);
    m_largest = std::max(m_largest, size);
    if (!m_isDefinition)
        m_others += m_hasContexts ? size : m_jumps;
    m_part = i;
    m_isDefinition = startsDefinition(i);
    m_hasContexts = false;
    m_jumps = 0;
}

/// The index after the text in quotes that starts at \p i; -1 when it has no end.
int SourceParts::afterText(int i) const
{
    const char quote = at(i);
    const bool isLong = at(i + 1) == quote && at(i + 2) == quote;
    const int length = isLong ? 3 : 1;
    for (i += length; i < m_source.size(); ++i) {
        if (at(i) == '\\')
            ++i; // also in a raw text
        else if (at(i) == '\n' && !isLong)
            return -1;
        else if (at(i) == quote && (!isLong || (at(i + 1) == quote && at(i + 2) == quote)))
            return i + length;
    }
    return -1;
}

/// The index after the word at \p i. One that jumps has up to nine parts in the tree.
int SourceParts::afterWord(int i)
{
    static const QByteArray words = " and assert elif else except finally for if in is not or try "
                                    "while with ";
    const int start = i;
    while (std::isalnum(uchar(at(i))) || at(i) == '_')
        ++i;
    const QByteArray word = m_source.mid(start, i - start);
    if (word.size() < 8 && words.contains(' ' + word + ' ')) {
        m_jumps += 9;
        m_hasContexts = m_hasContexts || word == "with";
    }
    return i;
}

/// The index after the sign, word, text or comment at \p i; -1 when it cannot be told.
int SourceParts::afterSign(int i)
{
    m_isLineStart = false;
    switch (at(i)) {
    case '#':
        while (i < m_source.size() && at(i) != '\n' && at(i) != '\r')
            ++i;
        return i;
    case '\'':
    case '"':
        return afterText(i);
    case '(':
    case '[':
    case '{':
        ++m_brackets;
        return i + 1;
    case ')':
    case ']':
    case '}':
        --m_brackets;
        return m_brackets < 0 ? -1 : i + 1;
    case '\n':
        m_isLineStart = m_brackets == 0;
        return i + 1;
    case '\r':
        return at(i + 1) == '\n' ? i + 1 : -1;
    case '\\':
        return at(i + 1) == '\n' ? i + 2 : at(i + 1) == '\r' && at(i + 2) == '\n' ? i + 3 : -1;
    case '\0':
    case '\f':
    case '\v':
        return -1;
    case '<':
    case '>':
    case '=':
        m_jumps += 3;
        return i + 1;
    default:
        return std::isalpha(uchar(at(i))) || at(i) == '_' ? afterWord(i) : i + 1;
    }
}

std::size_t SourceParts::bound()
{
    const auto all = static_cast<std::size_t>(m_source.size());
    if (!hasPlainEncoding(m_source))
        return all;
    int i = 0;
    while (i >= 0 && i < m_source.size()) {
        const char sign = at(i);
        const bool isBlank = sign == ' ' || sign == '\t' || sign == '\r' || sign == '\n';
        if (m_isLineStart && !isBlank && sign != '#')
            startPart(i);
        i = afterSign(i);
    }
    if (i < 0)
        return all;
    startPart(m_source.size());
    return std::max(m_largest, m_others);
}

bool isTooDeepForPython(const QByteArray &source, std::size_t stack)
{
    if (!mayBeTooDeepForPython(static_cast<std::size_t>(source.size()), stack))
        return false;
    // The compiler does not recurse from one statement to the next, and a function or class jumps
    // for itself. What is nested without a chain is bounded by the parser: it refuses more than
    // 1,500 levels.
    const std::size_t levels = 2000;
    return mayBeTooDeepForPython(SourceParts(source).bound() + levels, stack) &&
           isParsedTooDeepForPython(source, stack);
}

bool isParsedTooDeepForPython(const QByteArray &source, std::size_t stack)
{
    const std::unique_ptr<node, FreeTree> tree(
        PyParser_SimpleParseStringFlags(source.constData(), Py_file_input, 0));
    if (!tree) {
        PyErr_Clear();
        return false;
    }
    try {
        return isTooDeep(tree.get(), stack);
    } catch (const std::bad_alloc &) {
        return true;
    }
}

void setDepthError() { PyErr_SetString(PyExc_MemoryError, "the code is nested too deeply"); }

static long mainThread;        // that the interpreter was started on
static std::size_t mainStack;  // of that one
static std::size_t startLimit; // of calls, which is always allowed

// Python's own functions, which are replaced from the first start on.
static PyCFunction pythonsSetRecursionLimit;
static PyCFunction pythonsStackSize;

/// Whether scripts have threads that have not ended.
static bool hasThreads()
{
    PyInterpreterState *const interpreter = PyThreadState_Get()->interp;
    return PyThreadState_Next(PyInterpreterState_ThreadHead(interpreter)) != nullptr;
}

/// Makes threads start with a stack that is large enough for the recursion limit.
static void ensureThreadStack()
{
    const std::size_t least = Platform::deepThreadStack();
    const std::size_t forCalls = static_cast<std::size_t>(Py_GetRecursionLimit()) * bytesPerCall;
    const std::size_t needed = std::max(least, forCalls);
    if (least > 0 && PyThread_get_stacksize() < needed)
        PyThread_set_stacksize(needed);
}

static PyObject *setRecursionLimit(PyObject *self, PyObject *arguments)
{
    PyObject *const result = pythonsSetRecursionLimit(self, arguments);
    if (!result)
        return nullptr;

    if (PyThread_get_thread_ident() == mainThread)
        mainStack = Platform::freeStack(); // may have grown since the start
    std::size_t stack = mainStack;
    if (hasThreads() && PyThread_get_stacksize() > 0)
        stack = std::min(stack, PyThread_get_stacksize()); // theirs may be no larger
    const std::size_t largest = std::clamp(stack / bytesPerCall, startLimit, maxRecursionLimit);
    if (static_cast<std::size_t>(Py_GetRecursionLimit()) > largest)
        Py_SetRecursionLimit(static_cast<int>(largest));
    ensureThreadStack();
    return result;
}

static PyObject *stackSize(PyObject *self, PyObject *arguments)
{
    PyObject *const result = pythonsStackSize(self, arguments);
    ensureThreadStack();
    return result;
}

/// Replaces a function of Python by \a function until the process ends, also in a module that a
/// script loads again.
static void replace(const char *module, const char *name, PyCFunction function,
                    PyCFunction &pythons)
{
    const PythonReference owner(PyImport_ImportModule(module));
    const PythonReference object(owner ? PyObject_GetAttrString(owner.get(), name) : nullptr);
    if (!object)
        PyErr_Clear();
    else if (PyCFunction_Check(object.get()) && PyCFunction_GET_FUNCTION(object.get()) != function)
        pythons = std::exchange(reinterpret_cast<PyCFunctionObject *>(object.get())->m_ml->ml_meth,
                                function);
}

void limitRecursion(int limit)
{
    startLimit = static_cast<std::size_t>(limit);
    mainThread = PyThread_get_thread_ident();
    mainStack = Platform::freeStack();
    replace("sys", "setrecursionlimit", setRecursionLimit, pythonsSetRecursionLimit);
    replace("thread", "stack_size", stackSize, pythonsStackSize);
    PyThread_set_stacksize(0); // one that a script has set outlives its interpreter
    ensureThreadStack();
}

} // namespace Utils
