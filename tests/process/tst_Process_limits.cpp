#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/Files.h"
#include "tests/support/Limits.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "utils/files/File.h"

#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>

using OwnNamespace::AsOrdinaryUser;
using Utils::Process;

Q_DECLARE_METATYPE(Utils::Process::KillModes)

/// Processes that cannot be started. A signal to a wrong id would end all processes of the user.
class tst_Process_limits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The first test, because Qt prepares for children at the first start only.
    void leavesWritesToAPipeWithoutAReaderAsTheyWere()
    {
        const auto original = std::signal(SIGPIPE, SIG_DFL);
        Process process("true");
        QVERIFY(process.start());
        QVERIFY(process.wait(false));

        QVERIFY(std::signal(SIGPIPE, original) == SIG_DFL);
    }

    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        QCOMPARE(getpid(), 1);
    }

    void doesNotStartWithoutAnotherProcess_data()
    {
        QTest::addColumn<Process::KillModes>("mode");
        QTest::addColumn<bool>("isKilled");

        QTest::newRow("killed, the tree") << Process::KillTree << true;
        QTest::newRow("killed, alone") << Process::KillSingle << true;
        QTest::newRow("destroyed") << Process::KillDefault << false;
    }

    void doesNotStartWithoutAnotherProcess()
    {
        QFETCH(Process::KillModes, mode);
        QFETCH(bool, isKilled);
        const AsOrdinaryUser user;
        QVERIFY(user.isDone());
        const MarkedProcesses marked;
        Process bystander("/bin/sleep", QStringList("60"));
        marked.mark(bystander);
        QVERIFY(bystander.start());
        auto process = std::make_unique<Process>("/bin/sleep", QStringList("60"));
        process->setKillMode(mode);
        {
            const Limit limit(RLIMIT_NPROC, 0);

            QVERIFY(!process->start());

            QCOMPARE(process->errorMessage(), Data::String("Resource error (fork failure): "
                                                           "Resource temporarily unavailable"));
            QVERIFY(!process->isRunning());
            QCOMPARE(process->getPID(), qint64(0));
            QCOMPARE(process->info(), process->fullCommand());
            if (isKilled)
                process->kill();
            QVERIFY(process->wait(false));
            process.reset();
        }

        QVERIFY(!bystander.isRunning() || !qProcess(bystander)->waitForFinished(200));
        QVERIFY(bystander.isRunning());
        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(bystander.getPID())});
        bystander.kill();
        QVERIFY(bystander.wait(false));
    }

    void startsWhenThereIsRoomAgain()
    {
        const AsOrdinaryUser user;
        QVERIFY(user.isDone());
        Process process("/bin/sh", shellArguments("echo a"));
        {
            const Limit limit(RLIMIT_NPROC, 0);
            QVERIFY(!process.start());
            QVERIFY(!process.start());
        }

        QVERIFY2(process.start(), process.errorMessage().c_str());

        QVERIFY(process.wait(false));
        QCOMPARE(process.output(), Data::String("a\n"));
        QCOMPARE(process.exitCode(), 0);
    }

    void doesNotStartWithoutDescriptors()
    {
        const MarkedProcesses marked;
        Process bystander("/bin/sleep", QStringList("60"));
        marked.mark(bystander);
        QVERIFY(bystander.start());
        // A sanitizer checks the type of a QIODevice once, which needs a pipe.
        QVERIFY(bystander.sendData("", 0));
        // Uses all numbers below the largest one, so that a limit for the numbers is one for the
        // count.
        const int used = descriptors().last().toInt() + 1;
        QList<int> fillers;
        const auto free =
            qScopeGuard([&] { std::for_each(fillers.begin(), fillers.end(), close); });
        while (descriptors().size() < used)
            fillers.append(dup(STDERR_FILENO));
        const QStringList before = descriptors();
        QCOMPARE(before.last().toInt() + 1, used);
        int room = 0;
        int failures = 0;
        QStringList texts;

        // A start needs far fewer than 20 descriptors at once.
        for (bool isStarted = false; !isStarted && room < 20; ++room) {
            Process process("/bin/true");
            qint64 pid = -1;
            {
                const Limit limit(RLIMIT_NOFILE, static_cast<rlim_t>(used + room));
                isStarted = process.start();
                pid = process.getPID();
            }
            if (isStarted) {
                QVERIFY(process.wait(false));
                QCOMPARE(process.exitCode(), 0);
            } else {
                ++failures;
                texts.append(process.errorMessage());
                QCOMPARE(pid, qint64(0));
                QVERIFY(!process.isRunning());
                process.kill();
            }
            QCOMPARE(descriptors(), before);
        }

        QVERIFY2(failures > 5 && room < 20, qPrintable(QString::number(failures)));
        texts.removeDuplicates();
        for (const QString &text : qAsConst(texts))
            QVERIFY2(text.endsWith("Too many open files"), qPrintable(text));
        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(bystander.getPID())});
        bystander.kill();
        QVERIFY(bystander.wait(false));
    }

    void doesNotStartWhenTheSystemRefuses_data() { addErrors(); }

    void doesNotStartWhenTheSystemRefuses()
    {
        QFETCH(int, error);
        const MarkedProcesses marked;
        Process bystander("/bin/sleep", QStringList("60"));
        marked.mark(bystander);
        QVERIFY(bystander.start());
        Process process(FAULTY_SYSTEM, {"start", QString::number(error)});

        QVERIFY(process.start());
        QVERIFY(process.wait(false));

        if (process.exitCode() == 3)
            QSKIP("calls cannot be made to fail here");
        QCOMPARE(process.output(), Data::String("0 0 0 Resource error (fork failure): " +
                                                qt_error_string(error) + '\n'));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(bystander.getPID())});
        bystander.kill();
        QVERIFY(bystander.wait(false));
    }

    void movesFilesAllTheSame_data() { addErrors(); }

    void movesFilesAllTheSame()
    {
        QFETCH(int, error);
        const QTemporaryDir folder;
        const QString source = makeFile(folder.filePath("a"), "new");
        const QString target = makeFile(folder.filePath("b"), "old");
        Process process(FAULTY_SYSTEM, {"move", QString::number(error), source, target});

        QVERIFY(process.start());
        QVERIFY(process.wait(false));

        if (process.exitCode() == 3)
            QSKIP("calls cannot be made to fail here");
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.output(), Data::String());
        QVERIFY(!QFile::exists(source));
        QCOMPARE(Utils::File::read(target), Data::String("new"));
    }

    /// An engine that cannot start its start-up program continues as if there were none.
    void runsScriptsWithoutTheStartUpProgram_data() { addErrors(); }

    void runsScriptsWithoutTheStartUpProgram()
    {
#ifdef SCRIPT_HOST
        QFETCH(int, error);
        const QTemporaryDir folder;
        const QString program = makeFile(folder.filePath("solver/pyInit"), "#!/bin/sh\nexit 3\n");
        QVERIFY(QFile::setPermissions(program, QFile::Permissions(0x7755)));
        const MarkedProcesses marked;
        Process bystander("/bin/sleep", QStringList("60"));
        marked.mark(bystander);
        QVERIFY(bystander.start());
        const QString home = QString("PYTHON_DIR=") + KELMUTILS_PYTHON_HOME;
        Process process(FAULTY_SYSTEM, {"run", QString::number(error), SCRIPT_HOST, home,
                                        "HOME_DIR=" + folder.path(),
                                        QString("RES_DIR=") + KELMUTILS_EXAMPLES_DIR + "/res",
                                        "--value", "value = 5"});

        QVERIFY(process.start());
        QVERIFY(process.wait(false));

        if (process.exitCode() == 3)
            QSKIP("calls cannot be made to fail here");
        QVERIFY2(process.output().endsWith("true 5\n"), process.output().c_str());
        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(bystander.getPID())});
        bystander.kill();
        QVERIFY(bystander.wait(false));
#else
        QSKIP("built without scripts");
#endif
    }

    /// The program has ended without being noticed, and another process has its id.
    void leavesWhoHasGotTheNumberOfItsProgram_data()
    {
        QTest::addColumn<Process::KillModes>("mode");
        QTest::addColumn<bool>("isKilled");

        QTest::newRow("killed, the tree") << Process::KillTree << true;
        QTest::newRow("killed, alone") << Process::KillSingle << true;
        QTest::newRow("destroyed") << Process::KillDefault << false;
    }

    void leavesWhoHasGotTheNumberOfItsProgram()
    {
        QFETCH(Process::KillModes, mode);
        QFETCH(bool, isKilled);
        const MarkedProcesses marked;
        Process other("/bin/sh", shellArguments("read line; sleep 60 & echo $!; wait"));
        marked.mark(other);
        QVERIFY(other.start());
        auto process = std::make_unique<Process>("/bin/true");
        process->setKillMode(mode);
        QVERIFY(process->start());
        const qint64 pid = process->getPID();
        while (QFile::exists(QString("/proc/%1").arg(pid))) // without an event loop
            QThread::msleep(1);
        QVERIFY(process->isRunning());
        QFile last("/proc/sys/kernel/ns_last_pid");
        if (!last.open(QIODevice::WriteOnly) || last.write(QByteArray::number(pid - 1)) <= 0 ||
            !last.flush())
            QSKIP("numbers of processes cannot be chosen here");
        QVERIFY(other.sendData("\n", 60000));
        while (!other.output().endsWith('\n'))
            QVERIFY(qProcess(other)->waitForReadyRead(60000));
        QCOMPARE(other.output().trimmed().toLongLong(), pid);

        if (isKilled)
            process->kill();
        process.reset();

        QThread::msleep(100);
        QVERIFY(marked.ids().contains(static_cast<pid_t>(pid)));
        other.kill();
        QVERIFY(other.wait(false));
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    /// The signal for its end interrupts a waiting system call, which must be continued.
    void letsReadsGoOnWhenItsProgramEnds()
    {
        int ends[2];
        QCOMPARE(pipe(ends), 0); // which the program inherits
        Process process("/bin/sh", shellArguments("(sleep 0.3; echo a >&$1) & exit",
                                                  {QString::number(ends[1])}));
        QVERIFY(process.start());
        char text[10] = {};

        QCOMPARE(read(ends[0], text, sizeof(text)), ssize_t(2));

        QCOMPARE(QByteArray(text), QByteArray("a\n"));
        QVERIFY(process.wait(false));
        close(ends[0]);
        close(ends[1]);
    }

private:
    static void addErrors()
    {
        QTest::addColumn<int>("error");

        QTest::newRow("processes") << EAGAIN;
        QTest::newRow("memory") << ENOMEM;
        QTest::newRow("descriptors") << EMFILE;
        QTest::newRow("descriptors of the system") << ENFILE;
    }

    /// The open descriptors, in ascending order.
    static QStringList descriptors()
    {
        QList<int> numbers;
        const QStringList names =
            QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &name : names) {
            if (fcntl(name.toInt(), F_GETFD) != -1) // except the descriptor of this list
                numbers.append(name.toInt());
        }
        std::sort(numbers.begin(), numbers.end());
        QStringList sorted;
        for (const int number : qAsConst(numbers))
            sorted.append(QString::number(number));
        return sorted;
    }
};

OWN_NAMESPACE_MAIN(tst_Process_limits)
#include "tst_Process_limits.moc"
