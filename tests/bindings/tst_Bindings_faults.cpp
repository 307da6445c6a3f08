#include "tests/bindings/Interpreter.h"

#include "bindings/Modules.h"
#include "bindings/Text_p.h"
#include "bindings/Value_p.h"
#include "utils/feedback/Progress.h"
#include "utils/script/PythonReference_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Print.h"
#include "tests/support/PythonFault.h"

#include <QtTest>

#include <functional>

using Data::String;
using Data::Variant;
using Utils::PythonReference;
using namespace Utils::Bindings;

using Call = std::function<bool()>; ///< true where the result is right, false where there is none
Q_DECLARE_METATYPE(Call)

/// The bindings where Python has no memory for an object.
class tst_Bindings_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        initKelmUtils();
        QCOMPARE(m_python.run("from KelmData import Data\n"
                              "from KelmUtils import Utils\n"
                              "import itertools"),
                 QString());
    }

    void raiseAMemoryError_data()
    {
        QTest::addColumn<Call>("call");

        const auto row = [](const char *name, const Call &call) { QTest::newRow(name) << call; };
        row("a str", [] { return is(toBytes("a"), "a"); });
        row("a unicode", [] { return is(toUnicode("a"), "a"); });
        row("a representation", [] { return is(representation(QString("a")), "'a'"); });
        row("a hash", [] { return hash("a") != -1; });
        row("a length", [] { return length(faces()) == 2; });
        row("a character", [this] {
            String part;
            return partOf(faces(), m_one, part) && part == faces().mid(2);
        });
        row("the values of a format", [this] {
            String result;
            return format("%s!", m_one, result) && result == "1!";
        });
        row("the bytes of a format", [this] {
            String result;
            return format("%s!", m_bytes, result) && result == QString::fromUtf8("\xc3\xa4!");
        });
        row("an iterator", [] {
            PyObject *const iterator = charactersOf("a", &PyUnicode_Type);
            const PythonReference first(iterator ? PyIter_Next(iterator) : nullptr);
            Py_XDECREF(iterator);
            return bool(first);
        });
        const auto value = [&](const char *name, const Variant &held, const char *text) {
            row(name, [=] { return is(representation(held), text); });
        };
        value("an invalid variant", Variant(), "Variant(None)");
        value("a truth", Variant(true), "Variant(True)");
        value("a number", Variant(1000), "Variant(1000)");
        value("a number of 64 bits", Variant(QVariant(qlonglong(1) << 40)),
              "Variant(1099511627776L)");
        value("a fraction", Variant(1.5), "Variant(1.5)");
        value("a text", Variant("a"), "Variant('a')");
        value("a list", Variant(QVariant(QStringList{"a", "b"})), "Variant(['a', 'b'])");
        value("what Python has no type for", Variant(QVariant(QChar('a'))), "Variant('a')");
    }

    void raiseAMemoryError()
    {
        QFETCH(Call, call);
        QVERIFY(call());

        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            PythonFault fault(n);
            const bool isRight = call();
            fault.end();
            isOut = fault.hasFailed();
            failures += isOut;

            QCOMPARE(isRight, !isOut);
            QCOMPARE(PyErr_Occurred() != nullptr, isOut);
            QVERIFY(!isOut || PyErr_ExceptionMatches(PyExc_MemoryError));
            PyErr_Clear();
        }
        QVERIFY(failures > 0 || QByteArray(QTest::currentDataTag()) == "an invalid variant");
    }

    void raiseAMemoryErrorForALargeText_data()
    {
        QTest::addColumn<QByteArray>("expression");

        QTest::newRow("of a str") << QByteArray("Utils.File.isAbsolute(large)");
        QTest::newRow("of a unicode") << QByteArray("Utils.File.isAbsolute(wide)");
        QTest::newRow("to a str") << QByteArray("len(str(held)) == 0");
        QTest::newRow("to a unicode") << QByteArray("len(unicode(held)) == 0");
        QTest::newRow("of a sum") << QByteArray("len(held + held) == 0");
        QTest::newRow("of a path") << QByteArray("len(Utils.File.join(held, held)) == 0");
        QTest::newRow("of a command")
            << QByteArray("len(Utils.Process(held, [held]).fullCommand()) == 0");
        QTest::newRow("of a variant") << QByteArray("len(str(Data.Variant(held))) == 0");
        QTest::newRow("of a format") << QByteArray("len(held % ()) == 0");
        QTest::newRow("of a part") << QByteArray("len(held[1:]) == 0");
    }

    void raiseAMemoryErrorForALargeText()
    {
        QFETCH(QByteArray, expression);
        QCOMPARE(m_python.run("large = 'x' * 4000000\n"
                              "wide = unicode(large)\n"
                              "held = Data.String(large)"),
                 QString());
        QCOMPARE(m_python.text(expression), QString("False"));

        FailingMemory memory(1 << 20, FailingMemory::Larger);
        const QString text = m_python.text(expression);
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(text, QString("MemoryError: "));
        QCOMPARE(m_python.text(expression), QString("False"));
    }

    // Code of the definitions that is written by hand: nothing else catches its exceptions.
    void raiseAMemoryErrorForEachAllocation_data()
    {
        QTest::addColumn<QByteArray>("expression");
        QTest::addColumn<QString>("value");

        // clang-format off
        QTest::newRow("a text") << QByteArray("Utils.File.isAbsolute('/a')") << "True";
        QTest::newRow("a part") << QByteArray("Data.String('abc')[1]") << "b";
        QTest::newRow("a format") << QByteArray("Data.String('%s!') % 'a'") << "a!";
        QTest::newRow("a list") << QByteArray("repr(Utils.File.searchInFiles(own, ['/b/c', '/d/e']))") << "''";
        QTest::newRow("a list of results") << QByteArray("len(Data.Variant(['b', 'c']).toStringList())") << "2";
        QTest::newRow("a variant of a text") << QByteArray("Data.Variant('a')") << "a";
        QTest::newRow("a variant of an own text") << QByteArray("Data.Variant(Data.String('a'))") << "a";
        QTest::newRow("a variant of a list") << QByteArray("repr(Data.Variant(['b', 'c']))") << "Variant(['b', 'c'])";
        QTest::newRow("a key") << QByteArray("repr(Utils.StringTable.lookupk(own, own))") << "''";
        QTest::newRow("an encoding") << QByteArray("Utils.File.encodingOf('a')[0]") << "UTF-8";
        // clang-format on
    }

    void raiseAMemoryErrorForEachAllocation()
    {
        QFETCH(QByteArray, expression);
        QFETCH(QString, value);
        // SIP forgets the arguments that it has converted before one that it cannot convert.
        QCOMPARE(m_python.run("own = Data.String('a')\ndef call(): return " + expression),
                 QString());
        QCOMPARE(m_python.text("call()"), value);
        PyObject *const names = PyModule_GetDict(PyImport_AddModule("__main__"));
        PyObject *const call = PyDict_GetItemString(names, "call");

        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            FailingMemory memory(n, FailingMemory::Once);
            PythonReference result(PyObject_CallObject(call, nullptr));
            memory.end();
            isOut = memory.hasFailed();
            failures += !result;

            if (result) { // an allocation that is not needed may fail
                const PythonReference text(PyObject_Str(result.get()));
                QVERIFY(text);
                QVERIFY(isOut || PyString_AsString(text.get()) == value);
            } else {
                QVERIFY2(isOut && PyErr_ExceptionMatches(PyExc_MemoryError),
                         qPrintable(QString::number(n)));
                PyErr_Clear();
            }
        }
        QVERIFY(failures > 0);
    }

    void raiseAMemoryErrorForAList_data()
    {
        QTest::addColumn<QByteArray>("function");

        QTest::newRow("itself") << QByteArray("PyList_New");
        QTest::newRow("its texts") << QByteArray("PyObject_Call");
    }

    void raiseAMemoryErrorForAList()
    {
        QFETCH(QByteArray, function);
        const QTemporaryDir folder;
        for (const char *name : {"a", "b"})
            QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
        QCOMPARE(m_python.run("found = Utils.File.search\n"
                              "folder, pattern = Data.String('" +
                              folder.path().toUtf8() + "'), Data.String('*')"),
                 QString());
        const QByteArray expression("len(found(folder, pattern, True))");
        QCOMPARE(m_python.text(expression), QString("2"));

        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            PythonFault fault(n, function.constData());
            const QString text = m_python.text(expression);
            fault.end();
            isOut = fault.hasFailed();
            failures += isOut;

            QCOMPARE(text, isOut ? QString("MemoryError: ") : QString("2"));
        }
        QVERIFY(failures > 0);
    }

    void raiseAMemoryErrorForAWrapper_data()
    {
        QTest::addColumn<QByteArray>("expression");
        QTest::addColumn<QString>("value");

        QTest::newRow("the current reporter")
            << QByteArray("Utils.Progress.current().label()") << "Task";
        QTest::newRow("a line of a program")
            << QByteArray("Utils.Process('/bin/echo', ['a']).run(-1, note), lines.pop()")
            << "(0, 'a')";
    }

    void raiseAMemoryErrorForAWrapper()
    {
        QFETCH(QByteArray, expression);
        QFETCH(QString, value);
        const Utils::Progress progress(10, "Task");
        QCOMPARE(m_python.run("lines = []\n"
                              "def note(line, isError): lines.append(str(line))\n"),
                 QString());

        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            PythonFault fault(n, "PyObject_Call");
            const QString text = m_python.text(expression);
            fault.end();
            isOut = fault.hasFailed();
            failures += isOut;

            QCOMPARE(text, isOut ? QString("MemoryError: ") : value);
        }
        QVERIFY(failures > 0);
    }

    // It would be damaged.
    void registerNoModuleAnew()
    {
        QCOMPARE(m_python.run("import sys\nkept = sys.modules.pop('KelmData')"), QString());

        initKelmData();

        QCOMPARE(m_python.text("'KelmData' in sys.modules"), QString("False"));
        QCOMPARE(m_python.run("sys.modules['KelmData'] = kept"), QString());
        QCOMPARE(m_python.text("Data.String('a')"), QString("a"));
    }

private:
    static QString faces() { return QString::fromUtf8("\xf0\x9f\x98\x80\xf0\x9f\x98\x81"); }

    /// Whether \p made, which is released, is there, and shown as \p text.
    static bool is(PyObject *made, const char *text)
    {
        const PythonReference object(made);
        if (!object)
            return false;
        String found;
        return isText(made) && readText(made, found) && found == text;
    }

    Interpreter m_python;
    PyObject *const m_one = PyInt_FromLong(1);
    PyObject *const m_bytes = PyString_FromString("\xc3\xa4");
};

QTEST_APPLESS_MAIN(tst_Bindings_faults)
#include "tst_Bindings_faults.moc"
