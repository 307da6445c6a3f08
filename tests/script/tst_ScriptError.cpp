#include "utils/script/ScriptError.h"

#include "utils/script/ScriptManager.h"
#include "utils/signals/Signal.h"
#include "utils/signals/Slot.h"
#include "utils/signals/SlotCB.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <Python.h>

using Data::String;
using Data::Variant;
using Utils::ScriptError;
using Utils::ScriptManager;

static const SettingsHome home;

/// A module that does what a test sets.
class Module : public Utils::IScriptableModule
{
public:
    explicit Module(std::function<bool()> action)
        : IScriptableModule("frames"), m_action(std::move(action))
    {}
    bool initialize() override { return m_action(); }

private:
    const std::function<bool()> m_action;
};

class tst_ScriptError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void isEmptyWithoutAnError()
    {
        const ScriptError error;

        QVERIFY(error.isEmpty());
        QCOMPARE(error.type() + error.text() + error.traceback() + error.file(), String());
        QCOMPARE(error.line() + error.column() + error.exitStatus(), 0);
        QVERIFY(error.frames().isEmpty());
        QVERIFY(!error.isExit());
        QCOMPARE(error.toJson(), String("{}"));
    }

    void describesAFileThatFails()
    {
        const QString path = d->script("def load(n):\n"
                                       "    return 1 / n  # the last line\n"
                                       "\n"
                                       "load(0)\n");

        QVERIFY(!manager().execute(path));

        const ScriptError error = manager().error();
        QVERIFY(!error.isEmpty());
        QCOMPARE(error.type(), String("ZeroDivisionError"));
        QCOMPARE(error.text(), String("integer division or modulo by zero"));
        QCOMPARE(error.file(), String(path));
        QCOMPARE(error.line(), 2);
        QCOMPARE(error.column(), 0);
        QCOMPARE(frames(error), (QStringList{path + ":4 <module> |load(0)|",
                                             path + ":2 load |return 1 / n  # the last line|"}));
        QCOMPARE(error.traceback(),
                 String("Traceback (most recent call last):\n"
                        "  File \"" +
                        path +
                        "\", line 4, in <module>\n"
                        "    load(0)\n"
                        "  File \"" +
                        path +
                        "\", line 2, in load\n"
                        "    return 1 / n  # the last line\n"
                        "ZeroDivisionError: integer division or modulo by zero\n"));
        QVERIFY(!error.isExit());
        QCOMPARE(d->engine.errorMessage(), String()); // as ever
    }

    void hasTheTracebackThatPythonPrints_data()
    {
        QTest::addColumn<QByteArray>("script");

        const auto row = [](const char *name, const QByteArray &script) {
            QTest::newRow(name) << script;
        };
        row("an exception", "1 / 0\n");
        row("calls", "def f():\n    g()\ndef g():\n\traise KeyError('k')\nf()\n");
        row("a call in several lines", "def f(x):\n  return x / 0\nf(\n  1)\n");
        row("a class of the script", "class E(Exception): pass\nraise E('a\\nb')\n");
        row("an old class", "class E: pass\nraise E()\n");
        row("no text", "assert False\n");
        row("an exception without a text", "raise ValueError\n");
        row("an empty text", "raise ValueError('')\n");
        row("a text that fails",
            "class E(Exception):\n def __str__(self): return 1 / 0\nraise E()\n");
        row("a text that is unicode", "raise ValueError(u'\\xe4')\n");
        row("a text that is no UTF-8", "raise ValueError('\\xc3\\xa4')\n");
        row("an error of the system", "open('/none/none')\n");
        row("an exit", "import sys\nsys.exit(3)\n");
        row("an exit with a text", "raise SystemExit('done')\n");
        row("an interrupt of its own", "raise KeyboardInterrupt\n");
        row("carriage returns", "x = 1\r\n  \r\nif x:\r\n   1 / 0\r\n");
        row("no syntax", "x = 1\nif x\n");
        row("no syntax at the start", "1x\n");
        row("no syntax at the end", "x = (1,\n");
        row("no syntax, indented", "if 1:\n    x = 1 +\n");
        row("no syntax, tabs", "if 1:\n\t\tx = = 2\n");
        row("no syntax in a text of several lines", "x = '''\na\nb''' 5\n");
        row("a wrong indentation", "if 1:\n    x = 1\n  y = 2\n");
        row("a return without a function", "x = 1\nreturn x\n");
        row("a break without a loop", "def f():\n  break\n");
        row("no coding line", "x = '\xc3\xa4'\n");
        row("a syntax error in a module", "import damaged\n");
        row("an exception in a module", "import wrong\nwrong.f()\n");
        row("a module that is missing", "import none_such\n");
        row("a syntax error of the script", "raise SyntaxError('mine')\n");
        row("one with a position", "raise SyntaxError('mine', ('a.py', 3, 5, '  x = 1\\n'))\n");
        row("one with a position and no text",
            "raise SyntaxError('mine', ('a.py', 3, None, None))\n");
        row("evaluated code", "eval('1 / 0')\n");
        row("executed code", "exec 'def f():\\n  1/0\\nf()'\n");
        row("executed code without syntax", "exec 'x = ('\n");
        row("code of another name", "exec compile('\\n\\n1/0', 'none.py', 'exec')\n");
        row("a recursion", "def f(n):\n  f(n + 1)\nf(0)\n");
        row("a short traceback",
            "import sys\nsys.tracebacklimit = 2\ndef f(n):\n  1 / n\n  f(n - 1)\nf(5)\n");
        row("no traceback", "import sys\nsys.tracebacklimit = 0\n1 / 0\n");
        row("a traceback of more lines than the list",
            "import sys\nsys.tracebacklimit = 2000\nsys.setrecursionlimit(3000)\n"
            "def f(n):\n  1 / n\n  f(n - 1)\nf(1100)\n");
        row("a limit that is no number", "import sys\nsys.tracebacklimit = 'a'\n1 / 0\n");
        row("a form feed", "x = 1\n\f1 / 0\n");
        row("a class of a module without a name",
            "class E(Exception): __module__ = ''\nraise E('a')\n");
        row("an error that is no exception", "import host\nhost.call('why')\n");
        row("an error that is no exception, without a text", "import host\nhost.call('')\n");

        const QByteArray moved = "exec compile('\\n1 / 0', '/none/wrong.py', 'exec')\n";
        row("a file that was moved", moved);
        row("a file that was moved, odd folders",
            "import sys\nsys.path = [5, '', sys.path[0] + '/']\n" + moved);
        row("a file that was moved, no folders", "import sys\nsys.path = None\n" + moved);
        row("a file that was moved, no path", "import sys\ndel sys.path\n" + moved);

        const auto position = [&](const char *name, const QByteArray &message,
                                  const QByteArray &values) {
            row(name, "raise SyntaxError(" + message + ", (" + values + "))\n");
        };
        position("a position without a file", "'mine'", "None, 3, 5, 'x = 1'");
        position("a position in a file without a name", "'mine'", "'', 3, 5, 'x = 1'");
        position("a position in no file", "'mine'", "7, 3, 5, 'x = 1'");
        position("a position in a file of unicode", "'mine'", "u'a.py', 3, 5, u'x = 1'");
        position("a line that is a long int", "'mine'", "'a.py', 3L, 5L, 'x = 1'");
        position("a line that is no number", "'mine'", "'a.py', 'b', 5, 'x = 1'");
        position("a column that is no number", "'mine'", "'a.py', 3, 'b', 'x = 1'");
        position("a source that is no text", "'mine'", "'a.py', 3, 5, 7");
        position("a position without a message", "None", "'a.py', 3, 5, 'x = 1'");
        position("a position with an empty message", "''", "'a.py', 3, 5, 'x = 1'");
        position("a position with a number", "7", "'a.py', 3, 5, 'x = 1'");
        position("a position with a message that fails",
                 "type('M', (object,), {'__str__': lambda self: 1 / 0})()", "'a.py', 3, 5, 'x'");
        const QByteArrayList attributes{
            "print_file_and_line = 1", "msg = 'm'", "filename = None", "lineno = 3", "offset = 2",
            "text = 'x = 1'"};
        for (int count = 1; count <= attributes.size(); ++count)
            row(qPrintable(QString("%1 attributes of a position").arg(count)),
                "class E(Exception): " + attributes.mid(0, count).join("; ") + "\nraise E('a')\n");
    }

    void hasTheTracebackThatPythonPrints()
    {
        QFETCH(QByteArray, script);
        d->script("def f(:\n", "damaged.py");
        d->script("def f():\n    raise IOError('wrong')\n", "wrong.py");
        d->standIns.reaction = [](const QString &text) {
            PyObject *const type = PyString_FromString("odd");
            PyObject *const value = PyString_FromString(text.toUtf8());
            PyErr_SetObject(type, text.isEmpty() ? nullptr : value);
            Py_DECREF(type);
            Py_DECREF(value);
        };
        run("import sys, cStringIO\nsys.dont_write_bytecode = True\n"
            "sys.path.insert(0, '" +
            d->folder.path() + "')\n");
        run("sys.stderr = cStringIO.StringIO()\n");

        QVERIFY(!manager().execute(d->script(script)));

        const ScriptError error = manager().error();
        const Variant printed = read("sys.stderr.getvalue()");
        run("sys.stderr = sys.__stderr__\nif hasattr(sys, 'tracebacklimit'): del "
            "sys.tracebacklimit\n"
            "sys.path.pop(0)\n");
        QVERIFY(!printed.toString().isEmpty());
        QCOMPARE(error.traceback(), printed.toString());
        QCOMPARE(error.type().isEmpty(), false);
    }

    void quotesTheLinesOfCode()
    {
        QVERIFY(!run("def load(n):\n"
                     "    class Part(object):\n"
                     "        def __init__(self):\n"
                     "            self.x = 1 / n\r\n"
                     "    return Part()\n"
                     "load(0)"));

        const ScriptError error = manager().error();
        QCOMPARE(frames(error),
                 (QStringList{"<string>:6 <module> |load(0)|", "<string>:5 load |return Part()|",
                              "<string>:4 __init__ |self.x = 1 / n|"}));
        QCOMPARE(error.traceback(),
                 String("Traceback (most recent call last):\n"
                        "  File \"<string>\", line 6, in <module>\n"
                        "    load(0)\n"
                        "  File \"<string>\", line 5, in load\n"
                        "    return Part()\n"
                        "  File \"<string>\", line 4, in __init__\n"
                        "    self.x = 1 / n\n"
                        "ZeroDivisionError: integer division or modulo by zero\n"));
        QCOMPARE(error.file(), String("<string>"));
        QCOMPARE(error.line(), 4);
    }

    void quotesNoLinesOfOtherTexts()
    {
        QVERIFY(run("def f(n):\n    return 1 / n\n\n"));

        QVERIFY(!run("x = 1\nf(0)\n"));
        QCOMPARE(frames(manager().error()),
                 (QStringList{"<string>:2 <module> |f(0)|", "<string>:2 f ||"}));

        QVERIFY(!run("x = 1\nexec 'a = 1\\n\\n1/0'\n"));
        QCOMPARE(
            frames(manager().error()),
            (QStringList{"<string>:2 <module> |exec 'a = 1\\n\\n1/0'|", "<string>:3 <module> ||"}));
    }

    void quotesNoLinesThatTheTextDoesNotHave()
    {
        QVERIFY(run("import types\nsource = compile('1 / 0', '', 'exec')\n"
                    "def code(file, line): return types.CodeType(0, 0, source.co_stacksize, "
                    "source.co_flags, source.co_code, source.co_consts, (), (), file, 'odd', line, "
                    "'')\n"));
        const QString path = d->script("x = 1\n");

        for (const char *place : {"%1', 0", "%1', 99", "a\\0b', 1", "', 1"}) {
            QVERIFY(!run("exec code('" + QString(place).replace("%1", path) + ")\n"));
            QVERIFY2(frames(manager().error()).last().endsWith(" odd ||"),
                     qPrintable(frames(manager().error()).last()));
        }
        QVERIFY(!run("exec code('" + path + "', 1)\n"));
        QCOMPARE(frames(manager().error()).last(), path + ":1 odd |x = 1|");
    }

    void hasTheModuleOfItsClass_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("name"); // as it is printed

        QTest::newRow("that of the script") << ""
                                            << "__main__.E";
        QTest::newRow("another one") << "E.__module__ = 'beams'"
                                     << "beams.E";
        QTest::newRow("none") << "del E.__module__"
                              << "<unknown>E";
        QTest::newRow("no text") << "E.__module__ = 5"
                                 << "E";
        QTest::newRow("None") << "E.__module__ = None"
                              << "E";
        QTest::newRow("that of Python") << "E.__module__ = 'exceptions'"
                                        << "E";
    }

    void hasTheModuleOfItsClass()
    {
        QFETCH(QString, change);
        QFETCH(QString, name);

        QVERIFY(!run("class E:\n    def __str__(self): return 'a'\n" + change + "\nraise E()\n"));

        QCOMPARE(manager().error().type(), String("E"));
        QVERIFY2(manager().error().traceback().endsWith("\n" + name + ": a\n"),
                 qPrintable(manager().error().traceback()));
    }

    void hasNoLineOfTheCodeForAPositionInAnotherText()
    {
        QVERIFY(!run("raise SyntaxError('mine', ('a.py', 1, None, None))\n"));

        QVERIFY2(
            manager().error().traceback().endsWith("  File \"a.py\", line 1\nSyntaxError: mine\n"),
            qPrintable(manager().error().traceback()));
        QCOMPARE(manager().error().text(), String("mine"));
    }

    void readsNoPipe()
    {
        SKIP_ON_WINDOWS("named pipes have no paths there");
        const QString path = d->folder.filePath("pipe");

        QVERIFY(!run("import os\nos.mkfifo('" + path + "')\nexec compile('1/0', '" + path +
                     "', 'exec')\n"));

        QCOMPARE(frames(manager().error()).last(), path + ":1 <module> ||");
    }

    void readsNoFileThatMayNotBeOpened()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QString path = d->script("1 / 0\n", "closed.py");
        QVERIFY(QFile::setPermissions(path, QFile::Permissions()));
        const OrdinaryUser user(d->folder.path());

        QVERIFY(!run("exec compile('1/0', '" + path + "', 'exec')\n"));

        QCOMPARE(frames(manager().error()).last(), path + ":1 <module> ||");
    }

    void describesAnExpression()
    {
        Variant result;
        String text;

        QVERIFY(!manager().execute("1/0", "py", result, text));

        const ScriptError error = manager().error();
        QCOMPARE(error.type(), String("ZeroDivisionError"));
        QCOMPARE(frames(error), QStringList("<string>:5 <module> |rval = 1/0|"));
    }

    void describesSyntaxErrors_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("end"); // of the traceback

        // clang-format off
        QTest::newRow("an incomplete line") << "x = 1\ny = 2 +\n" << 2 << 8 << "invalid syntax"
            << "    y = 2 +\n          ^\n";
        QTest::newRow("no end of line") << "x = 1\ny = 2 +" << 2 << 8 << "invalid syntax"
            << "    y = 2 +\n          ^\n";
        QTest::newRow("an open bracket") << "x = (1,\n" << 1 << 8
            << "unexpected EOF while parsing" << "    x = (1,\n          ^\n";
        QTest::newRow("a return") << "x = 1\n  \nreturn x\n" << 3 << 0
            << "'return' outside function" << "    return x\n";
        // clang-format on
    }

    void describesSyntaxErrors()
    {
        QFETCH(QString, code);
        QFETCH(int, line);
        QFETCH(int, column);
        QFETCH(QString, text);
        QFETCH(QString, end);

        for (const bool isRun : {true, false}) {
            String reason;
            QVERIFY(isRun ? !run(code) : !manager().validate(code, "py", reason));

            const ScriptError error = manager().error();
            const QString file = isRun ? "<string>" : "code";
            QCOMPARE(error.type(), String("SyntaxError"));
            QCOMPARE(error.text(), String(text));
            QCOMPARE(error.file(), String(file));
            QCOMPARE(error.line(), line);
            QCOMPARE(error.column(), column);
            QVERIFY(error.frames().isEmpty());
            QCOMPARE(error.traceback(),
                     String("  File \"" + file + QString("\", line %1\n").arg(line) + end +
                            "SyntaxError: " + text + "\n"));
        }
    }

    void describesAnExit_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("text");

        QTest::newRow("no argument") << "sys.exit()" << 0 << "";
        QTest::newRow("none") << "sys.exit(None)" << 0 << "";
        QTest::newRow("zero") << "sys.exit(0)" << 0 << "0";
        QTest::newRow("a number") << "sys.exit(7)" << 7 << "7";
        QTest::newRow("true") << "sys.exit(True)" << 1 << "True";
        QTest::newRow("a text") << "sys.exit('no input')" << 1 << "no input";
        QTest::newRow("an exception") << "raise SystemExit" << 0 << "";
        QTest::newRow("several") << "raise SystemExit(1, 2)" << 1 << "(1, 2)";
        QTest::newRow("a status that fails")
            << "raise type('SystemExit', (SystemExit,), {'code': property(lambda s: 1 / 0)})('why')"
            << 1 << "why";
    }

    void describesAnExit()
    {
        QFETCH(QString, code);
        QFETCH(int, status);
        QFETCH(QString, text);
        const QString script = "import sys\n" + code + "\n";

        for (const bool isFile : {true, false}) {
            QVERIFY(isFile ? !manager().execute(d->script(script.toUtf8())) : !run(script));

            const ScriptError error = manager().error();
            QCOMPARE(error.type(), String("SystemExit"));
            QVERIFY(error.isExit());
            QCOMPARE(error.exitStatus(), status);
            QCOMPARE(error.text(), String(text));
            QCOMPARE(error.line(), 2);
        }
    }

    void hasTheTextOfAnExceptionThatPythonCannotPrint()
    {
        QVERIFY(!run("raise ValueError(u'\\xe4')\n"));

        QCOMPARE(manager().error().text(), String(QString(QChar(0xe4))));
    }

    void hasTheTextOfATracebackWhereTheMessageIsRaw()
    {
        QVERIFY(!run("{}['k']\n"));

        QCOMPARE(d->engine.errorMessage(), String("('k',)")); // as ever
        QCOMPARE(manager().error().text(), String("'k'"));
    }

    void asksForTheTextOfAnExceptionOnce_data()
    {
        QTest::addColumn<int>("way");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        for (const int way : {0, 1, 2}) {
            QTest::addRow("text %d", way) << way << "1"
                                          << "str(n)";
            QTest::addRow("no text %d", way) << way << ""
                                             << "1 / 0";
        }
    }

    void asksForTheTextOfAnExceptionOnce()
    {
        QFETCH(int, way); // a text, a file, a console
        QFETCH(QString, text);
        QFETCH(QString, result);
        const QString code = "n = 0\nclass E(Exception):\n def __str__(self):\n  global n\n"
                             "  n += 1\n  return " +
                             result + "\nraise E\n";
        if (way == 0)
            QVERIFY(!run(code));
        else if (way == 1)
            QVERIFY(!manager().execute(d->script(code.toUtf8())));
        else
            manager().interpret(code, "py", Utils::ScriptUnit::File);

        QCOMPARE(manager().error().type(), String("E"));
        QCOMPARE(manager().error().text(), String(text));
        QCOMPARE(read("n"), Variant(1));
        QVERIFY(run("x = str(E())\n") == !text.isEmpty()); // the class is as before
        QCOMPARE(read("n"), Variant(2));
    }

    void isThatOfAConsole()
    {
        manager().interpret("1 / 0", "py");
        QCOMPARE(manager().error().type(), String("ZeroDivisionError"));
        QCOMPARE(manager().error().file(), String("<stdin>"));
        QCOMPARE(manager().error().line(), 1);

        manager().interpret("if 1:", "py");
        QVERIFY(manager().error().isEmpty());
        manager().interpret("raise SystemExit(3)", "py");
        QVERIFY(manager().error().isExit());
        QCOMPARE(manager().error().exitStatus(), 3);
        manager().interpret("1", "py");
        QVERIFY(manager().error().isEmpty());
        manager().interpret("1", "none");
        QVERIFY(!manager().error().isEmpty());
    }

    void isEmptyAfterASuccess()
    {
        QVERIFY(!run("1 / 0\n"));
        QVERIFY(!manager().error().isEmpty());
        QVERIFY(run("pass\n"));
        QVERIFY(manager().error().isEmpty());

        QVERIFY(!manager().execute(d->script("1 / 0\n")));
        QVERIFY(!manager().error().isEmpty());
        QVERIFY(manager().execute(d->script("pass\n")));
        QVERIFY(manager().error().isEmpty());

        String reason;
        QVERIFY(!manager().validate("x =", "py", reason));
        QVERIFY(!manager().error().isEmpty());
        QVERIFY(manager().validate("x = 1", "py", reason));
        QVERIFY(manager().error().isEmpty());
    }

    void isThatOfTheOuterRun_data()
    {
        QTest::addColumn<QString>("inner");
        QTest::addColumn<QString>("outer");

        // clang-format off
        QTest::newRow("both fail") << "raise ValueError('inner')\n" << "raise KeyError('outer')\n";
        QTest::newRow("the inner one fails") << "raise ValueError('inner')\n" << "pass\n";
        QTest::newRow("the outer one fails") << "pass\n" << "raise KeyError('outer')\n";
        // clang-format on
    }

    void isThatOfTheOuterRun()
    {
        QFETCH(QString, inner);
        QFETCH(QString, outer);
        ScriptError seen;
        const QString innerFile = d->script(inner.toUtf8(), "inner.py");
        d->standIns.reaction = [&](const QString &) {
            manager().execute(innerFile);
            run(inner);
            seen = manager().error();
        };
        const QString code = "import host\nhost.call('')\n" + outer;

        for (const bool isFile : {true, false}) {
            seen = ScriptError();
            QVERIFY((isFile ? manager().execute(d->script(code.toUtf8())) : run(code)) ==
                    (outer == "pass\n"));

            QCOMPARE(seen.type(), String(inner == "pass\n" ? "" : "ValueError"));
            QCOMPARE(manager().error().type(), String(outer == "pass\n" ? "" : "KeyError"));
            QCOMPARE(manager().error().line(), outer == "pass\n" ? 0 : 3);
        }
    }

    void isKnownToTheHostWhenItIsTold()
    {
        QStringList seen;
        d->host.reaction = [&](const QString &call) {
            if (call.contains("scriptRun,") || call.contains("err.scriptRun"))
                seen.append("message " + manager().error().type());
        };
        Utils::Slot slot("slot", nullptr);
        struct Receiver
        {
            void called()
            {
                seen.append("signal " + manager().error().type());
                Variant result;
                String error;
                manager().execute("pass\n", "py", result, error);
            }
            QStringList &seen;
        } receiver{seen};
        slot.setCallback(&receiver, &Receiver::called);
        QVERIFY(manager().ScriptExecuted().connect(&slot));

        QVERIFY(!manager().execute(d->script("1 / 0\n")));

        QCOMPARE(seen.last(), QString("signal ZeroDivisionError"));
        QCOMPARE(manager().error().type(), String("ZeroDivisionError")); // not that of the receiver
    }

    void hasATextWithoutAnException()
    {
        QVERIFY(!manager().execute("/none/none.py"));
        QCOMPARE(manager().error().text(), String("Unable to open script /none/none.py"));
        QCOMPARE(manager().error().file(), String("/none/none.py"));
        QCOMPARE(manager().error().type() + manager().error().traceback(), String());

        QVERIFY(!manager().execute("script.none"));
        QVERIFY(!manager().error().text().isEmpty());
        Variant result;
        String reason;
        QVERIFY(run("pass\n"));
        QVERIFY(!manager().execute("x", "none", result, reason));
        QVERIFY(!manager().error().text().isEmpty());
        QVERIFY(run("pass\n"));
        QVERIFY(!manager().validate("x", "none", reason));
        QVERIFY(!manager().error().text().isEmpty());
        QCOMPARE(reason, String());
    }

    void hasATextWhenThereIsNoInterpreter()
    {
        manager().reset("");
        Utils::setApplication(nullptr);
        String reason;

        QVERIFY(!run("pass\n"));
        QCOMPARE(manager().error().text(), d->engine.errorMessage());
        QVERIFY(!manager().error().text().isEmpty());
        QVERIFY(!manager().validate("pass", "py", reason));
        QVERIFY(!manager().error().text().isEmpty());
        QVERIFY(!manager().execute(d->script("pass\n")));
        QVERIFY(!manager().error().text().isEmpty());
    }

    void hasTheTextOfAnotherEngine()
    {
        QStringList calls;
        FakeEngine engine("fake", calls);
        engine.succeeds = false;
        engine.error = "no";
        const EngineReplacement replacement({&engine});
        Variant result;
        String reason;

        QVERIFY(!manager().execute("x", "fake", result, reason));

        QCOMPARE(manager().error().text(), String("no"));
        QCOMPARE(manager().error().type(), String());
        QVERIFY(manager().moduleErrors("fake").isEmpty());
    }

    void describesModulesThatFail_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("the error is left") << "leave" << "ZeroDivisionError" << "integer division or modulo by zero";
        QTest::newRow("the error is printed") << "print" << "ZeroDivisionError" << "integer division or modulo by zero";
        QTest::newRow("no error") << "none" << "" << "ERROR: Failed to initialize scripting module for frames";
        QTest::newRow("what a script has set as the last error") << "sys.last_type, sys.last_value, sys.last_traceback = 5, None, 'none'" << "5" << "";
        QTest::newRow("an exit that a script has set") << "sys.last_type = SystemExit; del sys.last_value" << "SystemExit" << "";
        QTest::newRow("a value without a type") << "sys.last_value = 5; del sys.last_type" << "" << "ERROR: Failed to initialize scripting module for frames";
        // clang-format on
    }

    void describesModulesThatFail()
    {
        QFETCH(QString, how);
        QFETCH(QString, type);
        QFETCH(QString, text);
        QVERIFY(!manager().execute(d->script("raise KeyError('printed before')\n")));
        const Module module([&] {
            if (!Py_IsInitialized())
                return false;
            PyErr_Clear();
            if (how.startsWith("sys.")) {
                PyRun_SimpleString(QByteArray("import sys\n" + how.toUtf8()));
            } else if (how != "none") {
                PyObject *const scope = PyModule_GetDict(PyImport_AddModule("__main__"));
                PyRun_String("1 / 0", Py_eval_input, scope, scope);
            }
            if (how == "print")
                PyErr_Print();
            return false;
        });

        QVERIFY(run("pass\n"));
        QVERIFY(run("pass\n"));

        QVERIFY(manager().error().isEmpty()); // the run has succeeded
        const QList<ScriptError> errors = manager().moduleErrors("py");
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors[0].module(), String("frames"));
        QCOMPARE(errors[0].type(), String(type));
        QCOMPARE(errors[0].text(), String(text));
        QCOMPARE(errors[0].traceback().isEmpty(), type.isEmpty());
        QVERIFY(manager().moduleErrors("none").isEmpty());

        manager().reset("");
        QVERIFY(manager().moduleErrors("py").isEmpty());
        QVERIFY(run("pass\n"));
        QCOMPARE(manager().moduleErrors("py").size(), 1);
    }

    void keepsTheInnermostFramesOfADeepRecursion()
    {
        QVERIFY(!run("import sys\nsys.setrecursionlimit(3000)\ndef f(n):\n"
                     "    return f(n + 1) if n < 2000 else 1 / 0\nf(0)\n"));

        const QList<ScriptError::Frame> kept = manager().error().frames();
        QCOMPARE(kept.size(), 1000);
        QCOMPARE(kept.first().function, String("f")); // not the module
        QCOMPARE(manager().error().traceback().count("  File "), 1000);
        QVERIFY(run("sys.setrecursionlimit(1000)\n"));
    }

    void isOneLineOfJson()
    {
        QVERIFY(!run("def f():\n    raise ValueError('a \"quote\"\\n')\nf()\n"));

        const String json = manager().error().toJson();
        QVERIFY(!json.contains('\n'));
        const QJsonObject object = QJsonDocument::fromJson(json.toUtf8()).object();
        QCOMPARE(object["type"].toString(), QString("ValueError"));
        QCOMPARE(object["text"].toString(), QString("a \"quote\"\n"));
        QCOMPARE(object["file"].toString(), QString("<string>"));
        QCOMPARE(object["line"].toInt(), 2);
        QVERIFY(object["column"].isNull());
        QCOMPARE(object["traceback"].toString(), QString(manager().error().traceback()));
        QCOMPARE(object["frames"].toArray().size(), 2);
        const QJsonObject frame = object["frames"].toArray().last().toObject();
        QCOMPARE(frame["file"].toString(), QString("<string>"));
        QCOMPARE(frame["line"].toInt(), 2);
        QCOMPARE(frame["function"].toString(), QString("f"));
        QCOMPARE(frame["source"].toString(), QString("raise ValueError('a \"quote\"\\n')"));

        QVERIFY(!manager().execute("/none/none.py"));
        const QJsonObject plain =
            QJsonDocument::fromJson(manager().error().toJson().toUtf8()).object();
        QCOMPARE(plain["file"].toString(), QString("/none/none.py"));
        QVERIFY(plain["type"].isNull() && plain["line"].isNull() && plain["traceback"].isNull());
        QVERIFY(plain["frames"].isArray() && plain["frames"].toArray().isEmpty());
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    static bool run(const String &code)
    {
        Variant result("__name__");
        String error;
        return manager().execute(code, "py", result, error);
    }

    /// The value of an expression in the scope of scripts.
    Variant read(const QString &expression) { return d->value(expression); }

    static QStringList frames(const ScriptError &error)
    {
        QStringList lines;
        const QList<ScriptError::Frame> all = error.frames();
        for (const ScriptError::Frame &frame : all)
            lines.append(
                QString("%1:%2 %3 |%4|")
                    .arg(frame.file, QString::number(frame.line), frame.function, frame.source));
        return lines;
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_ScriptError)
#include "tst_ScriptError.moc"
