#include "data/Variant.h"

#include "data/Color.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <type_traits>

using Data::Variant;

class tst_Variant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addsNothingToAQVariant()
    {
        QCOMPARE(sizeof(Variant), sizeof(QVariant));
        QVERIFY((std::is_base_of_v<QVariant, Variant>));
        QVERIFY((std::is_convertible_v<QVariant, Variant>));
    }

    void holdsThePlainQtType_data()
    {
        QTest::addColumn<QVariant>("variant");
        QTest::addColumn<QVariant>("expected");
        const char *const utf8 = "\xc3\xa4";
        char changeable[] = "\xc3\xa4";

        // clang-format off
        QTest::newRow("nothing") << QVariant(Variant()) << QVariant();
        QTest::newRow("bool") << QVariant(Variant(true)) << QVariant(true);
        QTest::newRow("int") << QVariant(Variant(-5)) << QVariant(-5);
        QTest::newRow("double") << QVariant(Variant(1e300)) << QVariant(1e300);
        QTest::newRow("C string") << QVariant(Variant(utf8)) << QVariant(QString("\u00e4"));
        QTest::newRow("buffer") << QVariant(Variant(changeable)) << QVariant(QString("\u00e4"));
        QTest::newRow("QString") << QVariant(Variant(QString("a"))) << QVariant(QString("a"));
        QTest::newRow("String") << QVariant(Variant(Data::String("a"))) << QVariant(QString("a"));
        QTest::newRow("list") << QVariant(Variant(QStringList{"a", "b"})) << QVariant(QStringList{"a", "b"});
        QTest::newRow("QColor") << QVariant(Variant(QColor(1, 2, 3))) << QVariant(QColor(1, 2, 3));
        QTest::newRow("Color") << QVariant(Variant(Data::Color(1, 2, 3))) << QVariant(QColor(1, 2, 3));
        QTest::newRow("QVariant") << QVariant(Variant(QVariant(qint64(7)))) << QVariant(qint64(7));
        // clang-format on
    }

    void holdsThePlainQtType()
    {
        QFETCH(QVariant, variant);
        QFETCH(QVariant, expected);

        QCOMPARE(variant.userType(), expected.userType());
        QCOMPARE(variant, expected);
    }

    void takesNoPointer()
    {
        QVERIFY((!std::is_constructible_v<Variant, void *>));
        QVERIFY((!std::is_constructible_v<Variant, QObject *>));
        QVERIFY((!std::is_constructible_v<Variant, const int *>));
        QVERIFY((!std::is_constructible_v<Variant, volatile int *>));
        QVERIFY((!std::is_constructible_v<Variant, void (*)()>));
        QVERIFY((!std::is_constructible_v<Variant, int QPoint::*>));
        const auto lambda = [] {};
        QVERIFY((!std::is_constructible_v<Variant, decltype(lambda)>));
    }

    void givesTheEmptyValueOfATypeItDoesNotConvertTo()
    {
        const Variant text = "text";

        QCOMPARE(text.toInt(), 0);
        QCOMPARE(text.toDouble(), 0.0);
        QCOMPARE(Variant().toString(), Data::String());
        QCOMPARE(Variant().toBool(), false);
        QCOMPARE(Variant().toStringList(), QStringList());
        QCOMPARE(Variant(QColor()).toInt(), 0);
    }

    void convertsAsAQVariant()
    {
        QCOMPARE(Variant("12").toInt(), 12);
        QCOMPARE(Variant("1.5").toDouble(), 1.5);
        QCOMPARE(Variant("false").toBool(), false);
        QCOMPARE(Variant(3).toString(), Data::String("3"));
        QCOMPARE(Variant("a").toStringList(), QStringList("a"));
        QVERIFY((std::is_same_v<decltype(Variant().toString()), Data::String>));
    }

    void comparesAsAQVariant()
    {
        QVERIFY(Variant(1) == Variant(1.0));
        QVERIFY(Variant("5") == Variant(5.0));
        QVERIFY(!(Variant("a") == Variant("A")));
        QVERIFY(!(Variant("") == Variant()));
        QVERIFY(!Variant().isValid());
    }
};

QTEST_GUILESS_MAIN(tst_Variant)
#include "tst_Variant.moc"
