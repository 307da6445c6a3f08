#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/platform/Platform.h"
#include "utils/process/Process.h"
#include "utils/script/PythonScript_p.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QtTest>

#include <Python.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>
#include <vector>

using Data::String;
using Data::Variant;
using Utils::ScriptError;
using Utils::ScriptManager;
using namespace std::chrono_literals;

static const SettingsHome home;

/// A module that does what a test sets, and then fails.
class Module : public Utils::IScriptableModule
{
public:
    explicit Module(std::function<void()> action)
        : IScriptableModule("slow"), m_action(std::move(action))
    {}
    bool initialize() override
    {
        m_action();
        return false;
    }

private:
    const std::function<void()> m_action;
};

/// Calls a function on another thread, which its destructor waits for.
class Later
{
public:
    Later(std::chrono::microseconds delay, std::function<void()> function)
        : m_thread([delay, function = std::move(function)] {
              std::this_thread::sleep_for(delay);
              function();
          })
    {}
    ~Later() { m_thread.join(); }
    Q_DISABLE_COPY(Later)

private:
    std::thread m_thread;
};

class tst_PythonScript_interrupt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        d.emplace();
        d->standIns.reaction = [this](const QString &text) {
            if (text == "ready")
                m_later.emplace(m_delay, [this] {
                    m_time.start();
                    m_wasRunning = ScriptManager::interrupt();
                });
            else if (text == "wait")
                m_waited = waitForProcess();
            else if (text == "run")
                m_waited = runProcess();
            else if (text == "tick")
                tick();
            else if (text == "read")
                readForEver();
        };
        m_delay = 30ms;
        m_wasRunning = false;
        m_waited = true;
    }

    void cleanup()
    {
        m_later.reset();
        ScriptManager::setTimeLimit(0);
        d.reset();
    }

    void endsAScript_data()
    {
        QTest::addColumn<QString>("code");

        for (const Wait &wait : waits())
            QTest::newRow(wait.name) << wait.code;
        QTest::newRow("the text of a file") << "f = os.fdopen(r)\nready()\nf.read()\n";
        QTest::newRow("a line of a file") << "f = os.fdopen(r)\nready()\nf.readline()\n";
        QTest::newRow("the lines of a file") << "f = os.fdopen(r)\nready()\nfor line in f: pass\n";
        QTest::newRow("a child process")
            << "import subprocess\np = subprocess.Popen(['sleep', '60'])\n"
               "try: ready(); p.wait()\nfinally:\n  p.kill()\n  p.wait()\n";
        QTest::newRow("a descriptor") << "import select\nready()\nselect.select([r], [], [])\n";
        QTest::newRow("a lock, with a limit")
            << "import threading\nready()\nthreading.Event().wait(60)\n";
        QTest::newRow("a computing thread besides")
            << "import threading\nt = threading.Thread(target=lambda: [0 for i in xrange(10**8) "
               "if done])\ndone = []\nt.daemon = True\nt.start()\nready()\ntime.sleep(60)\n";
        QTest::newRow("an expression in C") << "ready()\nwhile True: sum(xrange(1000))\n";
        QTest::newRow("its own handlers of signals")
            << "import signal\nsignal.signal(signal.SIGUSR1, lambda *_: None)\nready()\n"
               "time.sleep(60)\n";
    }

    void endsAScript()
    {
        QFETCH(QString, code);

        for (const bool isFile : {true, false}) {
            QVERIFY(!(isFile ? manager().execute(d->script((setUp() + code).toUtf8()))
                             : run(setUp() + code)));

            m_later.reset();
            QVERIFY(m_wasRunning);
            const ScriptError error = manager().error();
            QCOMPARE(error.type(), String("KeyboardInterrupt"));
            QVERIFY(error.isInterrupted());
            QVERIFY(!error.isTimeLimit());
            QVERIFY(!error.text().isEmpty());
            QVERIFY(error.line() > 0);
            verifyClean();
        }
    }

    void cancelsWhatTheLibraryWaitsFor_data()
    {
        QTest::addColumn<QString>("operation");

        QTest::newRow("a process") << "wait";
        QTest::newRow("a run of a process") << "run";
        QTest::newRow("a task") << "tick";
        QTest::newRow("an address") << "read";
    }

    void cancelsWhatTheLibraryWaitsFor()
    {
        QFETCH(QString, operation);

        const auto react = d->standIns.reaction;
        d->standIns.reaction = [react](const QString &text) {
            react("ready");
            react(text);
        };

        QVERIFY(!run("import host\nhost.call('" + operation + "')\n"));

        QVERIFY2(m_time.elapsed() < 5000, qPrintable(QString::number(m_time.elapsed())));
        QVERIFY(!m_waited);
        QVERIFY(manager().error().isInterrupted());
        verifyClean();
    }

    void endsARunWhoseLinesAScriptReads_data()
    {
        QTest::addColumn<QString>("code");

        QTest::newRow("in its function") << "while True: pass";
        QTest::newRow("while it waits") << "pass";
    }

    void endsARunWhoseLinesAScriptReads()
    {
        QFETCH(QString, code);

        QVERIFY(!run(setUp() +
                     "from KelmUtils import Utils\n"
                     "process = Utils.Process('sh', ['-c', 'echo a; exec sleep 60'])\n"
                     "def show(line, isError):\n"
                     "    ready()\n"
                     "    " +
                     code +
                     "\n"
                     "process.run(-1, show)\n"));

        QVERIFY2(m_time.elapsed() < 5000, qPrintable(QString::number(m_time.elapsed())));
        QVERIFY2(manager().error().isInterrupted(), qPrintable(manager().error().traceback()));
        QCOMPARE(d->value("process.isRunning()"), Variant(false));
        verifyClean();
    }

    void endsAScriptInItsLastCall()
    {
        // The script ends before the signal arrives.
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, Utils::Platform::alarmSignal());
        d->standIns.reaction = [&](const QString &) {
            pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
            m_wasRunning = ScriptManager::interrupt();
        };

        const bool hasSucceeded = run("import host\nhost.call('x')\n");
        pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);

        QVERIFY(m_wasRunning);
        QVERIFY(!hasSucceeded);
        QVERIFY(manager().error().isInterrupted());
        QCOMPARE(manager().error().type(), String("KeyboardInterrupt"));
        verifyClean();
    }

    void takesLittleTime()
    {
        const QList<Wait> all = waits();
        for (const Wait &wait : all) {
            std::vector<qint64> times;
            for (int i = 0; i < 50; ++i) {
                m_delay = std::chrono::microseconds(QRandomGenerator::global()->bounded(5000));
                QVERIFY(!run(setUp() + wait.code));
                times.push_back(m_time.nsecsElapsed());
                QVERIFY2(manager().error().isInterrupted(), qPrintable(manager().error().text()));
            }
            std::sort(times.begin(), times.end());
            qInfo("%s: median %.2f ms, max %.2f ms", wait.name, times[25] / 1e6, times[49] / 1e6);
            // Other processes have to be scheduled for the end of a process.
            const bool isProcess = &wait == &all.last();
            QVERIFY2(times[25] < (isProcess ? 1'000'000'000 : 100'000'000), wait.name);
        }
        verifyClean();
    }

    void doesNothingWithoutAScript()
    {
        QVERIFY(!ScriptManager::interrupt());
        verifyClean();
        QVERIFY(!ScriptManager::interrupt());
        verifyClean();
        QCOMPARE(ScriptManager::interruptDelay(), 0);
    }

    void canBeCaught()
    {
        QVERIFY(run(setUp() + "try:\n  ready()\n  while True: pass\n"
                              "except KeyboardInterrupt, e: text = str(e)\n"));

        QVERIFY(manager().error().isEmpty());
        QVERIFY(!d->engine.getData("text").toString().isEmpty());
        verifyClean();
    }

    void canBeCaughtByAScriptThatGoesOn()
    {
        // Only one system call ends, also if the signal is sent again.
        QVERIFY(run(setUp() + "try: ready(); os.read(r, 1)\nexcept KeyboardInterrupt: pass\n"
                              "import threading\n"
                              "def f():\n  time.sleep(0.3)\n  os.write(w, 'x')\n"
                              "threading.Thread(target=f).start()\nx = os.read(r, 1)\n"));

        QCOMPARE(d->engine.getData("x"), Variant(String("x")));
    }

    void endsAScriptThatHasCaughtTheFirstOne()
    {
        QVERIFY(!run(setUp() + "n = 0\n"
                               "while n < 3:\n  try:\n    ready()\n    while True: pass\n"
                               "  except:\n    n += 1\n"
                               "ready()\ntime.sleep(60)\n"));

        QCOMPARE(d->engine.getData("n"), Variant(3));
        QVERIFY(manager().error().isInterrupted());
        verifyClean();
    }

    void isOneInterruptWhenCalledTwice()
    {
        d->standIns.reaction = [](const QString &) {
            QVERIFY(ScriptManager::interrupt());
            QVERIFY(ScriptManager::interrupt());
        };

        QVERIFY(run("import host, time\nn = 0\ntry: host.call(''); time.sleep(60)\n"
                    "except KeyboardInterrupt: n = 1\ntime.sleep(0.2)\n"));

        QCOMPARE(d->engine.getData("n"), Variant(1));
        verifyClean();
    }

    void runsTheCleanUpOfAScript()
    {
        QVERIFY(!run(setUp() + "done = 0\ntry: ready(); time.sleep(60)\nfinally: done = 1\n"));

        QCOMPARE(d->engine.getData("done"), Variant(1));
    }

    void endsNestedRuns()
    {
        bool hasSucceeded = true;
        ScriptError inner;
        nest("ready()\nwhile True: pass\n", hasSucceeded, inner);

        QVERIFY(!run(setUp() + "host.call('inner')\nwhile True: pass\n"));

        QVERIFY(!hasSucceeded);
        QVERIFY(inner.isInterrupted());
        QVERIFY(manager().error().isInterrupted());
        QVERIFY(manager().error().line() > setUp().count('\n'));
        verifyClean();
    }

    void endsTheInnermostRunAloneWhenThatCatchesIt()
    {
        bool hasSucceeded = false;
        ScriptError inner;
        nest("try:\n  ready()\n  while True: pass\nexcept KeyboardInterrupt: pass\n", hasSucceeded,
             inner);

        QVERIFY(run(setUp() + "host.call('inner')\ntime.sleep(0.1)\n"));

        QVERIFY(hasSucceeded);
    }

    void leavesTheOuterRunWhenAnInnerOneRaisesItByItself()
    {
        bool hasSucceeded = true;
        ScriptError inner;
        nest("raise KeyboardInterrupt\n", hasSucceeded, inner);

        QVERIFY(run(setUp() + "host.call('inner')\ntime.sleep(0.1)\n"));

        QVERIFY(!hasSucceeded);
        QCOMPARE(inner.type(), String("KeyboardInterrupt"));
        QVERIFY(!inner.isInterrupted());
    }

    void isNotWhatAScriptRaisesAfterItHasCaughtIt()
    {
        for (const bool isFile : {true, false}) {
            const QString code = setUp() + "try: ready(); time.sleep(60)\n"
                                           "except KeyboardInterrupt: pass\n"
                                           "raise KeyboardInterrupt('own')\n";
            QVERIFY(!(isFile ? manager().execute(d->script(code.toUtf8())) : run(code)));

            m_later.reset();
            QCOMPARE(manager().error().text(), String("own"));
            QVERIFY(!manager().error().isInterrupted());
        }
        QVERIFY(!run(setUp() + "try: ready(); time.sleep(60)\nexcept KeyboardInterrupt: raise\n"));
        QVERIFY(manager().error().isInterrupted());
        verifyClean();
    }

    void endsTheOuterRunWhenTheErrorOfAnInnerOneIsPrinted_data()
    {
        QTest::addColumn<QString>("code");

        QTest::newRow("a hook") << "import sys\nhook = sys.excepthook\ndef f(*_):\n  ready()\n"
                                   "  while True: pass\nsys.excepthook = f\nraise ValueError\n";
        QTest::newRow("a text") << "class E(Exception):\n  def __str__(self):\n    ready()\n"
                                   "    while True: pass\nraise E\n";
    }

    void endsTheOuterRunWhenTheErrorOfAnInnerOneIsPrinted()
    {
        QFETCH(QString, code);
        bool hasSucceeded = true;
        ScriptError inner;
        const QString path = d->script((setUp() + code).toUtf8());
        const auto outer = d->standIns.reaction;
        d->standIns.reaction = [&, outer](const QString &text) {
            if (text != "inner") {
                outer(text);
                return;
            }
            hasSucceeded = manager().execute(path);
            inner = manager().error();
        };

        const bool isGood = run(setUp() + "host.call('inner')\ntime.sleep(1)\n");

        const ScriptError error = manager().error();
        run("import sys\nsys.excepthook = sys.__excepthook__\n");
        QVERIFY(!isGood && !hasSucceeded);
        QVERIFY(inner.type() == "ValueError" || inner.type() == "E");
        QVERIFY(!inner.isInterrupted());
        QVERIFY(error.isInterrupted());
        verifyClean();
    }

    void endsTheTextOfAConsole()
    {
        for (const Wait &wait : waits()) {
            const auto reply =
                manager().interpret(setUp() + wait.code, "py", Utils::ScriptUnit::File);

            m_later.reset();
            QCOMPARE(int(reply.state), int(Utils::ScriptReply::Failed));
            QVERIFY(m_wasRunning);
            QVERIFY(manager().error().isInterrupted());
        }
        verifyClean();
        ScriptManager::setTimeLimit(50);
        manager().interpret("while 1: pass\n", "py");
        QVERIFY(manager().error().isTimeLimit());
        QVERIFY(!ScriptManager::interrupt());
    }

    void endsARunWhoseModulesAreInitialised()
    {
        int calls = 0;
        const Module module([&] {
            ++calls;
            if (!Py_IsInitialized())
                return;
            m_later.emplace(30ms, [] { ScriptManager::interrupt(); });
            PyRun_SimpleStringFlags("while True: pass\n", nullptr);
        });

        QVERIFY(!run("import time\ntime.sleep(60)\n"));

        QCOMPARE(calls, 1);
        QVERIFY(manager().error().isInterrupted());
        verifyClean();
    }

    void canBeCalledInASignalHandler()
    {
        const auto previous = std::signal(SIGUSR2, [](int) { ScriptManager::interrupt(); });
        const pthread_t thread = pthread_self();
        for (const char *const code : {"while True: pass\n", "time.sleep(60)\n", "os.read(r, 1)\n"})
        {
            d->standIns.reaction = [&](const QString &) {
                m_later.emplace(20ms, [thread] { pthread_kill(thread, SIGUSR2); });
            };
            QVERIFY(!run(setUp() + "ready()\n" + code));
            QVERIFY(manager().error().isInterrupted());
        }
        std::signal(SIGUSR2, previous);
        verifyClean();
    }

    void leavesTheNextRunAloneAtAnyMoment()
    {
        int interrupted = 0;
        std::atomic<int> accepted = 0;
        const int rounds = isRunByQemu() ? 30 : 300; // which is slow
        for (int i = 0; i < rounds; ++i) {
            const int delay = QRandomGenerator::global()->bounded(3000);
            m_later.emplace(std::chrono::microseconds(delay),
                            [&] { accepted += ScriptManager::interrupt(); });
            const bool isGood = run("for i in xrange(300000): pass\n");
            m_later.reset();
            if (!isGood) {
                ++interrupted;
                QCOMPARE(manager().error().type(), String("KeyboardInterrupt"));
            }
            QVERIFY2(run("import time\nfor i in xrange(300): pass\ntime.sleep(0.001)\n"),
                     qPrintable(manager().error().traceback()));
        }
        qInfo("%d of %d were interrupted", interrupted, accepted.load());
        QVERIFY(interrupted <= accepted);
        verifyClean();
    }

    void leavesTheNextRunAloneWhenNoCodeHasNoticedIt()
    {
        QVERIFY(run("pass\n"));
        bool wasRunning = false;
        const Module module([&] { wasRunning = ScriptManager::interrupt(); });
        String error;

        QVERIFY(manager().validate("pass\n", "py", error)); // which runs no code

        QVERIFY(wasRunning);
        verifyClean();
    }

    void worksAfterARestart()
    {
        for (int i = 0; i < 3; ++i) {
            QVERIFY(!run(setUp() + "ready()\nos.read(r, 1)\n"));
            QVERIFY(manager().error().isInterrupted());
            manager().reset("");
            QVERIFY(!ScriptManager::interrupt());
        }
    }

    void leavesNoThreads()
    {
        const auto threads = [] { return QDir("/proc/self/task").entryList(QDir::Dirs).size(); };
        const int before = threads();
        ScriptManager::setTimeLimit(10'000);

        QVERIFY(!run(setUp() + "ready()\nos.read(r, 1)\n"));
        m_later.reset();

        QCOMPARE(threads(), before);
    }

    void leavesCtrlCToTheHost()
    {
        manager().reset("");
        auto *const original = std::signal(SIGINT, SIG_DFL); // that of QtTest
        QVERIFY(run("pass\n"));
        QVERIFY(handlerOf(SIGINT) == SIG_DFL);

        // As ever, a script that imports the module takes it.
        QVERIFY(run("import signal\n"
                    "x = signal.getsignal(signal.SIGINT) is signal.default_int_handler\n"));
        QCOMPARE(d->engine.getData("x"), Variant(true));
        QVERIFY(handlerOf(SIGINT) != SIG_DFL);
        QVERIFY(!run(setUp() + "ready()\nos.read(r, 1)\n"));

        manager().reset("");
        QVERIFY(handlerOf(SIGINT) == SIG_DFL);
        std::signal(SIGINT, original);
    }

    void worksWhenAThreadHasImportedTheModule()
    {
        QVERIFY(!run(setUp() + "import sys, threading\ndef f():\n  import signal\n"
                               "  signal.getsignal(signal.SIGINT)\n"
                               "t = threading.Thread(target=f)\nt.start()\nt.join()\n"
                               "x = 'signal' in sys.modules\nready()\nos.read(r, 1)\n"));

        QCOMPARE(d->engine.getData("x"), Variant(true));
        QVERIFY(manager().error().isInterrupted());
        verifyClean();
    }

    void leavesTheHandlerOfTheHost()
    {
        manager().reset("");
        auto *const original = std::signal(SIGINT, [](int) {});
        auto *const own = handlerOf(SIGINT);

        QVERIFY(run("pass\n"));
        QVERIFY(handlerOf(SIGINT) == own);
        QVERIFY(run("import signal\nx = signal.getsignal(signal.SIGINT) is None\n"));
        QVERIFY(handlerOf(SIGINT) == own);

        QCOMPARE(d->engine.getData("x"), Variant(true));
        std::signal(SIGINT, original);
    }

    void endsAScriptThatHasReplacedAllHandlers_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("wait");
        QTest::addColumn<int>("limit");

        for (const char *const call : {"signal(s, signal.SIG_DFL)", "signal(s, signal.SIG_IGN)",
                                       "siginterrupt(s, False)", "signal(s, lambda *_: None)"})
        {
            for (const Wait &wait : waits()) {
                const QByteArray name = QByteArray(call) + ", " + wait.name;
                QTest::newRow(name) << call << wait.code << 0;
                QTest::newRow(name + ", limit")
                    << call << QString(wait.code).remove("ready()\n") << 100;
            }
        }
    }

    void endsAScriptThatHasReplacedAllHandlers()
    {
        QFETCH(QString, call);
        QFETCH(QString, wait);
        QFETCH(int, limit);
        QVERIFY(run("pass\n"));
        ScriptManager::setTimeLimit(limit);
        const QString program =
            setUp() +
            "import signal\nold = {}\nfor s in range(1, signal.NSIG):\n"
            "  if s in (signal.SIGCHLD, signal.SIGALRM): continue\n" // of QtTest, Process
            "  try:\n    old[s] = signal.getsignal(s)\n    signal." +
            call + "\n  except Exception: pass\n";

        const bool hasSucceeded = run(program + wait);

        ScriptManager::setTimeLimit(0);
        const ScriptError error = manager().error();
        run("for s in old:\n  try: signal.signal(s, old[s] or signal.SIG_DFL)\n"
            "  except Exception: pass\n");
        QVERIFY(!hasSucceeded);
        QVERIFY2(error.isInterrupted(), qPrintable(error.traceback()));
        QCOMPARE(error.isTimeLimit(), limit != 0);
        verifyClean();
    }

    void keepsItsSignal()
    {
        QVERIFY(run("import signal\nfree = []\nrefused = []\n"
                    "for s in range(signal.SIGRTMIN, signal.SIGRTMAX + 1):\n"
                    "  try: signal.signal(s, signal.SIG_DFL); free.append(s)\n"
                    "  except RuntimeError, e: refused.append((s, str(e)))\n"
                    "x = str(refused)\nn = signal.SIGRTMAX + 1 - signal.SIGRTMIN - len(free)\n"));

        const int number = Utils::Platform::alarmSignal();
        QCOMPARE(d->engine.getData("x"),
                 Variant(QString("[(%1, \"(22, 'Invalid argument')\")]").arg(number)));
        QCOMPARE(d->engine.getData("n"), Variant(1));
        QVERIFY(!run("import signal\nsignal.signal('x', 1)\n"));
        QCOMPARE(manager().error().text(), String("an integer is required"));
    }

    void isNoModuleOfTheScript()
    {
        QVERIFY(run("import sys\nx = 'signal' in sys.modules\n"));

        QCOMPARE(d->engine.getData("x"), Variant(false));
    }

    // The time limit

    void endsAScriptAfterItsTimeLimit_data()
    {
        QTest::addColumn<QString>("code");

        for (const Wait &wait : waits())
            QTest::newRow(wait.name) << QString(wait.code).remove("ready()\n");
    }

    void endsAScriptAfterItsTimeLimit()
    {
        QFETCH(QString, code);
        QVERIFY(run("pass\n"));
        ScriptManager::setTimeLimit(100);
        QCOMPARE(ScriptManager::timeLimit(), 100);

        for (const bool isFile : {true, false}) {
            QElapsedTimer timer;
            timer.start();
            QVERIFY(!(isFile ? manager().execute(d->script((setUp() + code).toUtf8()))
                             : run(setUp() + code)));

            QVERIFY2(timer.elapsed() >= 100, qPrintable(QString::number(timer.elapsed())));
            const ScriptError error = manager().error();
            QCOMPARE(error.type(), String("KeyboardInterrupt"));
            QVERIFY(error.isInterrupted());
            QVERIFY(error.isTimeLimit());
            QVERIFY(error.text().contains("scriptlimit"));
            QVERIFY(error.interruptDelay() < 10'000);
        }
        ScriptManager::setTimeLimit(0);
        verifyClean();
    }

    void hasNoEffectOnAShortScript()
    {
        ScriptManager::setTimeLimit(1000);
        QVERIFY(run("import time\ntime.sleep(0.05)\n"));
        QVERIFY(manager().error().isEmpty());

        ScriptManager::setTimeLimit(0);
        QVERIFY(run("import time\nt = time.time()\ntime.sleep(1.2)\nt = time.time() - t\n"));
        QVERIFY(d->engine.getData("t").toDouble() > 1.19);
    }

    void limitsTheOutermostRun()
    {
        QVERIFY(run("pass\n"));
        ScriptManager::setTimeLimit(200);
        bool hasSucceeded = true;
        ScriptError inner;
        nest("import time\ntime.sleep(0.12)\n", hasSucceeded, inner);

        QVERIFY(!run("import host\nwhile True: host.call('inner')\n"));

        QVERIFY(manager().error().isTimeLimit());
        ScriptManager::setTimeLimit(0);
        verifyClean();
    }

    void endsAScriptThatCatchesTheEndOfItsTime()
    {
        ScriptManager::setTimeLimit(50);

        QVERIFY(!run("import time\nn = 0\ntry: time.sleep(60)\nexcept KeyboardInterrupt: n = 1\n"
                     "time.sleep(60)\n"));

        QCOMPARE(d->engine.getData("n"), Variant(1));
        QVERIFY(manager().error().isTimeLimit());
    }

    void isTheTimeLimitWhenItEndsModulesOfANestedRun()
    {
        QVERIFY(run("pass\n"));
        bool hasSucceeded = true;
        ScriptError inner;
        std::optional<Module> module;
        nest("while True: pass\n", hasSucceeded, inner);
        const auto react = d->standIns.reaction;
        d->standIns.reaction = [&, react](const QString &text) {
            module.emplace([] { PyRun_SimpleStringFlags("while True: pass\n", nullptr); });
            react(text);
        };
        ScriptManager::setTimeLimit(100);

        QVERIFY(!run("import host\nhost.call('inner')\n"));

        QVERIFY(!hasSucceeded);
        QVERIFY(inner.isTimeLimit());
        QVERIFY(manager().error().isTimeLimit());
    }

    void doesNotCountTheStartOfPython()
    {
        manager().reset("");
        const Module module([&] { sleepInC(1200ms); });
        ScriptManager::setTimeLimit(1000);

        QVERIFY(run("import time\ntime.sleep(0.01)\n"));
    }

    void endsWhatIsLeftToTheEnd_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("limit"); // ms

        const QString function = "import atexit\ndef end():\n  ready()\n  %1\n"
                                 "atexit.register(end)\n";
        // Python removes the variables of the script before its objects.
        const QString object =
            "class End(object):\n  def __del__(self, call=host.call, sleep=time.sleep):\n"
            "    call('ready')\n    %1\nend = End()\n";
        for (const int limit : {0, 100}) {
            const char *const by = limit > 0 ? "by a limit" : "by a call";
            QTest::addRow("a function, %s", by) << function.arg("while True: pass") << limit;
            QTest::addRow("a function that sleeps, %s", by)
                << function.arg("time.sleep(60)") << limit;
            QTest::addRow("a function that waits for a process, %s", by)
                << function.arg("host.call('wait')") << limit;
            QTest::addRow("an object, %s", by) << object.arg("while True: pass") << limit;
            QTest::addRow("an object that sleeps, %s", by) << object.arg("sleep(60)") << limit;
        }
    }

    void endsWhatIsLeftToTheEnd()
    {
        QFETCH(QString, code);
        QFETCH(int, limit);
        QVERIFY(run(setUp() + code));
        if (limit > 0) {
            ScriptManager::setTimeLimit(limit);
            m_delay = 10s; // so that it comes too late
            d->standIns.reaction = [](const QString &text) {
                if (text == "wait")
                    waitForProcess();
            };
        }
        QElapsedTimer timer;
        timer.start();

        manager().reset("");

        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(timer.elapsed() >= limit);
        m_later.reset();
        QCOMPARE(m_wasRunning, limit == 0);
        QVERIFY(!ScriptManager::interrupt());
        ScriptManager::setTimeLimit(0);
        verifyClean();
    }

    void endsEachFunctionThatIsLeftToTheEnd()
    {
        QVERIFY(run("import atexit, host\ndef end(name):\n  try:\n    while True: pass\n"
                    "  except KeyboardInterrupt: host.call(name)\n"
                    "atexit.register(end, 'second')\natexit.register(end, 'first')\n"));
        QStringList names;
        d->standIns.reaction = [&](const QString &text) { names.append(text); };
        ScriptManager::setTimeLimit(50);

        manager().reset("");

        QCOMPARE(names, (QStringList{"first", "second"}));
    }

    void tellsOfACallThatCannotBeInterrupted()
    {
        QVERIFY(run("pass\n"));
        ScriptManager::setTimeLimit(50);
        std::atomic<int> seen = 0;
        d->standIns.reaction = [&](const QString &) {
            m_later.emplace(400ms, [&] { seen = ScriptManager::interruptDelay(); });
            sleepInC(700ms);
        };

        QVERIFY(!run("import host\nhost.call('stuck')\nwhile True: pass\n"));

        m_later.reset();
        const ScriptError error = manager().error();
        QVERIFY(error.isTimeLimit());
        QVERIFY2(error.interruptDelay() >= 600,
                 qPrintable(QString::number(error.interruptDelay())));
        QVERIFY2(error.text().contains("scriptlimitlate"), qPrintable(error.text()));
        QVERIFY2(seen > 0 && seen <= error.interruptDelay(),
                 qPrintable(QString::number(seen))); // while it waited
        QCOMPARE(ScriptManager::interruptDelay(), 0);
    }

    void tellsThatAnInterruptCameLate()
    {
        d->standIns.reaction = [&](const QString &) {
            m_wasRunning = ScriptManager::interrupt();
            sleepInC(700ms);
        };

        QVERIFY(!run("import host\nhost.call('stuck')\nwhile True: pass\n"));

        const ScriptError error = manager().error();
        QVERIFY(m_wasRunning);
        QVERIFY(error.isInterrupted() && !error.isTimeLimit());
        QVERIFY2(error.interruptDelay() >= 600,
                 qPrintable(QString::number(error.interruptDelay())));
        QVERIFY2(error.text().contains("scriptinterruptlate"), qPrintable(error.text()));
        verifyClean();
    }

    void endsBeforeTheTimeLimitByAnInterrupt()
    {
        ScriptManager::setTimeLimit(10'000);

        QVERIFY(!run(setUp() + "ready()\ntime.sleep(60)\n"));

        QVERIFY(manager().error().isInterrupted());
        QVERIFY(!manager().error().isTimeLimit());
    }

    void takesNoNegativeLimit()
    {
        ScriptManager::setTimeLimit(-5);

        QCOMPARE(ScriptManager::timeLimit(), 0);
        verifyClean();
    }

private:
    struct Wait
    {
        const char *name;
        QString code;
    };

    /// The four cases that are measured.
    static QList<Wait> waits()
    {
        return {{"a loop", "ready()\nwhile True: pass\n"},
                {"a sleep", "ready()\ntime.sleep(60)\n"},
                {"a pipe", "ready()\nos.read(r, 1)\n"},
                {"a process", "ready()\nhost.call('wait')\n"}};
    }

    static QString setUp()
    {
        return "import host, os, time\nr, w = os.pipe()\ndef ready(): host.call('ready')\n";
    }

    static bool waitForProcess()
    {
        Utils::Process process("sleep", {"60"});
        return process.start() && process.wait(/*showProgress=*/false);
    }

    static bool runProcess()
    {
        Utils::Process process("sleep", {"60"});
        return process.run() != Utils::Process::RunTimedOut ||
               Utils::File::lastError() != ".Kelm.Utils.err.scriptinterrupt";
    }

    void tick()
    {
        Utils::Progress progress(0, "", /*cancelable=*/true, false, false);
        while (progress.tick())
            std::this_thread::sleep_for(1ms);
        m_waited = !progress.cancelled();
    }

    /// Reads from a server that never answers.
    void readForEver()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        m_waited =
            !Utils::File::read(QString("http://127.0.0.1:%1/").arg(server.serverPort())).isEmpty();
    }

    /// Waits as an extension does that nothing can interrupt.
    static void sleepInC(std::chrono::milliseconds time)
    {
        const auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_until(end);
    }

    /// Makes host.call('inner') run \p code.
    void nest(const QString &code, bool &hasSucceeded, ScriptError &error)
    {
        const auto outer = d->standIns.reaction;
        d->standIns.reaction = [&, code, outer](const QString &text) {
            if (text != "inner") {
                outer(text);
                return;
            }
            hasSucceeded = run(code);
            error = manager().error();
        };
    }

    static ScriptManager &manager() { return ScriptManager::instance(); }

    static bool run(const QString &code)
    {
        Variant result("__name__");
        String error;
        return manager().execute(code, "py", result, error);
    }

    static void (*handlerOf(int number))(int)
    {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        return action.sa_handler;
    }

    /// Verifies that nothing of an interrupt is left.
    void verifyClean()
    {
        m_later.reset();
        QVERIFY2(run("import os, time\nt = time.time()\ntime.sleep(0.05)\nt = time.time() - t\n"
                     "a, b = os.pipe()\n"
                     "pid = os.fork()\n"
                     "if not pid:\n  time.sleep(0.05)\n  os.write(b, 'x')\n  os._exit(0)\n"
                     "c = os.read(a, 1)\nos.waitpid(pid, 0)\nos.close(a)\nos.close(b)\n"
                     "for i in xrange(10000): pass\n"),
                 qPrintable(manager().error().traceback()));
        QVERIFY(d->engine.getData("t").toDouble() > 0.049);
        QCOMPARE(d->engine.getData("c"), Variant(String("x")));
    }

    std::optional<PythonFixture> d;
    std::optional<Later> m_later;
    std::chrono::microseconds m_delay = 30ms;
    std::atomic<bool> m_wasRunning = false;
    bool m_waited = false;
    QElapsedTimer m_time;
};

QTEST_GUILESS_MAIN(tst_PythonScript_interrupt)
#include "tst_PythonScript_interrupt.moc"
