#include "utils/script/PythonScript_p.h"
#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Files.h" // contentsOf
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QProcess>
#include <QtTest>

#include <Python.h>

#include <sys/stat.h>

using Data::String;
using Data::Variant;
using Utils::ScriptError;
using Utils::ScriptManager;

static const SettingsHome home;

/// Files that are more than a text of statements: compiled code, pipes, and scripts that change
/// what they run in.
class tst_PythonScript_files : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup()
    {
        ScriptManager::setTimeLimit(0);
        Py_OptimizeFlag = 0;
        d.reset();
    }

    void runsCompiledCode_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("by its suffix") << "script.pyc";
        QTest::newRow("by its start") << "script.bin";
    }

    void runsCompiledCode()
    {
        QFETCH(QString, name);
        const QString path = compiled("value = __name__ + ' ' + __file__\n", name);

        QVERIFY2(d->engine.runFile(path), d->engine.error().traceback().c_str());

        QCOMPARE(d->engine.exitStatus(), 0);
        QCOMPARE(d->engine.getData("value"), Variant("__main__ " + path));
        QCOMPARE(d->value("'__file__' in globals()"), Variant(false));
    }

    void compilesForSpeedAfterAnOptimizedFile()
    {
        QVERIFY(!d->engine.runCode("assert False\n"));

        QVERIFY(d->engine.runFile(compiled("value = 3\n", "script.pyo")));

        QCOMPARE(d->engine.getData("value"), Variant(3));
        QVERIFY(d->engine.runCode("assert False\n"));
    }

    void describesTheErrorOfCompiledCode()
    {
        const QString path = compiled("def load(n):\n    return 1 / n\n\nload(0)\n", "script.pyc");
        const QString source = d->folder.filePath("source.py");

        QVERIFY(!d->engine.runFile(path));

        QCOMPARE(d->engine.exitStatus(), -1);
        QCOMPARE(d->engine.error().type(), String("ZeroDivisionError"));
        QCOMPARE(d->engine.error().traceback(),
                 String("Traceback (most recent call last):\n"
                        "  File \"" +
                        source +
                        "\", line 4, in <module>\n"
                        "    load(0)\n"
                        "  File \"" +
                        source +
                        "\", line 2, in load\n"
                        "    return 1 / n\n"
                        "ZeroDivisionError: integer division or modulo by zero\n"));
        QVERIFY(d->engine.runCode("x = 1\n"));
    }

    void describesTheExitOfCompiledCode()
    {
        QVERIFY(!d->engine.runFile(compiled("import sys\nsys.exit(4)\n", "script.pyc")));

        QVERIFY(d->engine.error().isExit());
        QCOMPARE(d->engine.error().exitStatus(), 4);
    }

    void interruptsCompiledCode()
    {
        QVERIFY(d->engine.runCode("x = 1\n"));
        const QString path = compiled("while True: pass\n", "script.pyc");
        ScriptManager::setTimeLimit(50);

        QVERIFY(!d->engine.runFile(path));

        QVERIFY(d->engine.error().isInterrupted());
        QVERIFY(d->engine.error().isTimeLimit());
        QCOMPARE(d->engine.error().type(), String("KeyboardInterrupt"));
    }

    void refusesDamagedCode_data()
    {
        QTest::addColumn<int>("size"); // of what is left
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<QString>("text");

        const QString magic = "Bad magic number in .pyc file";
        const QString code = "Bad code object in .pyc file";
        QTest::newRow("another Python") << 1000 << QByteArray("\1\2\r\n") << magic;
        QTest::newRow("an empty file") << 0 << QByteArray() << magic;
        QTest::newRow("a part of the start") << 3 << QByteArray() << magic;
        QTest::newRow("no time") << 6 << QByteArray() << code;
        QTest::newRow("no code") << 8 << QByteArray() << code;
        QTest::newRow("a part of the code") << 30 << QByteArray() << code;
    }

    void refusesDamagedCode()
    {
        QFETCH(int, size);
        QFETCH(QByteArray, start);
        QFETCH(QString, text);
        const QString path = compiled("value = 1\n", "script.pyc");
        const QByteArray left = contentsOf(path).left(size);
        makeFile(path, start + left.mid(start.size()));

        QVERIFY(!d->engine.runFile(path));

        QCOMPARE(d->engine.exitStatus(), -1);
        QCOMPARE(d->engine.error().type(), String("RuntimeError"));
        QCOMPARE(d->engine.error().text(), String(text));
        QVERIFY(!d->engine.getData("value").isValid());
    }

    void refusesAnObjectThatIsNoCode()
    {
        const QString path = d->folder.filePath("script.pyc");
        QVERIFY(d->engine.runCode("import imp, marshal\nf = open('" + path +
                                  "', 'wb')\n"
                                  "f.write(imp.get_magic() + '\\0' * 4 + marshal.dumps(5))\n"
                                  "f.close()\n"));

        QVERIFY(!d->engine.runFile(path));

        QCOMPARE(d->engine.error().text(), String("Bad code object in .pyc file"));
    }

    void runsAPipe()
    {
        SKIP_ON_WINDOWS("named pipes have no paths there");
        const QString path = d->folder.filePath("pipe.py");
        QCOMPARE(mkfifo(path.toLocal8Bit().constData(), 0600), 0);
        QVERIFY(d->engine.runCode("x = 1\n")); // the start copies the process
        QProcess writer;
        writer.start("/bin/sh", {"-c", "printf 'x += 4\\ny = x\\n' > \"$0\"", path});

        const bool isRun = d->engine.runFile(path);

        writer.waitForFinished(-1);
        QVERIFY2(isRun, d->engine.error().traceback().c_str());
        QCOMPARE(d->engine.getData("y"), Variant(5));
    }

    void runsAFileOfOneCharacter()
    {
        QVERIFY(d->engine.runFile(d->script("1")));
        QVERIFY(!d->engine.runFile(d->script("(")));
    }

    void leavesTheNameThatAScriptHasSet()
    {
        QVERIFY(d->engine.runCode("__file__ = 'mine'\n"));

        QVERIFY(d->engine.runFile(d->script("value = __file__\n")));

        QCOMPARE(d->engine.getData("value"), Variant("mine"));
        QCOMPARE(d->value("__file__"), Variant("mine"));
    }

    void runsAFileThatDeletesItsName()
    {
        QVERIFY(d->engine.runFile(d->script("del __file__\nvalue = 3\n")));

        QVERIFY(!PyErr_Occurred());
        QCOMPARE(d->engine.getData("value"), Variant(3));
    }

    void succeedsWhenTheEndOfTheLineCannotBeWritten()
    {
        QVERIFY(d->engine.runFile(d->script("import sys\n"
                                            "class Full(object):\n"
                                            "    softspace = 1\n"
                                            "    def write(self, text):\n"
                                            "        raise IOError('full')\n"
                                            "plain, sys.stdout = sys.stdout, Full()\n")));

        QVERIFY(!PyErr_Occurred());
        QVERIFY(d->engine.error().isEmpty());
        QVERIFY(d->engine.runCode("sys.stdout = plain\n"));
    }

private:
    /// Compiles \p source, which stays in source.py, to a file of that name.
    QString compiled(const QByteArray &source, const QString &name)
    {
        const QString path = d->folder.filePath(name);
        d->engine.runCode("import py_compile\npy_compile.compile('" +
                          d->script(source, "source.py") + "', '" + path + "', doraise=True)\n");
        return path;
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_files)
#include "tst_PythonScript_files.moc"
