#include "tests/support/Files.h" // makeFile

#include <QProcess>
#include <QtTest>

/// The start-up program of the example host.
class tst_PyInit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheStandardLibrary_data()
    {
        QTest::addColumn<QString>("file");

        QTest::newRow("as sources") << "lib/python2.7/os.py";
        QTest::newRow("compiled") << "lib/python2.7/os.pyc";
        QTest::newRow("compiled with optimisation") << "lib/python2.7/os.pyo";
        QTest::newRow("as an archive") << "python27.zip";
    }

    void findsTheStandardLibrary()
    {
        QFETCH(QString, file);
        const QTemporaryDir home;
        makeFile(home.path() + "/a 'home'/" + file);

        QCOMPARE(run({home.path() + "/a 'home'"}), QByteArray("0 "));
    }

    void findsThatOfTheTests() { QCOMPARE(run({KELMUTILS_PYTHON_HOME}), QByteArray("0 ")); }

    void tellsOfAHomeWithoutIt()
    {
        const QTemporaryDir home;

        QCOMPARE(run({home.path()}), "1 There is no standard library of Python 2.7 in \"" +
                                         home.path().toUtf8() + "\".");
    }

    void takesNoFolderForAFile()
    {
        const QTemporaryDir home;
        QVERIFY(QDir(home.path()).mkpath("python27.zip"));

        QVERIFY(run({home.path()}).startsWith("1 "));
    }

    void wantsTheHomeAlone()
    {
        const QByteArray refused = "1 The home of Python 2.7 must be the only argument.";

        QCOMPARE(run({}), refused);
        QCOMPARE(run({KELMUTILS_PYTHON_HOME, "more"}), refused);
    }

private:
    /// The exit code, and what was printed, with an empty search path for programs.
    static QByteArray run(const QStringList &arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PATH", "/nowhere");
        process.setProcessEnvironment(environment);
        process.start(KELMUTILS_EXAMPLES_DIR "/res/solver/pyInit", arguments);
        if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit)
            return process.errorString().toUtf8();
        return QByteArray::number(process.exitCode()) + ' ' + process.readAll();
    }
};

QTEST_GUILESS_MAIN(tst_PyInit)
#include "tst_PyInit.moc"
