#include "tests/examples/Program.h"

#include "tests/support/Files.h" // contentsOf
#include "tests/support/Windows.h"

class tst_Kelm_xml : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWhatADocumentIs()
    {
        QVERIFY(m_kelm.run({"xml", sample("frame.xml")}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output,
                 QString("Type      Frame\nRoot      frame\nVersion   2.1\nElements  20\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsThatThereIsNoType()
    {
        const QString path = makeFile(m_folder.filePath("a.xml"), "<a><b/></a>");

        QVERIFY(m_kelm.run({"xml", path}));

        QCOMPARE(m_kelm.output, QString("Type      none\nRoot      a\nVersion   0\nElements  2\n"));
    }

    void checksTypeAndVersion_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("error");

        const QString path = sample("frame.xml");
        const QString start = "kelm xml: \"" + path + "\"";
        // clang-format off
        QTest::newRow("the type") << QStringList{"--type", "Frame"} << "";
        QTest::newRow("one of two") << QStringList{"--type", "Model;Frame"} << "";
        QTest::newRow("the root") << QStringList{"--type", "docElem:frame"} << "";
        QTest::newRow("another type") << QStringList{"--type", "Model"}
            << start + ": The file is of the type \"Frame\", not of the type \"Model\".\n";
        QTest::newRow("another type, in German") << QStringList{"--type", "Model", "--language", "de"}
            << start + QString::fromUtf8(": Die Datei ist vom Typ „Frame“, nicht vom Typ „Model“.\n");
        QTest::newRow("the version") << QStringList{"--at-least", "2.1"} << "";
        QTest::newRow("a lower version") << QStringList{"--at-least", "1.9.3"} << "";
        QTest::newRow("a higher version") << QStringList{"--at-least", "2.2"}
            << start + " has the version 2.1, which is below 2.2\n";
        // clang-format on
    }

    void checksTypeAndVersion()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList{"xml", sample("frame.xml")} + options));

        QCOMPARE(m_kelm.error, error);
        QCOMPARE(m_kelm.status, error.isEmpty() ? 0 : 1);
    }

    void writesTheFixedLayout()
    {
        const QString path = makeFile(m_folder.filePath("in.xml"), unordered);
        const QTemporaryDir folder;
        const QString target = folder.filePath("out.xml");
        makeFile(target + ".new", "of the user");

        QVERIFY(m_kelm.run({"xml", path, "--to", target}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(target), ordered);
        QCOMPARE(contentsOf(path), unordered);
        QCOMPARE(contentsOf(target + ".new"), QByteArray("of the user"));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files),
                 QStringList({"out.xml", "out.xml.new"}));
    }

    void writesInPlace()
    {
        const QString path = makeFile(m_folder.filePath("in.xml"), unordered);

        QVERIFY(m_kelm.run({"xml", path, "--rewrite"}));

        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(path), ordered);
    }

    void writesToAPipe()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        const QString path = makeFile(m_folder.filePath("in.xml"), unordered);
        const QTemporaryDir folder; // of its own, to see what is left there

        QVERIFY(m_kelm.runShell("export TMPDIR='" + folder.path() + "'; \"$KELM\" xml '" + path +
                                "' --to /dev/stdout | cat"));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString(ordered));
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void triesTheLayoutOfWhatGoesToADeviceInTheTemporaryFolder()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        const QString path = makeFile(m_folder.filePath("in.xml"), unordered);

        // Nobody can make a file there, not even root.
        QVERIFY(
            m_kelm.runShell("export TMPDIR=/proc; \"$KELM\" xml '" + path + "' --to /dev/null"));

        QVERIFY(m_kelm.error.startsWith("kelm xml: Cannot write \"/proc/kelm\": "));
        QCOMPARE(m_kelm.status, 1);
    }

    void leavesADocumentAloneThatTheLayoutWouldDamage()
    {
        const QByteArray mixed = "<e><f z=\"1\">a<g/></f></e>";
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("in.xml"), mixed);

        QVERIFY(m_kelm.run({"xml", path, "--rewrite"}));

        QVERIFY(m_kelm.error.startsWith("kelm xml: \"" + path +
                                        "\" cannot be written in this layout. "));
        QCOMPARE(m_kelm.error.count('\n'), 1);
        QCOMPARE(m_kelm.status, 1);
        QCOMPARE(contentsOf(path), mixed);
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList("in.xml"));
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString folder = m_folder.path();
        const QString frame = sample("frame.xml");
        const QString broken = makeFile(folder + "/broken.xml", "<a>\n<b>\n</a>\n");
        // clang-format off
        QTest::newRow("missing") << QStringList(folder + "/no.xml") << 1
            << "The file \"" + folder + "/no.xml\" does not exist.";
        QTest::newRow("folder") << QStringList(folder) << 1
            << "\"" + folder + "\" is a folder, not a file.";
        QTest::newRow("broken") << QStringList(broken) << 1
            << "\"" + broken + "\": tag mismatch; line: 3  column: 4";
        QTest::newRow("empty") << QStringList(makeFile(folder + "/empty.xml", "")) << 1
            << "\"" + folder + "/empty.xml\": unexpected end of file; line: 1  column: 1";
        QTest::newRow("no version") << QStringList{frame, "--at-least", "new"} << 2
            << "--at-least must begin with a number. See kelm xml --help";
        QTest::newRow("to and rewrite") << QStringList{frame, "--rewrite", "--to", "x"} << 2
            << "--to and --rewrite exclude each other. See kelm xml --help";
#ifdef _WIN32
        const int noFolder = 3; // ERROR_PATH_NOT_FOUND
#else
        const int noFolder = ENOENT;
#endif
        QTest::newRow("no such folder") << QStringList{frame, "--to", folder + "/no/x.xml"} << 1
            << "Cannot write \"" + folder + "/no/x.xml\": " + qt_error_string(noFolder);
        QTest::newRow("full disk") << QStringList{frame, "--to", "/dev/full"} << 1
            << "The file \"/dev/full\" cannot be written completely: the disk is full.";
        QTest::newRow("a folder") << QStringList{frame, "--to", folder} << 1
            << "\"" + folder + "\" is a folder, not a file.";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("xml") + arguments));

        QCOMPARE(m_kelm.error, "kelm xml: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

private:
    const QByteArray unordered = "<?xml version='1.0' encoding='UTF-8'?>\n<!DOCTYPE A>\n"
                                 "<a><b z='1' type='t' name='n' B='2'/></a>";
    const QByteArray ordered = "<?xml version='1.0' encoding='UTF-8'?>\n<!DOCTYPE A>\n<a>\n"
                               "  <b name=\"n\" type=\"t\" B=\"2\" z=\"1\"/>\n</a>\n\n";

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_xml)
#include "tst_Kelm_xml.moc"
