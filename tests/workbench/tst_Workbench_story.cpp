// A whole afternoon with the program as one story, through the real window with keyboard and mouse.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/PlotPane.h"
#ifdef KELM_WORKBENCH_SCRIPTS
#include "examples/workbench/output/OutputView.h"
#include "examples/workbench/script/ScriptView.h"
#endif
#include "examples/workbench/table/TableView.h"
#include "examples/workbench/trees/TreeView.h"

#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>
#include <QTreeView>

#include <qwt_plot.h>

#include <vector>

using Workbench::PlotPane;
using Workbench::TableView;
using Workbench::TreeView;

static const SettingsHome home;

static const char sampleName[] = "load_curve.csv"; // Time, Crosshead, Force, Strain, Temperature
static const int force = 2;                        // the number of a column

// What the hands do.

static QTableView &grid(TestWindow &test) { return test.view<TableView>()->grid(); }

static QString cell(TestWindow &test, int row, int col)
{
    return grid(test).model()->index(row, col).data().toString();
}

static int numRows(TestWindow &test) { return grid(test).model()->rowCount(); }

static void clickCell(TestWindow &test, int row, int col)
{
    TestWindow::clickCell(grid(test), grid(test).model()->index(row, col));
}

/// Clicks the headers of columns, all but the first with Ctrl.
static void clickHeaders(TestWindow &test, const QList<int> &cols)
{
    TestWindow::clickHeaders(grid(test), cols);
}

/// Replaces the text of a cell.
static void typeInto(TestWindow &test, int row, int col, const QString &text)
{
    TestWindow::changeCell(grid(test), grid(test).model()->index(row, col), text);
}

/// Types a text and Return to where the focus is.
static void typeLine(const QString &text)
{
    QTest::keyClicks(QApplication::focusWidget(), text);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
}

/// Clicks the entry with a text in a menu that is shown.
static void clickEntry(QMenu *menu, const QString &text)
{
    QTRY_VERIFY(menu->isVisible());
    for (QAction *const action : menu->actions()) {
        if (action->text() == text) {
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
            return;
        }
    }
    QFAIL(qPrintable("no entry " + text));
}

/// Opens a menu of the menu bar by a click, and in it one of its menus; \p titles are their texts.
static QMenu *openMenu(TestWindow &test, const char *title, const char *inner)
{
    QMenuBar *const bar = test.window().menuBar();
    for (QAction *const action : bar->actions()) {
        if (action->text() != Workbench::text(title))
            continue;
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(action).center());
        clickEntry(action->menu(), Workbench::text(inner));
        for (QAction *const entry : action->menu()->actions()) {
            if (entry->text() == Workbench::text(inner))
                return entry->menu();
        }
    }
    return nullptr;
}

/// Clicks a button in the current tab.
static void clickButton(TestWindow &test, const char *title)
{
    const auto find = [&]() -> QPushButton * {
        for (QPushButton *const button : test.window().currentTab()->findChildren<QPushButton *>())
        {
            if (button->text() == Workbench::text(title) && button->isVisible())
                return button;
        }
        return nullptr;
    };
    QTRY_VERIFY(find());
    QTest::mouseClick(find(), Qt::LeftButton);
}

static PlotPane &plotPane(TestWindow &test)
{
    return *qobject_cast<PlotPane *>(test.window().tool("Plot"));
}

static int numPlotted(TestWindow &test) { return plotPane(test).statistics().columnCount(); }

// The afternoon. Each chapter begins with what the one before has left.

static void theSampleIsOpened(TestWindow &test)
{
    test.open(test.sample(sampleName));

    QVERIFY(test.view<TableView>());
    QCOMPARE(numRows(test), 1200);
    QCOMPARE(cell(test, 1, force), QString("3.249"));
    const QString format = test.window().statusBar()->findChild<QToolButton *>()->text();
    QVERIFY2(format.contains("1,200"), qPrintable(format));
}

static void twoColumnsArePlotted(TestWindow &test)
{
    clickHeaders(test, {1, force});

    QTRY_COMPARE(numPlotted(test), 2);
    const QwtPlot &plot = plotPane(test).plot();
    QCOMPARE(plot.itemList(QwtPlotItem::Rtti_PlotCurve).size(), 1);
    QCOMPARE(plot.axisTitle(QwtPlot::xBottom).text(), QString("Crosshead"));
    QCOMPARE(plot.axisTitle(QwtPlot::yLeft).text(), QString("Force"));
}

static void aCellIsFixed(TestWindow &test)
{
    typeInto(test, 1, force, "3.3");

    QCOMPARE(cell(test, 1, force), QString("3.3"));
    QVERIFY(test.window().isWindowModified());
    QCOMPARE(test.window().findChild<QTabWidget *>()->tabText(0), QString(sampleName) + '*');

    test.press(Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(cell(test, 1, force), QString("3.249"));
    QVERIFY(!test.window().isWindowModified());

    test.press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(cell(test, 1, force), QString("3.3"));
    QVERIFY(test.window().isWindowModified());
}

static void aTextIsFound(TestWindow &test)
{
    test.press(Qt::Key_F, Qt::ControlModifier);
    typeLine("12.936");

    QTRY_COMPARE(grid(test).currentIndex().row(), 4);
    QCOMPARE(grid(test).currentIndex().column(), force);
}

static void theRowsAreFiltered(TestWindow &test)
{
    clickCell(test, 0, force);
    test.press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
    typeLine("> 30");

    QTRY_VERIFY(numRows(test) < 1200);
    QVERIFY(numRows(test) > 0);
    for (int row = 0; row < numRows(test); ++row)
        QVERIFY(cell(test, row, force).toDouble() > 30);
    clickHeaders(test, {force});
    QTRY_COMPARE(numPlotted(test), 1);
    const QString count = QLocale().toString(numRows(test));
    QTRY_COMPARE(plotPane(test).statistics().item(0, 0)->text(), count);

    test.press(Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(numRows(test), 1200);
}

static void theLanguageIsChanged(TestWindow &test)
{
    QCOMPARE(test.command("save")->text(), QString("&Save"));
    QMenu *const languages = openMenu(test, ".ctx.settings", ".ctx.languages");
    QVERIFY(languages);
    clickEntry(languages, "Deutsch");

    QTRY_COMPARE(test.command("save")->text(), QString("&Speichern"));
    const QString format = test.window().statusBar()->findChild<QToolButton *>()->text();
    QVERIFY2(format.contains("1.200"), qPrintable(format));
    QVERIFY(test.document().isChanged()); // nothing is lost
}

static void theTableIsSaved(TestWindow &test)
{
    test.press(Qt::Key_S, Qt::ControlModifier);

    QVERIFY(!test.window().isWindowModified());
    QByteArray expected = contentsOf(QString(KELMUTILS_SAMPLES) + '/' + sampleName);
    expected.replace("0.25,0.0125,3.249,", "0.25,0.0125,3.3,");
    QCOMPARE(contentsOf(test.path(sampleName)), expected);
}

static void anotherProgramChangesTheFile(TestWindow &test)
{
    QByteArray contents = contentsOf(test.path(sampleName));
    contents.replace("0.25,0.0125,3.3,", "0.25,0.0125,3.4,");
    QFile file(test.path(sampleName));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(contents), qint64(contents.size()));
    QVERIFY(file.flush());
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(60),
                             QFileDevice::FileModificationTime));
    file.close();

    clickButton(test, ".ctx.reload");
    QTRY_COMPARE(cell(test, 1, force), QString("3.4"));
    QCOMPARE(numRows(test), 1200);
    QVERIFY(!test.document().isChanged());
}

static void aPlotIsExported(TestWindow &test)
{
    clickHeaders(test, {1, force});
    QTRY_COMPARE(numPlotted(test), 2);
    test.saveAs(test.path("plot.svg"), Qt::Key_E);

    const QByteArray plot = contentsOf(test.path("plot.svg"));
    QVERIFY2(plot.startsWith("<?xml"), plot.left(20).constData());
    QVERIFY(plot.contains("Crosshead") && plot.contains("Force"));
}

static void aTagFileIsChanged(TestWindow &test)
{
    test.open(test.sample("materials.tag"));
    QVERIFY(test.view<TreeView>());
    QTreeView &tree = test.view<TreeView>()->tree();
    const QModelIndex steel = tree.model()->index(3, 0);
    TestWindow::clickCell(tree, steel);
    QTest::keyClick(&tree, Qt::Key_Right); // shows its keys
    const QModelIndex heat = tree.model()->index(10, 1, steel);
    QCOMPARE(heat.siblingAtColumn(0).data().toString(), QString("specificHeat"));
    TestWindow::changeCell(tree, heat, "471");
    QTRY_COMPARE(heat.data().toString(), QString("471"));

    QVERIFY(!contentsOf(test.path("materials.tag")).contains("471"));
    test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Save); });
    test.press(Qt::Key_S, Qt::ControlModifier); // which loses the comments
    QTRY_VERIFY(!test.document().isChanged());
    QVERIFY(contentsOf(test.path("materials.tag")).contains("\nspecificHeat: 471\n"));

    test.press(Qt::Key_W, Qt::ControlModifier);
    QTRY_VERIFY(test.view<TableView>());
}

#ifdef KELM_WORKBENCH_SCRIPTS

static QString output(TestWindow &test)
{
    auto *const view = test.window().findChild<Workbench::OutputView *>("scriptOutput");
    view->flush();
    return view->toPlainText();
}

static void aScriptChangesTheTable(TestWindow &test)
{
    test.open(test.file("tare.py", "import Workbench\n"
                                   "table = Workbench.table()\n"
                                   "force = table.column('Force')\n"
                                   "print 'from', force[1]\n"
                                   "table.setCell(1, 'Force', 2 * force[1])\n"));
    QVERIFY(test.view<Workbench::ScriptView>());
    test.press(Qt::Key_F8);
    QVERIFY2(output(test).contains("\nfrom 3.4\n"), qPrintable(output(test)));

    test.press(Qt::Key_W, Qt::ControlModifier);
    QTRY_VERIFY(test.view<TableView>());
    QCOMPARE(cell(test, 1, force), QString("6.8"));
    test.press(Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(cell(test, 1, force), QString("3.4"));
    QVERIFY(!test.document().isChanged());
}

static void aScriptIsStopped(TestWindow &test)
{
    test.open(test.file("endless.py", "print 'waits'\nwhile True: pass\n"));
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        if (!output(test).contains("\nwaits\n"))
            return;
        timer.stop();
        QWidget *const focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : &test.window(), Qt::Key_F8, Qt::ShiftModifier);
    });
    timer.start(20);
    test.press(Qt::Key_F8);

    QVERIFY2(output(test).contains("KeyboardInterrupt"), qPrintable(output(test)));
    test.press(Qt::Key_W, Qt::ControlModifier);
    QTRY_VERIFY(test.view<TableView>());
}

#endif

/// Leaves a window of another size and another kind of plot, for the next chapter.
static void theProgramIsClosedWithUnsavedWork(TestWindow &test)
{
    test.press(Qt::Key_2, Qt::ControlModifier);
    QTRY_VERIFY(!plotPane(test).plot().itemList(QwtPlotItem::Rtti_PlotHistogram).isEmpty());
    test.window().resize(1111, 777);
    typeInto(test, 2, force, "6.6");

    test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Cancel); });
    test.press(Qt::Key_Q, Qt::ControlModifier);
    QVERIFY(test.window().isVisible());
    QVERIFY(test.document().isChanged());

    test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Save); });
    test.press(Qt::Key_Q, Qt::ControlModifier);
    QTRY_VERIFY(!test.window().isVisible());
    const QByteArray saved = contentsOf(test.path(sampleName));
    QVERIFY(saved.contains("\n0.25,0.0125,3.4,") && saved.contains("\n0.50,0.0250,6.6,"));
}

static void theProgramStartsAsItWasLeft(TestWindow &test)
{
    test.restart();
    QTRY_COMPARE(test.window().size(), QSize(1111, 777));
    QCOMPARE(test.command("save")->text(), QString("&Speichern"));
    QVERIFY(!test.window().currentTab());

    QMenu *const recent = openMenu(test, ".ctx.file", ".ctx.recent");
    QVERIFY(recent);
    clickEntry(recent, test.path(sampleName));

    QTRY_VERIFY(test.view<TableView>());
    QCOMPARE(cell(test, 2, force), QString("6.6"));
    clickHeaders(test, {force});
    QTRY_COMPARE(numPlotted(test), 1);
    QVERIFY(!plotPane(test).plot().itemList(QwtPlotItem::Rtti_PlotHistogram).isEmpty());
}

struct Chapter
{
    const char *title;
    void (*tell)(TestWindow &test);
};

static const std::vector<Chapter> story = {
    {"the sample is opened", theSampleIsOpened},
    {"two columns are plotted", twoColumnsArePlotted},
    {"a cell is fixed", aCellIsFixed},
    {"a text is found", aTextIsFound},
    {"the rows are filtered", theRowsAreFiltered},
    {"the language is changed", theLanguageIsChanged},
    {"the table is saved", theTableIsSaved},
    {"another program changes the file", anotherProgramChangesTheFile},
    {"a plot is exported", aPlotIsExported},
    {"a tag file is changed", aTagFileIsChanged},
#ifdef KELM_WORKBENCH_SCRIPTS
    {"a script changes the table", aScriptChangesTheTable},
    {"a script is stopped", aScriptIsStopped},
#endif
    {"the program is closed with unsaved work", theProgramIsClosedWithUnsavedWork},
    {"the program starts as it was left", theProgramStartsAsItWasLeft},
};

class tst_Workbench_story : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void workbenchIsUsedForAnAfternoon()
    {
        TestWindow test;
        for (const Chapter &chapter : story) {
            chapter.tell(test);
            if (QTest::currentTestFailed()) {
                qWarning("The story ends in the chapter: %s", chapter.title);
                return;
            }
        }
    }
};

QTEST_MAIN(tst_Workbench_story)
#include "tst_Workbench_story.moc"
