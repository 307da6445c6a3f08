#pragma once

#include "utils/process/Process.h"

#include <QProcess>
#include <QtTest>

/// The arguments with which the shell runs \p script.
inline QStringList shellArguments(const char *script, const QStringList &arguments = {})
{
    return QStringList{"-c", script, "sh"} + arguments;
}

inline QProcess *qProcess(const Utils::Process &process)
{
    return qobject_cast<QProcess *>(process.object());
}

/// Runs the event loop until \p process has written something that ends with \p text.
inline bool waitForOutput(Utils::Process &process, const char *text)
{
    return QTest::qWaitFor([&] { return process.output().endsWith(text); }, 60000);
}

/// Runs the event loop until the child has ended.
inline bool waitForEnd(const Utils::Process &process)
{
    return QTest::qWaitFor([&] { return !process.isRunning(); }, 60000);
}
