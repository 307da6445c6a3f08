#include "data/VariantCollection.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <type_traits>

using Data::VariantCollection;

class tst_VariantCollection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAMapInKeyOrder()
    {
        const VariantCollection collection{{"b", 1}, {"B", 2}, {"a", 3}};

        QCOMPARE(collection.keys(), (QList<Data::String>{"B", "a", "b"}));
        QVERIFY((std::is_same_v<VariantCollection, QMap<Data::String, Data::Variant>>));
    }

    void givesTheStoredValueOrTheDefault()
    {
        const VariantCollection collection{{"a", 1}};

        QCOMPARE(collection.value("a", 5), Data::Variant(1));
        QCOMPARE(collection.value("b", 5), Data::Variant(5));
        QVERIFY(!collection.value("b").isValid());
    }

    void travelsInAVariantUnderItsOwnName()
    {
        const VariantCollection collection{{"a", 1}};

        const QVariant variant = QVariant::fromValue(collection);

        QCOMPARE(QByteArray(variant.typeName()), QByteArray("Data::VariantCollection"));
        QCOMPARE(variant.value<VariantCollection>(), collection);
    }
};

QTEST_GUILESS_MAIN(tst_VariantCollection)
#include "tst_VariantCollection.moc"
