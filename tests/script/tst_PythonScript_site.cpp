#include "utils/script/ScriptManager.h"

#include "tests/script/PythonChild.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Files.h"

#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <thread>

using Utils::ScriptManager;

static const SettingsHome settingsHome;

/// A host whose user has a sitecustomize.py, which Python runs when it starts.
class tst_PythonScript_site : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { qputenv("PYTHONPATH", m_folder.path().toUtf8()); }
    void cleanup() { qunsetenv("PYTHONPATH"); }

    void doesNotKeepScriptsFromBeingEnded_data()
    {
        QTest::addColumn<QByteArray>("program");

        QTest::newRow("the module signal is loaded") << QByteArray("import signal\n");
        QTest::newRow("it is replaced")
            << QByteArray("import sys\nsys.modules['signal'] = object()\n");
        QTest::newRow("its function is removed")
            << QByteArray("import signal\ndel signal.signal\n");
        QTest::newRow("its function is one of Python")
            << QByteArray("import signal\nsignal.signal = lambda *rest: None\n");
        QTest::newRow("its function fails")
            << QByteArray("import signal\nsignal.signal = signal.getsignal\n");
    }

    void doesNotKeepScriptsFromBeingEnded()
    {
        QFETCH(QByteArray, program);
        makeFile(m_folder.filePath("sitecustomize.py"), program);

        const QStringList output =
            runPythonChild({"PYTHON_DIR=" KELMUTILS_PYTHON_HOME, "value:6*7", "time:200",
                            "code:while True: pass", "time:0", "value:6*8", "reset", "time:200",
                            "code:while True: pass", "time:0", "value:6*9"});

        QCOMPARE(output.size(), 6);
        QVERIFY2(output[1].contains("scriptlimit"), qPrintable(output[1]));
        QVERIFY2(output[3].contains("scriptlimit"), qPrintable(output[3]));
        QCOMPARE(QStringList({output[0], output[2], output[4], output[5]}),
                 QStringList({"42", "48", "54", "exit 3"}));
    }

    void doesNotLoseAnInterruptWhileItRuns()
    {
        const QByteArray wait = m_folder.filePath("wait").toUtf8();
        const QByteArray end = m_folder.filePath("end").toUtf8();
        makeFile(m_folder.filePath("sitecustomize.py"), "import os\n"
                                                        "if os.path.exists('" +
                                                            wait +
                                                            "'):\n"
                                                            "    while not os.path.exists('" +
                                                            end + "'): pass\n");
        PythonFixture d;
        QVERIFY(d.engine.runCode("x = 1\n"));
        d.engine.reset();
        makeFile(wait, "");

        std::thread other([&] {
            while (!ScriptManager::interrupt())
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it arrives meanwhile
            makeFile(end, "");
        });
        const bool isDone = d.engine.runCode("x = 2\n");
        other.join();

        QVERIFY(!isDone);
        QVERIFY(d.engine.error().isInterrupted());
        QVERIFY(!d.engine.getData("x").isValid());
        QVERIFY(d.engine.runCode("x = 3\n"));
    }

    void mayReplaceFunctionsOfTheLimitOfCalls()
    {
        makeFile(m_folder.filePath("sitecustomize.py"),
                 "import sys, thread\n"
                 "sys.setrecursionlimit = lambda limit: None\n"
                 "del thread.stack_size\n");

        QCOMPARE(runPythonChild({"PYTHON_DIR=" KELMUTILS_PYTHON_HOME,
                                 "value:sys.setrecursionlimit(10 ** 9)",
                                 "value:sys.getrecursionlimit()"}),
                 (QStringList{"", "1000", "exit 3"}));
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_PythonScript_site)
#include "tst_PythonScript_site.moc"
