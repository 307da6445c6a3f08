// The names by which a screen reader tells what has the focus.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/settings/SettingsDialog.h"
#include "examples/workbench/table/TableView.h"
#include "examples/workbench/trees/TreeView.h"

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QComboBox>
#include <QDialog>
#include <QDockWidget>
#include <QLabel>
#include <QPair>
#include <QSet>
#include <QStatusBar>
#include <QTabBar>
#include <QTableView>
#include <QTreeView>

using Workbench::DocumentTab;
using Workbench::Pane;
using Workbench::TableView;
using Workbench::TreeView;

static const SettingsHome home;

/// The names of widgets, by the part of the window that they are in.
class Names
{
public:
    /// Adds all widgets in \p root that can have the focus.
    void add(const QWidget &root)
    {
        QSet<QPair<const QWidget *, QString>> found;
        for (QWidget *const widget : root.findChildren<QWidget *>()) {
            if (widget->window() != root.window() || !canHaveFocus(*widget))
                continue;
            QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(widget);
            const QString name = face ? face->text(QAccessible::Name).trimmed() : QString();
            const QWidget *const part = partWith(*widget);
            const QString place = QString(part->metaObject()->className()).section("::", -1);
            const QString what = widget->metaObject()->className();
            if (name.isEmpty() || name.startsWith('.')) // the id of a text that is missing
                problems.append(
                    QString("%1: '%2' of %3 (%4)").arg(place, name, what, widget->objectName()));
            else if (found.contains({part, name}))
                problems.append(QString("%1: '%2' is the name of several").arg(place, name));
            found.insert({part, name});
            all.append(place + ": " + name);
            places.insert(place);
        }
    }

    QStringList all; ///< "BusPane: Clear"
    QStringList problems;
    QSet<QString> places;

private:
    static bool canHaveFocus(const QWidget &widget)
    {
        if (widget.focusPolicy() == Qt::NoFocus || widget.focusProxy())
            return false;
        if (widget.isHidden() && qobject_cast<const QLabel *>(&widget))
            return false; // its name is the text that it will have
        // Parts of a spin box or combo box stand for the whole, and so do the arrows of tabs.
        for (const QObject *part = widget.parent(); part; part = part->parent()) {
            if (qobject_cast<const QAbstractSpinBox *>(part) ||
                qobject_cast<const QComboBox *>(part) || qobject_cast<const QTabBar *>(part))
                return false;
        }
        return true;
    }

    /// The pane, dialog or bar that \p widget is in: names differ there.
    static const QWidget *partWith(const QWidget &widget)
    {
        const QWidget *part = widget.parentWidget();
        while (!part->isWindow() && !qobject_cast<const Pane *>(part) &&
               !qobject_cast<const DocumentTab *>(part) && !qobject_cast<const QStatusBar *>(part))
            part = part->parentWidget();
        return part;
    }
};

class tst_Workbench_accessibility : public QObject
{
    Q_OBJECT

private:
    /// Shows each pane and each dialog.
    static void addAll(TestWindow &test, Names &names)
    {
        for (QDockWidget *const dock : test.window().findChildren<QDockWidget *>()) {
            if (!dock->isVisible())
                test.choose(dock->toggleViewAction());
        }
        const auto addDialog = [&](const std::function<void()> &open) {
            const int before = names.all.size();
            test.onDialog([&](QWidget *dialog) {
                names.add(*dialog);
                QTest::keyClick(dialog, Qt::Key_Escape);
            });
            open();
            QVERIFY(names.all.size() > before);
        };

        addScript(test, names);
        test.open(test.sample("materials.tag"));
        addEditor(names, test.view<TreeView>()->tree(), 0);
        test.open(test.sample("frame.xml"));
        addEditor(names, test.view<TreeView>()->tree(), 0);
        test.open(test.file("a.csv", "Time{s},Force{kN}\n0,1.5\n"));
        TestWindow::clickCell(test.view<TableView>()->grid(),
                              test.view<TableView>()->grid().model()->index(0, 1));
        addEditor(names, test.view<TableView>()->grid(), 1);
        addDialog([&] { test.press(Qt::Key_G, Qt::ControlModifier); });
        addDialog([&] { test.choose("format"); });
        addDialog([&] { test.choose("about"); });
        addDialog([&] {
            TestWindow::changeCell(test.view<TableView>()->grid(),
                                   test.view<TableView>()->grid().model()->index(0, 1), "9");
            test.press(Qt::Key_W, Qt::ControlModifier);
        });
        test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const settings = test.window().findChild<Workbench::SettingsDialog *>();
        QTRY_VERIFY(settings && settings->isVisible());
        names.add(*settings);
        QTest::keyClick(settings, Qt::Key_Escape);
        names.add(test.window());
    }

    static void addScript(TestWindow &test, Names &names)
    {
#ifdef KELM_WORKBENCH_SCRIPTS
        test.open(test.file("a.py", "print 1\n"));
        test.onDialog([&](QWidget *dialog) {
            names.add(*dialog);
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.press(Qt::Key_G, Qt::ControlModifier);
#else
        Q_UNUSED(test)
        Q_UNUSED(names)
#endif
    }

    /// Adds the editor of a cell, which is there only while the cell is edited.
    static void addEditor(Names &names, QAbstractItemView &view, int column)
    {
        TestWindow::clickCell(view, view.model()->index(0, column));
        QTest::keyClick(&view, Qt::Key_F2);
        QWidget *const editor = TestWindow::cellEditor(view);
        QVERIFY(editor);
        const int before = names.all.size();
        names.add(*view.viewport());
        QCOMPARE(names.all.size(), before + 1);
        QTest::keyClick(editor, Qt::Key_Escape);
    }

    static void addLanguages()
    {
        QTest::addColumn<QString>("language");

        for (const char *const language : {"en", "de"})
            QTest::newRow(language) << language;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void eachWidgetWithTheFocusHasANameOfItsOwn_data() { addLanguages(); }

    void eachWidgetWithTheFocusHasANameOfItsOwn()
    {
        QFETCH(QString, language);
        TestWindow test(language);
        QVERIFY(Workbench::setLanguage(language)); // the catalogue is set up once in a process

        Names names;
        addAll(test, names);

        QVERIFY2(names.problems.isEmpty(), qPrintable(names.problems.join('\n')));
        QSet<QString> places{"MainWindow",   "TableView",   "TreeView",       "PlotPane",
                             "ProcessPane",  "BusPane",     "SettingsDialog", "FormatDialog",
                             "QInputDialog", "QMessageBox", "QStatusBar"};
#ifdef KELM_WORKBENCH_SCRIPTS
        places += {"ScriptPane", "ScriptView"};
#endif
        QVERIFY2(names.places.contains(places),
                 qPrintable((places - names.places).values().join(' ')));
        qInfo("%d widgets in %d places", names.all.size(), names.places.size());
    }

    void namesFollowTheLanguage()
    {
        const auto sortedNames = [](TestWindow &test) {
            Names names;
            addAll(test, names);
            names.all.sort();
            return names.all;
        };
        TestWindow test;
        QVERIFY(Workbench::setLanguage("de"));
        test.restart("de");
        const QStringList german = sortedNames(test);
        QVERIFY(Workbench::setLanguage("en"));
        test.restart("en");
        const QStringList english = sortedNames(test);
        QVERIFY(english != german);

        QVERIFY(Workbench::setLanguage("de"));
        QCOMPARE(sortedNames(test), german);
        QVERIFY(Workbench::setLanguage("en"));
    }
};

QTEST_MAIN(tst_Workbench_accessibility)
#include "tst_Workbench_accessibility.moc"
