// kelm watch, without enough memory for what its command writes.

#include "examples/console/Host.h"
#include "examples/console/commands/Commands.h"
#include "tests/csv/FailingMemory.h"
#include "tests/examples/Captured.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"

#include <QTimer>
#include <QtTest>

#include <cerrno>

class tst_Kelm_watch_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsThatOutputIsMissing_data()
    {
        QTest::addColumn<QString>("end");
        QTest::addColumn<QString>("error"); // %1 is the command, %2 the reason

        const QString missing = "The end of the output of \"%1\" is missing: %2";
        QTest::newRow("good") << "exit 0" << missing;
        QTest::newRow("failed") << "exit 3"
                                << "\"%1\" has failed with status 3. " + missing;
        QTest::newRow("crashed") << "kill -SEGV $$"
                                 << "\"%1\" has crashed. " + missing;
    }

    void tellsThatOutputIsMissing()
    {
        QFETCH(QString, end);
        QFETCH(QString, error);
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("watched.txt"));
        const QString script = "seq 10000000 10500000; " + end;
        QCommandLineParser parser;
        Kelm::watchCommand.declare(parser);
        parser.parse({"kelm", "--interval", "100", "--times", "1", path, "--", "sh", "-c", script});
        Kelm::Host host({}, Kelm::Host::Messages::Hidden);
        QTimer timer;
        int seconds = 1000;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            file.setFileTime(QDateTime::fromSecsSinceEpoch(++seconds),
                             QFileDevice::FileModificationTime);
        });
        timer.start(100);

        Captured printed;
        FailingMemory memory(1 << 20, FailingMemory::Larger);
        const Kelm::Result result = Kelm::watchCommand.run(parser, host);
        memory.end();
        const QStringList lines = printed.finish().split('\n', Qt::SkipEmptyParts);

        QVERIFY(memory.hasFailed());
        QCOMPARE(result.error, error.arg("sh -c \"" + script + '"', qt_error_string(ENOMEM)));
        QCOMPARE(result.code, Kelm::WorkFailed);
        QVERIFY(lines.size() > 10000 && lines.size() < 500000);
        QCOMPARE(lines.constFirst(), QString("10000000"));
    }
};

QTEST_GUILESS_MAIN(tst_Kelm_watch_memory)
#include "tst_Kelm_watch_memory.moc"
