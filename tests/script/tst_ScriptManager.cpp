#include "utils/script/ScriptManager.h"

#include "utils/Application.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/ModuleList_p.h"

#include "tests/script/FakeEngine.h"
#include "tests/strings/Catalogue.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"

#include <QProcess>
#include <QTemporaryFile>
#include <QtTest>

#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>

#include <unistd.h>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

/// Redirects \p stream to a file during its lifetime.
class Redirection
{
public:
    explicit Redirection(std::FILE *stream) : m_stream(stream)
    {
        std::fflush(m_stream);
        m_original = dup(fileno(m_stream));
        m_isValid =
            m_original >= 0 && m_file.open() && dup2(m_file.handle(), fileno(m_stream)) >= 0;
    }
    ~Redirection()
    {
        std::fflush(m_stream);
        dup2(m_original, fileno(m_stream));
        close(m_original);
    }
    Q_DISABLE_COPY(Redirection)

    bool isValid() const { return m_isValid; }

    /// The content of the file.
    QByteArray arrived() const
    {
        QFile file(m_file.fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not readable");
    }

private:
    std::FILE *m_stream;
    QTemporaryFile m_file;
    int m_original = -1;
    bool m_isValid = false;
};

class Module : public Utils::IScriptableModule
{
public:
    explicit Module(const char *name) : IScriptableModule(name) {}
    Module(const Module &) = default;
    bool initialize() override { return true; }
};

class tst_ScriptManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A query for whether there is a manager does not create it.
        {
            const Module module("a");
        }
        QVERIFY(!Utils::ScriptManagerPrivate::ifAlive());

        ScriptManager &manager = ScriptManager::instance();

        QVERIFY(Utils::ScriptManagerPrivate::ifAlive());
        QCOMPARE(&ScriptManager::instance(), &manager);
        QVERIFY(!manager.isExecuting());
        QCOMPARE(Utils::Signal::find("ScriptExecuted"), &manager.ScriptExecuted());
    }

    void init()
    {
        m_calls.clear();
        m_lua.emplace("lua", m_calls);
        m_py.emplace("py", m_calls);
        m_otherPy.emplace("py", m_calls);
        m_engines.emplace(QList<Utils::IScriptEngine *>{&*m_lua, &*m_py, &*m_otherPy});
        m_host.emplace();
        Utils::setApplication(&*m_host);
        resetCatalogue();
    }

    void cleanup()
    {
        m_engines.reset();
        Utils::setApplication(nullptr);
        resetCatalogue();
    }

    void choosesTheFirstEngineThatTakesALanguageOrAPath_data()
    {
        QTest::addColumn<QString>("languageOrPath");
        QTest::addColumn<QString>("engine");

        // clang-format off
        QTest::newRow("a language") << "py" << "py";
        QTest::newRow("another language") << "lua" << "lua";
        QTest::newRow("a path") << "scripts/loads.py" << "py";
        QTest::newRow("another path") << "a.py.lua" << "lua";
        QTest::newRow("a language that nobody takes") << "tcl" << "";
        QTest::newRow("a path that nobody takes") << "a.txt" << "";
        QTest::newRow("nothing") << "" << "";
        // clang-format on
    }

    void choosesTheFirstEngineThatTakesALanguageOrAPath()
    {
        QFETCH(QString, languageOrPath);
        QFETCH(QString, engine);
        const bool isTaken = !engine.isEmpty();
        const auto called = [&](const QString &operation) {
            const QStringList expected =
                isTaken ? QStringList(engine + "." + operation) : QStringList();
            const bool isAsExpected = m_calls == expected;
            if (!isAsExpected)
                qWarning() << m_calls << expected;
            m_calls.clear();
            return isAsExpected;
        };
        Variant result;
        String error;

        QCOMPARE(manager().supports(languageOrPath), isTaken);
        QVERIFY(m_calls.isEmpty());
        QCOMPARE(manager().execute(languageOrPath), isTaken);
        QVERIFY(called("runFile(" + languageOrPath + ")"));
        QCOMPARE(manager().execute("code", languageOrPath, result, error), isTaken);
        QVERIFY(called("runCode(code)"));
        QCOMPARE(manager().validate("code", languageOrPath, error), isTaken);
        QVERIFY(called("validate(code)"));
        QCOMPARE(manager().importCode(languageOrPath),
                 isTaken ? String("import " + engine + "\n") : String());
        QVERIFY(called("importCode()"));
    }

    void showsThatAScriptRunsAndThatItHasRun()
    {
        loadTexts();
        m_py->reaction = [this](const QString &) { m_host->calls.append("run"); };

        QVERIFY(manager().execute("a.py"));

        QCOMPARE(m_host->calls,
                 (QStringList{"showMessage(runs a.py, 1)", "run", "showMessage(has run, 1)"}));
    }

    void showsWhyAScriptFailed()
    {
        loadTexts();
        m_py->succeeds = false;
        m_py->status = -7;
        m_py->error = "no %1 beam";

        QVERIFY(!manager().execute("a.py"));

        QCOMPARE(m_host->calls, (QStringList{"showMessage(runs a.py, 1)",
                                             "showMessage(failed: -7, no %1 beam, 1)"}));
    }

    void showsOnlyThatAScriptRunsWithoutAnEngine()
    {
        loadTexts();
        Recorder recorder;
        connectRecorder(recorder);

        QVERIFY(!manager().execute("a.txt"));

        QCOMPARE(m_host->calls, QStringList("showMessage(runs a.txt, 1)"));
        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig({path=a.txt, result=false})"}));
        QVERIFY(m_calls.isEmpty());
        QVERIFY(!manager().isExecuting());
    }

    void showsKeysWithoutACatalogue()
    {
        QVERIFY(manager().execute("a.py"));
        m_py->succeeds = false;
        QVERIFY(!manager().execute("a.py"));

        QCOMPARE(m_host->calls, (QStringList{"showMessage(.Kelm.Utils.msg.scriptRunning, 1)",
                                             "showMessage(.Kelm.Utils.msg.scriptRun, 1)",
                                             "showMessage(.Kelm.Utils.msg.scriptRunning, 1)",
                                             "showMessage(.Kelm.Utils.err.scriptRun, 1)"}));
    }

    void runsWithoutAHost()
    {
        Utils::setApplication(nullptr);

        QVERIFY(manager().execute("a.py"));
        m_py->succeeds = false;
        QVERIFY(!manager().execute("a.py"));

        QCOMPARE(m_calls, (QStringList{"py.runFile(a.py)", "py.runFile(a.py)"}));
        QVERIFY(m_host->calls.isEmpty());
    }

    void asksForTheHostAnewForEachText()
    {
        FakeHost other;
        m_py->reaction = [&](const QString &) { Utils::setApplication(&other); };

        manager().execute("a.py");

        QCOMPARE(m_host->calls.size(), 1);
        QCOMPARE(other.calls, QStringList("showMessage(.Kelm.Utils.msg.scriptRun, 1)"));
    }

    void flushesWhatAScriptPrintedBeforeItShowsTheOutcome_data()
    {
        QTest::addColumn<bool>("isError");
        QTest::addColumn<bool>("succeeds");

        QTest::newRow("output") << false << true;
        QTest::newRow("errors") << true << true;
        QTest::newRow("output of a failed run") << false << false;
    }

    void flushesWhatAScriptPrintedBeforeItShowsTheOutcome()
    {
        QFETCH(bool, isError);
        QFETCH(bool, succeeds);
        std::FILE *const stream = isError ? stderr : stdout;
        static char buffer[BUFSIZ];
        std::setvbuf(stream, buffer, _IOFBF, sizeof(buffer)); // stderr has no buffer by default
        m_py->succeeds = succeeds;
        m_py->reaction = [=](const QString &) { std::fputs("loads", stream); };
        QByteArray arrived;
        bool isRedirected = false;
        {
            const Redirection redirection(stream);
            isRedirected = redirection.isValid();
            m_host->reaction = [&](const QString &) { arrived = redirection.arrived(); };

            manager().execute("a.py");
        }
        if (isError)
            std::setvbuf(stream, nullptr, _IONBF, 0);
        else
            std::setvbuf(stream, nullptr, _IOLBF, BUFSIZ);

        QVERIFY(isRedirected);
        QCOMPARE(arrived, QByteArray("loads"));
    }

    void tellsOfEveryFileRun_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<QString>("payload");

        QTest::newRow("good") << "a.py" << true << "{path=a.py, result=true}";
        QTest::newRow("failed") << "a.py" << false << "{path=a.py, result=false}";
        QTest::newRow("no engine") << "a.txt" << true << "{path=a.txt, result=false}";
    }

    void tellsOfEveryFileRun()
    {
        QFETCH(QString, path);
        QFETCH(bool, succeeds);
        QFETCH(QString, payload);
        m_py->succeeds = succeeds;
        Recorder recorder;
        connectRecorder(recorder);

        manager().execute(path);

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(" + payload + ")"}));
        QVERIFY(manager().ScriptExecuted().data().isEmpty());
    }

    void givesThePathAsTextAndTheResultAsABool()
    {
        Data::VariantCollection payload;
        Recorder recorder;
        manager().ScriptExecuted().connect(&recorder, SLOT(bare()));
        recorder.reaction = [&] { payload = manager().ScriptExecuted().data(); };

        manager().execute("a.py");

        QCOMPARE(payload.size(), 2);
        QCOMPARE(payload["path"].userType(), int(QMetaType::QString));
        QCOMPARE(payload["result"].userType(), int(QMetaType::Bool));
    }

    void isExecutingWhileTheFileRunsAndTheTextsAreShownButNotWhenTheSignalIsSent()
    {
        QStringList states;
        const auto note = [&](const QString &when) {
            states.append(when + (manager().isExecuting() ? "+" : "-"));
        };
        m_host->reaction = [&](const QString &) { note("text"); };
        m_py->reaction = [&](const QString &) { note("run"); };
        Recorder recorder;
        manager().ScriptExecuted().connect(&recorder, SLOT(bare()));
        recorder.reaction = [&] { note("signal"); };

        manager().execute("a.py");
        note("end");

        QCOMPARE(states, (QStringList{"text+", "run+", "text+", "signal-", "end-"}));
    }

    void countsNestedRuns()
    {
        QStringList states;
        Recorder recorder;
        manager().ScriptExecuted().connect(&recorder,
                                           SLOT(payload(const Data::VariantCollection &)));
        recorder.reaction = [&] { states.append(manager().isExecuting() ? "inside" : "outside"); };
        m_py->reaction = [&](const QString &operation) {
            if (operation == "runFile(a.py)") {
                manager().execute("b.py");
                manager().execute("c.txt");
                states.append(manager().isExecuting() ? "inside" : "outside");
            }
        };

        QVERIFY(manager().execute("a.py"));

        QCOMPARE(states, (QStringList{"inside", "inside", "inside", "outside"}));
        QCOMPARE(recorder.calls,
                 (QStringList{"sig({path=b.py, result=true})", "sig({path=c.txt, result=false})",
                              "sig({path=a.py, result=true})"}));
        QVERIFY(!manager().isExecuting());
    }

    void isNotExecutingAfterAnException()
    {
        m_py->reaction = [](const QString &) { throw std::runtime_error("of the engine"); };
        QVERIFY_EXCEPTION_THROWN(manager().execute("a.py"), std::runtime_error);
        QVERIFY(!manager().isExecuting());

        m_py->reaction = nullptr;
        m_host->reaction = [](const QString &) { throw std::runtime_error("of the host"); };
        QVERIFY_EXCEPTION_THROWN(manager().execute("a.py"), std::runtime_error);
        QVERIFY(!manager().isExecuting());
    }

    void readsTheVariableThatTheResultNames()
    {
        m_py->variables["x"] = 1.5;
        Variant result("x");
        String error("untouched");

        QVERIFY(manager().execute("x = 1.5", "py", result, error));

        QCOMPARE(result, Variant(1.5));
        QCOMPARE(error, String("untouched"));
        QCOMPARE(m_calls, (QStringList{"py.runCode(x = 1.5)", "py.getData(x)"}));
    }

    void asksForTheTextOfAnyVariant()
    {
        m_py->variables["5"] = "five";
        Variant result(5);
        String error;

        QVERIFY(manager().execute("code", "py", result, error));

        QCOMPARE(result, Variant("five"));
    }

    void givesWhatTheScriptHasSetWhenNoVariableIsNamed_data()
    {
        QTest::addColumn<QVariant>("wanted");

        QTest::newRow("invalid") << QVariant();
        QTest::newRow("empty text") << QVariant("");
    }

    void givesWhatTheScriptHasSetWhenNoVariableIsNamed()
    {
        QFETCH(QVariant, wanted);
        m_py->reaction = [](const QString &) { manager().setScriptResult(2); };
        Variant result(wanted);
        String error;

        QVERIFY(manager().execute("1 + 1", "py", result, error));
        QCOMPARE(result, Variant(2));

        // The result of a text is not that of the next one.
        m_py->reaction = nullptr;
        result = wanted;
        QVERIFY(manager().execute("x = 1", "py", result, error));
        QVERIFY(!result.isValid());
        QVERIFY(!m_calls.contains("py.getData()"));
    }

    void givesTheVariableAlsoWhenTheScriptHasSetAResult()
    {
        m_py->reaction = [](const QString &) { manager().setScriptResult(2); };
        Variant result("missing");
        String error;

        QVERIFY(manager().execute("code", "py", result, error));

        QVERIFY(!result.isValid());
    }

    void givesTheErrorOfATextThatFails()
    {
        m_py->succeeds = false;
        m_py->error = "no beam";
        m_py->reaction = [](const QString &) { manager().setScriptResult(2); };
        m_py->variables["x"] = 1;
        Variant result("x");
        String error;

        QVERIFY(!manager().execute("code", "py", result, error));

        QVERIFY(!result.isValid());
        QCOMPARE(error, String("no beam"));
        QCOMPARE(m_calls, QStringList("py.runCode(code)"));
    }

    void leavesResultAndErrorAloneWithoutAnEngine()
    {
        manager().setScriptResult(2);
        Variant result("x");
        String error("before");

        QVERIFY(!manager().execute("code", "tcl", result, error));
        QCOMPARE(result, Variant("x"));
        QCOMPARE(error, String("before"));
        QVERIFY(!EngineReplacement::state().scriptResult.isValid()); // cleared nevertheless

        QVERIFY(!manager().validate("code", "tcl", error));
        QCOMPARE(error, String("before"));
    }

    void runsATextInSilence()
    {
        Recorder recorder;
        connectRecorder(recorder);
        bool isExecuting = true;
        m_py->reaction = [&](const QString &) { isExecuting = manager().isExecuting(); };
        Variant result;
        String error;

        QVERIFY(manager().execute("code", "py", result, error));

        QVERIFY(!isExecuting);
        QVERIFY(m_host->calls.isEmpty());
        QVERIFY(recorder.calls.isEmpty());
    }

    void validatesAText()
    {
        String error("before");

        QVERIFY(manager().validate("code", "py", error));
        QCOMPARE(error, String("before"));

        m_py->succeeds = false;
        m_py->error = "no beam";
        QVERIFY(!manager().validate("code", "py", error));
        QCOMPARE(error, String("no beam"));
        QCOMPARE(m_calls, (QStringList{"py.validate(code)", "py.validate(code)"}));
    }

    void pushesDataToEveryEngineThatTakesTheLanguage()
    {
        manager().pushData("x", 3, "py");

        QCOMPARE(m_calls, (QStringList{"py.pushData(x, 3)", "py.pushData(x, 3)"}));
    }

    void popsWhatWasPushedWhenTheDataContextChanges()
    {
        manager().pushData("x", 3, "py");
        manager().pushData("cfg.y", 4, "a.py");
        manager().pushData("z", 5, "tcl"); // recorded, although no engine supports it
        manager().pushData("x", 6, "lua");
        m_calls.clear();

        QVERIFY(manager().setDataContext("beam", "py"));

        const QStringList pops{"py.popData(x)", "py.popData(cfg.y)", "py.popData(z)",
                               "py.popData(x)"};
        QCOMPARE(m_calls, pops + pops); // from both engines
    }

    void forgetsWhatItHasPopped()
    {
        manager().pushData("x", 3, "py");
        QVERIFY(manager().setDataContext("a", "py"));
        m_calls.clear();

        QVERIFY(manager().setDataContext("b", "py"));

        QVERIFY(m_calls.isEmpty());
    }

    void doesNothingInTheSameDataContext()
    {
        QVERIFY(manager().setDataContext("a", "py"));
        manager().pushData("x", 3, "py");
        m_calls.clear();

        QVERIFY(!manager().setDataContext("a", "py"));
        QVERIFY(m_calls.isEmpty());

        QVERIFY(manager().setDataContext("A", "py"));
        QCOMPARE(m_calls, (QStringList{"py.popData(x)", "py.popData(x)"}));
    }

    void isInTheDataContextWithoutANameAtFirst()
    {
        QVERIFY(!manager().setDataContext("", "py"));
        QVERIFY(manager().setDataContext("a", "py"));
        QVERIFY(manager().setDataContext("", "py"));
    }

    void forgetsPushedNamesAlsoWithoutAnEngine()
    {
        manager().pushData("x", 3, "py");
        m_calls.clear();

        QVERIFY(manager().setDataContext("a", "tcl"));
        QVERIFY(manager().setDataContext("b", "py"));

        QVERIFY(m_calls.isEmpty());
    }

    void mayBeGivenDataWhileItPops()
    {
        manager().pushData("x", 3, "py");
        m_py->reaction = [](const QString &operation) {
            if (operation == "popData(x)")
                manager().pushData("y", 4, "py");
        };
        m_calls.clear();

        QVERIFY(manager().setDataContext("a", "py"));
        QVERIFY(manager().setDataContext("b", "py"));

        QCOMPARE(m_calls, (QStringList{"py.popData(x)", "py.pushData(y, 4)", "py.pushData(y, 4)",
                                       "py.popData(x)"}));
    }

    void resetsEnginesByLanguage_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("calls");

        QTest::newRow("all") << "" << QStringList{"lua.reset()", "py.reset()", "py.reset()"};
        QTest::newRow("some") << "py" << QStringList{"py.reset()", "py.reset()"};
        QTest::newRow("by a path") << "a.lua" << QStringList{"lua.reset()"};
        QTest::newRow("none") << "tcl" << QStringList();
    }

    void resetsEnginesByLanguage()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, calls);

        QVERIFY(manager().reset(language));

        QCOMPARE(m_calls, calls);
    }

    void tellsEveryEngineOfTheEndOfAModule()
    {
        const int numOthers = Utils::moduleList->modules.size();
        auto module = std::make_unique<Module>("beams");
        bool isListed = true;
        m_py->reaction = [&](const QString &) { // its address is not valid any more
            isListed = Utils::moduleList->modules.size() != numOthers;
        };

        module.reset();

        QCOMPARE(m_calls, (QStringList{"lua.moduleRemoved(beams)", "py.moduleRemoved(beams)",
                                       "py.moduleRemoved(beams)"}));
        QVERIFY(!isListed);
    }

    void tellsOfTheEndOfACopyToo()
    {
        const Module module("beams");
        {
            const Module copy(module);
        }
        QCOMPARE(m_calls.size(), 3);
    }

    void endsItsEnginesBeforeItself()
    {
        QProcess process;
        process.start(MANAGER_END, QStringList());
        QVERIFY(process.waitForFinished(-1));

        QCOMPARE(process.readAllStandardOutput(),
                 QByteArray("start: no manager\n"
                            "main: manager\n"
                            "end of an engine: manager with 1 engines, modules alive\n"
                            "b told of the end of late\n"
                            "end of an engine: manager with 0 engines, modules alive\n"
                            "end: no manager\n"));
        QCOMPARE(process.exitCode(), 0);
    }

    // Consoles

    void hasNoConsoleOnAnEngineThatIsNone()
    {
        bool isCalled = false;
        manager().setOutputSink([&](const String &, Utils::ScriptChannel) { isCalled = true; });
        manager().setInputSource([&](String &) { return isCalled = true; });

        QVERIFY(manager().complete("i", "py").isEmpty());
        QVERIFY(manager().complete("i", "no language").isEmpty());
        QVERIFY(!isCalled);
        QCOMPARE(m_calls, QStringList());
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    static void loadTexts()
    {
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".msg.scriptRunning", "runs %1");
        putText(".Kelm.Utils", ".msg.scriptRun", "has run");
        putText(".Kelm.Utils", ".err.scriptRun", "failed: %1, %2");
    }

    static void connectRecorder(const Recorder &recorder)
    {
        QVERIFY(connectAllShapes(manager().ScriptExecuted(), recorder));
    }

    QStringList m_calls;
    std::optional<FakeEngine> m_lua;
    std::optional<FakeEngine> m_py;
    std::optional<FakeEngine> m_otherPy;
    std::optional<EngineReplacement> m_engines;
    std::optional<FakeHost> m_host;
};

QTEST_GUILESS_MAIN(tst_ScriptManager)
#include "tst_ScriptManager.moc"
