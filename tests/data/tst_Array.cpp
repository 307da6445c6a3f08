#include "data/Array.h"

#include <QtTest>

#include <limits>
#include <type_traits>

class tst_Array : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAnEmptyViewAtFirst()
    {
        const Data::Array array;

        QVERIFY(!array.data);
        QCOMPARE(array.size, quint64(0));
    }

    void viewsNumbersThatItDoesNotOwn()
    {
        const double numbers[] = {1.5, Data::noValue, -2.0};
        const Data::Array array{numbers, 3};

        QCOMPARE(array.data, &numbers[0]);
        QCOMPARE(array.data[2], -2.0);
        QVERIFY(std::is_trivially_copyable_v<Data::Array>);
        QVERIFY(std::is_trivially_destructible_v<Data::Array>);
    }

    void hasAHoleAtExactlyTheNoValueNumber_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("isHole");

        QTest::newRow("the number") << 1e300 << true;
        QTest::newRow("a little above") << 1.0000001e300 << false;
        QTest::newRow("the next above") << std::nextafter(1e300, 1e301) << false;
        QTest::newRow("the next below") << std::nextafter(1e300, 0.0) << false;
        QTest::newRow("its negative") << -1e300 << false;
        QTest::newRow("zero") << 0.0 << false;
        QTest::newRow("infinity") << std::numeric_limits<double>::infinity() << false;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << false;
    }

    void hasAHoleAtExactlyTheNoValueNumber()
    {
        QFETCH(double, value);
        QFETCH(bool, isHole);

        QCOMPARE(Data::isHole(value), isHole);
    }
};

QTEST_GUILESS_MAIN(tst_Array)
#include "tst_Array.moc"
