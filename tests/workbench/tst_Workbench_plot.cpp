#include "tests/workbench/TestWindow.h"

#include "data/Array.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/plot/ThinnedCurve.h"
#include "examples/workbench/table/TableView.h"

#include <QClipboard>
#include <QHeaderView>
#include <QImage>
#include <QTableView>

#include <qwt_plot.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_tradingcurve.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_map.h>

#include <cmath>

using Workbench::PlotPane;
using Workbench::TableView;
using Workbench::thinned;

static const SettingsHome home;

class tst_Workbench_plot : public QObject
{
    Q_OBJECT

private:
    static PlotPane &pane(TestWindow &test)
    {
        return *qobject_cast<PlotPane *>(test.window().tool("Plot"));
    }

    /// Selects columns by a click on their headers.
    static void select(TestWindow &test, const QList<int> &cols)
    {
        QHeaderView *const header = test.view<TableView>()->grid().horizontalHeader();
        Qt::KeyboardModifiers modifiers;
        for (const int col : cols) {
            const QPoint position(header->sectionViewportPosition(col) +
                                      header->sectionSize(col) / 2,
                                  header->height() / 2);
            QTest::mouseClick(header->viewport(), Qt::LeftButton, modifiers, position);
            modifiers = Qt::ControlModifier;
        }
    }

    static int numItems(TestWindow &test, int type)
    {
        return pane(test).plot().itemList(type).size();
    }

    static QString measure(TestWindow &test, int row, int col)
    {
        return pane(test).statistics().item(row, col)->text();
    }

    static QPolygonF polygon(const QVector<QPointF> &points) { return points; }

    static QwtScaleMap map(double from, double to, double pixels)
    {
        QwtScaleMap map;
        map.setScaleInterval(from, to);
        map.setPaintInterval(0.0, pixels);
        return map;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void curveLosesNoPeak()
    {
        const int count = 1000000;
        QVector<double> y(count, 0.0);
        y[123456] = 7.0;
        y[777777] = -3.0;

        const QVector<QPolygonF> lines = thinned({}, y, map(1, count, 800), map(-10, 10, 400));

        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().size() <= 4 * 802,
                 qPrintable(QString::number(lines.first().size())));
        const QRectF around = lines.first().boundingRect();
        QCOMPARE(around.bottom(), 400.0 * 17 / 20);
        QCOMPARE(around.top(), 400.0 * 7 / 20);
        QCOMPARE(lines.first().first(), QPointF(0, 200));
        QCOMPARE(lines.first().last(), QPointF(800, 200));
    }

    void curveEndsAtHoles()
    {
        const double nan = std::nan("");
        const QVector<double> x{0, 1, 2, 3, Data::noValue, 5, 6, 7};
        const QVector<double> y{0, 1, Data::noValue, 3, 4, 5, nan, 7};

        const QVector<QPolygonF> lines = thinned(x, y, map(0, 10, 100), map(0, 10, 100));

        const QVector<QPolygonF> expected{polygon({{0, 0}, {10, 10}}), polygon({{30, 30}}),
                                          polygon({{50, 50}}), polygon({{70, 70}})};
        QCOMPARE(lines, expected);
    }

    void curveOfFewPointsIsUnchanged()
    {
        // A loop, in which x goes back: points of one column of pixels are only joined in a row.
        const QVector<double> x{0, 5, 9, 5, 0};
        const QVector<double> y{0, 1, 2, 3, 4};

        const QVector<QPolygonF> lines = thinned(x, y, map(0, 10, 10), map(0, 10, 10));

        QCOMPARE(lines.size(), 1);
        const QPolygonF expected = polygon({{0, 0}, {5, 1}, {9, 2}, {5, 3}, {0, 4}});
        QCOMPARE(lines.first(), expected);
    }

    void plotShowsTheSelectedColumns()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});

        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 1);
        QCOMPARE(pane(test).plot().axisTitle(QwtPlot::xBottom).text(), QString("Crosshead"));
        QCOMPARE(pane(test).plot().axisTitle(QwtPlot::yLeft).text(), QString("Force"));
        const QString label = pane(test).plot().axisScaleDraw(QwtPlot::yLeft)->label(25.0).text();
        QCOMPARE(label, QString("25 kN"));

        select(test, {0, 1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 3);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2);
        QVERIFY(pane(test).plot().legend());
    }

    void plotLeavesOutHolesAndTexts()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN}\n1\n\n2\n3\nERR\n6\n8\n"));
        select(test, {0});

        QTRY_COMPARE(pane(test).statistics().columnCount(), 1);
        QCOMPARE(measure(test, 0, 0), QString("5")); // values
        QCOMPARE(measure(test, 1, 0), QString("1")); // holes
        QCOMPARE(measure(test, 2, 0), QString("1")); // texts
        QCOMPARE(measure(test, 3, 0), QString("4 kN"));
        QCOMPARE(measure(test, 7, 0), QString("3 kN"));
        const QRectF shown =
            pane(test).plot().itemList(QwtPlotItem::Rtti_PlotCurve).first()->boundingRect();
        QCOMPARE(shown, QRectF(1, 1, 6, 7)); // no zeros
    }

    void plotFollowsTheFilterAndChanges()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN}\n1\n2\n3\n4\n5\n"));
        select(test, {0});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 1);
        auto *const line = test.window().findChild<QLineEdit *>("filterLine");
        QTest::keyClicks(line, "> 2");
        QTest::keyClick(line, Qt::Key_Return);

        QTRY_COMPARE(measure(test, 3, 0), QString("4 kN"));
        QTableView &grid = test.view<TableView>()->grid();
        QTest::mouseClick(grid.viewport(), Qt::LeftButton, {},
                          grid.visualRect(grid.model()->index(0, 0)).center());
        QTest::keyClick(&grid, Qt::Key_F2);
        auto *const editor = grid.findChild<QLineEdit *>();
        QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(editor, "30");
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(measure(test, 3, 0), QString("13 kN"));
    }

    void plotHasThreeKinds()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {2, 3});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);

        test.press(Qt::Key_2, Qt::ControlModifier);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotHistogram), 2);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2); // normal curves

        test.press(Qt::Key_3, Qt::ControlModifier);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotHistogram), 0);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotTradingCurve), 1);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2); // medians

        test.window().close();
        test.restart();
        test.open(test.path("load_curve.csv"));
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotTradingCurve), 1);
        test.press(Qt::Key_1, Qt::ControlModifier);
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotTradingCurve), 0);
    }

    void plotZoomsByMouseAndKeyboard()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {0, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        QwtPlot &plot = pane(test).plot();
        const auto width = [&] { return plot.axisInterval(QwtPlot::xBottom).width(); };
        const double all = width();

        const QRect canvas = plot.canvas()->rect();
        QTest::mousePress(plot.canvas(), Qt::LeftButton, {}, canvas.center() - QPoint(40, 40));
        QTest::mouseMove(plot.canvas(), canvas.center());
        QTest::mouseMove(plot.canvas(), canvas.center() + QPoint(40, 40));
        QTest::mouseRelease(plot.canvas(), Qt::LeftButton, {}, canvas.center() + QPoint(40, 40));
        QTRY_VERIFY(width() < all / 2);
        const double zoomed = width();

        plot.canvas()->setFocus();
        test.press(Qt::Key_Plus, Qt::ControlModifier);
        QTRY_VERIFY(width() < zoomed);
        test.press(Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(width(), all);
    }

    void plotIsExported_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("start");

        QTest::newRow("PNG") << "plot.png" << QByteArray("\x89PNG");
        QTest::newRow("SVG") << "plot.svg" << QByteArray("<?xml");
        QTest::newRow("PDF") << "plot.pdf" << QByteArray("%PDF-");
    }

    void plotIsExported()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, start);
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);

        test.saveAs(test.path(name), Qt::Key_E);

        const QByteArray contents = contentsOf(test.path(name));
        QVERIFY2(contents.startsWith(start), contents.left(20).constData());
        QVERIFY2(contents.size() > 4000, qPrintable(QString::number(contents.size())));
        if (name.endsWith("png")) {
            const QImage image(test.path(name));
            QVERIFY(image.width() > 1000);
            QCOMPARE(image.pixelColor(0, 0), QColor(Qt::white));
        }
        if (name.endsWith("svg"))
            QVERIFY(contents.contains("Crosshead"));
    }

    void statisticsAreCopied()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN},Name\n1.5,a\n2.5,b\n"));
        select(test, {0});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 1);

        test.command("copyCsv")->trigger();
        const QStringList csv = QApplication::clipboard()->text().split('\n');
        QCOMPARE(csv.value(0), QString(",Load [kN]"));
        QCOMPARE(csv.value(1), QString("Count,2"));
        QCOMPARE(csv.value(4), QString("Mean,2"));
        QCOMPARE(csv.value(5), QString("Standard deviation,0.7071067811865476"));

        test.command("copyText")->trigger();
        const QString text = QApplication::clipboard()->text();
        QVERIFY2(text.contains("2.5 kN"), qPrintable(text));
    }
};

QTEST_MAIN(tst_Workbench_plot)
#include "tst_Workbench_plot.moc"
