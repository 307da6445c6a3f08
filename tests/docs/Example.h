#pragma once

// The surroundings of each example in the guides. See examples.py.

#include "utils/KelmUtils.h"

#include <QDebug>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#ifdef __GNUC__
// An example shows a call and need not use its result.
#pragma GCC diagnostic ignored "-Wunused-variable"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#endif

/// Ends the example, unless what it promises \p isKept.
template <typename T>
void verify(bool isKept, const T &value, const char *file, int line)
{
    if (isKept)
        return;
    qWarning().nospace() << file << ":" << line << ": it is " << value;
    std::exit(1);
}

/// Runs the example whose number is the first argument, as a host that has just started would.
inline int runExample(std::initializer_list<bool (*)()> examples, int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kelm"));
    QCoreApplication::setApplicationName(QStringLiteral("Examples"));
    const std::size_t number = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : examples.size();
    return number < examples.size() && examples.begin()[number]() ? 0 : 1;
}
