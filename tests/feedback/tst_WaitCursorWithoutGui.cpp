#include "utils/feedback/WaitCursor.h"

#include <QGuiApplication>
#include <QtTest>

#include <memory>

using Utils::WaitCursor;

static int argumentCount = 1;
static char programName[] = "tst_WaitCursorWithoutGui";
static char *arguments[] = {programName, nullptr};

class tst_WaitCursorWithoutGui : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void doesNothing_data()
    {
        QTest::addColumn<bool>("hasApplication");
        QTest::addColumn<bool>("suspend");

        QTest::newRow("set, no application at all") << false << false;
        QTest::newRow("suspend, no application at all") << false << true;
        QTest::newRow("set, console application") << true << false;
        QTest::newRow("suspend, console application") << true << true;
    }

    void doesNothing()
    {
        QFETCH(bool, hasApplication);
        QFETCH(bool, suspend);
        std::unique_ptr<QCoreApplication> application;
        if (hasApplication)
            application = std::make_unique<QCoreApplication>(argumentCount, arguments);
        {
            WaitCursor waiting(suspend, true);
            QVERIFY(!WaitCursor::activated());
            waiting.reset();
            const WaitCursor other(suspend, true);
        }
        QVERIFY(!WaitCursor::activated());
    }

    void hasNothingToUndoInAnApplicationThatComesLater()
    {
        WaitCursor waiting(false, true);
        WaitCursor suspension(true, true);
        const QGuiApplication application(argumentCount, arguments);
        QGuiApplication::setOverrideCursor(QCursor(Qt::CrossCursor));

        waiting.reset();
        QVERIFY(WaitCursor::activated());
        QGuiApplication::restoreOverrideCursor();
        suspension.reset();
        QVERIFY(!WaitCursor::activated());
    }

    void outlivesItsApplication_data()
    {
        QTest::addColumn<bool>("suspend");
        QTest::newRow("set") << false;
        QTest::newRow("suspend") << true;
    }

    void outlivesItsApplication()
    {
        QFETCH(bool, suspend);
        auto application = std::make_unique<QGuiApplication>(argumentCount, arguments);
        if (suspend)
            QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
        WaitCursor waiting(suspend, true);
        QCOMPARE(WaitCursor::activated(), !suspend);

        application.reset();

        QVERIFY(!WaitCursor::activated());
        waiting.reset();
    }
};

QTEST_APPLESS_MAIN(tst_WaitCursorWithoutGui)
#include "tst_WaitCursorWithoutGui.moc"
