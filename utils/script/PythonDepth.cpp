#include "utils/script/PythonDepth_p.h"

#include "utils/platform/Platform.h"
#include "utils/script/PythonReference_p.h"

#include <Python.h>

#include <graminit.h>
#include <node.h>
#include <pythread.h>

#include <algorithm>
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

bool isTooDeepForPython(const QByteArray &source, std::size_t stack)
{
    if (!mayBeTooDeepForPython(static_cast<std::size_t>(source.size()), stack))
        return false;

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
