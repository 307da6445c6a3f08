#include "utils/script/PythonScript_p.h"

#include "utils/files/File.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"

#include <QEventLoop>
#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <Python.h>

#include <cerrno>
#include <cstring>
#include <memory>

using Data::String;
using Data::Variant;
using Utils::ScriptManager;

static const SettingsHome home;

/// The default of the setting.
static const char defaultImports[] = "from math import*;from mathex import*";

class tst_PythonScript_run : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A start takes long, so the rows of a test share an interpreter.
    void init()
    {
        if (m_function == QTest::currentTestFunction())
            return;
        m_function = QTest::currentTestFunction();
        d.reset();
        d.emplace();
    }
    void cleanupTestCase() { d.reset(); }

    void supportsPythonByLanguageOrSuffix_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<bool>("asLanguage");
        QTest::addColumn<bool>("asPath");

        QTest::newRow("the language") << "py" << true << true;
        QTest::newRow("a path") << "a/script.py" << false << true;
        QTest::newRow("a path with two suffixes") << "a.txt.py" << false << true;
        QTest::newRow("another suffix") << "script.pyc" << false << false;
        QTest::newRow("a suffix in between") << "script.py.txt" << false << false;
        QTest::newRow("upper case") << "PY" << false << false;
        QTest::newRow("a path in upper case")
            << "SCRIPT.PY" << false << (Utils::File::extension("SCRIPT.PY") == "py");
        QTest::newRow("another language") << "lua" << false << false;
        QTest::newRow("the language's name") << "python" << false << false;
        QTest::newRow("nothing") << "" << false << false;
    }

    void supportsPythonByLanguageOrSuffix()
    {
        QFETCH(QString, language);
        QFETCH(bool, asLanguage);
        QFETCH(bool, asPath);

        QCOMPARE(d->engine.supports(language, /*isPath=*/false), asLanguage);
        QCOMPARE(d->engine.supports(language, /*isPath=*/true), asPath);
        QVERIFY(!Py_IsInitialized());
    }

    // Files

    void runsAFileInTheScopeOfScripts()
    {
        QVERIFY(d->engine.runFile(d->script("x = 3\nname = __name__\n")));

        QCOMPARE(d->engine.exitStatus(), 0);
        QCOMPARE(d->engine.errorMessage(), String());
        QCOMPARE(d->engine.getData("x"), Variant(3));
        QCOMPARE(d->engine.getData("name"), Variant("__main__"));
    }

    void tellsAFileItsPath()
    {
        const QString path = d->script("path = __file__\n", "\u00e4 b/\u65e5.py");

        QVERIFY(d->engine.runFile(path));

        QCOMPARE(d->engine.getData("path"), Variant(path));
    }

    void cannotOpenAFile_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("missing") << "missing.py";
        QTest::newRow("a folder") << "";
        QTest::newRow("nothing") << QString();
    }

    void cannotOpenAFile()
    {
        QFETCH(QString, name);
        const QString path = name.isNull() ? QString() : d->folder.filePath(name);

        QVERIFY(!d->engine.runFile(path));

        QCOMPARE(d->engine.errorMessage(), String("Unable to open script " + path));
    }

    void failsWithAFileThatFails_data()
    {
        QTest::addColumn<QByteArray>("text");

        QTest::newRow("an exception") << QByteArray("raise ValueError('no beam')\n");
        QTest::newRow("a syntax error") << QByteArray("x = (\n");
        QTest::newRow("an end of the program") << QByteArray("import sys\nsys.exit()\n");
        QTest::newRow("an end with a status") << QByteArray("import sys\nsys.exit(7)\n");
        QTest::newRow("an end with a text") << QByteArray("import sys\nsys.exit('no beam')\n");
        QTest::newRow("exit()") << QByteArray("exit()\n");
        QTest::newRow("quit()") << QByteArray("quit()\n");
        QTest::newRow("raise SystemExit") << QByteArray("raise SystemExit\n");
        QTest::newRow("an interrupt") << QByteArray("raise KeyboardInterrupt\n");
        QTest::newRow("endless recursion") << QByteArray("def f(): f()\nf()\n");
        QTest::newRow("bytes without a coding") << QByteArray("x = '\xe4'\n");
        QTest::newRow("UTF-8 without a coding") << QByteArray("x = '\xc3\xa4'\n");
        QTest::newRow("no ASCII, but declared so")
            << QByteArray("# -*- coding: ascii -*-\nx = '\xe4'\n");
        QTest::newRow("an unknown coding") << QByteArray("# -*- coding: klingon -*-\nx = 1\n");
        QTest::newRow("a missing module") << QByteArray("import missing_module\n");
        QTest::newRow("a broken exception")
            << QByteArray("class E(Exception):\n  def __str__(self): raise E\nraise E\n");
    }

    void failsWithAFileThatFails()
    {
        QFETCH(QByteArray, text);

        QVERIFY(!d->engine.runFile(d->script(text)));

        QCOMPARE(d->engine.exitStatus(), -1);
        QCOMPARE(d->engine.errorMessage(), String()); // it is printed
        QVERIFY(!PyErr_Occurred());
        QCOMPARE(Py_InspectFlag, 0);
        QVERIFY(d->engine.runFile(d->script("x = 1\n")));
        QCOMPARE(d->engine.exitStatus(), 0);
    }

    void runsAFileInADeclaredCoding()
    {
        QVERIFY(d->engine.runFile(
            d->script("# -*- coding: latin-1 -*-\nx = u'\xe4'.encode('utf-8')\n")));
        QCOMPARE(d->engine.getData("x"), Variant("\u00e4"));
    }

    void runsAFileBehindAnErrorThatWasLeft()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        d->engine.getData("missing");
        QVERIFY(PyErr_Occurred());

        QVERIFY(d->engine.runFile(d->script("y = 1\n")));
    }

    void readsCodeAsUtf8ButItsUnicodeLiteralsAsBytes()
    {
        QVERIFY(d->engine.runCode("x = '\u00e4'\ny = u'\u00e4'.encode('utf-8')\n"));

        QCOMPARE(d->engine.getData("x"), Variant("\u00e4"));
        QCOMPARE(d->engine.getData("y"), Variant("\u00c3\u00a4"));
    }

    // Expressions

    void givesTheValueOfAnExpression_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QVariant>("value");

        QTest::newRow("a sum") << "1+1" << QVariant(2);
        QTest::newRow("of what is imported") << "sqrt(6.25)" << QVariant(2.5);
        QTest::newRow("a text") << "'a' + 'b'" << QVariant("ab");
        QTest::newRow("not ASCII") << "'\u00e4'" << QVariant("\u00e4");
        QTest::newRow("not ASCII in a unicode literal")
            << "u'\u00e4'.encode('utf-8')" << QVariant("\u00c3\u00a4");
        QTest::newRow("two statements") << "2; print" << QVariant(2);
        QTest::newRow("blanks after it") << "3  " << QVariant(3);
        QTest::newRow("a comment after it") << "3 # beams" << QVariant(3);
    }

    void givesTheValueOfAnExpression()
    {
        QFETCH(QString, code);
        QFETCH(QVariant, value);

        QVERIFY2(d->engine.runCode(code), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->result(), Variant(value));
        QCOMPARE(d->engine.errorMessage(), String());
    }

    void takesATextWithANewlineOrAnEqualSignAsStatements_data()
    {
        QTest::addColumn<QString>("code");

        QTest::newRow("an assignment") << "x=1";
        QTest::newRow("a comparison") << "1 == 1";
        QTest::newRow("a newline at the end") << "1+1\n";
        QTest::newRow("a newline at the start") << "\n1+1";
        QTest::newRow("an equal sign in a text") << "'='";
        QTest::newRow("two lines") << "x = 1\nx";
    }

    void takesATextWithANewlineOrAnEqualSignAsStatements()
    {
        QFETCH(QString, code);

        QVERIFY2(d->engine.runCode(code), qPrintable(d->engine.errorMessage()));

        QVERIFY(!d->result().isValid());
    }

    void takesAnyOtherTextAsAnExpression_data()
    {
        QTest::addColumn<QString>("code");

        QTest::newRow("a statement") << "print 1";
        QTest::newRow("an import") << "import os";
        QTest::newRow("nothing") << "";
        QTest::newRow("a blank") << " ";
        QTest::newRow("a comment") << "# nothing";
    }

    void takesAnyOtherTextAsAnExpression()
    {
        QFETCH(QString, code);

        QVERIFY(!d->engine.runCode(code));

        QVERIFY2(d->engine.errorMessage().contains("\nline: 5\n"),
                 qPrintable(d->engine.errorMessage()));
    }

    void importsWhatAnExpressionMayUse()
    {
        setImports("from math import*; import os.path ;import string");
        d->engine.runCode("pass\n");
        d->engine.pushData("loads.dead", 1.5);
        d->engine.pushData("cfg.x", 3);

        QVERIFY2(d->engine.runCode("loads.dead * cfg.x + ceil(0.5) + len(string.digits)"),
                 qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->result(), Variant(15.5));
        QCOMPARE(d->value("os.path.__name__ in ('posixpath', 'ntpath')"), Variant(true));
        QCOMPARE(d->value("rval"), Variant(15.5));
        QCOMPARE(d->value("Data.__name__ + Framework.__name__"), Variant("DataFramework"));
    }

    void importsInAFixedOrder()
    {
        // Each module overwrites the name that the previous one has set.
        QVERIFY(d->engine.runCode("import sys\n"
                                  "def module(name, **members):\n"
                                  "    sys.modules[name] = type(sys)(name)\n"
                                  "    sys.modules[name].__dict__.update(members)\n"
                                  "module('first', step='first', last='first')\n"
                                  "module('second', step='second', last='second')\n"
                                  "sys.modules['KelmData'].step = 'KelmData' + ' after'\n"
                                  "sys.modules['KelmFramework'].step = 'KelmFramework'\n"));
        setImports("from first import *;from second import *");

        QVERIFY(d->engine.runCode("step + ' ' + last"));

        QCOMPARE(d->result(), Variant("KelmFramework second"));
    }

    void tellsTheSyntaxErrorOfAnExpressionWithItsLineAndColumn_data()
    {
        QTest::addColumn<QString>("imports");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        // The line number includes the imports.
        // clang-format off
        QTest::newRow("the default imports") << defaultImports << "1+" << "invalid syntax\nline: 6\ncolumn: 10";
        QTest::newRow("no imports") << "" << "1+" << "invalid syntax\nline: 3\ncolumn: 10";
        QTest::newRow("one import") << "from math import *" << ")" << "invalid syntax\nline: 5\ncolumn: 8";
        QTest::newRow("an empty import at the start") << ";from math import *" << "1+"
            << "invalid syntax\nline: 6\ncolumn: 10";
        QTest::newRow("empty imports only") << ";" << "1+" << "invalid syntax\nline: 6\ncolumn: 10";
        QTest::newRow("a column that Python does not tell") << "" << "(yield)"
            << "'yield' outside function\nline: 3\ncolumn: -1";
        QTest::newRow("a syntax error of a text that was evaluated") << "" << "eval('1+')"
            << "unexpected EOF while parsing\nline: 1\ncolumn: 2";
        // clang-format on
    }

    void tellsTheSyntaxErrorOfAnExpressionWithItsLineAndColumn()
    {
        QFETCH(QString, imports);
        QFETCH(QString, code);
        QFETCH(QString, error);
        setImports(imports);

        QVERIFY(!d->engine.runCode(code));

        QCOMPARE(d->engine.errorMessage(), String(error));
        QVERIFY(!PyErr_Occurred());
    }

    void needsTheModulesOfAnExpression_data()
    {
        QTest::addColumn<QString>("missing");

        QTest::newRow("the data") << "KelmData";
        QTest::newRow("the framework") << "KelmFramework";
    }

    void needsTheModulesOfAnExpression()
    {
        QFETCH(QString, missing);
        d->engine.reset();
        QVERIFY(d->engine.runCode("import sys\nsys.modules['" + missing + "'] = None\n"));

        QVERIFY(!d->engine.runCode("1"));

        QCOMPARE(d->engine.errorMessage(), String("No module named " + missing));
        QVERIFY(d->engine.runCode("x = 1"));
    }

    void needsWhatTheSettingImports()
    {
        setImports("import missing_module");

        QVERIFY(!d->engine.runCode("1"));

        QCOMPARE(d->engine.errorMessage(), String("No module named missing_module"));
    }

    // Statements

    void runsStatementsWithoutImports()
    {
        QVERIFY(!d->engine.runCode("x = sqrt(4)"));
        QCOMPARE(d->engine.errorMessage(), String("name 'sqrt' is not defined"));
        QVERIFY(!d->engine.runCode("x = 1\nData.Variant(x)"));
        QCOMPARE(d->engine.errorMessage(), String("name 'Data' is not defined"));
        QVERIFY(d->engine.runCode("from KelmData import *\nx = Data.Variant(3).value"));
        QCOMPARE(d->engine.getData("x"), Variant(3));
    }

    void givesStatementsTheModulesOfPushedData()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        d->engine.pushData("cfg.x", 3);

        QVERIFY2(d->engine.runCode("y = cfg.x + 1"), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->engine.getData("y"), Variant(4));
    }

    void keepsTheScopeFromOneRunToTheNext()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        QVERIFY(d->engine.runFile(d->script("x += 1\n")));
        QVERIFY(d->engine.runCode("x"));

        QCOMPARE(d->result(), Variant(2));
    }

    void tellsWhatStatementsRaise_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        const auto row = [](const char *name, const char *code, const QString &error) {
            QTest::newRow(name) << QString(code) << error;
        };
        row("an exception", "raise ValueError('no beam')\n", "no beam");
        row("not ASCII", "raise ValueError('\xc3\xa4')\n", "\u00e4");
        row("no text", "raise ValueError\n", "");
        row("a key", "x = {}['k']", "('k',)"); // the value of the exception, not its printed text
        row("a number", "x = 1/0", "integer division or modulo by zero");
        row("a file", "open('/missing/file')\n",
            QString("(2, '%1', '/missing/file')")
                .arg(QString::fromLocal8Bit(std::strerror(ENOENT))));
        row("an end of the program", "import sys\nsys.exit(7)\n", "7");
        row("an end without a status", "import sys\nsys.exit()\n", "");
        row("exit()", "exit(3)\n", "3");
        row("endless recursion", "def f(): f()\nf()\n", "maximum recursion depth exceeded");
        row("a syntax error", "x = (", "unexpected EOF while parsing\nline: 1\ncolumn: 6");
        row("a syntax error in line 2", "x = 1\nx = = 2\n", "invalid syntax\nline: 2\ncolumn: 5");
        row("an indentation error", "x = 1\n  y = 2\n", "unexpected indent\nline: 2\ncolumn: 2");
        row("a syntax error without a column", "x = 1\nreturn x\n",
            "'return' outside function\nline: 2\ncolumn: -1");
        row("a syntax error that is raised", "raise SyntaxError('no beam')\n", "no beam");
        row("one with details of its own", "raise SyntaxError('no beam', ('f', 3, 4, 't'))\n",
            "no beam (f, line 3)");
        row("a class that is no exception",
            "class E:\n  def __str__(self): return 'no beam'\nraise E()\n", "no beam");
        row("an exception without a text of its own",
            "class E(Exception):\n  def __str__(self): raise E\nraise E\n", "");
        row("text that is no ASCII as unicode", "raise ValueError(u'\xc3\xa4')\n", "");
        row("a text with a zero", "raise ValueError('no\\0beam')\n", "no");
    }

    void tellsWhatStatementsRaise()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);

        QVERIFY(!d->engine.runCode(code));

        const String text = d->engine.errorMessage();
        if (QByteArray(QTest::currentDataTag()) == "endless recursion")
            QVERIFY2(text.startsWith(error), qPrintable(text)); // Python may add where
        else
            QCOMPARE(text, String(error));
        QVERIFY(!PyErr_Occurred());
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->engine.errorMessage(), String());
    }

    void tellsTheErrorsOfExtensionModules_data()
    {
        QTest::addColumn<bool>("isSyntaxError");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("error");

        const auto row = [](const char *name, bool isSyntaxError, const char *value,
                            const char *error) {
            QTest::newRow(name) << isSyntaxError << QString(value) << QString(error);
        };
        row("as Python tells a syntax error", true, "('no beam', ('f', 3, 4, 't'))",
            "no beam\nline: 3\ncolumn: 4");
        row("three details", true, "('no beam', ('f', 3, 4))", "no beam\nline: 3\ncolumn: 4");
        row("two details", true, "('no beam', ('f', 3))", "no beam");
        row("details in a list", true, "('no beam', ['f', 3, 4])", "no beam");
        row("details that are no numbers", true, "('no beam', ('f', 'g', None))",
            "no beam\nline: -1\ncolumn: -1");
        row("no details", true, "('no beam',)", "('no beam',)");
        row("no tuple", true, "'no beam'", "no beam");
        row("a number", true, "5", "5");
        row("a syntax error without a value", true, "5\ndel value", "");
        row("another error without a value", false, "5\ndel value", "");
        row("another error of that shape", false, "('no beam', ('f', 3, 4))",
            "('no beam', ('f', 3, 4))");
        row("a text that fails", false, "u'\xc3\xa4'", "");
    }

    void tellsTheErrorsOfExtensionModules()
    {
        QFETCH(bool, isSyntaxError);
        QFETCH(QString, value);
        QFETCH(QString, error);
        d->standIns.reaction = [&](const QString &) {
            PyObject *const scope = PyModule_GetDict(PyImport_AddModule("__main__"));
            PyErr_SetObject(isSyntaxError ? PyExc_SyntaxError : PyExc_ValueError,
                            PyDict_GetItemString(scope, "value"));
        };

        QVERIFY(!d->engine.runCode("import host\nvalue = " + value + "\nhost.call('')\n"));

        QCOMPARE(d->engine.errorMessage(), String(error));
        QVERIFY(!PyErr_Occurred());
    }

    void forgetsTheExitStatusOfAFileAtTheNextRun()
    {
        const auto runBadFile = [&] {
            QVERIFY(!d->engine.runFile(d->script("x = (\n")));
            QCOMPARE(d->engine.exitStatus(), -1);
        };

        runBadFile();
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->engine.exitStatus(), 0);

        runBadFile();
        QVERIFY(d->engine.validate("x = 1"));
        QCOMPARE(d->engine.exitStatus(), 0);

        runBadFile();
        QVERIFY(!d->engine.runFile("missing.py"));
        QCOMPARE(d->engine.exitStatus(), 0);
    }

    void runsCodeBehindAnErrorThatWasLeft()
    {
        QVERIFY(d->engine.runCode("x = 1"));
        d->engine.getData("missing");
        QVERIFY(d->engine.runCode("y = 1"));

        d->engine.getData("missing");
        QVERIFY(d->engine.runCode("x"));
    }

    void runsWhatAScriptHasDoneToItsOwnScope()
    {
        QVERIFY(d->engine.runCode("import sys\ndel sys.modules['__main__']\n"));
        QVERIFY(d->engine.runCode("x = 1"));
        QCOMPARE(d->engine.getData("x"), Variant(1));
        QVERIFY(d->engine.runFile(d->script("y = x + 1\n")));
        QCOMPARE(d->engine.getData("y"), Variant(2));
    }

    // Checks

    void validatesCodeWithoutRunningIt()
    {
        QVERIFY(d->engine.validate("x = 1\nraise ValueError\n"));
        QCOMPARE(d->engine.errorMessage(), String());
        QVERIFY(!d->engine.getData("x").isValid());

        QVERIFY(!d->engine.validate("x = 1\nx = = 2\n"));
        QCOMPARE(d->engine.errorMessage(), String("invalid syntax\nline: 2\ncolumn: 5"));
        QVERIFY(!PyErr_Occurred());

        QVERIFY(d->engine.validate("'\u00e4'"));
        QVERIFY(d->engine.validate(""));
        QCOMPARE(d->engine.errorMessage(), String());
    }

    void validatesCodeBehindAnErrorThatWasLeft()
    {
        QVERIFY(d->engine.validate("1"));
        d->engine.getData("missing");

        QVERIFY(d->engine.validate("1"));
    }

    // Imports

    void givesTheImportsOfTheSetting_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QString>("lines");

        // clang-format off
        QTest::newRow("one") << "import a" << "import a\n";
        QTest::newRow("two") << "import a;import b" << "import a\nimport b\n";
        QTest::newRow("blanks") << "  import a ;\timport b  " << "import a\nimport b\n";
        QTest::newRow("an empty one at the end") << "import a;" << "import a\n\n";
        QTest::newRow("an empty one in between") << "import a;;import b" << "import a\n\nimport b\n";
        QTest::newRow("an empty one at the start") << ";import a" << "\nimport a\n";
        QTest::newRow("nothing") << "" << "";
        QTest::newRow("a separator only") << ";" << "\n\n";
        QTest::newRow("a blank only") << " " << "\n";
        QTest::newRow("blanks only") << " ; " << "\n\n";
        // clang-format on
    }

    void givesTheImportsOfTheSetting()
    {
        QFETCH(QString, setting);
        QFETCH(QString, lines);
        setImports(setting);

        QCOMPARE(d->engine.importCode(), String(lines));
        QVERIFY(!Py_IsInitialized());
    }

    void importsMathematicsByDefault()
    {
        QSettings().clear();

        QCOMPARE(d->engine.importCode(), String("from math import*\nfrom mathex import*\n"));
    }

    // Through the manager

    void givesResultsThroughTheManager()
    {
        Variant result;
        String error;

        QVERIFY(manager().execute("1+1", "py", result, error));
        QCOMPARE(result, Variant(2));

        result = Variant();
        QVERIFY(manager().execute("x=1", "py", result, error));
        QVERIFY(!result.isValid());

        result = "x";
        QVERIFY(manager().execute("x = 2.5", "py", result, error));
        QCOMPARE(result, Variant(2.5));

        result = "x";
        QVERIFY(!manager().execute("x = (", "py", result, error));
        QVERIFY(!result.isValid());
        QCOMPARE(error, String("unexpected EOF while parsing\nline: 1\ncolumn: 6"));
    }

    void runsFilesThroughTheManager()
    {
        Recorder recorder;
        QVERIFY(manager().ScriptExecuted().connect(&recorder,
                                                   SLOT(payload(const Data::VariantCollection &))));
        const QString good = d->script("x = 1\n", "good.py");
        const QString bad = d->script("x = (\n", "bad.py");

        QVERIFY(manager().execute(good));
        QVERIFY(!manager().execute(bad));

        QCOMPARE(recorder.calls, (QStringList{"sig({path=" + good + ", result=true})",
                                              "sig({path=" + bad + ", result=false})"}));
    }

    void readsAnAddressOnAThreadOfAScript_data()
    {
        QTest::addColumn<QByteArray>("response"); // none when it is empty
        QTest::addColumn<int>("limit");           // in milliseconds
        QTest::addColumn<String>("text");

        QTest::newRow("an answer")
            << QByteArray("HTTP/1.0 200 OK\r\n\r\ntext") << 0 << String("text");
        QTest::newRow("no answer in time") << QByteArray() << 300 << String();
    }

    void readsAnAddressOnAThreadOfAScript()
    {
        QFETCH(QByteArray, response);
        QFETCH(int, limit);
        QFETCH(String, text);
        QString address;
        QSemaphore isReady;
        const std::unique_ptr<QThread> thread(QThread::create([&] {
            HttpServer server([&](QTcpSocket *socket) {
                socket->write(response);
                if (!response.isEmpty())
                    socket->disconnectFromHost();
            });
            address = server.address("/file");
            isReady.release();
            QEventLoop().exec();
        }));
        thread->start();
        isReady.acquire();

        Utils::File::setHttpLimits(limit, 0);
        const bool succeeded = d->engine.runCode("import threading\n"
                                                 "from KelmUtils import Utils\n"
                                                 "def read(): texts.append(str(Utils.File.read('" +
                                                 address +
                                                 "')))\n"
                                                 "texts = []\n"
                                                 "t = threading.Thread(target=read)\n"
                                                 "t.start()\n"
                                                 "t.join()\n");
        Utils::File::setHttpLimits(0, 0);
        thread->quit();
        thread->wait();

        QVERIFY2(succeeded, qPrintable(d->engine.errorMessage()));
        QCOMPARE(d->value("len(texts)"), Variant(1));
        QCOMPARE(d->value("texts[0]"), Variant(text));
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    static void setImports(const QString &imports)
    {
        QSettings().setValue("gui/pythonImports", imports);
    }

    std::optional<PythonFixture> d;
    QByteArray m_function; // for which d was created
};

QTEST_GUILESS_MAIN(tst_PythonScript_run)
#include "tst_PythonScript_run.moc"
