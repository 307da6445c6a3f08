#include "tests/examples/Program.h"
#include "tests/examples/Session.h"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

static const QByteArray erase = "\r\x1b[K";
static const QByteArray escape = "\x1b";
static const QByteArray interrupt = "\x03"; // Ctrl-C
static const QByteArray quit = "\x1c";      // Ctrl and a backslash
static const QByteArray suspend = "\x1a";   // Ctrl-Z

class tst_Terminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsABarForAsLongAsATaskLasts()
    {
        Session session(HOST_CHILD, {"steps", "50", "100"});

        QCOMPARE(session.finish(), 0);

        const QString bar = QString(10, QChar(0x2588)) + QString(10, QChar(0x2591));
        QVERIFY(session.screen().contains(erase + "Working  [" + bar + "]   50 %  0:0"));
        QVERIFY(session.screen().contains(erase + "Working  [" + QString(20, QChar(0x2588)) +
                                          "]  100 %  0:0"));
        QVERIFY(session.screen().endsWith(erase));
        QVERIFY(!session.screen().contains("Esc"));
        QVERIFY(!session.screen().contains('\n'));
    }

    void keepsCommandsFromTheTerminal()
    {
        const QTemporaryDir folder;
        const QString path =
            makeFile(folder.filePath("table.csv"), "a,b\nred\x1b[31m,\xc2\x9bx\a\x7f\n");
        Session session(KELM_PROGRAM, {"table", path});
        Session complaint(KELM_PROGRAM, {"table", "no\x1b[31m"});

        QCOMPARE(session.finish(), 0);
        QCOMPARE(complaint.finish(), 1);

        const QString unknown(QChar::ReplacementCharacter);
        QVERIFY2(session.screen().contains("red" + unknown + "[31m    " + unknown + "x" + unknown +
                                           unknown + "\r\n"),
                 qPrintable(session.screen()));
        QVERIFY(!session.screen().contains('\x1b'));
        QVERIFY(complaint.screen().contains("\"no" + unknown + "[31m\""));
    }

    void writesLinesAboveTheBar()
    {
        Session session(HOST_CHILD, {"message"});

        QCOMPARE(session.finish(), 0);

        QVERIFY(session.screen().contains(erase + "A message\r\n" + erase + "Working  ["));
        QVERIFY(session.screen().contains(erase + "An output\r\n" + erase + "Working  ["));
        QVERIFY(session.screen().endsWith(erase));
    }

    void cancelsByEsc_data()
    {
        QTest::addColumn<QString>("task");

        QTest::newRow("an ordinary task") << "cancelable";
        QTest::newRow("a popup task") << "popup";
    }

    void cancelsByEsc()
    {
        QFETCH(QString, task);
        Session session(HOST_CHILD, {task});
        QVERIFY(session.waitFor("Step 3  "));
        QVERIFY(session.waitFor("Esc cancels"));
        QVERIFY(!session.isAsBefore());

        session.press(escape);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.isAsBefore());
        QVERIFY(session.screen().endsWith(erase));
        QVERIFY(!session.screen().contains("^[")); // the key was not shown
    }

    void fitsTheBarIntoTheTerminal()
    {
        Session session(HOST_CHILD, {"cancelable"});
        QVERIFY(session.waitFor("Step 10  "));

        session.setWidth(24);

        QVERIFY(session.waitFor(erase + "S...  0:0")); // and "0  Esc cancels", which are 23
    }

    void dropsAllOtherKeys_data()
    {
        QTest::addColumn<QByteArray>("keys");

        QTest::newRow("a letter") << QByteArray("q");
        QTest::newRow("an arrow") << QByteArray("\x1b[A");
        QTest::newRow("an arrow in the other mode") << QByteArray("\x1bOA");
        QTest::newRow("many") << QByteArray(300, 'x');
        QTest::newRow("an arrow that is held") << QByteArray("\x1b[A").repeated(25);
    }

    void dropsAllOtherKeys()
    {
        QFETCH(QByteArray, keys);
        Session session(HOST_CHILD, {"cancelable"});
        QVERIFY(session.waitFor("Step 3  "));

        session.press(keys);

        for (int i = 0; i < 20; ++i)
            QVERIFY(session.waitFor("Step "));
        session.press(keys + escape);
        QCOMPARE(session.finish(), 130);
        QVERIFY(!session.screen().contains(QString::fromUtf8(keys)));
    }

    void cancelsByCtrlC_data()
    {
        QTest::addColumn<QString>("task");
        QTest::addColumn<QByteArray>("start");

        QTest::newRow("a task") << "cancelable" << QByteArray("Step 3  ");
        QTest::newRow("a task whose bar is not shown yet") << "hidden" << QByteArray("Hidden");
        QTest::newRow("a task that cannot be cancelled") << "fixed" << QByteArray("Step 3  ");
        QTest::newRow("a task that is done by then") << "late" << QByteArray("Started");
        QTest::newRow("no task") << "idle" << QByteArray("Idle");
    }

    void cancelsByCtrlC()
    {
        QFETCH(QString, task);
        QFETCH(QByteArray, start);
        Session session(HOST_CHILD, {task});
        QVERIFY(session.waitFor(start));

        session.press(interrupt);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.isAsBefore());
        QVERIFY(!session.screen().contains("Not reached"));
    }

    void endsAtTheSecondCtrlC()
    {
        Session session(HOST_CHILD, {"deaf"});
        QVERIFY(session.waitFor("Started"));

        session.press(interrupt);
        QVERIFY(session.waitFor("Noted"));
        session.press(interrupt);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.isAsBefore());
    }

    void givesTheTerminalBackWhenItIsEnded_data()
    {
        QTest::addColumn<int>("signal");

        QTest::newRow("by request") << SIGTERM;
        QTest::newRow("with the terminal") << SIGHUP;
    }

    void givesTheTerminalBackWhenItIsEnded()
    {
        QFETCH(int, signal);
        Session session(HOST_CHILD, {"cancelable"});
        QVERIFY(session.waitFor("Step 3  "));

        QCOMPARE(kill(session.pid(), signal), 0);

        QCOMPARE(session.finish(), 128 + signal);
        QVERIFY(session.isAsBefore());
        QVERIFY(session.screen().endsWith(erase));
    }

    void givesTheTerminalBackWhenTheUserQuits()
    {
        Session session(HOST_CHILD, {"cancelable"});
        QVERIFY(session.waitFor("Step 3  "));

        session.press(quit);

        QCOMPARE(session.finish(), 128 + SIGQUIT);
        QVERIFY(session.isAsBefore());
    }

    void leavesIgnoredWhatWhoeverStartedItIgnores_data()
    {
        QTest::addColumn<QString>("signal");
        QTest::addColumn<QByteArray>("key");

        QTest::newRow("interrupt") << "INT" << interrupt;
        QTest::newRow("quit") << "QUIT" << quit;
    }

    void leavesIgnoredWhatWhoeverStartedItIgnores()
    {
        QFETCH(QString, signal);
        QFETCH(QByteArray, key);
        const QString script = "trap '' " + signal + "; exec \"$0\" cancelable";
        Session session("/bin/sh", {"-c", script, HOST_CHILD});
        QVERIFY(session.waitFor("Step 3  "));

        session.press(key);

        for (int i = 0; i < 20; ++i)
            QVERIFY(session.waitFor("Step "));
    }

    void givesTheTerminalBackWhileItIsStopped()
    {
        // By a shell that leaves the mode of the terminal to its children.
        const QString again = "echo stopped; read line; fg >/dev/null; ";
        Session session("/bin/sh", {"-mc", "\"$0\" cancelable; " + again + again, HOST_CHILD});
        QVERIFY(session.waitFor("Step 3  "));

        for (int time = 0; time < 2; ++time) {
            session.press(suspend);
            QVERIFY(session.waitFor("stopped"));
            QVERIFY(session.isAsBefore());
            session.press("\n");
            QVERIFY(session.waitFor("Esc cancels"));
            QVERIFY(session.waitFor("Esc cancels")); // by then the first line has been followed up
            QVERIFY(!session.isAsBefore());
        }

        session.press(escape);
        QCOMPARE(session.finish(), 130);
        QVERIFY(session.isAsBefore());
    }

    void goesOnInTheBackground_data()
    {
        QTest::addColumn<bool>("byUser");

        QTest::newRow("stopped by Ctrl-Z") << true;
        QTest::newRow("stopped by another program") << false;
    }

    void goesOnInTheBackground()
    {
        QFETCH(bool, byUser);
        Session session("/bin/sh",
                        {"-mc", "\"$0\" cancelable; bg >/dev/null; wait %1", HOST_CHILD});
        QVERIFY(session.waitFor("Step 3  "));
        const pid_t child = session.foreground();

        if (byUser)
            session.press(suspend);
        else
            QCOMPARE(kill(-child, SIGSTOP), 0);
        QTRY_VERIFY(session.foreground() != child);
        session.press("\n"); // which is not for it

        for (int i = 0; i < 300; ++i)
            QVERIFY(session.waitFor("Step "));
        if (byUser)
            QVERIFY(session.isAsBefore());
        QCOMPARE(kill(-child, SIGTERM), 0);
        QCOMPARE(session.finish(), 128 + SIGTERM);
    }

    void goesOnWhenTheTerminalWasSetMeanwhile()
    {
        // It cannot know that it was stopped so, and a read would wait for a line now.
        Session session("/bin/sh", {"-mc", "\"$0\" cancelable; stty icanon echo; echo stopped; fg",
                                    HOST_CHILD});
        QVERIFY(session.waitFor("Step 3  "));

        QCOMPARE(kill(-session.foreground(), SIGSTOP), 0);

        QVERIFY(session.waitFor("stopped"));
        for (int i = 0; i < 20; ++i)
            QVERIFY(session.waitFor("Step "));
    }

    void drawsNothingOnATerminalThatCannot()
    {
        Session session(HOST_CHILD, {"message"}, "dumb");

        QCOMPARE(session.finish(), 0);

        QCOMPARE(session.screen(), QString("A message\r\nAn output\r\n"));
    }

    void drawsNothingWhereThereIsNoTerminal()
    {
        const QTemporaryDir home;
        Program child(home.path());
        child.environment = QStringList("TERM=xterm");
        QProcess process;
        child.start(process, HOST_CHILD, {"message"});

        QVERIFY(child.finish(process));

        QCOMPARE(child.error, QString("A message\n"));
        QCOMPARE(child.output, QString("An output\n"));
        QCOMPARE(child.status, 0);
    }

    void cancelsTheCommandThatKelmRuns_data()
    {
        QTest::addColumn<QByteArray>("key");

        QTest::newRow("Esc") << escape;
        QTest::newRow("Ctrl-C") << interrupt;
    }

    void cancelsTheCommandThatKelmRuns()
    {
        QFETCH(QByteArray, key);
        const QTemporaryDir folder;
        const QString path = folder.filePath("watched.txt");
        // Out of the reach of the terminal, so that kelm alone can end it.
        Session session(KELM_PROGRAM, {"watch", path, "--", "setsid", "--wait", "sh", "-c",
                                       "echo \"child $$ of kelm\"; exec sleep 1000"});
        QVERIFY(session.waitFor("Ctrl-C ends it"));
        makeFile(path);
        QVERIFY(session.waitFor(" of kelm"));
        const int child = session.screen().section("child ", 1).section(' ', 0, 0).toInt();
        QVERIFY(child > 1);
        QVERIFY(session.waitFor("Running setsid  "));

        session.press(key);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.screen().endsWith("kelm watch: Cancelled\r\n"));
        QTRY_VERIFY(kill(child, 0) != 0 && errno == ESRCH);
    }

#ifdef KELMUTILS_PYTHON_HOME
    void cancelsTheTaskOfAScript_data()
    {
        QTest::addColumn<QByteArray>("key");

        QTest::newRow("Esc") << escape;
        QTest::newRow("Ctrl-C") << interrupt;
    }

    void cancelsTheTaskOfAScript()
    {
        QFETCH(QByteArray, key);
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("task.py"),
                                      "import time\n"
                                      "from KelmUtils import Utils\n"
                                      "progress = Utils.Progress(4, 'Working', True)\n"
                                      "progress.show()\n"
                                      "progress.tick(2)\n"
                                      "while progress.tick(0) and not progress.cancelled():\n"
                                      "    progress.show()\n"
                                      "    time.sleep(0.01)\n"
                                      "print 'cancelled', progress.cancelled()\n");
        Session session(KELM_PROGRAM, {"run", "--quiet", path});
        QVERIFY(session.waitFor("Working  ["));
        QVERIFY(session.waitFor(" 50 %  0:0"));
        QVERIFY(session.waitFor("Esc cancels"));

        session.press(key);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.screen().contains("cancelled True\r\n"));
        QVERIFY(session.screen().endsWith("kelm run: Cancelled\r\n"));
        QVERIFY(session.isAsBefore());
    }

    void endsAScriptWithoutATaskByCtrlC()
    {
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("endless.py"), "import sys\nprint 'begun'\n"
                                                                     "sys.stdout.flush()\n"
                                                                     "while True:\n    pass\n");
        Session session(KELM_PROGRAM, {"run", "--quiet", path});
        QVERIFY(session.waitFor("begun"));

        session.press(interrupt);

        QCOMPARE(session.finish(), 130);
        QVERIFY(session.screen().contains("KeyboardInterrupt: "));
        QVERIFY(session.screen().endsWith("kelm run: Cancelled\r\n"));
        QVERIFY(session.isAsBefore());
    }

    void endsAWaitOfAScriptByCtrlC()
    {
        const QTemporaryDir folder;
        const QString path =
            makeFile(folder.filePath("wait.py"), "from KelmUtils import Utils\nimport sys\n"
                                                 "process = Utils.Process('sleep', ['60'])\n"
                                                 "process.start()\ntry:\n"
                                                 "    print 'begun'\n    sys.stdout.flush()\n"
                                                 "    process.wait(False)\n"
                                                 "finally:\n    print 'cleaned up'\n");
        Session session(KELM_PROGRAM, {"run", "--quiet", path});
        QVERIFY(session.waitFor("begun"));

        session.press(interrupt);

        QCOMPARE(session.finish(), 130);
        QVERIFY2(session.screen().contains("cleaned up"), qPrintable(session.screen()));
    }

    void endsAScriptThatCatchesCtrlCByTheSecondOne()
    {
        const QTemporaryDir folder;
        const QString path =
            makeFile(folder.filePath("catches.py"),
                     "import sys, time\ndef show(text):\n    print text\n"
                     "    sys.stdout.flush()\nwhile True:\n    try:\n        show('begun')\n"
                     "        time.sleep(60)\n    except KeyboardInterrupt:\n"
                     "        show('caught')\n");
        Session session(KELM_PROGRAM, {"run", "--quiet", path});
        QVERIFY(session.waitFor("begun"));

        session.press(interrupt);
        QVERIFY2(session.waitFor("caught"), qPrintable(session.screen()));
        session.press(interrupt);

        QCOMPARE(session.finish(), 130);
        QVERIFY(!session.screen().contains("Cancelled"));
    }
#endif

    void fitsHistogramsIntoTheTerminal()
    {
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("a.csv"), "x\n0\n1\n2\n3\n4\n");
        Session session(KELM_PROGRAM, {"table", path, "--histogram", "--bins", "2"});

        QCOMPARE(session.finish(), 0);

        const QStringList lines = session.screen().split("\r\n");
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines[1].size() > 70 && lines[1].size() <= 80);
    }
};

QTEST_GUILESS_MAIN(tst_Terminal)
#include "tst_Terminal.moc"
