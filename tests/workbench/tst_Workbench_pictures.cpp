// The pictures of the guide, and that nothing in them is cut off: in English, in German, in a
// language of longer words that nobody speaks, with other palettes and scales, and from right to
// left.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/TableView.h"
#include "examples/workbench/trees/TreeView.h"
#include "utils/feedback/Progress.h"
#include "utils/settings/Settings.h"
#include "utils/strings/StringTable.h"

#include <QAbstractButton>
#include <QDir>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QTabBar>
#include <QTableView>
#include <QTreeView>

using Workbench::TableView;
using Workbench::TreeView;

static const SettingsHome home;

class tst_Workbench_pictures : public QObject
{
    Q_OBJECT

private:
    static void selectColumns(TestWindow &test, const QList<int> &cols)
    {
        TestWindow::clickHeaders(test.view<TableView>()->grid(), cols);
    }

    /// The titles and cells of a visible table or tree that are wider than their columns.
    static QStringList cutCells(const QAbstractItemView &view, const QHeaderView &columns)
    {
        QStringList cut;
        if (!view.isVisible() || !view.model())
            return cut;
        const QRect shown = view.viewport()->rect();
        for (int col = 0; col < columns.count(); ++col) {
            const int left = columns.sectionViewportPosition(col);
            if (left < 0 || left + columns.sectionSize(col) > shown.width())
                continue; // the view can be scrolled
            const QString title = view.model()->headerData(col, Qt::Horizontal).toString();
            if (columns.isVisible() && columns.sectionSizeHint(col) > columns.sectionSize(col))
                cut.append("column " + title);
            QModelIndex cell = view.indexAt({left + columns.sectionSize(col) - 1, 0});
            while (cell.isValid() && shown.intersects(view.visualRect(cell))) {
                if (view.sizeHintForIndex(cell).width() > view.visualRect(cell).width())
                    cut.append("cell " + cell.data().toString());
                cell = view.indexAt(
                    {left + columns.sectionSize(col) - 1, view.visualRect(cell).bottom() + 2});
            }
        }
        return cut;
    }

    /// What of the visible texts in \p window is cut off, in a line for each.
    static QStringList cutTexts(const QWidget &window)
    {
        QStringList cut;
        const auto check = [&](const QWidget &part, const QString &text, int width) {
            if (part.isVisible() && !text.isEmpty() && width > part.width())
                cut.append(QString("%1: %2 of %3 pixels").arg(text).arg(part.width()).arg(width));
        };
        for (const QAbstractButton *const button : window.findChildren<QAbstractButton *>()) {
            if (button->icon().isNull()) // tool bars show the icon only
                check(*button, button->text(),
                      button->fontMetrics().horizontalAdvance(button->text().remove('&')));
        }
        for (const QLabel *const label : window.findChildren<QLabel *>()) {
            if (!label->wordWrap())
                check(*label, label->text(), label->minimumSizeHint().width());
        }
        for (const QLineEdit *const line : window.findChildren<QLineEdit *>()) {
            const int frame = line->sizeHint().height() - line->fontMetrics().height();
            for (const QString &text : {line->placeholderText(), line->text()})
                check(*line, text, line->fontMetrics().horizontalAdvance(text) + frame / 2);
        }
        for (const QTabBar *const bar : window.findChildren<QTabBar *>()) {
            for (int i = 0; i < bar->count(); ++i) {
                if (bar->isVisible() && !bar->rect().contains(bar->tabRect(i)))
                    cut.append("tab " + bar->tabText(i));
            }
        }
        for (const QTableView *const table : window.findChildren<QTableView *>())
            cut += cutCells(*table, *table->horizontalHeader());
        for (const QTreeView *const tree : window.findChildren<QTreeView *>())
            cut += cutCells(*tree, *tree->header());
        return cut;
    }

    /// What has the same key as another of the menus, buttons and fields in \p window, a key in
    /// each item.
    static QStringList keysUsedTwice(const QWidget &window)
    {
        QMap<QString, QStringList> texts; // by key
        const auto add = [&](const QString &text) {
            const QKeySequence key = QKeySequence::mnemonic(text);
            if (!key.isEmpty() && !texts[key.toString()].contains(text)) // as in several tabs
                texts[key.toString()].append(text);
        };
        if (const auto *const bar = window.findChild<QMenuBar *>()) {
            for (const QAction *const menu : bar->actions()) {
                if (menu->isVisible())
                    add(menu->text());
            }
        }
        // Also those that are there at times, as in the bar above a document.
        for (const QPushButton *const button : window.findChildren<QPushButton *>()) {
            if (button->window() == &window)
                add(button->text());
        }
        for (const QLabel *const label : window.findChildren<QLabel *>()) {
            if (label->buddy() && label->window() == &window)
                add(label->text());
        }
        QStringList twice;
        for (const QStringList &of : qAsConst(texts)) {
            if (of.size() > 1)
                twice.append(of.join(", "));
        }
        return twice;
    }

    /// Checks the texts of \p window, and keeps its picture in the folder that the environment has
    /// for pictures of the guide or, with a \p look, for those of all looks.
    static void show(QWidget &window, const QString &name, const QString &language,
                     const QString &look = {})
    {
        QTest::qWait(100); // until the window manager has drawn the frame
        const QStringList cut = cutTexts(window);
        QVERIFY2(cut.isEmpty(), qPrintable(name + ":\n" + cut.join('\n')));
        const QString folder =
            qEnvironmentVariable(look.isEmpty() ? "KELM_PICTURES" : "KELM_LOOKS");
        if (folder.isEmpty() || language == "xx")
            return;
        const QPixmap picture = window.grab();
        const QString suffix = look.isEmpty() ? language : language + '_' + look;
        QVERIFY(picture.save(QDir(folder).filePath(name + '_' + suffix + ".png")));
    }

    /// Shows the window with a dark palette.
    static void showDark(TestWindow &test, const QString &language)
    {
        const QPalette usual = QApplication::palette();
        QApplication::setPalette(paletteOf("dark"));
        show(test.window(), "dark", language);
        QApplication::setPalette(usual);
    }

    /// Shows the rows in which the strain has its first holes, after two texts.
    static void showHoles(TestWindow &test, const QString &language, const QString &look)
    {
        QByteArray contents = contentsOf(test.sample("load_curve.csv"));
        contents.replace(",99.6084,", ",> 99.5,").replace(",99.8063,", ",> 99.5,");
        test.open(test.file("clipped.csv", contents));
        QTableView &grid = test.view<TableView>()->grid();
        grid.scrollTo(grid.model()->index(492, 0), QTableView::PositionAtTop);
        TestWindow::clickCell(grid, grid.model()->index(494, 3));
        QTest::qWait(400);
        show(test.window(), "holes", language, look);
    }

    /// Shows the tables and plots that the guide has pictures of.
    static void showAll(TestWindow &test, const QString &language, const QString &look)
    {
        test.window().resize(1280, 800);
        show(test.window(), "start", language, look);

        test.open(test.sample("load_curve.csv"));
        selectColumns(test, {1, 2});
        QTest::qWait(400);
        show(test.window(), "plot", language, look);
        selectColumns(test, {0, 2, 4}); // of two units
        test.press(Qt::Key_L, Qt::ControlModifier);
        QTest::qWait(400);
        show(test.window(), "units", language, look);
        if (look.isEmpty())
            showDark(test, language);
        test.press(Qt::Key_L, Qt::ControlModifier);
        test.press(Qt::Key_2, Qt::ControlModifier);
        selectColumns(test, {2});
        QTest::qWait(400);
        show(test.window(), "histogram", language, look);
        test.press(Qt::Key_3, Qt::ControlModifier);
        selectColumns(test, {2, 3});
        QTest::qWait(400);
        show(test.window(), "box", language, look);
        test.press(Qt::Key_1, Qt::ControlModifier);
        showHoles(test, language, look);

        test.open(test.sample("bolts.csv"));
        QTest::qWait(200);
        show(test.window(), "table", language, look);
        test.onDialog([&](QWidget *dialog) {
            show(*dialog, "format", language, look);
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.choose("format");
        const char *const label = language == "de" ? "Die Knoten des Rahmens werden gemessen"
                                                   : "Measuring the joints of the frame";
        Utils::Progress task(100, label, /*cancelable=*/true, /*waitCursor=*/false, /*popup=*/true);
        task.show();
        for (int i = 0; i < 20; ++i) {
            QTest::qSleep(5);
            task.tick(2);
        }
        show(*test.window().findChild<QWidget *>("progressWindow"), "progress", language, look);
    }

    static QPalette paletteOf(const QString &look)
    {
        QPalette palette;
        if (look == "dark") {
            palette = QPalette(QColor("#353535"), QColor("#2b2b2b"));
            palette.setColor(QPalette::Base, "#1e1e1e");
            palette.setColor(QPalette::AlternateBase, "#2b2b2b");
            palette.setColor(QPalette::ToolTipBase, "#3c3c3c");
            palette.setColor(QPalette::ToolTipText, "#f0f0f0");
        } else if (look == "contrast") {
            palette = QPalette(Qt::yellow, Qt::black, Qt::yellow, Qt::yellow, Qt::yellow,
                               Qt::yellow, Qt::yellow, Qt::black, Qt::black);
            palette.setColor(QPalette::Highlight, Qt::white);
            palette.setColor(QPalette::HighlightedText, Qt::black);
            palette.setColor(QPalette::ToolTipBase, Qt::black);
            palette.setColor(QPalette::ToolTipText, Qt::yellow);
        }
        return palette;
    }

    /// Shows the tree in the current tab with the rows of \p paths open, and a number in the last
    /// one changed to what is none.
    static void showTree(TestWindow &test, const QList<QList<int>> &paths, const QString &name,
                         const QString &language, const QString &look)
    {
        QTreeView &tree = test.view<TreeView>()->tree();
        QModelIndex cell;
        for (const QList<int> &path : paths) {
            cell = QModelIndex();
            for (const int row : path)
                cell = tree.model()->index(row, 0, cell);
            tree.expand(cell);
        }
        tree.setCurrentIndex(cell.siblingAtColumn(1));
        QTest::keyClick(&tree, Qt::Key_F2);
        QTest::keyClicks(tree.findChild<QWidget *>("valueEditor"), "23o");
        show(test.window(), name, language, look);
        QTest::keyClick(tree.findChild<QWidget *>("valueEditor"), Qt::Key_Escape);
    }

    /// The resources with a pseudo language, as kelm strings --pseudo makes it.
    QString resources()
    {
        const QDir from(QString(WORKBENCH_RESOURCES) + "/locale");
        for (const QString &file : from.entryList(QDir::Files)) {
            const QString to = m_resources.filePath("locale/" + file);
            if (makeFile(to, contentsOf(from.filePath(file))).isEmpty())
                return {};
        }
        QProcess kelm;
        kelm.start(KELM_PROGRAM, {"strings", "--pseudo", from.filePath("Kelm.Workbench_en.xml")});
        kelm.waitForFinished();
        makeFile(m_resources.filePath("locale/Kelm.Workbench_xx.xml"),
                 kelm.readAllStandardOutput());
        const QString icon = "icons/kelm-workbench.svg";
        makeFile(m_resources.filePath(icon), contentsOf(QString(WORKBENCH_RESOURCES) + '/' + icon));
        return m_resources.path();
    }

    /// The solver has run, and its result is plotted.
    static void showProcesses(TestWindow &test, const QString &language, const QString &look)
    {
        Workbench::Pane &pane = *test.window().tool("Processes");
        test.choose(test.window().findChild<QDockWidget *>("Processes")->toggleViewAction());
        Utils::Settings("gui").setString("tempPath", QFileInfo(test.path("x")).path());
        qputenv("PATH", QFileInfo(KELM_SOLVER).path().toUtf8() + QDir::listSeparator().toLatin1() +
                            qgetenv("PATH"));
        const QMap<const char *, QString> fields{
            {"processCommand", QFileInfo(KELM_SOLVER).fileName()},
            {"processArguments", "--seconds 1 --children 2 --output rod.csv"},
            {"processFolder", QString()}, // in the picture is none of this machine
            {"processResult", "rod.csv"},
            {"processLog", "solver.log"}};
        for (auto field = fields.begin(); field != fields.end(); ++field)
            TestWindow::typeInto(*pane.findChild<QLineEdit *>(field.key()), *field);
        test.press(Qt::Key_F12);
        const auto *const bar = pane.findChild<QProgressBar *>();
        QTRY_VERIFY(bar->value() >= bar->maximum() / 4 && bar->maximum() > 0);
        QCOMPARE(cutTexts(test.window()), QStringList()); // in the narrow pane, too
        test.window().findChild<QDockWidget *>("Plot")->hide();
        show(test.window(), "processes", language, look);
        QTRY_VERIFY(test.window().currentTab()); // without scripts no file is open yet
        QTRY_COMPARE(test.document().path(), test.path("rod.csv"));
    }

    /// The scripts pane with a script that has run, and one that has failed.
    static void showScripts(TestWindow &test, const QString &language, const QString &look)
    {
        const QString folder = QString(KELMUTILS_SAMPLES) + "/../workbench/script/samples/";
        const QByteArray code = contentsOf(folder + "strength.py");
        test.open(test.file("strength.py", code));
        test.press(Qt::Key_F8);
        test.press(Qt::Key_F7);
        QWidget *const line = test.window().findChild<QWidget *>("consoleLine");
        for (const char *const statement :
             {"import Workbench", "table = Workbench.table()", "table.column('Force').unit()"})
        {
            QTest::keyClicks(line, statement);
            QTest::keyClick(line, Qt::Key_Return);
        }
        QTest::qWait(200);
        show(test.window(), "script", language, look);

        QByteArray wrong = code;
        wrong.replace("len(points), table", "len(point), table");
        // Its path is in the picture, which is the same each time that it is made for the guide.
        QTemporaryDir ofThisRun;
        const bool isForGuide = qEnvironmentVariableIsSet("KELM_PICTURES");
        const QDir place(isForGuide ? QDir::tempPath() + "/tensile" : ofThisRun.path());
        test.open(makeFile(place.filePath("wrong.py"), wrong));
        test.press(Qt::Key_F8);
        QTest::qWait(200);
        show(test.window(), "scriptError", language, look);
        test.press(Qt::Key_W, Qt::ControlModifier);
        test.window().statusBar()->clearMessage(); // of the error
        QVERIFY(QFile::remove(place.filePath("wrong.py")) && QDir().rmdir(place.path()));
    }

    /// A file is opened, saved and closed, and a setting is changed.
    static void showBus(TestWindow &test, const QString &language, const QString &look)
    {
        test.press(Qt::Key_F7, Qt::ControlModifier);
        test.open(test.sample("bolts.csv"));
        test.answerFileDialog(test.path("joint.csv"));
        test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        test.press(Qt::Key_W, Qt::ControlModifier);
        Workbench::Preferences::memoryLimit.set(128);
        QTest::qWait(200);
        show(test.window(), "bus", language, look);
        test.press(Qt::Key_F7, Qt::ControlModifier);
    }

    /// A setting differs from its default; the folder is the same on each machine.
    static void showSettings(TestWindow &test, const QString &language, const QString &look)
    {
        Workbench::Preferences::tempFolder.set("/tmp");
        Workbench::Preferences::memoryLimit.set(256);
        test.press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const dialog = test.window().findChild<QWidget *>("SettingsDialog");
        QVERIFY(dialog && QTest::qWaitForWindowActive(dialog));
        show(*dialog, "settings", language, look);
        QTest::keyClick(dialog, Qt::Key_Escape);
        QVERIFY(!dialog->isVisible());
    }

    /// Shows the documents and tools that the guide has pictures of.
    static void showTools(TestWindow &test, const QString &language, const QString &look)
    {
        test.window().resize(1280, 800);
#ifdef KELM_WORKBENCH_SCRIPTS
        test.open(test.sample("load_curve.csv"));
        showScripts(test, language, look);
        test.window().findChild<QWidget *>("Scripts")->hide();
#endif
        showProcesses(test, language, look);
        test.open(test.sample("materials.tag"));
        showTree(test, {{3}, {3, 10}}, "tags", language, look);
        test.open(test.sample("frame.xml"));
        showTree(test, {{0, 12}, {0, 6}, {0, 6, 1}}, "xml", language, look);
        showBus(test, language, look);
        showSettings(test, language, look);
    }

    QTemporaryDir m_resources;

private Q_SLOTS:
    void initTestCase() { qputenv("KELM_RES_DIR", resources().toUtf8()); }

    void init() { QSettings().clear(); }

    void picturesHaveNoTextThatIsCut_data()
    {
        QTest::addColumn<QString>("language");

        for (const char *const language : {"en", "de", "xx"})
            QTest::newRow(language) << language;
    }

    void picturesHaveNoTextThatIsCut()
    {
        QFETCH(QString, language);
        TestWindow test(language);
        QVERIFY(Workbench::setLanguage(language)); // the catalogue is set up once in a process
        const QString look = qEnvironmentVariable("KELM_LOOK");
        showAll(test, language, look);
    }

    void picturesOfToolsHaveNoTextThatIsCut_data() { picturesHaveNoTextThatIsCut_data(); }

    void picturesOfToolsHaveNoTextThatIsCut()
    {
        QFETCH(QString, language);
        TestWindow test(language);
        QVERIFY(Workbench::setLanguage(language));
        showTools(test, language, qEnvironmentVariable("KELM_LOOK"));
    }

    void picturesOfEachLookHaveNoTextThatIsCut_data()
    {
        QTest::addColumn<QString>("look");
        QTest::addColumn<bool>("ofTools");

        for (const char *const look : {"dark", "contrast", "right-to-left"}) {
            QTest::newRow(look) << look << false;
            QTest::addRow("%s, tools", look) << look << true;
        }
    }

    void picturesOfEachLookHaveNoTextThatIsCut()
    {
        QFETCH(QString, look);
        QFETCH(bool, ofTools);
        const QPalette usual = QApplication::palette();
        TestWindow test("de");
        QVERIFY(Workbench::setLanguage("de"));
        if (look == "right-to-left")
            QApplication::setLayoutDirection(Qt::RightToLeft);
        else
            QApplication::setPalette(paletteOf(look));

        if (ofTools)
            showTools(test, "de", look);
        else
            showAll(test, "de", look);

        QApplication::setLayoutDirection(Qt::LeftToRight);
        QApplication::setPalette(usual);
    }

    void picturesOfEachScaleHaveNoTextThatIsCut_data()
    {
        QTest::addColumn<QString>("factor");
        QTest::addColumn<QString>("function");

        for (const char *const factor : {"1.5", "2"}) {
            QTest::newRow(factor) << factor << "picturesHaveNoTextThatIsCut";
            QTest::addRow("%s, tools", factor) << factor << "picturesOfToolsHaveNoTextThatIsCut";
        }
    }

    void picturesOfEachScaleHaveNoTextThatIsCut()
    {
        QFETCH(QString, factor);
        QFETCH(QString, function);
        // The factor is that of a whole process.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_SCALE_FACTOR", factor);
        environment.insert("KELM_LOOK", "scale" + factor);
        QProcess scaled;
        scaled.setProcessEnvironment(environment);
        scaled.setProcessChannelMode(QProcess::MergedChannels);
        scaled.start(QCoreApplication::applicationFilePath(), {function + ":de"});
        QVERIFY(scaled.waitForFinished(60000));
        QVERIFY2(scaled.exitCode() == 0, scaled.readAll().constData());
    }

    void keysOfMenusAndButtonsDiffer_data()
    {
        QTest::addColumn<QString>("language");

        for (const char *const language : {"en", "de"})
            QTest::newRow(language) << language;
    }

    /// With each kind of document, and each tool.
    void keysOfMenusAndButtonsDiffer()
    {
        QFETCH(QString, language);
        TestWindow test(language);
        QVERIFY(Workbench::setLanguage(language));
        for (QDockWidget *const dock : test.window().findChildren<QDockWidget *>())
            dock->show();
        QStringList files{test.sample("bolts.csv"), test.sample("materials.tag"),
                          test.sample("frame.xml")};
#ifdef KELM_WORKBENCH_SCRIPTS
        files.append(test.file("a.py", "pass\n"));
#endif
        for (const QString &file : qAsConst(files)) {
            test.open(file);
            const QStringList twice = keysUsedTwice(test.window());
            QVERIFY2(twice.isEmpty(), qPrintable(file + ": " + twice.join("; ")));
        }
        test.press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const preferences = test.window().findChild<QWidget *>("SettingsDialog");
        QVERIFY(preferences);
        QCOMPARE(keysUsedTwice(*preferences), QStringList());
        preferences->close();
        test.open(files.first());
        QStringList twice{"none"};
        test.onDialog([&](QWidget *dialog) {
            twice = keysUsedTwice(*dialog);
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.choose("format");
        QCOMPARE(twice, QStringList());
    }

    void textsOfAllLanguagesAreComplete()
    {
        QProcess kelm;
        const QDir folder(QString(WORKBENCH_RESOURCES) + "/locale");
        kelm.start(KELM_PROGRAM, {"strings", "--check", folder.filePath("Kelm.Workbench_en.xml"),
                                  folder.filePath("Kelm.Workbench_de.xml")});
        QVERIFY(kelm.waitForFinished());
        const QByteArray mistakes = kelm.readAllStandardOutput() + kelm.readAllStandardError();
        QVERIFY2(kelm.exitCode() == 0, mistakes.constData());
        QCOMPARE(Utils::StringTable::missingKeys(), QStringList());
    }
};

QTEST_MAIN(tst_Workbench_pictures)
#include "tst_Workbench_pictures.moc"
