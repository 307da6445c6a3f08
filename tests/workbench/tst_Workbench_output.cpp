#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/output/OutputView.h"

#include <QClipboard>
#include <QScrollBar>
#include <QTextBlock>

using Workbench::OutputView;

class tst_Workbench_output : public QObject
{
    Q_OBJECT

private:
    /// A view in a window of its own.
    struct View : OutputView
    {
        View() : OutputView(nullptr)
        {
            resize(500, 200);
            show();
            activateWindow();
            [this] { QVERIFY(QTest::qWaitForWindowActive(this)); }();
            setFocus();
        }

        QString all()
        {
            flush();
            return toPlainText();
        }

        void addLines(int count, int first = 0)
        {
            for (int i = 0; i < count; ++i)
                appendLine(QString("line %1").arg(first + i), Output);
        }

        QColor colourOf(const QString &text)
        {
            const QTextCursor found = document()->find(text);
            return found.isNull() ? QColor() : found.charFormat().foreground().color();
        }

        bool isAtEnd() const
        {
            return verticalScrollBar()->value() == verticalScrollBar()->maximum();
        }
    };

private Q_SLOTS:
    void initTestCase() { Workbench::loadTexts(WORKBENCH_RESOURCES, "en"); }

    void outputViewShowsTextALittleLater()
    {
        View view;
        view.append("Name? ", OutputView::Output);
        QCOMPARE(view.toPlainText(), QString());
        QTRY_COMPARE(view.toPlainText(), QString("Name? "));
        view.append("bolt\n", OutputView::Typed); // in the line that is shown
        view.append("a\nb", OutputView::Output);
        view.appendLine("note", OutputView::Note); // on a line of its own
        QTRY_COMPARE(view.toPlainText(), QString("Name? bolt\na\nb\nnote\n"));
    }

    void outputViewHasAColourForEachChannel_data()
    {
        QTest::addColumn<QColor>("base");

        QTest::newRow("light") << QColor(Qt::white);
        QTest::newRow("dark") << QColor(Qt::black);
    }

    void outputViewHasAColourForEachChannel()
    {
        QFETCH(QColor, base);
        View view;
        view.appendLine("printed", OutputView::Output);
        view.appendLine("wrong", OutputView::Error);
        view.appendLine("typed", OutputView::Typed);
        view.appendLine("told", OutputView::Note);
        view.flush();

        QPalette palette; // of another window
        const bool isDark = base.lightness() < 128;
        palette.setColor(QPalette::Base, base);
        palette.setColor(QPalette::Text, isDark ? Qt::white : Qt::black);
        view.setPalette(palette);

        QCOMPARE(view.colourOf("printed"), palette.color(QPalette::Text));
        for (const char *const text : {"wrong", "told"}) {
            const int lightness = view.colourOf(text).lightness();
            QVERIFY2(isDark ? lightness > 150 : lightness < 110, text);
            QVERIFY(view.colourOf(text) != view.colourOf("printed"));
        }
        QVERIFY(view.colourOf("wrong") != view.colourOf("told"));
        QVERIFY(view.document()->find("typed").charFormat().font().bold());
        QVERIFY(view.document()->find("told").charFormat().fontItalic());
    }

    void outputViewKeepsTheLastLines()
    {
        View view;
        view.setLimit(100);
        for (int i = 0; i < 10; ++i) {
            view.addLines(50, i * 50);
            view.flush();
        }

        QCOMPARE(view.numLeftOut(), 0); // all could be read
        QCOMPARE(view.blockCount(), 100);
        QVERIFY(view.toPlainText().startsWith("line 401\n"));
        QVERIFY(view.toPlainText().endsWith("line 499\n"));
    }

    void outputViewTellsHowManyLinesItLeavesOut()
    {
        View view;
        view.setLimit(100);
        view.append("begin ", OutputView::Output);
        view.flush();
        view.addLines(1500);

        QCOMPARE(view.numLeftOut(), 1403); // with the end of the line that is shown
        QVERIFY2(view.all().startsWith("1,403 lines left out\nline 1402\n"),
                 qPrintable(view.all().left(60)));
        QVERIFY(view.all().endsWith("\nline 1499\n"));
        QVERIFY(view.blockCount() <= 100);
        view.clearAll();
        QCOMPARE(view.numLeftOut(), 0);
        QCOMPARE(view.all(), QString());
    }

    void outputViewBreaksLongLines()
    {
        View view;
        view.append(QString(9000, 'x'), OutputView::Output);
        view.append(QString(1000, 'y') + '\n' + QString(4000, 'z') + '\n', OutputView::Output);

        const QStringList lines = view.all().split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.at(0), QString(4000, 'x'));
        QCOMPARE(lines.at(2), QString(1000, 'x') + QString(1000, 'y'));
        QCOMPARE(lines.at(3), QString(4000, 'z'));

        // Nothing grows without limit, whether there are line feeds or not.
        view.setLimit(100);
        view.append(QString(3000000, 'x'), OutputView::Output);
        QVERIFY(view.all().size() < 100 * 4001);
        QVERIFY(view.numLeftOut() > 600);
    }

    void outputViewFollowsTheEndUntilTheUserGoesElsewhere()
    {
        View view;
        view.addLines(300);
        view.flush();
        QTRY_VERIFY(view.isAtEnd());

        QTest::keyClick(&view, Qt::Key_Home, Qt::ControlModifier);
        view.addLines(300, 300);
        view.flush();
        QCoreApplication::processEvents();
        QCOMPARE(view.verticalScrollBar()->value(), 0);

        QTest::keyClick(&view, Qt::Key_End, Qt::ControlModifier);
        view.addLines(300, 600);
        view.flush();
        QTRY_VERIFY(view.isAtEnd());

        QScrollBar &bar = *view.verticalScrollBar();
        bar.triggerAction(QAbstractSlider::SliderPageStepSub); // as by the mouse
        const int value = bar.value();
        view.addLines(300, 900);
        view.flush();
        QCoreApplication::processEvents();
        QCOMPARE(bar.value(), value);
        bar.triggerAction(QAbstractSlider::SliderToMaximum);
        view.addLines(300, 1200);
        view.flush();
        QTRY_VERIFY(view.isAtEnd());
    }

    void outputViewStaysWhereTheUserSelects()
    {
        View view;
        view.addLines(300);
        view.flush();
        QTRY_VERIFY(view.isAtEnd());
        QTest::mousePress(view.viewport(), Qt::LeftButton, {}, {20, 50});
        view.verticalScrollBar()->setValue(100); // as a drag beyond the edge scrolls
        QMouseEvent drag(QEvent::MouseMove, QPoint(60, 20), Qt::NoButton, Qt::LeftButton, {});
        QCoreApplication::sendEvent(view.viewport(), &drag);
        view.addLines(300, 300);
        view.flush();
        QCoreApplication::processEvents();

        QCOMPARE(view.verticalScrollBar()->value(), 100);
        QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, {60, 20});
    }

    void outputViewCopiesWhatIsSelected()
    {
        View view;
        view.appendLine("first", OutputView::Output);
        view.appendLine("second", OutputView::Error);
        view.flush();
        QTest::keyClick(&view, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), QString("first\nsecond\n"));
        QTest::keyClicks(&view, "x"); // read-only
        QCOMPARE(view.all(), QString("first\nsecond\n"));
    }

    void outputViewStaysLeftToRight()
    {
        QApplication::setLayoutDirection(Qt::RightToLeft);
        View view;
        view.setLineWrapMode(QPlainTextEdit::NoWrap);
        view.appendLine(QString(300, 'x'), OutputView::Output);
        view.appendLine("10 %", OutputView::Output);
        view.flush();
        const int left = view.cursorRect(view.document()->find("10")).left();
        QApplication::setLayoutDirection(Qt::LeftToRight);

        QVERIFY2(left < view.width() / 4, qPrintable(QString::number(left)));
    }

    void outputViewHasLinksWhereTheyAreWanted()
    {
        View view;
        const QString place = "  File \"/data/a b.py\", line 12, in area\n";
        view.append(place, OutputView::Error);
        view.flush();
        QVERIFY(!view.document()->find("a b.py").charFormat().isAnchor());

        view.clearAll();
        view.setHasLinks(true);
        view.append(place.left(9), OutputView::Error); // in two parts
        view.flush();
        view.append(place.mid(9), OutputView::Error);
        view.flush();
        const QTextCursor found = view.document()->find("a b.py");
        QVERIFY(found.charFormat().isAnchor());
        QString path;
        int line = 0;
        connect(&view, &OutputView::placeClicked, this, [&](const QString &clicked, int number) {
            path = clicked;
            line = number;
        });
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.cursorRect(found).center());
        QCOMPARE(path, QString("/data/a b.py"));
        QCOMPARE(line, 12);
    }
};

QTEST_MAIN(tst_Workbench_output)
#include "tst_Workbench_output.moc"
