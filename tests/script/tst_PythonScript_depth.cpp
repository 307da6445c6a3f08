#include "utils/script/PythonScript_p.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Limits.h"
#include "tests/support/Print.h"

#include <QtTest>

using Data::String;

static const SettingsHome home;

static const char tooDeep[] = "the code is nested too deeply";

/// Code on which Python's compiler goes a level down for each repeated part.
struct Code
{
    QByteArray repeated(int count) const { return before + part.repeated(count) + after; }

    QByteArray before;
    QByteArray part;
    QByteArray after;
};
Q_DECLARE_METATYPE(Code)

class tst_PythonScript_depth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { d.emplace(); }
    void cleanupTestCase() { d.reset(); }

    // The first one, as what others have freed can be had in spite of the limit.
    void refusesCodeForWhichTheMemoryDoesNotSuffice()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
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
        const QByteArray text = code.repeated(60'000);

        QVERIFY(!d->engine.validate(QString::fromUtf8(text)));
        QCOMPARE(d->engine.errorMessage(), String(tooDeep));
        QVERIFY(!d->engine.runCode(QString::fromUtf8(text)));
        QCOMPARE(d->engine.errorMessage(), String(tooDeep));
        QVERIFY(!d->engine.runFile(d->script(text)));
        QCOMPARE(d->engine.exitStatus(), -1);
        QCOMPARE(d->engine.errorMessage(), String()); // printed, as every error of a file

        QVERIFY(d->engine.validate(QString::fromUtf8(code.repeated(18))));
        QCOMPARE(d->value("1+1").toInt(), 2);
    }

    void refusesAnExpressionThatOverflowsTheCompiler()
    {
        QVERIFY(!d->engine.runCode('1' + QString("+1").repeated(60'000)));
        QCOMPARE(d->engine.errorMessage(), String(tooDeep));
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

    void takesAChainThatTheCompilerCanFollow()
    {
        QVERIFY(d->engine.runCode("x = 1" + QString("+1").repeated(4'000)));
        QCOMPARE(d->engine.getData("x").toInt(), 4'001);
    }

    void refusesAFileThatIsLargerThanTheMemory()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
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
    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_depth)
#include "tst_PythonScript_depth.moc"
