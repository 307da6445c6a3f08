#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

/// What the program python_child prints when it is given \p steps, without what scripts print to
/// the standard error, and with the way it ended as its last line. \p limits are commands of the
/// shell that limit it.
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
