#include "tests/examples/Program.h"

/// "kelm python" whose input is a pipe. On a terminal: tst_Kelm_python.
class tst_Kelm_input : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsItsInputAsAScript_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("status");

        // clang-format off
        QTest::newRow("nothing") << "" << "" << 0;
        QTest::newRow("statements") << "x = 3\nprint x\nx\n" << "3\n" << 0;
        QTest::newRow("a block without an empty line") << "if 1:\n  print 1\nprint 2\n" << "1\n2\n" << 0;
        QTest::newRow("a failure") << "print 1\n1 / 0\nprint 2\n" << "1\n" << 1;
        QTest::newRow("a status") << "import sys\nsys.exit(4)\n" << "" << 4;
        QTest::newRow("arguments") << "import sys; print sys.argv\n" << "['']\n" << 0;
        QTest::newRow("the module") << "from KelmUtils import Utils\nprint Utils.File.base('a/b.c')\n" << "b\n" << 0;
        // clang-format on
    }

    void runsItsInputAsAScript()
    {
        QFETCH(QString, input);
        QFETCH(QString, output);
        QFETCH(int, status);
        const QTemporaryDir home;
        Program program(home.path());

        QVERIFY(program.runWithInput({"python", "--quiet"}, input.toUtf8()));

        QCOMPARE(program.output, output);
        QCOMPARE(program.status, status);
        QCOMPARE(program.error.contains("ZeroDivisionError"), status == 1);
    }

    void runsAScriptBeforeItsInput()
    {
        const QTemporaryDir home;
        makeFile(home.filePath("part.py"), "size = 5\n");
        const QString path =
            makeFile(home.filePath("a.py"), "import sys, part\nargs = sys.argv[1:]\n");
        Program program(home.path());

        QVERIFY(program.runWithInput({"python", "--quiet", path, "x", "--y"},
                                     "print part.size, args\n"));

        QCOMPARE(program.output, QString("5 ['x', '--y']\n"));
        QCOMPARE(program.status, 0);
    }

    void reportsAScriptThatFailsOrIsMissing()
    {
        const QTemporaryDir home;
        const QString path = makeFile(home.filePath("a.py"), "1 / 0\n");
        Program program(home.path());

        QVERIFY(program.runWithInput({"python", "--quiet", path}, "print 2\n"));
        QCOMPARE(program.output, QString("2\n"));
        QCOMPARE(program.status, 1);
        QVERIFY(program.error.contains("kelm python: The script \"" + path + "\" has failed"));

        QVERIFY(program.run({"python", home.filePath("none.py")}));
        QCOMPARE(program.status, 1);
    }
};

QTEST_GUILESS_MAIN(tst_Kelm_input)
#include "tst_Kelm_input.moc"
