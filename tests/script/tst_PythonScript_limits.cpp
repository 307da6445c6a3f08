#include "tests/script/PythonChild.h"
#include "tests/support/Files.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Qemu.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

static const QString home = "PYTHON_DIR=" KELMUTILS_PYTHON_HOME;

/// The start of the interpreter when the system refuses another process.
class tst_PythonScript_limits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        QVERIFY(m_folder.isValid());
        // Also as an ordinary user.
        QVERIFY(QFile::setPermissions(m_folder.path(), QFile::Permissions(0x7777)));
        m_log = m_folder.filePath("log");
        makeFile(m_folder.filePath("sitecustomize.py"),
                 "open('" + m_log.toUtf8() + "', 'a').write('x')\n");
        const QString program = makeFile(m_folder.filePath("solver/pyInit"), "#!/bin/sh\nexit 3\n");
        QVERIFY(QFile::setPermissions(program, QFile::Permissions(0x7555)));
        QVERIFY(QFile::setPermissions(m_folder.filePath("solver"), QFile::Permissions(0x7555)));
        qputenv("PYTHONPATH", m_folder.path().toUtf8());
    }

    void cleanup() { QFile::remove(m_log); }

    void startsInACopyFirstAsLongAsThereCanBeOne() // otherwise the next tests prove nothing
    {
        QCOMPARE(runPythonChild({home, "value:6*7"}), (QStringList{"42", "exit 3"}));
        QCOMPARE(log(), QByteArray("xx"));

        QCOMPARE(runPythonChild({home, "HOME_DIR=" + m_folder.path(), "value:6*7"}),
                 (QStringList{"bad: .Kelm.Utils.err.pythonInit", "exit 3"}));
    }

    void startsUntriedWhereTheProcessCannotBeCopied_data()
    {
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<bool>("hasStartUpProgram");

        QTest::newRow("no system call") << "no-fork" << false;
        QTest::newRow("no system call, with a start-up program") << "no-fork" << true;
        QTest::newRow("a limit") << "no-process" << false;
        QTest::newRow("a limit, with a start-up program") << "no-process" << true;
    }

    void startsUntriedWhereTheProcessCannotBeCopied()
    {
        QFETCH(QString, refusal);
        QFETCH(bool, hasStartUpProgram);
        if (refusal == "no-fork")
            SKIP_UNDER_QEMU("qemu knows no filters of system calls");
        QStringList steps{refusal, home, "value:6*7", "reset", "value:6*7"};
        if (hasStartUpProgram) // which cannot be started, and is ignored
            steps.prepend("HOME_DIR=" + m_folder.path());
        qputenv("LSAN_OPTIONS", "detect_leaks=0"); // which would need a thread
        QElapsedTimer timer;
        timer.start();

        const QStringList output = runPythonChild(steps);

        QCOMPARE(output, (QStringList{"42", "42", "exit 3"}));
        QCOMPARE(log(), QByteArray("xx")); // once for each start
        QVERIFY2(timer.elapsed() < 20'000, qPrintable(QString::number(timer.elapsed())));
    }

    void endsThreadsWhereNoThreadCanBeStarted()
    {
        SKIP_UNDER_QEMU("qemu knows no filters of system calls");
        qputenv("LSAN_OPTIONS", "detect_leaks=0"); // which would need a thread
        const QString code = "kept = 1\nimport threading, time\n"
                             "threading.Thread(target=time.sleep, args=(0.2,)).start()\n";

        QCOMPARE(runPythonChild(
                     {home, "code:" + code, "no-fork", "reset", "value:str('kept' in globals())"}),
                 (QStringList{"good", "False", "exit 3"}));
    }

private:
    QByteArray log() const
    {
        QFile file(m_log);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
    QString m_log;
};

OWN_NAMESPACE_MAIN(tst_PythonScript_limits)
#include "tst_PythonScript_limits.moc"
