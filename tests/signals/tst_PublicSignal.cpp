#include "utils/signals/PublicSignal.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"

#include <QtTest>

using Utils::PublicSignal;

class tst_PublicSignal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mayBeBuiltByAnyoneWithANameAndAParent()
    {
        QObject parent;
        auto *const signal = new PublicSignal("Opened", &parent);

        QCOMPARE(signal->objectName(), QString("Opened"));
        QCOMPARE(signal->parent(), &parent);
        QCOMPARE(Utils::Signal::find("Opened"), static_cast<Utils::Signal *>(signal));
    }

    void sendsAsASignalDoes()
    {
        PublicSignal signal("sends", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(send(signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"}));
        QCOMPARE(sizeof(PublicSignal), sizeof(Utils::Signal));
    }

    void isASignalToTheMetaObjectSystem()
    {
        const PublicSignal signal("", nullptr);

        QVERIFY(signal.inherits("Utils::Signal"));
        QCOMPARE(QByteArray(signal.metaObject()->className()), QByteArray("Utils::PublicSignal"));
        QCOMPARE(signal.metaObject()->methodCount(), Utils::Signal::staticMetaObject.methodCount());
    }
};

QTEST_GUILESS_MAIN(tst_PublicSignal)
#include "tst_PublicSignal.moc"
