#include "utils/script/PythonDepth_p.h"

#include <Python.h>

#include <graminit.h>
#include <node.h>

#include <cstddef>
#include <memory>
#include <new>
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
    int depth;
    std::size_t unit; // the function, class or module that it is in
};

} // namespace

// The compiler takes more than twice as many of both on a stack of 8 MiB.
static const int maxDepth = 10'000;
static const int maxJumps = 100'000;

/// Whether the parts of a \a type are links of a chain, the first of which lies deepest.
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

static bool isTooDeep(const node *tree)
{
    std::vector<int> unitJumps{0};
    std::vector<Level> waiting{{tree, 0, 0}};
    while (!waiting.empty()) {
        Level level = waiting.back();
        waiting.pop_back();
        const int type = TYPE(level.part);
        const int parts = NCH(level.part);
        level.depth += isChain(type) ? parts : 1;
        if (opensUnit(type)) {
            level.unit = unitJumps.size();
            unitJumps.push_back(0);
        }
        if (jumps(type) && parts > 1)
            unitJumps[level.unit] += parts;
        if (level.depth > maxDepth || unitJumps[level.unit] > maxJumps)
            return true;
        for (int i = 0; i < parts; ++i)
            waiting.push_back({CHILD(level.part, i), level.depth, level.unit});
    }
    return false;
}

bool isTooDeepForPython(const QByteArray &source)
{
    if (source.size() < maxDepth) // each link and each jump takes a character at least
        return false;

    const std::unique_ptr<node, FreeTree> tree(
        PyParser_SimpleParseStringFlags(source.constData(), Py_file_input, 0));
    if (!tree) {
        PyErr_Clear();
        return false;
    }
    try {
        return isTooDeep(tree.get());
    } catch (const std::bad_alloc &) {
        return true;
    }
}

void setDepthError() { PyErr_SetString(PyExc_MemoryError, "the code is nested too deeply"); }

} // namespace Utils
