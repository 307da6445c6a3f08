#include "data/IDataItem.h"
#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"

#include "tests/support/Print.h"
#include "utils/Application.h"

#include <QtTest>

// Nothing before these tests asks for a type by its C++ name, which would register it as well.
class tst_MetaTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Utils::setApplication(nullptr); } // so that the library is linked at all

    void areKnownByNameOnceTheLibraryIsLoaded_data()
    {
        QTest::addColumn<QByteArray>("name");

        QTest::newRow("text") << QByteArray("Data::String");
        QTest::newRow("value") << QByteArray("Data::Variant");
        QTest::newRow("payload") << QByteArray("Data::VariantCollection");
        QTest::newRow("item") << QByteArray("Data::IDataItem*");
    }

    void areKnownByNameOnceTheLibraryIsLoaded()
    {
        QFETCH(QByteArray, name);

        const int type = QMetaType::type(name);

        QVERIFY(type != QMetaType::UnknownType);
        QCOMPARE(QByteArray(QMetaType::typeName(type)), name);
    }

    void letAStringOfOursInAVariantBeReadAsText()
    {
        const QVariant variant = QVariant::fromValue(Data::String("abc"));

        QCOMPARE(variant.toString(), QString("abc"));
    }
};

QTEST_GUILESS_MAIN(tst_MetaTypes)
#include "tst_MetaTypes.moc"
