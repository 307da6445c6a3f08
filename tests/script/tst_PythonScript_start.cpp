#include "utils/script/PythonScript_p.h"

#include "utils/process/Process.h"
#include "utils/script/PythonThreads_p.h"

#include "tests/script/PythonChild.h"
#include "tests/script/PythonFixture.h"
#include "tests/strings/Catalogue.h"
#include "tests/support/Print.h"

#include <QtTest>

#include <Python.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

using Data::String;
using Data::Variant;

static const SettingsHome settingsHome;

class Module : public Utils::IScriptableModule
{
public:
    explicit Module(const char *name, bool succeeds) : IScriptableModule(name), m_succeeds(succeeds)
    {}
    bool initialize() override
    {
        ++initialized;
        wasRunning = Py_IsInitialized();
        return m_succeeds;
    }

    int initialized = 0;
    bool wasRunning = false;

private:
    bool m_succeeds;
};

class tst_PythonScript_start : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qunsetenv("PYTHONPATH"); }

    void init()
    {
        d.emplace();
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".err.pythonInit", "no Python: <%1>");
        putText(".Kelm.Utils", ".err.pythonapp", "no application");
    }

    void cleanup()
    {
        d.reset();
        resetCatalogue();
        QVERIFY(!Py_IsInitialized()); // the destructor of the engine ends the interpreter
    }

    void startsAtTheFirstRunOrCheck_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<bool>("starts");

        QTest::newRow("nothing") << "" << false;
        QTest::newRow("a file") << "runFile" << true;
        QTest::newRow("a missing file") << "runMissingFile" << true;
        QTest::newRow("code") << "runCode" << true;
        QTest::newRow("a check") << "validate" << true;
        QTest::newRow("data pushed") << "pushData" << false;
        QTest::newRow("data asked for") << "getData" << false;
        QTest::newRow("data popped") << "popData" << false;
        QTest::newRow("imports") << "importCode" << false;
        QTest::newRow("a reset") << "reset" << false;
        QTest::newRow("the end of a module") << "moduleRemoved" << false;
    }

    void startsAtTheFirstRunOrCheck()
    {
        QFETCH(QString, operation);
        QFETCH(bool, starts);
        Utils::IScriptEngine &engine = d->engine;
        const QMap<QString, std::function<void()>> operations{
            {"runFile", [&] { QVERIFY(engine.runFile(d->script("x = 1\n"))); }},
            {"runMissingFile", [&] { QVERIFY(!engine.runFile("missing.py")); }},
            {"runCode", [&] { QVERIFY(engine.runCode("x = 1")); }},
            {"validate", [&] { QVERIFY(engine.validate("x = 1")); }},
            {"pushData", [&] { engine.pushData("x", 1); }},
            {"getData", [&] { engine.getData("x"); }},
            {"popData", [&] { engine.popData("x"); }},
            {"importCode", [&] { engine.importCode(); }},
            {"reset", [&] { engine.reset(); }},
            {"moduleRemoved", [&] { engine.moduleRemoved("m"); }},
        };

        operations.value(operation, [] {})();

        QCOMPARE(Py_IsInitialized() != 0, starts);
        QCOMPARE(d->host.calls.isEmpty(), !starts);
    }

    void needsAHost()
    {
        Utils::setApplication(nullptr);

        for (const auto &fails : everyRun()) {
            QVERIFY(fails());
            QCOMPARE(d->engine.errorMessage(), String("no application"));
            QCOMPARE(d->engine.exitStatus(), 0);
        }

        Utils::setApplication(&d->host);
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->engine.errorMessage(), String());
    }

    void needsAHostOnlyToStart()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        Utils::setApplication(nullptr);

        QVERIFY(d->engine.runCode("x = 2"));

        d->engine.reset();
        QVERIFY(!d->engine.runCode("x = 3"));
        QCOMPARE(d->engine.errorMessage(), String("no application"));
    }

    void asksTheHostForItsFolders()
    {
        QVERIFY(d->engine.runCode("x = 1"));

        QStringList asked = d->host.calls.filter("getVariable");
        asked.removeDuplicates();
        QCOMPARE(asked, (QStringList{"getVariable(APP_PATH, )", "getVariable(PYTHON_DIR, )",
                                     "getVariable(HOME_DIR, )", "getVariable(RES_DIR, )"}));

        d->host.calls.clear();
        QVERIFY(d->engine.runCode("x = 2"));
        QVERIFY(d->host.calls.isEmpty());
    }

    void givesPythonTheNameOfTheProgramAndItsHome()
    {
        const QStringList values{"value:sys.executable", "value:sys.prefix",
                                 "value:sys.exec_prefix"};
        // Python reads them once in a process, and the engine asks for the name once, too.
        const QStringList output = runPythonChild(
            QStringList{"PYTHON_DIR=" KELMUTILS_PYTHON_HOME, "APP_PATH=/opt/\u00e4/app"} + values +
            QStringList{"reset", "APP_PATH=/opt/other/app"} + values);

        const QStringList once{"/opt/\u00e4/app", KELMUTILS_PYTHON_HOME, KELMUTILS_PYTHON_HOME};
        QCOMPARE(output, once + once + QStringList("exit 3"));
    }

    void livesThroughWhatTheHostDoesWhenItIsAsked_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("startsWithoutAHost");

        QTest::newRow("the program") << "APP_PATH" << false;
        QTest::newRow("the home of Python") << "PYTHON_DIR" << true;
        QTest::newRow("the home of the application") << "HOME_DIR" << true;
        QTest::newRow("the resources") << "RES_DIR" << true;
    }

    void livesThroughWhatTheHostDoesWhenItIsAsked()
    {
        QFETCH(QString, key);
        QFETCH(bool, startsWithoutAHost);
        bool isFirst = true;
        const auto whenAsked = [&](const std::function<void()> &reaction) {
            isFirst = true;
            d->host.reaction = [&, reaction](const QString &call) {
                if (call.startsWith("getVariable(" + key) && std::exchange(isFirst, false))
                    reaction();
            };
        };

        whenAsked([&] { QVERIFY(d->engine.runCode("x = 1")); });
        QVERIFY2(d->engine.runCode("y = x"), qPrintable(d->engine.errorMessage()));

        d.emplace(); // with a new engine, which asks for everything again
        whenAsked([&] { d->engine.reset(); });
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(!Py_IsInitialized()); // the reset was delayed until here

        d.emplace();
        whenAsked([] { Utils::setApplication(nullptr); });
        QCOMPARE(d->engine.runCode("x = 1"), startsWithoutAHost);
        QCOMPARE(d->engine.errorMessage(), startsWithoutAHost ? String() : "no Python: <>");
    }

    void asksForTheNameOfTheProgramOnce()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        d->engine.reset();
        QVERIFY(d->engine.runCode("x = 1"));

        QCOMPARE(d->host.calls.filter("APP_PATH").size(), 1);
        QCOMPARE(d->host.calls.filter("PYTHON_DIR").size(), 2);
    }

    void startsWithoutANameOfTheProgram()
    {
        QCOMPARE(runPythonChild({"PYTHON_DIR=" KELMUTILS_PYTHON_HOME, "code:x = 1"}),
                 (QStringList{"good", "exit 3"}));
    }

    void needsAHomeThatExists_data()
    {
        QTest::addColumn<QString>("home");

        QTest::newRow("none") << "";
        QTest::newRow("a missing folder") << "/missing/folder";
    }

    void needsAHomeThatExists()
    {
        QFETCH(QString, home);
        d->host.variables["PYTHON_DIR"] = home;

        for (const auto &fails : everyRun()) {
            QVERIFY(fails());
            QCOMPARE(d->engine.errorMessage(), String("no Python: <>"));
        }
        QVERIFY(!Py_IsInitialized());
    }

    void takesAnArchiveInTheHomeOfTheApplication()
    {
        // The interpreter itself creates the archive.
        const String archive = d->folder.filePath("python27.zip");
        QVERIFY2(d->engine.runCode("import os, sys, zipfile\n"
                                   "library = os.path.dirname(os.__file__)\n"
                                   "archive = zipfile.ZipFile('" +
                                   archive +
                                   "', 'w')\n"
                                   "def add(path, name):\n"
                                   "    if os.path.isfile(path) and path.endswith('.py'):\n"
                                   "        archive.write(path, name)\n"
                                   "for folder in ('', 'encodings'):\n"
                                   "    for name in os.listdir(os.path.join(library, folder)):\n"
                                   "        name = os.path.join(folder, name)\n"
                                   "        add(os.path.join(library, name), name)\n"
                                   "platform = 'plat-' + getattr(sys, '_multiarch', '')\n"
                                   "name = '_sysconfigdata_nd.py'\n"
                                   "add(os.path.join(library, platform, name), name)\n"
                                   "archive.close()\n"),
                 qPrintable(d->engine.errorMessage()));

        QCOMPARE(runPythonChild({"HOME_DIR=" + d->folder.path(), "value:sys.prefix",
                                 "value:__import__('os').__file__",
                                 "value:__import__('random').__file__",
                                 "value:__import__('os').environ.get('PYTHONPATH')", "reset",
                                 "value:__import__('os').__file__"}),
                 (QStringList{d->folder.path(), archive + "/os.py", archive + "/random.py", "",
                              archive + "/os.py", "exit 3"}));

        const QString home = "HOME_DIR=" + d->folder.path();
        const QString hex = "value:'61'.decode('hex')";
        QCOMPARE(runPythonChild({home, hex, "value:u'\\u20ac'.encode('cp1252') == '\\x80'",
                                 "value:sys.getfilesystemencoding() is not None", "reset", hex}),
                 (QStringList{"a", "true", "true", "a", "exit 3"}));

        qputenv("PYTHONPATH", "/modules");
        QCOMPARE(runPythonChild({home, "value:sys.path[0]", "value:sys.path[1]",
                                 "value:__import__('os').environ['PYTHONPATH']"}),
                 (QStringList{archive, "/modules", "/modules", "exit 3"}));
        qunsetenv("PYTHONPATH");
    }

    void doesNotStartInAHomeWithoutALibrary_data()
    {
        QTest::addColumn<QString>("home");

        QTest::newRow("an empty folder") << "PYTHON_DIR=%1/empty";
        QTest::newRow("a file") << "PYTHON_DIR=%1/python27.zip";
        QTest::newRow("an archive that is none") << "HOME_DIR=%1";
    }

    void doesNotStartInAHomeWithoutALibrary()
    {
        QFETCH(QString, home);
        QVERIFY(QDir(d->folder.path()).mkdir("empty"));
        QVERIFY(!d->script("no archive", "python27.zip").isEmpty());
        const QString path = d->script("x = 1\n");

        QCOMPARE(runPythonChild({home.arg(d->folder.path()), "file:" + path, "code:x = 1",
                                 "check:x = 1", "push:x", "code:x = 1"}),
                 (QStringList{"bad: showMessage(.Kelm.Utils.err.scriptRun, 1)",
                              "bad: Python not initialized", "bad: ", "bad: Python not initialized",
                              "exit 3"}));
    }

    void startsInAGoodHomeBehindOneWithoutALibrary_data()
    {
        doesNotStartInAHomeWithoutALibrary_data();

        QTest::newRow("a library of something else") << "PYTHON_DIR=%1/other";
    }

    void startsInAGoodHomeBehindOneWithoutALibrary()
    {
        QFETCH(QString, home);
        QVERIFY(QDir(d->folder.path()).mkdir("empty"));
        QVERIFY(!d->script("no archive, though it is as long as one", "python27.zip").isEmpty());
        QVERIFY(!d->script("", "other/lib/beams.py").isEmpty());

        QCOMPARE(
            runPythonChild({home.arg(d->folder.path()), "code:x = 1",
                            "PYTHON_DIR=" KELMUTILS_PYTHON_HOME, "code:x = 1", "value:sys.prefix"}),
            (QStringList{"bad: Python not initialized", "good", KELMUTILS_PYTHON_HOME, "exit 3"}));
    }

    void importsSiteAsUsual()
    {
        QVERIFY(d->engine.runCode("exit, quit, help\n"));
        QCOMPARE(d->value("'site' in sys.modules"), Variant(true));
    }

    void runsTheStartUpProgramWithTheHomeAndAPath()
    {
        makeStartUpProgram("printf '%s|' \"$#\" \"$1\" \"$PATH\" > \"${0%/solver/pyInit}/log\"");

        QVERIFY(d->engine.runCode("x = 1"));

        const QString path = d->folder.path() + ";" + QString::fromLocal8Bit(qgetenv("PATH"));
        QCOMPARE(log(), QString("1|" KELMUTILS_PYTHON_HOME "|" + path + "|"));
    }

    void runsTheStartUpProgramUntilItHasSucceeded()
    {
        makeStartUpProgram("echo run >> \"${0%/solver/pyInit}/log\"\n"
                           "echo no licence\n"
                           "echo for you >&2\n"
                           "exit 3");
        for (const auto &fails : everyRun()) {
            QVERIFY(fails());
            QCOMPARE(d->engine.errorMessage(), String("no Python: <no licence\nfor you\n>"));
            QVERIFY(!Py_IsInitialized());
        }
        QCOMPARE(log(), QString("run\nrun\nrun\n"));
        QVERIFY(!Utils::PythonInterpreter::isStartUpProgramDone);

        makeStartUpProgram("echo good >> \"${0%/solver/pyInit}/log\"\n"
                           "echo ignored");
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->engine.errorMessage(), String());
        QVERIFY(Utils::PythonInterpreter::isStartUpProgramDone);

        d->engine.reset();
        QVERIFY(d->engine.runCode("x = 2"));
        QCOMPARE(log(), QString("run\nrun\nrun\ngood\n"));
    }

    void doesNotStartWhenTheStartUpProgramIsKilled()
    {
        makeStartUpProgram("echo hanging\n"
                           "kill -9 $$");

        QVERIFY(!d->engine.runCode("x = 1"));

        QCOMPARE(d->engine.errorMessage(), String("no Python: <hanging\n>"));
        QVERIFY(!Utils::PythonInterpreter::isStartUpProgramDone);
    }

    void doesNotStartWhenTheHostHasAHangingStartUpProgramKilled()
    {
        makeStartUpProgram("echo $$ > \"${0%/solver/pyInit}/log\"\n"
                           "exec sleep 600");
        d->host.reaction = [&](const QString &call) {
            if (call.startsWith("setProgress("))
                Utils::Process::kill(log().toLongLong());
        };

        QVERIFY(!d->engine.runCode("x = 1"));

        QCOMPARE(d->engine.errorMessage(), String("no Python: <>"));
        QVERIFY(!Py_IsInitialized());
    }

    void startsAllTheSameWhenTheStartUpProgramCannotBeStarted_data()
    {
        QTest::addColumn<QString>("what");

        QTest::newRow("missing") << "";
        QTest::newRow("not executable") << "plain";
        QTest::newRow("a folder") << "folder";
        QTest::newRow("no program") << "interpreter";
    }

    void startsAllTheSameWhenTheStartUpProgramCannotBeStarted()
    {
        QFETCH(QString, what);
        if (what == "plain")
            QVERIFY(!d->script("exit 3", "solver/pyInit").isEmpty());
        else if (what == "folder")
            QVERIFY(QDir(d->folder.path()).mkpath("solver/pyInit"));
        else if (what == "interpreter")
            makeProgram("#!/missing/interpreter\n");

        QVERIFY2(d->engine.runCode("x = 1"), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->engine.errorMessage(), String());
        QVERIFY(!Utils::PythonInterpreter::isStartUpProgramDone);
    }

    void runsAStartUpProgramThatComesLater()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        makeStartUpProgram("echo run >> \"${0%/solver/pyInit}/log\"");

        QVERIFY(d->engine.runCode("x = 2")); // the interpreter runs already
        QCOMPARE(log(), QString());

        d->engine.reset();
        QVERIFY(d->engine.runCode("x = 3"));
        QCOMPARE(log(), QString("run\n"));
    }

    void leavesTheHandlingOfSignalsToTheHost()
    {
        // The signals that Python handles by default. A new process has no handlers for them.
        const int signalNumbers[] = {SIGINT, SIGXFSZ};
        struct sigaction before[2] = {};
        for (int i = 0; i < 2; ++i) {
            struct sigaction byDefault = {};
            byDefault.sa_handler = SIG_DFL;
            QCOMPARE(sigaction(signalNumbers[i], &byDefault, &before[i]), 0);
        }
        const auto restore = qScopeGuard([&] {
            for (int i = 0; i < 2; ++i)
                sigaction(signalNumbers[i], &before[i], nullptr);
        });

        QVERIFY(d->engine.runCode("x = 1"));

        for (int number : signalNumbers) {
            struct sigaction after = {};
            QCOMPARE(sigaction(number, nullptr, &after), 0);
            QVERIFY(after.sa_handler == SIG_DFL);
        }
    }

    void addsTheModulesOfTheResourcesToTheSearchPath()
    {
        QVERIFY(!d->script("x = 'of the site'\n", "site-packages/beams.py").isEmpty());

        QVERIFY2(d->engine.runCode("import beams\n"), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->value("beams.x"), Variant("of the site"));
        QCOMPARE(d->value("sys.path[-1]"), Variant(d->folder.path() + "/site-packages"));
    }

    void doesNotEscapeTheResources_data()
    {
        QTest::addColumn<QString>("resources");
        QTest::addColumn<QString>("last");

        // clang-format off
        QTest::newRow("a quote") << "/it's" << "";
        QTest::newRow("a newline") << "/a\nb" << "";
        QTest::newRow("a backslash") << "C:\\lib" << "C:\\lib/site-packages";
        QTest::newRow("an escape sequence") << "C:\\temp" << "C:\temp/site-packages";
        QTest::newRow("not ASCII") << "/\u00e4" << "/\u00e4/site-packages";
        QTest::newRow("an end of the program") << "');sys.exit(3)#" << "";
        QTest::newRow("nothing") << "" << "/site-packages";
        // clang-format on
    }

    void doesNotEscapeTheResources()
    {
        QFETCH(QString, resources);
        QFETCH(QString, last);
        d->host.variables["RES_DIR"] = resources;

        QVERIFY2(d->engine.runCode("import sys\n"), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->value("sys.path[-1].endswith('/site-packages')"), Variant(!last.isEmpty()));
        if (!last.isEmpty())
            QCOMPARE(d->value("sys.path[-1]"), Variant(last));
    }

    void keepsTheFlagsOfPythonAsTheyAre()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(d->engine.runFile(d->script("x = 1\n")));

        QCOMPARE(Py_NoSiteFlag, 0);
        QCOMPARE(Py_InspectFlag, 0);
    }

    void leavesSysInTheScopeOfScripts() { QCOMPARE(d->value("sys.maxint > 0"), Variant(true)); }

    void initializesModulesAtTheStartAndLaterOnes()
    {
        Module early("early", true);
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(early.wasRunning);
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(early.initialized, 1);

        const auto late = std::make_unique<Module>("late", true);
        QVERIFY(d->engine.validate("x = 1"));
        QCOMPARE(late->initialized, 1);
        QCOMPARE(early.initialized, 1);

        d->engine.reset();
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(early.initialized, 2);
        QCOMPARE(late->initialized, 2);
    }

    void startsAllTheSameWhenAModuleFails()
    {
        const String error = "ERROR: Failed to initialize scripting module for bad";
        const Module module("bad", false);
        const QString path = d->script("x = 1\n");

        QVERIFY(d->engine.runFile(path));
        QCOMPARE(d->engine.errorMessage(), error);

        QVERIFY(d->engine.runFile(path)); // it is not tried again
        QCOMPARE(d->engine.errorMessage(), String());

        const Module another("bad", false);
        QVERIFY(d->engine.runFile(path)); // the interpreter runs already
        QCOMPARE(d->engine.errorMessage(), error);

        d->engine.reset();
        QVERIFY(d->engine.runCode("x = 1")); // code has an error text of its own
        QCOMPARE(d->engine.errorMessage(), String());
    }

    void initializesModulesBehindAnErrorThatWasLeft()
    {
        struct Checker : Utils::IScriptableModule
        {
            Checker() : IScriptableModule("checker") {}
            bool initialize() override
            {
                sawError = PyErr_Occurred() != nullptr;
                return true;
            }
            bool sawError = true;
        };
        QVERIFY(d->engine.runCode("x = 1"));
        d->engine.getData("missing");
        QVERIFY(PyErr_Occurred());

        const Checker checker;
        QVERIFY(d->engine.runCode("x = 1"));

        QVERIFY(!checker.sawError);
    }

    void runsAfterAnEndThatTheHostHasBrokenOff()
    {
        QVERIFY(d->engine.runCode("import threading, time\n"
                                  "stops = []\n"
                                  "def work():\n"
                                  "  while not stops:\n"
                                  "    try: time.sleep(0.01)\n"
                                  "    except SystemExit: pass\n"
                                  "thread = threading.Thread(target=work)\n"
                                  "thread.start()\n"));
        Utils::threadPatience = std::chrono::milliseconds(10);
        d->host.reaction = [](const QString &call) {
            if (call.startsWith("logMessage(Thread of a script goes on"))
                throw std::runtime_error("of the host");
        };

        bool hasThrown = false;
        try {
            d->engine.reset();
        } catch (const std::runtime_error &) {
            hasThrown = true;
        }
        d->host.reaction = nullptr;
        const bool succeeded = d->engine.runCode("stops.append(1)\nthread.join()\n");
        Utils::threadPatience = std::chrono::seconds(1);

        QVERIFY(hasThrown);
        QVERIFY2(succeeded, qPrintable(d->engine.errorMessage()));
    }

    void hasTheModulesOfTheLibrary()
    {
        QVERIFY2(d->engine.runCode("from KelmUtils import Utils\n"),
                 qPrintable(d->engine.errorMessage()));
        QCOMPARE(d->value("str(Utils.File.join('a', 'b'))"), Variant("a/b"));

        d->engine.reset();
        QCOMPARE(d->value("str(__import__('KelmUtils').Utils.File.join('a', 'b'))"),
                 Variant("a/b"));
    }

    void hasTheModulesOfTheLibraryAlsoWhenTheyWereInitializedBeforeTheStart()
    {
        String messages;
        QVERIFY(Utils::IScriptableModule::initializeModules(messages));

        QCOMPARE(d->value("str(__import__('KelmUtils').Utils.File.join('a', 'b'))"),
                 Variant("a/b"));
    }

    void takesAnInterpreterThatRunsAlready()
    {
        static char pythonHome[] = KELMUTILS_PYTHON_HOME;
        Py_SetPythonHome(pythonHome);
        Py_InitializeEx(0);
        d->host.calls.clear();

        QVERIFY(d->engine.runCode("x = 1"));

        QVERIFY(d->host.calls.isEmpty());
        QCOMPARE(d->standIns.initialized, 1);
    }

    void endsTheInterpreterAtAReset()
    {
        QVERIFY(d->engine.runCode("x = 1"));

        d->engine.reset();

        QVERIFY(!Py_IsInitialized());
        QVERIFY(!d->engine.getData("x").isValid());
        QVERIFY(d->engine.runCode("y = 1"));
        QVERIFY(!d->engine.getData("x").isValid());
    }

    void endsTheInterpreterWithAModule()
    {
        auto module = std::make_unique<Module>("m", true);
        QVERIFY(d->engine.runCode("x = 1"));

        module.reset();

        QVERIFY(!Py_IsInitialized());
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->standIns.initialized, 2);
    }

    void resetsModulesAlsoWhenNothingRuns()
    {
        Module module("m", true);
        String messages;
        Utils::IScriptableModule::initializeModules(messages);

        d->engine.reset();
        Utils::IScriptableModule::initializeModules(messages);

        QCOMPARE(module.initialized, 2);
    }

    void mayBeRestartedOverAndOver()
    {
        for (int i = 0; i < 10; ++i) {
            d->engine.pushData("before", i);
            QVERIFY(d->engine.runCode("import re, random\nx = 1\n"));
            d->engine.pushData("x", i);
            QVERIFY2(d->engine.runCode("x"), qPrintable(d->engine.errorMessage()));
            QCOMPARE(d->result(), Variant(i));
            d->engine.reset();
        }
    }

private:
    /// Operations that fail when the engine cannot start.
    QList<std::function<bool()>> everyRun()
    {
        return {[this] { return !d->engine.runFile(d->script("x = 1\n")); },
                [this] { return !d->engine.runCode("x = 1"); },
                [this] { return !d->engine.validate("x = 1"); }};
    }

    void makeProgram(const QByteArray &text)
    {
        const QString path = d->script(text, "solver/pyInit");
        QVERIFY(
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    void makeStartUpProgram(const QByteArray &commands)
    {
        makeProgram("#!/bin/sh\n" + commands + "\n");
    }

    /// The text that start-up programs have written to the file "log" in the home.
    QString log() const
    {
        QFile file(d->folder.filePath("log"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_start)
#include "tst_PythonScript_start.moc"
