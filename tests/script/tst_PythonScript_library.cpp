#include "utils/script/PythonScript_p.h"

#include "tests/script/PythonChild.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Files.h" // contentsOf
#include "tests/support/Print.h"

#include <QElapsedTimer>
#include <QtTest>

#include <Python.h>

#include <vector>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using Data::String;
using Data::Variant;

static const SettingsHome settingsHome;
static const QString goodHome = KELMUTILS_PYTHON_HOME;
static const QString library = "/lib/python2.7/";
static const QString notStarted = "bad: Python not initialized";

/// A damaged standard library: the start fails, the failure is reported, and the host continues.
class tst_PythonScript_library : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qunsetenv("PYTHONPATH");
        qputenv("PYTHONDONTWRITEBYTECODE", "1");
        QVERIFY(m_folder.isValid());
        const QString root = QFileInfo(m_folder.path()).canonicalFilePath() + '/';
        m_home = root + "home";
        linkFiles(goodHome + library, m_home + library);
        // The modules that a start loads.
        const QStringList output =
            runPythonChild({"PYTHON_DIR=" + m_home,
                            "value:' '.join(m.__file__ for m in sys.modules.values() "
                            "if hasattr(m, '__file__'))",
                            "value:sys.prefix"});
        QCOMPARE(output.mid(1), (QStringList{m_home, "exit 3"}));
        QStringList paths = output[0].split(' ');
        paths.sort();
        for (const QString &path : std::as_const(paths)) {
            m_files.append(path);
            if (path.endsWith(".pyc"))
                m_files.append(path.chopped(1));
        }
        QVERIFY2(m_files.size() > 40, qPrintable(m_files.join('\n')));
        for (const QString &path : std::as_const(m_files)) // which the tests change
            QVERIFY2(QFileInfo(path).dir().canonicalPath().startsWith(root), qPrintable(path));
        QVERIFY(m_files.contains(m_home + library + "encodings/aliases.pyc"));
        QVERIFY(m_files.contains(m_home + library + "dist-packages/sip.so"));
    }

    void endsNoHostWhoseLibraryIsDamagedWhenItStarts_data() { addFiles({".py", ".pyc", ".so"}); }

    void endsNoHostWhoseLibraryIsDamagedWhenItStarts()
    {
        QFETCH(QString, path);
        const auto restore = qScopeGuard([&] { putGoodFile(path); });
        const QString putGood = "put:" + path + "=" + goodPath(path);
        QStringList damaged = damage(path);

        while (!damaged.isEmpty()) {
            QStringList steps{"PYTHON_DIR=" + m_home};
            for (const QString &file : std::as_const(damaged))
                steps << "put:" + path + "=" + file << "code:x = 1"
                      << "reset";
            if (path.endsWith(".so")) // which may crash a later start
                steps = steps.mid(0, 4);
            steps << putGood << "code:x = 1";

            const QStringList output = runPythonChild(steps);

            const int refused = output.indexOf("good");
            QCOMPARE(output.mid(0, refused), repeated(notStarted, refused));
            QCOMPARE(output.mid(output.size() - 2), (QStringList{"good", "exit 3"}));
            m_refused += refused;
            damaged = damaged.mid(refused + 1); // after the first success there are no trial starts
        }
    }

    void refusesMostDamagedFiles() // otherwise the previous test proves nothing
    {
        QVERIFY2(m_refused > m_files.size() * 2, qPrintable(QString::number(m_refused)));
    }

    void endsNoHostWhoseLibraryIsDamagedWhenItStartsAgain_data() { addFiles({".pyc"}); }

    void endsNoHostWhoseLibraryIsDamagedWhenItStartsAgain()
    {
        QFETCH(QString, path);
        const auto restore = qScopeGuard([&] { putGoodFile(path); });
        QStringList steps{"PYTHON_DIR=" + m_home, "code:x = 1"};
        const QStringList damaged = damage(path);
        for (const QString &file : damaged) {
            if (!file.endsWith("garbage")) // which may crash Python
                steps << "put:" + path + "=" + file << "reset"
                      << "code:x = 1";
        }
        steps << "put:" + path + "=" + goodPath(path) << "reset"
              << "code:x = 1";

        const QStringList output = runPythonChild(steps);

        QCOMPARE(output.size(), damaged.size() + 2);
        QCOMPARE(output.first(), QString("good"));
        QCOMPARE(output.mid(output.size() - 2), (QStringList{"good", "exit 3"}));
        QCOMPARE(output.count(notStarted) + output.count("good"), output.size() - 1);
    }

    void doesNotStartWithoutItsCodecs()
    {
        const QString aliases = m_home + library + "encodings/aliases.pyc";
        const QString cut = damage(aliases)[1];
        const auto restore = qScopeGuard([&] { putGoodFile(aliases); });

        QCOMPARE(
            runPythonChild({"PYTHON_DIR=" + m_home, "put:" + aliases + "=" + cut, "code:x = 1",
                            "check:x = 1", "value:1", "put:" + aliases + "=" + goodPath(aliases),
                            "value:1", "reset", "put:" + aliases + "=" + cut, "value:1",
                            "put:" + aliases + "=" + goodPath(aliases), "value:1"}),
            (QStringList{notStarted, "bad: ", notStarted, "1", notStarted, "1", "exit 3"}));
    }

    void startsWithCodecsThatReplaceTheStreams()
    {
        const QString path = m_home + library + "encodings/__init__.py";
        const auto restore = qScopeGuard([&] {
            putGoodFile(path);
            putGoodFile(path + 'c');
        });
        QVERIFY(QFile::remove(path) && QFile::remove(path + 'c'));
        makeFile(path, contentsOf(goodPath(path)) + "\nimport sys\n"
                                                    "class Failing(file):\n"
                                                    "    def isatty(self): raise IOError\n"
                                                    "sys.stdin = object()\n"
                                                    "del sys.stdout\n"
                                                    "sys.stderr = Failing('/dev/null', 'w')\n");

        QCOMPARE(runPythonChild({"PYTHON_DIR=" + m_home, "code:import sys\nx = sys.stderr.encoding",
                                 "value:str(x)", "value:hasattr(sys, 'stdout')"}),
                 (QStringList{"good", "None", "false", "exit 3"}));
    }

    void doesNotStartWithCodecsThatFail_data()
    {
        QTest::addColumn<QByteArray>("program");

        for (const char *error : {"ImportError", "ImportError('No module named other')",
                                  "ImportError(5)", "ValueError"})
            QTest::newRow(error) << "raise " + QByteArray(error) + '\n';
    }

    void doesNotStartWithCodecsThatFail()
    {
        QFETCH(QByteArray, program);
        const QString path = m_home + library + "encodings/__init__.py";
        const auto restore = qScopeGuard([&] {
            putGoodFile(path);
            putGoodFile(path + 'c');
        });
        QVERIFY(QFile::remove(path) && QFile::remove(path + 'c'));
        makeFile(path, program);

        QCOMPARE(runPythonChild({"PYTHON_DIR=" + m_home, "code:x = 1",
                                 "put:" + path + "=" + goodPath(path), "value:6*7"}),
                 (QStringList{notStarted, "42", "exit 3"}));
    }

    void startsInALibraryOfCompiledModules()
    {
        const QString path = m_home + library + "os.py";
        const auto restore = qScopeGuard([&] {
            putGoodFile(path);
            putGoodFile(path + 'c');
        });
        const QString home = "PYTHON_DIR=" + m_home;
        QVERIFY(QFile::remove(path));

        QCOMPARE(runPythonChild({home, "value:__import__('os').__file__"}),
                 (QStringList{path + 'c', "exit 3"}));

        // Python needs one of the two, even when there is one for another mode.
        QVERIFY(QFile::rename(path + 'c', path + 'o'));
        const auto remove = qScopeGuard([&] { QFile::remove(path + 'o'); });
        QCOMPARE(runPythonChild({home, "code:x = 1", "PYTHON_DIR=" + goodHome, "value:6*7"}),
                 (QStringList{notStarted, "42", "exit 3"}));
    }

    void startsInAnotherHomeBehindADamagedOne_data()
    {
        QTest::addColumn<QByteArray>("program");

        // clang-format off
        QTest::newRow("an exit")           << QByteArray("import os\nos._exit(3)\n");
        QTest::newRow("a good exit")       << QByteArray("import os\nos._exit(0)\n");
        QTest::newRow("an exit of Python") << QByteArray("import sys\nsys.exit(0)\n");
        QTest::newRow("an exit at the end")
            << QByteArray("import atexit, sys\natexit.register(sys.exit, 3)\nsys.exit(0)\n");
        QTest::newRow("an abort")          << QByteArray("import os\nos.abort()\n");
        QTest::newRow("a kill")            << QByteArray("import os\nos.kill(os.getpid(), 9)\n");
        QTest::newRow("a crash")           << QByteArray("import os\nos.kill(os.getpid(), 11)\n");
        QTest::newRow("senseless code")
            << QByteArray("f = lambda: 0\nc = f.func_code\n"
                "f.func_code = type(c)(0, 0, 0, 0, '\\x65\\xff\\xff' * 9, (), (), (), '', '', 0, '')\n"
                "f()\n");
        QTest::newRow("a loop")            << QByteArray("while True: pass\n");
        QTest::newRow("a long sleep")      << QByteArray("import time\ntime.sleep(1e6)\n");
        QTest::newRow("a thread that ends never")
            << QByteArray("import threading, time\n"
                "threading.Thread(target=time.sleep, args=(1e6,)).start()\nraise SystemExit\n");
        // clang-format on
    }

    void startsInAnotherHomeBehindADamagedOne()
    {
        QFETCH(QByteArray, program);
        const QString path = makeFile(m_home + library + "sitecustomize.py", program);
        const auto restore = qScopeGuard([&] { QFile::remove(path); });

        QCOMPARE(runPythonChild({"limit:300", "PYTHON_DIR=" + m_home, "code:x = 1", "limit:60000",
                                 "PYTHON_DIR=" + goodHome, "code:x = 1", "value:sys.prefix"}),
                 (QStringList{notStarted, "good", goodHome, "exit 3"}));
    }

    void startsInAnArchiveUnlessThatIsDamaged()
    {
        QTemporaryDir folder;
        const QString archive = folder.filePath("python27.zip");
        PythonFixture d;
        QVERIFY2(d.engine.runCode("import zipfile, os\n"
                                  "library = os.path.dirname(os.__file__)\n"
                                  "archive = zipfile.ZipFile('" +
                                  archive +
                                  "', 'w', zipfile.ZIP_DEFLATED)\n"
                                  "def add(folder, target):\n"
                                  "    for name in os.listdir(os.path.join(library, folder)):\n"
                                  "        path = os.path.join(library, folder, name)\n"
                                  "        if name.endswith('.py'):\n"
                                  "            archive.write(path, os.path.join(target, name))\n"
                                  "add('', '')\n"
                                  "add('encodings', 'encodings')\n"
                                  "import sys\n"
                                  "add('plat-' + getattr(sys, '_multiarch', ''), '')\n"
                                  "archive.close()\n"),
                 qPrintable(d.engine.errorMessage()));
        const QByteArray whole = contentsOf(archive);
        QByteArray garbled = whole; // except its directory
        for (int i = 100; i < garbled.size() / 2; i += 3)
            garbled[i] = static_cast<char>(garbled[i] ^ i);
        const QString good = makeFile(folder.filePath("good"), whole);

        QStringList steps{"HOME_DIR=" + folder.path()};
        const QList<QByteArray> damaged{whole.left(8), whole.left(whole.size() / 2),
                                        whole.mid(whole.size() / 2), garbled};
        for (const QByteArray &bytes : damaged) {
            const QString name = folder.filePath(QString::number(steps.size()));
            steps << "put:" + archive + "=" + makeFile(name, bytes) << "code:x = 1";
        }
        steps << "put:" + archive + "=" + good << "value:__import__('os').__file__";

        QCOMPARE(runPythonChild(steps), (QStringList{notStarted, notStarted, notStarted, notStarted,
                                                     archive + "/os.py", "exit 3"}));
    }

    void doesNotStartWithAnEnvironmentThatPythonEndsAt()
    {
        qputenv("PYTHONHASHSEED", "many");
        const QStringList output =
            runPythonChild({"PYTHON_DIR=" + goodHome, "code:x = 1", "check:x"});
        qunsetenv("PYTHONHASHSEED");

        QCOMPARE(output, (QStringList{notStarted, "bad: ", "exit 3"}));
    }

    void printsOnceWhatTheLibraryPrints()
    {
        const QString path = makeFile(m_home + library + "sitecustomize.py", "print 'once'\n");
        const auto restore = qScopeGuard([&] { QFile::remove(path); });

        const QStringList output = runPythonChild({"PYTHON_DIR=" + m_home, "value:5"});

        QCOMPARE(output.filter("once"), QStringList("once"));
        QVERIFY(output.contains("5"));
    }

    void takesTheCharacterSetOfTheLocale_data()
    {
        QTest::addColumn<QByteArray>("locale");
        QTest::addColumn<QByteArray>("streams");
        QTest::addColumn<bool>("isTerminal");
        QTest::addColumn<QString>("values"); // of file names, input, output and errors

        // clang-format off
        QTest::newRow("UTF-8") << QByteArray("C.UTF-8") << QByteArray() << false << "UTF-8 None None None";
        QTest::newRow("ASCII") << QByteArray("C") << QByteArray() << false << "ANSI_X3.4-1968 None None None";
        QTest::newRow("UTF-8 on a terminal") << QByteArray("C.UTF-8") << QByteArray() << true
            << "UTF-8 UTF-8 UTF-8 UTF-8";
        QTest::newRow("ASCII on a terminal") << QByteArray("C") << QByteArray() << true
            << "ANSI_X3.4-1968 ANSI_X3.4-1968 ANSI_X3.4-1968 ANSI_X3.4-1968";
        QTest::newRow("another for streams") << QByteArray("C.UTF-8") << QByteArray("latin-1")
            << false << "UTF-8 latin-1 latin-1 latin-1";
        QTest::newRow("another on a terminal") << QByteArray("C.UTF-8") << QByteArray("latin-1")
            << true << "UTF-8 latin-1 latin-1 latin-1";
        // clang-format on
    }

    void takesTheCharacterSetOfTheLocale()
    {
        QFETCH(QByteArray, locale);
        QFETCH(QByteArray, streams);
        QFETCH(bool, isTerminal);
        QFETCH(QString, values);
        const QByteArray original = qgetenv("LC_ALL");
        const auto restore = qScopeGuard([&] {
            qputenv("LC_ALL", original);
            qunsetenv("PYTHONIOENCODING");
        });
        qputenv("LC_ALL", locale);
        if (!streams.isEmpty())
            qputenv("PYTHONIOENCODING", streams);
        const QStringList steps{"PYTHON_DIR=" + goodHome,
                                "value:' '.join(str(x) for x in (sys.getfilesystemencoding(), "
                                "sys.stdin.encoding, sys.stdout.encoding, sys.stderr.encoding))",
                                "value:u'\\xe4'.encode('latin-1') == '\\xe4'", "reset",
                                "value:sys.getfilesystemencoding()"};
        const QStringList lines{values, "true", values.section(' ', 0, 0), "exit 3"};

        QCOMPARE(isTerminal ? runOnATerminal(steps) : runPythonChild(steps), lines);
    }

    void doesNotTryAStartOnceOneHasSucceeded()
    {
        const QString log = m_folder.filePath("log");
        const QString path = makeFile(m_home + library + "sitecustomize.py",
                                      "open('" + log.toUtf8() + "', 'a').write('x')\n");
        const auto restore = qScopeGuard([&] { QFile::remove(path); });

        const QStringList output = runPythonChild(
            {"PYTHON_DIR=" + m_home, "code:x = 1", "reset", "code:x = 1", "reset", "code:x = 1"});

        QCOMPARE(output, (QStringList{"good", "good", "good", "exit 3"}));
        QCOMPARE(contentsOf(log), QByteArray("xxxx"));
    }

private:
    /// Creates the same folders as in \p source, with links to the files in them.
    static void linkFiles(const QString &source, const QString &target)
    {
        QVERIFY(QDir().mkpath(target));
        const QFileInfoList entries =
            QDir(source).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot);
        for (const QFileInfo &entry : entries) {
            if (entry.isDir())
                linkFiles(entry.filePath() + '/', target + entry.fileName() + '/');
            else
                QVERIFY(QFile::link(entry.canonicalFilePath(), target + entry.fileName()));
        }
    }

    QString goodPath(const QString &path) const { return goodHome + path.mid(m_home.size()); }

    void putGoodFile(const QString &path) const
    {
        QFile::remove(path);
        QVERIFY(QFile::link(goodPath(path), path));
    }

    static QStringList repeated(const QString &line, int count)
    {
        return QVector<QString>(count, line).toList();
    }

    void addFiles(const QStringList &suffixes)
    {
        QTest::addColumn<QString>("path");

        for (const QString &path : std::as_const(m_files)) {
            if (suffixes.contains(path.mid(path.lastIndexOf('.'))))
                QTest::newRow(qPrintable(path.mid(m_home.size()))) << path;
        }
    }

    /// Damaged versions of the file \p path. One of them is a missing file.
    QStringList damage(const QString &path) const
    {
        const QByteArray whole = contentsOf(goodPath(path));
        const int headerSize =
            path.endsWith(".pyc") ? 8 : 0; // by which Python finds that it is up to date
        QByteArray garbage = whole.left(headerSize);
        for (unsigned number = 1; garbage.size() < whole.size();
             number = number * 48271 % 0x7fffffff)
            garbage += static_cast<char>(number >> 8);
        const QByteArray damaged[] = {"", whole.left(8), whole.left(whole.size() / 2), garbage};
        QStringList paths;
        for (int i = 0; i < m_damages.size(); ++i) {
            paths.append(m_folder.filePath(m_damages[i]));
            if (i < 4)
                makeFile(paths.last(), damaged[i]);
        }
        return paths;
    }

    /// The output of python_child on a terminal.
    static QStringList runOnATerminal(const QStringList &steps)
    {
        QList<QByteArray> words{PYTHON_CHILD};
        for (const QString &step : steps)
            words.append(step.toUtf8());
        std::vector<char *> arguments;
        for (QByteArray &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            execv(PYTHON_CHILD, arguments.data());
            _exit(1);
        }
        QByteArray output;
        char bytes[4096];
        for (ssize_t size; (size = read(terminal, bytes, sizeof(bytes))) > 0;)
            output.append(bytes, static_cast<int>(size));
        ::close(terminal);
        int status = 0;
        waitpid(child, &status, 0);
        output += "exit " + QByteArray::number(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
        return QString::fromUtf8(output.replace("\r\n", "\n")).split('\n');
    }

    const QStringList m_damages{"cut to 0", "cut to 8", "cut to half", "garbage", "missing"};
    QTemporaryDir m_folder;
    QString m_home;      // a copy of the good one
    QStringList m_files; // of its library, that a start loads
    int m_refused = 0;
};

QTEST_GUILESS_MAIN(tst_PythonScript_library)
#include "tst_PythonScript_library.moc"
