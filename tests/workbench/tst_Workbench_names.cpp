#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "tests/support/Windows.h"

#include <QMenu>
#include <QMenuBar>
#include <QTabWidget>
#include <QTableView>

using Workbench::TableDocument;
using Workbench::TableView;

static const SettingsHome home;

// Files whose names differ only in case, and files that are reached by several names.
class tst_Workbench_names : public QObject
{
    Q_OBJECT

private:
    static int numTabs(TestWindow &test)
    {
        return test.window().findChild<QTabWidget *>()->count();
    }

    static QString cell(TestWindow &test, int row, int col)
    {
        const QAbstractItemModel *const model = test.view<TableView>()->grid().model();
        return model->index(row, col).data().toString();
    }

    /// Whether the files of a test tell names apart that differ only in case.
    static bool isCaseSensitive(TestWindow &test)
    {
        test.file("case", "x");
        return !QFile::exists(test.path("CASE"));
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void workbenchOpensFilesWhoseNamesDifferInCase()
    {
        TestWindow test;
        if (!isCaseSensitive(test))
            QSKIP("the file system ignores case");
        test.open(test.file("load.csv", "a,b\n1,2\n"));
        test.open(test.file("Load.csv", "a,b\n5,6\n"));

        QCOMPARE(numTabs(test), 2);
        QCOMPARE(cell(test, 0, 0), QString("5"));
        test.open(test.path("load.csv"));
        QCOMPARE(numTabs(test), 2);
        QCOMPARE(cell(test, 0, 0), QString("1"));
    }

    void workbenchOpensAFileOnceByALink()
    {
        SKIP_ON_WINDOWS("links are files *.lnk to Qt, and Wine makes no others");
        TestWindow test;
        test.open(test.file("load.csv", "a,b\n1,2\n"));
        QVERIFY(QFile::link(test.path("load.csv"), test.path("link.csv")));
        test.window().openFiles({test.path("link.csv")});
        QCOMPARE(numTabs(test), 1);
    }

    void workbenchOpensAFileOnceByAnotherPath()
    {
        TestWindow test;
        test.open(test.file("load.csv", "a,b\n1,2\n"));
        test.window().openFiles({test.path("./load.csv")});
        if (!isCaseSensitive(test))
            test.window().openFiles({test.path("LOAD.csv")});
        QCOMPARE(numTabs(test), 1);
    }

    void workbenchGoesToTheTabOfAFileThatIsGone()
    {
        TestWindow test;
        test.open(test.file("one.csv", "a,b\n1,2\n"));
        test.open(test.file("two.csv", "a,b\n5,6\n"));
        QVERIFY(QFile::remove(test.path("one.csv")) && QFile::remove(test.path("two.csv")));

        test.window().openFiles({test.path("one.csv")});

        QCOMPARE(numTabs(test), 2);
        QCOMPARE(cell(test, 0, 0), QString("1"));
    }

    void tableInItsFileIsSavedUnderANameInAnotherCase()
    {
        Workbench::Preferences::memoryLimit.set(1);
        TestWindow test;
        if (!isCaseSensitive(test))
            QSKIP("the file system ignores case");
        const QByteArray contents = "n,m\n" + QByteArray("1,2\n").repeated(400000);
        test.open(test.file("large.csv", contents));
        QVERIFY(!static_cast<TableDocument &>(test.document()).canChange());

        test.answerFileDialog(test.path("LARGE.csv"));
        QMenu *const fileMenu = test.window().menuBar()->actions().constFirst()->menu();
        test.press(Qt::Key_F, Qt::AltModifier);
        QTRY_VERIFY(fileMenu->isVisible());
        QTest::keyClick(fileMenu, Qt::Key_A); // Save as

        QCOMPARE(test.document().path(), test.path("LARGE.csv"));
        QVERIFY(contentsOf(test.path("LARGE.csv")) == contents);
        QVERIFY(contentsOf(test.path("large.csv")) == contents);
    }
};

QTEST_MAIN(tst_Workbench_names)
#include "tst_Workbench_names.moc"
