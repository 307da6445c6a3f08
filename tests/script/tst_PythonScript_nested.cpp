#include "utils/script/PythonScript_p.h"

#include "utils/script/PythonThreads_p.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"

#include "tests/script/PythonChild.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"

#include <QtTest>

#include <Python.h>

#include <chrono>
#include <utility>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

static const SettingsHome home;

class Module : public Utils::IScriptableModule
{
public:
    Module() : IScriptableModule("m") {}
    bool initialize() override
    {
        if (reaction)
            reaction();
        return true;
    }
    std::function<void()> reaction;
};

class tst_PythonScript_nested : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void runsAScriptWithinAScript()
    {
        const QString inner = d->script("x = y + 1\n", "inner.py");
        const QString outer =
            d->script("import host\ny = 1\nhost.call('')\nz = x + 1\n", "outer.py");
        bool wasExecuting = false;
        d->standIns.reaction = [&](const QString &) {
            QVERIFY(manager().execute(inner));
            wasExecuting = manager().isExecuting();
        };
        Recorder recorder;
        QVERIFY(manager().ScriptExecuted().connect(&recorder,
                                                   SLOT(payload(const Data::VariantCollection &))));

        QVERIFY(manager().execute(outer));

        QVERIFY(wasExecuting);
        QVERIFY(!manager().isExecuting());
        QCOMPARE(d->engine.getData("z"), Variant(3));
        QCOMPARE(recorder.calls, (QStringList{"sig({path=" + inner + ", result=true})",
                                              "sig({path=" + outer + ", result=true})"}));
    }

    void tellsTheOutcomeOfTheOuterRun_data()
    {
        QTest::addColumn<QString>("inner");

        QTest::newRow("a good run") << "x = 1";
        QTest::newRow("a failed one") << "raise ValueError('inner')\n";
        QTest::newRow("a syntax error") << "x = (";
        QTest::newRow("an end of the program") << "import sys\nsys.exit()\n";
    }

    void tellsTheOutcomeOfTheOuterRun()
    {
        QFETCH(QString, inner);
        const QString innerFile = d->script("raise ValueError('inner')\n", "inner.py");
        d->standIns.reaction = [&](const QString &) {
            d->engine.runCode(inner);
            d->engine.runFile(innerFile);
            d->engine.runCode(inner);
        };

        QVERIFY(d->engine.runFile(d->script("import host\nhost.call('')\n")));
        QCOMPARE(d->engine.exitStatus(), 0);
        QCOMPARE(d->engine.errorMessage(), String());

        QVERIFY(!d->engine.runFile(d->script("host.call('')\nraise ValueError('outer')\n")));
        QCOMPARE(d->engine.exitStatus(), -1);
        QCOMPARE(d->engine.errorMessage(), String());

        QVERIFY(d->engine.runCode("host.call('')\n"));
        QCOMPARE(d->engine.errorMessage(), String());

        QVERIFY(!d->engine.runCode("host.call('')\nraise ValueError('outer')\n"));
        QCOMPARE(d->engine.errorMessage(), String("outer"));

        // The conversion of an error to text belongs to the run, too.
        QVERIFY(!d->engine.runCode("class E(Exception):\n"
                                   "    def __str__(self):\n"
                                   "        host.call('')\n"
                                   "        return 'outer'\n"
                                   "raise E\n"));
        QCOMPARE(d->engine.errorMessage(), String("outer"));
    }

    void tellsTheExitStatusOfTheOuterFile()
    {
        const QString inner = d->script("raise ValueError('inner')\n", "inner.py");
        d->standIns.reaction = [&](const QString &) {
            QVERIFY(!d->engine.runFile(inner));
            QCOMPARE(d->engine.exitStatus(), -1);
        };

        QVERIFY(d->engine.runFile(d->script("import host\nhost.call('')\n")));

        QCOMPARE(d->engine.exitStatus(), 0);
    }

    void leavesNoErrorToTheScriptAround()
    {
        d->standIns.reaction = [&](const QString &) {
            QVERIFY(!d->engine.getData("missing").isValid());
            d->engine.popData("missing");
        };

        QVERIFY2(d->engine.runCode("import host\n"
                                   "host.call('')\n"
                                   "x = [n for n in range(3)]\n"
                                   "y = hasattr(host, 'call')\n"),
                 qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->value("len(x)"), Variant(3));
    }

    void givesAndTakesDataWithinARun()
    {
        d->standIns.reaction = [&](const QString &name) {
            d->engine.pushData("given", d->engine.getData(name).toInt() * 2);
            QVERIFY(manager().setDataContext("other", "py"));
        };

        QVERIFY2(d->engine.runCode("import host\nx = 3\nhost.call('x')\ny = given\n"),
                 qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->engine.getData("y"), Variant(6));
    }

    void putsAResetOffUntilTheRunHasReturned_data()
    {
        QTest::addColumn<QString>("how");

        QTest::newRow("a reset") << "reset";
        QTest::newRow("the end of a module") << "module";
        QTest::newRow("several") << "several";
        QTest::newRow("within a run in the run") << "nested";
        QTest::newRow("in a check in the run") << "check";
    }

    void putsAResetOffUntilTheRunHasReturned()
    {
        QFETCH(QString, how);
        auto module = std::make_unique<Module>();
        d->standIns.reaction = [&](const QString &text) {
            if (how == "nested" && text == "outer") {
                QVERIFY(d->engine.runCode("host.call('inner')\n"));
                QVERIFY(Py_IsInitialized());
                return;
            }
            if (how != "module")
                QVERIFY(manager().reset("py"));
            if (how == "module" || how == "several")
                module.reset();
            if (how == "check")
                QVERIFY(d->engine.validate("x = 1"));
            QVERIFY(Py_IsInitialized());
            // Other work of the host continues, too.
            d->engine.pushData("given", 5);
            QCOMPARE(d->engine.getData("given"), Variant(5));
        };

        const QString path = d->script("import host\n"
                                       "host.call('outer')\n"
                                       "open('" +
                                       d->folder.filePath("log").toUtf8() +
                                       "', 'w').write('went on with %d' % given)\n");
        QVERIFY2(d->engine.runFile(path), qPrintable(d->engine.errorMessage()));

        QVERIFY(!Py_IsInitialized());
        QCOMPARE(log(), QByteArray("went on with 5"));
        d->standIns.reaction = nullptr;
        const int initialized = d->standIns.initialized;
        QVERIFY(d->engine.runCode("import host\n"));
        QCOMPARE(d->standIns.initialized, initialized + 1);
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(Py_IsInitialized()); // the interpreter was reset only once
    }

    void tellsTheOutcomeOfARunThatWasReset()
    {
        d->standIns.reaction = [&](const QString &) { d->engine.reset(); };

        QVERIFY(!d->engine.runCode("import host\nhost.call('')\nraise ValueError('no beam')\n"));

        QCOMPARE(d->engine.errorMessage(), String("no beam"));
        QVERIFY(!Py_IsInitialized());

        Variant result("x");
        String error;
        QVERIFY(manager().execute("import host\nx = 1\nhost.call('')\n", "py", result, error));
        QVERIFY(!result.isValid()); // the variable has been removed
    }

    void putsAResetOffThatAModuleAsksForInItsInitialization()
    {
        Module module;
        bool isFirst = true;
        module.reaction = [&] {
            if (std::exchange(isFirst, false))
                d->engine.reset();
        };

        QVERIFY(d->engine.runCode("x = 1"));

        QVERIFY(!Py_IsInitialized());
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(Py_IsInitialized());
    }

    void putsAResetOffThatComesFromTheEndOfAnObject_data()
    {
        QTest::addColumn<QString>("operation");

        QTest::newRow("data replaced") << "push";
        QTest::newRow("data popped") << "pop";
    }

    void putsAResetOffThatComesFromTheEndOfAnObject()
    {
        QFETCH(QString, operation);
        QVERIFY(d->engine.runCode("import host\n"
                                  "class Beam:\n"
                                  "    def __del__(self):\n"
                                  "        host.call('')\n"));
        d->engine.pushData("x", QVariant::fromValue(QList<int>{1}));
        QVERIFY(d->engine.runCode("x.append(Beam())\n"));
        int numCalls = 0;
        d->standIns.reaction = [&](const QString &) {
            ++numCalls;
            d->engine.reset();
            d->engine.pushData("x", "again");
            QVERIFY(Py_IsInitialized());
        };

        if (operation == "push")
            d->engine.pushData("x", 3);
        else
            d->engine.popData("x");

        QCOMPARE(numCalls, 1);
        QVERIFY(!Py_IsInitialized());
        d->standIns.reaction = nullptr;
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void doesNotStartAgainWhileItEnds()
    {
        QVERIFY(d->engine.runCode("import atexit, host\n"
                                  "atexit.register(host.call, 'at exit')\n"
                                  "class Beam:\n"
                                  "    def __init__(self):\n"
                                  "        self.call = host.call\n"
                                  "    def __del__(self):\n"
                                  "        self.call('end of an object')\n"
                                  "beam = Beam()\n"));
        QStringList calls;
        d->standIns.reaction = [&](const QString &text) {
            calls.append(text);
            QVERIFY(!d->engine.runCode("x = 1"));
            QCOMPARE(d->engine.errorMessage(), String("Python not initialized"));
            QVERIFY(!d->engine.runFile(d->script("x = 1\n")));
            QVERIFY(!d->engine.validate("x = 1"));
            d->engine.pushData("x", 1);
            d->engine.getData("beam");
            d->engine.popData("x");
            const Module module; // is destroyed here
            d->engine.reset();
        };

        d->engine.reset();

        QCOMPARE(calls, (QStringList{"at exit", "end of an object"}));
        QVERIFY(!Py_IsInitialized());
        d->standIns.reaction = nullptr;
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void letsThreadsEndBeforeTheInterpreterDoes()
    {
        const QString path = d->folder.filePath("end");
        const QString code = "import thread, time\n"
                             "def f():\n"
                             "    time.sleep(0.2)\n"
                             "    open('%1', 'w').close()\n"
                             "thread.start_new_thread(f, ())\n";
        QVERIFY(d->engine.runCode(code.arg(path)));

        d->engine.reset();

        QVERIFY(QFile::exists(path));
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void endsOnceWhenAnObjectAsksForAResetWhileItEnds()
    {
        QVERIFY(d->engine.runCode("import atexit, host\n"
                                  "atexit.register(host.call, 'at exit')\n"
                                  "class Beam:\n"
                                  "    def __del__(self):\n"
                                  "        host.call('end of an object')\n"));
        d->engine.pushData("x", QVariant::fromValue(QList<int>{1}));
        QVERIFY(d->engine.runCode("x.append(Beam())\n"));
        QStringList calls;
        d->standIns.reaction = [&](const QString &text) {
            calls.append(text);
            if (text == "at exit") {
                d->engine.pushData("x", 1); // destroys the object
                QVERIFY(Py_IsInitialized());
            } else {
                d->engine.reset();
            }
        };

        d->engine.reset();

        QCOMPARE(calls, (QStringList{"at exit", "end of an object"}));
        d->standIns.reaction = nullptr;
        QVERIFY(d->engine.runCode("y = 1"));
        QVERIFY(Py_IsInitialized()); // no reset is pending
    }

    /// A kept interpreter ends before the next run after its last thread, but not before a nested
    /// one.
    void keepsTheInterpreterForARunInWhichItsLastThreadHasEnded()
    {
        const auto patience = std::exchange(Utils::threadPatience, std::chrono::milliseconds(100));
        const auto restore = qScopeGuard([=] { Utils::threadPatience = patience; });
        QVERIFY(d->engine.runCode("import threading, time\n"
                                  "e = threading.Event()\n"
                                  "def wait():\n"
                                  "  while not e.is_set():\n"
                                  "    try: time.sleep(0.01)\n"
                                  "    except SystemExit: pass\n"
                                  "t = threading.Thread(target=wait)\n"
                                  "t.start()\n"));
        d->engine.reset();
        QVERIFY(Py_IsInitialized());
        bool isNested = false;
        d->standIns.reaction = [&](const QString &) { isNested = d->engine.runCode("y = x + 1"); };

        QVERIFY(d->engine.runCode("import host\nx = 1\ne.set()\nt.join()\nhost.call('')\nz = y"));

        QVERIFY(isNested);
        QCOMPARE(d->engine.getData("z"), Variant(2));
        QVERIFY(d->engine.runCode("y = 1"));
        QVERIFY(!d->engine.getData("x").isValid()); // the interpreter has ended before
    }

    void endsARecursionThroughTheHost()
    {
        int depth = 0;
        int deepest = 0;
        d->standIns.reaction = [&](const QString &) {
            deepest = std::max(deepest, ++depth);
            d->engine.runCode("host.call('')\n");
            --depth;
        };

        QVERIFY(d->engine.runCode("import host\nhost.call('')\n"));

        QVERIFY(deepest > 100);
        QCOMPARE(depth, 0);
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void mayBeLeftByTheEndOfTheProcess_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("output");

        const QString beam = "code:import host\n"
                             "class Beam:\n"
                             "    def __init__(self):\n"
                             "        self.call = host.call\n"
                             "    def __del__(self):\n"
                             "        self.call('gone')\n"
                             "beam = Beam()\n";
        QTest::newRow("after a script")
            << QStringList{beam} << QStringList{"good", "gone", "exit 3"};
        QTest::newRow("within a script")
            << QStringList{beam, "code:host.call('exit')"} << QStringList{"good", "exit 4"};
        QTest::newRow("within a file")
            << QStringList{beam, "file:%1"} << QStringList{"good", "exit 4"};
        QTest::newRow("after a reset")
            << QStringList{beam, "reset"} << QStringList{"good", "gone", "exit 3"};
        QTest::newRow("with an object in a list of ours, without an interpreter")
            << QStringList{beam, "push:x", "code:x.append(beam)", "reset"}
            << QStringList{"good", "good", "exit 3"};
    }

    void mayBeLeftByTheEndOfTheProcess()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, output);
        steps.replaceInStrings("%1", d->script("import host\nhost.call('exit')\n"));

        QCOMPARE(runPythonChild(QStringList("PYTHON_DIR=" KELMUTILS_PYTHON_HOME) + steps), output);
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    QByteArray log() const
    {
        QFile file(d->folder.filePath("log"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not readable");
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_nested)
#include "tst_PythonScript_nested.moc"
