#include "tests/examples/Program.h"
#include "tests/support/Files.h" // contentsOf
#include "tests/support/Tree.h"
#include "tests/support/Windows.h"

#include <sys/stat.h>

class tst_Kelm_copy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QVERIFY(QDir(m_folder.filePath("in")).removeRecursively());
        QVERIFY(QDir(m_folder.filePath("out")).removeRecursively());
        makeFile(m_folder.filePath("in/a.txt"), "a");
        makeFile(m_folder.filePath("in/sub/b.txt"), "b");
    }

    void copiesAFile()
    {
        const QString target = m_folder.filePath("out.txt");
        QFile::remove(target);

        QVERIFY(m_kelm.run({"copy", in("a.txt"), target}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(target), QByteArray("a"));
    }

    void copiesAFileIntoAFolder()
    {
        QVERIFY(QDir().mkpath(out("")));

        QVERIFY(m_kelm.run({"copy", in("a.txt"), m_folder.filePath("out")}));

        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(out("a.txt")), QByteArray("a"));
    }

    void copiesAFolder_data()
    {
        QTest::addColumn<QString>("source");

        QTest::newRow("plain") << "in";
        QTest::newRow("with a slash at its end") << "in/";
    }

    void copiesAFolder()
    {
        QFETCH(QString, source);

        QVERIFY(m_kelm.run({"copy", m_folder.filePath(source), m_folder.filePath("out")}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(tree(m_folder.filePath("out")),
                 QStringList({"in/", "in/a.txt", "in/sub/", "in/sub/b.txt"}));
    }

    void copiesAnEmptyFolder()
    {
        QVERIFY(QDir().mkpath(in("empty")));

        QVERIFY(m_kelm.run({"copy", in("empty"), m_folder.filePath("out")}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(tree(m_folder.filePath("out")), QStringList("empty/"));
    }

    void replacesWhatIsThere_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("age"); // of the target, in seconds more than the source
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<int>("status");

        const QByteArray old("old");
        // clang-format off
        QTest::newRow("by itself") << QStringList() << 0 << QByteArray("a") << 0;
        QTest::newRow("always") << QStringList{"--overwrite", "always"} << 0 << QByteArray("a") << 0;
        QTest::newRow("never") << QStringList{"--overwrite", "never"} << 60 << old << 1;
        QTest::newRow("newer") << QStringList{"--overwrite", "newer"} << 60 << QByteArray("a") << 0;
        QTest::newRow("not newer") << QStringList{"--overwrite", "newer"} << -60 << old << 0;
        // clang-format on
    }

    void replacesWhatIsThere()
    {
        QFETCH(QStringList, options);
        QFETCH(int, age);
        QFETCH(QByteArray, expected);
        QFETCH(int, status);
        const QString target = makeFile(out("a.txt"), "old");
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QDateTime time = QFileInfo(in("a.txt")).lastModified().addSecs(-age);
        QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        file.close();

        QVERIFY(m_kelm.run(QStringList{"copy", in("a.txt"), target} + options));

        QCOMPARE(contentsOf(target), expected);
        QCOMPARE(m_kelm.status, status);
        QCOMPARE(m_kelm.error, status == 0
                                   ? QString()
                                   : "kelm copy: The file \"" + target + "\" exists already.\n");
    }

    void leavesAloneWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("target");

        QTest::newRow("itself") << "pipe/a.txt";
        QTest::newRow("in a folder") << "pipe";
    }

    void leavesAloneWhatIsNoFile()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(QString, target);
        const QByteArray pipe = m_folder.filePath("pipe/a.txt").toUtf8();
        QDir(m_folder.path()).mkdir("pipe");
        mkfifo(pipe.constData(), 0600);

        QVERIFY(m_kelm.run({"copy", in("a.txt"), m_folder.filePath(target)}));

        QCOMPARE(m_kelm.error, "kelm copy: Cannot replace \"" + pipe + "\": It is no file\n");
        QCOMPARE(m_kelm.status, 1);
        struct stat found = {};
        QCOMPARE(stat(pipe.constData(), &found), 0);
        QVERIFY(S_ISFIFO(found.st_mode));
    }

    void copiesNoFileOntoItself_data()
    {
        QTest::addColumn<QString>("target");

        QTest::newRow("by its name") << "in/a.txt";
        QTest::newRow("by that of its folder") << "in";
        QTest::newRow("through a link") << "link/a.txt";
    }

    void copiesNoFileOntoItself()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        QFETCH(QString, target);
        QFile::link(m_folder.filePath("in"), m_folder.filePath("link"));

        QVERIFY(m_kelm.run({"copy", in("a.txt"), m_folder.filePath(target)}));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
        QCOMPARE(contentsOf(in("a.txt")), QByteArray("a"));
    }

    void tellsOfEachFileThatCouldNotBeCopied()
    {
        QVERIFY(QDir().mkpath(out("in/a.txt/in-the-way")));

        QVERIFY(m_kelm.run({"copy", m_folder.filePath("in"), m_folder.filePath("out")}));

        QCOMPARE(m_kelm.error, "kelm copy: 1 of 2 files could not be copied: \"" + out("in/a.txt") +
                                   "\" is a folder, not a file.\n");
        QCOMPARE(m_kelm.status, 1);
        QCOMPARE(contentsOf(out("in/sub/b.txt")), QByteArray("b"));
    }

    void leavesAFileAloneThatStandsInAFoldersWay_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("the copy's") << "in";
        QTest::newRow("one's below") << "in/sub";
    }

    void leavesAFileAloneThatStandsInAFoldersWay()
    {
        QFETCH(QString, name);
        makeFile(out(name), "old");

        QVERIFY(m_kelm.run({"copy", m_folder.filePath("in"), m_folder.filePath("out")}));

        QCOMPARE(m_kelm.error,
                 "kelm copy: Cannot make the folder \"" + out(name) + "\": There is a file\n");
        QCOMPARE(m_kelm.status, 1);
        QCOMPARE(contentsOf(out(name)), QByteArray("old"));
    }

    void tellsOfAFileThatCouldNotBeReplaced_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QByteArray>("old");
        QTest::addColumn<qint64>("time"); // of the file that is there, in seconds since the epoch
        QTest::addColumn<bool>("isGood");

        const QStringList newer{"--overwrite", "newer"};
        const QStringList never{"--overwrite", "never"};
        QTest::newRow("another size")
            << QStringList() << QByteArray("old") << qint64(1000) << false;
        QTest::newRow("the same size") << QStringList() << QByteArray("o") << qint64(1000) << false;
        QTest::newRow("the same contents")
            << QStringList() << QByteArray("a") << qint64(1000) << true;
        QTest::newRow("older") << newer << QByteArray("o") << qint64(1000) << false;
        QTest::newRow("newer") << newer << QByteArray("o") << qint64(4000000000) << true;
        QTest::newRow("to be kept") << never << QByteArray("o") << qint64(1000) << true;
    }

    void tellsOfAFileThatCouldNotBeReplaced()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QFETCH(QStringList, options);
        QFETCH(QByteArray, old);
        QFETCH(qint64, time);
        QFETCH(bool, isGood);
        QFile file(makeFile(out("in/a.txt"), old));
        QVERIFY(QDir().mkpath(out("in/sub")));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(time),
                                 QFileDevice::FileModificationTime));
        file.close();
        makeFile(out("in/sub/b.txt"), "b");
        openToAll();
        QFile::setPermissions(out("in"), QFile::Permissions(0x5555));

        const bool isRun = m_kelm.runAsOrdinaryUser(
            QStringList{"copy", m_folder.filePath("in"), m_folder.filePath("out")} + options);
        QFile::setPermissions(out("in"), QFile::Permissions(0x7777));
        if (!isRun)
            QSKIP("No ordinary user can get at the program");

        QCOMPARE(m_kelm.error, isGood ? QString()
                                      : "kelm copy: 1 of 2 files could not be copied: You have no "
                                        "permission to write \"" +
                                            out("in/a.txt") + "\".\n");
        QCOMPARE(m_kelm.status, isGood ? 0 : 1);
    }

    void tellsOfAFolderThatItCannotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        openToAll();
        QFile::setPermissions(in("sub"), QFile::Permissions());

        const bool isRun =
            m_kelm.runAsOrdinaryUser({"copy", m_folder.filePath("in"), m_folder.filePath("out")});
        QFile::setPermissions(in("sub"), QFile::Permissions(0x7777));
        if (!isRun)
            QSKIP("No ordinary user can get at the program");

        QCOMPARE(m_kelm.error,
                 "kelm copy: You have no permission to read \"" + in("sub") + "\".\n");
        QCOMPARE(m_kelm.status, 1);
        QCOMPARE(contentsOf(out("in/a.txt")), QByteArray("a"));
    }

    void tellsOfAFolderThatItCannotMake()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        QVERIFY(QDir().mkpath(in("empty")));
        QVERIFY(QDir().mkpath(out("")));
        openToAll();
        QFile::setPermissions(m_folder.filePath("out"), QFile::Permissions(0x5555));

        const bool isRun =
            m_kelm.runAsOrdinaryUser({"copy", in("empty"), m_folder.filePath("out")});
        QFile::setPermissions(m_folder.filePath("out"), QFile::Permissions(0x7777));
        if (!isRun)
            QSKIP("No ordinary user can get at the program");

        QCOMPARE(m_kelm.error,
                 "kelm copy: The folder \"" + out("empty") + "\" cannot be created.\n");
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString folder = m_folder.path();
        const QString file = makeFile(folder + "/file");
        // clang-format off
        QTest::newRow("one argument") << QStringList(file) << 2
            << "The arguments must be SOURCE TARGET. See kelm copy --help";
        QTest::newRow("overwrite") << QStringList{file, "x", "--overwrite", "maybe"} << 2
            << "--overwrite must be always, never or newer. See kelm copy --help";
        QTest::newRow("no target") << QStringList{file, ""} << 2
            << "TARGET must not be empty. See kelm copy --help";
        QTest::newRow("no target of a folder") << QStringList{folder + "/in", ""} << 2
            << "TARGET must not be empty. See kelm copy --help";
        QTest::newRow("missing") << QStringList{folder + "/no", folder + "/x"} << 1
            << "The file \"" + folder + "/no\" does not exist.";
        QTest::newRow("no such folder") << QStringList{file, folder + "/no/x"} << 1
            << "The folder of the file \"" + folder + "/no/x\" does not exist.";
        QTest::newRow("a folder into a file") << QStringList{folder + "/in/sub", file} << 1
            << "1 of 1 files could not be copied: The folder \"" + file + "/sub\" cannot be created.";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("copy") + arguments));

        QCOMPARE(m_kelm.error, "kelm copy: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

private:
    /// Lets any user read and write the folder and what is in it.
    void openToAll() const
    {
        QFile::setPermissions(m_folder.path(), QFile::Permissions(0x7777));
        QDirIterator entry(m_folder.path(), QDir::AllEntries | QDir::NoDotAndDotDot,
                           QDirIterator::Subdirectories);
        while (entry.hasNext())
            QFile::setPermissions(entry.next(), QFile::Permissions(0x7777));
    }

    QString in(const QString &name) const { return m_folder.filePath("in/" + name); }
    QString out(const QString &name) const { return m_folder.filePath("out/" + name); }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_copy)
#include "tst_Kelm_copy.moc"
