#include "utils/script/ScriptManager.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QtTest>

using Utils::ScriptChannel;
using Utils::ScriptManager;
using Utils::ScriptReply;
using Utils::ScriptUnit;

static const SettingsHome home;

static ScriptReply interpret(const QString &code, ScriptUnit unit = ScriptUnit::Statement)
{
    return ScriptManager::instance().interpret(code, "py", unit);
}

class tst_PythonScript_console : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (!d)
            d.emplace();
        m_output.clear();
        m_error.clear();
        ScriptManager::instance().setOutputSink(
            [this](const Data::String &text, ScriptChannel channel) {
                (channel == ScriptChannel::Output ? m_output : m_error) += text;
            });
    }
    void cleanup() { ScriptManager::instance().setOutputSink({}); }
    void cleanupTestCase() { d.reset(); }

    void runsStatements_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("output");

        const int done = ScriptReply::Done;
        const int incomplete = ScriptReply::Incomplete;
        // clang-format off
        QTest::newRow("an expression") << "1 + 2" << done << "3\n";
        QTest::newRow("a text") << "'a'" << done << "'a'\n";
        QTest::newRow("nothing of None") << "None" << done << "";
        QTest::newRow("a statement") << "x = 4" << done << "";
        QTest::newRow("several") << "x = 5; x; x + 1" << done << "5\n6\n";
        QTest::newRow("print without an end") << "print 'a'," << done << "a\n";
        QTest::newRow("an empty line") << "" << done << "";
        QTest::newRow("a comment") << "# note" << done << "";
        QTest::newRow("the start of a block") << "for i in (1, 2):" << incomplete << "";
        QTest::newRow("a block without an end") << "for i in (1, 2):\n    i" << incomplete << "";
        QTest::newRow("a block") << "for i in (1, 2):\n    i\n" << done << "1\n2\n";
        QTest::newRow("a block with else") << "if 0:\n    1\nelse:\n    2\n" << done << "2\n";
        QTest::newRow("a nested block") << "if 1:\n    if 1:\n        3" << incomplete << "";
        QTest::newRow("a block in one line") << "if 1: 7" << incomplete << "";
        QTest::newRow("a block in one line with an end") << "if 1: 7\n" << done << "7\n";
        QTest::newRow("an open bracket") << "(1 +" << incomplete << "";
        QTest::newRow("a bracket") << "(1 +\n2)" << done << "3\n";
        QTest::newRow("an open text") << "'''a" << incomplete << "";
        QTest::newRow("a text of two lines") << "'''a\nb'''" << done << "'a\\nb'\n";
        QTest::newRow("a line that is continued") << "1 + \\" << incomplete << "";
        QTest::newRow("a decorator") << "@staticmethod" << incomplete << "";
        QTest::newRow("other characters") << QString::fromUtf8("print u'é'.encode('utf-8'), len(u'é'), len('é')") << done << QString::fromUtf8("é 1 2\n");
        // clang-format on
    }

    void runsStatements()
    {
        QFETCH(QString, code);
        QFETCH(int, state);
        QFETCH(QString, output);

        const ScriptReply reply = interpret(code);

        QCOMPARE(int(reply.state), state);
        QCOMPARE(reply.exitStatus, 0);
        QCOMPARE(reply.error, Data::String());
        QCOMPARE(m_output, output);
        QCOMPARE(m_error, QString());
    }

    void printsTheErrorOfAStatement_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        const QString start =
            "Traceback (most recent call last):\n  File \"<stdin>\", line 1, in <module>\n";
        // clang-format off
        QTest::newRow("an exception") << "1 / 0" << start + "ZeroDivisionError: integer division or modulo by zero\n";
        QTest::newRow("a syntax error") << "1 +* 2" << "  File \"<stdin>\", line 1\n    1 +* 2\n       ^\nSyntaxError: invalid syntax\n";
        QTest::newRow("an indentation") << "  x = 1" << "  File \"<stdin>\", line 1\n    x = 1\n    ^\nIndentationError: unexpected indent\n";
        QTest::newRow("an open text") << "x = 'a" << "  File \"<stdin>\", line 1\n    x = 'a\n         ^\nSyntaxError: EOL while scanning string literal\n";
        QTest::newRow("the compiler's") << "return" << "  File \"<stdin>\", line 1\nSyntaxError: 'return' outside function\n";
        QTest::newRow("an interrupt") << "raise KeyboardInterrupt" << start + "KeyboardInterrupt\n";
        QTest::newRow("a zero") << "x = 1" + QString(QChar(0)) << "TypeError: the code has a zero in it\n";
        // clang-format on
    }

    void printsTheErrorOfAStatement()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);

        const ScriptReply reply = interpret(code);

        QCOMPARE(int(reply.state), int(ScriptReply::Failed));
        QCOMPARE(reply.exitStatus, 1);
        QCOMPARE(reply.error, Data::String());
        QCOMPARE(m_error, error);
    }

    void reportsThatTheCodeWantsToExit_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        QTest::newRow("exit()") << "exit()" << 0 << "";
        QTest::newRow("a status") << "import sys; sys.exit(3)" << 3 << "";
        QTest::newRow("a text") << "raise SystemExit('no \\xc3\\xa9')" << 1
                                << QString::fromUtf8("no é\n");
        QTest::newRow("None") << "raise SystemExit(None)" << 0 << "";
        QTest::newRow("the class") << "raise SystemExit" << 0 << "";
        QTest::newRow("a status that fails")
            << "raise type('E', (SystemExit,), {'code': property(lambda self: 1 / 0)})('why')" << 1
            << "why\n";
    }

    void reportsThatTheCodeWantsToExit()
    {
        QFETCH(QString, code);
        QFETCH(int, status);
        QFETCH(QString, error);
        ScriptManager::instance().setInputSource([](Data::String &) { return false; });

        const ScriptReply reply = interpret(code); // exit() closes the standard input
        ScriptManager::instance().setInputSource({});

        QCOMPARE(int(reply.state), int(ScriptReply::Exit));
        QCOMPARE(reply.exitStatus, status);
        QCOMPARE(m_error, error);
    }

    void keepsVariablesAndFeatures()
    {
        QCOMPARE(int(interpret("a = 7").state), int(ScriptReply::Done));
        QVERIFY(d->engine.runCode("b = a + 1\n"));
        interpret("b");
        interpret("1 / 2");
        interpret("from __future__ import division");
        interpret("1 / 2");
        QCOMPARE(m_output, QString("8\n0\n0.5\n"));

        ScriptManager::instance().reset("py");
        interpret("1 / 2");
        QCOMPARE(m_output, QString("8\n0\n0.5\n0\n"));
    }

    void usesTheHooksOfAScript()
    {
        interpret("import sys");
        interpret("def show(*rest): print 'shown', rest[:1]\n");
        interpret("kept, sys.displayhook = sys.displayhook, show");
        interpret("5");
        interpret("sys.displayhook, sys.excepthook = kept, show");
        interpret("1 / 0");
        interpret("sys.excepthook = sys.__excepthook__");

        QCOMPARE(m_output, QString("shown (5,)\nshown (<type 'exceptions.ZeroDivisionError'>,)\n"));
    }

    void keepsTheHostWhenAHookExits()
    {
        interpret("import sys");
        interpret("def leave(*rest): sys.exit(9)\n");
        interpret("sys.excepthook = leave");

        QCOMPARE(int(interpret("1 / 0").state), int(ScriptReply::Failed));

        interpret("sys.excepthook = sys.__excepthook__");
        interpret("'here'");
        QCOMPARE(m_output, QString("'here'\n"));
    }

    void reportsCodeThatIsTooDeepForPython()
    {
        const QString deep = QString("(").repeated(200000) + "1" + QString(")").repeated(200000);
        for (const auto unit : {ScriptUnit::Statement, ScriptUnit::File}) {
            m_error.clear();
            QCOMPARE(int(interpret(deep, unit).state), int(ScriptReply::Failed));
            QVERIFY2(m_error.contains("Error"), qPrintable(m_error));
        }
        QCOMPARE(int(interpret("1 + 2").state), int(ScriptReply::Done));
        QCOMPARE(m_output, QString("3\n"));
    }

    void endsALineOfAnOutputThatFails()
    {
        const char *const output = "import sys\n"
                                   "class Full(object):\n"
                                   "    softspace = 1\n"
                                   "    def write(self, text):\n"
                                   "        raise IOError('full')\n"
                                   "plain = sys.stdout\n";
        QCOMPARE(int(interpret(output, ScriptUnit::File).state), int(ScriptReply::Done));

        QCOMPARE(int(interpret("sys.stdout = Full()").state), int(ScriptReply::Done));
        const ScriptReply exit = interpret("sys.exit(3)");
        const ScriptReply reset = interpret("sys.stdout = plain");
        const ScriptReply both = interpret("sys.stdout = Full(); sys.exit(4)");
        interpret("sys.stdout = plain");

        QCOMPARE(int(exit.state), int(ScriptReply::Exit));
        QCOMPARE(exit.exitStatus, 3);
        QCOMPARE(int(both.state), int(ScriptReply::Exit));
        QCOMPARE(both.exitStatus, 4);
        QCOMPARE(int(reset.state), int(ScriptReply::Done));
        QCOMPARE(int(interpret("1 + 2").state), int(ScriptReply::Done));
        QCOMPARE(m_output, QString("3\n"));
    }

    void exitsWithATextThatCannotBeWritten_data()
    {
        QTest::addColumn<QString>("change");

        QTest::newRow("no stream") << "sys.stderr = None";
        QTest::newRow("a stream without write") << "sys.stderr = object()";
        QTest::newRow("none at all") << "del sys.stderr";
    }

    void exitsWithATextThatCannotBeWritten()
    {
        QFETCH(QString, change);
        interpret("import sys; plain = sys.stderr");
        QCOMPARE(int(interpret(change).state), int(ScriptReply::Done));
        const ScriptReply exit = interpret("sys.exit('why')");
        interpret("sys.stderr = plain");

        QCOMPARE(int(exit.state), int(ScriptReply::Exit));
        QCOMPARE(exit.exitStatus, 1);
        QCOMPARE(int(interpret("1 / 0").state), int(ScriptReply::Failed));
        QVERIFY(m_error.contains("ZeroDivisionError"));
    }

    void runsWithoutTheModuleThatAScriptHasRemoved()
    {
        QCOMPARE(int(interpret("import sys; del sys.modules['__main__']").state),
                 int(ScriptReply::Done));

        QCOMPARE(int(interpret("value = 4").state), int(ScriptReply::Done));
        QCOMPARE(int(interpret("value").state), int(ScriptReply::Done));
        QCOMPARE(m_output, QString("4\n"));
        d.reset(); // and with it the interpreter
    }

    void runsAllStatementsOfAFile()
    {
        const ScriptReply reply = interpret("if 1:\n    x = 5\nprint x\nx\n", ScriptUnit::File);

        QCOMPARE(int(reply.state), int(ScriptReply::Done));
        QCOMPARE(m_output, QString("5\n"));
    }

    void reportsTheErrorOfAFile()
    {
        const ScriptReply reply = interpret("print 1\n\n1 / 0\n", ScriptUnit::File);

        QCOMPARE(int(reply.state), int(ScriptReply::Failed));
        QCOMPARE(m_output, QString("1\n"));
        QVERIFY(m_error.contains("line 3, in <module>"));
        QCOMPARE(int(interpret("if 1:", ScriptUnit::File).state), int(ScriptReply::Failed));
    }

    void reportsThatPythonDoesNotStart()
    {
        d.reset();
        d.emplace();
        d->host.variables["PYTHON_DIR"] = d->folder.filePath("none");

        const ScriptReply reply = interpret("1");

        QCOMPARE(int(reply.state), int(ScriptReply::Failed));
        QVERIFY(!reply.error.isEmpty());
        QCOMPARE(int(ScriptManager::instance().interpret("1", "lua").state),
                 int(ScriptReply::Failed));
    }

private:
    std::optional<PythonFixture> d;
    QString m_output;
    QString m_error;
};

QTEST_GUILESS_MAIN(tst_PythonScript_console)
#include "tst_PythonScript_console.moc"
