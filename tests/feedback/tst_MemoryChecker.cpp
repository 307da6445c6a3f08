#include "utils/feedback/MemoryChecker.h"

#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"

#include <QtTest>

#include <climits>
#include <type_traits>

using Utils::MemoryChecker;

class tst_MemoryChecker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsNothingAtAnyTime()
    {
        MemoryChecker checker;
        const auto expectNothing = [&] {
            QVERIFY(checker.check());
            QVERIFY(MemoryChecker::checkHeap());
            QVERIFY(MemoryChecker::checkHeap(LONG_MIN));
            QVERIFY(!MemoryChecker::dumpLeaks());
            QCOMPARE(checker.startId(), 0L);
        };

        expectNothing();
        MemoryChecker::setBreakAlloc(1);
        checker.setBreakAllocOffset(LONG_MAX);
        MemoryChecker::setCheckAlways();
        MemoryChecker::setKeepFreed();
        checker.dumpDifference();
        checker.dumpNewObjects();
        MemoryChecker::dumpLeaksAtExit();
        expectNothing();
        MemoryChecker::setCheckAlways(false);
        MemoryChecker::setKeepFreed(false);
        expectNothing();
    }

    void createsAnEmptyReportFile()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("ä report");

        MemoryChecker::setReportFile(path);

        QCOMPARE(QFileInfo(path).size(), 0); // which may be open, for this process only
        QVERIFY(QFileInfo::exists(path));
    }

    void leavesAFileAloneThatIsThere()
    {
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("report"), "before");

        MemoryChecker::setReportFile(path);

        QCOMPARE(contentsOf(path), QByteArray("before"));
    }

    void createsNothingElsewhere()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QTemporaryDir folder;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder.path()));
        QFile::link("missing", "link");

        MemoryChecker::setReportFile();
        MemoryChecker::setReportFile("");
        MemoryChecker::setReportFile("missing folder/report");
        MemoryChecker::setReportFile(".");
        MemoryChecker::setReportFile("link");
        MemoryChecker::setReportFile(QString(4000, 'x'));
        const QStringList entries =
            QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
        QDir::setCurrent(before);

        QCOMPARE(entries, QStringList({"link"}));
    }

    void belongsToItsMakerAlone()
    {
        QVERIFY(!std::is_copy_constructible_v<MemoryChecker>);
        QVERIFY(!std::is_copy_assignable_v<MemoryChecker>);
    }
};

QTEST_GUILESS_MAIN(tst_MemoryChecker)
#include "tst_MemoryChecker.moc"
