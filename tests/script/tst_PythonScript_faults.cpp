#include "utils/script/PythonScript_p.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/PythonFault.h"

#include <QtTest>

#include <Python.h>

#include <functional>

#include <fcntl.h>
#include <unistd.h>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;
using Utils::ScriptReply;
using Utils::ScriptUnit;

using Operation = std::function<bool(Utils::PythonScript &)>; ///< true where it succeeds
Q_DECLARE_METATYPE(Operation)

static const SettingsHome home;

/// The engine when Python cannot allocate an object.
class tst_PythonScript_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void startsWholeOrNotAtAll_data()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<int>("fewest"); // starts that fail

        QTest::newRow("the character set") << QByteArray("PyCodec_Encoder") << 1;
        QTest::newRow("modules, as encodings and site") << QByteArray("PyImport_ImportModule") << 2;
    }

    /// The first start is tried in a copy of the process, and later ones are not.
    void startsWholeOrNotAtAll()
    {
        QFETCH(QByteArray, function);
        QFETCH(int, fewest);

        for (const char *turn : {"first", "later"}) {
            int failures = 0;
            for (int n = 0; n < 10; ++n) {
                PythonFault fault(n, function.constData());
                const bool isStarted = d->engine.runCode("x = 1\n");
                fault.end();
                failures += !isStarted;

                QCOMPARE(Py_IsInitialized() != 0, isStarted);
                QCOMPARE(d->engine.errorMessage(),
                         isStarted ? String() : String("Python not initialized"));
                d->engine.reset();
            }
            QVERIFY2(failures >= fewest, turn);
            QCOMPARE(d->value("1 + 1"), Variant(2));
            d->engine.reset();
        }
    }

    void goesOnAfterAnOperationThatFails_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::addColumn<QByteArray>("function");

        const auto row = [](const char *name, const char *function, const Operation &operation) {
            QTest::newRow(name) << operation << QByteArray(function);
        };
        row("an expression", "PyImport_AddModule",
            [](auto &engine) { return engine.runCode("1 + 1"); });
        row("statements", "PyImport_AddModule",
            [](auto &engine) { return engine.runCode("x = 2\n"); });
        row("an int", "PyInt_FromLong", pushing(2));
        row("a double", "PyFloat_FromDouble", pushing(1.5));
        row("a text", "PyString_FromString", pushing("text"));
        row("a list of texts", "PyString_FromString", pushing(QVariant(QStringList{"a", "b"})));
        row("a list of ints", "PyInt_FromLong",
            pushing(QVariant::fromValue(QList<int>{1000, 2000})));
        row("a list", "PyList_New", pushing(QVariant(QStringList{"a", "b"})));
        row("a module for data", "PyImport_AddModule", pushing(2));
        row("a name for data", "PyModule_AddObject", pushing(2));
        row("a name that is looked up", "PyImport_AddModule",
            [](auto &engine) { return engine.getData("kept").isValid(); });
        row("an attribute that is read", "PyObject_GetAttrString",
            [](auto &engine) { return engine.getData("kept").isValid(); });
        row("statements with a module of data", "PyImport_AddModule", [](auto &engine) {
            engine.pushData("beams.length", 2);
            return engine.runCode("x = beams.length\n");
        });
        for (const char *function : {"PyImport_AddModule", "PyString_FromString"})
            row(function, function, [](auto &engine) {
                const QTemporaryDir folder;
                return engine.runFile(makeFile(folder.filePath("a.py"), "file = __file__\n"));
            });
        for (const char *function : {"PyList_New", "PyList_Append", "PyString_FromStringAndSize"})
            row(qPrintable(QString("lines, ") + function), function, [](auto &engine) {
                int left = 2;
                ScriptManager::instance().setInputSource([&](String &text) {
                    text = "line\n";
                    return left-- > 0;
                });
                const bool isDone = engine.runCode("import sys\nlines = sys.stdin.readlines()\n");
                ScriptManager::instance().setInputSource({});
                return isDone;
            });
        row("a buffer that is written", "PyString_FromStringAndSize", [](auto &engine) {
            String written;
            ScriptManager::instance().setOutputSink(
                [&](const String &text, Utils::ScriptChannel) { written += text; });
            const bool isDone = engine.runCode("import sys\nsys.stdout.write(buffer('abc'))\n");
            ScriptManager::instance().setOutputSink({});
            return isDone && written == "abc";
        });
    }

    void goesOnAfterAnOperationThatFails()
    {
        QFETCH(Operation, operation);
        QFETCH(QByteArray, function);
        QVERIFY(d->engine.runCode("kept = 1\n"));
        QVERIFY(operation(d->engine));

        bool isOut = true;
        int undone = 0;
        for (int n = 0; isOut; ++n) {
            d->engine.popData("pushed");
            PythonFault fault(n, function.constData());
            const bool isDone = operation(d->engine);
            isOut = fault.hasFailed();
            fault.end();
            undone += !isDone;

            QVERIFY(isDone || isOut);
            QCOMPARE(d->value("kept"), Variant(1));
        }
        QVERIFY(undone > 0);
    }

    void tellsAConsoleThatAStatementHasFailed_data()
    {
        QTest::addColumn<int>("unit");

        QTest::newRow("a statement") << int(ScriptUnit::Statement);
        QTest::newRow("a file") << int(ScriptUnit::File);
    }

    void tellsAConsoleThatAStatementHasFailed()
    {
        QFETCH(int, unit);
        ScriptManager &manager = ScriptManager::instance();
        const auto assign = [&](int value) {
            return manager.interpret(QString("value = %1").arg(value), "py", ScriptUnit(unit));
        };

        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            QCOMPARE(int(assign(1).state), int(ScriptReply::Done));
            PythonFault fault(n, "PyImport_AddModule");
            const ScriptReply reply = assign(2 + n);
            isOut = fault.hasFailed();
            fault.end();

            const bool isDone = reply.state == ScriptReply::Done;
            QVERIFY(isDone || isOut);
            QCOMPARE(d->engine.getData("value"), Variant(isDone ? 2 + n : 1));
            if (!isDone) {
                ++failures;
                QCOMPARE(int(reply.state), int(ScriptReply::Failed));
                QCOMPARE(reply.exitStatus, 1);
                QCOMPARE(manager.error().type(), String("MemoryError"));
            }
        }
        QVERIFY(failures > 0);
    }

    /// A syntax error that cannot be compared with another one counts as incomplete.
    void asksForMoreWhereErrorsCannotBeCompared()
    {
        ScriptManager &manager = ScriptManager::instance();
        QCOMPARE(int(manager.interpret("1 +* 2", "py").state), int(ScriptReply::Failed));

        for (const int n : {0, 1}) {
            PythonFault fault(n, "PyObject_Repr");
            const ScriptReply reply = manager.interpret("1 +* 2", "py");
            fault.end();

            QVERIFY(fault.hasFailed());
            QCOMPARE(int(reply.state), int(ScriptReply::Incomplete));
            QVERIFY(!PyErr_Occurred());
            QCOMPARE(int(manager.interpret("x = 1", "py").state), int(ScriptReply::Done));
        }
    }

    void tellsALackOfMemoryForWhichNoErrorIsSet_data()
    {
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<Operation>("operation");

        const QString code = "x = 1\n";
        const auto interpreting = [=](ScriptUnit unit) -> Operation {
            return [=](auto &) {
                const ScriptReply reply = ScriptManager::instance().interpret(code, "py", unit);
                return reply.state == ScriptReply::Done;
            };
        };
        QTest::newRow("a file") << QByteArray("PyRun_FileExFlags") << Operation([](auto &engine) {
            const QTemporaryDir folder;
            return engine.runFile(makeFile(folder.filePath("a.py"), "x = 1\n"));
        });
        QTest::newRow("statements")
            << QByteArray("PyRun_StringFlags")
            << Operation([=](auto &engine) { return engine.runCode(code); });
        QTest::newRow("a check") << QByteArray("Py_CompileStringFlags")
                                 << Operation([=](auto &engine) { return engine.validate(code); });
        QTest::newRow("a statement of a console")
            << QByteArray("Py_CompileStringFlags") << interpreting(ScriptUnit::Statement);
        QTest::newRow("a file of a console")
            << QByteArray("Py_CompileStringFlags") << interpreting(ScriptUnit::File);
    }

    void tellsALackOfMemoryForWhichNoErrorIsSet()
    {
        QFETCH(QByteArray, function);
        QFETCH(Operation, operation);
        QVERIFY(operation(d->engine));

        PythonFault fault(0, function.constData());
        const bool isDone = operation(d->engine);
        fault.end();

        QVERIFY(fault.hasFailed());
        QVERIFY(!isDone);
        QCOMPARE(d->engine.error().type(), String("MemoryError"));
        QVERIFY(!PyErr_Occurred());
        QVERIFY(operation(d->engine));
    }

    void describesAnErrorAsFarAsItCan_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("type");

        QTest::newRow("an exception") << QByteArray("raise ValueError('a')\n") << "ValueError";
        QTest::newRow("a text that Python cannot print")
            << QByteArray("raise ValueError(u'\\xe4')\n") << "ValueError";
        QTest::newRow("a syntax error") << QByteArray("x = 1 +\n") << "SyntaxError";
        QTest::newRow("an exit") << QByteArray("raise SystemExit(3)\n") << "SystemExit";
    }

    void describesAnErrorAsFarAsItCan()
    {
        QFETCH(QByteArray, script);
        QFETCH(QString, type);
        const QString path = d->script(script);
        const QString code = QString::fromUtf8(script);

        for (const char *function :
             {"PyObject_GetAttrString", "PyObject_Str", "PyObject_Unicode", "PyObject_Call"})
        {
            bool isOut = true;
            for (int n = 0; isOut; ++n) {
                PythonFault fault(n, function);
                const bool isDone = n % 2 == 0 ? d->engine.runFile(path) : d->engine.runCode(code);
                isOut = fault.hasFailed();
                fault.end();

                QVERIFY(!isDone);
                QVERIFY(!PyErr_Occurred());
                const String found = d->engine.error().type();
                QVERIFY2(found == type || (isOut && found == "MemoryError"), found.c_str());
                QVERIFY(d->engine.runCode("x = 1\n"));
            }
        }
    }

    void leavesStreamsThatCannotBeMade()
    {
        QVERIFY(d->engine.runCode("x = 1\n"));
        ScriptManager &manager = ScriptManager::instance();
        char name[] = "stdout";

        bool isOut = true;
        int left = 0;
        for (int n = 0; isOut; ++n) {
            String written;
            PythonFault fault(n, "_PyObject_New");
            manager.setOutputSink(
                [&](const String &text, Utils::ScriptChannel) { written += text; });
            isOut = fault.hasFailed();
            fault.end();
            left += PyFile_Check(PySys_GetObject(name));

            QVERIFY(d->engine.runCode("print 'a'\n")); // tries again
            QCOMPARE(written, String("a\n"));
            manager.setOutputSink({});
            QVERIFY(PyFile_Check(PySys_GetObject(name)));
        }
        QVERIFY(left > 0);
    }

    /// When the module is not accessible, the engine forgets the data, but the name remains.
    void removesDataWhoseModuleCannotBeHad()
    {
        QVERIFY(d->engine.runCode("x = 2\n"));
        d->engine.pushData("pushed", 2);
        {
            const PythonFault fault(0, "PyImport_AddModule");
            d->engine.popData("pushed");
            QVERIFY(fault.hasFailed());
        }

        d->engine.popData("pushed");

        QCOMPARE(d->value("pushed"), Variant(2)); // the name of the scope remains
    }

    void tellsTerminalsTheCharacterSetOfTheLocale_data()
    {
        QTest::addColumn<QByteArray>("chosen"); // in PYTHONIOENCODING; null for none
        QTest::addColumn<QString>("encoding");

        QTest::newRow("that of the locale") << QByteArray() << "UTF-8";
        QTest::newRow("an empty one") << QByteArray("") << "UTF-8";
        QTest::newRow("another one") << QByteArray("latin-1") << "latin-1";
    }

    void tellsTerminalsTheCharacterSetOfTheLocale()
    {
        QFETCH(QByteArray, chosen);
        QFETCH(QString, encoding);
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
            QSKIP("there are no terminals here");
        const int end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
        QVERIFY(end >= 0);
        const int original = dup(STDIN_FILENO);
        dup2(end, STDIN_FILENO);
        const auto restore = qScopeGuard([&] {
            dup2(original, STDIN_FILENO);
            for (const int file : {original, end, terminal})
                close(file);
            qunsetenv("PYTHONIOENCODING");
        });
        if (!chosen.isNull())
            qputenv("PYTHONIOENCODING", chosen);

        {
            const PythonFault fault(0, "PyFile_SetEncodingAndErrors");
            QCOMPARE(d->engine.runCode("import sys\n"), !chosen.isEmpty());
        }
        QVERIFY(d->engine.runCode("import sys\n"));

        QCOMPARE(d->value("sys.stdin.encoding"), Variant(encoding));
        d->engine.reset();
    }

private:
    /// Pushes \p value. True when it exists afterwards.
    static Operation pushing(const Variant &value)
    {
        return [value](Utils::PythonScript &engine) {
            engine.pushData("pushed", value);
            return engine.runCode("pushed = pushed\n");
        };
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_faults)
#include "tst_PythonScript_faults.moc"
