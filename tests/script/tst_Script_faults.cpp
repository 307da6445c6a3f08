#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include "tests/support/Files.h" // makeFile
#include "tests/support/SettingsHome.h"
#include "tests/support/Windows.h"

#include <QProcess>
#include <QtTest>

#include <memory>

using Data::String;

static const SettingsHome home; // also of the hosts
static const QString examples = KELMUTILS_EXAMPLES_DIR;

/// The text of \p id in the catalogue, with its placeholders replaced.
static QString text(const char *id, const QString &first = "", const QString &second = "")
{
    QString found = Utils::StringTable::lookup(String(".Kelm.Utils") + id);
    return found.replace("%1", first).replace("%2", second).replace('\n', "\\n");
}

/// The message of the host after a file has failed with a traceback.
static QString failed(const QString &error = "")
{
    return "false " + text(".err.scriptRun", "-1", error);
}
static QString finished() { return "true " + text(".msg.scriptRun"); }

/// Failures in scripts and around them, as the user of a host sees them. Each row runs a separate
/// host, script_host, which must reach its last line.
class tst_Script_faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("PYTHONDONTWRITEBYTECODE", "1"); // into the folders of the sources
        QSettings().setValue("gui/pythonImports", "from math import *;from mathex import *");
        Utils::File::setSearchPath(examples + "/../res", "");
        Utils::StringTable::initialize("en", "", "");
        QVERIFY(Utils::StringTable::load("Kelm.Utils"));
    }

    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    // Scripts

    void fileThatFails_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QString>("shown"); // in the traceback

        // clang-format off
        QTest::newRow("by a syntax error") << QByteArray("x = \n") << "SyntaxError: invalid syntax";
        QTest::newRow("by its indentation")      << QByteArray("if 1:\nx\n")                    << "IndentationError";
        QTest::newRow("by tabs and blanks") << QByteArray("if 1:\n        x=1\n\ty=1\n  z=1\n") << "IndentationError";
        QTest::newRow("by a return") << QByteArray("return 5\n") << "'return' outside function";
        QTest::newRow("by too deep brackets")    << QByteArray(5000, '(')                       << "MemoryError";
        QTest::newRow("by too many blocks")      << deepBlocks(30)                              << "SyntaxError";
        QTest::newRow("by an exception")         << QByteArray("raise ValueError('text')\n")    << "ValueError: text";
        QTest::newRow("by one with any text")    << QByteArray("raise ValueError(u'\\xe4')\n")  << "ValueError";
        QTest::newRow("by one that shows none")
            << QByteArray("class E(Exception):\n  def __str__(self):\n    return 5\nraise E\n")
            << "E: <";
        QTest::newRow("by one that fails to")
            << QByteArray("class E(Exception):\n  def __str__(self):\n    raise E\nraise E\n")
            << "E: <";
        QTest::newRow("by a class of old style") << QByteArray("class E: pass\nraise E\n")      << "E: <";
        QTest::newRow("by what is no exception") << QByteArray("raise 'text'\n")                << "TypeError";
        QTest::newRow("by an unknown name") << QByteArray("unknown\n") << "NameError: name 'unknown' is not defined";
        QTest::newRow("by an unknown module") << QByteArray("import unknown\n")
            << "ImportError: No module named unknown";
        QTest::newRow("by an interruption")      << QByteArray("raise KeyboardInterrupt\n")     << "KeyboardInterrupt";
        QTest::newRow("by recursion") << QByteArray("def f(): f()\nf()\n") << "maximum recursion depth exceeded";
        QTest::newRow("by recursion in repr")
            << QByteArray("class C:\n  def __repr__(self): return repr(self)\nC().__repr__()\n")
            << "maximum recursion depth exceeded";
        QTest::newRow("by recursion in calls")
            << QByteArray("from KelmUtils import Utils\nclass S(str):\n  def __init__(self): S()\n"
                "Utils.File.join(S(), 'a')\n") << "maximum recursion depth exceeded";
        QTest::newRow("by the memory")           << QByteArray("'x' * (2 ** 62)\n")             << "MemoryError";
        QTest::newRow("by sys.exit()")           << QByteArray("import sys\nsys.exit()\n")      << "SystemExit";
        QTest::newRow("by sys.exit(0)")          << QByteArray("import sys\nsys.exit(0)\n")     << "SystemExit: 0";
        QTest::newRow("by sys.exit(5)")          << QByteArray("import sys\nsys.exit(5)\n")     << "SystemExit: 5";
        QTest::newRow("by sys.exit('text')")     << QByteArray("import sys\nsys.exit('text')\n") << "SystemExit: text";
        QTest::newRow("by exit()")               << QByteArray("exit()\n")                      << "SystemExit";
        QTest::newRow("by SystemExit")           << QByteArray("raise SystemExit(7)\n")         << "SystemExit: 7";
        QTest::newRow("by Latin-1") << QByteArray("x = '\xe4'\n") << "Non-ASCII character '\\xe4'";
        QTest::newRow("by UTF-8 undeclared") << QByteArray("x = '\xc3\xa4'\n") << "Non-ASCII character '\\xc3'";
        QTest::newRow("by bytes that are no UTF-8")
            << QByteArray("# -*- coding: utf-8 -*-\nx = u'\xe4'\n") << "SyntaxError";
        QTest::newRow("by an unknown coding") << QByteArray("# -*- coding: unknown -*-\n")
            << "encoding problem: unknown";
        QTest::newRow("by UTF-16")               << QByteArray("\xff\xfex\0=\0" "1\0\n\0", 10)  << "SyntaxError";
        // clang-format on
    }

    void fileThatFails()
    {
        QFETCH(QByteArray, source);
        QFETCH(QString, shown);
        const QString script = makeFile(m_folder->path() + "/script.py", source);

        QCOMPARE(run({"--file", script, "--code", "alive = 1", "--file", script}),
                 (QStringList{failed(), "true", failed()}));
        QVERIFY2(m_errors.contains(shown), qPrintable(m_errors));
    }

    void fileThatRuns_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QString>("value");

        // clang-format off
        QTest::newRow("empty")                     << QByteArray("")                                       << "";
        QTest::newRow("without a last line end")   << QByteArray("value = 5")                              << "5";
        QTest::newRow("with line ends of Windows") << QByteArray("if 1:\r\n  value = 5\r\n")               << "5";
        QTest::newRow("in UTF-8 with a mark") << QByteArray("\xef\xbb\xbfvalue = '\xc3\xa4'\n")
            << QString::fromUtf8("ä");
        QTest::newRow("in UTF-8 as declared") << QByteArray("# coding: utf-8\nvalue = '\xc3\xa4'\n")
            << QString::fromUtf8("ä");
        QTest::newRow("in Latin-1 as declared")
            << QByteArray("# coding: latin-1\nvalue = u'\xe4'.encode('utf-8')\n")
            << QString::fromUtf8("ä");
        QTest::newRow("that catches its exit")
            << QByteArray("import sys\ntry:\n  sys.exit(5)\nexcept SystemExit as e:\n"
                "  value = e.code\n") << "5";
        QTest::newRow("that catches its recursion")
            << QByteArray("def f(): f()\ntry:\n  f()\nexcept RuntimeError:\n  value = 5\n") << "5";
        // clang-format on
    }

    void fileThatRuns()
    {
        QFETCH(QByteArray, source);
        QFETCH(QString, value);
        const QString script = makeFile(m_folder->path() + "/script.py", source);

        QCOMPARE(
            run({"--file", script, "--value", "value = globals().get('value', '')\nalive = 1"}),
            (QStringList{finished(), value.isEmpty() ? "true" : "true " + value}));
    }

    void fileThatCannotBeOpened_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("missing") << "missing.py";
        QTest::newRow("in a folder that is missing") << "a/b.py";
        QTest::newRow("with a name of any text") << QString::fromUtf8("ä €.py");
        QTest::newRow("below a file") << "file/b.py";
    }

    void fileThatCannotBeOpened()
    {
        QFETCH(QString, name);
        makeFile(m_folder->path() + "/file");
        const QString path = m_folder->path() + '/' + name;

        const QStringList lines = run({"--file", path, "--code", "alive = 1"});

        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].startsWith("false "), qPrintable(lines[0]));
        QVERIFY2(lines[0].contains("Unable to open script " + path), qPrintable(lines[0]));
        QCOMPARE(lines[1], QString("true"));
    }

    void fileThatIsAFolderFails()
    {
        QVERIFY(QDir(m_folder->path()).mkpath("folder.py"));

        const QStringList lines =
            run({"--file", m_folder->path() + "/folder.py", "--code", "alive = 1"});

        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].startsWith("false "), qPrintable(lines[0]));
        QCOMPARE(lines[1], QString("true"));
    }

    void fileOfNoLanguageIsNotRun()
    {
        const QString script = makeFile(m_folder->path() + "/script.txt", "raise ValueError\n");

        QCOMPARE(run({"--file", script, "--file", ""}),
                 (QStringList{"false " + text(".msg.scriptRunning", script),
                              "false " + text(".msg.scriptRunning", "")}));
    }

    void fileWithAnyNameRuns()
    {
#ifdef _WIN32 // where no name has a double quote or a backslash
        const QString name = QString::fromUtf8("/ä '€ %s %1.py");
#else
        const QString name = QString::fromUtf8("/ä '€\" %s %1 \\.py");
#endif
        const QString script = makeFile(m_folder->path() + name, "value = __file__\n");

        QCOMPARE(run({"--file", script, "--value", "pass\n"}),
                 (QStringList{finished(), "true " + script}));
    }

    void codeThatFails_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("by a syntax error") << "x =\n" << "invalid syntax\\nline: 1\\ncolumn: 4";
        QTest::newRow("in its second line") << "x = 1\ny = = 2" << "invalid syntax\\nline: 2\\ncolumn: 5";
        QTest::newRow("by a return")            << "x = 1\nreturn x"                << "'return' outside function";
        QTest::newRow("by an exception")        << "x = 1\nraise ValueError('text')" << "text";
        QTest::newRow("by one with any text") << QString::fromUtf8("x = 1\nraise ValueError('ä')")
            << QString::fromUtf8("ä");
        QTest::newRow("by one that shows none")
            << "class E(Exception):\n  def __str__(self): return 5\nraise E()" << "";
        QTest::newRow("by an unknown name")     << "x = unknown"                    << "name 'unknown' is not defined";
        QTest::newRow("by recursion") << "def f(): f()\nf()" << "maximum recursion depth exceeded";
        QTest::newRow("by too deep brackets")   << "x = " + QString(5000, '(')      << "";
        QTest::newRow("by a division") << "x = 1 / 0" << "integer division or modulo by zero";
        QTest::newRow("by sys.exit()")          << "import sys\nsys.exit()"         << "";
        QTest::newRow("by sys.exit(5)")         << "import sys\nsys.exit(5)"        << "5";
        QTest::newRow("by sys.exit('text')")    << "import sys\nsys.exit('text')"   << "text";
        QTest::newRow("by a bare exception")    << "x = 1\nraise KeyboardInterrupt" << "";
        // clang-format on
    }

    void codeThatFails()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);

        const QStringList lines = run({"--code", code, "--value", "value = 5", "--code", code});

        QCOMPARE(lines.size(), 3);
        QVERIFY2(lines[0].startsWith(error.isEmpty() ? "false" : "false " + error),
                 qPrintable(lines[0]));
        QCOMPARE(lines[1], QString("true 5"));
        QCOMPARE(lines[2], lines[0]);
        QVERIFY2(!m_errors.contains("Traceback"),
                 qPrintable(m_errors)); // the error text contains it
    }

    void expressionThatFails_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("unfinished")          << "1+"                         << "invalid syntax\\nline: 6\\ncolumn: ";
        QTest::newRow("empty")               << ""                           << "invalid syntax\\nline: 6\\ncolumn: ";
        QTest::newRow("a statement")         << "print 1"                    << "invalid syntax\\nline: 6\\ncolumn: ";
        QTest::newRow("an unknown name")     << "unknown"                    << "name 'unknown' is not defined";
        QTest::newRow("out of its domain")   << "sqrt(-1)"                   << "math domain error";
        QTest::newRow("a division")          << "1 / 0"                      << "integer division or modulo by zero";
        QTest::newRow("sys.exit()")          << "__import__('sys').exit()"   << "";
        QTest::newRow("sys.exit(5)")         << "__import__('sys').exit(5)"  << "5";
        QTest::newRow("exit()")              << "exit()"                     << "";
        QTest::newRow("of no variant")       << "object()"                   << "";
        QTest::newRow("recursion") << "(lambda f: f(f))(lambda f: f(f))" << "maximum recursion depth exceeded";
        QTest::newRow("a rest after it")     << "1; unknown"                 << "name 'unknown' is not defined";
        // clang-format on
    }

    void expressionThatFails()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);

        const QStringList lines = run({"--code", code, "--code", "1+1", "--code", code});

        QCOMPARE(lines.size(), 3);
        QVERIFY2(lines[0].startsWith(error.isEmpty() ? "false" : "false " + error),
                 qPrintable(lines[0]));
        QCOMPARE(lines[1], QString("true 2"));
        QCOMPARE(lines[2], lines[0]);
    }

    void textThatIsNotValid_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("unfinished")        << "1+"              << "false invalid syntax\\nline: 1\\ncolumn: ";
        QTest::newRow("in its third line") << "a\nb\nc d"       << "false invalid syntax\\nline: 3\\ncolumn: ";
        QTest::newRow("indented") << "if 1:\nx" << "false expected an indented block\\nline: 2\\ncolumn: ";
        QTest::newRow("a lone return")     << "return 5"        << "false 'return' outside function\\nline: 1";
        QTest::newRow("unclosed text")     << "x = 'a"          << "false EOL while scanning string literal\\nline: 1";
        QTest::newRow("too deep brackets") << QString(5000, '(') << "false";
        // clang-format on
    }

    void textThatIsNotValid()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);

        const QStringList lines = run({"--check", code, "--check", "sys.exit()", "--check", code});

        QCOMPARE(lines.size(), 3);
        QVERIFY2(lines[0].startsWith(error), qPrintable(lines[0]));
        QCOMPARE(lines[1], QString("true")); // no code is run
        QCOMPARE(lines[2], lines[0]);
    }

    // Remains of a script

    void scriptThatSpoilsTheInterpreter_data()
    {
        QTest::addColumn<QString>("code");

        // clang-format off
        QTest::newRow("by its output")          << "import sys\nsys.stdout = sys.stderr = None\nprint 1";
        QTest::newRow("by closing its output")  << "import sys\nsys.stderr.close()";
        QTest::newRow("by its search path")     << "import sys\nsys.path = None";
        QTest::newRow("by its modules")         << "import sys\nsys.modules.clear()";
        QTest::newRow("by its builtins")        << "import __builtin__\n__builtin__.__dict__.clear()";
        QTest::newRow("by its own module")      << "import sys\ndel sys.modules['__main__']";
        QTest::newRow("by its names")           << "globals().clear()";
        QTest::newRow("by a hook of errors") << "import sys\ndef hook(*a): raise SystemExit(3)\nsys.excepthook = hook";
        QTest::newRow("by a trace") << "import sys\ndef trace(*a): raise SystemExit(3)\nsys.settrace(trace)";
        QTest::newRow("by an exit to come")     << "import atexit, sys\natexit.register(sys.exit, 5)";
        QTest::newRow("by a failure to come")   << "import atexit\natexit.register(lambda: 1 / 0)";
        QTest::newRow("by an exit function")    << "import sys\nsys.exitfunc = lambda: sys.exit(5)";
        QTest::newRow("by a death that fails")
            << "class C(object):\n  def __del__(self): 1 / 0\nx = C()\n__builtins__.kept = C()";
        QTest::newRow("by a death that exits")
            << "import sys\nclass C(object):\n  def __del__(self): sys.exit(5)\nx = C()\n"
                "__builtins__.kept = C()";
        QTest::newRow("by its folder")          << "import os\nos.chdir('/')";
        QTest::newRow("by a signal") << "import os, signal\n"
                "signal.signal(signal.SIGUSR1, lambda *a: 1 / 0)\n"
                "os.kill(os.getpid(), signal.SIGUSR1)";
        QTest::newRow("by a child")             << "import os\np = os.fork()\nif p == 0: os._exit(3)\nos.waitpid(p, 0)";
        QTest::newRow("by a thread") << "import threading\n"
                "t = threading.Thread(target=lambda: 1 / 0)\nt.start()\nt.join()";
        QTest::newRow("by its limit of calls")  << "import sys\nsys.setrecursionlimit(30)";
        QTest::newRow("by collecting nothing")  << "import gc\ngc.disable()\nx = []\nx.append(x)";
        // clang-format on
    }

    void scriptThatSpoilsTheInterpreter()
    {
        QFETCH(QString, code);

        const QString script = makeFile(m_folder->path() + "/a.py", "unknown\n");

        const QStringList lines = run(
            {"--code", code, "--file", script, "--reset", "--value", "value = 5", "--code", "1+1"});

        QCOMPARE(lines.size(), 5);
        QVERIFY2(lines[1].startsWith("false"), qPrintable(lines[1]));
        QCOMPARE(lines.mid(2), (QStringList{"true", "true 5", "true 2"}));
    }

    void hostEndsInPeaceBehindAScript_data() { scriptThatSpoilsTheInterpreter_data(); }

    void hostEndsInPeaceBehindAScript()
    {
        QFETCH(QString, code);

        const QStringList lines = run({"--code", code}); // run() checks the exit code

        QCOMPARE(lines.size(), 1);
    }

    void resetForgetsWhatScriptsDid()
    {
        QStringList arguments{"--value", "value = kept = 5"};
        QStringList lines{"true 5"};
        for (int i = 0; i < 5; ++i) {
            arguments << "--reset"
                      << "--reset"
                      << "--code"
                      << "x = kept"
                      << "--value"
                      << "value = kept = 5"
                      << "--code"
                      << "1+1";
            lines << "true"
                  << "true"
                  << "false name 'kept' is not defined"
                  << "true 5"
                  << "true 2";
        }

        QCOMPARE(run(arguments), lines);
    }

    void resetBeforeAnyUseDoesNothing()
    {
        QCOMPARE(run({"--reset", "--reset", "--code", "1+1"}),
                 (QStringList{"true", "true", "true 2"}));
    }

    // Start-up

    void homeWithoutALibraryIsToldByTheStartUpProgram()
    {
        SKIP_ON_WINDOWS("the start-up program is a script of the shell");
        const QString empty = m_folder->path();

        QCOMPARE(run({"PYTHON_DIR=" + empty, "--code", "x = 1", "--check", "x = 1", "--file",
                      makeFile(empty + "/a.py")}),
                 (QStringList{"false " + noLibrary(empty), "false " + noLibrary(empty),
                              "false " + text(".err.scriptRun", "0", noLibrary(empty))}));
    }

    void homeWithoutALibraryDoesNotStart()
    {
        const QString empty = m_folder->path();

        QCOMPARE(run({"PYTHON_DIR=" + empty, "HOME_DIR=" + empty, "--code", "x = 1", "--check",
                      "x = 1", "--file", makeFile(empty + "/a.py")}),
                 (QStringList{"false Python not initialized", "false",
                              "false " + text(".err.scriptRun", "0", "Python not initialized")}));
    }

    void homeWithABrokenLibraryDoesNotStart_data()
    {
        QTest::addColumn<QByteArray>("site");

        QTest::newRow("syntax") << QByteArray("x = \n");
        QTest::newRow("an exception") << QByteArray("raise ValueError\n");
        QTest::newRow("an exit") << QByteArray("raise SystemExit(3)\n");
        QTest::newRow("a missing module") << QByteArray("import os\n");
    }

    void homeWithABrokenLibraryDoesNotStart()
    {
        QFETCH(QByteArray, site);
        makeFile(m_folder->path() + "/lib/python2.7/site.py", site);

        QCOMPARE(run({"PYTHON_DIR=" + m_folder->path(), "HOME_DIR=" + m_folder->path(), "--code",
                      "x = 1", "--code", "x = 1"}),
                 (QStringList{"false Python not initialized", "false Python not initialized"}));
    }

    void startsBehindAHomeThatTheStartUpProgramRefused()
    {
        SKIP_ON_WINDOWS("the start-up program is a script of the shell");
        const QString empty = m_folder->path();

        QCOMPARE(run({"PYTHON_DIR=" + empty, "--code", "x = 1",
                      QString("PYTHON_DIR=") + KELMUTILS_PYTHON_HOME, "--value", "value = 5"}),
                 (QStringList{"false " + noLibrary(empty), "true 5"}));
    }

    void noHomeIsTold()
    {
        const QString told = "false " + text(".err.pythonInit");
        const QString missing = m_folder->path() + "/missing";

        QCOMPARE(run({"PYTHON_DIR=", "HOME_DIR=" + m_folder->path(), "--code", "x = 1",
                      "PYTHON_DIR=" + missing, "--code", "x = 1"}),
                 (QStringList{told, told}));
    }

    void noHostIsTold()
    {
        const QString told = "false " + text(".err.pythonapp");

        QCOMPARE(run({"--no-host", "--code", "x = 1", "--code", "1+1", "--check", "x"}),
                 (QStringList{told, told, told}));
    }

    void startUpProgram_data()
    {
        QTest::addColumn<QByteArray>("program");
        QTest::addColumn<QString>("line");

        // clang-format off
        QTest::newRow("that succeeds")       << QByteArray("#!/bin/sh\necho text\nexit 0\n") << "true 5";
        QTest::newRow("that fails") << QByteArray("#!/bin/sh\necho out\necho err >&2\nexit 3\n")
            << "false " + text(".err.pythonInit", "out\nerr\n");
        QTest::newRow("that fails silently") << QByteArray("#!/bin/sh\nexit 1\n") << "false " + text(".err.pythonInit");
        QTest::newRow("that is killed") << QByteArray("#!/bin/sh\nkill -9 $$\n") << "false " + text(".err.pythonInit");
        QTest::newRow("of no kind")          << QByteArray("\x7f" "ELF nonsense")            << "true 5";
        QTest::newRow("without its shell")   << QByteArray("#!/nowhere/sh\n")                << "true 5";
        QTest::newRow("that leaves a child")
            << QByteArray("#!/bin/sh\nexec >/dev/null 2>&1\nsleep 0.2 &\nexit 0\n") << "true 5";
        // clang-format on
    }

    void startUpProgram()
    {
        QFETCH(QByteArray, program);
        QFETCH(QString, line);
        SKIP_ON_WINDOWS("the start-up program is a script of the shell");
        makeStartUpProgram(program);

        QCOMPARE(run({"HOME_DIR=" + m_folder->path(), "--value", "value = 5"}), QStringList{line});
    }

    void startUpProgramThatIsMissingIsNoFault()
    {
        QCOMPARE(run({"HOME_DIR=" + m_folder->path(), "--value", "value = 5"}),
                 QStringList{"true 5"});
    }

    void startUpProgramThatCannotBeRunIsNoFault()
    {
        SKIP_ON_WINDOWS("the start-up program is a script of the shell");
        makeFile(m_folder->path() + "/solver/pyInit", "#!/bin/sh\nexit 1\n");

        QCOMPARE(run({"HOME_DIR=" + m_folder->path(), "--value", "value = 5"}),
                 QStringList{"true 5"});
    }

    void startUpProgramThatHangsIsCancelled()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        makeStartUpProgram("#!/bin/sh\necho $$ > \"${0%/*}/pid\"\nwhile :; do sleep 600; done\n");

        QCOMPARE(run({"HOME_DIR=" + m_folder->path(), "--cancel", "--value", "value = 5"}),
                 QStringList{"true 5"});

        // It may have been killed before it wrote its number.
        QFile file(m_folder->path() + "/solver/pid");
        if (file.open(QIODevice::ReadOnly) && file.size() > 0)
            QVERIFY(!QFileInfo::exists("/proc/" + file.readAll().trimmed()));
    }

    void resourcesFolder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("line");

        // The path is inserted into a line of Python without escaping, on purpose.
        const QString added = "true True";
        const QString lost = "true False";
        QTest::newRow("plain") << "res" << added;
        QTest::newRow("of any text") << QString::fromUtf8("rés €") << added;
        QTest::newRow("with double quotes") << "a\"b" << added;
        QTest::newRow("with single quotes") << "a'b" << lost;
        QTest::newRow("with code in quotes") << "'+str(exit(3))+'" << lost;
        QTest::newRow("with a backslash") << "a\\tb" << lost;
        QTest::newRow("with a backslash at its end") << "a\\" << added;
        QTest::newRow("with a line end") << "a\nb" << lost;
        QTest::newRow("missing") << "" << added;
    }

    void resourcesFolder()
    {
        QFETCH(QString, name);
        QFETCH(QString, line);
        const QString folder = m_folder->path() + '/' + name;

        QCOMPARE(run({"RES_DIR=" + folder, "--value",
                      "import sys\nvalue = str(" + literal(folder + "/site-packages") +
                          " in sys.path)"}),
                 QStringList{line});
    }

    // Modules

    void modulesThatFailAreToldBehindAFileThatFails()
    {
        const QString script = makeFile(m_folder->path() + "/a.py", "raise ValueError\n");
        const QString error = "ERROR: Failed to initialize scripting module for ";

        QCOMPARE(run({"--module", "One", "--module", "Two", "--file", script, "--file", script}),
                 (QStringList{failed(error + "One\\n" + error + "Two"), failed()}));
    }

    void modulesThatFailKeepNothingFromRunning()
    {
        const QString script = makeFile(m_folder->path() + "/a.py", "value = 5\n");

        QCOMPARE(
            run({"--module", "One", "--file", script, "--value", "pass\n", "--code", "1+1",
                 "--check", "x", "--module", "Two", "--code", "1+1", "--reset", "--code", "1+1"}),
            (QStringList{finished(), "true 5", "true 2", "true", "true 2", "true", "true 2"}));
    }

    void modulesThatFailLeaveTheErrorOfACode()
    {
        QCOMPARE(run({"--module", "One", "--code", "x = 1 / 0", "--check", "1+"}).value(0),
                 QString("false integer division or modulo by zero"));
    }

private:
    static QByteArray deepBlocks(int count)
    {
        QByteArray source;
        for (int i = 0; i < count; ++i)
            source += QByteArray(i, ' ') + "for x in y:\n";
        return source + QByteArray(count, ' ') + "pass\n";
    }

    static QString noLibrary(const QString &folder)
    {
        return text(".err.pythonInit",
                    "There is no standard library of Python 2.7 in \"" + folder + "\".");
    }

    /// \p text as Python writes it.
    static QString literal(const QString &text)
    {
        QString digits;
        for (const char byte : text.toUtf8())
            digits += QString("\\x%1").arg(static_cast<uchar>(byte), 2, 16, QChar('0'));
        return '\'' + digits + '\'';
    }

    void makeStartUpProgram(const QByteArray &program)
    {
        const QString path = makeFile(m_folder->path() + "/solver/pyInit", program);
        QVERIFY(QFile::setPermissions(path, QFile::Permissions(0x7555)));
    }

    /// The output of script_host with \p arguments, as lines. The last one tells how it ended,
    /// unless that was normal. Its standard error is then in m_errors.
    QStringList run(const QStringList &arguments)
    {
        const QStringList usual{QString("PYTHON_DIR=") + KELMUTILS_PYTHON_HOME,
                                "HOME_DIR=" HOME_OF_HOSTS, "RES_DIR=" + examples + "/res"};
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // The address sanitizer ends a program that asks for more memory than there can be.
        environment.insert("ASAN_OPTIONS", "allocator_may_return_null=1");
        process.setProcessEnvironment(environment);
        process.start(SCRIPT_HOST, usual + arguments);
        process.waitForFinished(-1);
        m_errors = QString::fromUtf8(process.readAllStandardError());
        QStringList lines =
            QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            lines.append(QString("ended with %1: %2").arg(process.exitCode()).arg(m_errors));
        return lines;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_errors;
};

QTEST_GUILESS_MAIN(tst_Script_faults)
#include "tst_Script_faults.moc"
