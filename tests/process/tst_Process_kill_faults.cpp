#include "utils/platform/Platform.h"
#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/Limits.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>

#include <sys/mount.h>
#include <sys/stat.h>

using OwnNamespace::AsOrdinaryUser;
using Utils::Process;

namespace Platform = Utils::Platform;

/// After so many of them the heap has no room for one more; negative when it always has.
static int allocationsLeft = -1;

void *operator new(std::size_t size)
{
    if (allocationsLeft == 0)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    void *const memory = std::malloc(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

/// Trees that are killed where the system lacks something.
class tst_Process_kill_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        QCOMPARE(getpid(), 1);
    }

    void takesTheTreeWithoutHandles_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<int>("error");

        QTest::newRow("an old system") << "kill" << ENOSYS;
        QTest::newRow("no descriptors") << "kill" << EMFILE;
        QTest::newRow("no descriptors of the system") << "kill" << ENFILE;
        QTest::newRow("not allowed") << "kill" << EPERM;
        QTest::newRow("a system that is older yet") << "send" << ENOSYS;
        QTest::newRow("sending not allowed") << "send" << EPERM;
    }

    void takesTheTreeWithoutHandles()
    {
        QFETCH(QString, what);
        QFETCH(int, error);
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));
        Process killer(FAULTY_SYSTEM,
                       {what, QString::number(error), QString::number(tree.getPID())});

        QVERIFY(killer.start());
        QVERIFY(killer.wait(false));

        if (killer.exitCode() == 3)
            QSKIP("calls cannot be made to fail here");
        QCOMPARE(killer.exitCode(), 0);
        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
    }

    /// A single descriptor is enough; without one the program alone goes.
    void takesWhatItCanWithFewDescriptors_data()
    {
        QTest::addColumn<int>("room");
        QTest::addColumn<int>("left");

        QTest::newRow("none") << 0 << 3;
        QTest::newRow("one") << 1 << 0;
        QTest::newRow("two") << 2 << 0;
        QTest::newRow("three") << 3 << 0;
    }

    void takesWhatItCanWithFewDescriptors()
    {
        QFETCH(int, room);
        QFETCH(int, left);
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));
        int used = 0;
        for (const QString &name : QDir("/proc/self/fd").entryList(QDir::NoFilter))
            used = qMax(used, name.toInt() + 1);
        QList<int> fillers;
        const auto free = qScopeGuard([&] {
            for (const int filler : qAsConst(fillers))
                close(filler);
        });
        {
            const Limit limit(RLIMIT_NOFILE, static_cast<rlim_t>(used + room));
            for (int filler = dup(STDERR_FILENO); filler >= 0; filler = dup(STDERR_FILENO))
                fillers.append(filler);
            for (int i = 0; i < room; ++i)
                close(fillers.takeLast());

            tree.kill();
        }

        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
        QCOMPARE(marked.ids().size(), left);
    }

    /// Whatever was found before the memory was out is killed. Nobody stays stopped.
    void stopsNothingForGoodWhenTheMemoryIsOut()
    {
        bool isOut = true;
        int parts = 0;
        const int before = descriptors();
        for (int room = 0; isOut; room = room < 40 ? room + 1 : room * 2) {
            QCOMPARE(descriptors(), before);
            const MarkedProcesses marked;
            Process tree("/bin/sh");
            QVERIFY(startTree(tree, marked));

            allocationsLeft = room;
            const bool isKilled = Platform::killProcessTree(tree.getPID());
            isOut = allocationsLeft == 0;
            allocationsLeft = -1;

            if (!isOut) {
                QVERIFY(isKilled);
                QCOMPARE(marked.ids(), QList<pid_t>());
            } else if (isKilled) { // who was found is on its way, as nothing could wait for it
                ++parts;
                QVERIFY(tree.wait(false));
            } else {
                QCOMPARE(marked.ids().size(), 4);
            }
            QTRY_VERIFY_WITH_TIMEOUT(!hasStopped(marked.ids()), 60000);
            tree.kill();
            QVERIFY(tree.wait(false));
            QCOMPARE(tree.exitCode(), SIGKILL);
        }
        QCOMPARE(descriptors(), before);
        QVERIFY(parts > 5);
    }

    void killsTheProgramWhenItIsOutOfMemory()
    {
        const MarkedProcesses marked;
        Process tree("/bin/sh");
        QVERIFY(startTree(tree, marked));

        allocationsLeft = 0;
        tree.kill();
        allocationsLeft = -1;

        QVERIFY(tree.wait(false));
        QCOMPARE(tree.exitCode(), SIGKILL);
    }

    /// /proc may hide what the user may not look into, as a program that may be run but not read.
    void takesTheProgramThatCannotBeRead()
    {
        const QTemporaryDir folder;
        QVERIFY(QFile::setPermissions(folder.path(), QFile::Permissions(0x7755)));
        const QString program = folder.filePath("sleep");
        QVERIFY(QFile::copy("/bin/sleep", program));
        QCOMPARE(chmod(qPrintable(program), 0111), 0);
        if (mount("proc", "/proc", "proc", 0, "hidepid=invisible,gid=65533") != 0)
            QSKIP("/proc cannot be mounted here");
        const auto restore = qScopeGuard([] { umount("/proc"); });
        const AsOrdinaryUser user;
        QVERIFY(user.isDone());
        Process process(program, QStringList("60"));
        QVERIFY2(process.start(), process.errorMessage().c_str());
        QVERIFY(!QFile::exists(QString("/proc/%1").arg(process.getPID())));

        QVERIFY(!Platform::killProcessTree(process.getPID()));
        process.kill();

        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
    }

private:
    /// Starts four processes on three levels.
    static bool startTree(Process &process, const MarkedProcesses &marked)
    {
        process.setArguments(
            shellArguments("sh -c 'sleep 60 & sleep 60 & echo .; wait' & echo .; wait"));
        marked.mark(process);
        return process.start() &&
               QTest::qWaitFor(
                   [&] { return process.output().count('.') == 2 && marked.ids().size() == 4; },
                   60000);
    }

    static int descriptors()
    {
        return QDir("/proc/self/fd")
            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
            .size();
    }

    static bool hasStopped(const QList<pid_t> &ids)
    {
        return std::any_of(ids.begin(), ids.end(), [](pid_t id) {
            QFile file(QString("/proc/%1/stat").arg(id));
            return file.open(QIODevice::ReadOnly) && file.readAll().contains(") T ");
        });
    }
};

OWN_NAMESPACE_MAIN(tst_Process_kill_faults)
#include "tst_Process_kill_faults.moc"
