#include "tests/examples/Program.h"

#include "tests/support/Windows.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/// The commands run, eval and check.
class tst_Kelm_scripts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_kelm.environment.clear(); }

    void evaluates_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("an expression") << QStringList("1+1") << "2\n";
        QTest::newRow("with functions") << QStringList("sqrt(16) + sind(90)") << "5\n";
        QTest::newRow("text") << QStringList("'a' * 3") << "aaa\n";
        QTest::newRow("text of other letters") << QStringList(QString::fromUtf8("'ä' + 'ö'"))
            << QString::fromUtf8("äö\n");
        QTest::newRow("statements") << QStringList("x = 5") << "";
        QTest::newRow("several lines") << QStringList{"--", "print 'first'\nprint 'second'"}
            << "first\nsecond\n";
        QTest::newRow("a variable") << QStringList{"--variable", "x", "x = 5\ny = 6"} << "5\n";
        QTest::newRow("given numbers") << QStringList{"--set", "a=2.5", "--set", "b=2", "a * b"}
            << "5\n";
        QTest::newRow("a given text") << QStringList{"--set", "a=x=y", "a + '!'"} << "x=y!\n";
        QTest::newRow("after the mark") << QStringList{"--", "-3 * 2"} << "-6\n";
        // clang-format on
    }

    void evaluates()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, output);

        QVERIFY(m_kelm.run(QStringList("eval") + arguments));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void runsAScript()
    {
        const QString path = script("a.py", "import sys\nprint sys.argv[1:]\n");

        QVERIFY(m_kelm.run({"run", path, "--help", "-x", "two words"}));

        QCOMPARE(m_kelm.output, QString("['--help', '-x', 'two words']\n"));
        QCOMPARE(m_kelm.error, "Running the script \"" + path +
                                   "\"...\nThe script has finished.\nScriptExecuted: path " + path +
                                   ", result true\n");
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsTheOutcomeInOtherLanguages()
    {
        const QString path = script("a.py", "pass\n");

        QVERIFY(m_kelm.run({"run", "--language", "de", path}));

        QCOMPARE(m_kelm.error.section('\n', 1, 1), QString("Das Skript ist beendet."));
    }

    void runsQuietly()
    {
        QVERIFY(m_kelm.run({"run", "--quiet", script("a.py", "print 5\n")}));

        QCOMPARE(m_kelm.output, QString("5\n"));
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void tracesTheSignalsOfAScript()
    {
        const QString path = script("a.py", "from KelmUtils import Utils\n"
                                            "Utils.Settings('View').setValue('width', 800)\n");

        QVERIFY(m_kelm.run({"run", "--quiet", "--trace", path}));

        const QStringList lines = m_kelm.error.split('\n');
        QCOMPARE(lines.size(), 3);
        const QRegularExpression changed(
            "^trace: SettingChanged: collection, [0-9]+ receivers?, [0-9]+\\.[0-9] us$");
        const QRegularExpression executed(
            "^trace: ScriptExecuted: collection, 1 receiver, [0-9]+\\.[0-9] us$");
        QVERIFY2(changed.match(lines[0]).hasMatch(), qPrintable(lines[0]));
        QVERIFY2(executed.match(lines[1]).hasMatch(), qPrintable(lines[1]));
        QCOMPARE(m_kelm.status, 0);
    }

    void findsModulesBesideTheScript()
    {
        script("beside.py", "value = 7\n");

        QVERIFY(
            m_kelm.run({"run", "--quiet", script("a.py", "import beside\nprint beside.value\n")}));

        QCOMPARE(m_kelm.output, QString("7\n"));
        QVERIFY(!QFile::exists(m_folder.filePath("beside.pyc")));
    }

    void givesScriptsTheLibrary()
    {
        const QString path =
            script("a.py", "from KelmUtils import Utils\n"
                           "Utils.Settings('View').setInt('width', 800)\n"
                           "print Utils.StringTable.lookup('.Kelm.Console.msg.weight')\n");

        QVERIFY(m_kelm.run({"run", "--quiet", "--language", "en", path}));
        QCOMPARE(m_kelm.output, QString("A frame of %1 weighs %2 kg.\n"));
        QVERIFY(m_kelm.run({"settings", "get", "View/width"}));
        QCOMPARE(m_kelm.output, QString("800\n"));
    }

    void tellsOfAScriptThatFails_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QString>("reason");

        QTest::newRow("raises") << QByteArray("x = 1\nraise ValueError('bad')\n")
                                << "ValueError: bad";
        QTest::newRow("no syntax") << QByteArray("1 +\n") << "SyntaxError: invalid syntax";
        QTest::newRow("exits") << QByteArray("import sys\nsys.exit(0)\n") << "SystemExit: 0";
    }

    void tellsOfAScriptThatFails()
    {
        QFETCH(QByteArray, code);
        QFETCH(QString, reason);
        const QString path = script("a.py", code);

        QVERIFY(m_kelm.run({"run", path}));

        QCOMPARE(m_kelm.output, QString());
        QVERIFY2(m_kelm.error.contains(reason), qPrintable(m_kelm.error));
        QVERIFY(m_kelm.error.endsWith("ScriptExecuted: path " + path +
                                      ", result false\nkelm run: The script \"" + path +
                                      "\" has failed\n"));
        QCOMPARE(m_kelm.status, 1);
    }

    void printsErrorsAsJson()
    {
        const QString path = script("a.py", "print 'first'\ndef f():\n  return 1 / 0\nf()\n");

        QVERIFY(m_kelm.run({"run", "--quiet", "--json", path}));

        const QStringList lines = m_kelm.output.split('\n');
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines[0], QString("first"));
        const QJsonObject error = QJsonDocument::fromJson(lines[1].toUtf8()).object();
        QCOMPARE(error["type"].toString(), QString("ZeroDivisionError"));
        QCOMPARE(error["file"].toString(), path);
        QCOMPARE(error["line"].toInt(), 3);
        QCOMPARE(error["frames"].toArray().size(), 2);
        // Python has printed it once.
        const QString traceback = error["traceback"].toString();
        QCOMPARE(m_kelm.error, traceback + "kelm run: The script \"" + path + "\" has failed\n");
        QCOMPARE(m_kelm.status, 1);

        QVERIFY(m_kelm.run({"eval", "--json", "--", "1 / 0"}));
        const QJsonObject value = QJsonDocument::fromJson(m_kelm.output.toUtf8()).object();
        QCOMPARE(value["type"].toString(), QString("ZeroDivisionError"));
        QCOMPARE(m_kelm.error, QString("kelm eval: integer division or modulo by zero\n"));
        QCOMPARE(m_kelm.status, 1);

        QVERIFY(m_kelm.run({"eval", "--json", "1 + 1"}));
        QCOMPARE(m_kelm.output, QString("2\n"));
    }

    void endsAScriptAfterALimit()
    {
#ifdef _WIN32 // where a call that waits is not interrupted
        const QString path = script("a.py", "import time\nwhile True: time.sleep(0.01)\n");
#else
        const QString path = script("a.py", "import time\ntime.sleep(60)\n");
#endif

        QVERIFY(m_kelm.run({"run", "--quiet", "--language", "en", "--limit", "0.2", path}));
        const QString reason = "The script was ended after its time limit of 0.2 s.\n";
        QVERIFY2(m_kelm.error.contains("KeyboardInterrupt: " + reason), qPrintable(m_kelm.error));
        QVERIFY2(m_kelm.error.endsWith("kelm run: " + reason), qPrintable(m_kelm.error));
        QCOMPARE(m_kelm.status, 1);

        QVERIFY(m_kelm.run({"run", "--quiet", "--limit", "60", script("b.py", "print 5\n")}));
        QCOMPARE(m_kelm.output, QString("5\n"));
        QCOMPARE(m_kelm.status, 0);

        for (const QString wrong : {"0", "-1", "x", "nan", "1e300", "", "0.0005", "3000000"}) {
            QVERIFY(m_kelm.run({"run", "--limit=" + wrong, path}));
            QCOMPARE(m_kelm.error, QString("kelm run: --limit must be a number of seconds from "
                                           "0.001 to 2147483. See "
                                           "kelm run --help\n"));
            QCOMPARE(m_kelm.status, 2);
        }
    }

    void checksScripts()
    {
        const QString good = script("good.py", "raise ValueError\n");
        const QString bad = script("bad.py", "x = 1\nif x\n");

        QVERIFY(m_kelm.run({"check", good, script("empty.py", "")}));
        QCOMPARE(m_kelm.error + m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"check", good, bad}));
        QCOMPARE(m_kelm.error, "kelm check: \"" + bad + "\": invalid syntax; line: 2; column: 5\n");
        QCOMPARE(m_kelm.status, 1);
    }

    void checksForCodingLines_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("isGood");

        QTest::newRow("none") << QByteArray("print 'ü'\n") << false;
        QTest::newRow("in a comment alone") << QByteArray("x = 1 # ü\n") << false;
        QTest::newRow("in the first line") << QByteArray("# coding: utf-8\nprint 'ü'\n") << true;
        QTest::newRow("in the second line")
            << QByteArray("#!/bin/x\n# -*- coding: utf-8 -*-\nprint 'ü'\n") << true;
        QTest::newRow("in the third line") << QByteArray("#\n#\n# coding: utf-8\n'ü'\n") << false;
        QTest::newRow("in the second line, after an empty one")
            << QByteArray("\r\n# coding: utf-8\r\n'ü'\n") << true;
        QTest::newRow("in the second line, after code")
            << QByteArray("x = 1\n# coding: utf-8\n'ü'\n") << false;
        QTest::newRow("a byte order mark") << QByteArray("\xef\xbb\xbfprint 'ü'\n") << true;
    }

    void checksForCodingLines()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, isGood);
        const QString path = script("coding.py", contents);

        QVERIFY(m_kelm.run({"check", path}));

        QCOMPARE(m_kelm.error,
                 isGood ? QString()
                        : "kelm check: \"" + path + "\": It is not ASCII and has no coding line\n");
        QCOMPARE(m_kelm.status, isGood ? 0 : 1);
        QVERIFY(m_kelm.run({"run", "--quiet", path}));
        QCOMPARE(m_kelm.status, isGood ? 0 : 1);
    }

    void goesOnItsTour()
    {
        SKIP_ON_WINDOWS("it runs a script of a shell");
        const QString root = QStringLiteral(KELMUTILS_SAMPLES "/../..");
        const QTemporaryDir home;
        Program tour(home.path());
        QProcess process;
        tour.start(process, root + "/examples/scripts/tour", {KELM_PROGRAM, m_folder.path()});

        QVERIFY(tour.finish(process));

        QCOMPARE(tour.status, 0);
        for (const char *text : {
                 "=== A script",
                 "  load_curve.csv   35.2 KB\n",
                 "  runs: 1  recent: frame.xml, bolts.csv\n",
                 "  wc -l gives 1201, with status 0\n",
                 "  1450 lines in 5 files\n",
                 "   11          300        210.8         95.52  ultrasonic",
                 "=== Tables of other programs",
                 " Zeit{s}   Pr\u00fcfraum{\u00b0"
                 "C}   Probe{\u00b0"
                 "C}\n",
                 "units in row 2, data from row 3, decimal comma\n",
                 "ground flush;\u21b5second test: \"no indication\"\n",
                 "Force{kN}             1200",
                 "\n355\n",
                 "Type      Frame\n",
                 "Ein Rahmen aus S235 wiegt 812 kg.\n",
                 "Tour/last=bolts.csv\n",
                 "16 " /* lines of the watched file */,
             })
            QVERIFY2(tour.output.contains(text), text);
        for (const char *text : {"SettingChanged: key Tour/runs, value 1\n",
                                 "SettingChanged: key MRU/samples, value ", "result true\n"})
            QVERIFY2(tour.error.contains(text), text);
        QVERIFY(QDir(home.path()).isEmpty()); // the user's settings are not touched
        QVERIFY(!QFile::exists(m_folder.filePath("tour")));
    }

    void demoTellsHowTheWorkbenchIsStarted_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("wayland");
        QTest::addColumn<QString>("workbench");
        QTest::addColumn<bool>("isTold");

        // Any program stands for it: it is not started.
        // clang-format off
        QTest::newRow("with a display") << ":0" << "" << KELM_PROGRAM << true;
        QTest::newRow("with Wayland") << "" << "wayland-0" << KELM_PROGRAM << true;
        QTest::newRow("without a display") << "" << "" << KELM_PROGRAM << false;
        QTest::newRow("not built") << ":0" << "" << KELM_PROGRAM "-none" << false;
        // clang-format on
    }

    void demoTellsHowTheWorkbenchIsStarted()
    {
        QFETCH(QString, display);
        QFETCH(QString, wayland);
        QFETCH(QString, workbench);
        QFETCH(bool, isTold);
        SKIP_ON_WINDOWS("it runs a script of a shell");
        Program demo(m_home.path());
        demo.environment = QStringList{"DISPLAY=" + display, "WAYLAND_DISPLAY=" + wayland};
        QProcess process;
        const QString root = QStringLiteral(KELMUTILS_SAMPLES "/../..");
        demo.start(process, root + "/examples/scripts/window", {workbench});

        QVERIFY(demo.finish(process));

        QCOMPARE(demo.status, 0);
        const QString line = "$ " + workbench + " examples/data/load_curve.csv\n";
        QCOMPARE(demo.output.endsWith(line), isTold);
        QCOMPARE(demo.output.isEmpty(), !isTold);
        const QByteArray lastOfDemo = contentsOf(root + "/demo").trimmed().split('\n').last();
        QVERIFY(lastOfDemo.startsWith("examples/scripts/window build/default/bin/"));
    }

    void demoBuildsWhatItShows_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("wayland");
        QTest::addColumn<QString>("target");

        QTest::newRow("with a display") << ":0"
                                        << ""
                                        << "demo_programs";
        QTest::newRow("with Wayland") << ""
                                      << "wayland-0"
                                      << "demo_programs";
        QTest::newRow("without a display") << ""
                                           << ""
                                           << "kelm";
    }

    /// In a folder in which all that it runs only prints that.
    void demoBuildsWhatItShows()
    {
        SKIP_ON_WINDOWS("it is a script for a shell");
        QFETCH(QString, display);
        QFETCH(QString, wayland);
        QFETCH(QString, target);
        const QTemporaryDir folder;
        const QString demo = folder.filePath("demo");
        QVERIFY(QFile::copy(QStringLiteral(KELMUTILS_SAMPLES "/../../demo"), demo));
        for (const char *const name :
             {"tools/setup", "bin/cmake", "examples/scripts/tour", "examples/scripts/window"})
        {
            const QString path =
                makeFile(folder.filePath(name), "#!/bin/sh\necho \"${0##*/} $*\"\n");
            QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner));
        }
        Program program(m_home.path());
        program.environment = QStringList{"DISPLAY=" + display, "WAYLAND_DISPLAY=" + wayland,
                                          "PATH=" + folder.filePath("bin") + ':' + qgetenv("PATH")};
        QProcess process;
        program.start(process, demo, {});

        QVERIFY(program.finish(process));

        QCOMPARE(program.status, 0);
        const QStringList lines = program.output.trimmed().split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.at(0), QString("setup "));
        QVERIFY(lines.at(2).startsWith("cmake --build"));
        QVERIFY(lines.at(2).endsWith(" --target " + target));
        QVERIFY(lines.at(4).startsWith("window "));
    }

    void endsQuietlyWhenNobodyReadsTheScriptsOutput()
    {
        SKIP_ON_WINDOWS("it runs a script of a shell");
        const QString path = script("a.py", "for i in range(100000):\n    print i\n");

        QVERIFY(m_kelm.runShell("{ \"$KELM\" run --quiet '" + path + "'; echo $? >&2; } | true"));

        QCOMPARE(m_kelm.error, QString("141\n"));
    }

    void endsQuietlyWhenNobodyReadsWhatComesBehindAChildProcess()
    {
        SKIP_ON_WINDOWS("it runs a script of a shell");
        // Writing to a child turns the signal of closed pipes off.
        const QString code = "from KelmUtils import Utils; p = Utils.Process('cat'); p.start(); "
                             "p.sendData('a', 1000); p.kill(); p.wait(); x = 'y' * 200000";
        Program kelm(m_home.path());
        kelm.environment = QStringList("CODE=" + code);

        QVERIFY(kelm.runShell("{ \"$KELM\" eval --variable x \"$CODE\"; echo $? >&2; } | true"));

        QCOMPARE(kelm.error, QString("141\n"));
    }

    void tellsWhenTheOutputCannotBeWritten_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("error");

        const QString path = script("a.py", "print 'x'\n");
        const QString unknown("kelm run: Cannot write the output\n");
        // clang-format off
        QTest::newRow("of a script") << "run --quiet '" + path + "' >/dev/full" << unknown;
        QTest::newRow("of a script, closed") << "run --quiet '" + path + "' >&-" << unknown;
        QTest::newRow("a value") << "eval 1 >/dev/full"
            << "kelm eval: Cannot write the output: No space left on device\n";
        // clang-format on
    }

    void tellsWhenTheOutputCannotBeWritten()
    {
        QFETCH(QString, command);
        QFETCH(QString, error);

        SKIP_ON_WINDOWS("there is no device that is always full");
        QVERIFY(m_kelm.runShell("\"$KELM\" " + command));

        QCOMPARE(m_kelm.error, error);
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString folder = m_folder.path();
        const QString text = makeFile(folder + "/a.txt", "print 1\n");
        const QString bytes = makeFile(folder + "/b.py", "x = '\xff'\n");
        // clang-format off
        QTest::newRow("syntax") << QStringList{"eval", "1+"} << 1
            << "kelm eval: invalid syntax; line: 6; column: 10";
        QTest::newRow("name") << QStringList{"eval", "width"} << 1
            << "kelm eval: name 'width' is not defined";
        QTest::newRow("no such variable") << QStringList{"eval", "--variable", "y", "x = 1"} << 1
            << "kelm eval: There is no value in \"y\"";
        QTest::newRow("no such variable in an expression") << QStringList{"eval", "--variable", "v", "1+1"} << 1
            << "kelm eval: There is no value in \"v\"";
        QTest::newRow("no value to set") << QStringList{"eval", "--set", "y", "1"} << 2
            << "kelm eval: --set must be NAME=VALUE. See kelm eval --help";
        QTest::newRow("no name to set") << QStringList{"eval", "--set", "=y", "1"} << 2
            << "kelm eval: --set must be NAME=VALUE. See kelm eval --help";
        QTest::newRow("two texts") << QStringList{"eval", "1", "2"} << 2
            << "kelm eval: The arguments must be CODE. See kelm eval --help";
        QTest::newRow("no script") << QStringList("run") << 2
            << "kelm run: The arguments must be SCRIPT [ARGUMENT...]. See kelm run --help";
        QTest::newRow("missing script") << QStringList{"run", folder + "/no.py"} << 1
            << "kelm run: The file \"" + folder + "/no.py\" does not exist.";
        QTest::newRow("folder") << QStringList{"run", folder} << 1
            << "kelm run: \"" + folder + "\" is a folder, not a file.";
        QTest::newRow("another language") << QStringList{"run", text} << 1
            << "kelm run: Nothing here runs \"" + text + "\"";
        QTest::newRow("nothing to check") << QStringList("check") << 2
            << "kelm check: The arguments must be SCRIPT.... See kelm check --help";
        QTest::newRow("missing script to check") << QStringList{"check", folder + "/no.py"} << 1
            << "kelm check: The file \"" + folder + "/no.py\" does not exist.";
        QTest::newRow("no text") << QStringList{"check", bytes} << 1
            << "kelm check: The file \"" + bytes + "\" is not valid UTF-8.";
        for (const char *command : {"eval", "run", "check"}) {
            QTest::newRow(qPrintable(QString("no Python for ") + command))
                << QStringList{command, "--language", "en", "--python-dir", "/no", script("c.py", "1")} << 1
                << QString("kelm %1: Python cannot be started.").arg(command);
        }
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(arguments));

        QCOMPARE(m_kelm.error, error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

    void findsPythonByTheEnvironment()
    {
        m_kelm.environment = QStringList("PYTHON_DIR=/no");
        QVERIFY(m_kelm.run({"eval", "1"}));
        QCOMPARE(m_kelm.status, 1);

        QVERIFY(m_kelm.run({"eval", "--python-dir", KELMUTILS_PYTHON_HOME, "1"}));
        QCOMPARE(m_kelm.output, QString("1\n"));
    }

    void findsTheHomeByTheEnvironment()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        // The start-up program of the home may refuse.
        const QString program = makeFile(m_folder.filePath("home/solver/pyInit"),
                                         "#!/bin/sh\necho 'no licence'\nexit 1\n");
        QFile::setPermissions(program, QFile::Permissions(0x7755));
        m_kelm.environment = QStringList("KELM_HOME_DIR=" + m_folder.filePath("home"));

        QVERIFY(m_kelm.run({"eval", "--language", "en", "1"}));

        QCOMPARE(m_kelm.error, QString("kelm eval: Python cannot be started. no licence\n"));
        QCOMPARE(m_kelm.status, 1);
    }

    void doesAllThatScriptsHaveLeftToTheEnd_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QString>("stored"); // as the value of the setting "End/value"

        const QByteArray start = "import atexit, threading, time\nfrom KelmUtils import Utils\n"
                                 "def store(value):\n"
                                 " Utils.Settings().setString('End/value', value)\n";
        const QByteArray thread = "def f():\n for i in range(10):\n"
                                  "  store(str(i))\n  time.sleep(0.02)\n"
                                  "threading.Thread(target=f).start()\n";
        // What a thread or function uses was made after the manager of the scripts.
        const QByteArray files =
            "import os, shutil, tempfile\n"
            "def g():\n"
            " folder = tempfile.mkdtemp()\n path = os.path.join(folder, 'a.txt')\n"
            " wasWritten = Utils.File.writeSafely(path, 'x')\n"
            " found = len(Utils.File.search(folder, '*.txt'))\n"
            " time = Utils.File.timestampString(path) != ''\n"
            " shutil.rmtree(folder)\n"
            " store('%s %s %s' % (wasWritten, found, time))\n";

        for (const char *const command : {"run", "python", "eval"}) {
            const auto row = [&](const char *name, const QByteArray &code, const char *stored) {
                QTest::addRow("%s: %s", command, name)
                    << QString(command) << start + code << QString(stored);
            };
            row("a thread stores", "store('first')\n" + thread, "9");
            row("a thread is the first to store", thread, "9");
            row("a function stores", "store('first')\natexit.register(store, 'end')\n", "end");
            row("a function is the first to store", "atexit.register(store, 'end')\n", "end");
            row("a function uses files", files + "atexit.register(g)\n", "True 1 True");
            row("a thread uses files", files + "threading.Thread(target=g).start()\n",
                "True 1 True");
        }
    }

    void doesAllThatScriptsHaveLeftToTheEnd()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, code);
        QFETCH(QString, stored);

        if (command == "run")
            QVERIFY(m_kelm.run({"run", script("left.py", code)}));
        else if (command == "eval")
            QVERIFY(m_kelm.run({"eval", "--", QString::fromUtf8(code)}));
        else
            QVERIFY(m_kelm.runWithInput({"python"}, code));

        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"settings", "get", "End/value"}));
        QCOMPARE(m_kelm.output, stored + '\n');
        QVERIFY(m_kelm.run({"settings", "remove", "End/value"}));
        QCOMPARE(m_kelm.status, 0);
    }

private:
    QString script(const QString &name, const QByteArray &code) const
    {
        return makeFile(m_folder.filePath(name), code);
    }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_scripts)
#include "tst_Kelm_scripts.moc"
