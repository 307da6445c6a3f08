#include "utils/files/File.h"
#include "utils/process/Process.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"

#include <QElapsedTimer>
#include <QtTest>

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include <signal.h>

using Data::String;
using Utils::Process;
using Utils::ScriptManager;
using namespace std::chrono_literals;

static const SettingsHome home;

/// Ignores the request to end, as does its child, whose number it prints. It does not read.
static const char stubborn[] = "trap '' TERM; sleep 60 & echo $!; wait";

/// Calls ScriptManager::interrupt() after a delay on another thread, which its destructor waits
/// for.
class LaterInterrupt
{
public:
    explicit LaterInterrupt(std::chrono::milliseconds delay)
        : m_thread([this, delay] {
              std::this_thread::sleep_for(delay);
              m_time.start();
              ScriptManager::interrupt();
          })
    {}
    ~LaterInterrupt()
    {
        if (m_thread.joinable())
            m_thread.join();
    }
    Q_DISABLE_COPY(LaterInterrupt)

    /// Waits for the interrupt. Returns the milliseconds since then.
    qint64 elapsed()
    {
        m_thread.join();
        return m_time.elapsed();
    }

private:
    QElapsedTimer m_time;
    std::thread m_thread;
};

class tst_PythonScript_interruptedProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        d.emplace();
        d->standIns.reaction = [this](const QString &) { m_call(); };
    }
    void cleanupTestCase() { d.reset(); }

    void endsARun()
    {
        Process::RunResult result = Process::RunFinished;
        QString reason;
        interruptScript([&](Process &process) {
            result = process.run(60000);
            reason = Utils::File::lastError();
        });

        QCOMPARE(result, Process::RunTimedOut);
        QCOMPARE(reason, QString(".Kelm.Utils.err.scriptinterrupt"));
        verifyKilled();
    }

    void endsAStop()
    {
        bool hasEnded = false;
        interruptScript([&](Process &process) {
            QVERIFY(process.start());
            QVERIFY(QTest::qWaitFor([&] { return m_child > 0; }, 60000));
            hasEnded = process.stop();
        });

        QVERIFY(hasEnded);
        verifyKilled();
    }

    void endsAWaitThatStops()
    {
        bool hasFinished = true;
        interruptScript([&](Process &process) {
            QVERIFY(process.start());
            hasFinished = process.wait(/*showProgress=*/false);
        });

        QVERIFY(!hasFinished);
        verifyKilled();
    }

    void endsTheSendingOfData_data()
    {
        QTest::addColumn<int>("timeout");

        QTest::newRow("with a limit") << 10000;
        QTest::newRow("without") << -1;
    }

    void endsTheSendingOfData()
    {
        QFETCH(int, timeout);

        bool isSent = true;
        bool isRunning = false;
        interruptScript([&](Process &process) {
            QVERIFY(process.start());
            QVERIFY(QTest::qWaitFor([&] { return m_child > 0; }, 60000));
            isSent = process.sendData(QString(1'000'000, 'x'), timeout);
            isRunning = process.isRunning();
            process.kill();
        });

        QVERIFY(!isSent);
        QVERIFY(isRunning);
        verifyKilled();
    }

    void asksBeforeItKills()
    {
        String output;
        int exitCode = 0;
        m_script = "trap 'echo saved; exit 5' TERM; echo ready; while :; do sleep 0.001; done";
        interruptScript([&](Process &process) {
            process.run();
            output = process.output();
            exitCode = process.exitCode();
        });

        // On a busy machine the time may be too short for the answer.
        QVERIFY(output.startsWith("ready\n"));
        QVERIFY2(exitCode == 5 ? output == "ready\nsaved\n" : exitCode == SIGKILL,
                 qPrintable(QString::number(exitCode)));
    }

    void leavesWhatAnUninterruptedScriptSends_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<bool>("isSent");
        QTest::addColumn<QString>("message");

        const QString timedOut("Process operation timed out");
        // clang-format off
        QTest::newRow("read late") << "sleep 0.2; cat >/dev/null" << 60000 << true << "Unknown error";
        QTest::newRow("read late, without a limit") << "sleep 0.2; cat >/dev/null" << -1 << true << "Unknown error";
        QTest::newRow("not read") << "exec sleep 60" << 100 << false << timedOut;
        QTest::newRow("for less than an interval") << "exec sleep 60" << 3 << false << timedOut;
        QTest::newRow("no longer read") << "sleep 0.1" << 60000 << false << QString();
        // clang-format on
    }

    void leavesWhatAnUninterruptedScriptSends()
    {
        QFETCH(QString, script);
        QFETCH(int, timeout);
        QFETCH(bool, isSent);
        QFETCH(QString, message);

        QString messages[2];
        for (const bool isInScript : {false, true}) {
            bool result = !isSent;
            QElapsedTimer timer;
            m_call = [&] {
                Process process("sh", {"-c", script});
                QVERIFY(process.start());
                timer.start();
                result = process.sendData(QString(1'000'000, 'x'), timeout);
                messages[isInScript] = process.errorMessage();
            };
            if (isInScript)
                QVERIFY(run("import host\nhost.call('')\n"));
            else
                m_call();

            QCOMPARE(result, isSent);
            QVERIFY(timer.elapsed() < 30000);
            QVERIFY(isSent || message.isEmpty() || timer.elapsed() >= timeout);
        }
        QCOMPARE(messages[1], messages[0]);
        if (!message.isEmpty())
            QCOMPARE(messages[0], message);
    }

private:
    /// Calls \p call for a process in a script that is interrupted soon after the process has
    /// started. Verifies that the call has returned soon after that.
    void interruptScript(const std::function<void(Process &process)> &call)
    {
        qint64 elapsed = -1;
        m_child = 0;
        m_call = [&] {
            std::optional<LaterInterrupt> later;
            Process process("sh", {"-c", m_script});
            process.setStopPolicy(10000);
            process.onLine([&](const String &line, Process::Channel) {
                m_child = line.toInt();
                if (!later)
                    later.emplace(100ms);
            });
            call(process);
            QVERIFY(later);
            elapsed = later->elapsed();
        };
        const bool hasSucceeded = run("import host\nhost.call('')\n");
        m_script = stubborn;

        QVERIFY(!hasSucceeded);
        QVERIFY(ScriptManager::instance().error().isInterrupted());
        qInfo("%lld ms", elapsed);
        const int soon = isRunByQemu() ? 5000 : 1000; // less than the stop policy
        QVERIFY2(elapsed < soon, qPrintable(QString::number(elapsed)));
        QVERIFY2(run("import time\ntime.sleep(0.02)\n"),
                 qPrintable(ScriptManager::instance().error().text()));
    }

    /// Verifies that the child of the program has ended, too.
    void verifyKilled() const
    {
        QVERIFY(m_child > 0);
        QTRY_VERIFY_WITH_TIMEOUT(hasEnded(m_child), 10000);
    }

    static bool hasEnded(int pid)
    {
        QFile status(QString("/proc/%1/stat").arg(pid));
        return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z ");
    }

    static bool run(const QString &code)
    {
        Data::Variant result("__name__");
        String error;
        return ScriptManager::instance().execute(code, "py", result, error);
    }

    std::optional<PythonFixture> d;
    std::function<void()> m_call;
    QString m_script = stubborn;
    int m_child = 0;
};

QTEST_GUILESS_MAIN(tst_PythonScript_interruptedProcess)
#include "tst_PythonScript_interruptedProcess.moc"
