#include "tests/workbench/TestWindow.h"

#include "data/Array.h"
#include "examples/workbench/Contrast.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/Colours.h"
#include "examples/workbench/plot/FitLine.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/plot/ThinnedCurve.h"
#include "examples/workbench/table/TableView.h"
#include "utils/text/PolynomialFit.h"

#include <QClipboard>
#include <QDockWidget>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>
#include <QTableView>
#include <QWheelEvent>

#include <qwt_picker.h>
#include <qwt_plot.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_tradingcurve.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_map.h>
#include <qwt_scale_widget.h>

#include <cmath>
#include <limits>

using Workbench::FitLine;
using Workbench::PlotPane;
using Workbench::TableView;
using Workbench::thinned;

static const SettingsHome home;

/// What a plot shows each time that it is painted.
class PaintLog : public QObject
{
public:
    explicit PaintLog(PlotPane &pane) : m_pane(pane)
    {
        pane.plot().canvas()->installEventFilter(this);
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            entries.append(QString("%1 curves, %2 in the statistics")
                               .arg(m_pane.plot().itemList(QwtPlotItem::Rtti_PlotCurve).size())
                               .arg(m_pane.statistics().columnCount()));
        return false;
    }

    QStringList entries;

private:
    PlotPane &m_pane;
};

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
        TestWindow::clickHeaders(test.view<TableView>()->grid(), cols);
    }

    static int numItems(TestWindow &test, int type)
    {
        return pane(test).plot().itemList(type).size();
    }

    static const QAction *command(TestWindow &test) { return test.command("fitLine"); }

    static QString noteOf(TestWindow &test)
    {
        const auto *const label = pane(test).findChild<QLabel *>("plotNote");
        return label->isVisible() ? label->text() : QString();
    }

    /// The lines of best fit in the plot.
    static QVector<const FitLine *> fits(TestWindow &test)
    {
        QVector<const FitLine *> fits;
        const QwtPlotItemList curves = pane(test).plot().itemList(QwtPlotItem::Rtti_PlotCurve);
        for (const QwtPlotItem *const curve : curves) {
            if (const auto *const fit = dynamic_cast<const FitLine *>(curve))
                fits.append(fit);
        }
        return fits;
    }

    /// The equations of these lines, as they are in the legend.
    static QStringList equations(TestWindow &test)
    {
        QStringList equations;
        if (pane(test).plot().legend()) {
            for (const FitLine *const fit : fits(test))
                equations.append(fit->title().text());
        }
        return equations;
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

    /// How many pixels have the hue of \p colour, also where it is blended with white.
    static int pixelsOf(const QImage &image, const QColor &colour)
    {
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.hsvSaturation() > 40 && std::abs(pixel.hsvHue() - colour.hsvHue()) < 10)
                    ++count;
            }
        }
        return count;
    }

    static QImage drawnSvg(const QByteArray &contents)
    {
        QSvgRenderer drawing(contents);
        QImage image(drawing.viewBox().size(), QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        drawing.render(&painter);
        return image;
    }

    /// How many lines a PDF file draws in \p colour.
    static int linesInPdf(const QByteArray &contents, const QColor &colour)
    {
        const QByteArray begin = "stream\n\x78"; // which is compressed
        int count = 0;
        for (int at = contents.indexOf(begin); at >= 0; at = contents.indexOf(begin, at + 1)) {
            const QByteArray size(4, '\0'); // is not known
            const QByteArray drawing = qUncompress(size + contents.mid(at + begin.size() - 1));
            bool isInColour = false;
            for (const QByteArray &line : drawing.split('\n')) {
                if (line.endsWith(" SCN")) {
                    const QList<QByteArray> parts = line.split(' ');
                    const QColor set = QColor::fromRgbF(parts[0].toDouble(), parts[1].toDouble(),
                                                        parts[2].toDouble());
                    isInColour = set.rgb() == colour.rgb();
                }
                count += isInColour && line.endsWith(" l") ? 1 : 0;
            }
        }
        return count;
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

    void plotTellsHowItIsFilled()
    {
        TestWindow test;
        const auto hint = [&] {
            const auto *const label = pane(test).findChild<QLabel *>("plotHint");
            return label->isVisible() ? label->text() : QString();
        };
        QCOMPARE(hint(), QString("Select columns of a table to plot them."));
        QVERIFY(Workbench::setLanguage("de"));
        QTRY_VERIFY2(hint().startsWith("Spalten"), qPrintable(hint()));
        QVERIFY(Workbench::setLanguage("en"));
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        QCOMPARE(hint(), QString());

        test.open(test.file("large.csv", "n,m\n" + QByteArray("1,2\n").repeated(500001)));
        QTRY_VERIFY2(hint().contains("F9"), qPrintable(hint()));
        QVERIFY(pane(test).plot().itemList(QwtPlotItem::Rtti_PlotCurve).isEmpty());
        select(test, {0, 1});
        test.press(Qt::Key_F9);
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        QCOMPARE(hint(), QString());
        test.press(Qt::Key_W, Qt::ControlModifier); // back to the small one
        QTRY_COMPARE(hint(), QString());
        test.press(Qt::Key_W, Qt::ControlModifier);
        QVERIFY(!hint().isEmpty());
    }

    void plotShowsWhatWasSelectedWhileItWasHidden()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        auto *const dock = qobject_cast<QDockWidget *>(pane(test).parentWidget());
        test.choose(dock->toggleViewAction());
        select(test, {1, 2, 3});
        QTest::qWait(300);
        QCOMPARE(pane(test).statistics().columnCount(), 2);

        test.choose(dock->toggleViewAction());
        QTRY_COMPARE(pane(test).statistics().columnCount(), 3);
    }

    void plotTellsThatColumnsAreLeftOut()
    {
        TestWindow test;
        const auto note = [&] { return noteOf(test); };
        test.open(test.file("a.csv", "a,b,c,d,e,f,g,h,i,j,k,l\n" +
                                         QByteArray("1,2,3,4,5,6,7,8,9,10,11,12\n").repeated(3)));
        select(test, {0, 1, 2, 3, 4, 5, 6, 7});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 8);
        QCOMPARE(note(), QString());

        QTest::keyClick(&test.view<TableView>()->grid(), Qt::Key_A, Qt::ControlModifier);
        QTRY_COMPARE(note(), QString("Of 12 selected columns, the first 8 are shown."));
        QCOMPARE(pane(test).statistics().columnCount(), 8);
        QVERIFY(Workbench::setLanguage("de"));
        QTRY_COMPARE(note(), QString::fromUtf8("Von 12 gewählten Spalten werden die ersten 8 "
                                               "gezeigt."));
        QVERIFY(Workbench::setLanguage("en"));

        select(test, {0, 1});
        QTRY_COMPARE(note(), QString());
    }

    void plotHasALineOfBestFit()
    {
        TestWindow test;
        // Rows without a pair of numbers do not count.
        test.open(test.file("a.csv", "t{s},Load{kN}\n1,2\n2,4\n9,\n3,5\n,70\n4,9\nERR,80\n"));
        select(test, {0, 1});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 1);
        QVERIFY(!pane(test).plot().legend());

        test.press(Qt::Key_L, Qt::ControlModifier);
        QCOMPARE(equations(test), QStringList(QString::fromUtf8("y = 2.2 x - 0.5, R² = 0.93077")));
        const FitLine &line = *fits(test).first();
        QCOMPARE(line.dataSize(), size_t(2));
        QCOMPARE(line.sample(0), QPointF(1.0, 1.7));
        QCOMPARE(line.sample(1), QPointF(4.0, 8.3));
        QVERIFY(command(test)->isChecked());

        test.press(Qt::Key_2, Qt::ControlModifier); // a histogram has none
        QCOMPARE(fits(test).size(), 0);
        QVERIFY(!command(test)->isEnabled());
        test.press(Qt::Key_1, Qt::ControlModifier);
        QCOMPARE(fits(test).size(), 1);

        test.choose("fitLine");
        QCOMPARE(fits(test).size(), 0);
        QVERIFY(!pane(test).plot().legend());
    }

    void lineOfBestFitIsRemembered()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        test.press(Qt::Key_L, Qt::ControlModifier);
        test.press(Qt::Key_Q, Qt::ControlModifier);
        test.restart();
        QVERIFY(command(test)->isChecked());
        test.open(test.path("load_curve.csv"));
        QTRY_COMPARE(fits(test).size(), 1);

        test.press(Qt::Key_L, Qt::ControlModifier);
        test.press(Qt::Key_3, Qt::ControlModifier);
        test.press(Qt::Key_Q, Qt::ControlModifier);
        test.restart();
        QVERIFY(!command(test)->isChecked());
        QVERIFY(!command(test)->isEnabled()); // with boxes
    }

    void lineOfBestFitIsThatOfTheRowsThatAreShown()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN}\n5\n7\n9\n100\n"));
        test.press(Qt::Key_L, Qt::ControlModifier);
        select(test, {0}); // over the numbers of the rows
        QTRY_COMPARE(fits(test).size(), 1);
        auto *const line = test.window().findChild<QLineEdit *>("filterLine");
        TestWindow::enterInto(*line, "< 10");

        const QStringList expected(QString::fromUtf8("y = 2 x + 3, R² = 1"));
        QTRY_COMPARE(equations(test), expected);
    }

    void linesOfBestFitBelongToTheirCurves()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Strain{mm/m}\n"
                                     "0,1,0.5\n1,2,0.25\n2,3,0\n"));
        test.press(Qt::Key_L, Qt::ControlModifier);
        select(test, {0, 1, 2});

        const QStringList expected{QString::fromUtf8("Load: y = 1 x + 1, R² = 1"),
                                   QString::fromUtf8("Strain: y = -0.25 x + 0.5, R² = 1")};
        QTRY_COMPARE(equations(test), expected);
        QCOMPARE(fits(test).at(0)->yAxis(), int(QwtPlot::yLeft));
        QCOMPARE(fits(test).at(1)->yAxis(), int(QwtPlot::yRight));
        const QPalette palette = pane(test).plot().palette();
        for (int i = 0; i < 2; ++i) {
            const QColor colour = fits(test).at(i)->pen().color();
            QCOMPARE(colour, Workbench::fitColour(i, palette));
            QVERIFY(colour != Workbench::curveColour(i, palette));
        }
    }

    void equationHasTheDigitsOfTheStatistics()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN}\n1,2\n2,4\n3,5\n4,9\n"));
        test.press(Qt::Key_L, Qt::ControlModifier);
        select(test, {0, 1});
        QTRY_COMPARE(fits(test).size(), 1);

        QVERIFY(Workbench::Preferences::digits.set(2));

        QCOMPARE(equations(test), QStringList(QString::fromUtf8("y = 2.2 x - 0.5, R² = 0.93")));
    }

    void equationHasMoreDigitsWhereXIsFarFromZero()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Day,Load\n2460001,3\n2460002,5\n2460003,7\n"));
        test.press(Qt::Key_L, Qt::ControlModifier);
        select(test, {0, 1});

        const QStringList expected(QString::fromUtf8("y = 2 x - 4,919,999, R² = 1"));
        QTRY_COMPARE(equations(test), expected);
    }

    void plotTellsThatThereIsNoLineOfBestFit_data()
    {
        QTest::addColumn<QByteArray>("rows");
        QTest::addColumn<QString>("note");

        const QString note = "No line of best fit for %1: it needs two rows with different x.";
        QTest::newRow("constant x") << QByteArray("2,1,4\n2,2,5\n") << note.arg("Load, Rest");
        QTest::newRow("one row") << QByteArray("2,1,4\n") << note.arg("Load, Rest");
        QTest::newRow("no pair") << QByteArray("2,,\n,1,4\n") << note.arg("Load, Rest");
        QTest::newRow("one of two") << QByteArray("1,1,4\n2,,5\n") << note.arg("Load");
        QTest::newRow("none") << QByteArray("1,1,4\n2,2,5\n") << QString();
    }

    void plotTellsThatThereIsNoLineOfBestFit()
    {
        QFETCH(QByteArray, rows);
        QFETCH(QString, note);
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Rest{kN}\n" + rows));
        select(test, {0, 1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 3);
        QCOMPARE(noteOf(test), QString());

        test.press(Qt::Key_L, Qt::ControlModifier);

        QCOMPARE(noteOf(test), note);
        const int numFits = 2 - note.count("Load") - note.count("Rest");
        QCOMPARE(fits(test).size(), numFits);
        test.press(Qt::Key_L, Qt::ControlModifier);
        QCOMPARE(noteOf(test), QString());
    }

    void lineOfBestFitLeavesOutNumbersThatAreNotFinite()
    {
        const double infinity = std::numeric_limits<double>::infinity();
        const QVector<double> x{1, 2, infinity, 3, Data::noValue, 4};
        const QVector<double> y{3, 5, 7, std::nan(""), 8, 9};

        const Utils::PolynomialFit fit = Workbench::lineThrough(x, y);
        QCOMPARE(fit.count, 3);
        QCOMPARE(fit.value(0.0), 1.0);
        QCOMPARE(fit.value(1.0), 3.0);
        QVERIFY(!Workbench::lineThrough({}, {}).isValid());
    }

    void statisticsHavePercentilesAndTheRobustDeviation()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN}\n40\n\n10\n20\nERR\n30\n"));
        select(test, {0});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 1);
        const auto shown = [&](const QString &name) {
            const Workbench::StatisticsTable &table = pane(test).statistics();
            for (int row = 0; row < table.rowCount(); ++row) {
                if (table.verticalHeaderItem(row)->text() == name)
                    return table.item(row, 0)->text();
            }
            return QString();
        };

        QCOMPARE(shown("Robust deviation (MAD)"), QString("14.826 kN"));
        QCOMPARE(shown("5th percentile"), QString("11.5 kN"));
        QCOMPARE(shown("95th percentile"), QString("38.5 kN"));
        QVERIFY(Workbench::setLanguage("de"));
        QTRY_COMPARE(shown("5-%-Perzentil"), QString("11,5 kN"));
        QCOMPARE(shown("95-%-Perzentil"), QString("38,5 kN"));
        QVERIFY(Workbench::setLanguage("en"));
    }

    void plotIsPaintedBeforeItsStatistics()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        QTRY_COMPARE(pane(test).statistics().columnCount(), 1); // of the current column
        PaintLog log(pane(test));
        select(test, {1, 2, 3});

        QTRY_COMPARE(pane(test).statistics().columnCount(), 3);
        QVERIFY2(log.entries.contains("2 curves, 1 in the statistics"),
                 qPrintable(log.entries.join('\n')));
    }

    void plotHasASecondAxisForASecondUnit()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Rest{kN},Strain{mm/m}\n"
                                     "0,0,1,0.5\n1,10,1,0.75\n2,20,2,1.5\n"));
        QwtPlot &plot = pane(test).plot();
        select(test, {0, 1, 2});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2);
        QVERIFY(!plot.axisEnabled(QwtPlot::yRight));

        select(test, {0, 1, 2, 3});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 3);
        QVERIFY(plot.axisEnabled(QwtPlot::yRight));
        QCOMPARE(plot.axisTitle(QwtPlot::yLeft).text(), QString("Load, Rest"));
        QCOMPARE(plot.axisTitle(QwtPlot::yRight).text(), QString("Strain"));
        QCOMPARE(plot.axisScaleDraw(QwtPlot::yLeft)->label(5.0).text(), QString("5 kN"));
        QCOMPARE(plot.axisScaleDraw(QwtPlot::yRight)->label(0.5).text(), QString("0.5 mm/m"));
        const auto axisOf = [&](int curve) {
            return plot.itemList(QwtPlotItem::Rtti_PlotCurve).at(curve)->yAxis();
        };
        QCOMPARE(axisOf(1), int(QwtPlot::yLeft));
        QCOMPARE(axisOf(2), int(QwtPlot::yRight));

        // Both axes are zoomed: what was at the same height stays there.
        const double strain = plot.axisInterval(QwtPlot::yRight).width();
        const double load = plot.axisInterval(QwtPlot::yLeft).width();
        plot.canvas()->setFocus();
        test.press(Qt::Key_Plus, Qt::ControlModifier);
        QTRY_COMPARE(plot.axisInterval(QwtPlot::yLeft).width(), load / 2);
        QCOMPARE(plot.axisInterval(QwtPlot::yRight).width(), strain / 2);
        test.press(Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(plot.axisInterval(QwtPlot::yRight).width(), strain);

        test.press(Qt::Key_3, Qt::ControlModifier); // boxes share one axis
        QVERIFY(!plot.axisEnabled(QwtPlot::yRight));
    }

    void numbersAreInOrderFromRightToLeft()
    {
        TestWindow test;
        const QwtPlot &plot = pane(test).plot();
        test.open(test.file("a.csv", "Load{kN}\n-1\n-2\n"));
        select(test, {0});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 1);
        const auto label = [&] { return plot.axisScaleDraw(QwtPlot::yLeft)->label(-1.5).text(); };
        QCOMPARE(label(), QString("-1.5 kN"));

        QApplication::setLayoutDirection(Qt::RightToLeft);
        const QString fromRight = label();
        QApplication::setLayoutDirection(Qt::LeftToRight);

        QCOMPARE(fromRight, QString("\u202a-1.5 kN\u202c"));
    }

    void plotOfThreeUnitsHasAnAxisOfPlainNumbers()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Strain{mm/m},Heat{K}\n"
                                     "0,0,0.5,1\n1,10,0.75,2\n2,20,1.5,3\n"));
        select(test, {0, 1, 2, 3});

        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 3);
        const QwtPlot &plot = pane(test).plot();
        QVERIFY(!plot.axisEnabled(QwtPlot::yRight));
        QCOMPARE(plot.axisScaleDraw(QwtPlot::yLeft)->label(5.0).text(), QString("5"));
        QCOMPARE(plot.itemList(QwtPlotItem::Rtti_PlotCurve).at(1)->title().text(),
                 QString("Strain [mm/m]"));
    }

    void plotHasNoSecondAxisForAUnitBesideColumnsWithoutUnit()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Cycle,Strain{mm/m}\n"
                                     "0,0,1,0.5\n1,10,2,0.75\n2,20,3,1.5\n"));
        select(test, {0, 1, 2, 3});

        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 3);
        const QwtPlot &plot = pane(test).plot();
        QVERIFY(!plot.axisEnabled(QwtPlot::yRight));
        QCOMPARE(plot.axisScaleDraw(QwtPlot::yLeft)->label(5.0).text(), QString("5"));

        select(test, {0, 1, 2}); // no unit is a second one as well
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2);
        QVERIFY(plot.axisEnabled(QwtPlot::yRight));
        QCOMPARE(plot.axisTitle(QwtPlot::yRight).text(), QString("Cycle"));
        QCOMPARE(plot.axisScaleDraw(QwtPlot::yRight)->label(2.0).text(), QString("2"));
    }

    void keysZoomWhatIsShown()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 1);
        QwtPlot &plot = pane(test).plot();
        QWidget &canvas = *plot.canvas();
        canvas.setFocus();
        const QPoint from = canvas.rect().center();
        QTest::mousePress(&canvas, Qt::LeftButton, Qt::ShiftModifier, from);
        QTest::mouseMove(&canvas, from + QPoint(40, 30));
        QTest::mouseRelease(&canvas, Qt::LeftButton, Qt::ShiftModifier, from + QPoint(80, 60));
        const auto middle = [&](int axis) {
            const QwtInterval shown = plot.axisInterval(axis);
            return (shown.minValue() + shown.maxValue()) / 2.0;
        };
        const QwtInterval x = plot.axisInterval(QwtPlot::xBottom);
        const double middleX = middle(QwtPlot::xBottom);
        const double middleY = middle(QwtPlot::yLeft);
        QVERIFY(x.minValue() < 0.0); // it was moved

        test.press(Qt::Key_Plus, Qt::ControlModifier);
        QTRY_COMPARE(plot.axisInterval(QwtPlot::xBottom).width(), x.width() / 2.0);
        QCOMPARE(middle(QwtPlot::xBottom), middleX);
        QCOMPARE(middle(QwtPlot::yLeft), middleY);

        test.press(Qt::Key_Minus, Qt::ControlModifier);
        QTRY_COMPARE(plot.axisInterval(QwtPlot::xBottom).width(), x.width());
        QCOMPARE(middle(QwtPlot::xBottom), middleX);
        QCOMPARE(middle(QwtPlot::yLeft), middleY);
    }

    void boxesOfSeveralUnitsTellThem()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN},Rest{kN},Strain{mm/m}\n1,2,3\n2,3,4\n3,4,5\n"));
        const auto name = [&](int box) {
            return pane(test).plot().axisScaleDraw(QwtPlot::xBottom)->label(box).text();
        };
        select(test, {0, 1});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        test.press(Qt::Key_3, Qt::ControlModifier);
        QCOMPARE(name(1), QString("Rest")); // the unit is at the axis

        select(test, {0, 1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 3);
        QCOMPARE(name(0), QString("Load [kN]"));
        QCOMPARE(name(2), QString("Strain [mm/m]"));
    }

    void coloursAreReadableOnEachBackground_data()
    {
        QTest::addColumn<QColor>("background");

        for (const char *const name : {"#ffffff", "#000000", "#2b2b2b", "#808080", "#fdf6e3"})
            QTest::newRow(name) << QColor(name);
    }

    void coloursAreReadableOnEachBackground()
    {
        QFETCH(QColor, background);
        QPalette palette;
        palette.setColor(QPalette::Base, background);
        QSet<QString> names;
        for (int i = 0; i < 8; ++i) {
            const QColor colour = Workbench::curveColour(i, palette);
            names.insert(colour.name());
            const double contrast = Workbench::contrast(colour, background);
            QVERIFY2(contrast >= 2.95, qPrintable(QString("%1: %2").arg(i).arg(contrast)));
        }
        QCOMPARE(names.size(), 8);
    }

    void coloursFollowThePalette()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 1);
        const auto colour = [&] {
            const QwtPlotItem *const item =
                pane(test).plot().itemList(QwtPlotItem::Rtti_PlotCurve).first();
            return static_cast<const QwtPlotCurve *>(item)->pen().color();
        };
        const QColor onLight = colour();
        const QPalette light = QApplication::palette();
        QPalette dark = light;
        dark.setColor(QPalette::Base, "#404040"); // on which the colour for white is not seen
        dark.setColor(QPalette::Window, Qt::black);
        dark.setColor(QPalette::Text, Qt::white);

        QApplication::setPalette(dark);
        QTRY_VERIFY(colour() != onLight);
        QVERIFY(Workbench::contrast(colour(), "#404040") >= 2.95);
        QCOMPARE(pane(test).plot().canvasBackground().color(), QColor("#404040"));
        const QImage canvas = pane(test).plot().canvas()->grab().toImage();
        QCOMPARE(canvas.pixelColor(canvas.width() / 4, 5), QColor("#404040"));
        test.saveAs(test.path("dark.png"), Qt::Key_E); // on white, with the colours for white
        QApplication::setPalette(light);

        const QImage image(test.path("dark.png"));
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::white));
        QTRY_COMPARE(colour(), onLight);
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
        QCOMPARE(measure(test, 9, 0), QString("3 kN"));
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
        TestWindow::enterInto(*line, "> 2");

        QTRY_COMPARE(measure(test, 3, 0), QString("4 kN"));
        QTableView &grid = test.view<TableView>()->grid();
        TestWindow::changeCell(grid, grid.model()->index(0, 0), "30");
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
        QCOMPARE(numItems(test, QwtPlotItem::Rtti_PlotIntervalCurve), 1);
        const auto &whiskers = static_cast<const QwtPlotIntervalCurve &>(
            *pane(test).plot().itemList(QwtPlotItem::Rtti_PlotIntervalCurve).first());
        QCOMPARE(whiskers.dataSize(), size_t(4)); // two of each box
        QCOMPARE(whiskers.sample(0).value, 0.0);
        QCOMPARE(whiskers.sample(0).interval.minValue(), -0.021);
        QVERIFY(std::abs(whiskers.sample(0).interval.maxValue() - 36.742) < 0.001);
        QCOMPARE(whiskers.sample(3).value, 1.0);
        QVERIFY(std::abs(whiskers.sample(3).interval.minValue() - 74.899) < 0.001);
        QCOMPARE(whiskers.sample(3).interval.maxValue(), 99.8063);

        test.press(Qt::Key_Q, Qt::ControlModifier);
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

        const QPoint center = plot.canvas()->rect().center();
        TestWindow::drag(*plot.canvas(), center - QPoint(40, 40), center + QPoint(40, 40));
        QTRY_VERIFY(width() < all / 2);
        const double zoomed = width();

        plot.canvas()->setFocus();
        test.press(Qt::Key_Plus, Qt::ControlModifier);
        QTRY_VERIFY(width() < zoomed);
        test.press(Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(width(), all);
    }

    void plotIsMovedAndZoomedBackByTheMouse()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        select(test, {0, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);
        QwtPlot &plot = pane(test).plot();
        QWidget *const canvas = plot.canvas();
        const QPoint center = canvas->rect().center();
        const auto interval = [&] { return plot.axisInterval(QwtPlot::xBottom); };
        const QwtInterval all = interval();
        QWheelEvent wheel(center, canvas->mapToGlobal(center), {}, {0, 120}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(canvas, &wheel);
        QTRY_VERIFY(interval().width() < all.width());
        test.press(Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(interval(), all);

        TestWindow::drag(*canvas, center - QPoint(40, 40), center + QPoint(40, 40));
        QTRY_VERIFY(interval().width() < all.width() / 2);
        const QwtInterval zoomed = interval();

        TestWindow::drag(*canvas, center, center + QPoint(30, 0), Qt::ShiftModifier);
        QTRY_VERIFY(interval().maxValue() < zoomed.maxValue());
        QVERIFY(std::abs(interval().width() / zoomed.width() - 1.0) < 0.01);

        QTest::mouseClick(canvas, Qt::RightButton, {}, center);
        QTRY_VERIFY(interval().width() > zoomed.width() * 1.5);
    }

    void keysMoveThePlot()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{kN},Strain{mm/m}\n0,0,0.5\n1,10,0.75\n2,20,1.5\n"));
        QwtPlot &plot = pane(test).plot();
        QWidget &canvas = *plot.canvas();
        select(test, {0, 1, 2});
        QTRY_VERIFY(plot.axisEnabled(QwtPlot::yRight));
        const auto shown = [&](int axis) { return plot.axisInterval(axis); };
        const QwtInterval x = shown(QwtPlot::xBottom);
        const QwtInterval left = shown(QwtPlot::yLeft);
        const QwtInterval right = shown(QwtPlot::yRight);
        canvas.setFocus();

        test.press(Qt::Key_Right, Qt::ShiftModifier); // shows what is at the right
        QTRY_COMPARE(shown(QwtPlot::xBottom).minValue(), x.minValue() + x.width() / 10);
        QCOMPARE(shown(QwtPlot::xBottom).maxValue(), x.maxValue() + x.width() / 10);
        QCOMPARE(shown(QwtPlot::yLeft), left);
        test.press(Qt::Key_Left, Qt::ShiftModifier);
        QTRY_COMPARE(shown(QwtPlot::xBottom).maxValue(), x.maxValue());

        test.press(Qt::Key_Up, Qt::ShiftModifier);
        QTRY_COMPARE(shown(QwtPlot::yLeft).maxValue(), left.maxValue() + left.width() / 10);
        QCOMPARE(shown(QwtPlot::yRight).maxValue(), right.maxValue() + right.width() / 10);
        test.press(Qt::Key_Down, Qt::ShiftModifier);
        QTRY_COMPARE(shown(QwtPlot::yLeft).maxValue(), left.maxValue());

        test.press(Qt::Key_Down, Qt::ShiftModifier);
        test.press(Qt::Key_0, Qt::ControlModifier);
        QTRY_COMPARE(shown(QwtPlot::yLeft), left);
    }

    void plotTellsThePositionOfTheMouseInTheUnitsOfItsAxes()
    {
        TestWindow test;
        const auto *const picker = pane(test).findChild<QwtPicker *>();
        QCOMPARE(picker->trackerText({50, 50}).text(), QString()); // there is no position
        test.open(test.sample("load_curve.csv"));
        select(test, {1, 2});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);

        const QwtPlot &plot = pane(test).plot();
        const QPoint position(plot.canvas()->width() / 2, plot.canvas()->height() / 2);
        const QString shown = picker->trackerText(position).text();
        static const QRegularExpression form("([0-9.]+) (\\S*m); .*?([0-9.]+) k?N");
        const QRegularExpressionMatch match = form.match(shown);
        QVERIFY2(match.hasMatch(), qPrintable(shown));
        const double x = plot.invTransform(QwtPlot::xBottom, position.x());
        QVERIFY2(std::abs(match.captured(1).toDouble() - x) < 0.1, qPrintable(shown));
    }

    void plotIsExported_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("start");

        QTest::newRow("PNG") << "plot.png" << QByteArray("\x89PNG");
        QTest::newRow("SVG") << "plot.svg" << QByteArray("<?xml");
#if QT_CONFIG(pdf)
        QTest::newRow("PDF") << "plot.pdf" << QByteArray("%PDF-");
#endif
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
        const QColor colour = Workbench::curveColour(0, QPalette(Qt::lightGray));
        if (name.endsWith("pdf")) {
            const int lines = linesInPdf(contents, colour);
            QVERIFY2(lines > 500, qPrintable(QString::number(lines)));
            return;
        }
        const QImage image = name.endsWith("svg") ? drawnSvg(contents) : QImage(test.path(name));
        QVERIFY(image.width() > 1000);
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::white));
        const int pixels = pixelsOf(image, colour);
        QVERIFY2(pixels > 1000 && pixels < 10000, qPrintable(QString::number(pixels)));
        if (name.endsWith("svg"))
            QVERIFY(contents.contains("Crosshead"));
    }

    void exportedPlotHasAllOfItsLabels()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Way{mm},Load{kN}\n0,0\n1000,1000\n"));
        select(test, {0, 1});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 2);

        test.saveAs(test.path("plot.png"), Qt::Key_E);

        // The last label of the x axis is at the right end, and nothing of it is at the edge.
        const QImage image(test.path("plot.png"));
        const auto isWhite = [&](int x) {
            for (int y = 0; y < image.height(); ++y) {
                if (image.pixelColor(x, y) != Qt::white)
                    return false;
            }
            return true;
        };
        int margin = 0;
        while (margin < image.width() && isWhite(image.width() - 1 - margin))
            ++margin;
        QVERIFY2(margin > 5 && margin < 100, qPrintable(QString::number(margin)));
    }

    void lowestLabelOfAnAxisIsNotCut()
    {
        TestWindow test;
        test.open(test.file("a.csv", "t{s},Load{g},Rest{kg}\n0,0,0\n1,1,1\n"));
        select(test, {0, 1, 2});
        QTRY_COMPARE(numItems(test, QwtPlotItem::Rtti_PlotCurve), 2);

        for (const int axis : {QwtPlot::yLeft, QwtPlot::yRight}) {
            const QImage image = pane(test).plot().axisWidget(axis)->grab().toImage();
            const int bottom = image.height() - 1;
            for (int x = 0; x < image.width(); ++x)
                QCOMPARE(image.pixelColor(x, bottom), image.pixelColor(0, 0));
        }
    }

    void statisticsAreCopied()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Load{kN},Name\n1.5,a\n2.5,b\n"));
        select(test, {0});
        QTRY_COMPARE(pane(test).statistics().columnCount(), 1);

        test.choose("copyCsv");
        const QStringList csv = QApplication::clipboard()->text().split('\n');
        QCOMPARE(csv.value(0), QString(",Load [kN]"));
        QCOMPARE(csv.value(1), QString("Count,2"));
        QCOMPARE(csv.value(4), QString("Mean,2"));
        QCOMPARE(csv.value(5), QString("Standard deviation,0.7071067811865476"));

        test.choose("copyText");
        const QString text = QApplication::clipboard()->text();
        QVERIFY2(text.contains("2.5 kN"), qPrintable(text));
    }
};

QTEST_MAIN(tst_Workbench_plot)
#include "tst_Workbench_plot.moc"
