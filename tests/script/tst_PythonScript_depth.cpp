#include "utils/platform/Platform.h"
#include "utils/script/PythonDepth_p.h"
#include "utils/script/PythonScript_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/script/PythonChild.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Limits.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"

#include <QtTest>

#include <new>
#include <random>

#include <dlfcn.h>

using Data::String;

static const SettingsHome home;

static const char tooDeep[] = "the code is nested too deeply";

/// Code for which the compiler of Python recurses one level deeper for each repeated part.
struct Code
{
    QByteArray repeated(int count) const { return before + part.repeated(count) + after; }

    QByteArray before;
    QByteArray part;
    QByteArray after;
};
Q_DECLARE_METATYPE(Code)

static int parses = 0; // for the depth

// Before the function of Python.
extern "C" __attribute__((visibility("default"))) struct _node *
PyParser_SimpleParseStringFlags(const char *source, int start, int flags)
{
    static const auto plain = reinterpret_cast<struct _node *(*)(const char *, int, int)>(
        dlsym(RTLD_NEXT, "PyParser_SimpleParseStringFlags"));
    ++parses;
    return plain(source, start, flags);
}

class tst_PythonScript_depth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { d.emplace(); }
    void cleanupTestCase() { d.reset(); }

    // The first test, because memory that others have freed is available in spite of the limit.
    void refusesCodeForWhichTheMemoryDoesNotSuffice()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const QString code = "x = [" + QString("1,").repeated(50'000) + "]\n";
        int refused = 0;
        for (rlim_t megabytes = 4; megabytes < 72; megabytes += 2) {
            const Limit memory(RLIMIT_AS, memoryInUse() + (megabytes << 20));
            refused += !d->engine.validate(code);
        }
        QVERIFY(refused > 0);
        QVERIFY(d->engine.validate(code));
    }

    void refusesWhatOverflowsTheCompiler_data()
    {
        QTest::addColumn<Code>("code");

        const auto row = [](const char *name, const char *before, const char *part,
                            const char *after) {
            QTest::newRow(name) << Code{before, part, after};
        };
        row("a sum", "x = 1", "+1", "\n");
        row("a product", "x = 1", "*1", "\n");
        row("shifts", "x = 1", "<<1", "\n");
        row("bits that are or-ed", "x = 1", "|1", "\n");
        row("bits that are xor-ed", "x = 1", "^1", "\n");
        row("bits that are and-ed", "x = 1", "&1", "\n");
        row("attributes", "def f(a):\n  a", ".a", "\n");
        row("calls", "def f(a):\n  a", "()", "\n");
        row("indices", "def f(a):\n  a", "[0]", "\n");
        row("comparisons", "x = 1", "<2", "\n");
        row("many elif", "if 0: pass\n", "elif 0: pass\n", "");
        row("many contexts", "def f(a):\n  with a", ",a", ": pass\n");
        row("many except", "try: pass\n", "except E: pass\n", "");
        row("many assert", "a = 1\n", "assert a\n", "");
        row("many if", "a = 1\n", "if a: pass\n", "");
        row("many loops", "a = 0\n", "while a: pass\n", "");
        row("many loops with else", "a = ()\n", "for b in a:\n pass\nelse:\n pass\n", "");
        row("many lists that are worked out", "a = ()\n", "[b for b in a]\n", "");
        row("many such lists in one", "a = ()\nx = [", "[b for b in a if b],", "]\n");
        row("a sum within a function", "def f():\n  return [1, (2", "+1", ")]\n");
    }

    void refusesWhatOverflowsTheCompiler()
    {
        QFETCH(Code, code);
        const std::size_t stack = 8 << 20;
        QVERIFY(d->engine.runCode("pass\n"));

        QVERIFY(Utils::isTooDeepForPython(code.repeated(60'000), stack));
        QVERIFY(!Utils::isTooDeepForPython(code.repeated(3'000), stack));
        QVERIFY(!Utils::isTooDeepForPython(code.repeated(60'000), 200 * stack));
        QVERIFY(d->engine.validate(QString::fromUtf8(code.repeated(18))));
    }

    void takesASumOfHalfAsManyLinksAsParts()
    {
        const Code sum{"x = 1", "+1", "\n"};
        const std::size_t stack = 64 << 20;
        QVERIFY(d->engine.runCode("pass\n"));

        QVERIFY(!Utils::isTooDeepForPython(sum.repeated(130'000), stack));
        QVERIFY(Utils::isTooDeepForPython(sum.repeated(132'000), stack));
    }

    void tellsThatCodeIsTooDeep()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        const QString sum = "x = 1" + QString("+1").repeated(60'000);
        const String file = d->script(sum.toUtf8() + '\n');

        // There is not enough memory for another stack.
        const QStringList lines =
            runPythonChild(childSteps({"memory:36", "check:" + sum, "code:" + sum, "console:" + sum,
                                       "file:" + file,
                                       "check:x = 1" + QString("+1").repeated(4'000), "value:6*7"}),
                           "ulimit -S -s 8192");

        const QString refused = QString("bad: ") + tooDeep;
        QCOMPARE(lines.size(), 7);
        QCOMPARE(lines.mid(0, 3), (QStringList{refused, refused, refused}));
        QVERIFY2(lines[3].startsWith("bad: "), qPrintable(lines[3])); // printed, like every error
        QCOMPARE(lines.mid(4), (QStringList{"good", "42", "exit 3"}));
    }

    void takesWhatAStackOfEightMebibytesBears_data()
    {
        QTest::addColumn<Code>("code");
        QTest::addColumn<int>("count");

        const auto row = [](const char *name, const char *before, const char *part,
                            const char *after, int count) {
            QTest::newRow(name) << Code{before, part, after} << count;
        };
        const int links = 100'000;
        row("a sum", "x = 1", "+1", "\n", links);
        row("a sum of texts", "x = ''", "+'a'", "\n", links);
        row("attributes", "def f(a):\n  a", ".a", "\n", links);
        row("calls", "def f(a):\n  a", "()", "\n", links);
        row("indices", "def f(a):\n  a", "[0]", "\n", links);
        row("comparisons", "x = 1", "<2", "\n", links);
        row("and", "x = 1", " and 1", "\n", links);
        row("or", "x = 0", " or 0", "\n", links);
        row("many elif", "if 0: pass\n", "elif 0: pass\n", "", 24'000);
        row("many except", "try: pass\n", "except E: pass\n", "", 10'000);
        row("many if", "a = 1\n", "if a: pass\n", "", 120'000);
        row("many loops", "a = 0\n", "while a: pass\n", "", 40'000);
        row("many lists that are worked out", "a = ()\n", "[b for b in a]\n", "", 10'000);
        row("a dictionary", "x = {", "1:2,", "}\n", links);
    }

    void takesWhatAStackOfEightMebibytesBears()
    {
        QFETCH(Code, code);
        QFETCH(int, count);

        QVERIFY(d->engine.runFile(d->script(code.repeated(count))));
    }

    void takesDeepCodeByEveryCall()
    {
        const QString sum = "1" + QString("+1").repeated(100'000);

        QVERIFY(d->engine.validate("x = " + sum));
        QVERIFY(d->engine.runCode("x = " + sum));
        QCOMPARE(d->engine.getData("x").toInt(), 100'001);
        QVERIFY2(d->engine.runCode(sum), qPrintable(d->engine.errorMessage()));
        QCOMPARE(d->result().toInt(), 100'001);
    }

    void runsDeepCodeAfterDataForWhichThereWasNoMemory()
    {
        const Data::Variant data(QString(8'000'000, 'x'));
        QVERIFY(d->engine.runCode("pass\n"));
        bool hasThrown = false;
        FailingMemory memory(5 << 20, FailingMemory::Larger);
        try {
            d->engine.pushData("data", data);
        } catch (const std::bad_alloc &) {
            hasThrown = true;
        }
        memory.end();
        QVERIFY(hasThrown);

        const QString code = QString("exec 'x = 1' + '+1' * %1\n").arg(links(400'000));
        QVERIFY2(d->engine.runCode(code), qPrintable(d->engine.errorMessage()));

        QCOMPARE(d->engine.getData("x").toInt(), links(400'000) + 1);
        QVERIFY(!d->engine.getData("data").isValid());
    }

    void livesThroughDeepCodeWithinAScript_data()
    {
        QTest::addColumn<QString>("way"); // compiles the text t
        QTest::addColumn<QString>("limits");

        const QString write = "f = open(folder + '/deep.py', 'w'); f.write(t); f.close()\n";
        const QString import = write + "sys.modules.pop('deep', None); import deep\n";
        const QString small = "ulimit -S -s 1024";
        QTest::newRow("exec, on a small stack") << "exec t in {}" << small;
        QTest::newRow("eval") << "eval(compile(t, '', 'exec'), {'f': f})" << small;
        QTest::newRow("execfile") << write + "execfile(f.name, {})" << small;
        QTest::newRow("import") << import << small;
        QTest::newRow("a thread") << "inThread(lambda: compile(t, '', 'exec'))" << small;
    }

    void livesThroughDeepCodeWithinAScript()
    {
        QFETCH(QString, way);
        QFETCH(QString, limits);
        const String script = d->script(QString("import os, sys, threading\n"
                                                "folder = %1\n"
                                                "sys.path.insert(0, folder)\n"
                                                "sys.dont_write_bytecode = True\n"
                                                "def inThread(f):\n"
                                                "  def run():\n"
                                                "    f(); done.append(1)\n"
                                                "  done = []\n"
                                                "  thread = threading.Thread(target=run)\n"
                                                "  thread.start(); thread.join()\n"
                                                "  assert done\n"
                                                "def f(): pass\n"
                                                "def go(t):\n%2\n"
                                                "go('x = 1' + '+1' * %3 + '\\n')\n"
                                                "go('def f(a):\\n a' + '.a' * %3 + '\\n')\n"
                                                "go('def f(a):\\n a' + '()' * %3 + '\\n')\n"
                                                "go('if 0: pass\\n' + 'elif 0: pass\\n' * %4)\n"
                                                "go('a = 1\\n' + 'if a: pass\\n' * %5)\n")
                                            .arg('\'' + d->folder.path() + '\'', indented(way))
                                            .arg(links(100'000))
                                            .arg(links(24'000))
                                            .arg(links(120'000))
                                            .toUtf8(),
                                        "main.py");

        QCOMPARE(runPythonChild(childSteps({"file:" + script, "value:6*7", "reset", "value:6*7"}),
                                limits),
                 (QStringList{"good", "42", "42", "exit 3"}));
    }

    void livesThroughDeepInput()
    {
        const String script = d->script("import sys\n"
                                        "f = open(__file__ + '.in', 'w')\n"
                                        "f.write('1' + '+1' * " +
                                        QByteArray::number(links(100'000)) +
                                        " + '\\n'); f.close()\n"
                                        "sys.stdin = open(f.name)\n"
                                        "x = input()\n");

        QCOMPARE(runPythonChild(childSteps({"file:" + script, "value:x"}), "ulimit -S -s 1024"),
                 (QStringList{"good", QString::number(links(100'000) + 1), "exit 3"}));
    }

    void livesThroughAMillionLinksWithinAScript()
    {
        QCOMPARE(runPythonChild(childSteps({"code:exec 'x = 1' + '+1' * 1000000\n", "value:x"}),
                                "ulimit -S -s 1024"),
                 (QStringList{"good", "1000001", "exit 3"}));
    }

    void runsOutOfMemoryBeforeItRunsOutOfStack_data()
    {
        QTest::addColumn<QString>("part");

        QTest::newRow("a sum") << "+1";
        QTest::newRow("attributes") << ".a";
        QTest::newRow("calls") << "()";
    }

    void runsOutOfMemoryBeforeItRunsOutOfStack()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        QFETCH(QString, part);
        // The first ones need more stack than a small part of the memory.
        const QString code = "code:def f(n):\n  exec 'def f(a):\\n a' + '%1' * n\n"
                             "x = 0\nfor n in (400000, 800000, 3000000):\n"
                             "  try: f(n)\n  except MemoryError: x = n\n";

        QCOMPARE(runPythonChild(childSteps({"memory:500", code.arg(part), "value:x"})),
                 (QStringList{"good", "3000000", "exit 3"}));
    }

    void boundsTheLimitOfCalls_data()
    {
        QTest::addColumn<QString>("code");

        const QString recursion = "def f(n): return 1 + f(n - 1) if n else 0\n";
        const QString endless = "def f(): f()\ndef g():\n  try: f()\n  except RuntimeError: "
                                "done.append(5)\ndone = []\n";
        const QString raise = "import sys\nsys.setrecursionlimit(10 ** 9)\n";
        const QString thread = "import threading\nt = threading.Thread(target=g)\nt.start()\n"
                               "t.join()\nassert done\n";
        QTest::newRow("honest work") << raise + recursion + "assert f(100000) == 100000\n";
        QTest::newRow("without an end") << raise + endless + "g()\nassert done\n";
        QTest::newRow("anew") << "import sys\nreload(sys)\n" + raise +
                                     "assert sys.getrecursionlimit() <= 1000000\n";
        QTest::newRow("in a comparison of keys")
            << "import sys\nsys.setrecursionlimit(50000)\ndef f(x): return sorted([1, 2, 3], "
               "key=f)\ntry: f(0)\nexcept RuntimeError: pass\n";
        QTest::newRow("in a thread") << raise + endless + thread;
        QTest::newRow("raised while a thread runs")
            << "import threading\ne = threading.Event()\nt = threading.Thread(target=lambda: "
               "(e.wait(), g()))\nt.start()\n" +
                   raise + endless + "e.set()\nt.join()\nassert done\n";
        QTest::newRow("in a thread with a small stack")
            << "import thread\nthread.stack_size(65536)\n" + endless + thread;
    }

    void boundsTheLimitOfCalls()
    {
        QFETCH(QString, code);

        QCOMPARE(runPythonChild(childSteps(
                     {"code:" + code, "reset", "value:__import__('sys').getrecursionlimit()"})),
                 (QStringList{"good", "1000", "exit 3"}));
    }

    void boundsTheLimitOfCallsThatTheLibrarySets()
    {
        QTemporaryDir folder;
        makeFile(folder.filePath("sitecustomize.py"),
                 "import sys\nsys.setrecursionlimit(10 ** 9)\n");
        const QString limit = "value:1000 < __import__('sys').getrecursionlimit() <= 1000000";

        QCOMPARE(runPythonChild(childSteps({limit, "reset", limit}),
                                "export PYTHONPATH='" + folder.path() + "'"),
                 (QStringList{"true", "true", "exit 3"}));
    }

    void keepsWhatPythonSaysOfALimitOfCalls()
    {
        QCOMPARE(d->value("__import__('sys').setrecursionlimit(20000)").toString(), QString());
        QCOMPARE(d->value("__import__('sys').getrecursionlimit()").toInt(), 20'000);
        QCOMPARE(d->value("__import__('sys').setrecursionlimit(0)").toString(),
                 QString("error: recursion limit must be positive"));
        QCOMPARE(d->value("__import__('sys').setrecursionlimit('a')").toString(),
                 QString("error: an integer is required"));
        QCOMPARE(d->value("__import__('thread').stack_size(5)").toString(),
                 QString("error: size not valid: 5 bytes"));
        d->engine.reset();
    }

    void livesThroughDeepObjects_data()
    {
        QTest::addColumn<QString>("code");

        // clang-format off
        QTest::newRow("that go")         << "for i in xrange(200000): x = enumerate(x)\ndel x";
        QTest::newRow("that are hashed") << "for i in xrange(200000): x = (x,)\nhash(x)";
        QTest::newRow("that are caught")
            << "for i in xrange(200000): x = (x,)\ntry:\n  try: raise ValueError\n"
                "  except x: pass\nexcept ValueError: pass";
        QTest::newRow("that iterate") << "import itertools\nx = iter([1])\n"
                "for i in xrange(200000): x = itertools.ifilter(None, x)\nx.next()";
        QTest::newRow("of a parser") << "import parser\np = parser.suite('x=1' + '+1' * 100000)\n"
                "parser.sequence2st(p.totuple()).compile()";
        QTest::newRow("of syntax") << "import ast\nx = ast.Num(1, lineno=1, col_offset=1)\n"
                "for i in xrange(50000): x = ast.UnaryOp(ast.Not(), x, lineno=1, col_offset=1)\n"
                "compile(ast.Expression(x), '', 'eval')";
        // clang-format on
    }

    void livesThroughDeepObjects()
    {
        QFETCH(QString, code);

        QCOMPARE(
            runPythonChild(childSteps({"code:x = ()\n" + code, "value:6*7"}), "ulimit -S -s 1024"),
            (QStringList{"good", "42", "exit 3"}));
    }

    void refusesWhatTheParserRefuses_data()
    {
        QTest::addColumn<Code>("code");

        QTest::newRow("signs") << Code{"x = ", "-", "1\n"};
        QTest::newRow("brackets") << Code{"x = ", "(", "1\n"};
        QTest::newRow("powers") << Code{"x = 1", "**1", "\n"};
        QTest::newRow("negations") << Code{"x = ", "not ", "1\n"};
    }

    void refusesWhatTheParserRefuses()
    {
        QFETCH(Code, code);

        QVERIFY(!d->engine.validate(QString::fromUtf8(code.repeated(60'000))));
        QCOMPARE(d->value("1+1").toInt(), 2);
    }

    void takesLongCodeThatIsNotDeep_data()
    {
        QTest::addColumn<Code>("code");

        QTest::newRow("statements") << Code{"", "x = 1\n", ""};
        QTest::newRow("a list") << Code{"x = [", "1,", "]\n"};
        QTest::newRow("arguments") << Code{"dict(a=[", "1,", "])\n"};
        QTest::newRow("texts") << Code{"x = ", "'a' ", "\n"};
        QTest::newRow("short sums") << Code{"", "x = 1+1+1\n", ""};
        QTest::newRow("functions that branch")
            << Code{"", "def f(a):\n" + QByteArray(" if a: return 1\n").repeated(10), ""};
        QTest::newRow("comments") << Code{"", "#+1+1+1\n", "x = 1\n"};
    }

    void takesLongCodeThatIsNotDeep()
    {
        QFETCH(Code, code);
        const QByteArray text = code.repeated(600'000 / code.part.size());

        QVERIFY(d->engine.validate(QString::fromUtf8(text)));
        QVERIFY(d->engine.runFile(d->script(text)));
    }

    void parsesLongCodeOnlyOnce_data()
    {
        QTest::addColumn<Code>("code");

        QTest::newRow("statements") << Code{"", "x = 1\n", ""};
        QTest::newRow("texts") << Code{"# coding: utf-8\n", "a = '''\ndef x(\n''' + \"\\\"[\"\n",
                                       ""};
        QTest::newRow("functions") << Code{"", "def f(a):\n    if a < 1: return [a,\n1]\n", ""};
        QTest::newRow("classes") << Code{
            "", "class C(object):\r\n    def f(a):\r\n        return a\r\n", ""};
        QTest::newRow("calls") << Code{"", "dict(a + '#', # ]\n [1,\n2])\n", ""};
    }

    void parsesLongCodeOnlyOnce()
    {
        QVERIFY(d->engine.validate("1")); // starts Python
        QFETCH(Code, code);
        const std::size_t stack = std::size_t(128) << 20;
        const QByteArray text = code.repeated(600'000 / code.part.size());
        QVERIFY(Utils::mayBeTooDeepForPython(static_cast<std::size_t>(text.size()), stack));
        parses = 0;

        QVERIFY(!Utils::isTooDeepForPython(text, stack));

        QCOMPARE(parses, 0);
        QVERIFY(!Utils::isParsedTooDeepForPython(text, stack));
        QCOMPARE(parses, 1);
    }

    void dividesCodeByItsSigns_data()
    {
        QTest::addColumn<Code>("code");
        QTest::addColumn<int>("expected"); // parses

        const auto row = [](const char *name, const QByteArray &before, const QByteArray &after,
                            int expected) {
            QTest::newRow(name) << Code{before, "x = 1\n", after} << expected;
        };
        row("a plain encoding", "# -*- coding: latin-1 -*-\n", "", 0);
        row("UTF-8", "#\n# coding=UTF-8 \n", "", 0);
        row("UTF-8 without a sign", "# coding: utf8\n", "", 0);
        row("ASCII", "# coding:ascii\n", "", 0);
        row("an encoding in the third line", "#\n#\n# coding: koi8-r\n", "", 0);
        row("another encoding", "# coding: koi8-r\n", "", 1);
        row("two encodings", "# coding: ascii, coding: ascii\n", "", 1);
        row("a continued line", "x = 1 + \\\n2\n", "", 0);
        row("a continued line with two ends", "x = 1 + \\\r\n2\n", "", 0);
        row("a continued line with another end", "x = 1 + \\\r2\n", "", 1);
        row("a sign after a continued line", "x = 1 + \\ \n2\n", "", 1);
        row("a line with two ends", "x = 1\r\n", "", 0);
        row("a line with another end", "x = 1\r", "", 1);
        row("a form feed", "\fx = 1\n", "", 1);
        row("a vertical tab", "x = \v1\n", "", 1);
        row("a bracket that closes nothing", "x = 1)\n", "", 1);
        row("a bracket without an end", "", "(", 0);
        row("a text without an end", "", "x = 'a", 1);
        row("a text that its line ends", "x = 'a\n", "", 1);
        row("a long text without an end", "", "x = '''a\n''", 1);
        row("a quote at the end", "", "x = 'a\\", 1);
        row("a comment at the end", "", "# a", 0);
        row("a comment with two ends", "# a\r\n", "", 0);
        row("a class", "class\tA: pass\ndef\tf(): pass\n", "", 0);
        row("names that begin like others", "defx = classy = _if = 1\n", "", 0);
        row("a word that is none of a jump", "an = ander = Ifor = elifelif = 1\n", "", 0);
    }

    void dividesCodeByItsSigns()
    {
        QVERIFY(d->engine.validate("1")); // starts Python
        QFETCH(Code, code);
        QFETCH(int, expected);
        const std::size_t stack = std::size_t(128) << 20;
        const QByteArray text = code.repeated(100'000);
        parses = 0;

        QVERIFY(!Utils::isTooDeepForPython(text, stack));

        QCOMPARE(parses, expected);
    }

    void limitsTheCallsOfAThread()
    {
        QVERIFY2(d->engine.runCode("import sys, threading\n"
                                   "plain = sys.getrecursionlimit()\n"
                                   "sys.setrecursionlimit(10 ** 8)\n"
                                   "own = sys.getrecursionlimit()\n"
                                   "thread = threading.Thread(target=sys.setrecursionlimit, "
                                   "args=(10 ** 8,))\n"
                                   "thread.start()\nthread.join()\n"
                                   "other = sys.getrecursionlimit()\n"
                                   "sys.setrecursionlimit(plain)\n"),
                 d->engine.errorMessage().c_str());

        const int other = d->engine.getData("other").toInt();
        QVERIFY2(other >= d->engine.getData("plain").toInt() &&
                     other <= d->engine.getData("own").toInt(),
                 qPrintable(QString::number(other)));
    }

    // Without the tree nothing may pass that has too deep a tree.
    void judgesWithoutATreeAsWithIt()
    {
        QVERIFY(d->engine.validate("1")); // starts Python
        const QByteArrayList pieces = {"x = 1\n",
                                       "def f(a):\n    return a\n",
                                       "    if a: pass\n",
                                       "class C:\n    x = 1\n",
                                       "if a:\n    pass\nelif b:\n    pass\n",
                                       "'''\ndef\n'''\n",
                                       "x = '\\'def'\n",
                                       "# def '\n",
                                       "# if a\rif a: pass\n",
                                       "def g(): return a < b\n",
                                       "x = [1,\ndef_,\n2]\n",
                                       "assert a and b or c\n",
                                       "\f",
                                       "\t",
                                       "x = a \\\n+ b\n",
                                       "with a, b, c: pass\n",
                                       "try: pass\nexcept E: pass\n",
                                       "[b for b in a if b]\n",
                                       "x = lambda: a if b else c\n",
                                       "@d\n",
                                       "@d(a < b)\ndef h(): pass\n",
                                       "r'\\'' 'def '\n",
                                       "\"\"\"a\\\"\"\"\ndef \"\"\"\n",
                                       "\r\n",
                                       "\n",
                                       "x\n",
                                       "(",
                                       ")",
                                       "'",
                                       "while a: pass\nelse: pass\n",
                                       "x = 1 == 2 != 3 <> 4\n",
                                       "`a`\n"};
        const QByteArrayList links = {"+1", ".a", "<2", "()", "|1", " and a", " in b", "[0]"};
        std::mt19937 random(1);
        const auto oneOf = [&](const QByteArrayList &list) {
            return list[static_cast<int>(random() % static_cast<unsigned>(list.size()))];
        };
        const std::size_t stack = std::size_t(3) << 19; // 6,144 parts
        int deep = 0;
        int flat = 0;
        for (int run = 0; run < 150; ++run) {
            QByteArrayList chosen;
            for (unsigned kinds = 1 + random() % 5; kinds > 0; --kinds)
                chosen.append(oneOf(pieces));
            QByteArray text;
            const int size = 2000 + static_cast<int>(random() % 25'000);
            while (text.size() < size)
                text += oneOf(chosen);
            if (random() % 3 == 0) {
                const int count = static_cast<int>(random() % 6000);
                text += "x = 1" + oneOf(links).repeated(count) + "\n";
            }
            const bool isLong =
                Utils::mayBeTooDeepForPython(static_cast<std::size_t>(text.size()), stack);
            const bool isDeep = isLong && Utils::isParsedTooDeepForPython(text, stack);
            parses = 0;

            QCOMPARE(Utils::isTooDeepForPython(text, stack), isDeep);

            deep += isDeep;
            flat += isLong && parses == 0;
        }
        QVERIFY2(deep > 10 && flat > 10, qPrintable(QString("%1, %2").arg(deep).arg(flat)));
    }

    void refusesAFileThatIsLargerThanTheMemory()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const String file = d->script("x = 1\n", "large.py");
        QVERIFY(QFile::resize(file, 900 << 20));
        {
            const Limit memory(RLIMIT_AS, memoryInUse() + (200 << 20));
            QVERIFY(!d->engine.runFile(file));
        }
        QCOMPARE(d->engine.exitStatus(), -1);
        QVERIFY(d->engine.runFile(d->script("x = 2\n")));
        QCOMPARE(d->engine.getData("x").toInt(), 2);
    }

    void runsALongFileFromItsStart()
    {
        QVERIFY(d->engine.runFile(
            d->script("y = 1\n" + QByteArray("#\n").repeated(20'000) + "y += 1\n")));
        QCOMPARE(d->engine.getData("y").toInt(), 2);
    }

private:
    /// The steps of a host that has what Python needs, followed by \p steps.
    QStringList childSteps(const QStringList &steps) const
    {
        return QStringList{QString("PYTHON_DIR=") + KELMUTILS_PYTHON_HOME,
                           "HOME_DIR=" + d->folder.path(), "RES_DIR=" + d->folder.path()} +
               steps;
    }

    static QString indented(const QString &code)
    {
        return "  " + QString(code).replace('\n', "\n  ");
    }

    /// A number of links, which DEPTH_FACTOR makes larger for a run by hand.
    static int links(int count)
    {
        return count * qMax(1, qEnvironmentVariableIntValue("DEPTH_FACTOR"));
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_depth)
#include "tst_PythonScript_depth.moc"
