#include "examples/console/ProgressBar.h"

#include <QtTest>

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
