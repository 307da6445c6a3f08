#include "utils/Application.h"

#include "utils/Application_p.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/Vtable.h"

#include <QtTest>

using Utils::application;
using Utils::setApplication;

class tst_Application : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setApplication(nullptr); }

    void hasNoHostUntilOneIsSet() { QVERIFY(!application()); }

    void holdsTheLatestHost()
    {
        FakeHost first;
        FakeHost second;

        setApplication(&first);
        QCOMPARE(application(), static_cast<Data::IApplication *>(&first));
        setApplication(&second);
        QCOMPARE(application(), static_cast<Data::IApplication *>(&second));
    }

    void forgetsTheHostAtNull()
    {
        FakeHost host;
        setApplication(&host);

        setApplication(nullptr);

        QVERIFY(!application());
    }

    void neverDeletesTheHost()
    {
        bool isDead = false;
        struct MortalHost : FakeHost
        {
            explicit MortalHost(bool &dead) : m_dead(dead) {}
            ~MortalHost() override { m_dead = true; }
            bool &m_dead;
        };
        {
            MortalHost host(isDead);
            setApplication(&host);
            setApplication(nullptr);
            QVERIFY(!isDead);
        }
        QVERIFY(isDead);
    }

    void declaresTheHostOperationsInTheirOrder()
    {
        using Host = Data::IApplication;
        QCOMPARE(vtableIndex(&Host::getVariable), 0);
        QCOMPARE(vtableIndex(&Host::showMessage), 1);
        QCOMPARE(vtableIndex(&Host::logMessage), 2);
        QCOMPARE(vtableIndex(&Host::setProgress), 3);
        QCOMPARE(vtableIndex(&Host::setProgressLabel), 4);
        QCOMPARE(vtableIndex(&Host::showProgress), 5);
    }
};

QTEST_GUILESS_MAIN(tst_Application)
#include "tst_Application.moc"
