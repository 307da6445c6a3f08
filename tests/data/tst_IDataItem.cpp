#include "data/IDataItem.h"

#include "tests/support/Print.h"

#include <QtTest>

class Beam : public Data::IDataItem
{
public:
    Data::String toString() const override { return "beam"; }
};
Q_DECLARE_METATYPE(Beam *)

class tst_IDataItem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void travelsAsAPointerUnderItsTypeName()
    {
        Beam beam;

        const Data::Variant variant = Data::itemVariant(&beam);

        QCOMPARE(variant.userType(), Data::itemTypeId());
        QCOMPARE(QByteArray(variant.typeName()), QByteArray("Data::IDataItem*"));
        QCOMPARE(Data::itemOf(variant), static_cast<Data::IDataItem *>(&beam));
        QCOMPARE(Data::itemOf(variant)->toString(), Data::String("beam"));
    }

    void hasOneTypeIdForTheWholeProcess()
    {
        QCOMPARE(Data::itemTypeId(), QMetaType::type("Data::IDataItem*"));
        QCOMPARE(Data::itemTypeId(), qMetaTypeId<Data::IDataItem *>());
        QVERIFY(Data::itemTypeId() >= QMetaType::User);
    }

    void mayBeNull()
    {
        const Data::Variant variant = Data::itemVariant(nullptr);

        QCOMPARE(variant.userType(), Data::itemTypeId());
        QVERIFY(!Data::itemOf(variant));
    }

    void isNotWhatHasAnotherType()
    {
        Beam beam;

        QVERIFY(!Data::itemOf(Data::Variant()));
        QVERIFY(!Data::itemOf(Data::Variant(1)));
        QVERIFY(!Data::itemOf(QVariant::fromValue(&beam)));
    }
};

QTEST_GUILESS_MAIN(tst_IDataItem)
#include "tst_IDataItem.moc"
