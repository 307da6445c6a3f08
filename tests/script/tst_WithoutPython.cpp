#include "utils/Application.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <optional>

#include <dlfcn.h>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

/// A library that is built without scripting has all functions, but no engine.
class tst_WithoutPython : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        host.emplace();
        Utils::setApplication(&*host);
    }

    void cleanup() { Utils::setApplication(nullptr); }

    void supportsNoLanguage()
    {
        QVERIFY(!scripts().supports("py"));
        QVERIFY(!scripts().supports("script.py"));
        QVERIFY(!scripts().supports(""));
    }

    void runsNoText()
    {
        Variant result("x");
        String error("untouched");

        QVERIFY(!scripts().execute("1+1", "py", result, error));

        QCOMPARE(result, Variant("x"));
        QCOMPARE(error, String("untouched"));
    }

    void findsNoTextValid()
    {
        String error("untouched");

        QVERIFY(!scripts().validate("1+1", "py", error));

        QCOMPARE(error, String("untouched"));
    }

    void runsNoFileAndTellsSo()
    {
        Recorder recorder;
        scripts().ScriptExecuted().connect(&recorder,
                                           SLOT(payload(const Data::VariantCollection &)));

        QVERIFY(!scripts().execute("script.py"));

        QCOMPARE(recorder.calls, QStringList("sig({path=script.py, result=false})"));
        QCOMPARE(host->calls.size(), 1); // only the text that a script runs
        QVERIFY(host->calls.first().startsWith("showMessage("));
        QVERIFY(!scripts().isExecuting());
    }

    void takesDataAndForgetsThem()
    {
        scripts().pushData("x", 1, "py");

        QVERIFY(!scripts().setDataContext("", "py"));
        QVERIFY(scripts().setDataContext("context", "py"));
        QVERIFY(!scripts().setDataContext("context", "py"));
        QVERIFY(scripts().setDataContext("", "py"));
        QVERIFY(scripts().reset(""));
        QCOMPARE(scripts().importCode("py"), String());
    }

    void asksTheHostForNothing()
    {
        Variant result;
        String error;
        scripts().execute("1+1", "py", result, error);
        scripts().validate("1+1", "py", error);
        scripts().pushData("x", 1, "py");
        scripts().reset("py");

        QCOMPARE(host->calls, QStringList());
    }

    void hasNeitherPythonNorItsModules_data()
    {
        QTest::addColumn<QByteArray>("symbol");

        QTest::newRow("the interpreter") << QByteArray("Py_IsInitialized");
        QTest::newRow("the module KelmUtils") << QByteArray("initKelmUtils");
        QTest::newRow("the module KelmData") << QByteArray("initKelmData");
    }

    void hasNeitherPythonNorItsModules()
    {
        SKIP_ON_WINDOWS("a symbol on Windows is looked up in one library");
        QFETCH(QByteArray, symbol);

        QVERIFY(!dlsym(RTLD_DEFAULT, symbol.constData()));
    }

private:
    static ScriptManager &scripts() { return ScriptManager::instance(); }

    std::optional<FakeHost> host;
};

QTEST_GUILESS_MAIN(tst_WithoutPython)
#include "tst_WithoutPython.moc"
