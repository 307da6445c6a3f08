#include "tests/examples/Program.h"

class tst_Kelm_tags : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTags_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("all") << QStringList()
            << "*TYPE\nname: beams\nversion: 3\n\n*beam\nname: a\nlength: 2\n\n"
               "*beam\nname: b\nlength: 4\nlength: 5\n\n*joint\nname: a\nnote:2\ntwo\nlines\n";
        QTest::newRow("by name") << QStringList{"--name", "joint"}
            << "*joint\nname: a\nnote:2\ntwo\nlines\n";
        QTest::newRow("by value") << QStringList{"--where", "name=b"}
            << "*beam\nname: b\nlength: 4\nlength: 5\n";
        QTest::newRow("by name and value") << QStringList{"--name", "beam", "--where", "name=a"}
            << "*beam\nname: a\nlength: 2\n";
        QTest::newRow("values") << QStringList{"--key", "length"} << "2\n4\n5\n";
        QTest::newRow("values of some") << QStringList{"--name", "joint", "--key", "note"}
            << "two\nlines\n";
        QTest::newRow("list") << QStringList("--list")
            << "Type beams, version 3\nTYPE: name beams, 2 properties\nbeam: name a, 2 properties\n"
               "beam: name b, 3 properties\njoint: name a, 2 properties\n";
        QTest::newRow("list of some") << QStringList{"--list", "--where", "length=4"}
            << "Type beams, version 3\nbeam: name b, 3 properties\n";
        // clang-format on
    }

    void showsTags()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, output);

        QVERIFY(m_kelm.run(QStringList{"tags", beams()} + options));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void writesWhatWasChosen()
    {
        const QString target = m_folder.filePath("out.tag");

        QVERIFY(m_kelm.run({"tags", beams(), "--where", "name=a", "--to", target}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"tags", target}));
        QCOMPARE(m_kelm.output, QString("*beam\nname: a\nlength: 2\n\n*joint\nname: a\nnote:2\n"
                                        "two\nlines\n"));
    }

    void showsTheSample()
    {
        QVERIFY(m_kelm.run(
            {"tags", sample("materials.tag"), "--where", "name=S355", "--key", "standard:year"}));

        QCOMPARE(m_kelm.output, QString("EN 10025-2:2019\n"));
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString folder = m_folder.path();
        const QString none = makeFile(folder + "/none.tag", "no tag\n");
        // clang-format off
        QTest::newRow("missing") << QStringList(folder + "/no.tag") << 1
            << "The file \"" + folder + "/no.tag\" does not exist.";
        QTest::newRow("folder") << QStringList(folder) << 1
            << "\"" + folder + "\" is a folder, not a file.";
        QTest::newRow("no tags") << QStringList(none) << 1 << "No tags are in \"" + none + "\"";
        QTest::newRow("no such name") << QStringList{beams(), "--name", "Beam"} << 1
            << "No such tag is in \"" + beams() + "\"";
        QTest::newRow("no such value") << QStringList{beams(), "--where", "name=c"} << 1
            << "No such tag is in \"" + beams() + "\"";
        QTest::newRow("an empty value that is not there") << QStringList{beams(), "--where", "mass="}
            << 1 << "No such tag is in \"" + beams() + "\"";
        QTest::newRow("no such key") << QStringList{beams(), "--key", "mass"} << 1
            << "No tag has the key \"mass\"";
        QTest::newRow("no value") << QStringList{beams(), "--where", "name"} << 2
            << "--where must be KEY=VALUE. See kelm tags --help";
        QTest::newRow("no key") << QStringList{beams(), "--where", "=b"} << 2
            << "--where must be KEY=VALUE. See kelm tags --help";
        QTest::newRow("values to a file") << QStringList{beams(), "--key", "name", "--to", "x"} << 2
            << "--key and --to exclude each other. See kelm tags --help";
        QTest::newRow("cannot be written") << QStringList{beams(), "--to", folder + "/no/x"} << 1
            << "The folder of the file \"" + folder + "/no/x\" does not exist.";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("tags") + arguments));

        QCOMPARE(m_kelm.error, "kelm tags: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

    void takesAnyBytes()
    {
        const QString path = m_folder.filePath("bytes.tag");
        QVERIFY(m_kelm.run({"tags", makeFile(path, QByteArray("*\xff\0\n:\n:9999999999\n", 17))}));
        QVERIFY(m_kelm.status == 0 || m_kelm.status == 1);
    }

private:
    QString beams() const
    {
        return makeFile(
            m_folder.filePath("beams.tag"),
            "$ comment\n*TYPE\nname: beams\nversion: 3\n\n*beam\nname: a\nlength: 2\n"
            "*beam\nname: b\nlength: 4\nlength: 5\n*joint\nname: a\nnote:2\ntwo\nlines\n");
    }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_tags)
#include "tst_Kelm_tags.moc"
