#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/RecentFiles.h"
#include "examples/workbench/bus/BusPane.h"
#include "examples/workbench/bus/SendModel.h"
#include "examples/workbench/table/TableView.h"
#include "tests/support/ProcessorTime.h"
#include "utils/settings/SettingsSlot.h"
#include "utils/signals/PublicSignal.h"

#include <QDockWidget>
#include <QElapsedTimer>
#include <QLabel>
#include <QScrollBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>

#include <utility>

using Utils::PublicSignal;
using Utils::Signal;
using Workbench::BusPane;
using Workbench::SendModel;
namespace Preferences = Workbench::Preferences;

static const SettingsHome home;

class tst_Workbench_bus : public QObject
{
    Q_OBJECT

private:
    static BusPane &pane(TestWindow &test)
    {
        return *qobject_cast<BusPane *>(test.window().tool("Bus"));
    }

    static int numRows(TestWindow &test) { return pane(test).sends().rowCount(); }

    static QString cell(TestWindow &test, int row, SendModel::Column column)
    {
        return pane(test).sends().index(row, column).data().toString();
    }

    static QStringList names(TestWindow &test)
    {
        QStringList found;
        for (int row = 0; row < numRows(test); ++row)
            found.append(cell(test, row, SendModel::Name));
        return found;
    }

    static QString count(TestWindow &test)
    {
        return pane(test).findChild<QLabel *>("busCount")->text();
    }

    /// Clicks the button of a command.
    static void click(TestWindow &test, const char *command)
    {
        for (QToolButton *const button : pane(test).findChildren<QToolButton *>()) {
            if (button->defaultAction() == test.command(command))
                QTest::mouseClick(button, Qt::LeftButton);
        }
    }

    /// What the program sends of its documents, a line for each.
    class Received
    {
    public:
        Received()
        {
            for (const char *const name : {"DocumentOpened", "DocumentSaved", "DocumentClosed"}) {
                Signal::find(name)->connect(&m_context, [=](const Data::VariantCollection &data) {
                    m_lines.append(QStringList{name, data["kind"].toString(),
                                               QFileInfo(data["path"].toString()).fileName()}
                                       .join(' '));
                    m_isComplete = m_isComplete && data.size() == 2 &&
                                   QFileInfo(data["path"].toString()).isAbsolute();
                });
            }
        }

        bool isComplete() const { return m_isComplete; }
        QStringList take() { return std::exchange(m_lines, {}); }

    private:
        QObject m_context; // the connections end with it
        QStringList m_lines;
        bool m_isComplete = true;
    };

    static void send(PublicSignal &signal, int times)
    {
        for (int i = 0; i < times; ++i)
            signal.sendSignals();
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void busShowsSendsOnlyWhenItIsWanted()
    {
        TestWindow test;
        QVERIFY(!pane(test).isVisible());
        PublicSignal opened("JointOpened", nullptr);
        send(opened, 3);

        test.press(Qt::Key_F7, Qt::ControlModifier); // which shows the pane
        QVERIFY(pane(test).isVisible());
        PublicSignal refreshed("Refreshed", nullptr);
        opened.connect([&] { refreshed.sendSignals(); });
        opened.addData("path", "a.csv").addData("rows", 12);
        opened.sendSignals();
        QTRY_COMPARE(numRows(test), 2);

        QCOMPARE(names(test), QStringList({QString(2, QChar::Nbsp) + "Refreshed", "JointOpened"}));
        QCOMPARE(cell(test, 0, SendModel::Payload), QString("empty"));
        QCOMPARE(cell(test, 1, SendModel::Payload), QString("collection"));
        QCOMPARE(cell(test, 1, SendModel::Receivers), QString("1"));
        QVERIFY(cell(test, 1, SendModel::Duration).toDouble() >=
                cell(test, 0, SendModel::Duration).toDouble());
        QVERIFY(QTime::fromString(cell(test, 1, SendModel::Time), "HH:mm:ss.zzz").isValid());

        test.press(Qt::Key_F7, Qt::ControlModifier);
        send(opened, 3);
        QTest::qWait(300);
        QCOMPARE(numRows(test), 2);
    }

    void busDoesNotTraceItself()
    {
        TestWindow test;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        PublicSignal opened("JointOpened", nullptr);
        send(opened, 50);
        QTRY_COMPARE(numRows(test), 50);
        QTest::qWait(500); // it is updated several times meanwhile
        QCOMPARE(pane(test).sends().numSends(), qint64(50));
    }

    void busShowsChangesOfSettings()
    {
        TestWindow test;
        int numReceived = 0;
        PublicSignal nested("JointChanged", nullptr);
        Utils::SettingsSlot slot(Preferences::memoryLimit.key(), nullptr);
        slot.setCallback([&] {
            ++numReceived;
            nested.sendSignals();
        });
        test.press(Qt::Key_F7, Qt::ControlModifier);
        QVERIFY(Preferences::memoryLimit.set(100));
        QTRY_VERIFY(names(test).contains("SettingChanged"));

        const int row = names(test).indexOf("SettingChanged");
        QVERIFY(cell(test, row, SendModel::Receivers).toInt() > 1); // the window and the test
        QCOMPARE(numReceived, 1);
        QVERIFY(names(test).contains(QString(2, QChar::Nbsp) + "JointChanged"));
    }

    void busTellsWhatHappensToDocuments_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("kind");

        QTest::newRow("table") << "a.csv" << QByteArray("a,b\n1,2\n") << "Table";
        QTest::newRow("other name") << "a.log" << QByteArray("a,b\n1,2\n") << "Table";
        QTest::newRow("tags") << "a.tag" << QByteArray("*TYPE\nname: a\nversion: 1\n") << "TagFile";
        QTest::newRow("XML") << "a.xml" << QByteArray("<a version=\"1\"/>\n") << "XmlDocument";
#ifdef KELM_WORKBENCH_SCRIPTS
        QTest::newRow("script") << "a.py" << QByteArray("pass\n") << "Script";
#endif
    }

    void busTellsWhatHappensToDocuments()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, contents);
        QFETCH(QString, kind);
        TestWindow test;
        Received received;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        const QString path = test.file(name, contents);
        test.open(path);
        test.open(path); // which is open already
        QCOMPARE(received.take(), QStringList("DocumentOpened " + kind + ' ' + name));

        const QString other = "other" + name;
        test.answerFileDialog(test.path(other));
        test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(received.take(), QStringList("DocumentSaved " + kind + ' ' + other));
        test.press(Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(received.take(), QStringList("DocumentClosed " + kind + ' ' + other));
        QVERIFY(received.isComplete());

        // In the view, with those who receive it: the list of recent files, and this test.
        QCOMPARE(Workbench::RecentFiles::paths(), QStringList({test.path(other), path}));
        QTRY_COMPARE(names(test).filter("Document"),
                     QStringList({"DocumentOpened", "DocumentSaved", "DocumentClosed"}));
        const QMap<QString, QString> numReceivers{
            {"DocumentOpened", "2"}, {"DocumentSaved", "2"}, {"DocumentClosed", "1"}};
        for (int row = 0; row < numRows(test); ++row) {
            const QString sent = cell(test, row, SendModel::Name);
            if (numReceivers.contains(sent)) {
                QCOMPARE(cell(test, row, SendModel::Receivers), numReceivers.value(sent));
                QCOMPARE(cell(test, row, SendModel::Payload), QString("collection"));
            }
        }
    }

    void busTellsNothingThatHasNotHappened()
    {
        TestWindow test;
        Received received;
        test.onDialog([](QWidget *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
        test.window().openFiles({test.path("none.csv")});
        QCOMPARE(received.take(), QStringList());

        const QString folder = test.path("folder");
        QVERIFY(QDir().mkdir(folder));
        test.open(test.file("folder/a.csv", "a,b\n1,2\n"));
        received.take();
        QTableView &grid = test.view<Workbench::TableView>()->grid();
        TestWindow::changeCell(grid, grid.model()->index(0, 0), "7");
        QVERIFY(QDir(folder).removeRecursively());
        test.onDialog([](QWidget *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
        test.press(Qt::Key_S, Qt::ControlModifier); // the folder is gone
        QVERIFY(test.document().isChanged());
        test.onDialog(
            [](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Cancel); });
        test.press(Qt::Key_W, Qt::ControlModifier);
        QVERIFY(test.window().currentTab());
        QCOMPARE(received.take(), QStringList());
    }

    void busTellsThatDocumentsAreClosedWithTheWindow()
    {
        QStringList closed;
        {
            TestWindow test;
            test.open(test.file("a.csv", "a,b\n1,2\n"));
            test.open(test.file("b.csv", "a,b\n1,2\n"));
            Signal::find("DocumentClosed")->connect([&](const Data::VariantCollection &data) {
                closed.append(QFileInfo(data["path"].toString()).fileName());
            });
            test.window().close();
            QCOMPARE(closed, QStringList()); // the documents exist until the program ends
        }
        QCOMPARE(closed, QStringList({"a.csv", "b.csv"}));
    }

    void busLetsAReceiverCloseTheDocument()
    {
        TestWindow test;
        const auto close = [&] { test.window().closeTab(test.window().currentTab()); };
        test.open(test.file("a.csv", "a,b\n1,2\n"));
        Signal::find("DocumentOpened")->connectOnce(close);
        test.open(test.file("b.csv", "a,b\n1,2\n"));
        QCOMPARE(test.window().tabs().size(), 1);

        Signal::find("DocumentSaved")->connectOnce(close);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(test.window().tabs().size(), 0);
        QTest::qWait(50); // the tabs end in the event loop
    }

    void busPausesAndIsCleared()
    {
        TestWindow test;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        PublicSignal opened("JointOpened", nullptr);
        send(opened, 5);
        QTRY_COMPARE(numRows(test), 5);

        click(test, "pauseBus");
        send(opened, 5);
        QTest::qWait(300);
        QCOMPARE(numRows(test), 5);
        click(test, "pauseBus");
        QTRY_COMPARE(numRows(test), 10); // what was sent meanwhile is kept
        QCOMPARE(count(test), QString("10 sends"));

        click(test, "clearBus");
        QCOMPARE(numRows(test), 0);
        QCOMPARE(count(test), QString("0 sends"));
    }

    void busFiltersByName()
    {
        TestWindow test;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        PublicSignal opened("JointOpened", nullptr);
        PublicSignal closed("JointClosed", nullptr);
        send(opened, 3);
        send(closed, 2);
        QTRY_COMPARE(numRows(test), 5);

        auto *const filter = pane(test).findChild<QLineEdit *>("busFilter");
        filter->setFocus();
        QTest::keyClicks(filter, "CLOSED");
        QCOMPARE(names(test), QStringList({"JointClosed", "JointClosed"}));
        send(opened, 3);
        send(closed, 1);
        QTRY_COMPARE(numRows(test), 3);
        QTest::keyClick(filter, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(filter, Qt::Key_Delete);
        QCOMPARE(numRows(test), 9);
    }

    void busKeepsTheLastSends()
    {
        TestWindow test;
        QVERIFY(Preferences::busLength.set(100));
        test.press(Qt::Key_F7, Qt::ControlModifier);
        PublicSignal a("First", nullptr);
        PublicSignal b("Second", nullptr);
        send(a, 80);
        QTRY_COMPARE(numRows(test), 80);
        TestWindow::clickCell(pane(test).table(), pane(test).table().model()->index(75, 1));
        send(b, 70);
        QTRY_COMPARE(count(test), QString("150 sends"));
        QCOMPARE(numRows(test), 100);
        QCOMPARE(names(test).count("First"), 30);
        QCOMPARE(names(test).last(), QString("Second"));
        QCOMPARE(pane(test).table().currentIndex().row(), 25); // the selection moves with its row

        send(a, 1000);
        QTRY_COMPARE(names(test).count("First"), 100);
        QCOMPARE(numRows(test), 100);
    }

    void busStaysSmoothWithManySends()
    {
        TestWindow test;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        PublicSignal moved("Moved", nullptr);
        moved.connect([] {});
        double longest = 0.0; // of processor time: other programs may compute, too
        qint64 numSent = 0;
        QElapsedTimer total;
        total.start();
        while (total.elapsed() < 2000) {
            // 100,000 a second, in portions of a millisecond of that rate.
            while (numSent < total.elapsed() * 100) {
                moved.sendSignals();
                ++numSent;
            }
            const double start = processorTime();
            QCoreApplication::processEvents();
            longest = qMax(longest, processorTime() - start);
        }
        const double pause = 1000.0 * longest;
        qInfo("%lld sends in %lld ms; the longest pause was %.0f ms",
              static_cast<long long>(numSent), static_cast<long long>(total.elapsed()), pause);
        QVERIFY2(pause < 200, qPrintable(QString::number(pause))); // also with sanitizers
        QTRY_COMPARE(pane(test).sends().numSends(), numSent);
        QTRY_COMPARE(numRows(test), Preferences::busLength.value());
        const QScrollBar *const bar = pane(test).table().verticalScrollBar();
        QCOMPARE(bar->value(), bar->maximum());
    }

    void busEndsWithTheWindow()
    {
        TestWindow test;
        test.press(Qt::Key_F7, Qt::ControlModifier);
        test.restart();
        PublicSignal opened("JointOpened", nullptr);
        send(opened, 3); // no tracer of the old window
        QTest::qWait(300);
        QCOMPARE(numRows(test), 0);
        QVERIFY(!test.command("traceBus")->isChecked());
    }
};

QTEST_MAIN(tst_Workbench_bus)
#include "tst_Workbench_bus.moc"
