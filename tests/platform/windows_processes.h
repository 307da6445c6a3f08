#pragma once

#include <QList>
#include <QProcess>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

/// The numbers of the children that the program "tree" has started.
inline QList<qint64> childrenOf(QProcess &program)
{
    QList<qint64> children;
    while (children.size() < 2 && program.waitForReadyRead()) {
        while (program.canReadLine())
            children.append(program.readLine().trimmed().toLongLong());
    }
    return children;
}

/// Whether the process \p id runs.
inline bool isRunning(qint64 id)
{
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(id));
    if (!process)
        return false;
    const bool isRunning = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return isRunning;
}
