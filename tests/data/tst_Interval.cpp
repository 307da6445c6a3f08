#include "data/Interval.h"

#include <QtTest>

using Data::Interval;

class tst_Interval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isEmptyAtFirst()
    {
        const Interval interval;

        QCOMPARE(interval.min, 0.0);
        QCOMPARE(interval.max, 0.0);
        QCOMPARE(interval.flags, 0);
    }

    void tellsItsEndsByTheLowestTwoBits()
    {
        QCOMPARE(qint32(Interval::HasMin), 1);
        QCOMPARE(qint32(Interval::HasMax), 2);
        QCOMPARE(sizeof(Interval::flags), std::size_t(4));
    }
};

QTEST_GUILESS_MAIN(tst_Interval)
#include "tst_Interval.moc"
