#pragma once

#include "data/String.h"
#include "utils/process/Process.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcessEnvironment>
#include <QUuid>
#include <QtTest>

#include <csignal>
#include <sys/types.h>

/// The processes that a test starts, and their descendants: all that have its mark in their
/// environment. The destructor kills those that still run.
class MarkedProcesses
{
public:
    MarkedProcesses() = default;
    MarkedProcesses(const MarkedProcesses &) = delete;
    MarkedProcesses &operator=(const MarkedProcesses &) = delete;
    ~MarkedProcesses()
    {
        for (int i = 0; i < 100 && !ids().isEmpty(); ++i) {
            for (const pid_t id : ids())
                ::kill(id, SIGKILL);
        }
    }

    void mark(Utils::Process &process) const
    {
        process.setEnvironment({{m_name.constData(), m_value.constData()}}, false);
    }

    /// Those that run. A zombie process has no environment any more.
    QList<pid_t> ids() const
    {
        const QByteArray entry = m_name + '=' + m_value;
        QList<pid_t> found;
        const QStringList folders = QDir("/proc").entryList(QDir::Dirs);
        for (const QString &folder : folders) {
            const int id = folder.toInt();
            QFile environment("/proc/" + folder + "/environ");
            if (id > 0 && environment.open(QIODevice::ReadOnly) &&
                environment.readAll().split('\0').contains(entry))
                found.append(id);
        }
        return found;
    }

    /// Waits for a minute at most until so many run. A process that starts another program in its
    /// place has no environment for a moment, so their number may fall again until the next look.
    bool waitFor(int count) const
    {
        return wait([=](int running) { return running == count; });
    }
    bool waitForAtLeast(int count) const
    {
        return wait([=](int running) { return running >= count; });
    }

private:
    template <typename IsReached>
    bool wait(const IsReached &isReached) const
    {
        for (int i = 0; i < 6000; ++i) {
            if (isReached(ids().size()))
                return true;
            QTest::qWait(10);
        }
        return false;
    }

    const QByteArray m_name = "KELMUTILS_TEST_MARK";
    const QByteArray m_value = QUuid::createUuid().toByteArray();
};
