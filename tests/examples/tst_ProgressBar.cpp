#include "examples/console/ProgressBar.h"

#include <QtTest>

#include <climits>

using Kelm::ProgressBar;

class tst_ProgressBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsHowFarATaskIs_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("elapsed");
        QTest::addColumn<bool>("cancelable");
        QTest::addColumn<QString>("text");

        const QString half = QString(10, QChar(0x2588)) + QString(10, QChar(0x2591));
        const QString none = QString(20, QChar(0x2591));
        const QString full = QString(20, QChar(0x2588));
        // clang-format off
        QTest::newRow("half") << 5 << 10 << 3999 << false << "Copying  [" + half + "]   50 %  0:03";
        QTest::newRow("cancelable") << 5 << 10 << 0 << true
            << "Copying  [" + half + "]   50 %  0:00  Esc cancels";
        QTest::newRow("start") << 0 << 10 << 59999 << false << "Copying  [" + none + "]    0 %  0:59";
        QTest::newRow("below") << -5 << 10 << 0 << false << "Copying  [" + none + "]    0 %  0:00";
        QTest::newRow("end") << 10 << 10 << 60000 << false << "Copying  [" + full + "]  100 %  1:00";
        QTest::newRow("beyond") << 12 << 10 << 0 << false << "Copying  [" + full + "]  100 %  0:00";
        const QString some = QString(5, QChar(0x2588)) + QString(15, QChar(0x2591));
        QTest::newRow("no whole fraction") << 29 << 100 << 0 << false << "Copying  [" + some + "]   29 %  0:00";
        QTest::newRow("nearly all") << 1999999999 << 2000000000 << 0 << false
            << "Copying  [" + QString(19, QChar(0x2588)) + QChar(0x2591) + "]   99 %  0:00";
        QTest::newRow("no known end") << 12 << 0 << 3723000 << true
            << "Copying  1:02:03  Esc cancels";
        // clang-format on
    }

    void tellsHowFarATaskIs()
    {
        QFETCH(int, count);
        QFETCH(int, maxSteps);
        QFETCH(int, elapsed);
        QFETCH(bool, cancelable);
        QFETCH(QString, text);

        QCOMPARE(ProgressBar::text({"Copying", count, maxSteps, elapsed, cancelable}, 79), text);
    }

    void tellsTheRemainingTimeAndTheRate_data()
    {
        QTest::addColumn<int>("remaining");
        QTest::addColumn<double>("rate");
        QTest::addColumn<QString>("unit");
        QTest::addColumn<QString>("text"); // after the elapsed time

        // clang-format off
        QTest::newRow("unknown") << -1 << 0.0 << "rows" << "";
        QTest::newRow("remaining only") << 3000 << 0.0 << "rows" << "  0:03 left";
        QTest::newRow("part of a second") << 1 << 0.0 << "" << "  0:01 left";
        QTest::newRow("nothing left") << 0 << 12.0 << "" << "  0:00 left  12/s";
        QTest::newRow("longest") << INT_MAX << 0.0 << "" << "  596:31:23 left";
        QTest::newRow("with unit") << 61000 << 120.4 << "files" << "  1:01 left  120 files/s";
        QTest::newRow("few") << -1 << 9.94 << "MB" << "  9.9 MB/s";
        QTest::newRow("ten") << -1 << 9.96 << "MB" << "  10 MB/s";
        QTest::newRow("one") << -1 << 0.951 << "MB" << "  1.0 MB/s";
        QTest::newRow("slow") << -1 << 0.5 << "runs" << "  30 runs/min";
        QTest::newRow("slower") << -1 << 0.025 << "runs" << "  1.5 runs/min";
        QTest::newRow("thousands") << -1 << 9999.0 << "rows" << "  9999 rows/s";
        QTest::newRow("many") << -1 << 12000.0 << "rows" << "  12k rows/s";
        QTest::newRow("millions") << -1 << 2.3e7 << "rows" << "  23M rows/s";
        QTest::newRow("more") << -1 << 1e12 << "" << "  1000G/s";
        QTest::newRow("no number") << -1 << qQNaN() << "rows" << "";
        // clang-format on
    }

    void tellsTheRemainingTimeAndTheRate()
    {
        QFETCH(int, remaining);
        QFETCH(double, rate);
        QFETCH(QString, unit);
        QFETCH(QString, text);
        const ProgressBar::State state{"Copying", 5, 10, 3999, false, remaining, rate, unit};

        const QString line = ProgressBar::text(state, 1000);

        const QString half = QString(10, QChar(0x2588)) + QString(10, QChar(0x2591));
        QCOMPARE(line, "Copying  [" + half + "]   50 %  0:03" + text);
    }

    void tellsNoRemainingTimeWithoutAKnownEnd()
    {
        QCOMPARE(ProgressBar::text({"Reading", 5, 0, 3999, true, 1000, 50.0, "rows"}, 79),
                 QString("Reading  0:03  50 rows/s  Esc cancels"));
    }

    void fitsTheRateIntoTheLine()
    {
        const ProgressBar::State state{"Reading", 1, 2, 3000, true, 3000, 1200.0, "rows"};
        const auto bar = [](int width) {
            return QString("[") + QString(width / 2, QChar(0x2588)) +
                   QString(width / 2, QChar(0x2591)) + ']';
        };
        const QString times = "   50 %  0:03  0:03 left";

        QCOMPARE(ProgressBar::text(state, 81),
                 "Reading  " + bar(20) + times + "  1200 rows/s  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 80),
                 "Reading  " + bar(10) + times + "  1200 rows/s  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 71),
                 "Reading  " + bar(10) + times + "  1200 rows/s  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 70), "Reading  " + bar(20) + times + "  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 67), "Rea...  " + bar(20) + times + "  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 58), "Reading" + times + "  Esc cancels");
    }

    void fitsIntoTheLine()
    {
        const ProgressBar::State state{"A label of some length", 1, 2, 1000, true};

        QCOMPARE(ProgressBar::text(state, 72),
                 "A label of some length  [" + QString(10, QChar(0x2588)) +
                     QString(10, QChar(0x2591)) + "]   50 %  0:01  Esc cancels");
        QCOMPARE(ProgressBar::text(state, 71).section('[', 0, 0),
                 QString("A label of some le...  "));
        QCOMPARE(ProgressBar::text(state, 48).size(), 48); // no room for a label
        QCOMPARE(ProgressBar::text(state, 47),
                 QString("A label of some le...   50 %  0:01  Esc cancels"));
        QCOMPARE(ProgressBar::text(state, 30), QString("A...   50 %  0:01  Esc cancels"));
        QCOMPARE(ProgressBar::text(state, 29), QString(" 50 %  0:01  Esc cancels"));
        QCOMPARE(ProgressBar::text(state, 10), QString(" 50 %  0:0"));
        QCOMPARE(ProgressBar::text(state, 0), QString());
    }
};

QTEST_GUILESS_MAIN(tst_ProgressBar)
#include "tst_ProgressBar.moc"
