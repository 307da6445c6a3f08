#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "tests/support/Windows.h"
#include "utils/csv/CSVTable.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QStatusBar>
#include <QTableView>
#include <QToolButton>

using Utils::CSVDialect;
using Workbench::TableDocument;
using Workbench::TableView;

static const SettingsHome home;

// How a table is written, after it was saved and in the dialog for it.
class tst_Workbench_formats : public QObject
{
    Q_OBJECT

private:
    static TableDocument &table(TestWindow &test)
    {
        return dynamic_cast<TableDocument &>(test.document());
    }

    /// All cells of the view, "|" between columns and a line for each row.
    static QString cells(TestWindow &test)
    {
        const QAbstractItemModel &model = *test.view<TableView>()->grid().model();
        QStringList rows;
        for (int row = 0; row < model.rowCount(); ++row) {
            QStringList texts;
            for (int col = 0; col < model.columnCount(); ++col)
                texts.append(model.index(row, col).data().toString());
            rows.append(texts.join('|'));
        }
        return rows.join('\n');
    }

    static QString labels(TestWindow &test)
    {
        QStringList texts;
        for (int col = 0; col < table(test).numColumns(); ++col)
            texts.append(table(test).label(col));
        return texts.join('|');
    }

    static QString status(TestWindow &test)
    {
        return test.window().statusBar()->findChild<QToolButton *>()->text();
    }

    static void type(TestWindow &test, int row, int col, const QString &text)
    {
        QTableView &grid = test.view<TableView>()->grid();
        test.window().activateWindow(); // a dialog was
        QVERIFY(QTest::qWaitForWindowActive(&test.window(), 20000));
        TestWindow::changeCell(grid, grid.model()->index(row, col), text);
    }

    /// A table in windows-1252, with a comment, for which a megabyte is not enough.
    static QByteArray largeTable()
    {
        const QByteArray rows = "1;\xfc"
                                "ber\n2;m\xe4\xdfig\n";
        return "# bench 3\nx;y\n" + rows.repeated(100000);
    }

    /// Opens the dialog for the format, and accepts it after \p choose.
    static void acceptFormat(
        TestWindow &test, const std::function<void(QWidget *dialog)> &choose = [](QWidget *) {})
    {
        test.onDialog([choose](QWidget *dialog) {
            choose(dialog);
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        QTest::mouseClick(test.window().statusBar()->findChild<QToolButton *>(), Qt::LeftButton);
    }

    /// Saves by the keyboard, and by the button Save when the program asks. Returns what it asks.
    static QString save(TestWindow &test)
    {
        QString question;
        QTimer asked;
        connect(&asked, &QTimer::timeout, &asked, [&] {
            auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box)
                return;
            asked.stop();
            question = box->text();
            TestWindow::pressButton(box, QMessageBox::Save);
        });
        asked.start(20);
        test.press(Qt::Key_S, Qt::ControlModifier);
        return question;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void savedTableIsReadInItsNewFormat_data()
    {
        QTest::addColumn<bool>("isChosen"); // the format, before the table is saved
        QTest::addColumn<bool>("byDialog"); // it is read again by OK in the dialog

        QTest::newRow("detected, F5") << false << false;
        QTest::newRow("detected, dialog") << false << true;
        QTest::newRow("chosen, F5") << true << false;
        QTest::newRow("chosen, dialog") << true << true;
    }

    void savedTableIsReadInItsNewFormat()
    {
        QFETCH(bool, isChosen);
        QFETCH(bool, byDialog);
        TestWindow test;
        test.open(test.file("a.csv", "# Pr\xfc"
                                     "fung\nL\xe4nge;Gr\xf6\xdf"
                                     "e\n1,5;\xfc"
                                     "ber\n2,5;m\xe4\xdfig\n"));
        if (isChosen)
            acceptFormat(test);
        QCOMPARE(QString(table(test).dialect().encoding()), QString("windows-1252"));
        QCOMPARE(QString(table(test).dialect().comment()), QString("#"));
        type(test, 0, 0, "7,5");

        const QString question = save(test);
        QVERIFY2(question.contains("windows-1252") && question.contains("comments"),
                 qPrintable(question));
        QCOMPARE(contentsOf(test.path("a.csv")), QByteArray("Länge;Größe\n7,5;über\n2,5;mäßig\n"));
        QVERIFY2(status(test).contains("UTF-8") && !status(test).contains('#'),
                 qPrintable(status(test)));

        if (byDialog)
            acceptFormat(test);
        else
            test.press(Qt::Key_F5);
        QCOMPARE(labels(test), QString("Länge|Größe"));
        QCOMPARE(cells(test), QString("7,5|über\n2,5|mäßig"));

        type(test, 1, 0, "8");
        QCOMPARE(save(test), QString());
        QCOMPARE(contentsOf(test.path("a.csv")), QByteArray("Länge;Größe\n7,5;über\n8;mäßig\n"));
    }

    void savedTableIsReadInItsNewDelimiter_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("delimiter"); // typed, "" for what is detected
        QTest::addColumn<QString>("question");
        QTest::addColumn<QByteArray>("saved");

        // clang-format off
        QTest::newRow("aligned")
            << "a.txt" << QByteArray("x   y\n1   2.5\n10  3.5\n20  4.5\n") << ""
            << "The columns will be separated by tabs rather than aligned by blanks."
            << QByteArray("x\ty\n7\t2.5\n10\t3.5\n20\t4.5\n");
        QTest::newRow("aligned, *.csv")
            << "a.CSV" << QByteArray("x   y\n1   2.5\n10  3.5\n20  4.5\n") << ""
            << "The columns will be separated by commas rather than aligned by blanks."
            << QByteArray("x,y\n7,2.5\n10,3.5\n20,4.5\n");
        QTest::newRow("two characters")
            << "a.txt" << QByteArray("x::y\n1::2.5\n10::3,5\n") << "::"
            << "The columns will be separated by tabs rather than by \"::\"."
            << QByteArray("x\ty\n7\t2.5\n10\t3,5\n");
        QTest::newRow("two characters, *.csv")
            << "a.csv" << QByteArray("x::y\n1::2.5\n10::3,5\n") << "::"
            << "The columns will be separated by commas rather than by \"::\"."
            << QByteArray("x,y\n7,2.5\n10,\"3,5\"\n");
        QTest::newRow("one column")
            << "a.txt" << QByteArray("x\n1\n10\n20\n") << "" << ""
            << QByteArray("x\n7\n10\n20\n");
        QTest::newRow("one column with commas, *.csv")
            << "a.csv" << QByteArray("text\n1\nb, c\nd e\n") << "None, one column"
            << "Cells that are empty, or have commas or double quotes, will be put in double quotes."
            << QByteArray("text\n7\n\"b, c\"\nd e\n");
        QTest::newRow("one column with quotes")
            << "a.txt" << QByteArray("text\n1\nb \"c\"\n, d\n") << "None, one column"
            << "Cells that are empty, or have tabs or double quotes, will be put in double quotes."
            << QByteArray("text\n7\n\"b \"\"c\"\"\"\n, d\n");
        // clang-format on
    }

    void savedTableIsReadInItsNewDelimiter()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, contents);
        QFETCH(QString, delimiter);
        QFETCH(QString, question);
        QFETCH(QByteArray, saved);
        TestWindow test;
        test.open(test.file(name, contents));
        if (!delimiter.isEmpty())
            acceptFormat(test, [&](QWidget *dialog) {
                auto *const delimiters = dialog->findChildren<QComboBox *>().constFirst();
                TestWindow::typeInto(*delimiters->lineEdit(), delimiter);
            });
        type(test, 0, 0, "7");
        const QString shown = cells(test);
        const QString names = labels(test);

        QCOMPARE(save(test), question);
        QCOMPARE(contentsOf(test.path(name)), saved);
        QCOMPARE(cells(test), shown);
        QCOMPARE(save(test), QString());
        QCOMPARE(contentsOf(test.path(name)), saved);

        acceptFormat(test);
        QCOMPARE(cells(test), shown);
        QCOMPARE(labels(test), names);
        test.press(Qt::Key_Z, Qt::ControlModifier); // nothing: reading again has no undo
        QCOMPARE(cells(test), shown);
    }

    void savedTableKeepsItsUndo()
    {
        TestWindow test;
        test.open(test.file("a.txt", "x   y\n1   2.5\n10  3.5\n20  4.5\n"));
        type(test, 0, 0, "7");
        save(test);

        test.press(Qt::Key_Z, Qt::ControlModifier);

        QCOMPARE(cells(test), QString("1|2.5\n10|3.5\n20|4.5"));
        QVERIFY(test.document().isChanged());
        save(test);
        QCOMPARE(contentsOf(test.path("a.txt")), QByteArray("x\ty\n1\t2.5\n10\t3.5\n20\t4.5\n"));
    }

    void savedTableKeepsDecimalCommasAndNumbers()
    {
        TestWindow test;
        test.open(test.file("a.txt", "x     y\n1,25  2,5\n10,5  3,5\n20,5  4,5\n"));
        QCOMPARE(table(test).dialect().decimalPoint(), ',');
        type(test, 0, 0, "7,5");
        save(test);

        QCOMPARE(table(test).kindOf(0, 0), TableDocument::Number);
        QCOMPARE(table(test).table().dataValue(table(test).tableRow(0), 0), 7.5);
        acceptFormat(test);
        QCOMPARE(table(test).table().dataValue(table(test).tableRow(1), 1), 3.5);
    }

    void savedTableWithQuotesThatAreTextIsReadTheSame()
    {
        TestWindow test;
        test.open(test.file("a.csv", "x,y\n1,5\" pipe\n2,\"a\n3,b\n"));
        acceptFormat(test); // without quotes
        QCOMPARE(table(test).dialect().quotes(), CSVDialect::NoQuotes);
        type(test, 0, 0, "7");
        const QString shown = cells(test);
        QCOMPARE(shown, QString("7|5\" pipe\n2|\"a\n3|b"));

        QCOMPARE(save(test), QString());
        acceptFormat(test);
        QCOMPARE(cells(test), shown);
    }

    void tableInItsFileLosesNothing()
    {
        Workbench::Preferences::memoryLimit.set(1);
        TestWindow test;
        const QByteArray contents = largeTable();
        test.open(test.file("large.csv", contents));
        acceptFormat(test);
        QVERIFY(!table(test).canChange());
        QCOMPARE(QString(table(test).dialect().encoding()), QString("windows-1252"));

        QCOMPARE(save(test), QString());

        QVERIFY(contentsOf(test.path("large.csv")) == contents);
        QCOMPARE(QString(table(test).dialect().encoding()), QString("windows-1252"));
        QCOMPARE(QString(table(test).dialect().comment()), QString("#"));
        test.press(Qt::Key_F5);
        QCOMPARE(table(test).cell(0, 1), QString("über"));
    }

    // Its rows can still be read, but it cannot be copied.
    void tableWhoseFileIsDeletedTellsWhatItLoses()
    {
        SKIP_ON_WINDOWS("Wine keeps the name of a deleted file that is open, as Windows 7 does");
        Workbench::Preferences::memoryLimit.set(1);
        TestWindow test;
        test.open(test.file("large.csv", largeTable()));
        QVERIFY(!table(test).canChange());
        QVERIFY(QFile::remove(test.path("large.csv")));

        const QString question = save(test);

        QVERIFY2(question.contains("windows-1252") && question.contains("comments"),
                 qPrintable(question));
        QVERIFY(contentsOf(test.path("large.csv")) ==
                "x;y\n" + QByteArray("1;über\n2;mäßig\n").repeated(100000));
        QCOMPARE(save(test), QString());
        test.press(Qt::Key_F5);
        QCOMPARE(table(test).cell(1, 1), QString("mäßig"));
    }

    void formatDialogKeepsWhatItDoesNotShow()
    {
        TestWindow test;
        test.open(test.file("a.txt", "x;y\r1,000.5;2\r2,000.5;3\r"));
        QVERIFY(table(test).dialect().hasCarriageReturns());
        QVERIFY(table(test).dialect().hasGroupedDigits());
        QCOMPARE(cells(test), QString("1,000.5|2\n2,000.5|3"));

        acceptFormat(test);

        QVERIFY(table(test).dialect().hasCarriageReturns());
        QVERIFY(table(test).dialect().hasGroupedDigits());
        QCOMPARE(cells(test), QString("1,000.5|2\n2,000.5|3"));
    }

    void doubtfulPartsOfTheFormatAreMarked()
    {
        TestWindow test;
        test.open(test.file("a.txt", "x;y\r1,5;\xfc"
                                     "ber\r"));
        const CSVDialect dialect = table(test).dialect();
        QVERIFY(dialect.confidence(CSVDialect::Delimiter) < 0.5);
        QVERIFY2(status(test).contains("Semicolon (?)") &&
                     status(test).contains("Lines end at carriage returns"),
                 qPrintable(status(test)));

        QString detected;
        QString changed;
        acceptFormat(test, [&](QWidget *dialog) {
            const auto *const summary = dialog->findChild<QLabel *>("summary");
            detected = summary->text();
            TestWindow::typeInto(*dialog->findChild<QLineEdit *>("commentLine"), "#");
            changed = summary->text();
        });

        QCOMPARE(detected, QString(dialect.toText()));
        QVERIFY2(detected.contains("(?)"), qPrintable(detected));
        QVERIFY2(changed.contains("comments after '#'") && !changed.contains("(?)"),
                 qPrintable(changed));
        QVERIFY2(!status(test).contains("(?)"), qPrintable(status(test))); // it was confirmed
    }
};

QTEST_MAIN(tst_Workbench_formats)
#include "tst_Workbench_formats.moc"
