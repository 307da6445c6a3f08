#pragma once

#include "tests/support/Files.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

/// A run of the program kelm, in a home of its own: without settings, and in English.
class Program
{
public:
    QString folder;          ///< where it runs, "" for that of the test
    QStringList environment; ///< as "NAME=value", besides that of the test

    int status = -1; ///< 128 and its number when a signal ended it, as shells say
    QString output;
    QString error;

    explicit Program(const QString &home) : m_home(home) {}

    /// Runs it to its end. False when it does not come to one.
    bool run(const QStringList &arguments)
    {
        QProcess process;
        start(process, KELM_PROGRAM, arguments);
        return finish(process);
    }

    /// The same with \p input on its standard input.
    bool runWithInput(const QStringList &arguments, const QByteArray &input)
    {
        QProcess process;
        start(process, KELM_PROGRAM, arguments);
        process.write(input);
        process.closeWriteChannel();
        return finish(process);
    }

    /// The same through a shell, in which "$KELM" is the program.
    bool runShell(const QString &script)
    {
        QProcess process;
        start(process, "sh", {"-c", script});
        return finish(process);
    }

    /// The same as an ordinary user, also where the test runs as root. False when that user cannot
    /// get at the program.
    bool runAsOrdinaryUser(const QStringList &arguments)
    {
        if (geteuid() != 0)
            return run(arguments);
        const QStringList asNobody{"--reuid=65534", "--regid=65534", "--clear-groups", "--"};
        QProcess process;
        start(process, "setpriv", asNobody + QStringList{"test", "-x", KELM_PROGRAM});
        if (!finish(process) || status != 0)
            return false;
        start(process, "setpriv", asNobody + QStringList(KELM_PROGRAM) + arguments);
        return finish(process);
    }

    void start(QProcess &process, const QString &program, const QStringList &arguments) const
    {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"KELM_RES_DIR", "KELM_HOME_DIR", "PYTHON_DIR", "KLT_NORAWREAD"})
            variables.remove(name);
        variables.insert("KELM", KELM_PROGRAM);
        variables.insert("HOME", m_home);
        variables.insert("XDG_CONFIG_HOME", m_home);
        variables.insert("XDG_CONFIG_DIRS", m_home);
        variables.insert("LC_ALL", "C.UTF-8"); // the texts and numbers that the tests expect
        for (const QString &variable : environment)
            variables.insert(variable.section('=', 0, 0), variable.section('=', 1));
        process.setProcessEnvironment(variables);
        process.setWorkingDirectory(folder);
        process.start(program, arguments);
    }

    bool finish(QProcess &process)
    {
        const bool isFinished =
            process.state() == QProcess::NotRunning || process.waitForFinished(120000);
        const bool isSignal = process.exitStatus() == QProcess::CrashExit;
        status = process.exitCode() + (isSignal ? 128 : 0);
        output = QString::fromUtf8(process.readAllStandardOutput());
        error = QString::fromUtf8(process.readAllStandardError());
        return isFinished;
    }

private:
    const QString m_home;
};

/// The path of a sample file of the project.
inline QString sample(const QString &name) { return QStringLiteral(KELMUTILS_SAMPLES "/") + name; }
