#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

/// The standard output of the program python_child with the arguments \p steps. The last line tells
/// how it ended. \p limits are shell commands that limit it.
inline QStringList runPythonChild(const QStringList &steps, const QString &limits = ":")
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start("/bin/sh",
                  QStringList{"-c", limits + "\nexec \"$0\" \"$@\"", PYTHON_CHILD} + steps);
    process.waitForFinished(-1);
    const QString end = process.exitStatus() == QProcess::NormalExit ? "exit %1" : "signal %1";
    const QString output = QString::fromUtf8(process.readAll()) + end.arg(process.exitCode());
    return output.split('\n');
}
