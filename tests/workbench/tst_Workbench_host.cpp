// The host of the window: progress, Cancel and the wait cursor, by the keyboard and the mouse.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/table/RowSearch.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "tests/support/ProcessorTime.h"
#include "utils/feedback/Progress.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QStatusBar>
#include <QTableView>
#include <QWindow>

#include <algorithm>
#include <numeric>

using Utils::Progress;
using Workbench::TableView;

static const SettingsHome home;

class tst_Workbench_host : public QObject
{
    Q_OBJECT

private:
    static QWidget *display(TestWindow &test, bool popup)
    {
        return test.window().findChild<QWidget *>(popup ? "progressWindow" : "progress");
    }

    static QStringList labels(const QWidget *display)
    {
        QStringList texts;
        for (const QLabel *const label : display->findChildren<QLabel *>())
            texts.append(label->text());
        return texts;
    }

    static QPushButton *cancelButton(const QWidget *display)
    {
        return display->findChild<QPushButton *>();
    }

    /// Steps through \p task until it is cancelled, or for ten seconds. False when it was not.
    static bool isCancelled(Progress &task)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 10000) {
            QTest::qSleep(5);
            if (!task.tick())
                return true;
        }
        return false;
    }

    /// Calls \p act a little later, while the task runs.
    static void later(TestWindow &test, const std::function<void()> &act)
    {
        QTimer::singleShot(100, &test.window(), act);
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void hostShowsATaskInTheStatusBar()
    {
        TestWindow test;
        QWidget *const shown = display(test, false);
        QVERIFY(test.window().statusBar()->isAncestorOf(shown));
        QVERIFY(!shown->isVisible());
        {
            Progress task(100, "Measuring", /*cancelable=*/true);
            QVERIFY(!shown->isVisible()); // not for a short task
            task.show();
            QVERIFY(shown->isVisible());
            task.tick(40);
            QVERIFY(labels(shown).contains("Measuring"));
            QCOMPARE(shown->findChild<QProgressBar *>()->text(), QString("40%"));
            QVERIFY(cancelButton(shown)->isVisible());
            QVERIFY(!display(test, true)->isVisible());
        }
        QVERIFY(!shown->isVisible());
    }

    void hostShowsSortingByTextAsOneTask()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Name\n" + QByteArray("b\na\nc\n").repeated(1000)));
        auto &document = static_cast<Workbench::TableDocument &>(test.document());
        QVector<int> rows(3000);
        std::iota(rows.begin(), rows.end(), 0);
        Progress task(0, "Measuring");
        task.show();
        auto *const bar = display(test, false)->findChild<QProgressBar *>();
        QVector<double> parts; // of the whole, one after the other
        connect(bar, &QProgressBar::valueChanged, this, [&](int value) {
            if (bar->maximum() > 0)
                parts.append(double(value) / bar->maximum());
        });

        const auto sorted = Workbench::sortedRows(document, rows, 0, /*ascending=*/true);
        bar->disconnect(this);

        QVERIFY(sorted && sorted->constFirst() == 1);
        QVERIFY2(parts.size() > 10, qPrintable(QString::number(parts.size())));
        QVERIFY(std::is_sorted(parts.cbegin(), parts.cend()));
    }

    void hostShowsATaskInAWindowOfItsOwn()
    {
        TestWindow test;
        QWidget *const shown = display(test, true);
        {
            QElapsedTimer timer;
            timer.start();
            Progress task(1000, "Measuring", /*cancelable=*/true, /*waitCursor=*/false,
                          /*popup=*/true);
            task.show();
            QVERIFY(shown->isVisible());
            QVERIFY(shown->isWindow());
            QVERIFY(!shown->isModal());
            for (int i = 0; i < 50; ++i) {
                QTest::qSleep(5);
                task.tick(10);
            }
            const QStringList texts = labels(shown);
            QVERIFY2(texts.contains("Measuring"), qPrintable(texts.join('|')));
            // As long as the first half has taken, which other programs may make longer.
            const int most = int(timer.elapsed() * 11 / 10 + 999) / 1000;
            QStringList possible{"1 second left"};
            for (int seconds = 2; seconds <= most; ++seconds)
                possible.append(QString("%1 seconds left").arg(seconds));
            const bool isTold = std::any_of(texts.begin(), texts.end(), [&](const QString &text) {
                return possible.contains(text);
            });
            QVERIFY2(isTold, qPrintable(texts.join('|')));
            QCOMPARE(shown->findChild<QProgressBar *>()->text(), QString("50%"));
            QVERIFY(!display(test, false)->isVisible());
        }
        QVERIFY(!shown->isVisible());
    }

    void hostHasNoCancelForATaskThatCannotBeCancelled()
    {
        TestWindow test;
        Progress task(10, "Measuring");
        task.show();
        QVERIFY(!cancelButton(display(test, false))->isVisible());
    }

    void hostCancels_data()
    {
        QTest::addColumn<bool>("popup");
        QTest::addColumn<QString>("way");

        for (const bool popup : {false, true}) {
            for (const char *const way : {"Esc", "button", "button by the keyboard"})
                QTest::addRow("%s, %s", popup ? "window" : "status bar", way) << popup << way;
        }
        QTest::newRow("window, its close button") << true << "close";
    }

    void hostCancels()
    {
        QFETCH(bool, popup);
        QFETCH(QString, way);
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        Progress task(0, "Measuring", /*cancelable=*/true, /*waitCursor=*/false, popup);
        task.show();
        QWidget *const shown = display(test, popup);
        later(test, [&] {
            if (way == "Esc") {
                QWidget *const focus = QApplication::focusWidget();
                QTest::keyClick(focus ? focus : &test.window(), Qt::Key_Escape);
            } else if (way == "button") {
                QTest::mouseClick(cancelButton(shown), Qt::LeftButton);
            } else if (way == "close") {
                shown->windowHandle()->close();
            } else {
                cancelButton(shown)->setFocus();
                QTest::keyClick(cancelButton(shown), Qt::Key_Space);
            }
        });

        QVERIFY(isCancelled(task));

        QVERIFY(test.window().isVisible());
        QVERIFY(shown->isVisible()); // until the task has ended
    }

    void hostClosesTheWindowAfterTheTask()
    {
        TestWindow test;
        {
            Progress task(0, "Measuring", /*cancelable=*/true);
            task.show();
            later(test, [&] { test.window().windowHandle()->close(); });
            QVERIFY(isCancelled(task));
            QVERIFY(test.window().isVisible());
        }
        QTRY_VERIFY(!test.window().isVisible());
    }

    void hostTakesNoOtherInputDuringATask()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        QTableView &grid = test.view<TableView>()->grid();
        TestWindow::clickCell(grid, grid.model()->index(0, 0));
        bool hasTried = false;
        {
            Progress task(0, "Measuring", /*cancelable=*/true);
            task.show();
            later(test, [&] {
                const QRect cell = grid.visualRect(grid.model()->index(2, 1));
                QTest::mouseClick(grid.viewport(), Qt::LeftButton, {}, cell.center());
                QTest::keyClick(&grid, Qt::Key_Down);
                QTest::keyClick(&grid, Qt::Key_G, Qt::ControlModifier); // a dialog
                QTest::keyClick(&grid, Qt::Key_W, Qt::ControlModifier); // closes the tab
                hasTried = true;
                QTest::keyClick(&grid, Qt::Key_Escape);
            });
            QVERIFY(isCancelled(task));
        }
        QVERIFY(hasTried);
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(test.view<TableView>());
        QCOMPARE(grid.currentIndex(), grid.model()->index(0, 0));

        QTest::keyClick(&grid, Qt::Key_Down); // afterwards it does
        QCOMPARE(grid.currentIndex(), grid.model()->index(1, 0));
    }

    void hostShowsTheWaitCursor()
    {
        TestWindow test;
        {
            const Progress task(10, "Measuring", /*cancelable=*/false, /*waitCursor=*/true);
            QVERIFY(QApplication::overrideCursor());
            QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
        }
        QVERIFY(!QApplication::overrideCursor());
    }

    void hostShowsNestedTasks()
    {
        TestWindow test;
        const QWidget *const shown = display(test, false);
        const auto *const bar = shown->findChild<QProgressBar *>();
        Progress outer(10, "Files", /*cancelable=*/true);
        outer.show();
        outer.tick(3);
        QCOMPARE(bar->text(), QString("30%"));
        {
            Progress inner(10, "Rows");
            inner.tick(8);
            QVERIFY(labels(shown).contains("Rows"));
            QCOMPARE(bar->text(), QString("80%"));

            Progress popup(10, "Solver", /*cancelable=*/true, /*waitCursor=*/false,
                           /*popup=*/true);
            popup.show();
            QVERIFY(display(test, true)->isVisible());
            QVERIFY(labels(display(test, true)).contains("Solver"));
            QVERIFY(labels(shown).contains("Rows"));
        }
        QVERIFY(!display(test, true)->isVisible());
        QVERIFY(shown->isVisible());
        QVERIFY(labels(shown).contains("Files"));
        QCOMPARE(bar->text(), QString("30%"));
    }

    void hostSpendsLittleTimeOnEachReport()
    {
        TestWindow test;
        Progress task(0, "Measuring"); // without an end each step is reported
        task.show();
        const double start = processorTime(); // other programs may compute, too
        for (int i = 0; i < 200000; ++i)
            task.tick();
        const double seconds = processorTime() - start;
        // 0.03 s; it was 2 s when each report set the bar and the text.
        QVERIFY2(seconds < 1.0, qPrintable(QString::number(seconds)));
    }
};

QTEST_MAIN(tst_Workbench_host)
#include "tst_Workbench_host.moc"
