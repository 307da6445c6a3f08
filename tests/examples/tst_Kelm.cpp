#include "tests/examples/Program.h"

#include "tests/support/Windows.h"

/// What is the same for all commands.
class tst_Kelm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("nothing") << QStringList() << "kelm: There is no command. See kelm --help\n";
        QTest::newRow("unknown command") << QStringList("tabel")
            << "kelm: Unknown command \"tabel\". See kelm --help\n";
        QTest::newRow("option before the command") << QStringList{"--quiet", "table"}
            << "kelm: Unknown command \"--quiet\". See kelm --help\n";
        QTest::newRow("too few arguments") << QStringList("table")
            << "kelm table: The arguments must be FILE. See kelm table --help\n";
        QTest::newRow("too many arguments") << QStringList{"table", "a", "b"}
            << "kelm table: The arguments must be FILE. See kelm table --help\n";
        QTest::newRow("unknown option") << QStringList{"table", "--colour", "a"}
            << "kelm table: Unknown option 'colour'. See kelm table --help\n";
        QTest::newRow("option without its value") << QStringList{"table", "a", "--column"}
            << "kelm table: Missing value after '--column'. See kelm table --help\n";
        // clang-format on
    }

    void tellsWrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        Program kelm(m_home.path());

        QVERIFY(kelm.run(arguments));

        QCOMPARE(kelm.error, error);
        QCOMPARE(kelm.output, QString());
        QCOMPARE(kelm.status, 2);
    }

    void showsHelpOfEveryCommandThatItNames()
    {
        Program kelm(m_home.path());
        QVERIFY(kelm.run({"--help"}));
        QCOMPARE(kelm.status, 0);
        QCOMPARE(kelm.error, QString());
        const QString list = kelm.output.section("Commands:\n", 1).section("\n\n", 0, 0);
        const QStringList lines = list.split('\n');
        QVERIFY(lines.size() >= 1);

        for (const QString &line : lines) {
            const QString command = line.simplified().section(' ', 0, 0);
            for (const char *const option : {"--help", "-h"}) {
                QVERIFY(kelm.run({command, option}));
                QVERIFY2(kelm.output.startsWith("Usage: kelm " + command + " [options]"),
                         qPrintable(command));
                QVERIFY2(kelm.output.contains("--res-dir"), qPrintable(command));
                QCOMPARE(kelm.error, QString());
                QCOMPARE(kelm.status, 0);
            }
            QVERIFY(kelm.run({command, "--version"}));
            QCOMPARE(kelm.output, QString("kelm " KELM_VERSION "\n"));
            QCOMPARE(kelm.status, 0);
            QVERIFY(kelm.run({command, "--no-such-option"}));
            QCOMPARE(kelm.status, 2);
        }
    }

    void tellsItsVersion()
    {
        Program kelm(m_home.path());

        QVERIFY(kelm.run({"--version"}));

        QCOMPARE(kelm.output, QString("kelm " KELM_VERSION "\n"));
        QCOMPARE(kelm.error, QString());
        QCOMPARE(kelm.status, 0);
    }

    void endsQuietlyWhenNobodyReadsOn()
    {
        SKIP_ON_WINDOWS("Windows has no such shell: see tst_Windows");
        // More than a pipe holds, so that it must find out.
        const QString path =
            makeFile(m_home.filePath("long.csv"), QByteArray("1,2\n").repeated(90000));
        Program kelm(m_home.path());

        QVERIFY(kelm.runShell("{ \"$KELM\" table '" + path + "'; echo $? >&2; } | true"));

        QCOMPARE(kelm.error, QString("141\n")); // SIGPIPE, and not a word
    }

    void endsQuietlyWhenNobodyReadsOnAndTheSignalIsOff()
    {
        SKIP_ON_WINDOWS("Windows has no such shell: see tst_Windows");
        const QString path =
            makeFile(m_home.filePath("long.csv"), QByteArray("1,2\n").repeated(90000));
        Program kelm(m_home.path());

        QVERIFY(
            kelm.runShell("trap '' PIPE; { \"$KELM\" table '" + path + "'; echo $? >&2; } | true"));

        QCOMPARE(kelm.error, QString("141\n"));
    }

    void tellsWhenItsOutputCannotBeWritten()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        Program kelm(m_home.path());

        QVERIFY(kelm.runShell("\"$KELM\" table '" + sample("bolts.csv") + "' >/dev/full"));

        QCOMPARE(kelm.error, QString("kelm table: Cannot write the output: "
                                     "No space left on device\n"));
        QCOMPARE(kelm.status, 1);
    }

    void tellsWhenItsOutputIsClosed()
    {
        SKIP_ON_WINDOWS("Windows has no such shell: see tst_Windows");
        Program kelm(m_home.path());

        QVERIFY(kelm.runShell("\"$KELM\" table '" + sample("bolts.csv") + "' >&-"));

        QCOMPARE(kelm.error, QString("kelm table: Cannot write the output: Bad file descriptor\n"));
        QCOMPARE(kelm.status, 1);
    }

    void tellsWhenItsHelpCannotBeWritten()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        Program kelm(m_home.path());

        QVERIFY(kelm.runShell("\"$KELM\" --help >/dev/full"));

        QCOMPARE(kelm.error, QString("kelm: Cannot write the output: No space left on device\n"));
        QCOMPARE(kelm.status, 1);
    }

    void takesNamesAsUtf8InAnyLocale_data()
    {
        QTest::addColumn<QString>("locale");

        QTest::newRow("C") << "C";
        QTest::newRow("POSIX") << "POSIX";
        QTest::newRow("UTF-8") << "C.UTF-8";
    }

    void takesNamesAsUtf8InAnyLocale()
    {
        QFETCH(QString, locale);
        Program kelm(m_home.path());
        const QTemporaryDir folder;
        QVERIFY(!makeFile(folder.path() + "/Stäbe.csv", "a,b\n1,2\n").isEmpty());
        kelm.environment = QStringList("LC_ALL=" + locale);

        QVERIFY(kelm.run({"table", folder.path() + "/Stäbe.csv"}));

        QCOMPARE(kelm.error, QString());
        QCOMPARE(kelm.output, QString(" a   b\n 1   2\n"));
        QVERIFY(kelm.run({"table", folder.path() + "/Bäume.csv"}));
        QCOMPARE(kelm.error,
                 "kelm table: The file \"" + folder.path() + "/Bäume.csv\" does not exist.\n");
    }

private:
    const QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(tst_Kelm)
#include "tst_Kelm.moc"
