#include "tests/examples/Program.h"

#include "tests/support/Windows.h"

#include <QTextCodec>

class tst_Kelm_find : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        makeFile(m_folder.filePath("a.txt"), "a beam of steel\n");
        makeFile(m_folder.filePath("b.csv"), "Beam,1\n");
        makeFile(m_folder.filePath("sub/c.txt"), "beams\n");
        makeFile(m_folder.filePath("sub/.hidden.txt"), "beam\n");
        makeFile(m_folder.filePath("sub/deep/d.TXT"), "\xff beam\n");
    }

    void findsFiles_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("found");

        // clang-format off
        QTest::newRow("all") << QStringList()
            << QStringList{"a.txt", "b.csv", "sub/c.txt", "sub/deep/d.TXT"};
        QTest::newRow("a pattern") << QStringList("*.txt")
            << QStringList{"a.txt", "sub/c.txt", "sub/deep/d.TXT"};
        QTest::newRow("two patterns") << QStringList{"a*", "*.csv"} << QStringList{"a.txt", "b.csv"};
        QTest::newRow("none fits") << QStringList("*.xml") << QStringList();
        QTest::newRow("flat") << QStringList{"*.txt", "--flat"} << QStringList{"a.txt"};
        QTest::newRow("text") << QStringList{"--contains", "beam"}
            << QStringList{"a.txt", "sub/c.txt", "sub/deep/d.TXT"};
        QTest::newRow("text in UTF-8") << QStringList{"--contains", "beam", "--encoding", "UTF-8"}
            << QStringList{"a.txt", "sub/c.txt"};
        QTest::newRow("text in any encoding") << QStringList{"--contains", QString::fromUtf8("\u00FF beam")}
            << QStringList{"sub/deep/d.TXT"};
        QTest::newRow("word") << QStringList{"--word", "beam"} << QStringList{"a.txt", "sub/deep/d.TXT"};
        QTest::newRow("word in UTF-8") << QStringList{"--word", "beam", "--encoding", "UTF-8"}
            << QStringList("a.txt");
        QTest::newRow("word in any case") << QStringList{"--word", "beam", "--ignore-case"}
            << QStringList{"a.txt", "b.csv", "sub/deep/d.TXT"};
        QTest::newRow("text and word") << QStringList{"--contains", "1", "--word", "Beam"}
            << QStringList("b.csv");
        // clang-format on
    }

    void findsFiles()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, found);
        QString output;
        for (const QString &path : qAsConst(found))
            output += m_folder.filePath(path) + "\n";

        QVERIFY(m_kelm.run(QStringList{"find", m_folder.path()} + arguments));

        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void findsTextsInOtherEncodings()
    {
        const QTemporaryDir folder;
        const QString text = QString::fromUtf8("Kr\u00E4fte\n");
        const QString latin = makeFile(folder.filePath("latin"), text.toLatin1());
        const QString wide = makeFile(folder.filePath("wide"),
                                      QTextCodec::codecForName("UTF-16BE")->fromUnicode(text));
        makeFile(folder.filePath("picture"), QByteArray("\x89\0\0\0 Kr\xe4"
                                                        "fte\n",
                                                        13));

        QVERIFY(m_kelm.run({"find", folder.path(), "--contains", text.trimmed()}));

        QCOMPARE(m_kelm.output, latin + "\n" + wide + "\n");
        QVERIFY(
            m_kelm.run({"find", folder.path(), "--word", text.trimmed(), "--encoding", "latin1"}));
        QCOMPARE(m_kelm.output, latin + "\n" + folder.filePath("picture") + "\n");
    }

    void findsTextsInEachEncoding_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("wanted");

        const QString degrees = QString::fromUtf8("Temperatur 20 \u00B0C\n");
        const QString japanese = QString::fromUtf8("\u6E29\u5EA6,20\n\u5727\u529B,3\n");
        const QString pressure = QString::fromUtf8("\u5727\u529B");
        const QString cyrillic = QString::fromUtf8("\u0421\u0438\u043B\u0430 5\n");
        // clang-format off
        QTest::newRow("windows-1252") << QByteArray("windows-1252") << degrees << degrees.mid(11, 5);
        QTest::newRow("UTF-8") << QByteArray("UTF-8") << degrees << degrees.mid(11, 5);
        QTest::newRow("UTF-16, with a mark") << QByteArray("UTF-16") << japanese << pressure;
        QTest::newRow("UTF-16LE") << QByteArray("UTF-16LE") << degrees << degrees.mid(11, 5);
        QTest::newRow("UTF-16BE") << QByteArray("UTF-16BE") << degrees << degrees.mid(11, 5);
        QTest::newRow("UTF-16LE, little ASCII") << QByteArray("UTF-16LE") << japanese << pressure;
        QTest::newRow("Shift_JIS") << QByteArray("Shift_JIS") << japanese << pressure;
        QTest::newRow("EUC-JP") << QByteArray("EUC-JP") << japanese << pressure;
        QTest::newRow("GB18030") << QByteArray("GB18030") << japanese << pressure;
        QTest::newRow("windows-1251") << QByteArray("windows-1251") << cyrillic << cyrillic.left(4);
        QTest::newRow("KOI8-R") << QByteArray("KOI8-R") << cyrillic << cyrillic.left(4);
        QTest::newRow("ISO-8859-15") << QByteArray("ISO-8859-15") << QString::fromUtf8("\u20AC 20\n")
            << QString::fromUtf8("\u20AC");
        // clang-format on
    }

    void findsTextsInEachEncoding()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(QString, text);
        QFETCH(QString, wanted);
        const QTemporaryDir folder;
        QTextCodec::ConverterState plain(encoding == "UTF-16" ? QTextCodec::DefaultConversion
                                                              : QTextCodec::IgnoreHeader);
        const QByteArray bytes =
            QTextCodec::codecForName(encoding)->fromUnicode(text.constData(), text.size(), &plain);
        const QString file = makeFile(folder.filePath("file"), bytes);
        makeFile(folder.filePath("other"), QByteArray("Kr\xe4"
                                                      "fte\n"));

        for (const char *option : {"--contains", "--word"}) {
            QVERIFY(m_kelm.run({"find", folder.path(), option, wanted}));
            QCOMPARE(m_kelm.output, file + "\n");
            QVERIFY(m_kelm.run(
                {"find", folder.path(), "file", option, wanted, "--encoding", encoding}));
            QCOMPARE(m_kelm.output, file + "\n");
        }
    }

    void tellsSizeAndTime()
    {
        QFile file(m_folder.filePath("a.txt"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QDateTime time(QDate(2020, 3, 4), QTime(5, 6, 7));
        QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
        file.close();

        QVERIFY(m_kelm.run({"find", m_folder.path(), "a.txt", "--details"}));

        QCOMPARE(m_kelm.output.simplified(), "16 bytes 2020-03-04T05:06:07 " + file.fileName());
        QVERIFY(m_kelm.run({"find", m_folder.path(), "no", "--details"}));
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void findsResources()
    {
        makeFile(m_folder.filePath("locale/Plates_de.xml"));

        QVERIFY(m_kelm.run({"find", "--resource", "Plates_de", "--res-dir", m_folder.path()}));
        QCOMPARE(m_kelm.output, m_folder.filePath("locale/Plates_de.xml") + "\n");
        QVERIFY(m_kelm.run({"find", "--resource", "Plates_de", "--suffixes", ".txt;.xml",
                            "--res-dir", m_folder.path()}));
        QCOMPARE(m_kelm.status, 0);
        QVERIFY(m_kelm.run({"find", "--resource", "Kelm.Utils_de"}));
        QVERIFY(m_kelm.output.endsWith("share/kelm/res/locale/Kelm.Utils_de.xml\n"));
        QFile::remove(m_folder.filePath("locale/Plates_de.xml"));
    }

    void tellsOfAFolderThatItCannotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("a.txt"));
        makeFile(folder.filePath("closed/b.txt"));
        QFile::setPermissions(folder.path(), QFile::Permissions(0x7777));
        QFile::setPermissions(folder.filePath("closed"), QFile::Permissions());

        const bool isRun = m_kelm.runAsOrdinaryUser({"find", folder.path()});
        const Program deep = m_kelm;
        m_kelm.runAsOrdinaryUser({"find", folder.path(), "--flat"});
        QFile::setPermissions(folder.filePath("closed"), QFile::Permissions(0x7777));
        if (!isRun)
            QSKIP("No ordinary user can get at the program");

        QCOMPARE(deep.error,
                 "kelm find: You have no permission to read \"" + folder.path() + "/closed\".\n");
        QCOMPARE(deep.output, path + "\n");
        QCOMPARE(deep.status, 1);
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.output, path + "\n");
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");

        const QString path = makeFile(m_home.filePath("file"));
        // clang-format off
        QTest::newRow("nothing") << QStringList() << 2
            << "Either a FOLDER or --resource must be given. See kelm find --help";
        QTest::newRow("both") << QStringList{"x", "--resource", "y"} << 2
            << "Either a FOLDER or --resource must be given. See kelm find --help";
        QTest::newRow("no folder") << QStringList(path + "s") << 1
            << "The file \"" + path + "s\" does not exist.";
        QTest::newRow("a file") << QStringList(path) << 1 << "\"" + path + "\" is no folder.";
        QTest::newRow("a file, in German") << QStringList{path, "--language", "de"} << 1
            << QString::fromUtf8("„") + path + QString::fromUtf8("“ ist kein Ordner.");
        QTest::newRow("no encoding") << QStringList{path, "--encoding", "none"} << 2
            << "--encoding must be the name of an encoding, or auto. See kelm find --help";
        QTest::newRow("no resource") << QStringList{"--resource", "No"} << 1
            << "There is no resource \"No\"";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("find") + arguments));

        QCOMPARE(m_kelm.error, "kelm find: " + error + "\n");
        QCOMPARE(m_kelm.output, QString());
        QCOMPARE(m_kelm.status, status);
    }

private:
    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_find)
#include "tst_Kelm_find.moc"
