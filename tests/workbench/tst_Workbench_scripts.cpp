#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Contrast.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/output/OutputView.h"
#include "examples/workbench/script/CodeEditor.h"
#include "examples/workbench/script/ConsoleLine.h"
#include "examples/workbench/script/ScriptView.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"

#include <QAbstractItemView>
#include <QClipboard>
#include <QCompleter>
#include <QDockWidget>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QLabel>
#include <QMimeData>
#include <QScrollBar>
#include <QStatusBar>
#include <QTabWidget>
#include <QTextBlock>
#include <QToolButton>
#include <QWindow>

using Workbench::CodeEditor;
using Workbench::ConsoleLine;
using Workbench::OutputView;
using Workbench::ScriptView;
using Workbench::TableDocument;
using Workbench::TableView;

static const SettingsHome home;

static const char loads[] = "Joint,Load{kN},Remark\n"
                            "J1,12.5,\n"
                            "J2,,hole\n"
                            "J3,7.25,ok\n"
                            "J4,ERR,text\n"
                            "J5,9,\n"
                            "J6,8,\n";

class tst_Workbench_scripts : public QObject
{
    Q_OBJECT

private:
    static CodeEditor &editor(TestWindow &test) { return test.view<ScriptView>()->editor(); }

    static OutputView &outputView(TestWindow &test)
    {
        return *test.window().findChild<OutputView *>("scriptOutput");
    }

    static QString output(TestWindow &test)
    {
        outputView(test).flush();
        return outputView(test).toPlainText();
    }

    static ConsoleLine &console(TestWindow &test)
    {
        return *test.window().findChild<ConsoleLine *>("consoleLine");
    }

    static QString sources() { return QString(KELMUTILS_SAMPLES) + "/../.."; }

    /// Opens a script with \p code.
    static void openScript(TestWindow &test, const QByteArray &code,
                           const QString &name = "script.py")
    {
        test.open(test.file(name, code));
        QVERIFY(test.view<ScriptView>());
    }

    /// Opens and runs a script with \p code, and returns what it has printed.
    static QString run(TestWindow &test, const QByteArray &code, const QString &name = "script.py")
    {
        openScript(test, code, name);
        test.press(Qt::Key_F8);
        return output(test);
    }

    /// Types a line into the console.
    static void enter(TestWindow &test, const QString &line)
    {
        if (!console(test).hasFocus())
            test.press(Qt::Key_F7);
        QTRY_VERIFY(console(test).hasFocus());
        QTest::keyClicks(&console(test), line);
        QTest::keyClick(&console(test), Qt::Key_Return);
    }

    /// The statement that is run in the console returns its last line of output.
    static QString answer(TestWindow &test, const QString &line)
    {
        enter(test, line);
        return output(test).trimmed().section('\n', -1);
    }

    /// Calls \p act while a script runs: when it has printed \p sign in a line of its own.
    static void whenPrinted(TestWindow &test, const QString &sign, const std::function<void()> &act)
    {
        auto *const timer = new QTimer(&test.window());
        connect(timer, &QTimer::timeout, timer, [&test, timer, sign, act] {
            if (!output(test).contains('\n' + sign + '\n'))
                return;
            timer->stop();
            timer->deleteLater();
            act();
        });
        timer->start(20);
    }

    static QLabel &errorLabel(TestWindow &test)
    {
        return *test.view<ScriptView>()->findChild<QLabel *>("scriptError");
    }

    static void press(TestWindow &test, Qt::Key key,
                      Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWidget *const focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : &test.window(), key, modifiers);
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void editorKeepsTheByteOrderMark_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("saved");

        // clang-format off
        QTest::newRow("UTF-8")
            << QByteArray("\xef\xbb\xbf# \xc3\xbc\n") << QByteArray("\xef\xbb\xbf#1 \xc3\xbc\n");
        QTest::newRow("UTF-8 without one")
            << QByteArray("# \xc3\xbc\n") << QByteArray("#1 \xc3\xbc\n");
        QTest::newRow("UTF-16LE")
            << QByteArray("\xff\xfe#\0 \0\xfc\0\n\0", 10)
            << QByteArray("\xff\xfe#\0001\0 \0\xfc\0\n\0", 12);
        QTest::newRow("UTF-16BE")
            << QByteArray("\xfe\xff\0#\0 \0\xfc\0\r\0\n", 12)
            << QByteArray("\xfe\xff\0#\0001\0 \0\xfc\0\r\0\n", 14);
        // clang-format on
    }

    void editorKeepsTheByteOrderMark()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, saved);
        TestWindow test;
        openScript(test, contents);
        QVERIFY(QTest::qWaitForWindowActive(&test.window()));
        QTest::keyClick(&editor(test), Qt::Key_Home, Qt::ControlModifier);
        QTest::keyClick(&editor(test), Qt::Key_Right);
        QTest::keyClicks(&editor(test), "1");

        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("script.py")), saved);

        test.file("script.py", "a = 1\n"); // without a mark
        test.press(Qt::Key_F5);
        QTest::keyClick(&editor(test), Qt::Key_Home, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "#");
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("script.py")), QByteArray("#a = 1\n"));
    }

    void scriptWithAByteOrderMarkRunsAfterItWasSaved()
    {
        TestWindow test;
        openScript(test, "\xef\xbb\xbfprint len(u'\xc3\xa4\xc3\xb6')\n");
        QTest::keyClick(&editor(test), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "print 'second'");

        test.press(Qt::Key_F8);

        QVERIFY2(output(test).contains("\n2\nsecond\n"), qPrintable(output(test)));
    }

    void editorUndoesWithTheCommandsOfTheWindow()
    {
        TestWindow test;
        openScript(test, "a = 1\n");
        QTest::keyClick(&editor(test), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "b = 2");
        QVERIFY(test.document().isChanged());
        QTest::keyClick(&editor(test), Qt::Key_Return);
        QTest::keyClicks(&editor(test), "c = 3");

        while (test.command("undo")->isEnabled())
            test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(editor(test).toPlainText(), QString("a = 1\n"));
        QVERIFY(!test.document().isChanged());
        while (test.command("redo")->isEnabled())
            test.press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(editor(test).toPlainText(), QString("a = 1\nb = 2\nc = 3"));

        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(contentsOf(test.path("script.py")), QByteArray("a = 1\nb = 2\nc = 3"));
        QTest::keyClicks(&editor(test), "4");
        QVERIFY(test.document().isChanged()); // although it goes on with the last step
        test.press(Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(editor(test).toPlainText(), QString("a = 1\nb = 2\nc = 3"));
    }

    void editorLeavesFilesThatAreDroppedToTheWindow()
    {
        TestWindow test;
        openScript(test, "print 1\n");
        QWidget *const viewport = editor(test).viewport();
        const QPoint position =
            viewport->mapTo(&test.window(), QPoint(viewport->width() / 2, viewport->height() / 2));
        const auto drop = [&](const QMimeData &data) {
            QWindow *const window = test.window().windowHandle(); // as the desktop sends it
            QDragEnterEvent enters(position, Qt::CopyAction, &data, Qt::LeftButton, {});
            QApplication::sendEvent(window, &enters);
            QDropEvent drops(position, Qt::CopyAction, &data, Qt::LeftButton, {});
            QApplication::sendEvent(window, &drops);
        };
        QMimeData words;
        words.setText("two");
        drop(words);
        QTRY_VERIFY(editor(test).toPlainText().contains("two"));
        const QString code = editor(test).toPlainText();
        QPointer<CodeEditor> script = &editor(test);

        QMimeData files;
        files.setUrls({QUrl::fromLocalFile(test.file("loads.csv", loads))});
        files.setText(files.urls().first().toString());
        drop(files);

        QTRY_VERIFY(test.view<TableView>());
        QCOMPARE(script->toPlainText(), code);
    }

    void editorForgetsWhatWasTakenBackWhenSomethingElseIsTyped()
    {
        TestWindow test;
        openScript(test, "");
        QTest::keyClicks(&editor(test), "ab");
        QTest::keyClick(&editor(test), Qt::Key_Return);
        QTest::keyClicks(&editor(test), "cd");
        test.press(Qt::Key_S, Qt::ControlModifier);
        test.press(Qt::Key_Z, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "x");

        QVERIFY(!test.command("redo")->isEnabled());
        QVERIFY(test.document().isChanged());
    }

    void editorIndents()
    {
        TestWindow test;
        openScript(test, "");
        QTest::keyClicks(&editor(test), "if a:");
        QTest::keyClick(&editor(test), Qt::Key_Return);
        QTest::keyClicks(&editor(test), "b");
        QTest::keyClick(&editor(test), Qt::Key_Return);
        QTest::keyClick(&editor(test), Qt::Key_Tab);
        QTest::keyClicks(&editor(test), "c");
        QCOMPARE(editor(test).toPlainText(), QString("if a:\n    b\n        c"));

        QTest::keyClick(&editor(test), Qt::Key_Up, Qt::ShiftModifier);
        QTest::keyClick(&editor(test), Qt::Key_Tab);
        QCOMPARE(editor(test).toPlainText(), QString("if a:\n        b\n            c"));
        QTest::keyClick(&editor(test), Qt::Key_Backtab, Qt::ShiftModifier);
        QTest::keyClick(&editor(test), Qt::Key_Backtab, Qt::ShiftModifier);
        QTest::keyClick(&editor(test), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(editor(test).toPlainText(), QString("if a:\nb\nc"));
    }

    void editorKeepsTheEncodingAndTheLineEnds()
    {
        TestWindow test;
        openScript(test, "# -*- coding: latin-1 -*-\r\n# Tr\xe4ger\r\n");
        QVERIFY(editor(test).toPlainText().contains(QString::fromUtf8("Träger")));
        QTest::keyClick(&editor(test), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "a = 1");
        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(contentsOf(test.path("script.py")),
                 QByteArray("# -*- coding: latin-1 -*-\r\n# Tr\xe4ger\r\na = 1"));
    }

    void editorFindsATextAndGoesToALine()
    {
        TestWindow test;
        openScript(test, "alpha\nbeta\nalpha\n");
        test.press(Qt::Key_F, Qt::ControlModifier);
        QTest::keyClicks(QApplication::focusWidget(), "alpha");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(editor(test).line(), 1);
        test.press(Qt::Key_F3);
        QCOMPARE(editor(test).line(), 3);
        test.press(Qt::Key_F3);
        QCOMPARE(editor(test).line(), 1);
        test.press(Qt::Key_F3, Qt::ShiftModifier);
        QCOMPARE(editor(test).line(), 3);

        test.onDialog([](QWidget *dialog) {
            QWidget *const focus = dialog->focusWidget();
            QTest::keyClicks(focus, "2");
            QTest::keyClick(focus, Qt::Key_Return);
        });
        test.press(Qt::Key_G, Qt::ControlModifier);
        QCOMPARE(editor(test).line(), 2);
    }

    void coloursOfTheCodeAreReadableOnEachBackground_data()
    {
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("base");

        QTest::newRow("light") << QColor("#1f1c1b") << QColor(Qt::white);
        QTest::newRow("dark") << QColor("#eff0f1") << QColor("#1e1e1e");
        QTest::newRow("high contrast") << QColor(Qt::yellow) << QColor(Qt::black);
    }

    void coloursOfTheCodeAreReadableOnEachBackground()
    {
        QFETCH(QColor, text);
        QFETCH(QColor, base);
        TestWindow test;
        openScript(test, "# comment\nimport os\ndef f(x):\n    return 'a%d' % len(x) + 1.5\n");
        QPalette palette;
        palette.setColor(QPalette::Base, base);
        palette.setColor(QPalette::Text, text);
        editor(test).setPalette(palette); // while it is shown
        QCoreApplication::processEvents();

        QTextBlock block = editor(test).document()->begin();
        for (; block.isValid(); block = block.next()) {
            for (const QTextLayout::FormatRange &range : block.layout()->formats()) {
                const bool hasColour = range.format.hasProperty(QTextFormat::ForegroundBrush);
                const QColor colour = hasColour ? range.format.foreground().color() : text;
                QVERIFY2(Workbench::contrast(colour, base) >= 3.0,
                         qPrintable(block.text().mid(range.start, range.length) + colour.name()));
            }
        }
    }

    void scriptIsSavedAndRunAndItsOutputIsShown()
    {
        TestWindow test;
        openScript(test, "# -*- coding: utf-8 -*-\nimport sys\n");
        QTest::keyClick(&editor(test), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(&editor(test), "print 'mm'; sys.stderr.write('careful')");
        test.press(Qt::Key_F8);

        QVERIFY(contentsOf(test.path("script.py")).contains("careful"));
        QVERIFY(!test.document().isChanged());
        QVERIFY(outputView(test).isVisible());
        const QString printed = output(test);
        QVERIFY2(printed.contains("\nmm\ncareful\n"), qPrintable(printed));
        QVERIFY(printed.contains("script.py has ended after"));

        const auto colourOf = [&](const QString &text) {
            return outputView(test).document()->find(text).charFormat().foreground().color();
        };
        QVERIFY(colourOf("mm") != colourOf("careful"));
        QVERIFY(colourOf("mm") != colourOf("has ended"));
    }

    void scriptThatFailsIsMarkedAtItsLine()
    {
        TestWindow test;
        run(test, "def area(width, height):\n"
                  "    return width * heigth\n"
                  "\n"
                  "print 1\n"
                  "area(2, 3)\n");

        QCOMPARE(editor(test).errorLine(), 2);
        QCOMPARE(editor(test).line(), 2);
        QVERIFY(errorLabel(test).isVisible());
        QVERIFY2(errorLabel(test).text().startsWith("Line 2: NameError: "),
                 qPrintable(errorLabel(test).text()));
        QVERIFY(output(test).contains("line 5, in <module>"));
        const QString status = test.window().statusBar()->currentMessage();
        QVERIFY2(status.startsWith("NameError: "), qPrintable(status));

        test.press(Qt::Key_F4); // the caller
        QCOMPARE(editor(test).errorLine(), 5);
        test.press(Qt::Key_F4); // there is no other one
        QCOMPARE(editor(test).errorLine(), 5);
        test.press(Qt::Key_F4, Qt::ShiftModifier);
        QCOMPARE(editor(test).errorLine(), 2);

        QTest::keyClicks(&editor(test), " ");
        QCOMPARE(editor(test).errorLine(), 0);
        QVERIFY(!errorLabel(test).isVisible());
    }

    void scriptWithASyntaxErrorIsMarkedAtItsColumn()
    {
        TestWindow test;
        run(test, "a = 1\nb = a +* 2\n");

        QCOMPARE(editor(test).errorLine(), 2);
        QVERIFY(editor(test).textCursor().positionInBlock() > 0);
        QVERIFY(errorLabel(test).text().contains("SyntaxError: invalid syntax"));
        QTest::keyClick(&editor(test), Qt::Key_End, Qt::ControlModifier);
        run(test, "a = 1\n");
        QCOMPARE(editor(test).errorLine(), 0);
    }

    void scriptErrorInAModuleBesideItIsOpened()
    {
        TestWindow test;
        test.file("beams.py", "def load(x):\n    return 1 / x\n");
        run(test, "import beams\nbeams.load(0)\n");

        QCOMPARE(test.document().path(), test.path("beams.py"));
        QCOMPARE(editor(test).errorLine(), 2);
        test.press(Qt::Key_F4);
        QCOMPARE(test.document().path(), test.path("script.py"));
        QCOMPARE(editor(test).errorLine(), 2);

        // The lines of the traceback are links.
        OutputView &view = outputView(test);
        const QTextCursor place = view.document()->find("beams.py\", line 2");
        QVERIFY(!place.isNull());
        view.setTextCursor(QTextCursor(place.block()));
        view.horizontalScrollBar()->setValue(0);
        const QPoint point = view.cursorRect(place).center() - QPoint(20, 0);
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, point);
        QCOMPARE(test.document().path(), test.path("beams.py"));
        QCOMPARE(editor(test).line(), 2);
    }

    void selectedLinesAreRunWithTheVariablesOfTheScript()
    {
        TestWindow test;
        run(test, "x = 5\nif x > 100:\n    y = x + 1\n    Unknown\n");
        QTest::keyClick(&editor(test), Qt::Key_Home, Qt::ControlModifier);
        QTest::keyClick(&editor(test), Qt::Key_Down);
        QTest::keyClick(&editor(test), Qt::Key_Down);
        test.press(Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(editor(test).errorLine(), 0);
        QCOMPARE(answer(test, "y"), QString("6"));

        editor(test).setFocus();
        QTest::keyClick(&editor(test), Qt::Key_Down);
        test.press(Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(editor(test).errorLine(), 4);
    }

    void endlessScriptIsStopped_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QString>("way");
        QTest::addColumn<bool>("catches");

        const QByteArray loop = "while True:\n    pass\n";
        const QByteArray sleep = "import time\ntime.sleep(60)\n";
        const QByteArray stubborn = "while True:\n"
                                    "    try:\n"
                                    "        while True:\n"
                                    "            pass\n"
                                    "    except:\n"
                                    "        print 'caught'\n";
        const QByteArray progress = "from KelmUtils import Utils\n"
                                    "p = Utils.Progress(10**9, 'Counting', True)\n"
                                    "while True:\n"
                                    "    p.tick()\n";
        QTest::newRow("a loop, by the key") << loop << "key" << false;
        QTest::newRow("a loop, by Esc") << loop << "escape" << false;
        QTest::newRow("a loop, by the button") << loop << "button" << false;
        QTest::newRow("a loop, by the button of the status bar") << loop << "cancel" << false;
        QTest::newRow("a loop, by Ctrl+C in the console") << loop << "console" << false;
        QTest::newRow("a sleep, by the key") << sleep << "key" << false;
        QTest::newRow("a task, by the button") << progress << "button" << false;
        QTest::newRow("a loop that catches everything, by the key") << stubborn << "key" << true;
        QTest::newRow("a loop that catches everything, by Esc") << stubborn << "escape" << true;
    }

    void endlessScriptIsStopped()
    {
        QFETCH(QByteArray, code);
        QFETCH(QString, way);
        QFETCH(bool, catches);
        TestWindow test;
        openScript(test, "print 'go'\n" + code);
        QElapsedTimer timer;
        const auto stop = [&] {
            if (way == "key")
                press(test, Qt::Key_F8, Qt::ShiftModifier);
            else if (way == "escape")
                press(test, Qt::Key_Escape);
            else if (way == "button")
                QTest::mouseClick(test.window().findChild<QWidget *>("stopButton"), Qt::LeftButton);
            else if (way == "console")
                QTest::keyClick(&console(test), Qt::Key_C, Qt::ControlModifier);
            else
                QTest::mouseClick(
                    test.window().findChild<QWidget *>("progress")->findChild<QPushButton *>(),
                    Qt::LeftButton);
            timer.start();
        };
        whenPrinted(test, "go", [&] { QTimer::singleShot(400, &test.window(), stop); });
        if (catches)
            whenPrinted(test, "caught", stop); // a second time
        test.press(Qt::Key_F8);

        QVERIFY(timer.isValid());
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY2(output(test).contains("KeyboardInterrupt"), qPrintable(output(test)));
        QVERIFY(test.command("runScript")->isEnabled());
        QCOMPARE(answer(test, "1 + 1"), QString("2")); // and everything goes on
    }

    void windowIsDrawnWhileAScriptRuns()
    {
        TestWindow test;
        openScript(test, "import time\n"
                         "print 'go'\n"
                         "for i in range(20):\n"
                         "    print i\n"
                         "    time.sleep(0.05)\n");
        bool isShown = false;
        whenPrinted(test, "12", [&] {
            QWidget *const progress = test.window().findChild<QWidget *>("progress");
            isShown = progress->isVisible() && !output(test).contains("\n19\n");
            // No second run, and no change of the tab.
            QVERIFY(!test.command("runScript")->isEnabled());
            press(test, Qt::Key_O, Qt::ControlModifier);
            QVERIFY(!QApplication::activeModalWidget());
        });
        test.press(Qt::Key_F8);

        QVERIFY(isShown);
        QVERIFY(output(test).contains("\n19\n"));
        QVERIFY(!test.window().findChild<QWidget *>("progress")->isVisible());
    }

    void timeLimitOfTheSettingsEndsAScript()
    {
        TestWindow test;
        Workbench::Preferences::scriptTimeLimit.set(1);
        QElapsedTimer timer;
        timer.start();
        const QString printed = run(test, "import os\nreader, writer = os.pipe()\n"
                                          "os.read(reader, 1)\n");
        Workbench::Preferences::scriptTimeLimit.reset();

        QVERIFY(timer.elapsed() < 10000);
        QVERIFY2(printed.contains("KeyboardInterrupt"), qPrintable(printed));
        QCOMPARE(editor(test).errorLine(), 3);
    }

    void outputThatFloodsTheWindowIsCut()
    {
        TestWindow test;
        const QString printed = run(test, "for i in xrange(300000):\n"
                                          "    print 'line', i\n"
                                          "import sys\n"
                                          "for i in xrange(20000):\n"
                                          "    sys.stdout.write('x')\n");

        QVERIFY(outputView(test).blockCount() <= 10000);
        QVERIFY(printed.contains("line 299999\n"));
        for (const QString &line : printed.split('\n'))
            QVERIFY(line.size() <= 4000);
    }

    void windowThatIsClosedEndsTheScriptAndThenCloses()
    {
        TestWindow test;
        openScript(test, "print 'go'\nwhile True:\n    pass\n");
        whenPrinted(test, "go", [&] { test.window().close(); });
        test.press(Qt::Key_F8);

        QTRY_VERIFY(!test.window().isVisible());
        QVERIFY(output(test).contains("KeyboardInterrupt"));
    }

    void windowThatIsClosedWhileAScriptWaitsForInputEndsIt()
    {
        TestWindow test;
        openScript(test, "print 'go'\nraw_input()\nprint 'over'\n");
        whenPrinted(test, "go", [&] {
            QTimer::singleShot(300, &test.window(), [&] { test.window().windowHandle()->close(); });
        });
        test.press(Qt::Key_F8);

        QTRY_VERIFY(!test.window().isVisible());
        QVERIFY(output(test).contains("KeyboardInterrupt"));
        QVERIFY(!output(test).contains("\nover\n"));
    }

    void windowIsNotClosedBehindTheDialogOfAScript()
    {
        TestWindow test;
        openScript(test, "import Workbench\nWorkbench.showMessage('a')\nprint 'over'\n");
        test.onDialog([&](QWidget *dialog) {
            test.window().windowHandle()->close();
            QVERIFY(test.window().isVisible());
            TestWindow::pressButton(dialog, QMessageBox::Ok);
        });
        test.press(Qt::Key_F8);

        QVERIFY(output(test).contains("\nover\n"));
        QVERIFY(test.window().isVisible());
    }

    void windowClosesWithTheDialogOfAScriptAtTheEndOfTheSession()
    {
        TestWindow test;
        openScript(test, "import Workbench\n"
                         "print 'go'\n"
                         "while True:\n"
                         "    Workbench.showMessage('again')\n"
                         "print 'over'\n");
        test.onDialog([](QWidget *) { QApplication::closeAllWindows(); });
        test.press(Qt::Key_F8);

        QTRY_VERIFY(!test.window().isVisible());
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(output(test).contains("\ngo\n"));
        QVERIFY(!output(test).contains("\nover\n"));
    }

    void windowWithAnEndlessScriptCanBeDestroyedAfterItAndStartsAgain()
    {
        TestWindow test;
        openScript(test, "import Workbench\n"
                         "class Noisy(object):\n"
                         "    def __del__(self):\n"
                         "        print 'the end'\n"
                         "kept = Noisy()\n");
        test.press(Qt::Key_F8);
        test.restart();
        openScript(test, "print 'kept' in globals()\n", "second.py");
        test.press(Qt::Key_F8);
        QVERIFY2(output(test).contains("\nFalse\n"), qPrintable(output(test)));
    }

    void moduleReachesTheTable()
    {
        TestWindow test;
        test.open(test.file("loads.csv", loads));
        const QString printed = run(
            test, "import Workbench\n"
                  "table = Workbench.table()\n"
                  "column = table.column('Load')\n"
                  "print str(table.path()).rsplit('/')[-1], table.numRows(), table.numColumns()\n"
                  "print [str(label) for label in table.labels()]\n"
                  "print column.label(), column.unit(), len(column)\n"
                  "print column[0], column[-1], column[1] != column[1], column[3] != column[3]\n"
                  "print [x for x in column if x == x], column.values()[2]\n"
                  "print repr(str(table.cell(0, 'Joint'))), repr(str(table.cell(1, 1)))\n"
                  "print table.canChange(), len(Workbench.tables()), repr(table)\n"
                  "Workbench.setScriptResult(sum(x for x in column.values() if x == x))\n");

        QVERIFY2(printed.contains("\nloads.csv 6 3\n"
                                  "['Joint', 'Load', 'Remark']\n"
                                  "Load kN 6\n"
                                  "12.5 8.0 True True\n"
                                  "[12.5, 7.25, 9.0, 8.0] 7.25\n"
                                  "'J1' ''\n"
                                  "True 1 <Workbench.Table \"loads.csv\">\n"
                                  "Result: 36.75\n"),
                 qPrintable(printed));
    }

    void moduleChangesCellsThatCanBeUndone()
    {
        TestWindow test;
        test.open(test.file("loads.csv", loads));
        run(test, "import Workbench\n"
                  "table = Workbench.table('loads.csv')\n"
                  "table.setCell(1, 'Load', 2.5)\n"
                  "table.setCell(0, 'Remark', 'a, b')\n"
                  "table.setCell(3, 1, None)\n");
        test.showTab(0);
        auto &document = static_cast<TableDocument &>(test.document());
        QCOMPARE(document.cell(1, 1), QString("2.5"));
        QCOMPARE(document.cell(0, 2), QString("a, b"));
        QCOMPARE(document.cell(3, 1), QString(""));
        QVERIFY(document.isChanged());

        test.press(Qt::Key_Z, Qt::ControlModifier); // all of them
        QCOMPARE(document.cell(1, 1), QString(""));
        QCOMPARE(document.cell(0, 2), QString(""));
        QCOMPARE(document.cell(3, 1), QString("ERR"));
        QVERIFY(!document.isChanged());
    }

    void moduleTellsTablesApartThatDifferInCase()
    {
        TestWindow test;
        const QString lower = test.file("loads.csv", "a,b\n1,2\n");
        const QString upper = test.file("LOADS.csv", "a,b\n5,6\n");
        if (contentsOf(lower) == contentsOf(upper))
            QSKIP("the file system ignores case");
        test.window().openFiles({lower, upper});

        const QString printed = run(
            test, "import Workbench\n"
                  "print Workbench.table('" +
                      upper.toUtf8() + "').cell(0, 0), Workbench.table('loads.csv').cell(0, 0)\n");

        QVERIFY2(printed.contains("\n5 1\n"), qPrintable(printed));
    }

    void moduleRaisesErrors_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QString>("error");

        QTest::newRow("a column that does not exist")
            << QByteArray("table.column('Force')")
            << "LookupError: no column \"Force\" in loads.csv: there are Joint, Load, Remark";
        QTest::newRow("a column by number")
            << QByteArray("table.column(3)") << "IndexError: no column 3: there are 3";
        QTest::newRow("a row") << QByteArray("table.cell(6, 0)")
                               << "IndexError: no row 6: there are 6";
        QTest::newRow("a row of a column")
            << QByteArray("table.column(1)[-7]") << "IndexError: no row -1";
        QTest::newRow("a table") << QByteArray("Workbench.table('x.csv')")
                                 << "LookupError: no table \"x.csv\" is open";
        QTest::newRow("a file") << QByteArray("Workbench.open('/nowhere/x.csv')") << "IOError: ";
        QTest::newRow("a closed table") << QByteArray("table.close(); table.numRows()")
                                        << "RuntimeError: the table \"loads.csv\" has been closed";
        QTest::newRow("a column of a closed table")
            << QByteArray("column = table.column(1); table.close(); print column[0]")
            << "RuntimeError: the table \"loads.csv\" has been closed";
        QTest::newRow("no table") << QByteArray("table.close(); Workbench.table()")
                                  << "RuntimeError: no table is open";
        QTest::newRow("another thread")
            << QByteArray(
                   "import threading; t = threading.Thread(target=table.numRows); t.start(); "
                   "t.join()")
            << "RuntimeError: the module Workbench can be used on the main thread only";
        QTest::newRow("a wrong argument") << QByteArray("table.cell('a', 'b')") << "TypeError: ";
    }

    void moduleRaisesErrors()
    {
        QFETCH(QByteArray, code);
        QFETCH(QString, error);
        TestWindow test;
        test.open(test.file("loads.csv", loads));
        const QString printed =
            run(test, "import Workbench\ntable = Workbench.table()\n" + code + "\n");

        QVERIFY2(printed.contains(error), qPrintable(printed));
    }

    void moduleDoesNotChangeATableThatStaysInItsFile()
    {
        TestWindow test;
        Workbench::Preferences::memoryLimit.set(1);
        QByteArray large = "a,b\n";
        while (large.size() < 2 << 20)
            large += "1,2\n";
        test.open(test.file("large.csv", large));
        const QString printed = run(test, "import Workbench\n"
                                          "table = Workbench.table()\n"
                                          "print table.canChange(), sum(table.column('b').values())"
                                          " == 2 * table.numRows()\n"
                                          "table.setCell(0, 0, 5)\n");

        QVERIFY2(printed.contains("\nFalse True\n"), qPrintable(printed));
        QVERIFY(printed.contains("RuntimeError: the table \"large.csv\" is shown from its file"));
    }

    void scriptThatClosesTheDocumentUnderItsViewAsksFirst()
    {
        TestWindow test;
        test.open(test.file("loads.csv", loads));
        openScript(test, "import Workbench\n"
                         "table = Workbench.table()\n"
                         "table.setCell(0, 1, 5)\n"
                         "print table.close(), repr(table)\n"
                         "print table.close(), repr(table)\n"
                         "for other in range(3):\n"
                         "    opened = Workbench.open(str(PATH))\n"
                         "    print opened.numRows()\n"
                         "    opened.close()\n"
                         "import os\n"
                         "os.remove(PATH)\n");
        enter(test, "PATH = '" + test.file("other.csv", loads) + "'");
        test.onDialog([&](QWidget *dialog) {
            TestWindow::pressButton(dialog, QMessageBox::Cancel);
            test.onDialog(
                [](QWidget *second) { TestWindow::pressButton(second, QMessageBox::Discard); });
        });
        test.press(Qt::Key_F8);

        const QString printed = output(test);
        QVERIFY2(printed.contains("\nFalse <Workbench.Table \"loads.csv\">\n"
                                  "True <Workbench.Table \"loads.csv\", closed>\n6\n6\n6\n"),
                 qPrintable(printed));
        QCOMPARE(test.window().findChild<QTabWidget *>()->count(), 1);
        QCOMPARE(contentsOf(test.path("loads.csv")), QByteArray(loads));
    }

    void scriptThatDeletesTheFileUnderTheViewGoesOn_data()
    {
        QTest::addColumn<int>("limit"); // megabytes

        QTest::newRow("in memory") << 64;
        QTest::newRow("in the file") << 1;
    }

    void scriptThatDeletesTheFileUnderTheViewGoesOn()
    {
        QFETCH(int, limit);
        Workbench::Preferences::memoryLimit.set(limit);
        TestWindow test;
        const int numRows = 300000;
        test.open(test.file("large.csv", "a,b\n" + QByteArray("1,2.5\n").repeated(numRows)));
        QCOMPARE(test.document().holdsContents(), limit > 1);
        const QString printed = run(test, "import os\n"
                                          "import Workbench\n"
                                          "table = Workbench.table()\n"
                                          "column = table.column('b')\n"
                                          "path = str(table.path())\n"
                                          "os.remove(path)\n"
                                          "print sum(column.values())\n"
                                          "try:\n"
                                          "    Workbench.open(path + '.gone')\n"
                                          "except IOError:\n"
                                          "    print 'no file'\n"
                                          "print Workbench.open(path).numRows()\n"
                                          "with open(path, 'w') as file:\n"
                                          "    file.write('a,b\\n1,3\\n')\n"
                                          "print column[0], table.close()\n"
                                          "print Workbench.open(path).column('b').values()\n");

        QVERIFY2(printed.contains("\n750000.0\nno file\n300000\n2.5 True\n[3.0]\n"),
                 qPrintable(printed));
        test.showTab(0);
        test.showTab(1);
        QCOMPARE(test.document().path(), test.path("large.csv"));
        QCOMPARE(test.view<TableView>()->grid().model()->rowCount(), 1);
    }

    void scriptThatClosesItselfGoesOn()
    {
        TestWindow test;
        test.open(test.file("loads.csv", loads));
        openScript(test, "print 'go'\nimport time\ntime.sleep(0.6)\nprint 'over'\n1/0\n");
        // As a user cannot, who has no other input meanwhile.
        whenPrinted(test, "go", [&] { test.window().closeTab(test.window().currentTab()); });
        test.press(Qt::Key_F8);

        QVERIFY(output(test).contains("\nover\n"));
        QCOMPARE(editor(test).errorLine(), 5); // it is opened again
    }

    void dialogsOfAScriptCanBeStopped()
    {
        TestWindow test;
        openScript(test, "import Workbench\n"
                         "def ask(n):\n"
                         "    Workbench.showMessage('Message %d' % n)\n"
                         "    print n\n"
                         "    ask(n + 1)\n"
                         "ask(1)\n");
        int numDialogs = 0;
        std::function<void(QWidget *)> answer = [&](QWidget *dialog) {
            if (++numDialogs == 3) {
                QTest::keyClick(dialog, Qt::Key_Escape);
                return;
            }
            test.onDialog(answer);
            TestWindow::pressButton(dialog, QMessageBox::Ok);
        };
        test.onDialog(answer);
        test.press(Qt::Key_F8);

        QCOMPARE(numDialogs, 3);
        const QString printed = output(test);
        QVERIFY2(printed.contains("\n1\n2\n") && !printed.contains("\n4\n"), qPrintable(printed));
        QVERIFY(printed.contains("KeyboardInterrupt"));
    }

    void consoleEvaluatesStatementsOfSeveralLines()
    {
        TestWindow test;
        enter(test, "for i in (1, 2):");
        QCOMPARE(test.window().findChild<QLabel *>("consolePrompt")->text(), QString("..."));
        QCOMPARE(console(test).text(), QString("    "));
        QTest::keyClicks(&console(test), "i * 10");
        QTest::keyClick(&console(test), Qt::Key_Return);
        QTest::keyClick(&console(test), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(&console(test), Qt::Key_Delete);
        QTest::keyClick(&console(test), Qt::Key_Return);

        QCOMPARE(output(test), QString(">>> for i in (1, 2):\n"
                                       "...     i * 10\n"
                                       "... \n"
                                       "10\n20\n"));
        QCOMPARE(test.window().findChild<QLabel *>("consolePrompt")->text(), QString(">>>"));
        enter(test, "1/0");
        QVERIFY(output(test).endsWith("ZeroDivisionError: integer division or modulo by zero\n"));

        QApplication::clipboard()->setText("a = 3\nfor i in range(a):\n    print i,\n\na * 7");
        QTest::keyClick(&console(test), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(console(test).text(), QString("a * 7"));
        QTest::keyClick(&console(test), Qt::Key_Return);
        QVERIFY2(output(test).endsWith("0 1 2\n>>> a * 7\n21\n"), qPrintable(output(test)));
    }

    void consoleCompletesNames()
    {
        TestWindow test;
        enter(test, "import Workbench");
        QTest::keyClicks(&console(test), "Workbench.setS");
        QTest::keyClick(&console(test), Qt::Key_Tab);
        QCOMPARE(console(test).text(), QString("Workbench.setScriptResult"));

        console(test).clear();
        QTest::keyClicks(&console(test), "Workbench.t");
        QTest::keyClick(&console(test), Qt::Key_Tab);
        QAbstractItemView *const list = console(test).findChild<QCompleter *>()->popup();
        QTRY_VERIFY(list->isVisible());
        QCOMPARE(list->model()->rowCount(), 2);
        QCOMPARE(list->model()->index(1, 0).data().toString(), QString("tables() -> list"));
        QTest::keyClick(list, Qt::Key_Down);
        QTest::keyClick(list, Qt::Key_Return);
        QCOMPARE(console(test).text(), QString("Workbench.tables"));

        console(test).clear();
        QTest::keyClick(&console(test), Qt::Key_Tab); // leaves it
        QVERIFY(!console(test).hasFocus());
    }

    void consoleRemembersLinesAlsoAfterARestart()
    {
        TestWindow test;
        enter(test, "a = 1");
        enter(test, "b = 2");
        QTest::keyClicks(&console(test), "draft");
        QTest::keyClick(&console(test), Qt::Key_Up);
        QCOMPARE(console(test).text(), QString("b = 2"));
        QTest::keyClick(&console(test), Qt::Key_Up);
        QTest::keyClick(&console(test), Qt::Key_Up);
        QCOMPARE(console(test).text(), QString("a = 1"));
        QTest::keyClick(&console(test), Qt::Key_Down);
        QTest::keyClick(&console(test), Qt::Key_Down);
        QCOMPARE(console(test).text(), QString("draft"));

        test.restart();
        test.press(Qt::Key_F7);
        QTest::keyClick(&console(test), Qt::Key_Up);
        QCOMPARE(console(test).text(), QString("b = 2"));
    }

    void consoleDropsALineByCtrlCAndStaysAfterExit()
    {
        TestWindow test;
        enter(test, "def f():");
        QTest::keyClick(&console(test), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(console(test).text(), QString());
        QCOMPARE(test.window().findChild<QLabel *>("consolePrompt")->text(), QString(">>>"));

        enter(test, "exit(3)");
        QVERIFY(test.window().isVisible());
        QVERIFY2(output(test).contains("exit() does not close the workbench"),
                 qPrintable(output(test)));
        QCOMPARE(answer(test, "4 + 4"), QString("8"));
    }

    void consoleAnswersWhatAScriptReads()
    {
        TestWindow test;
        openScript(test, "name = raw_input('Name? ')\nprint '<%s>' % name\nprint 'go'\n"
                         "try:\n    raw_input()\nexcept EOFError:\n    print 'end'\n"
                         "print 'last'\nraw_input()\n");
        QTimer typing;
        connect(&typing, &QTimer::timeout, &typing, [&] {
            if (!console(test).hasFocus() || !output(test).contains("Name? "))
                return;
            typing.stop();
            QTest::keyClicks(&console(test), "bolt");
            QTest::keyClick(&console(test), Qt::Key_Return);
        });
        typing.start(20);
        whenPrinted(test, "go", [&] {
            QTimer::singleShot(200, &test.window(), [&] {
                QTest::keyClick(&console(test), Qt::Key_D, Qt::ControlModifier);
            });
        });
        whenPrinted(test, "last", [&] {
            QTimer::singleShot(200, &test.window(), [&] {
                press(test, Qt::Key_Escape);
                press(test, Qt::Key_Escape); // at once, as by a key that is held
            });
        });
        test.press(Qt::Key_F8);

        const QString printed = output(test);
        QVERIFY2(printed.contains("\n<bolt>\ngo\nend\nlast\n"), qPrintable(printed));
        QVERIFY2(printed.contains("KeyboardInterrupt"), qPrintable(printed));
    }

    void pythonIsRestarted()
    {
        TestWindow test;
        enter(test, "kept = 1");
        test.choose("restartPython");
        enter(test, "kept");
        QVERIFY(output(test).endsWith("NameError: name 'kept' is not defined\n"));
        QVERIFY(answer(test, "import Workbench; Workbench.tables()").endsWith("[]"));
    }

    void moduleHasTheNamesOfItsStub()
    {
        QStringList declared;
        QString owner;
        const QString stub = contentsOf(sources() + "/examples/workbench/script/Workbench.pyi");
        static const QRegularExpression line("^(class|def|    def) (\\w+)",
                                             QRegularExpression::MultilineOption);
        for (auto found = line.globalMatch(stub); found.hasNext();) {
            const QRegularExpressionMatch match = found.next();
            const bool isMember = match.captured(1).startsWith(' ');
            if (match.captured(1) == "class")
                owner = match.captured(2) + '.';
            if (!match.captured(2).startsWith('_'))
                declared.append((isMember ? owner : QString()) + match.captured(2));
        }
        declared.sort();
        QVERIFY(declared.size() > 15);

        TestWindow test;
        const QString printed =
            run(test, "import Workbench\n"
                      "names = [n for n in dir(Workbench) if n[0] != '_']\n"
                      "for kind in (Workbench.Table, Workbench.Column):\n"
                      "    names += [kind.__name__ + '.' + n for n in dir(kind) if n[0] != '_']\n"
                      "print ' '.join(sorted(names))\n");
        QVERIFY2(printed.contains('\n' + declared.join(' ') + '\n'), qPrintable(printed));
    }

    void exampleOfTheGuideRuns()
    {
        const QString guide = contentsOf(sources() + "/docs/workbench.md");
        const int start = guide.indexOf("\nimport Workbench\n");
        const QString code = guide.mid(start).section("```", 0, 0);
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        const QString printed = run(test, code.toUtf8());

        QVERIFY2(printed.contains("Result: 1.5\n") && printed.contains("\nkN 1200 -0.021\n"),
                 qPrintable(printed));
    }

    void samplesRun()
    {
        TestWindow test;
        const QString folder = sources() + "/examples/workbench/script/samples/";
        test.open(test.sample("load_curve.csv"));
        const QString strength = run(test, contentsOf(folder + "strength.py"), "strength.py");
        QVERIFY2(strength.contains("Young's modulus"), qPrintable(strength));
        QVERIFY(strength.contains("Result: "));
        const QString tared = run(test, contentsOf(folder + "tare.py"), "tare.py");
        QVERIFY2(tared.contains("rows are changed"), qPrintable(tared));
        test.showTab(0);
        auto &document = static_cast<TableDocument &>(test.document());
        QCOMPARE(document.cell(0, 2), QString("0"));
    }
};

QTEST_MAIN(tst_Workbench_scripts)
#include "tst_Workbench_scripts.moc"
