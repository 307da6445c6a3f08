#include "utils/script/ScriptManager.h"
#include "utils/script/ScriptOutput_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"

#include <QCryptographicHash>
#include <QtTest>

#include <cstdio>
#include <stdexcept>
#include <thread>

#include <unistd.h>

using Utils::ScriptChannel;
using Utils::ScriptManager;

static const SettingsHome home;

static const QString replacement(QChar::ReplacementCharacter);

/// What a sink has received: each text, or joined while the channel is the same, as "out: text" or
/// "err: text".
class Received
{
public:
    Received()
    {
        ScriptManager::instance().setOutputSink(
            [this](const Data::String &text, ScriptChannel channel) {
                texts.append((channel == ScriptChannel::Output ? "out: " : "err: ") + text);
                isOnMainThread = isOnMainThread && std::this_thread::get_id() == m_thread;
                if (reaction)
                    reaction(text);
            });
    }
    ~Received() { ScriptManager::instance().setOutputSink({}); }
    Q_DISABLE_COPY(Received)

    QStringList joined() const
    {
        QStringList found;
        for (const QString &text : texts) {
            if (!found.isEmpty() && found.constLast().left(5) == text.left(5))
                found.last() += text.mid(5);
            else
                found.append(text);
        }
        return found;
    }

    QStringList texts;
    bool isOnMainThread = true;
    std::function<void(const QString &text)> reaction;

private:
    const std::thread::id m_thread = std::this_thread::get_id();
};

/// Everything that is written to a standard stream of the process while \p function runs.
template <typename Function>
static QByteArray writtenToStream(std::FILE *stream, const Function &function)
{
    QTemporaryFile file;
    if (!file.open())
        return "no file";
    std::fflush(stream);
    const int original = dup(fileno(stream));
    dup2(file.handle(), fileno(stream));
    function();
    std::fflush(stream);
    dup2(original, fileno(stream));
    close(original);
    file.seek(0);
    return file.readAll();
}

class tst_PythonScript_output : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (!d)
            d.emplace();
    }
    void cleanupTestCase() { d.reset(); }

    void passesWhatScriptsPrintToTheSink_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QStringList>("texts");

        // clang-format off
        QTest::newRow("print") << QString("print 'a', 1\nprint\nprint 2.5\n") << QStringList("out: a 1\n\n2.5\n");
        QTest::newRow("print without an end") << QString("print 'a',\nprint 'b',\nprint\nprint 'c\\n',\nprint 'd'\n") << QStringList("out: a b\nc\nd\n");
        QTest::newRow("print to a stream") << QString("print >>sys.stderr, 'a', 'b'\n") << QStringList("err: a b\n");
        QTest::newRow("write") << QString("sys.stdout.write('a')\nsys.stdout.write('')\nsys.stdout.write('b\\n')\n") << QStringList("out: ab\n");
        QTest::newRow("writelines") << QString("sys.stdout.writelines(x for x in ('a', u'b', 'c'))\n") << QStringList("out: abc");
        QTest::newRow("a buffer") << QString("sys.stdout.write(buffer('abc', 1))\nsys.stdout.write(bytearray('d'))\n") << QStringList("out: bcd");
        QTest::newRow("zeros") << QString("sys.stdout.write('a\\0b')\n") << QStringList(QString("out: a") + QChar(0) + "b");
        QTest::newRow("both streams in order") << QString("print 1\nsys.stderr.write('x')\nprint 2\nprint 3\nsys.stderr.write('y')\n")
            << QStringList{"out: 1\n", "err: x", "out: 2\n3\n", "err: y"};
        QTest::newRow("the streams of the start") << QString("sys.__stdout__.write('a')\nsys.__stderr__.write('b')\n") << QStringList{"out: a", "err: b"};
        QTest::newRow("a prompt") << QString("import StringIO\nkept = sys.stdin\nsys.stdin = StringIO.StringIO('7\\n')\nprint 'a',\nprint raw_input('name? ')\nsys.stdin = kept\n")
            << QStringList("out: a name? 7\n");
        QTest::newRow("a warning") << QString("import warnings\nwarnings.showwarning('old', UserWarning, 'f.py', 3, line='')\n") << QStringList("err: f.py:3: UserWarning: old\n");
        // clang-format on
    }

    void passesWhatScriptsPrintToTheSink()
    {
        QFETCH(QString, code);
        QFETCH(QStringList, texts);
        const Received received;

        QVERIFY2(d->engine.runCode("import sys\n" + code), d->engine.errorMessage().c_str());

        QCOMPARE(received.joined(), texts);
    }

    void joinsCharactersWhoseBytesComeApart_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QStringList>("texts");

        // clang-format off
        QTest::newRow("UTF-8") << QString("out.write('\\xc3\\xa9')\n") << QStringList(QString::fromUtf8("out: é"));
        QTest::newRow("in two writes") << QString("out.write('\\xc3')\nout.write('\\xa9')\n") << QStringList(QString::fromUtf8("out: é"));
        QTest::newRow("byte by byte") << QString("for c in '\\xf0\\x9f\\x98\\x80': out.write(c)\n") << QStringList(QString::fromUtf8("out: 😀"));
        QTest::newRow("with the other stream in between") << QString("out.write('\\xc3')\nerr.write('\\xe2')\nout.write('\\xa9')\nerr.write('\\x82\\xac')\n")
            << QStringList{QString::fromUtf8("out: é"), QString::fromUtf8("err: €")};
        QTest::newRow("invalid") << QString("out.write('a\\xffb')\n") << QStringList("out: a" + replacement + "b");
        QTest::newRow("incomplete before a unicode") << QString("out.write('\\xc3')\nout.write(u'b')\n") << QStringList("out: " + replacement + "b");
        QTest::newRow("incomplete at the end") << QString("out.write('\\xc3')\n") << QStringList("out: " + replacement);
        QTest::newRow("a byte order mark") << QString("out.write('\\xef\\xbb\\xbfa')\n") << QStringList(QString("out: ") + QChar(QChar::ByteOrderMark) + "a");
        QTest::newRow("unicode") << QString("print u'\\xe9', u'\\U0001F600'\nout.write(u'\\u20ac')\n") << QStringList(QString::fromUtf8("out: é 😀\n€"));
        QTest::newRow("half a pair") << QString("out.write(u'\\ud83d')\n") << QStringList(QString("out: ") + QChar(0xd83d));
        // clang-format on
    }

    void joinsCharactersWhoseBytesComeApart()
    {
        QFETCH(QString, code);
        QFETCH(QStringList, texts);
        const Received received;

        QVERIFY(d->engine.runCode("import sys\nout, err = sys.stdout, sys.stderr\n" + code));

        QCOMPARE(received.joined(), texts);
    }

    void refusesWhatIsNoText()
    {
        const Received received;

        QVERIFY(!d->engine.runCode("import sys\nsys.stdout.write(5)\n"));
        QCOMPARE(d->engine.errorMessage(),
                 Data::String("expected a string or other character buffer object"));
        QVERIFY(!d->engine.runCode("import sys\nsys.stdout.writelines(['a', None])\n"));
        QCOMPARE(received.joined(), QStringList("out: a"));
    }

    void hasTheAttributesOfAFile()
    {
        const Received received;

        QCOMPARE(d->value("__import__('sys').stdout.name"), Data::Variant("<stdout>"));
        QCOMPARE(d->value("__import__('sys').stderr.name"), Data::Variant("<stderr>"));
        QCOMPARE(d->value("__import__('sys').stdout.encoding"), Data::Variant("UTF-8"));
        QCOMPARE(d->value("__import__('sys').stdout.mode"), Data::Variant("w"));
        QCOMPARE(d->value("__import__('sys').stdout.isatty()"), Data::Variant(false));
        QCOMPARE(d->value("__import__('sys').stderr.fileno()"), Data::Variant(2));
        QCOMPARE(d->value("__import__('sys').stdout.closed"), Data::Variant(false));
        QVERIFY(d->engine.runCode("import sys\nsys.stdout.flush()\nsys.stdout.close()\nprint 1\n"));
        QCOMPARE(received.joined(), QStringList("out: 1\n"));
    }

    void passesTheTracebackOfAFileThatFails()
    {
        const Received received;
        const QString path = d->script("import sys\nprint 'a',\nraise ValueError('b')\n");

        QVERIFY(!d->engine.runFile(path));

        QCOMPARE(
            received.joined(),
            QStringList({"out: a\n", "err: Traceback (most recent call last):\n  File \"" + path +
                                         "\", line 3, in <module>\n    raise "
                                         "ValueError('b')\nValueError: b\n"}));
    }

    void leavesTheStreamsAsTheyAreWithoutASink()
    {
        const QString code = "import sys\n"
                             "print type(sys.stdout) is file, type(sys.stderr) is file,\n"
                             "print sys.stdout is sys.__stdout__, sys.stdin is sys.__stdin__\n";
        const auto run = [&] { QVERIFY(d->engine.runCode(code)); };

        d.reset();
        d.emplace();
        QCOMPARE(writtenToStream(stdout, run), QByteArray("True True True True\n"));
        {
            const Received received;
            run();
            QCOMPARE(received.joined(), QStringList("out: False False True True\n"));
        }
        QCOMPARE(writtenToStream(stdout, run), QByteArray("True True True True\n"));
    }

    void keepsAStreamOfAScript()
    {
        const Received received;
        QVERIFY(d->engine.runCode("import sys, StringIO\n"
                                  "kept, sys.stdout = sys.stdout, StringIO.StringIO()\n"
                                  "print 'inner'\n"));
        QCOMPARE(received.joined(), QStringList());
        QVERIFY(
            d->engine.runCode("text = sys.stdout.getvalue()\nsys.stdout = kept\nprint text,\n"));

        QCOMPARE(received.joined(), QStringList("out: inner\n"));
    }

    void replacesAStreamThatAScriptPutsBack()
    {
        QVERIFY(d->engine.runCode("import sys, StringIO\n"
                                  "kept, sys.stdout = sys.stdout, StringIO.StringIO()\n"));
        const Received received;
        QVERIFY(d->engine.runCode("print 'inner'\nsys.stdout = kept\n"));
        QCOMPARE(received.joined(), QStringList());

        QVERIFY(d->engine.runCode("print 'outer'\n"));

        QCOMPARE(received.joined(), QStringList("out: outer\n"));
    }

    void writesToTheProcessThroughAStreamThatWasKept()
    {
        {
            const Received received;
            QVERIFY(d->engine.runCode("import sys\nkept = sys.stdout\nprint 'a'\n"));
            QCOMPARE(received.joined(), QStringList("out: a\n"));
        }
        const QByteArray written = writtenToStream(stdout, [this] {
            QVERIFY(d->engine.runCode("kept.write('b')\nkept.flush()\nprint >>kept, u'c'\n"
                                      "tty = kept.isatty()\n"));
        });

        QCOMPARE(written, QByteArray("bc\n"));
        QCOMPARE(d->engine.getData("tty"), Data::Variant(false));
    }

    void keepsTheSinkWhenTheInterpreterEnds()
    {
        const Received received;
        QVERIFY(d->engine.runCode("import sys\n"
                                  "class Last(object):\n"
                                  "    def __del__(self, out=sys.stdout): out.write('last\\n')\n"
                                  "last = Last()\n"
                                  "import atexit\n"
                                  "atexit.register(lambda: sys.stderr.write('exit\\n'))\n"));
        d->engine.reset();
        QCOMPARE(received.joined(), QStringList({"err: exit\n", "out: last\n"}));

        QVERIFY(d->engine.runCode("print 'again'\n"));

        QCOMPARE(received.joined(), QStringList({"err: exit\n", "out: last\nagain\n"}));
    }

    // What a sink may do

    void passesWhatTheSinkWritesAfterIt()
    {
        Received received;
        received.reaction = [&](const QString &text) {
            if (text == "a") {
                QVERIFY(d->engine.runCode("print 'inner'\nprint 'more'\n"));
                QCOMPARE(received.joined(), QStringList("out: a"));
            }
        };

        QVERIFY(d->engine.runCode("import sys\nsys.stdout.write('a')\nsys.stderr.write('b')\n"));

        QCOMPARE(received.joined(), QStringList({"out: ainner\nmore\n", "err: b"}));
    }

    void endsTheInterpreterThatTheSinkResetsAfterTheRun()
    {
        Received received;
        received.reaction = [&](const QString &text) {
            if (text == "a")
                d->engine.reset();
        };

        QVERIFY(d->engine.runCode("import sys\nleft = 1\nsys.stdout.write('a')\nprint left\n"));

        QCOMPARE(received.joined(), QStringList("out: a1\n"));
        QCOMPARE(d->value("'left' in globals()"), Data::Variant(false));
    }

    void keepsTheErrorOfAScriptFromThatOfTheSink()
    {
        Received received;
        received.reaction = [&](const QString &) {
            QVERIFY(!d->engine.runCode("1 / 0\n"));
            QVERIFY(!d->engine.getData("missing").isValid());
        };

        QVERIFY(d->engine.runCode("import sys\nsys.stdout.write('a')\nb = 2\n"));

        QCOMPARE(d->engine.getData("b"), Data::Variant(2));
    }

    void replacesTheSinkWhileItRuns()
    {
        QStringList texts;
        ScriptManager &scripts = ScriptManager::instance();
        const auto marker = std::make_shared<QString>("first ");
        scripts.setOutputSink([&texts, &scripts, marker](const Data::String &text, ScriptChannel) {
            scripts.setOutputSink(
                [&](const Data::String &next, ScriptChannel) { texts.append("second " + next); });
            texts.append(*marker + text); // what it has captured is still there
        });

        QVERIFY(d->engine.runCode("import sys\nsys.stdout.write('a')\nsys.stdout.write('b')\n"));
        scripts.setOutputSink({});

        QCOMPARE(texts, QStringList({"first a", "second b"}));
        QCOMPARE(marker.use_count(), 1L);
    }

    void removesTheSinkWhileItRuns()
    {
        Received received;
        received.reaction = [&](const QString &) {
            ScriptManager::instance().setOutputSink({});
            QVERIFY(d->engine.runCode("print 'inner'\n"));
        };

        const QByteArray written = writtenToStream(stdout, [&] {
            QVERIFY(d->engine.runCode("import sys\nsys.stdout.write('a')\nprint 'b'\n"));
        });

        QCOMPARE(received.joined(), QStringList("out: a"));
        QCOMPARE(written, QByteArray("inner\nb\n"));
    }

    void writesToTheProcessWhatTheSinkRefuses()
    {
        Received received;
        received.reaction = [](const QString &text) {
            if (text == "b")
                throw std::runtime_error("full");
        };

        const QByteArray written = writtenToStream(stderr, [&] {
            QVERIFY(d->engine.runCode("import sys\nfor c in 'abc': sys.stderr.write(c)\n"));
        });

        QCOMPARE(received.texts, QStringList({"err: a", "err: b", "err: c"}));
        QCOMPARE(written, QByteArray("b"));
    }

    // Threads and processes

    void passesWhatThreadsWriteOnTheMainThread()
    {
        const Received received;

        QVERIFY2(d->engine.runCode(
                     "import sys, threading\n"
                     "def work(name):\n"
                     "    for i in xrange(2000): sys.stdout.write('%s%d ' % (name, i))\n"
                     "threads = [threading.Thread(target=work, args=(n,)) for n in 'abc']\n"
                     "for t in threads: t.start()\n"
                     "for t in threads: t.join()\n"
                     "print 'end'\n"),
                 d->engine.errorMessage().c_str());

        QVERIFY(received.isOnMainThread);
        const QStringList joined = received.joined();
        QCOMPARE(joined.size(), 1);
        QStringList words = joined.constFirst().mid(5).split(' ');
        QCOMPARE(words.takeLast(), QString("end\n"));
        for (const QChar name : QString("abc")) {
            QStringList wanted;
            for (int i = 0; i < 2000; ++i)
                wanted.append(name + QString::number(i));
            QCOMPARE(words.filter(name), wanted);
        }
    }

    void passesWhatAThreadWritesWhileTheMainThreadComputes()
    {
        Received received;
        received.reaction = [&](const QString &text) {
            if (text == "now")
                d->engine.pushData("heard", 1);
        };

        QVERIFY2(
            d->engine.runCode("import sys, threading, time\n"
                              "heard = 0\n"
                              "threading.Thread(target=lambda: sys.stdout.write('now')).start()\n"
                              "end = time.time() + 60\n"
                              "while not heard and time.time() < end: pass\n"
                              "assert heard\n"),
            d->engine.errorMessage().c_str());

        QVERIFY(received.isOnMainThread);
        d->engine.popData("heard");
    }

    void passesTheTracebackOfAThread()
    {
        const Received received;

        QVERIFY(d->engine.runCode("import threading\n"
                                  "t = threading.Thread(target=lambda: 1 / 0)\n"
                                  "t.start()\nt.join()\n"));

        const QString text = received.joined().join('|');
        QVERIFY2(text.startsWith("err: Exception in thread Thread-"), qPrintable(text));
        QVERIFY2(text.trimmed().endsWith("ZeroDivisionError: integer division or modulo by zero"),
                 qPrintable(text));
    }

    void writesToTheProcessInACopyOfIt()
    {
        const Received received;

        const QByteArray written = writtenToStream(stdout, [&] {
            QVERIFY(d->engine.runCode("import os, sys\n"
                                      "child = os.fork()\n"
                                      "if child == 0:\n"
                                      "    print 'child'\n"
                                      "    sys.stdout.flush()\n"
                                      "    os._exit(0)\n"
                                      "os.waitpid(child, 0)\n"
                                      "print 'parent'\n"));
        });

        QCOMPARE(written, QByteArray("child\n"));
        QCOMPARE(received.joined(), QStringList("out: parent\n"));
    }

    void losesNothingOfAHundredMegabytes()
    {
        qint64 characters = 0;
        QCryptographicHash received(QCryptographicHash::Sha1);
        ScriptManager::instance().setOutputSink([&](const Data::String &text, ScriptChannel) {
            characters += text.size();
            received.addData(text.toUtf8());
        });

        QVERIFY2(d->engine.runCode("import sys\n"
                                   "rest = '\\xc3\\xa9' + 'x' * 19990 + '\\n'\n"
                                   "def line(i): return '%07d' % i + rest\n"
                                   "for i in xrange(5000): sys.stdout.write(line(i))\n"
                                   "sys.stdout.write(''.join(map(line, xrange(5000, 6000))))\n"),
                 d->engine.errorMessage().c_str());
        ScriptManager::instance().setOutputSink({});

        const QByteArray rest = QByteArray("\xc3\xa9") + QByteArray(19990, 'x') + '\n';
        QCryptographicHash written(QCryptographicHash::Sha1);
        for (int i = 0; i < 6000; ++i) {
            written.addData(QByteArray::number(i).rightJustified(7, '0'));
            written.addData(rest);
        }
        QCOMPARE(characters, qint64(6000) * 19999);
        QCOMPARE(received.result().toHex(), written.result().toHex());
    }

    void raisesAnErrorForATextThatIsLargerThanTheMemory_data()
    {
        QTest::addColumn<QString>("kind");

        QTest::newRow("bytes") << "";
        QTest::newRow("characters") << "u";
    }

    void raisesAnErrorForATextThatIsLargerThanTheMemory()
    {
        QFETCH(QString, kind);
        const int mebibyte = 1 << 20;
        const Received received;
        QVERIFY(d->engine.runCode("import sys\ntext = " + kind + "'x' * 3000000\n"));
        const Data::String code = "try:\n    sys.stdout.write(text)\n"
                                  "except MemoryError:\n    sys.stdout.write('too large')\n";

        FailingMemory memory(mebibyte, FailingMemory::Larger);
        const bool isDone = d->engine.runCode(code);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(isDone);
        QCOMPARE(received.joined(), QStringList("out: too large"));
    }

    void throwsNothingAtTheEndOfARun()
    {
        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            bool hasFailed = true;
            for (int number = 0; hasFailed; ++number) {
                int received = 0;
                Utils::ScriptOutput output([] {});
                output.setSink([&](const Data::String &text, ScriptChannel) {
                    received += text == replacement ? 1 : 100;
                });
                output.write("\xc3", 1, ScriptChannel::Output);
                output.write("\xc3", 1, ScriptChannel::Error);

                bool hasThrown = false;
                FailingMemory memory(number, mode);
                try {
                    output.finish();
                } catch (...) {
                    hasThrown = true;
                }
                memory.end();
                hasFailed = memory.hasFailed();

                QVERIFY2(!hasThrown, qPrintable(QString::number(number)));
                QVERIFY(hasFailed ? received <= 2 : received == 2);
                QVERIFY(mode != FailingMemory::Once || received > 0); // one channel at least
            }
        }
    }

private:
    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_output)
#include "tst_PythonScript_output.moc"
