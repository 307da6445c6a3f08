#include "data/Color.h"
#include "data/Variant.h"

#include <QtTest>

#include <type_traits>

using Data::Color;
using Data::Variant;

class tst_Color : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsNothingToAQColor()
    {
        QCOMPARE(sizeof(Color), sizeof(QColor));
        QVERIFY((std::is_base_of_v<QColor, Color>));
        QVERIFY(!Color().isValid());
        QCOMPARE(Color(1, 2, 3).blue(), 3);
        QCOMPARE(Color(QColor(Qt::red)), Color("#ff0000"));
    }

    void isAPlainQColorInAVariant()
    {
        const Variant variant = Color(10, 20, 30);

        QCOMPARE(variant.userType(), 67);
        QCOMPARE(variant.value<QColor>(), QColor(10, 20, 30));
    }

    void isReadFromAVariant_data()
    {
        QTest::addColumn<QVariant>("variant");
        QTest::addColumn<QColor>("color");

        QTest::newRow("a colour") << QVariant(QColor(1, 2, 3, 4)) << QColor(1, 2, 3, 4);
        QTest::newRow("an invalid colour") << QVariant(QColor()) << QColor();
        QTest::newRow("the name of a colour") << QVariant("red") << QColor(255, 0, 0);
        QTest::newRow("a colour in digits") << QVariant("#010203") << QColor(1, 2, 3);
        QTest::newRow("nonsense") << QVariant("nonsense") << QColor();
        QTest::newRow("a number") << QVariant(255) << QColor();
        QTest::newRow("an invalid variant") << QVariant() << QColor();
    }

    void isReadFromAVariant()
    {
        QFETCH(QVariant, variant);
        QFETCH(QColor, color);

        const Color read = Color::fromVariant(Variant(variant));

        QCOMPARE(read.isValid(), color.isValid());
        QCOMPARE(static_cast<const QColor &>(read), color);
    }
};

QTEST_GUILESS_MAIN(tst_Color)
#include "tst_Color.moc"
