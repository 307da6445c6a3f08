#include "tests/examples/Program.h"

#include "tests/support/Windows.h"

class tst_Kelm_watch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_path = makeFile(m_folder.filePath("watched.txt"));
        setTime(1000);
    }

    void runsTheCommandAtEachChange()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QProcess process;
        start(process, {"--times", "2", "--", "sh", "-c", "echo one; printf two"});
        QVERIFY(waitForError(process, "Watching \"" + m_path + "\", Ctrl-C ends it\n"));

        setTime(2000);
        QVERIFY(waitForOutput(process, "one\ntwo\n"));
        QVERIFY(finishWithChanges(process));

        QCOMPARE(m_kelm.output, QString("one\ntwo\n"));
        QCOMPARE(m_kelm.error, QString());
        QCOMPARE(m_kelm.status, 0);
    }

    void waitsForAFileThatIsMissing()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QFile::remove(m_path);
        QProcess process;
        start(process, {"--times", "1", "--", "echo", "two  words"});
        QVERIFY(waitForError(process, "Ctrl-C ends it\n"));

        makeFile(m_path);
        QVERIFY(m_kelm.finish(process));

        QCOMPARE(m_kelm.output, QString("two  words\n"));
        QCOMPARE(m_kelm.status, 0);
    }

    void printsWhatTheCommandWritesAtOnce()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        QProcess process;
        // It ends when kelm has ended.
        const QString wait = "while kill -0 $PPID; do sleep 0.1; done 2>/dev/null";
        start(process, {"--", "sh", "-c", "printf 'one\\ntwo\\n'; " + wait});
        QVERIFY(waitForError(process, "Ctrl-C ends it\n"));

        setTime(2000);

        QVERIFY(waitForOutput(process, "one\ntwo\n"));
        process.terminate();
        QVERIFY(m_kelm.finish(process));
    }

    void printsWhatTheCommandWrites_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("output");

        // clang-format off
        QTest::newRow("nothing") << "true" << "";
        QTest::newRow("an empty line") << "echo" << "\n";
        QTest::newRow("lines in one piece") << "printf 'a\\n\\nb\\n'" << "a\n\nb\n";
        QTest::newRow("a line in pieces") << "printf a; sleep 0.2; printf 'b\\nc'; sleep 0.2; printf d" << "ab\ncd\n";
        QTest::newRow("a cut character") << "printf 'a\\303'" << "a\ufffd\n";
        QTest::newRow("a cut character alone") << "printf 'a\\n\\303'" << "a\n\ufffd\n";
        QTest::newRow("after the end of its input") << "cat; echo ended" << "ended\n";
        // clang-format on
    }

    void printsWhatTheCommandWrites()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QFETCH(QString, script);
        QFETCH(QString, output);
        QProcess process;
        start(process, {"--times", "1", "--", "sh", "-c", script});
        QVERIFY(waitForError(process, "Ctrl-C ends it\n"));

        setTime(2000);
        QVERIFY(m_kelm.finish(process));

        QCOMPARE(m_kelm.output, output);
        QCOMPARE(m_kelm.status, 0);
    }

    void goesOnWhenTheCommandFails()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QProcess process;
        start(process, {"--times", "2", "--", "sh", "-c", "echo tried; exit 3"});
        QVERIFY(waitForError(process, "Ctrl-C ends it\n"));

        const QString failure =
            "kelm watch: \"sh -c \"echo tried; exit 3\"\" has failed with status 3\n";
        setTime(2000);
        QVERIFY(waitForError(process, failure));
        QVERIFY(finishWithChanges(process));

        QCOMPARE(m_kelm.output, QString("tried\ntried\n"));
        QCOMPARE(m_kelm.error, failure);
        QCOMPARE(m_kelm.status, 1);
    }

    void tellsHowTheCommandEnded_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("missing") << QStringList("/no/such/program")
            << "Cannot run \"/no/such/program\": execvp: No such file or directory";
        QTest::newRow("crashed") << QStringList{"sh", "-c", "kill -SEGV $$"}
            << "\"sh -c \"kill -SEGV $$\"\" has crashed";
        QTest::newRow("failed") << QStringList("false") << "\"false\" has failed with status 1";
        // clang-format on
    }

    void tellsHowTheCommandEnded()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QFETCH(QStringList, command);
        QFETCH(QString, error);
        QProcess process;
        start(process, QStringList{"--times", "1", "--"} + command);
        QVERIFY(waitForError(process, "Ctrl-C ends it\n"));

        setTime(2000);
        QVERIFY(m_kelm.finish(process));

        QCOMPARE(m_kelm.error, "kelm watch: " + error + "\n");
        QCOMPARE(m_kelm.status, 1);
    }

    void logsWhatItSeesWhenVerbose()
    {
        SKIP_ON_WINDOWS("Windows has no such commands: see tst_Windows");
        QProcess process;
        start(process, {"--verbose", "--quiet", "--interval", "100", "--times", "1", "--", "true"});
        QVERIFY(waitForError(process, "Modification check for watched.txt\n"));

        setTime(2000);
        QVERIFY(m_kelm.finish(process));

        QVERIFY(m_kelm.error.endsWith("Modification detected for watched.txt\n"));
        QVERIFY(!m_kelm.error.contains("Watching"));
        QCOMPARE(m_kelm.status, 0);
    }

    void tellsWhatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");

        // clang-format off
        QTest::newRow("no command") << QStringList("file")
            << "The arguments must be FILE -- COMMAND...";
        QTest::newRow("no command after the mark") << QStringList{"file", "--"}
            << "The arguments must be FILE -- COMMAND...";
        QTest::newRow("interval") << QStringList{"--interval", "99", "file", "--", "true"}
            << "--interval must be a whole number from 100 on";
        QTest::newRow("times") << QStringList{"--times", "0", "file", "--", "true"}
            << "--times must be a whole number from 1 on";
        // clang-format on
    }

    void tellsWhatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);

        QVERIFY(m_kelm.run(QStringList("watch") + arguments));

        QCOMPARE(m_kelm.error, "kelm watch: " + error + ". See kelm watch --help\n");
        QCOMPARE(m_kelm.status, 2);
    }

private:
    void start(QProcess &process, const QStringList &arguments) const
    {
        m_kelm.start(process, KELM_PROGRAM, QStringList{"watch", m_path} + arguments);
    }

    /// Sets the time of the watched file, in seconds since the Unix epoch.
    void setTime(int seconds) const
    {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(seconds),
                                 QFileDevice::FileModificationTime));
    }

    /// Changes the file until the program ends: it takes no note of a change while it still runs
    /// the command for the last one.
    bool finishWithChanges(QProcess &process)
    {
        for (int seconds = 3000; seconds < 3600; ++seconds) {
            setTime(seconds);
            if (process.waitForFinished(100))
                break;
        }
        return m_kelm.finish(process);
    }

    static bool waitForError(QProcess &process, const QString &end)
    {
        return waitFor(process, QProcess::StandardError, end);
    }
    static bool waitForOutput(QProcess &process, const QString &end)
    {
        return waitFor(process, QProcess::StandardOutput, end);
    }

    /// Reads until \p text comes.
    static bool waitFor(QProcess &process, QProcess::ProcessChannel channel, const QString &text)
    {
        QByteArray read;
        QElapsedTimer timer;
        timer.start();
        while (!read.contains(text.toUtf8())) {
            process.setReadChannel(channel);
            if (process.bytesAvailable() == 0)
                process.waitForReadyRead(100);
            process.setReadChannel(channel);
            read += process.readAll();
            if (timer.elapsed() > 60000 || process.state() == QProcess::NotRunning)
                return read.contains(text.toUtf8());
        }
        return true;
    }

    const QTemporaryDir m_home;
    const QTemporaryDir m_folder;
    QString m_path;
    Program m_kelm{m_home.path()};
};

QTEST_GUILESS_MAIN(tst_Kelm_watch)
#include "tst_Kelm_watch.moc"
