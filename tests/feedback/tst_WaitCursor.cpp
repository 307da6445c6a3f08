#include "utils/feedback/WaitCursor.h"

#include <QGuiApplication>
#include <QtTest>

using Utils::WaitCursor;

/// The shapes of the override cursors, the one on top first. Takes them all away.
static QList<int> takeCursors()
{
    QList<int> shapes;
    while (const QCursor *cursor = QGuiApplication::overrideCursor()) {
        shapes.append(cursor->shape());
        QGuiApplication::restoreOverrideCursor();
    }
    return shapes;
}

static void pushCursor(Qt::CursorShape shape)
{
    QGuiApplication::setOverrideCursor(QCursor(shape));
}

class tst_WaitCursor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { takeCursors(); }

    void setsOneWaitCursorForItsScope()
    {
        {
            const WaitCursor waiting(false, true);
            QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor}));
            pushCursor(Qt::WaitCursor);
        }
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void doesNothingWhereItIsNotEnabled_data()
    {
        QTest::addColumn<bool>("suspend");
        QTest::newRow("set") << false;
        QTest::newRow("suspend") << true;
    }

    void doesNothingWhereItIsNotEnabled()
    {
        QFETCH(bool, suspend);
        {
            const WaitCursor inert(suspend, false);
            QVERIFY(!QGuiApplication::overrideCursor());
        }
        QVERIFY(!QGuiApplication::overrideCursor());

        pushCursor(Qt::BusyCursor);
        {
            const WaitCursor inert(suspend, false);
            QVERIFY(QGuiApplication::overrideCursor());
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::BusyCursor}));
    }

    void isNotEnabledByDefault()
    {
        const WaitCursor nothing;
        QVERIFY(!QGuiApplication::overrideCursor());

        pushCursor(Qt::BusyCursor);
        const WaitCursor suspension(true);
        QVERIFY(QGuiApplication::overrideCursor());
    }

    void nestsForFree()
    {
        {
            const WaitCursor outer(false, true);
            {
                const WaitCursor inner(false, true);
            }
            QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor}));
            pushCursor(Qt::WaitCursor);
        }
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void leavesTheCursorOfOthersAlone()
    {
        pushCursor(Qt::CrossCursor);
        {
            const WaitCursor waiting(false, true);
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::CrossCursor}));
    }

    void clearsTheCursorsThatOthersSetInItsScope()
    {
        {
            const WaitCursor waiting(false, true);
            pushCursor(Qt::CrossCursor);
            pushCursor(Qt::BusyCursor);
        }
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void hasNothingToClearWhereOthersDidIt()
    {
        WaitCursor waiting(false, true);
        takeCursors();

        waiting.reset();

        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void suspendsTheWholeStackAndPutsOneWaitCursorBack()
    {
        pushCursor(Qt::CrossCursor);
        pushCursor(Qt::BusyCursor);
        {
            const WaitCursor suspension(true, true);
            QVERIFY(!QGuiApplication::overrideCursor());
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor}));
    }

    void suspendsNothingWhereNoCursorIsSet()
    {
        {
            const WaitCursor suspension(true, true);
            QVERIFY(!QGuiApplication::overrideCursor());
        }
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void endsASuspensionOnTopOfTheCursorsOfOthers()
    {
        pushCursor(Qt::WaitCursor);
        {
            const WaitCursor suspension(true, true);
            pushCursor(Qt::CrossCursor);
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor, Qt::CrossCursor}));
    }

    void isOutlivedByTheCursorOfASuspensionInsideIt()
    {
        {
            WaitCursor waiting(false, true);
            const WaitCursor suspension(true, true);
            waiting.reset();
            QVERIFY(!QGuiApplication::overrideCursor());
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor}));
    }

    void undoesItsChangeOnceAtAReset_data()
    {
        QTest::addColumn<bool>("suspend");
        QTest::newRow("set") << false;
        QTest::newRow("suspend") << true;
    }

    void undoesItsChangeOnceAtAReset()
    {
        QFETCH(bool, suspend);
        if (suspend)
            pushCursor(Qt::WaitCursor);
        {
            WaitCursor waiting(suspend, true);
            waiting.reset();
            QCOMPARE(takeCursors(), suspend ? QList<int>({Qt::WaitCursor}) : QList<int>());

            pushCursor(Qt::BusyCursor);
            waiting.reset();
            QCOMPARE(takeCursors(), QList<int>({Qt::BusyCursor}));
            pushCursor(Qt::BusyCursor);
        }
        QCOMPARE(takeCursors(), QList<int>({Qt::BusyCursor}));
    }

    void undoesItsChangeAgainWithEachCopy()
    {
        WaitCursor waiting(false, true);
        WaitCursor copy(waiting);
        WaitCursor assigned;
        assigned = waiting;
        QCOMPARE(takeCursors(), QList<int>({Qt::WaitCursor})); // a copy sets nothing by itself

        for (WaitCursor *cursor : {&waiting, &copy, &assigned}) {
            pushCursor(Qt::CrossCursor);
            cursor->reset();
            QVERIFY(!QGuiApplication::overrideCursor());
        }
    }

    void tellsWhetherAnyCursorIsSet()
    {
        QVERIFY(!WaitCursor::activated());
        pushCursor(Qt::CrossCursor);
        QVERIFY(WaitCursor::activated());
        QGuiApplication::restoreOverrideCursor();
        QVERIFY(!WaitCursor::activated());
    }

    void isNoBiggerThanItsState() { QCOMPARE(sizeof(WaitCursor), sizeof(qint32)); }
};

QTEST_MAIN(tst_WaitCursor)
#include "tst_WaitCursor.moc"
