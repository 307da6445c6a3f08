#include "utils/script/ScriptInput_p.h"
#include "utils/script/ScriptManager.h"

#include "tests/csv/FailingMemory.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <stdexcept>

using Utils::ScriptChannel;
using Utils::ScriptManager;

static const SettingsHome home;

/// A source that supplies texts, and then the end of the input. It notes how often it is called.
class Supply
{
public:
    explicit Supply(const QStringList &given) : texts(given)
    {
        ScriptManager::instance().setInputSource([this](Data::String &text) {
            ++calls;
            if (reaction)
                reaction();
            if (this->texts.isEmpty())
                return false;
            text = this->texts.takeFirst();
            return true;
        });
    }
    ~Supply() { ScriptManager::instance().setInputSource({}); }
    Q_DISABLE_COPY(Supply)

    QStringList texts;
    int calls = 0;
    std::function<void()> reaction;
};

class tst_PythonScript_input : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (!d)
            d.emplace();
    }
    void cleanupTestCase() { d.reset(); }

    void readsTheSource_data()
    {
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QString>("value");

        const QStringList lines{"one\n", "two\n"};
        // clang-format off
        QTest::newRow("raw_input") << lines << "[raw_input(), raw_input()]" << "['one', 'two']";
        QTest::newRow("input") << QStringList{"1 + 2\n"} << "input()" << "3";
        QTest::newRow("readline") << lines << "[sys.stdin.readline() for i in range(4)]" << "['one\\n', 'two\\n', '', '']";
        QTest::newRow("part of a line") << lines << "[sys.stdin.readline(2) for i in range(3)]" << "['on', 'e\\n', 'tw']";
        QTest::newRow("nothing of a line") << lines << "sys.stdin.readline(0)" << "''";
        QTest::newRow("read") << lines << "sys.stdin.read()" << "'one\\ntwo\\n'";
        QTest::newRow("some bytes") << lines << "[sys.stdin.read(n) for n in (5, 0, 99, 1)]" << "['one\\nt', '', 'wo\\n', '']";
        QTest::newRow("readlines") << lines << "sys.stdin.readlines()" << "['one\\n', 'two\\n']";
        QTest::newRow("some lines") << lines << "sys.stdin.readlines(1)" << "['one\\n']";
        QTest::newRow("an iteration") << lines << "list(sys.stdin)" << "['one\\n', 'two\\n']";
        QTest::newRow("xreadlines") << lines << "[x for x in sys.stdin.xreadlines()]" << "['one\\n', 'two\\n']";
        QTest::newRow("several lines at once") << QStringList{"a\nb\nc"} << "list(sys.stdin)" << "['a\\n', 'b\\n', 'c']";
        QTest::newRow("parts of a line") << QStringList{"a", "", "b", "\nc\n"} << "[raw_input(), raw_input()]" << "['ab', 'c']";
        QTest::newRow("UTF-8") << QStringList{QString::fromUtf8("é€\n")} << "raw_input()" << "'\\xc3\\xa9\\xe2\\x82\\xac'";
        QTest::newRow("a zero") << QStringList{QString("a") + QChar(0) + "b\n"} << "sys.stdin.readline()" << "'a\\x00b\\n'";
        QTest::newRow("the stream of the start") << lines << "sys.__stdin__.readline()" << "'one\\n'";
        // clang-format on
    }

    void readsTheSource()
    {
        QFETCH(QStringList, texts);
        QFETCH(QString, expression);
        QFETCH(QString, value);
        const Supply supply(texts);

        QVERIFY(d->engine.runCode("import sys\n"));
        QCOMPARE(d->value("repr(" + expression + ")"), Data::Variant(value));
    }

    void tellsTheEndOfTheInput()
    {
        const Supply supply({"last"});

        QCOMPARE(d->value("raw_input()"), Data::Variant("last"));
        QCOMPARE(d->value("raw_input()"), Data::Variant("error: EOF when reading a line"));
        QVERIFY(d->engine.runCode("import sys\n"));
        QCOMPARE(d->value("sys.stdin.next()"), Data::Variant("error: "));
        QCOMPARE(d->value("sys.stdin.read()"), Data::Variant(""));
    }

    void asksAgainAfterTheEnd()
    {
        Supply supply({"a"});
        QVERIFY(d->engine.runCode("import sys\n"));
        QCOMPARE(d->value("sys.stdin.read()"), Data::Variant("a"));

        supply.texts = QStringList{"b\n"};

        QCOMPARE(d->value("sys.stdin.readline()"), Data::Variant("b\n"));
    }

    void asksOnlyWhenMoreIsNeeded()
    {
        const Supply supply({"a\nb\n", "c\n"});

        QCOMPARE(d->value("raw_input() + raw_input()"), Data::Variant("ab"));

        QCOMPARE(supply.calls, 1);
    }

    void showsThePromptBeforeItAsks()
    {
        QStringList events;
        ScriptManager::instance().setOutputSink(
            [&](const Data::String &text, ScriptChannel) { events.append(text); });
        Supply supply({"Ada\n"});
        supply.reaction = [&] { events.append("(asked)"); };

        QVERIFY(d->engine.runCode("print 'Hello ' + raw_input('name? ')\n"));
        ScriptManager::instance().setOutputSink({});

        QCOMPARE(events, QStringList({"name? ", "(asked)", "Hello Ada", "\n"}));
    }

    void hasTheAttributesOfAFile()
    {
        const Supply supply({});
        QVERIFY(d->engine.runCode("import sys\n"));

        QCOMPARE(d->value("sys.stdin.name"), Data::Variant("<stdin>"));
        QCOMPARE(d->value("sys.stdin.mode"), Data::Variant("r"));
        QCOMPARE(d->value("sys.stdin.encoding"), Data::Variant("UTF-8"));
        QCOMPARE(d->value("sys.stdin.isatty()"), Data::Variant(false));
        QCOMPARE(d->value("sys.stdin.fileno()"), Data::Variant(0));
        QCOMPARE(d->value("hasattr(sys.stdin, 'write')"), Data::Variant(false));
    }

    void readsTheProcessWithoutASource()
    {
        const QString isFile = "type(__import__('sys').stdin) is file";
        QCOMPARE(d->value(isFile), Data::Variant(true));
        {
            const Supply supply({"a\n"});
            QCOMPARE(d->value(isFile), Data::Variant(false));
        }
        QCOMPARE(d->value(isFile), Data::Variant(true));
    }

    void refusesToIterateOverAnObjectOfAScript()
    {
        QVERIFY(d->engine.runCode("import sys\nplain = sys.__stdin__\nsys.__stdin__ = object()\n"));
        {
            const Supply supply({"a\n"});
            QVERIFY(d->engine.runCode("kept = sys.__stdin__\nlines = list(kept)\n"));
        }

        const bool isRead = d->engine.runCode("for line in kept: pass\n");
        const Data::String error = d->engine.errorMessage();
        QVERIFY(d->engine.runCode("sys.__stdin__ = plain\ndel kept\n"));

        QVERIFY(!isRead);
        QCOMPARE(error, Data::String("'object' object is not an iterator"));
        QCOMPARE(d->value("repr(lines)"), Data::Variant("['a\\n']"));
    }

    void keepsTheSourceWhenTheInterpreterEnds()
    {
        const Supply supply({"a\n", "b\n"});
        QCOMPARE(d->value("raw_input()"), Data::Variant("a"));

        d->engine.reset();

        QCOMPARE(d->value("raw_input()"), Data::Variant("b"));
    }

    void replacesTheSourceWhileItRuns()
    {
        Supply supply({"a\n"});
        supply.reaction = [] {
            ScriptManager::instance().setInputSource([](Data::String &text) {
                text = "second\n";
                return true;
            });
        };

        // What the first one still returns was for the script that had asked it.
        QCOMPARE(d->value("raw_input()"), Data::Variant("second"));
    }

    void refusesToReadWithinTheSource()
    {
        Supply supply({"a\n"});
        Data::Variant inner;
        supply.reaction = [&] { inner = d->value("raw_input()"); };

        QCOMPARE(d->value("raw_input()"), Data::Variant("a"));

        QCOMPARE(inner, Data::Variant("error: the host is reading the input already"));
    }

    void reportsASourceThatThrows()
    {
        Supply supply({"a\n"});
        supply.reaction = [] { throw std::runtime_error("broken"); };

        QCOMPARE(d->value("raw_input()"),
                 Data::Variant("error: the host has failed to read the input"));
        supply.reaction = nullptr;
        QCOMPARE(d->value("raw_input()"), Data::Variant("a"));
    }

    void refusesToReadOnAnotherThread()
    {
        const Supply supply({"a\n"});

        QVERIFY(d->engine.runCode("import threading\n"
                                  "def read():\n"
                                  "    global problem\n"
                                  "    try: raw_input()\n"
                                  "    except IOError, error: problem = str(error)\n"
                                  "thread = threading.Thread(target=read)\n"
                                  "thread.start()\n"
                                  "thread.join()\n"));

        QCOMPARE(d->engine.getData("problem"),
                 Data::Variant("only the main thread can read the input of the host"));
        QCOMPARE(supply.calls, 0);
    }

    void takesTimeInProportionToTheInput()
    {
        // Compared with as many lines, as a sanitizer makes each piece of memory more expensive
        // than the one before it.
        const qint64 taken = fetchTime(/*takesEach=*/true);
        const qint64 kept = fetchTime(/*takesEach=*/false);

        qInfo("each line taken: %.2f ms, all kept: %.2f ms", double(taken) / 1e6,
              double(kept) / 1e6);
        QVERIFY(kept < 10 * taken); // hundreds of times as long if each copied those before it
    }

    void keepsTheOrderWhenPartsAreTaken()
    {
        const QByteArray line = "0123456789abcdef\n";
        Utils::ScriptInput input;
        input.setSource([&](Data::String &text) {
            text = QString::fromUtf8(line);
            return true;
        });

        QByteArray taken;
        for (int i = 1; i < 200; ++i) {
            QCOMPARE(input.fetch(), Utils::ScriptInput::Outcome::Read);
            QCOMPARE(input.indexOf('\n', input.size() - line.size()), input.size() - 1);
            taken += take(input, i % 23);
            QCOMPARE(taken.size() + input.size(), i * line.size());
        }
        taken += take(input, input.size());

        QCOMPARE(taken, line.repeated(199));
        QCOMPARE(input.size(), 0);
    }

    void losesNoInputForWhichThereIsNoMemory()
    {
        SKIP_ON_WINDOWS("a DLL, as that of Python, allocates by functions that no test replaces");
        const int size = 4'000'000;
        const Supply supply({QString(size, 'x')});
        std::optional<FailingMemory> memory;
        d->standIns.reaction = [&](const QString &call) {
            if (call == "begin")
                memory.emplace(1'000'000, FailingMemory::Larger);
            else
                memory->end();
        };

        const bool succeeded = d->engine.runCode("import host, sys\n"
                                                 "first = sys.stdin.readline(1)\n"
                                                 "failed = 0\n"
                                                 "host.call('begin')\n"
                                                 "try: sys.stdin.read(3000000)\n"
                                                 "except MemoryError: failed = 1\n"
                                                 "finally: host.call('end')\n"
                                                 "rest = len(sys.stdin.read())\n");
        d->standIns.reaction = nullptr;

        QVERIFY2(succeeded, qPrintable(d->engine.errorMessage()));
        QCOMPARE(d->engine.getData("failed").toInt(), 1);
        QCOMPARE(d->engine.getData("rest").toInt(), size - 1);
    }

private:
    static QByteArray take(Utils::ScriptInput &input, int size)
    {
        QByteArray bytes(size, '\0');
        input.take(bytes.data(), size);
        return bytes;
    }

    /// The nanoseconds in which 20,000 lines are fetched, each of which is taken at once or never,
    /// in the best of several rounds.
    static qint64 fetchTime(bool takesEach)
    {
        const Data::String line = QString(80, 'x') + '\n';
        qint64 best = std::numeric_limits<qint64>::max();
        for (int round = 0; round < 7; ++round) {
            Utils::ScriptInput input;
            input.setSource([&](Data::String &text) {
                text = line;
                return true;
            });
            QElapsedTimer timer;
            timer.start();
            for (int i = 0; i < 20000; ++i) {
                input.fetch();
                if (takesEach)
                    take(input, line.size());
            }
            best = std::min(best, timer.nsecsElapsed());
        }
        return best;
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_input)
#include "tst_PythonScript_input.moc"
