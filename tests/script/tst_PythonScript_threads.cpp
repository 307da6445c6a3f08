#include "tests/script/PythonChild.h"
#include "tests/script/SystemClock.h"
#include "tests/support/Files.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

static const QString home = "PYTHON_DIR=" KELMUTILS_PYTHON_HOME;
static const QString leftThread = "logMessage(Thread of a script goes on: %1 (N), 3)";

/// Threads of scripts that still run at the end of the interpreter and of the process.
class tst_PythonScript_threads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsWithTheProcessWhateverThreadsGoOn_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("name"); // of the remaining thread, if there is one

        // clang-format off
        QTest::newRow("none")                      << "pass" << "";
        QTest::newRow("one that has ended")        << run("pass") + "t.join()\n" << "";
        QTest::newRow("one that soon ends")        << run("time.sleep(0.2)") << "";
        QTest::newRow("one that computes")         << run("\n while True: pass") << "";
        QTest::newRow("one that sleeps at times")  << run("\n while True: time.sleep(0.01)") << "";
        QTest::newRow("a daemon that computes")    << run("\n while True: pass", "t.daemon = True") << "";
        QTest::newRow("one that sleeps")           << run("time.sleep(1e6)") << "Worker";
        QTest::newRow("a daemon that sleeps")      << run("time.sleep(1e6)", "t.daemon = True") << "Worker";
        QTest::newRow("one that waits for a lock")
            << "import threading\nl = threading.Lock()\nl.acquire()\n" + run("l.acquire()")
            << "Worker";
        QTest::newRow("one that will not end")
            << run("\n while True:\n  try:\n   while True: pass\n  except: pass") << "Worker";
        QTest::newRow("one that has no name")
            << "import thread, time\nthread.start_new_thread(time.sleep, (1e6,))\n"
            << "without a name";
        QTest::newRow("one with another name")
            << run("time.sleep(1e6)", "t.name = u'\\u00e4'.encode('utf-8')") << "\u00e4";
        QTest::newRow("one that starts at the exit")
            << "import atexit\ndef g():\n " + run("time.sleep(1e6)").replace("\n", "\n ") +
                "\natexit.register(g)\n" << "Worker";
        QTest::newRow("one that the exit ends")
            << "import atexit, threading\ne = threading.Event()\n"
                "atexit.register(e.set)\n" + run("e.wait()", "t.daemon = True") << "";
        QTest::newRow("one in a spoiled module")
            << run("time.sleep(1e6)") + "time.sleep(0.05)\n"
                "threading.enumerate = threading._active = None\n" << "without a name";
        QTest::newRow("one among odd objects")
            << run("time.sleep(1e6)") + "threading.enumerate = lambda: [5, t]\n" << "Worker";
        QTest::newRow("one in a module without its class")
            << run("time.sleep(0.2)") + "del threading._MainThread\n" << "";
        QTest::newRow("one in a module without its list")
            << run("time.sleep(1e6)") + "time.sleep(0.05)\ndel threading._active\n"
            << "without a name";
        QTest::newRow("one whose name fails")
            << run("time.sleep(1e6)") + "threading.Thread.name = property(lambda self: 1 / 0)\n"
            << "without a name";
        QTest::newRow("one whose end cannot be told")
            << run("time.sleep(0.2)") + "del threading.Thread.isAlive, threading.Thread.is_alive\n"
            << "";
        QTest::newRow("one that imported the module")
            << "import thread, time\ndef f():\n import threading\n time.sleep(0.1)\n"
                "thread.start_new_thread(f, ())\ntime.sleep(0.05)\n" << "";
        // clang-format on
    }

    void endsWithTheProcessWhateverThreadsGoOn()
    {
        QFETCH(QString, code);
        QFETCH(QString, name);
        QStringList lines{"good", "exit 3"};
        if (!name.isEmpty())
            lines.insert(1, leftThread.arg(name));

        QCOMPARE(child({home, "patience:300", "code:" + code}), lines);
    }

    void givesThreadsASecondAndEndsBeforeTwo_data()
    {
        QTest::addColumn<QString>("code");

        QTest::newRow("one that sleeps") << run("time.sleep(1e6)");
        QTest::newRow("one that keeps the lock of Python") << runWithLock(1'000'000);
    }

    void givesThreadsASecondAndEndsBeforeTwo()
    {
        QFETCH(QString, code);
#ifdef __SANITIZE_ADDRESS__
        const int most = 4000; // the process searches for leaks at its end
#else
        const int most = 2000;
#endif

        QStringList lines = child({home, "clock:", "code:" + code});
        const qint64 ended = systemClock();

        QCOMPARE(lines.size(), 4);
        const qint64 time = ended - lines.takeAt(1).toLongLong();
        QCOMPARE(lines, (QStringList{"good", leftThread.arg("Worker"), "exit 3"}));
        QVERIFY2(time > 1000 && time < most, qPrintable(QString::number(time) + " ms"));
    }

    void goesOnAfterAResetWhateverThreadsDo_data() { endsWithTheProcessWhateverThreadsGoOn_data(); }

    void goesOnAfterAResetWhateverThreadsDo()
    {
        QFETCH(QString, code);
        QFETCH(QString, name);
        QStringList lines{"good"};
        if (!name.isEmpty())
            lines << leftThread.arg(name);
        lines << "2" << (name.isEmpty() ? "False" : "True");
        if (!name.isEmpty())
            lines << leftThread.arg(name);

        QCOMPARE(child({home, "patience:300", "code:kept = 1\n" + code, "reset", "value:1+1",
                        "value:str('kept' in globals())"}),
                 lines + QStringList("exit 3"));
    }

    void failsWhileAThreadKeepsTheLockOfPython()
    {
        const QString notStarted = "bad: Python not initialized";

        QCOMPARE(child({home, "patience:300", "code:" + runWithLock(1'000'000), "reset",
                        "value:1+1", "push:x", "check:x", "reset", "code:x = 1"}),
                 (QStringList{"good", leftThread.arg("Worker"), notStarted, "bad: ", notStarted,
                              "exit 3"}));
    }

    void goesOnOnceAThreadHasGivenTheLockBack()
    {
        QCOMPARE(child({home, "patience:300", "code:kept = 1\n" + runWithLock(3), "reset",
                        "value:1+1", "wait:30000", "value:__import__('time').sleep(0.3)",
                        "value:str('kept' in globals())"}),
                 (QStringList{"good", leftThread.arg("Worker"), "bad: Python not initialized", "",
                              "False", "exit 3"}));
    }

    void endsTheInterpreterOnceItsLastThreadHasEnded()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("end");
        const QString code = "kept = 1\nimport os\n" +
                             run("\n while True:\n  try:\n   while True:\n    time.sleep(0.01)\n"
                                 "    if os.path.exists('" +
                                 path + "'): break\n   break\n  except SystemExit: pass");

        QCOMPARE(child({home, "patience:300", "code:" + code, "reset", "value:kept",
                        "put:" + path + "=" + script(), "value:time.sleep(0.5)",
                        "value:str('kept' in globals())"}),
                 (QStringList{"good", leftThread.arg("Worker"), "1", "", "False", "exit 3"}));
    }

    void keepsTheModulesWithTheInterpreter()
    {
        const QString code =
            "import KelmFramework\nKelmFramework.kept = 1\n" + run("time.sleep(1e6)");

        QCOMPARE(child({home, "patience:300", "code:" + code, "reset",
                        "value:str(hasattr(__import__('KelmFramework'), 'kept'))"}),
                 (QStringList{"good", leftThread.arg("Worker"), "True", leftThread.arg("Worker"),
                              "exit 3"}));
    }

    void runsWhatIsRegisteredForTheExitOnce()
    {
        const QString code =
            "import atexit, host\natexit.register(host.call, 'first')\n" + run("time.sleep(1e6)");

        QCOMPARE(child({home, "patience:300", "code:" + code, "reset",
                        "code:atexit.register(host.call, 'second')\n", "reset"}),
                 (QStringList{"good", "first", leftThread.arg("Worker"), "good", "second",
                              leftThread.arg("Worker"), leftThread.arg("Worker"), "exit 3"}));
    }

    void endsWhatNeverReturnsWithTheProcess()
    {
        const QString code = "import atexit, host, time\n"
                             "class End(object):\n"
                             "  def __del__(self, call=host.call):\n"
                             "    call('object')\n"
                             "    while True: pass\n"
                             "end = End()\n"
                             "def f():\n"
                             "  host.call('function')\n"
                             "  time.sleep(1e6)\n"
                             "atexit.register(f)\n";

        QCOMPARE(child({home, "code:" + code, "time:100"}),
                 (QStringList{"good", "function", "object", "exit 3"}));
    }

    void runsAnExitFunctionOnce()
    {
        const QString code =
            "import sys, host\nsys.exitfunc = lambda: host.call('end')\n" + run("time.sleep(1e6)");

        QCOMPARE(child({home, "patience:300", "code:" + code, "reset"}),
                 (QStringList{"good", "end", leftThread.arg("Worker"), leftThread.arg("Worker"),
                              "exit 3"}));
    }

    void runsWhileAnotherThreadWaitsForAProgram_data()
    {
        QTest::addColumn<QString>("body"); // of the thread

        QTest::newRow("run") << "process.run()";
        QTest::newRow("run with a function") << "process.run(-1, lambda line, isError: None)";
        QTest::newRow("wait") << "process.start() and process.wait()";
    }

    void runsWhileAnotherThreadWaitsForAProgram()
    {
        QFETCH(QString, body);
        const QString code = "import threading, time\n"
                             "from KelmUtils import Utils\n"
                             "made = []\n"
                             "def f():\n"
                             " process = Utils.Process('sleep', ['60'])\n"
                             " made.append(process)\n " +
                             body +
                             "\nthread = threading.Thread(target=f)\n"
                             "thread.start()\n"
                             "wasRunning = False\n"
                             "while thread.is_alive():\n"
                             " time.sleep(0.001)\n"
                             " if not wasRunning and made and made[0].isRunning():\n"
                             "  wasRunning = True\n"
                             "  made[0].kill()\n";

        QCOMPARE(child({home, "code:" + code, "value:str((wasRunning, made[0].normalExit()))"}),
                 (QStringList{"good", "(True, False)", "exit 3"}));
    }

    void endsBeforeWhatQtHasMadeWhereTheHostForgetsToEndIt()
    {
        const QTemporaryDir folder;
        const QString code = QString("import atexit, host\nfrom KelmUtils import Utils\n"
                                     "def use(text):\n"
                                     " path = '%1/' + text\n"
                                     " written = Utils.File.writeSafely(path, 'x')\n"
                                     " found = len(Utils.File.search('%1', text))\n"
                                     " time = Utils.File.timestampString(path) != ''\n"
                                     " Utils.WorkspaceSettings('a').setString('b', text)\n"
                                     " host.call('%s: %s %s %s' % (text, written, found, time))\n"
                                     "use('script')\n"
                                     "atexit.register(use, 'function')\n")
                                 .arg(folder.path());

        QCOMPARE(child({home, "code:" + code + run("time.sleep(0.1); use('thread')")}),
                 (QStringList{"script: True 1 True", "good", "thread: True 1 True",
                              "function: True 1 True", "exit 3"}));
    }

    void goesOnWithAnotherApplicationObject()
    {
        QCOMPARE(
            child({home, "code:import atexit, host\natexit.register(host.call, 'end')\nx = 1\n",
                   "application", "value:x", "application", "code:x += 1\n", "value:x"}),
            (QStringList{"good", "1", "good", "2", "end", "exit 3"}));
    }

    void startsAgainAfterAResetWithAnotherApplicationObject()
    {
        const QString code = "code:import atexit, host\natexit.register(host.call, '%1')\n";

        QCOMPARE(child({home, code.arg("first"), "reset", "application", code.arg("second")}),
                 (QStringList{"good", "first", "good", "second", "exit 3"}));
    }

    void tellsTheStandardErrorWithoutAHost()
    {
        QProcess process;
        process.start(PYTHON_CHILD, {home, "code:" + run("time.sleep(1e6)"), "no-host"});
        QVERIFY(process.waitForFinished(-1));

        QVERIFY(process.readAllStandardError().contains("Thread of a script goes on: Worker ("));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("good\n"));
    }

    void failsWhileAThreadOfTheExitKeepsTheLock()
    {
        // It starts at the second end of an interpreter that was kept.
        const QString keep = "import atexit, ctypes, sys, thread\nc = ctypes.PyDLL(None)\n"
                             "e = threading.Event()\nmain = thread.get_ident()\ndef h():\n"
                             " try:\n  e.set()\n"
                             "  while main in sys._current_frames(): time.sleep(0.01)\n"
                             " finally: c.sleep(3)\n"
                             "def g():\n threading.Thread(target=h).start()\n e.wait()\n"
                             "atexit.register(g)\ntime.sleep(1.5)\n";

        QCOMPARE(child({home, "patience:100", "code:" + run("time.sleep(1)"), "reset",
                        "code:" + keep, "code:x = 1", "wait:10000", "value:6*7"})
                     .filter(QRegularExpression("^(?!logMessage)")),
                 (QStringList{"good", "good", "bad: Python not initialized", "42", "exit 3"}));
    }

private:
    /// Code that runs \p body in a thread.
    static QString run(const QString &body, const QString &setUp = "pass")
    {
        return "import threading, time, re\n"
               "def f(): " +
               body +
               "\n"
               "t = threading.Thread(target=f, name='Worker')\n" +
               setUp + "\nt.start()\n";
    }

    /// The same with a call of C code that holds the lock of Python for some seconds, from when the
    /// script has ended: before that, the script would wait for the lock. The script ends when the
    /// thread has its name.
    static QString runWithLock(int seconds)
    {
        return "import ctypes, sys, thread\nmain = thread.get_ident()\n" +
               run(QString("\n while main in sys._current_frames(): time.sleep(0.01)\n"
                           " ctypes.PyDLL(None).sleep(%1)")
                       .arg(seconds)) +
               "while t.ident not in threading._active: time.sleep(0.001)\n";
    }

    static QString script() { return PYTHON_CHILD; }

    /// The output of python_child, in which N replaces the numbers of threads.
    static QStringList child(const QStringList &steps)
    {
        QStringList lines = runPythonChild(steps);
        lines.replaceInStrings(QRegularExpression("\\(\\d+\\), "), "(N), ");
        return lines;
    }
};

QTEST_GUILESS_MAIN(tst_PythonScript_threads)
#include "tst_PythonScript_threads.moc"
