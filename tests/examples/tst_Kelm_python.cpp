#include "examples/console/History.h"

#include "tests/examples/Session.h"
#include "tests/support/Files.h"

/// A console on a terminal, in a home of its own.
class Console : public Session
{
public:
    explicit Console(const QTemporaryDir &home, const QStringList &arguments = {},
                     const char *kind = "xterm")
        : Session("/usr/bin/env",
                  QStringList{"HOME=" + home.path(), "XDG_CONFIG_HOME=" + home.path(),
                              "XDG_DATA_HOME=" + home.path(), "INPUTRC=/dev/null",
                              "EDITRC=/dev/null", KELM_PROGRAM, "python"} +
                      arguments,
                  kind)
    {}

    /// Waits for the prompt, types a line and returns whether \p answer follows it.
    bool answers(const QByteArray &line, const QByteArray &answer)
    {
        if (!waitFor(">>> "))
            return false;
        press(line + '\r');
        return waitFor("\n" + answer);
    }
};

/// Whether the first thread of a process waits for something.
static bool isAsleep(pid_t process)
{
    const QByteArray status = contentsOf(QStringLiteral("/proc/%1/stat").arg(process));
    return status.mid(status.lastIndexOf(')')).startsWith(") S");
}

class tst_Kelm_python : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsWhatIsTyped()
    {
        const QTemporaryDir home;
        Console console(home);

        QVERIFY(console.waitFor("Python 2.7 in kelm " KELM_VERSION));
        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.answers("1 / 0", "Traceback (most recent call last):\r\n"));
        QVERIFY(console.answers("for i in (1, 2):", "... "));
        console.press("    print i * 11\r");
        QVERIFY(console.waitFor("... "));
        console.press("\r");
        QVERIFY(console.waitFor("11\r\n22\r\n"));
        QVERIFY(console.answers("raw_input('name? ')", "name? "));
        console.press("Ada\r");
        QVERIFY(console.waitFor("'Ada'\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("\x04"); // Ctrl-D

        QCOMPARE(console.finish(), 0);
        QVERIFY(console.isAsBefore());
    }

    void endsWithTheStatusOfExit()
    {
        const QTemporaryDir home;
        Console console(home, {"--quiet"});
        QVERIFY(console.answers("import atexit; atexit.register(lambda: open('" +
                                    home.filePath("end").toUtf8() + "', 'w').close())",
                                "<function"));
        QVERIFY(console.waitFor(">>> "));

        console.press("exit(5)\r");

        QCOMPARE(console.finish(), 5);
        QVERIFY(QFileInfo::exists(home.filePath("end")));
        QVERIFY(!console.screen().contains("Python 2.7"));
    }

    void interruptsAStatement_data()
    {
        QTest::addColumn<QByteArray>("statement");

        QTest::newRow("a loop") << QByteArray(
            "while x: x[0] or sys.stdout.write('go') or x.insert(0, 1)\r\r");
        QTest::newRow("a process")
            << QByteArray("sys.stdout.write('go'); sys.stdout.flush(); Utils.Process('setsid', "
                          "['sleep', '30']).run()\r");
        QTest::newRow("a sleep") << QByteArray(
            "sys.stdout.write('go'); sys.stdout.flush(); time.sleep(60)\r");
    }

    void interruptsAStatement()
    {
        QFETCH(QByteArray, statement);
        const QTemporaryDir home;
        Console console(home);
        QVERIFY(console.waitFor(">>> "));
        console.press("import sys, time; from KelmUtils import Utils; x = [0]\r");
        QVERIFY(console.waitFor(">>> "));
        console.press(statement.replace("go') or", "go') or sys.stdout.flush() or"));
        QVERIFY(console.waitFor("\ngo"));
        QElapsedTimer timer;
        timer.start();

        console.press("\x03"); // Ctrl-C

        QVERIFY(console.waitFor("KeyboardInterrupt: The script was interrupted.\r\n"));
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("\x04");
        QCOMPARE(console.finish(), 0);
    }

    void dropsWhatWasTypedAtCtrlC()
    {
        const QTemporaryDir home;
        Console console(home);
        QVERIFY(console.answers("if 1:", "... "));
        console.press("    print 'block'\r");
        QVERIFY(console.waitFor("... "));
        console.press("    print 'line'\x03");
        QVERIFY(console.waitFor("KeyboardInterrupt\r\n"));

        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("\x04");

        QCOMPARE(console.finish(), 0);
        QVERIFY(!console.screen().contains("\nblock"));
    }

    void worksOnATerminalThatCannotDraw()
    {
        const QTemporaryDir home;
        Console console(home, {}, "dumb");
        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("if 1:\r");
        QVERIFY(console.waitFor("... "));
        console.press("\x03");
        QVERIFY(console.waitFor("KeyboardInterrupt\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("import sys, time; sys.stdout.write('go\\n'); time.sleep(60)\r");
        QVERIFY(console.waitFor("\ngo"));
        console.press("\x03");
        QVERIFY(console.waitFor("KeyboardInterrupt"));
        QVERIFY(console.waitFor(">>> "));
        console.press("exit(3)\r");

        QCOMPARE(console.finish(), 3);
    }

    void dropsALineAtCtrlCAtOnceAfterThePrompt_data()
    {
        QTest::addColumn<QByteArray>("before");

        QTest::newRow("one thread") << QByteArray("0");
        // The system may let it handle the signal.
        QTest::newRow("a thread of a script") << QByteArray(
            "import threading, time; t = threading.Thread(target=time.sleep, args=(60,)); "
            "t.daemon = True; t.start()");
    }

    void dropsALineAtCtrlCAtOnceAfterThePrompt()
    {
        QFETCH(QByteArray, before);
        const QTemporaryDir home;
        Console console(home, {}, "dumb");
        QVERIFY(console.waitFor(">>> "));
        console.press(before + '\r');

        for (int i = 0; i < 100; ++i) {
            QVERIFY(console.waitFor(">>"));
            console.press("\x03");
            QVERIFY2(console.waitFor("KeyboardInterrupt\r\n"), qPrintable(QString::number(i)));
        }

        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.waitFor(">>> "));
        console.press("\x04");
        QCOMPARE(console.finish(), 0);
    }

    void dropsALineAtCtrlCWhileThePromptIsWritten()
    {
        const QTemporaryDir home;
        const QString ran = home.filePath("ran");
        Console console(home, {}, "dumb");
        QVERIFY(console.waitFor(">>> "));
        console.press("\x13"); // Ctrl-S: what is written now waits
        console.press("open('" + ran.toUtf8() + "', 'w').close()\r");
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(ran), 60000);
        for (int i = 0; i < 10; ++i) {
            QTRY_VERIFY_WITH_TIMEOUT(isAsleep(console.pid()), 60000);
            QTest::qWait(10);
        }

        console.press("\x03"); // the terminal continues to write, too

        QVERIFY(console.waitFor("KeyboardInterrupt\r\n"));
        QVERIFY(console.answers("6 * 7", "42\r\n"));
    }

    void readsWhatAScriptHasLeftOfALine()
    {
        const QTemporaryDir home;
        Console console(home, {}, "dumb");
        QVERIFY(console.answers("import sys; sys.stdin.read(1)", ""));

        console.press("x6 * 7\r");

        QVERIFY(console.waitFor("'x'\r\n>>> 42\r\n"));
    }

    void restoresTheTerminalWhenItIsKilled()
    {
        const QTemporaryDir home;
        Console console(home);
        QVERIFY(console.answers("6 * 7", "42\r\n"));
        QVERIFY(console.waitFor(">>> "));

        QCOMPARE(kill(console.pid(), SIGTERM), 0);

        QCOMPARE(console.finish(), 128 + SIGTERM);
        QVERIFY(console.isAsBefore());
    }

#ifdef KELM_HAS_LIBEDIT
    void completesAtTab()
    {
        const QTemporaryDir home;
        Console console(home);
        QVERIFY(console.waitFor(">>> "));
        console.press("from KelmUtils import Utils\r");
        QVERIFY(console.waitFor(">>> "));
        console.press("Utils.File.isSam\t");
        QVERIFY(console.waitFor("ePath"));
        console.press("\t");
        QVERIFY(console.waitFor("isSamePath(a: Text, b: Text) -> bool\r\n"));
        console.press("('a', './a')\r");
        QVERIFY(console.waitFor("True\r\n>>> "));
        console.press("Utils.File.siz\te\t");
        console.press("\x15"); // drops the line
        console.press("Utils.File.si\t\t");
        QVERIFY(console.waitFor("size        sizeString\r\n"));
        console.press("\x03");
        QVERIFY(console.waitFor(">>> "));
        console.press("if 1:\r\tprint 9\r\r");
        QVERIFY(console.waitFor("9\r\n"));
    }

    void bringsBackEarlierLines()
    {
        const QTemporaryDir home;
        {
            Console console(home);
            QVERIFY(console.answers("6 * 7", "42\r\n"));
            QVERIFY(console.waitFor(">>> "));
            console.press("\x1b[A\r"); // up
            QVERIFY(console.waitFor("42\r\n>>> "));
            console.press("\x04");
            QCOMPARE(console.finish(), 0);
        }
        const QString path = home.filePath("Kelm/kelm/python_history");
        QCOMPARE(contentsOf(path), QByteArray("6 * 7\n"));
        QCOMPARE(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());

        Console again(home);
        QVERIFY(again.waitFor(">>> "));
        again.press("\x1b[A\r");
        QVERIFY(again.waitFor("42\r\n>>> "));
        again.press("\x04");
        QCOMPARE(again.finish(), 0);
    }
#endif

    void reportsAHistoryThatCannotBeKept()
    {
        const QTemporaryDir home;
        makeFile(home.filePath("Kelm"), "no folder");
        Console console(home);

        QVERIFY(console.answers("6 * 7", "The lines of this console cannot be kept in "));
        QVERIFY(console.waitFor("42\r\n"));
        QVERIFY(console.answers("7 * 7", "49\r\n"));
    }

    void keepsTheLastLinesOfALongHistory()
    {
        const QTemporaryDir home;
        QByteArray lines;
        for (int i = 0; i < 2500; ++i)
            lines += QByteArray::number(i) + '\n';
        const QString path = makeFile(home.filePath("history"), lines);

        Kelm::History history(path);
        QCOMPARE(history.lines().size(), 1000);
        QCOMPARE(history.lines().constLast(), QString("2499"));
        QVERIFY(history.append("last"));
        QVERIFY(history.append("last"));
        QVERIFY(history.append(" "));

        const Kelm::History again(path);
        QCOMPARE(again.lines().size(), 1001);
        QCOMPARE(again.lines().constFirst(), QString("1500"));
        QCOMPARE(again.lines().constLast(), QString("last"));
    }
};

QTEST_GUILESS_MAIN(tst_Kelm_python)
#include "tst_Kelm_python.moc"
