#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "utils/files/File.h"
#include "utils/files/LogFile.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <stdexcept>

using Utils::File;
using Utils::Process;

/// How the end of a program is waited for.
enum class Wait
{
    Run,
    Wait,
    Events,
    Stop,
    Send
};
Q_DECLARE_METATYPE(Wait)

static QByteArray contents(const Utils::LogFile &log)
{
    QFile file(log.path());
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

/// The output line by line, and standard error apart. In a PID namespace of its own, as functions
/// end programs.
class tst_Process_lines : public QObject
{
    Q_OBJECT

private:
    QStringList m_lines;

    /// Notes the lines of \p process, those of standard error after "! ".
    void note(Process &process)
    {
        process.onLine([this](const Data::String &line, Process::Channel channel) {
            m_lines.append(channel == Process::StandardError ? "! " + line : line);
        });
    }

    static void waitRows()
    {
        QTest::addColumn<Wait>("how");

        QTest::newRow("run") << Wait::Run;
        QTest::newRow("wait") << Wait::Wait;
        QTest::newRow("events") << Wait::Events;
        QTest::newRow("stop") << Wait::Stop;
        QTest::newRow("send") << Wait::Send;
    }

    /// Starts \p process, which makes the file "ready" when it may be stopped.
    static void startUntilReady(Process &process)
    {
        const QTemporaryDir folder;
        process.setWorkingDirectory(folder.path());
        QVERIFY(process.start());
        const QString path = folder.filePath("ready");
        for (int i = 0; i < 60000 && !QFile::exists(path); ++i)
            QTest::qSleep(1); // without events
        QVERIFY(QFile::exists(path));
    }

    /// Starts \p process and waits until \p isReached.
    template <typename IsReached>
    static void runUntil(Process &process, Wait how, const IsReached &isReached)
    {
        if (how == Wait::Run) {
            process.run();
            return;
        }
        QVERIFY(process.start());
        if (how == Wait::Wait)
            process.wait(false);
        else if (how == Wait::Events)
            QVERIFY(QTest::qWaitFor(isReached, 60000));
        else if (how == Wait::Stop)
            process.stop();
        else {
            while (!isReached())
                process.sendData(QString(100000, 'x') + "\n", 100);
        }
    }

private Q_SLOTS:
    void initTestCase() { ENTER_OWN_NAMESPACE_OR_SKIP(); }

    void init() { m_lines.clear(); }

    // Lines

    void callsTheFunctionWithEachLine_data()
    {
        QTest::addColumn<QByteArray>("format"); // of printf
        QTest::addColumn<QStringList>("lines");

        // clang-format off
        QTest::newRow("none") << QByteArray() << QStringList();
        QTest::newRow("one") << QByteArray("a\\n") << QStringList{"a"};
        QTest::newRow("without its end") << QByteArray("a\\nb") << QStringList{"a", "b"};
        QTest::newRow("all ends") << QByteArray("a\\nb\\r\\n\\n10%%\\r20%%\\rend") << QStringList{"a", "b", "", "10%", "20%", "end"};
        QTest::newRow("beyond ASCII") << QByteArray("\\303\\244\\n\\360\\237\\230\\200") << QStringList{"\u00e4", "\U0001f600"};
        QTest::newRow("invalid") << QByteArray("a\\377b\\n\\303") << QStringList{"a\ufffdb", "\ufffd"};
        QTest::newRow("a byte order mark") << QByteArray("\\357\\273\\277a\\n") << QStringList{"a"};
        // clang-format on
    }

    void callsTheFunctionWithEachLine()
    {
        QFETCH(QByteArray, format);
        QFETCH(QStringList, lines);
        Process process("/bin/sh", shellArguments("printf \"$1\"", {format}));
        note(process);

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(m_lines, lines);
        QVERIFY(process.start()); // and by events
        QVERIFY(waitForEnd(process));
        QCOMPARE(m_lines, lines + lines);
    }

    void callsTheFunctionWhileTheProgramRuns_data() { waitRows(); }

    void callsTheFunctionWhileTheProgramRuns()
    {
        QFETCH(Wait, how);
        // It ends only because it gets an answer to its first line.
        Process process("/bin/sh",
                        shellArguments("trap 'echo a' TERM\n"
                                       "if [ \"$1\" = stop ]; then : >ready; else echo a; fi\n"
                                       "while ! read line; do sleep 0.01; done\n"
                                       "printf 'b\\nc'",
                                       {how == Wait::Stop ? "stop" : ""}));
        const MarkedProcesses marked;
        marked.mark(process);
        process.setStopPolicy(60000);
        process.onLine([&](const Data::String &line, Process::Channel channel) {
            QCOMPARE(channel, Process::StandardOutput);
            m_lines.append(line);
            if (line == "a")
                process.sendData("\n", 0);
        });
        if (how == Wait::Stop) {
            startUntilReady(process);
            QVERIFY(process.stop());
        } else {
            runUntil(process, how, [&] { return !process.isRunning(); });
        }

        QCOMPARE(m_lines, (QStringList{"a", "b", "c"}));
        QCOMPARE(process.output(), Data::String("a\nb\nc"));
    }

    void callsTheFunctionBeforeOthersSeeTheEnd()
    {
        Process process("/bin/sh", shellArguments("printf 'a\\nb'"));
        QStringList seen;
        connect(qProcess(process), qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
                [&] { seen = m_lines; });
        note(process);

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(seen, (QStringList{"a", "b"}));
    }

    void callsTheFunctionWithManyLines()
    {
        Process process("/bin/sh", shellArguments("seq 1 200000"));
        process.setLogFile(nullptr, /*keepOutput=*/false);
        int count = 0;
        process.onLine([&](const Data::String &line, Process::Channel) {
            if (line.toInt() == count + 1)
                ++count;
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(count, 200000);
        QCOMPARE(process.output(), Data::String());
    }

    void dropsLinesOfAnEarlierProgram()
    {
        Process process("/bin/sh", shellArguments("printf 'a\\nb\\nc\\n'"));
        bool isStarted = false;
        process.onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (line == "c" && !std::exchange(isStarted, true)) {
                process.setArguments(shellArguments("printf 'd\\ne'"));
                QVERIFY(waitForEnd(process));
                QVERIFY(process.start());
            }
        });

        QVERIFY(process.start());
        QVERIFY(QTest::qWaitFor([&] { return m_lines.endsWith("e"); }, 60000));

        QCOMPARE(m_lines, (QStringList{"a", "b", "c", "d", "e"}));
        QVERIFY(!process.isRunning());
    }

    void callsNoFunctionAfterItIsReset()
    {
        Process process("/bin/sh", shellArguments("printf 'a\\nb\\nc\\n'"));
        process.onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (line == "b")
                process.onLine(nullptr);
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(m_lines, (QStringList{"a", "b"}));
        QCOMPARE(process.output(), Data::String("a\nb\nc\n"));
    }

    void callsTheFunctionThatReplacesTheCurrentOne()
    {
        Process process("/bin/sh", shellArguments("echo a; read line; echo b"));
        const auto token = std::make_shared<int>(7);
        process.onLine([&, token](const Data::String &line, Process::Channel) {
            process.onLine([this](const Data::String &other, Process::Channel) {
                m_lines.append("second " + other);
            });
            m_lines.append(QString::number(*token) + " " + line); // it still exists
            process.sendData("\n", 0);
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(m_lines, (QStringList{"7 a", "second b"}));
        QCOMPARE(token.use_count(), 1L);
    }

    // Functions that do more

    void isDeletedByItsFunction_data() { waitRows(); }

    void isDeletedByItsFunction()
    {
        QFETCH(Wait, how);
        const MarkedProcesses marked;
        auto *const process = new Process(
            "/bin/sh",
            shellArguments("trap 'seq 1 1000' TERM; seq 1 1000; [ -z \"$1\" ] || : >ready\n"
                           "while :; do sleep 0.01; done",
                           {how == Wait::Stop ? "stop" : ""}));
        marked.mark(*process);
        const QPointer<QObject> object = process->object();
        process->onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (line == "500") {
                QTest::ignoreMessage(QtWarningMsg,
                                     "QProcess: Destroyed while process (\"/bin/sh\") is "
                                     "still running.");
                delete process;
            }
        });

        if (how == Wait::Stop) {
            process->setStopPolicy(60000);
            startUntilReady(*process);
            process->stop();
        } else {
            runUntil(*process, how, [&] { return !object; });
        }

        QVERIFY(!object);
        QCOMPARE(m_lines.size(), 500);
        QVERIFY(marked.waitFor(0));
    }

    void isDeletedByItsLastLine_data() { waitRows(); }

    void isDeletedByItsLastLine()
    {
        QFETCH(Wait, how);
        auto *const process = new Process(
            "/bin/sh", shellArguments("exec <&-; printf 'a\\nlast'; [ -z \"$1\" ] || : >ready",
                                      {how == Wait::Stop ? "stop" : ""}));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished(); // at the same time
        process->onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (line == "last")
                delete process;
        });
        if (how == Wait::Stop) {
            startUntilReady(*process);
            process->stop();
        } else {
            runUntil(*process, how, [&] { return !object; });
        }

        QVERIFY(!object);
        QCOMPARE(m_lines, (QStringList{"a", "last"}));
    }

    void isStoppedByItsFunction_data()
    {
        QTest::addColumn<bool>("isKilled");

        QTest::newRow("killed") << true;
        QTest::newRow("stopped") << false;
    }

    void isStoppedByItsFunction()
    {
        QFETCH(bool, isKilled);
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("echo a; sleep 60 & wait"));
        marked.mark(process);
        process.onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (isKilled)
                process.kill();
            else
                QVERIFY(process.stop());
        });

        QCOMPARE(process.run(60000), Process::RunFinished);

        QCOMPARE(m_lines, QStringList("a"));
        QVERIFY(!process.normalExit());
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    /// Each line while it is stopped asks to stop it.
    void isStoppedOnceByEachLine()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap 'seq 1 1000; exit 5' TERM; echo .\n"
                                                  "while :; do sleep 0.01; done"));
        marked.mark(process);
        process.setStopPolicy(60000);
        int count = 0;
        process.onLine([&](const Data::String &, Process::Channel) {
            ++count;
            process.stop();
        });

        QCOMPARE(process.run(60000), Process::RunFinished);

        QCOMPARE(process.exitCode(), 5);
        QCOMPARE(count, 1001);
    }

    void runsAnotherProgramInItsFunction()
    {
        Process process("/bin/sh", shellArguments("printf 'a\\nb\\n'"));
        process.onLine([&](const Data::String &line, Process::Channel) {
            Process other("/bin/echo", {line, line});
            other.onLine([&](const Data::String &text, Process::Channel) { m_lines.append(text); });
            QCOMPARE(other.run(), Process::RunFinished);
            m_lines.append(line);
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(m_lines, (QStringList{"a a", "a", "b b", "b"}));
    }

    void dropsTheExceptionsOfItsFunction_data() { waitRows(); }

    void dropsTheExceptionsOfItsFunction()
    {
        QFETCH(Wait, how);
        if (how == Wait::Stop)
            return;
        Process process("/bin/sh", shellArguments("exec <&-; printf 'a\\nb\\nc'"));
        process.onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            throw std::runtime_error("of the function");
        });

        runUntil(process, how, [&] { return !process.isRunning(); });

        QCOMPARE(m_lines, (QStringList{"a", "b", "c"}));
        QCOMPARE(process.exitCode(), 0);
    }

    void keepsTheReasonOfARunApart()
    {
        Process process("/bin/sh", shellArguments("echo a"));
        Data::String reason;
        process.onLine([&](const Data::String &, Process::Channel) {
            File::read("/missing");
            reason = File::lastError();
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(reason, Data::String(".Kelm.Utils.err.nofile"));
        QCOMPARE(File::lastError(), Data::String());
    }

    /// Otherwise each line would be handled within the one before, until the stack ends.
    void callsItsFunctionForOneLineAtATime()
    {
        Process process("/bin/sh", shellArguments("seq 1 3000"));
        int depth = 0;
        int most = 0;
        process.onLine([&](const Data::String &line, Process::Channel) {
            most = qMax(most, ++depth);
            QCoreApplication::processEvents();
            m_lines.append(line);
            --depth;
        });

        QVERIFY(process.start());
        QVERIFY(QTest::qWaitFor([&] { return m_lines.size() == 3000; }, 60000));

        QCOMPARE(most, 1);
        for (int i = 0; i < m_lines.size(); ++i)
            QCOMPARE(m_lines.at(i), QString::number(i + 1));
    }

    void livesUntilItsLinesAreDelivered_data()
    {
        QTest::addColumn<bool>("hasEvents");

        QTest::newRow("run") << false;
        QTest::newRow("events") << true;
    }

    void livesUntilItsLinesAreDelivered()
    {
        QFETCH(bool, hasEvents);
        auto *const process =
            new Process("/bin/sh", shellArguments("echo a; sleep 0.1; printf 'b\\nc'"));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        process->onLine([&](const Data::String &line, Process::Channel) {
            m_lines.append(line);
            if (line == "a") { // it ends meanwhile
                QVERIFY(waitForEnd(*process));
                QVERIFY(object);
                QCOMPARE(m_lines, QStringList("a"));
            }
        });

        if (hasEvents) {
            QVERIFY(process->start());
            QVERIFY(QTest::qWaitFor([&] { return !object; }, 60000));
        } else {
            QCOMPARE(process->run(), Process::RunFinished);
        }

        QVERIFY(!object);
        QCOMPARE(m_lines, (QStringList{"a", "b", "c"}));
    }

    // Standard error

    void decodesTheOutputInTheEncodingThatIsSet()
    {
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        Process process("/bin/sh", shellArguments("printf '\\200\\n'; printf '\\344\\n' >&2"));
        process.setLogFile(&log, /*keepOutput=*/true);
        process.setSeparateErrorOutput(true);
        note(process);

        QVERIFY(process.setEncoding("cp1252"));
        QCOMPARE(process.encoding(), Data::String("windows-1252"));
        QCOMPARE(process.run(), Process::RunFinished);

        m_lines.sort();
        QCOMPARE(m_lines, QStringList({"! \u00e4", "\u20ac"}));
        QCOMPARE(process.output(), Data::String("\u20ac\n"));
        QCOMPARE(process.recentOutput(), Data::String("\u20ac\n"));
        QCOMPARE(process.errorOutput(), Data::String("\u00e4\n"));
        QVERIFY(contents(log).contains("\u20ac\n"));
        QVERIFY(contents(log).contains("\u00e4\n"));

        QVERIFY(process.setEncoding(""));
        QCOMPARE(process.encoding(), Data::String());
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.output(), Data::String("\ufffd\n"));
    }

    void decodesInAnotherEncodingFromTheNextStart()
    {
        Process process("/bin/sh",
                        shellArguments("printf '\\303\\244.'; read line; printf '\\303\\244.'"));
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "."));

        QVERIFY(process.setEncoding("latin1"));
        QVERIFY(process.start()); // does nothing, as the program is running
        QVERIFY(process.sendData("\n", -1));
        QVERIFY(process.wait(/*showProgress=*/false));
        QCOMPARE(process.output(), Data::String("\u00e4.")); // since the second start

        QVERIFY(process.start());
        QVERIFY(process.sendData("\n", -1));
        QVERIFY(process.wait(/*showProgress=*/false));
        QCOMPARE(process.output(), Data::String("\u00c3\u00a4.\u00c3\u00a4."));
    }

    void keepsItsEncodingWhenThereIsNoneOfThatName()
    {
        Process process("/bin/sh", shellArguments("printf '\\344'"));
        QVERIFY(process.setEncoding("ISO-8859-15"));

        for (const char *const name : {"no such", "auto"}) {
            QVERIFY(!process.setEncoding(name));
            QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.encoding"));
        }

        QCOMPARE(process.encoding(), Data::String("ISO-8859-15"));
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.output(), Data::String("\u00e4"));
        QCOMPARE(File::lastError(), Data::String());
    }

    void separatesStandardError()
    {
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), false);
        // It goes on when its standard error has arrived.
        Process process("/bin/sh", shellArguments("printf 'e1\\ne2\\303' >&2; read line\n"
                                                  "printf 'o1\\no2\\303'; exit 3"));
        process.setSeparateErrorOutput(true);
        process.setLogFile(&log, true);
        process.onLine([&](const Data::String &line, Process::Channel channel) {
            m_lines.append(channel == Process::StandardError ? "! " + line : line);
            if (line == "e1")
                process.sendData("\n", 0);
        });

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(process.exitCode(), 3);
        QCOMPARE(process.output(), Data::String("o1\no2\ufffd"));
        QCOMPARE(process.recentOutput(), Data::String("o1\no2\ufffd"));
        QCOMPARE(process.errorOutput(), Data::String("e1\ne2\ufffd"));
        QCOMPARE(m_lines, (QStringList{"! e1", "o1", "o2\ufffd", "! e2\ufffd"}));
        QCOMPARE(contents(log), QByteArray("e1\ne2o1\no2\xef\xbf\xbd\xef\xbf\xbd"));
    }

    void separatesStandardErrorFromTheNextStart()
    {
        Process process("/bin/sh", shellArguments("echo a; echo b >&2"));
        process.setSeparateErrorOutput(false); // as it is
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.output(), Data::String("a\nb\n"));
        QCOMPARE(process.errorOutput(), Data::String());

        process.setSeparateErrorOutput(true);
        QCOMPARE(process.output(), Data::String("a\nb\n"));
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.output(), Data::String("a\n"));
        QCOMPARE(process.errorOutput(), Data::String("b\n"));

        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.errorOutput(), Data::String("b\n")); // once

        process.setSeparateErrorOutput(false);
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(process.output(), Data::String("a\nb\n"));
        QCOMPARE(process.errorOutput(), Data::String());
    }

    void keepsTheChannelModeOfItsHost()
    {
        Process process("/bin/sh", shellArguments("echo a; echo b >&2"));
        qProcess(process)->setProcessChannelMode(QProcess::SeparateChannels);

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(process.output(), Data::String("a\n"));
        QCOMPARE(process.errorOutput(), Data::String());
        QCOMPARE(qProcess(process)->readAllStandardError(), QByteArray("b\n"));
    }

    void readsMuchOfBothOutputs()
    {
        Process process("/bin/sh", shellArguments("seq 1 100000 >&2 & seq 1 100000; wait"));
        process.setSeparateErrorOutput(true);
        note(process);

        QCOMPARE(process.run(), Process::RunFinished);

        QString all;
        for (int i = 1; i <= 100000; ++i)
            all += QString::number(i) + '\n';
        QVERIFY(process.output() == all);
        QVERIFY(process.errorOutput() == all);
        QCOMPARE(m_lines.size(), 200000);
    }
};

OWN_NAMESPACE_MAIN(tst_Process_lines)
#include "tst_Process_lines.moc"
