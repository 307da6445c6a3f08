#include <Python.h>

#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/ScriptManager.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Files.h" // makeFile
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <cstdio>
#include <memory>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

static const SettingsHome home;
static FakeHost host;
static std::unique_ptr<Utils::Progress> reporter;

// The module "testhost", by which a test script sees the host.

/// What the host was called for since the last time.
static PyObject *calls(PyObject *, PyObject *)
{
    PyObject *const list = PyList_New(0);
    for (const QString &call : host.calls) {
        PyObject *const text = PyString_FromString(qUtf8Printable(call));
        PyList_Append(list, text);
        Py_DECREF(text);
    }
    host.calls.clear();
    return list;
}

/// quiet(True): no call is noted until quiet(False).
static PyObject *quiet(PyObject *, PyObject *on)
{
    host.reaction = nullptr;
    if (PyObject_IsTrue(on))
        host.reaction = [](const QString &) { host.calls.clear(); };
    Py_RETURN_NONE;
}

/// begin(steps, label): the host has a reporter of its own until end().
static PyObject *begin(PyObject *, PyObject *arguments)
{
    int steps = 0;
    const char *label = nullptr;
    if (!PyArg_ParseTuple(arguments, "is", &steps, &label))
        return nullptr;
    reporter = std::make_unique<Utils::Progress>(steps, label);
    Py_RETURN_NONE;
}

static PyObject *end(PyObject *, PyObject *)
{
    reporter.reset();
    Py_RETURN_NONE;
}

class TestHost : public Utils::IScriptableModule
{
public:
    TestHost() : IScriptableModule("testhost") {}

    bool initialize() override
    {
        static PyMethodDef methods[] = {{"calls", calls, METH_NOARGS, nullptr},
                                        {"quiet", quiet, METH_O, nullptr},
                                        {"begin", begin, METH_VARARGS, nullptr},
                                        {"end", end, METH_NOARGS, nullptr},
                                        {nullptr, nullptr, 0, nullptr}};
        PyObject *const module = Py_InitModule("testhost", methods);
        return module && PyModule_AddIntConstant(module, "sanitized", isSanitized) == 0;
    }

private:
#if defined(__SANITIZE_ADDRESS__)
    static constexpr long isSanitized = 1;
#else
    static constexpr long isSanitized = 0;
#endif
};

struct Outcome
{
    bool succeeded = false;
    int testsRun = 0;
    QString output;
};

/// Runs the statements \p code and returns the value of \p variable.
static Variant run(const String &code, const char *variable)
{
    Variant result = variable;
    String error;
    if (!ScriptManager::instance().execute(code + "\n", "py", result, error))
        qWarning("%s", qUtf8Printable(error));
    return result;
}

static Outcome runTests(const QString &path)
{
    run("import sys\nsys.path.insert(0, '" KELMUTILS_BINDINGS_DIR "')", "");
    Outcome outcome;
    outcome.succeeded = ScriptManager::instance().execute(path);
    outcome.testsRun = run("testsRun = globals().get('testsRun', 0)", "testsRun").toInt();
    outcome.output = run("testOutput = globals().get('testOutput', '')", "testOutput").toString();
    return outcome;
}

/// The module that scripts see, by test scripts: each file test_*.py of this folder.
class tst_Bindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("PYTHONDONTWRITEBYTECODE", "1"); // into the folders of the sources
        host.variables = {{"APP_PATH", QCoreApplication::applicationFilePath()},
                          {"PYTHON_DIR", KELMUTILS_PYTHON_HOME},
                          {"HOME_DIR", HOME_OF_HOSTS},
                          {"RES_DIR", KELMUTILS_EXAMPLES_DIR "/res"}};
        Utils::setApplication(&host);
    }

    // So that no script sees what another one did.
    void cleanup() { ScriptManager::instance().reset("py"); }

    void cleanupTestCase() { Utils::setApplication(nullptr); }

    void pass_data()
    {
        QTest::addColumn<QString>("name");

        const QStringList names = QDir(KELMUTILS_BINDINGS_DIR).entryList({"test_*.py"});
        for (const QString &name : names)
            QTest::newRow(qPrintable(name)) << name;
    }

    void pass()
    {
        QFETCH(QString, name);
        if (name == "test_process.py" || name == "test_leaks.py")
            SKIP_ON_WINDOWS("it starts programs of Unix");

        const Outcome outcome = runTests(KELMUTILS_BINDINGS_DIR "/" + name);

        const bool passed = outcome.succeeded && outcome.testsRun > 0;
        if (!passed) // a message of the test would be cut
            std::fputs(outcome.output.toUtf8(), stderr);
        QVERIFY2(passed, qPrintable(QString("%1 tests were run").arg(outcome.testsRun)));
    }

    // That the test above can fail.
    void failWithTheScript_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<int>("testsRun");
        QTest::addColumn<QString>("shown"); // somewhere in the output

        const QByteArray head = "import suite\nclass Case(suite.TestCase):\n  def test_it(self):\n";
        // clang-format off
        QTest::newRow("that passes") << head + "    self.assertText(suite.Data.String('a'), 'a')\nsuite.run()\n"
            << true << 1 << "test_it (__main__.Case) ... ok";
        QTest::newRow("of which a test fails") << head + "    self.assertEqual(1, 2)\nsuite.run()\n"
            << false << 1 << "AssertionError: 1 != 2";
        QTest::newRow("of which a test has an error") << head + "    unknown\nsuite.run()\n"
            << false << 1 << "NameError";
        QTest::newRow("of which a test shows any text") << head + "    self.fail(u'\\xe4')\nsuite.run()\n"
            << false << 1 << "FAILED";
        QTest::newRow("of which a test looks at types") << head + "    self.assertText('a', 'a')\nsuite.run()\n"
            << false << 1 << "AssertionError";
        QTest::newRow("whose tests are skipped") << head + "    self.skipTest('')\nsuite.run()\n"
            << true << 0 << "skipped";
        QTest::newRow("without tests") << QByteArray("import suite\nsuite.run()\n") << true << 0 << "Ran 0 tests";
        QTest::newRow("that runs none") << head + "    pass\n" << true << 0 << "";
        QTest::newRow("that breaks off") << QByteArray("unknown\n") << false << 0 << "";
        // clang-format on
    }

    void failWithTheScript()
    {
        QFETCH(QByteArray, script);
        QFETCH(bool, succeeds);
        QFETCH(int, testsRun);
        QFETCH(QString, shown);
        const QTemporaryDir folder;

        const Outcome outcome = runTests(makeFile(folder.path() + "/script.py", script));

        QCOMPARE(outcome.succeeded, succeeds);
        QCOMPARE(outcome.testsRun, testsRun);
        QVERIFY2(outcome.output.contains(shown), qPrintable(outcome.output));
    }

private:
    const TestHost m_module;
};

QTEST_MAIN(tst_Bindings)
#include "tst_Bindings.moc"
