// The pictures of the guide, and that nothing in them is cut off: in English, in German, and in a
// language of longer words that nobody speaks.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/TableView.h"
#include "examples/workbench/trees/TreeView.h"
#include "utils/settings/Settings.h"
#include "utils/signals/PublicSignal.h"
#include "utils/strings/StringTable.h"

#include <QAbstractButton>
#include <QDir>
#include <QDockWidget>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QProgressBar>
#include <QScreen>
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
        QHeaderView *const header = test.view<TableView>()->grid().horizontalHeader();
        Qt::KeyboardModifiers modifiers;
        for (const int col : cols) {
            const QPoint position(header->sectionViewportPosition(col) + 9, 9);
            QTest::mouseClick(header->viewport(), Qt::LeftButton, modifiers, position);
            modifiers = Qt::ControlModifier;
        }
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
        for (const QLineEdit *const line : window.findChildren<QLineEdit *>())
            check(*line, line->placeholderText(),
                  line->fontMetrics().horizontalAdvance(line->placeholderText()));
        return cut;
    }

    /// Checks the texts of \p window, and keeps its picture when pictures are wanted.
    static void show(QWidget &window, const QString &name, const QString &language)
    {
        QTest::qWait(100); // until the window manager has drawn the frame
        const QStringList cut = cutTexts(window);
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join('\n')));
        const QString folder = qEnvironmentVariable("KELM_PICTURES");
        if (folder.isEmpty() || language == "xx")
            return;
        const QPixmap picture = window.grab();
        QVERIFY(picture.save(QDir(folder).filePath(name + '_' + language + ".png")));
    }

    /// Shows the tree in the current tab with the rows of \p paths open, and a number in the last
    /// one changed to what is none.
    static void showTree(TestWindow &test, const QList<QList<int>> &paths, const QString &name,
                         const QString &language)
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
        show(test.window(), name, language);
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
        return m_resources.path();
    }

    /// The solver has run, and its result is plotted.
    static void showProcesses(TestWindow &test, const QString &language)
    {
        Workbench::Pane &pane = *test.window().tool("Processes");
        test.window().findChild<QDockWidget *>("Processes")->toggleViewAction()->trigger();
        Utils::Settings("gui").setString("tempPath", QFileInfo(test.path("x")).path());
        qputenv("PATH", QFileInfo(KELM_SOLVER).path().toUtf8() + ':' + qgetenv("PATH"));
        const QMap<const char *, QString> fields{
            {"processCommand", QFileInfo(KELM_SOLVER).fileName()},
            {"processArguments", "--seconds 1 --children 2 --output rod.csv"},
            {"processFolder", QString()}, // in the picture is none of this machine
            {"processResult", "rod.csv"},
            {"processLog", "solver.log"}};
        for (auto field = fields.begin(); field != fields.end(); ++field)
            pane.findChild<QLineEdit *>(field.key())->setText(*field);
        test.press(Qt::Key_F12);
        QTRY_VERIFY(pane.findChild<QProgressBar *>()->value() >= 50);
        show(test.window(), "solving", language);
        QTRY_COMPARE(test.document().path(), test.path("rod.csv"));
        selectColumns(test, {0, 1});
        QTest::qWait(400);
        show(test.window(), "solved", language);
    }

    /// The scripts pane with a script that has run, and one that has failed.
    static void showScripts(TestWindow &test, const QString &language)
    {
        const QString folder = QString(KELMUTILS_SAMPLES) + "/../workbench/script/samples/";
        const QByteArray code = contentsOf(folder + "strength.py");
        test.window().openFiles({test.file("strength.py", code)});
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
        show(test.window(), "script", language);

        QByteArray wrong = code;
        wrong.replace("len(points), table", "len(point), table");
        test.window().openFiles({test.file("wrong.py", wrong)});
        test.press(Qt::Key_F8);
        QTest::qWait(200);
        show(test.window(), "scriptError", language);
    }

    /// Signals of documents that are opened, and of settings.
    static void showBus(TestWindow &test, const QString &language)
    {
        test.press(Qt::Key_F7, Qt::ControlModifier);
        Utils::PublicSignal opened("DocumentOpened", nullptr);
        Utils::PublicSignal refreshed("ViewRefreshed", nullptr);
        opened.connect([&] { refreshed.sendSignals(); });
        for (int i = 0; i < 3; ++i) {
            opened.addData("path", "rod.csv").addData("rows", 101);
            opened.sendSignals();
        }
        Workbench::Preferences::memoryLimit.set(128);
        QTest::qWait(200);
        show(test.window(), "bus", language);
        test.press(Qt::Key_F7, Qt::ControlModifier);
    }

    /// Two settings differ from their defaults.
    static void showSettings(TestWindow &test, const QString &language)
    {
        Workbench::Preferences::tempFolder.set("/tmp");
        Workbench::Preferences::memoryLimit.set(256);
        test.press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const dialog = test.window().findChild<QWidget *>("SettingsDialog");
        QVERIFY(dialog && QTest::qWaitForWindowActive(dialog));
        show(*dialog, "settings", language);
        QTest::keyClick(dialog, Qt::Key_Escape);
        QVERIFY(!dialog->isVisible());
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
        test.window().resize(1280, 800);
        show(test.window(), "start", language);

        test.open(test.sample("load_curve.csv"));
        selectColumns(test, {1, 2});
        QTest::qWait(400);
        show(test.window(), "plot", language);
        test.press(Qt::Key_2, Qt::ControlModifier);
        selectColumns(test, {2});
        QTest::qWait(400);
        show(test.window(), "histogram", language);
        test.press(Qt::Key_3, Qt::ControlModifier);
        selectColumns(test, {2, 3});
        QTest::qWait(400);
        show(test.window(), "box", language);
        test.press(Qt::Key_1, Qt::ControlModifier);

#ifdef KELM_WORKBENCH_SCRIPTS
        showScripts(test, language);
        test.window().findChild<QWidget *>("Scripts")->hide();
#endif
        test.open(test.sample("bolts.csv"));
        QTest::qWait(200);
        show(test.window(), "table", language);
        test.onDialog([&](QWidget *dialog) {
            show(*dialog, "format", language);
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.command("format")->trigger();
        showProcesses(test, language);

        test.open(test.sample("materials.tag"));
        showTree(test, {{3}, {3, 10}}, "tags", language);
        test.open(test.sample("frame.xml"));
        showTree(test, {{0, 12}, {0, 6}, {0, 6, 1}}, "xml", language);
        showBus(test, language);
        showSettings(test, language);
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
