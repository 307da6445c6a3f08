// Everything in the window can be reached by the keyboard.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/process/ProcessPane.h"
#include "examples/workbench/table/TableView.h"
#include "utils/settings/Settings.h"

#include <QAbstractButton>
#include <QDockWidget>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QSplitter>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>

#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_zoomer.h>

using Workbench::PlotPane;
using Workbench::TableView;

static const SettingsHome home;

class tst_Workbench_keyboard : public QObject
{
    Q_OBJECT

private:
    static QDockWidget &dock(TestWindow &test, const char *name)
    {
        return *test.window().findChild<QDockWidget *>(name);
    }

    /// The tool that the focus is in, "Document" for that, and "none".
    static QString focused(TestWindow &test)
    {
        QWidget *const focus = QApplication::focusWidget();
        for (QDockWidget *const candidate : test.window().findChildren<QDockWidget *>()) {
            if (candidate->isAncestorOf(focus))
                return candidate->objectName();
        }
        const Workbench::DocumentTab *const tab = test.window().currentTab();
        return tab && tab->isAncestorOf(focus) ? "Document" : "none";
    }

    /// Presses F6 where the next pane may be in another window than \p window. The window manager
    /// lets a program activate one only by newer input, and the keys of a test have no time: a
    /// change of a property of the window brings it.
    static void pressF6(QWidget &window)
    {
        const QString title = window.windowTitle();
        window.setWindowTitle(title + '.');
        window.setWindowTitle(title);
        QTest::qWait(50);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F6);
        QTest::qWait(50);
    }

    /// Adds all entries of a menu, and of the menus in it.
    static void addEntries(const QMenu &menu, QSet<const QAction *> &entries)
    {
        for (const QAction *const entry : menu.actions()) {
            entries.insert(entry);
            if (entry->menu())
                addEntries(*entry->menu(), entries);
        }
    }

    static QSet<const QAction *> entriesOfMenus(TestWindow &test)
    {
        QSet<const QAction *> entries;
        for (const QAction *const menu : test.window().menuBar()->actions()) {
            if (menu->isVisible())
                addEntries(*menu->menu(), entries);
        }
        return entries;
    }

    /// Samples of each kind of document.
    static QStringList samples(TestWindow &test)
    {
        QStringList files{test.sample("bolts.csv"), test.sample("materials.tag"),
                          test.sample("frame.xml")};
#ifdef KELM_WORKBENCH_SCRIPTS
        files.append(test.file("a.py", "pass\n"));
#endif
        return files;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void commandsOfFilesHaveShortcuts_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("shortcut");

        // Qt has no standard key for some of them, depending on the desktop.
        QTest::newRow("open") << "open"
                              << "Ctrl+O";
        QTest::newRow("save") << "save"
                              << "Ctrl+S";
        QTest::newRow("save as") << "saveAs"
                                 << "Ctrl+Shift+S";
        QTest::newRow("reload") << "reload"
                                << "F5";
        QTest::newRow("close") << "close"
                               << "Ctrl+W";
        QTest::newRow("undo") << "undo"
                              << "Ctrl+Z";
        QTest::newRow("redo") << "redo"
                              << "Ctrl+Shift+Z";
        QTest::newRow("quit") << "quit"
                              << "Ctrl+Q";
    }

    void commandsOfFilesHaveShortcuts()
    {
        QFETCH(QString, command);
        QFETCH(QString, shortcut);
        TestWindow test;
        QCOMPARE(test.command(command.toUtf8())->shortcut(), QKeySequence(shortcut));
    }

    void commandsHaveTheUsualKeysOfTheSystem()
    {
        TestWindow test;
        const auto hasAll = [&](const char *command, QKeySequence::StandardKey usual) {
            const QList<QKeySequence> keys = test.command(command)->shortcuts();
            const QList<QKeySequence> wanted = QKeySequence::keyBindings(usual);
            return !wanted.isEmpty() &&
                   std::all_of(wanted.begin(), wanted.end(),
                               [&](const auto &key) { return keys.count(key) == 1; });
        };
        QVERIFY(hasAll("close", QKeySequence::Close));
        QVERIFY(hasAll("redo", QKeySequence::Redo));
    }

    void menusHaveAllCommands()
    {
        TestWindow test;
        for (const QString &file : samples(test)) {
            test.open(file);
            const QSet<const QAction *> entries = entriesOfMenus(test);
            int count = 0;
            for (const QAction *const command : test.window().findChildren<QAction *>()) {
                const auto *const pane = qobject_cast<const Workbench::Pane *>(command->parent());
                const bool isCommand = pane || command->parent() == &test.window();
                const bool isOfOther = // a document in another tab
                    pane && test.window().centralWidget()->isAncestorOf(pane) &&
                    pane != &test.window().currentTab()->view();
                if (!isCommand || isOfOther || command->objectName().isEmpty())
                    continue;
                ++count;
                QVERIFY2(entries.contains(command), qPrintable(command->objectName()));
            }
            QVERIFY(count > 40);
        }
    }

    void shortcutsDiffer()
    {
        TestWindow test;
        for (const QString &file : samples(test)) {
            test.open(file);
            QMap<QString, QString> names;
            const QSet<const QAction *> entries = entriesOfMenus(test);
            for (const QAction *const entry : entries) {
                const QString key = entry->shortcut().toString();
                QVERIFY2(key.isEmpty() || !names.contains(key),
                         qPrintable(key + ": " + names.value(key) + ", " + entry->objectName()));
                names[key] = entry->objectName();
            }
        }
    }

    void buttonsTakeTheFocusOrAreCommands()
    {
        TestWindow test;
        for (QDockWidget *const tool : test.window().findChildren<QDockWidget *>())
            tool->show();
        // Float or Dock, and the names of the docks, are in the menu Window; Close is in File.
        const QStringList others{"qt_dockwidget_floatbutton", "qt_dockwidget_closebutton",
                                 "closeTab"};
        for (const QString &file : samples(test)) {
            test.open(file);
            const QSet<const QAction *> entries = entriesOfMenus(test);
            int count = 0;
            for (const QAbstractButton *const button :
                 test.window().findChildren<QAbstractButton *>()) {
                const auto *const tool = qobject_cast<const QToolButton *>(button);
                const bool isCommand = tool && entries.contains(tool->defaultAction());
                const QObject *const parent = button->parent();
                const bool isPart = // of a field, bar or table that has its own keys
                    qobject_cast<const QLineEdit *>(parent) ||
                    qobject_cast<const QTabBar *>(parent) ||
                    qobject_cast<const QToolBar *>(parent) ||
                    qobject_cast<const QMenuBar *>(parent) ||
                    qobject_cast<const QAbstractItemView *>(parent);
                ++count;
                QVERIFY2(isCommand || isPart || button->focusPolicy() & Qt::TabFocus ||
                             others.contains(button->objectName()),
                         qPrintable(button->objectName() + ' ' + button->text()));
            }
            QVERIFY(count > 15);
        }
    }

    void f6GoesToEachPane()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        for (QDockWidget *const tool : test.window().findChildren<QDockWidget *>())
            tool->show(); // those at the bottom cover each other
        QTRY_COMPARE(focused(test), QString("Document"));
        QStringList panes;
        for (const Qt::KeyboardModifiers modifiers : {Qt::NoModifier, Qt::ShiftModifier}) {
            QStringList visited;
            do {
                test.press(Qt::Key_F6, modifiers);
                visited.append(focused(test));
                QTRY_VERIFY2(!QApplication::focusWidget()->visibleRegion().isEmpty(),
                             qPrintable(visited.last()));
            } while (visited.last() != "Document" && visited.size() < 9);
            if (!panes.isEmpty())
                std::reverse(visited.begin(), visited.end() - 1);
            if (!panes.isEmpty())
                QCOMPARE(visited, panes);
            panes = visited;
        }
        QCOMPARE(panes.size(), 1 + test.window().findChildren<QDockWidget *>().size());
    }

    void f6LeavesOutWhatIsHidden()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        for (QDockWidget *const tool : test.window().findChildren<QDockWidget *>())
            tool->hide();
        dock(test, "Plot").show();
        test.press(Qt::Key_F6);
        QCOMPARE(focused(test), QString("Plot"));
        test.press(Qt::Key_F6);
        QTRY_COMPARE(focused(test), QString("Document"));
    }

    void ctrlTabGoesToEachDocument()
    {
        TestWindow test;
        test.press(Qt::Key_Tab, Qt::ControlModifier); // there is none
        QVERIFY(!test.window().currentTab());
        const QStringList files = samples(test);
        for (const QString &file : files)
            test.open(file);
        for (const QString &file : files) {
            test.press(Qt::Key_Tab, Qt::ControlModifier);
            QCOMPARE(test.document().path(), file);
            QTRY_COMPARE(focused(test), QString("Document"));
        }
        test.press(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.document().path(), files.at(files.size() - 2));

        test.press(Qt::Key_F6); // also from a tool
        QVERIFY(focused(test) != "Document");
        test.press(Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(test.document().path(), files.last());
    }

    void f11ChangesTheSizeOfThePane_data()
    {
        QTest::addColumn<QString>("pane");
        QTest::addColumn<bool>("isWidth");

        QTest::newRow("dock at the right") << "Plot" << true;
        QTest::newRow("dock at the bottom") << "Bus" << false;
        QTest::newRow("width of the document") << "Document" << true;
        QTest::newRow("height of the document") << "Document" << false;
    }

    void f11ChangesTheSizeOfThePane()
    {
        QFETCH(QString, pane);
        QFETCH(bool, isWidth);
        TestWindow test;
        test.window().setAnimated(false); // sizes are compared
        test.window().resize(1200, 900);
        test.open(test.sample("bolts.csv"));
        dock(test, "Bus").show();
        QTest::qWait(50);
        while (focused(test) != pane)
            test.press(Qt::Key_F6);
        const QWidget &part =
            pane == "Document" ? *test.window().centralWidget() : dock(test, pane.toUtf8());
        const auto size = [&] { return isWidth ? part.width() : part.height(); };
        const int before = size();
        const Qt::KeyboardModifiers modifiers = isWidth ? Qt::NoModifier : Qt::ControlModifier;
        test.press(Qt::Key_F11, modifiers);
        QTRY_VERIFY(size() > before);
        test.press(Qt::Key_F11, modifiers | Qt::ShiftModifier);
        QTRY_COMPARE(size(), before);
        test.press(Qt::Key_F11, modifiers | Qt::ShiftModifier);
        QTRY_VERIFY(size() < before);
        QCOMPARE(focused(test), pane);
    }

    void f11ChangesThePartsOfAPane()
    {
        TestWindow test;
        test.window().setAnimated(false); // sizes are compared
        test.window().resize(1200, 900);
        test.open(test.sample("bolts.csv"));
        QTest::qWait(50);
        test.press(Qt::Key_F6);
        QCOMPARE(focused(test), QString("Plot"));
        const auto *const parts = dock(test, "Plot").findChild<QSplitter *>();
        const QList<int> before = parts->sizes();
        const int height = dock(test, "Plot").height();
        test.press(Qt::Key_F11, Qt::ControlModifier);
        QVERIFY(parts->sizes().at(0) > before.at(0));
        QVERIFY(parts->sizes().at(1) < before.at(1));
        QCOMPARE(dock(test, "Plot").height(), height);
        parts->widget(1)->setFocus(); // the statistics
        test.press(Qt::Key_F11, Qt::ControlModifier);
        QCOMPARE(parts->sizes(), before);
    }

    void aPaneIsTakenOutOfTheWindowAndBack()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        test.command("floatPane")->trigger(); // a document cannot
        QTRY_COMPARE(focused(test), QString("Document"));
        test.press(Qt::Key_F6);
        QCOMPARE(focused(test), QString("Plot"));

        test.command("floatPane")->trigger();
        QVERIFY(dock(test, "Plot").isFloating());
        QTRY_COMPARE(QApplication::activeWindow(), static_cast<QWidget *>(&dock(test, "Plot")));
        QTRY_COMPARE(focused(test), QString("Plot"));
        const int width = dock(test, "Plot").width();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F11);
        QTRY_VERIFY(dock(test, "Plot").width() > width);
        pressF6(dock(test, "Plot")); // to others, and back
        QTRY_VERIFY(focused(test) != "Plot");
        while (focused(test) != "Plot")
            pressF6(test.window());

        test.command("floatPane")->trigger();
        QVERIFY(!dock(test, "Plot").isFloating());
        QTRY_COMPARE(focused(test), QString("Plot"));
    }

    void columnsAreChosenForAPlot()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        const auto &pane = *qobject_cast<PlotPane *>(test.window().tool("Plot"));
        const auto titles = [&] {
            QStringList shown;
            for (int col = 0; col < pane.statistics().columnCount(); ++col)
                shown.append(pane.statistics().horizontalHeaderItem(col)->text());
            return shown;
        };
        test.press(Qt::Key_Right);
        QTRY_COMPARE(titles(), QStringList("Crosshead [mm]"));
        test.press(Qt::Key_Right, Qt::ShiftModifier); // and its neighbour
        QTRY_COMPARE(titles(), QStringList({"Crosshead [mm]", "Force [kN]"}));

        test.press(Qt::Key_Home);
        for (int i = 0; i < 2; ++i)
            test.press(Qt::Key_Right, Qt::ControlModifier); // past a column
        test.press(Qt::Key_Space, Qt::ControlModifier);
        QTRY_COMPARE(titles(), QStringList({"Time [s]", "Force [kN]"}));
        QCOMPARE(pane.statistics().item(0, 0)->text(), QString("1,200")); // all rows
        test.press(Qt::Key_Space, Qt::ControlModifier);
        QTRY_COMPARE(titles(), QStringList("Time [s]"));

        test.press(Qt::Key_Home);
        for (int i = 0; i < 4; ++i)
            test.press(Qt::Key_Down, Qt::ShiftModifier); // some rows
        QTRY_COMPARE(pane.statistics().item(0, 0)->text(), QString("5"));
    }

    void aColumnIsFittedToItsCells()
    {
        TestWindow test;
        const QByteArray text(300, 'x');
        test.open(test.file("a.csv", "a,b\n1,xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\n2," + text + '\n'));
        QTableView &grid = test.view<TableView>()->grid();
        const auto widthOf = [&](int length) {
            return grid.fontMetrics().horizontalAdvance(QString(length, 'x'));
        };
        QVERIFY(grid.columnWidth(1) > widthOf(30)); // all but the longest ones are whole
        QVERIFY(grid.columnWidth(1) < widthOf(300));
        const int first = grid.columnWidth(0);
        test.press(Qt::Key_Right);
        test.command("fitColumn")->trigger();
        QVERIFY(grid.columnWidth(1) > widthOf(300));
        QCOMPARE(grid.columnWidth(0), first);

        // Reading the file again leaves what the user has made wide.
        const int wide = grid.columnWidth(1);
        test.press(Qt::Key_F5);
        QCOMPARE(grid.columnWidth(1), wide);
    }

    void aPlotIsReadAndZoomed()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        test.press(Qt::Key_F6);
        auto &pane = *qobject_cast<PlotPane *>(test.window().tool("Plot"));
        QTRY_COMPARE(pane.statistics().columnCount(), 1);
        QWidget &canvas = *pane.plot().canvas();
        QCOMPARE(QApplication::focusWidget(), &canvas);
        const QwtInterval all = pane.plot().axisInterval(QwtPlot::xBottom);
        QCursor::setPos(canvas.mapToGlobal(canvas.rect().center()));
        QTRY_COMPARE(canvas.mapFromGlobal(QCursor::pos()), canvas.rect().center());

        QTest::keyClick(&canvas, Qt::Key_Return); // a corner
        for (int i = 0; i < 20; ++i) {
            QTest::keyClick(&canvas, Qt::Key_Right);
            QTest::keyClick(&canvas, Qt::Key_Down);
        }
        const QPoint corner = canvas.mapFromGlobal(QCursor::pos());
        QVERIFY(corner.x() > canvas.rect().center().x());
        QTRY_COMPARE(canvas.findChild<QwtPlotZoomer *>()->trackerPosition(), corner);
        QTest::keyClick(&canvas, Qt::Key_Return); // the other corner
        QTRY_VERIFY(pane.plot().axisInterval(QwtPlot::xBottom).width() < all.width() / 2);
        test.press(Qt::Key_0, Qt::ControlModifier);
        QCOMPARE(pane.plot().axisInterval(QwtPlot::xBottom), all);
    }
};

QTEST_MAIN(tst_Workbench_keyboard)
#include "tst_Workbench_keyboard.moc"
