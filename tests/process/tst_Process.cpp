#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "utils/files/LogFile.h"

#include <QtTest>

#include <memory>
#include <type_traits>

using Utils::Process;

using Variables = QMap<Data::String, Data::String>;

/// Runs the process to its end.
static void run(Process &process)
{
    QVERIFY2(process.start(), process.errorMessage().c_str());
    QVERIFY(process.wait(false));
}

class tst_Process : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isIdleAtFirst()
    {
        Process process;

        QVERIFY(!process.isRunning());
        QVERIFY(process.normalExit());
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.errorMessage(), Data::String("Unknown error"));
        QCOMPARE(process.getPID(), qint64(0));
        QCOMPARE(process.output(), Data::String());
        QCOMPARE(process.recentOutput(), Data::String());
        QCOMPARE(process.fullCommand(), Data::String());
        QCOMPARE(process.info(), Data::String());
        QVERIFY(qProcess(process));
        QCOMPARE(qProcess(process)->processChannelMode(), QProcess::MergedChannels);
        process.kill();
    }

    void isNotCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<Process>);
        QVERIFY(!std::is_copy_assignable_v<Process>);
        QCOMPARE(int(Process::KillDefault), 0);
        QCOMPARE(int(Process::KillSingle), 1);
        QCOMPARE(int(Process::KillTree), 2);
        QCOMPARE(sizeof(Process::KillModes), std::size_t(4));
    }

    // Commands

    void quotesBlanksInTheFullCommand_data()
    {
        QTest::addColumn<Data::String>("command");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Data::String>("text");

        const auto row = [](const char *name, const char *command, const QStringList &arguments,
                            const char *text) {
            QTest::newRow(name) << Data::String(command) << arguments << Data::String(text);
        };
        // clang-format off
        row("blanks", "C:/a b/x.exe", {"-f", "c d"}, "\"C:/a b/x.exe\" -f \"c d\"");
        row("none", "x", {"-f", "c"}, "x -f c");
        row("no arguments", "x", {}, "x");
        row("an empty argument", "x", {"", "y"}, "x  y");
        row("a blank alone", "x", {" "}, "x \" \"");
        row("other white space", "x\ty", {"a\nb"}, "x\ty a\nb");
        row("quotes are not escaped", "x", {"a \"b", "\"c\"", "d\\ e"}, "x \"a \"b\" \"c\" \"d\\ e\"");
        row("no command", "", {"a"}, " a");
        row("what looks like a place", "%1", {"%2 %1", "%3"}, "%1 \"%2 %1\" %3");
        // clang-format on
    }

    void quotesBlanksInTheFullCommand()
    {
        QFETCH(Data::String, command);
        QFETCH(QStringList, arguments);
        QFETCH(Data::String, text);
        const Process made(command, arguments);
        Process set("other", {"other"});

        set.setCommand(command);
        set.setArguments(arguments);

        QCOMPARE(made.fullCommand(), text);
        QCOMPARE(set.fullCommand(), text);
        QCOMPARE(set.info(), text);
    }

    void handsArgumentsOverAsTheyAre()
    {
        const QStringList arguments = {"a b", "\"", "$HOME", "", "%1", "\u00e4", "*"};
        Process process("/bin/sh", shellArguments("printf '[%s]' \"$@\"", arguments));

        run(process);

        QCOMPARE(process.output(), Data::String("[" + arguments.join("][") + "]"));
    }

    void startsInItsWorkingFolder()
    {
        const QTemporaryDir folder;
        const QString path = QFileInfo(folder.path()).canonicalFilePath();
        Process process("/bin/sh", shellArguments("pwd -P"));

        process.setWorkingDirectory(path);
        run(process);

        QCOMPARE(process.output(), Data::String(path + "\n"));
    }

    void failsToStart_data()
    {
        QTest::addColumn<Data::String>("command");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<Data::String>("message");

        QTest::newRow("no command")
            << Data::String() << QString() << Data::String("No program defined");
        QTest::newRow("a missing path") << Data::String("/missing/program") << QString()
                                        << Data::String("execvp: No such file or directory");
        QTest::newRow("a missing name") << Data::String("missing program") << QString()
                                        << Data::String("execvp: No such file or directory");
        QTest::newRow("a folder") << Data::String("/") << QString()
                                  << Data::String("execvp: Permission denied");
        QTest::newRow("a missing folder to run in")
            << Data::String("/bin/sh") << "/missing"
            << Data::String("chdir: No such file or directory");
    }

    void failsToStart()
    {
        QFETCH(Data::String, command);
        QFETCH(QString, folder);
        QFETCH(Data::String, message);
        Process process(command, QStringList("x"));
        process.setWorkingDirectory(folder);

        QVERIFY(!process.start());

        QCOMPARE(process.errorMessage(), message);
        QVERIFY(!process.isRunning());
        QCOMPARE(process.getPID(), qint64(0));
        QCOMPARE(process.output(), Data::String());
        QVERIFY(process.wait(false));
    }

    void tellsHowItEnded_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("isNormal");

        QTest::newRow("well") << QByteArray("exit 0") << 0 << true;
        QTest::newRow("with a code") << QByteArray("exit 42") << 42 << true;
        QTest::newRow("with the largest code") << QByteArray("exit 255") << 255 << true;
        QTest::newRow("killed") << QByteArray("kill -9 $$") << 9 << false;
        QTest::newRow("ended") << QByteArray("kill -TERM $$") << 15 << false;
    }

    void tellsHowItEnded()
    {
        QFETCH(QByteArray, script);
        QFETCH(int, exitCode);
        QFETCH(bool, isNormal);
        Process process("/bin/sh", shellArguments(script));

        run(process);

        QVERIFY(!process.isRunning());
        QCOMPARE(process.exitCode(), exitCode);
        QCOMPARE(process.normalExit(), isNormal);
        if (!isNormal)
            QCOMPARE(process.errorMessage(), Data::String("Process crashed"));
        QCOMPARE(process.getPID(), qint64(0));
    }

    void tellsThatItRuns()
    {
        Process process("/bin/sh", shellArguments("echo $$; read line"));
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "\n"));

        QVERIFY(process.isRunning());
        QVERIFY(!process.normalExit()); // not yet
        QCOMPARE(Data::String(QString::number(process.getPID()) + "\n"), process.output());
        QCOMPARE(process.info(), process.fullCommand() +
                                     "\npid: " + Data::String(QString::number(process.getPID())));

        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));
        QCOMPARE(process.info(), process.fullCommand());
    }

    void runsOneProgramAfterTheOther()
    {
        Process process("/bin/sh", shellArguments("echo first; exit 3"));
        run(process);
        QCOMPARE(process.exitCode(), 3);

        process.setArguments(shellArguments("echo second"));
        run(process);

        QCOMPARE(process.output(), Data::String("second\n"));
        QCOMPARE(process.recentOutput(), Data::String("second\n"));
        QCOMPARE(process.exitCode(), 0);
        process.setCommand("/missing");
        QVERIFY(!process.start());
        QCOMPARE(process.output(), Data::String());
    }

    void emptiesTheOutputWhenItIsStartedWhileItRuns()
    {
        Process process("/bin/sh", shellArguments("echo first; read line; echo second"));
        QVERIFY(process.start());
        const qint64 pid = process.getPID();
        QVERIFY(waitForOutput(process, "first\n"));

        QTest::ignoreMessage(QtWarningMsg, "QProcess::start: Process is already running");
        QVERIFY(process.start());

        QCOMPARE(process.getPID(), pid);
        QCOMPARE(process.output(), Data::String());
        QCOMPARE(process.recentOutput(), Data::String());
        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));
        QCOMPARE(process.output(), Data::String("second\n"));
    }

    // Output

    void mergesTheOutputInItsOrder()
    {
        Process process("/bin/sh", shellArguments("for i in 1 2 3 4 5; do\n"
                                                  "    echo out$i\n"
                                                  "    echo error$i >&2\n"
                                                  "done"));

        run(process);

        QCOMPARE(process.output(), Data::String("out1\nerror1\nout2\nerror2\nout3\nerror3\n"
                                                "out4\nerror4\nout5\nerror5\n"));
    }

    void givesTheRecentOutputOnce()
    {
        Process process("/bin/sh", shellArguments("echo a; read line; echo b"));
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "a\n"));

        QCOMPARE(process.recentOutput(), Data::String("a\n"));
        QCOMPARE(process.recentOutput(), Data::String());
        QCOMPARE(process.output(), Data::String("a\n"));
        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));
        QCOMPARE(process.recentOutput(), Data::String("b\n"));
        QCOMPARE(process.recentOutput(), Data::String());
        QCOMPARE(process.output(), Data::String("a\nb\n"));
    }

    void givesHalfALineToo()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("printf half; sleep 60"));
        marked.mark(process);
        QVERIFY(process.start());

        QVERIFY(waitForOutput(process, "half"));

        QCOMPARE(process.recentOutput(), Data::String("half"));
        QVERIFY(process.isRunning());
        process.kill();
        QVERIFY(process.wait(false));
        QCOMPARE(process.output(), Data::String("half"));
    }

    void putsTogetherACharacterThatComesInPieces()
    {
        Process process(
            "/bin/sh",
            shellArguments("printf 'a\\303'; read line; printf '\\244b\\n'; printf '\\360'"));
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        process.setLogFile(&log, true);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "a"));

        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));

        const Data::String text("a\u00e4b\n\ufffd"); // the last one is not whole
        QCOMPARE(process.output(), text);
        QCOMPARE(process.recentOutput(), text);
        QCOMPARE(contents(log), text.toUtf8());
        process.setArguments(shellArguments("printf '\\244'"));
        run(process);
        QCOMPARE(process.output(), Data::String("\ufffd"));
    }

    void takes100MB_data()
    {
        QTest::addColumn<bool>("keepOutput");

        QTest::newRow("kept") << true;
        QTest::newRow("not kept") << false;
    }

    void takes100MB()
    {
        QFETCH(bool, keepOutput);
        const int lines = 10 * 1000 * 1000;
        Process process("/bin/sh", shellArguments("yes 123456789 | head -n 10000000; echo last"));
        process.setLogFile(nullptr, keepOutput);

        run(process);

        QCOMPARE(process.exitCode(), 0);
        if (keepOutput) {
            const Data::String output = process.output();
            QCOMPARE(output.size(), 10 * lines + 5);
            QVERIFY(output == QString("123456789\n").repeated(lines) + "last\n");
            QVERIFY(process.recentOutput() == output);
        } else {
            QCOMPARE(process.output(), Data::String());
            QCOMPARE(process.recentOutput(), Data::String("last\n"));
        }
    }

    void keepsTheLastLineOnlyWithoutItsOutput()
    {
        Process process("/bin/sh",
                        shellArguments("printf 'a\\nb\\n'; read line; printf 'c\\r\\n\\rd'"));
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        process.setLogFile(&log, false);
        QVERIFY(process.start());
        QTRY_COMPARE_WITH_TIMEOUT(contents(log), QByteArray("a\nb\n"), 60000);

        QCOMPARE(process.output(), Data::String());
        QCOMPARE(process.recentOutput(), Data::String("b\n"));
        QCOMPARE(process.recentOutput(), Data::String());

        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));
        QCOMPARE(process.output(), Data::String());
        QCOMPARE(process.recentOutput(), Data::String("d"));
        QCOMPARE(contents(log), QByteArray("a\nb\nc\r\n\rd"));
    }

    void writesToItsLogToo()
    {
        Process process("/bin/sh", shellArguments("echo a; echo b >&2"));
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        log.append("before:", false);
        process.setLogFile(&log, true);

        run(process);

        QCOMPARE(process.output(), Data::String("a\nb\n"));
        QCOMPARE(contents(log), QByteArray("before:a\nb\n"));
        process.setLogFile(nullptr, true);
        run(process);
        QCOMPARE(contents(log), QByteArray("before:a\nb\n"));
    }

    /// Bytes that do not complete a character are no chunk: their time stamp would split a line.
    void writesNoEmptyEntries()
    {
        Process process("/bin/sh", shellArguments("printf '\\303'; read line; printf '\\244'"));
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        log.setTimestamp(true);
        process.setLogFile(&log, true);
        QSignalSpy ready(process.object(), SIGNAL(readyReadStandardOutput()));
        QVERIFY(process.start());
        QTRY_VERIFY_WITH_TIMEOUT(ready.count() > 0, 60000);

        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));

        QCOMPARE(contents(log).size(), int(qstrlen("hh:mm:ss.zzz: \xc3\xa4")));
    }

    // Input

    void sendsTextToItsProgram()
    {
        Process process("/bin/cat");
        QVERIFY(process.start());

        QVERIFY(process.sendData("a\u00e4\U0001f600\n", 60000));
        QVERIFY(waitForOutput(process, "\n"));
        QVERIFY(process.sendData("", 0));
        QVERIFY(!process.sendData("", 100)); // nothing to write
        QVERIFY(process.sendData("b", 0));
        qProcess(process)->closeWriteChannel();
        QVERIFY(process.wait(false));

        QCOMPARE(process.output(), Data::String("a\u00e4\U0001f600\nb"));
        QCOMPARE(process.exitCode(), 0);
    }

    void sendsMoreThanAPipeHolds()
    {
        Process process("/bin/sh", shellArguments("wc -c"));
        QVERIFY(process.start());
        const int size = 3 * 1000 * 1000;

        QVERIFY(process.sendData(Data::String(QString(size, 'x')), 60000));
        qProcess(process)->closeWriteChannel();
        QVERIFY(process.wait(false));

        QCOMPARE(process.output().trimmed().toInt(), size);
    }

    void tellsOfTextThatWasNotWrittenWhole()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        const Data::String text(QString(1000 * 1000, 'x'));

        QVERIFY(!process.sendData(text, 200)); // the pipe accepts the beginning

        QVERIFY(process.isRunning());
        QVERIFY(qProcess(process)->bytesToWrite() > 0);
        QVERIFY(qProcess(process)->bytesToWrite() < text.size());
        process.kill();
        QVERIFY(process.wait(false));
    }

    void tellsOfTextWhoseReaderHasEnded()
    {
        Process process("/bin/sh", shellArguments("read line; exit 3"));
        QVERIFY(process.start());

        QVERIFY(!process.sendData(Data::String("line\n" + QString(1000 * 1000, 'x')), -1));

        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), 3);
    }

    void sendsNothingWhenNothingRuns()
    {
        const Process process("/bin/cat");
        const char *const warning = "QIODevice::write (QProcess): device not open";

        QTest::ignoreMessage(QtWarningMsg, warning);
        QVERIFY(process.sendData("a", 0));
        QTest::ignoreMessage(QtWarningMsg, warning);
        QVERIFY(!process.sendData("a", 10));
    }

    void failsToSendWhatIsNotTaken()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());

        // More than a pipe holds without a reader.
        QVERIFY(process.sendData(Data::String(QString(16 * 1024 * 1024, 'x')), 0));
        for (int i = 0; i < 1000 && process.sendData("", 10); ++i) {
        }

        QVERIFY(process.isRunning());
        QVERIFY(qProcess(process)->bytesToWrite() > 0);
        process.kill();
        QVERIFY(process.wait(false));
    }

    // Environment

    void setsVariables_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("old");
        QTest::addColumn<Data::String>("value");
        QTest::addColumn<bool>("keepPath");
        QTest::addColumn<Data::String>("result");

        const auto row = [](const char *title, const char *name, const char *old, const char *value,
                            bool keepPath, const char *result) {
            QTest::newRow(title) << QByteArray(name) << QByteArray(old) << Data::String(value)
                                 << keepPath << Data::String(result);
        };
        for (const char *const name : {"PATH", "LD_LIBRARY_PATH"}) {
            const QByteArray percents = '%' + QByteArray(name) + '%';
            const QByteArray dollar = '$' + QByteArray(name);
            const auto path = [&](const char *title, const QByteArray &value, bool keepPath,
                                  const char *result, const char *old = "/a:/b") {
                row(qPrintable(QString("%1, %2").arg(name, title)), name, old, value, keepPath,
                    result);
            };
            // clang-format off
            path("kept", "/opt", true, "/opt;/a:/b");
            path("not kept", "/opt", false, "/opt");
            path("named, kept", "x;" + percents + ";y", true, "x;/a:/b;y");
            path("named, not kept", "x;" + percents + ";y", false, "x;/a:/b;y");
            path("with a dollar, kept", "x:" + dollar + ":y", true, "x:/a:/b:y");
            path("with a dollar, not kept", "x:" + dollar + ":y", false, "x:/a:/b:y");
            path("named in both ways", percents + dollar + percents + dollar, true, "/a:/b/a:/b/a:/b/a:/b");
            path("empty, kept", "", true, ";/a:/b");
            path("empty, not kept", "", false, "");
            path("the old names itself", percents, true,
                 ("x" + percents + "x" + percents + dollar).constData(),
                 ("x" + percents + dollar).constData());
            path("the old is empty", "x;" + percents + ";" + dollar, true,
                 ("x;" + percents + ";" + dollar).constData(), "");
            // clang-format on
        }
        row("another one, kept", "KELM_A", "/a:/b", "x;%KELM_A%;$KELM_A", true,
            "x;%KELM_A%;$KELM_A");
        row("another one, not kept", "KELM_A", "/a:/b", "/opt", false, "/opt");
        row("another one, named for the path", "KELM_A", "/a:/b", "$PATH%PATH%", true,
            "$PATH%PATH%");
        row("in another case", "path", "/a:/b", "/opt;%path%", true, "/opt;%path%");
        row("blanks and letters", "KELM_A", "", " \u00e4 = %1 ", false, " \u00e4 = %1 ");
    }

    void setsVariables()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, old);
        QFETCH(Data::String, value);
        QFETCH(bool, keepPath);
        QFETCH(Data::String, result);
        const bool wasSet = qEnvironmentVariableIsSet(name);
        const QByteArray before = qgetenv(name);
        const auto restore = qScopeGuard([&] { wasSet ? qputenv(name, before) : qunsetenv(name); });
        Process process("/bin/sh", shellArguments("eval printf %s \\\"\\$$1\\\"", {name}));

        qputenv(name, old);
        process.setEnvironment({{Data::String(name.constData()), value}}, keepPath);
        qputenv(name, before);

        QCOMPARE(qProcess(process)->processEnvironment().value(name), QString(result));
        run(process);
        QCOMPARE(process.output(), result);
    }

    void keepsTheOtherVariables()
    {
        qputenv("KELM_A", "of the system");
        qputenv("KELM_B", "of the system");
        const auto restore = qScopeGuard([] {
            qunsetenv("KELM_A");
            qunsetenv("KELM_B");
        });
        Process process("/bin/sh", shellArguments("echo $KELM_A, $KELM_B"));

        process.setEnvironment({{"KELM_B", "ours"}}, true);
        run(process);
        QCOMPARE(process.output(), Data::String("of the system, ours\n"));

        process.setEnvironment({}, true); // begins with that of the system again
        run(process);
        QCOMPARE(process.output(), Data::String("of the system, of the system\n"));
    }

    void findsAProgramWithItsOwnPath()
    {
        Process process("sh", shellArguments("echo found"));
        process.setEnvironment({{"PATH", "/missing"}}, false);

        run(process);

        QCOMPARE(process.output(), Data::String("found\n"));
    }

    void listsVariablesByName()
    {
        Process process("x y", QStringList("z"));
        QCOMPARE(process.info(), Data::String("\"x y\" z"));
        const auto set = [&](const Variables &variables) {
            QProcessEnvironment environment;
            for (auto one = variables.begin(); one != variables.end(); ++one)
                environment.insert(one.key(), one.value());
            qProcess(process)->setProcessEnvironment(environment);
        };

        set({{"b", "1"}, {"B", "%1=%2"}, {"a", ""}, {"_", "\u00e4"}, {"", "nothing"}});

        QCOMPARE(process.info(), Data::String("\"x y\" z\nB=%1=%2\n_=\u00e4\na=\nb=1"));
    }

    void listsTheWholeEnvironment()
    {
        Process process("x");
        process.setEnvironment({{"KELM_A", "1"}}, false);

        const QStringList lines = process.info().split('\n');

        QCOMPARE(lines.first(), QString("x"));
        QVERIFY(lines.contains("KELM_A=1"));
        QVERIFY(lines.contains("PATH=" + qEnvironmentVariable("PATH")));
    }

    // Destruction

    void killsItsProgramWhenItGoes()
    {
        const MarkedProcesses marked;
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        {
            Process process("/bin/sh", shellArguments("echo .\n"
                                                      "until [ -e go ]; do sleep 0.01; done\n"
                                                      "echo late\n"
                                                      ": >gone\n"
                                                      "exec sleep 60"));
            marked.mark(process);
            process.setWorkingDirectory(folder.path());
            process.setLogFile(&log, true);
            QVERIFY(process.start());
            QVERIFY(waitForOutput(process, ".\n"));
            QVERIFY(!makeFile(folder.filePath("go")).isEmpty());
            // Its output is not read, so only this shows its progress.
            for (int i = 0; i < 60000 && !QFile::exists(folder.filePath("gone")); ++i)
                QThread::msleep(1);
            QVERIFY(QFile::exists(folder.filePath("gone")));
            QTest::ignoreMessage(QtWarningMsg, "QProcess: Destroyed while process (\"/bin/sh\") is "
                                               "still running.");
        }
        QCOMPARE(marked.ids(), QList<pid_t>());
        QCOMPARE(contents(log), QByteArray(".\n"));
    }

    void goesOnceWhenItIsDestroyedBeforeItsProgramEnds()
    {
        const MarkedProcesses marked;
        auto process = std::make_unique<Process>("/bin/sleep", QStringList("60"));
        marked.mark(*process);
        process->deleteWhenFinished();
        QVERIFY(process->start());
        QTest::ignoreMessage(QtWarningMsg, "QProcess: Destroyed while process (\"/bin/sleep\") is "
                                           "still running.");

        process.reset();

        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void deletesItselfWhenItsProgramEnds_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<bool>("twice");

        QTest::newRow("well") << QByteArray("echo a") << false;
        QTest::newRow("with a signal") << QByteArray("echo a; kill -9 $$") << false;
        QTest::newRow("with a character that is cut off") << QByteArray("printf '\\303'") << false;
        QTest::newRow("asked for twice") << QByteArray("echo a") << true;
    }

    void deletesItselfWhenItsProgramEnds()
    {
        QFETCH(QByteArray, script);
        QFETCH(bool, twice);
        auto *const process = new Process("/bin/sh", shellArguments(script));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        if (twice)
            process->deleteWhenFinished();
        QVERIFY(process->start());
        QVERIFY(object);

        QTRY_VERIFY_WITH_TIMEOUT(!object, 60000);
    }

    void staysWhenItIsNotToBeDeleted()
    {
        Process process("/bin/sh", shellArguments("echo a"));
        const QPointer<QObject> object = process.object();
        QVERIFY(process.start());

        QVERIFY(waitForEnd(process));

        QVERIFY(object);
        QCOMPARE(process.output(), Data::String("a\n"));
    }

    void staysWhenItsProgramDoesNotStart()
    {
        auto process = std::make_unique<Process>("/missing");
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();

        QVERIFY(!process->start());
        QCoreApplication::processEvents();

        QVERIFY(object);
    }

    void deletesItselfWithinASend()
    {
        auto *const process = new Process("/bin/sh", shellArguments("exec <&-; exit"));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        QVERIFY(process->start());

        // The program ends without reading, which is noticed while data is written to it.
        while (object)
            process->sendData(Data::String(QString(100 * 1000, 'x')), 100);
    }

private:
    static QByteArray contents(const Utils::LogFile &log)
    {
        QFile file(log.path());
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }
};

QTEST_GUILESS_MAIN(tst_Process)
#include "tst_Process.moc"
