#include "utils/script/ScriptInput_p.h"
#include "utils/script/ScriptManager.h"
#include "utils/script/ScriptOutput_p.h"

#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QTemporaryFile>
#include <QtTest>

#include <Python.h>

#include <cstdio>
#include <stdexcept>
#include <thread>

#include <unistd.h>

using Data::String;
using Data::Variant;
using Utils::ScriptChannel;
using Utils::ScriptInput;
using Utils::ScriptManager;
using Utils::ScriptOutput;

static const SettingsHome home;

/// The standard streams of scripts in odd uses.
class tst_PythonScript_streams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        d.emplace();
        m_written.clear();
        m_supplied = 0;
        QVERIFY(d->engine.runCode("import sys, cStringIO\n"));
    }
    void cleanup()
    {
        manager().setOutputSink({});
        manager().setInputSource({});
        d.reset();
    }

    void refusesWrongArguments_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        const QString number = "an integer is required";
        QTest::newRow("no sequence") << "sys.stdout.writelines(5)"
                                     << "'int' object is not iterable";
        QTest::newRow("a sequence that fails")
            << "sys.stdout.writelines(1 / n for n in (1, 0))"
            << "expected a string or other character buffer object";
        QTest::newRow("a sequence that fails later")
            << "sys.stdout.writelines(str(1 / n) for n in (1, 0))"
            << "integer division or modulo by zero";
        QTest::newRow("a line") << "sys.stdin.readline('x')" << number;
        QTest::newRow("bytes") << "sys.stdin.read('x')" << number;
        QTest::newRow("lines") << "sys.stdin.readlines('x')" << number;
    }

    void refusesWrongArguments()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);
        setSink();
        setSource("a\n");

        QVERIFY(!d->engine.runCode(code + "\n"));

        QCOMPARE(d->engine.errorMessage(), String(error));
        QCOMPARE(m_supplied, 0);
    }

    void hasTheAttributesOfAFile()
    {
        setSink();
        setSource("");

        for (const char *name : {"stdin", "stdout", "stderr"}) {
            const QString stream = QString("sys.%1.").arg(name);
            QCOMPARE(d->value("repr((" + stream + "errors, " + stream + "newlines, " + stream +
                              "closed))"),
                     Variant("(None, None, False)"));
        }
    }

    void reportsASourceThatThrows_data()
    {
        QTest::addColumn<QString>("code");

        for (const char *code : {"read()", "read(4)", "readline()", "readlines()", "next()"})
            QTest::newRow(code) << QString("sys.stdin.") + code;
        QTest::newRow("an iteration") << "list(sys.stdin)";
    }

    void reportsASourceThatThrows()
    {
        QFETCH(QString, code);
        int count = 0;
        manager().setInputSource([&](String &text) {
            if (++count > 1)
                throw std::runtime_error("broken");
            text = "ab";
            return true;
        });

        QVERIFY(!d->engine.runCode("x = " + code + "\n"));

        QCOMPARE(d->engine.errorMessage(), String("the host has failed to read the input"));
        QCOMPARE(count, 2);
    }

    void interruptsASourceThatSuppliesNothing()
    {
        manager().setInputSource([&](String &) {
            if (++m_supplied == 3)
                ScriptManager::interrupt();
            return m_supplied < 1'000'000;
        });

        QVERIFY(!d->engine.runCode("raw_input()\n"));

        QVERIFY(d->engine.error().isInterrupted());
        QVERIFY(m_supplied < 1'000'000);
    }

    void readsTheProcessThroughAStreamThatWasKept_data()
    {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QString>("value");

        QTest::newRow("a line") << "kept.readline()"
                                << "'one\\n'";
        QTest::newRow("some of a line") << "kept.readline(2)"
                                        << "'on'";
        QTest::newRow("everything") << "kept.read()"
                                    << "'one\\ntwo\\n'";
        QTest::newRow("lines") << "kept.readlines()"
                               << "['one\\n', 'two\\n']";
        QTest::newRow("an iteration") << "list(kept)"
                                      << "['one\\n', 'two\\n']";
        QTest::newRow("the next line") << "kept.next()"
                                       << "'one\\n'";
        QTest::newRow("a terminal") << "kept.isatty()"
                                    << "False";
    }

    void readsTheProcessThroughAStreamThatWasKept()
    {
        QFETCH(QString, expression);
        QFETCH(QString, value);
        QVERIFY(d->engine.runCode("sys.__stdin__ = cStringIO.StringIO('one\\ntwo\\n')\n"));
        setSource("host\n");
        QVERIFY(d->engine.runCode("kept = sys.__stdin__\n"));
        manager().setInputSource({});

        QCOMPARE(d->value("repr(" + expression + ")"), Variant(value));
        QCOMPARE(m_supplied, 0);
    }

    void writesToTheProcessThroughAStreamThatWasKept()
    {
        QVERIFY(d->engine.runCode("plain = sys.__stdout__ = cStringIO.StringIO()\n"));
        setSink();
        QVERIFY(d->engine.runCode("kept = sys.__stdout__\n"));
        manager().setOutputSink({});

        QVERIFY(d->engine.runCode("kept.write('a')\nkept.writelines(['b', u'c'])\nkept.flush()\n"));

        QCOMPARE(d->value("plain.getvalue()"), Variant("abc"));
        QCOMPARE(m_written, QStringList());
    }

    void hasOnlyTheMethodsOfAnObjectOfAScript()
    {
        QVERIFY(d->engine.runCode("sys.__stdin__ = object()\n"));
        setSource("host\n");
        QVERIFY(d->engine.runCode("kept = sys.__stdin__\nline = kept.readline()\n"));
        manager().setInputSource({});

        QVERIFY(!d->engine.runCode("kept.readline()\n"));

        QCOMPARE(d->engine.errorMessage(), String("'object' object has no attribute 'readline'"));
        QCOMPARE(d->value("line"), Variant("host\n"));
    }

    void leavesStreamsThatAScriptHasRemoved()
    {
        QVERIFY(d->engine.runCode("del sys.__stdout__\nsys.__stdin__ = None\n"));
        setSink();
        setSource("host\n");

        QVERIFY(d->engine.runCode("sys.stderr.write('seen')\nplain = type(sys.stdout) is file\n"));

        QCOMPARE(m_written, QStringList("err: seen"));
        QCOMPARE(d->value("repr((plain, sys.__stdin__))"), Variant("(True, None)"));
        QCOMPARE(d->value("hasattr(sys, '__stdout__')"), Variant(false));
    }

    void leavesAStreamOfWhichTheScriptHasNone()
    {
        QVERIFY(d->engine.runCode("del sys.stdout\n"));
        setSink();

        QCOMPARE(d->value("hasattr(sys, 'stdout')"), Variant(false));
        QVERIFY(d->engine.runCode("sys.stdout = sys.__stdout__\nprint 'seen'\n"));
        QCOMPARE(m_written.join(""), QString("out: seenout: \n"));
    }

    void readsTheProcessInACopyOfIt()
    {
        SKIP_ON_WINDOWS("no process can be copied there");
        QVERIFY(d->engine.runCode("import os\nsys.__stdin__ = cStringIO.StringIO('own')\n"
                                  "sys.stdin = sys.__stdin__\n"));
        setSource("host\n");

        QVERIFY(d->engine.runCode("child = os.fork()\n"
                                  "if child == 0:\n"
                                  "    os._exit(7 if sys.stdin.readline() == 'own' else 1)\n"
                                  "status = os.waitpid(child, 0)[1] >> 8\n"
                                  "line = sys.stdin.readline()\n"));

        QCOMPARE(d->value("status"), Variant(7));
        QCOMPARE(d->value("line"), Variant("host\n"));
    }

    // The streams without Python

    void joinsWhatAnotherThreadWrites()
    {
        ScriptOutput output([] {});
        output.setSink([this](const String &text, ScriptChannel channel) { note(text, channel); });
        const QString large(100'000, 'a');

        std::thread([&] {
            output.write(large, ScriptChannel::Output);
            output.write("b", ScriptChannel::Output);
            output.write("c", ScriptChannel::Output);
            output.write("d", ScriptChannel::Error);
            output.write("e", ScriptChannel::Output);
            output.deliver(); // does nothing on this thread
            output.finish();
        }).join();
        QCOMPARE(m_written, QStringList());
        output.deliver();

        QCOMPARE(m_written, QStringList({"out: " + large, "out: bc", "err: d", "out: e"}));
    }

    void writesToTheProcessWithoutASink()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        ScriptOutput output([] {});
        output.write("early", ScriptChannel::Output); // waits, as no thread delivers it yet
        output.setSink({});

        std::fflush(stdout);
        const int original = dup(STDOUT_FILENO);
        dup2(file.handle(), STDOUT_FILENO);
        output.deliver();
        std::fflush(stdout);
        dup2(original, STDOUT_FILENO);
        ::close(original);

        file.seek(0);
        QCOMPARE(file.readAll(), QByteArray("early"));
    }

    void readsNothingWithoutASource()
    {
        ScriptInput input;

        input.setSource({});

        QVERIFY(!input.hasSource());
        QCOMPARE(input.fetch(), ScriptInput::Outcome::End);
        QCOMPARE(input.size(), 0);
    }

private:
    static ScriptManager &manager() { return ScriptManager::instance(); }

    void note(const String &text, ScriptChannel channel)
    {
        m_written.append((channel == ScriptChannel::Output ? "out: " : "err: ") + text);
    }
    void setSink()
    {
        manager().setOutputSink(
            [this](const String &text, ScriptChannel channel) { note(text, channel); });
    }
    /// Sets a source that supplies \p line for ever.
    void setSource(const QString &line)
    {
        manager().setInputSource([this, line](String &text) {
            ++m_supplied;
            text = line;
            return !line.isEmpty();
        });
    }

    std::optional<PythonFixture> d;
    QStringList m_written;
    int m_supplied = 0;
};

QTEST_GUILESS_MAIN(tst_PythonScript_streams)
#include "tst_PythonScript_streams.moc"
