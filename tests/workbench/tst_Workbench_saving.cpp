// Files that cannot be written: each message has the reason, and nothing is lost.

#include "tests/workbench/DocumentTest.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/settings/SettingsDialog.h"
#include "tests/support/ByteDisk.h"
#include "tests/support/OrdinaryUser.h"
#ifdef KELM_WORKBENCH_SCRIPTS
#include "examples/workbench/output/OutputView.h"
#endif

#include <QDir>
#include <QLabel>
#include <QSpinBox>

using Workbench::PlotPane;
using Workbench::SettingsDialog;

static const SettingsHome home;

enum class Fault
{
    FullDisk,
    NoPermission,
    NoFolder
};
Q_DECLARE_METATYPE(Fault)

/// While it lives, no file in a folder can be written.
class BrokenFolder
{
public:
    BrokenFolder(Fault fault, const QString &folder) : m_fault(fault), m_folder(folder)
    {
        if (fault == Fault::FullDisk) {
            m_disk = std::make_unique<ByteDisk>(folder, 0);
        } else if (fault == Fault::NoPermission) {
            permitWriting(false);
            m_user = std::make_unique<OrdinaryUser>(QFileInfo(folder).path());
        } else {
            QDir().rename(folder, moved());
        }
    }
    ~BrokenFolder()
    {
        m_user.reset();
        if (m_fault == Fault::NoPermission)
            permitWriting(true);
        if (m_fault == Fault::NoFolder)
            QDir().rename(moved(), m_folder);
    }

    BrokenFolder(const BrokenFolder &) = delete;
    BrokenFolder &operator=(const BrokenFolder &) = delete;

    /// What a message tells.
    static QString reason(Fault fault)
    {
        const QMap<Fault, QString> reasons = {{Fault::FullDisk, "the disk is full"},
                                              {Fault::NoPermission, "no permission"},
                                              {Fault::NoFolder, "does not exist"}};
        return reasons.value(fault);
    }

private:
    QString moved() const { return m_folder + ".moved"; }

    /// Of the folder and of its files, which belong to the user unless the program runs as root.
    void permitWriting(bool isPermitted) const
    {
        for (const QString &name : QDir(m_folder).entryList(QDir::Files))
            QFile::setPermissions(m_folder + '/' + name,
                                  QFile::Permissions(isPermitted ? 0x6644 : 0x4444));
        QFile::setPermissions(m_folder, QFile::Permissions(isPermitted ? 0x7777 : 0x5555));
    }

    const Fault m_fault;
    const QString m_folder;
    std::unique_ptr<ByteDisk> m_disk;
    std::unique_ptr<OrdinaryUser> m_user;
};

/// A window with files in a folder that can be broken.
class SavingTest : public DocumentTest
{
public:
    QString folder() const { return path("work"); }
    QString inFolder(const QString &name) const { return folder() + '/' + name; }
    QStringList filesInFolder() const
    {
        return QDir(folder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    /// Selects the columns of a table, which are plotted.
    void plotAll()
    {
        QTest::keyClick(&grid(), Qt::Key_A, Qt::ControlModifier);
        const auto &plot = static_cast<PlotPane &>(*window().tool("Plot"));
        QTRY_COMPARE(plot.statistics().columnCount(), grid().model()->columnCount());
    }

    SettingsDialog &openSettings()
    {
        press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const dialog = window().findChild<SettingsDialog *>();
        if (!dialog || !QTest::qWaitForWindowActive(dialog))
            qFatal("the dialog is not open");
        return *dialog;
    }
};

class tst_Workbench_saving : public QObject
{
    Q_OBJECT

private:
    static void addFaults(const QStringList &kinds)
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<Fault>("fault");

        for (const QString &kind : kinds) {
            const QByteArray name = kind.toUtf8();
            QTest::addRow("%s, full disk", name.constData()) << kind << Fault::FullDisk;
            QTest::addRow("%s, no permission", name.constData()) << kind << Fault::NoPermission;
            QTest::addRow("%s, no folder", name.constData()) << kind << Fault::NoFolder;
        }
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void savingThatFailsLosesNothing_data() { addFaults(DocumentTest::kinds()); }

    void savingThatFailsLosesNothing()
    {
        QFETCH(QString, kind);
        QFETCH(Fault, fault);
        SavingTest test;
        const QString path = test.openSample(kind);
        const QByteArray old = contentsOf(path);
        test.changeSample(kind, "125");

        QString message;
        {
            const BrokenFolder broken(fault, test.folder());
            test.onMessage(QMessageBox::Ok, message);
            test.press(Qt::Key_S, Qt::ControlModifier);
        }

        QVERIFY2(message.startsWith("The file is not saved."), qPrintable(message));
        QVERIFY2(message.contains(BrokenFolder::reason(fault)), qPrintable(message));
        QVERIFY2(message.contains("a." + kind), qPrintable(message));
        QVERIFY(test.document().isChanged());
        QVERIFY(test.window().isWindowModified());
        QCOMPARE(contentsOf(path), old);
        QCOMPARE(test.filesInFolder(), QStringList("a." + kind));

        // It goes on.
        test.changeSample(kind, "250");
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        QVERIFY2(contentsOf(path).contains("250"), contentsOf(path).constData());
    }

    void savingUnderAnotherNameThatFailsKeepsTheName_data() { addFaults(DocumentTest::kinds()); }

    void savingUnderAnotherNameThatFailsKeepsTheName()
    {
        QFETCH(QString, kind);
        QFETCH(Fault, fault);
        SavingTest test;
        const QString path = test.openSample(kind);
        const QByteArray old = contentsOf(path);
        QVERIFY(QDir().mkdir(test.path("other")));
        const QString wanted = test.path("other/b." + kind);
        test.changeSample(kind, "125");

        QString message;
        {
            const BrokenFolder broken(fault, test.path("other"));
            test.answerFileDialog(wanted);
            test.onMessage(QMessageBox::Ok, message);
            test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        }

        QVERIFY2(message.contains(BrokenFolder::reason(fault)), qPrintable(message));
        QVERIFY(test.document().isChanged());
        QCOMPARE(test.document().path(), path);
        QVERIFY(!QFileInfo::exists(wanted));
        QCOMPARE(contentsOf(path), old);

        test.answerFileDialog(wanted);
        test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(test.document().path(), wanted);
        QVERIFY2(contentsOf(wanted).contains("125"), contentsOf(wanted).constData());
    }

    void closingIsGivenUpWhenSavingFails_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<Qt::Key>("key");

        for (const QString &kind : DocumentTest::kinds()) {
            QTest::addRow("%s, the file", qPrintable(kind)) << kind << Qt::Key_W;
            QTest::addRow("%s, the window", qPrintable(kind)) << kind << Qt::Key_Q;
        }
    }

    void closingIsGivenUpWhenSavingFails()
    {
        QFETCH(QString, kind);
        QFETCH(Qt::Key, key);
        SavingTest test;
        const QString path = test.openSample(kind);
        const QByteArray old = contentsOf(path);
        test.changeSample(kind, "125");

        QStringList messages;
        {
            const BrokenFolder broken(Fault::FullDisk, test.folder());
            test.onMessages({QMessageBox::Save, QMessageBox::Ok}, messages);
            test.press(key, Qt::ControlModifier);
        }

        QCOMPARE(messages.size(), 2);
        QVERIFY2(messages.at(1).contains("disk is full"), qPrintable(messages.at(1)));
        QVERIFY(test.window().isVisible());
        QVERIFY(test.document().isChanged());
        QCOMPARE(test.document().path(), path);
        QCOMPARE(contentsOf(path), old);

        test.onMessages({QMessageBox::Save}, messages);
        test.press(key, Qt::ControlModifier);
        QCOMPARE(test.window().isVisible(), key != Qt::Key_Q);
        QVERIFY2(contentsOf(path).contains("125"), contentsOf(path).constData());
    }

    void closingStopsAtTheFirstFileThatIsNotSaved()
    {
        SavingTest test;
        const QString other = test.file("other.csv", "a,b\n1,2\n");
        test.open(other);
        TestWindow::changeCell(test.grid(), test.grid().model()->index(0, 0), "7");
        const QString path = test.openSample("tag");
        test.changeSample("tag", "125");

        QStringList messages;
        {
            const BrokenFolder broken(Fault::NoFolder, test.folder());
            test.onMessages({QMessageBox::Save, QMessageBox::Save, QMessageBox::Ok}, messages);
            test.press(Qt::Key_Q, Qt::ControlModifier);
        }

        QCOMPARE(messages.size(), 3);
        QVERIFY(test.window().isVisible());
        QCOMPARE(contentsOf(other), QByteArray("a,b\n7,2\n"));
        QCOMPARE(test.document().path(), path); // that of the message is shown
        QVERIFY(test.document().isChanged());
        QVERIFY(!test.window().tabs().constFirst()->document().isChanged());
    }

    void tableInItsFileIsNotCopiedToAFullDisk()
    {
        Workbench::Preferences::memoryLimit.set(1);
        SavingTest test;
        const QByteArray contents = "a,b\n" + QByteArray("1,2\n").repeated(400000);
        test.open(test.file("work/a.csv", contents));
        QVERIFY(!test.document().holdsContents());

        QString message;
        {
            const BrokenFolder broken(Fault::FullDisk, test.folder());
            test.answerFileDialog(test.inFolder("b.csv"));
            test.onMessage(QMessageBox::Ok, message);
            test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        }

        QVERIFY2(message.contains("disk is full"), qPrintable(message));
        QCOMPARE(test.document().path(), test.inFolder("a.csv"));
        QCOMPARE(test.filesInFolder(), QStringList("a.csv"));
        QCOMPARE(contentsOf(test.inFolder("a.csv")), contents);
    }

    void tableInItsFileIsReadFromTheFileInWhichItIsSaved_data()
    {
        QTest::addColumn<bool>("isDeleted");

        QTest::newRow("a copy") << false;
        QTest::newRow("what was deleted") << true;
    }

    void tableInItsFileIsReadFromTheFileInWhichItIsSaved()
    {
        QFETCH(bool, isDeleted);
        Workbench::Preferences::memoryLimit.set(1);
        SavingTest test;
        const QByteArray contents = "a,b\n" + QByteArray("1,2\n").repeated(400000);
        const QString old = test.file("work/a.csv", contents);
        test.open(old);
        QVERIFY(!test.document().holdsContents());
        if (isDeleted)
            QVERIFY(QFile::remove(old));

        test.answerFileDialog(test.inFolder("b.csv"));
        test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.document().path(), test.inFolder("b.csv"));
        const QAbstractItemModel &rows = *test.grid().model();
        const auto cell = [&](int row) { return rows.index(row, 1).data().toString(); };
        QCOMPARE(rows.rowCount(), 400000);

        QVERIFY(isDeleted || QFile::resize(old, 100));
        QCOMPARE(cell(399999), QString("2"));
        QVERIFY(QFile::resize(test.inFolder("b.csv"), 100));
        QCOMPARE(cell(200000), QString()); // a row that was not read before
    }

    void tableInItsFileShowsTheRowsThatWereSaved()
    {
        Workbench::Preferences::memoryLimit.set(1);
        SavingTest test;
        const QString old = test.file("work/a.csv", "a,b\n" + QByteArray("1,2\n").repeated(400000));
        test.open(old);
        QVERIFY(QFile::resize(old, 4 + 4 * 300000));

        test.answerFileDialog(test.inFolder("b.csv"));
        test.press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);

        QCOMPARE(test.grid().model()->rowCount(), 300000);
    }

    void tableInItsFileIsSavedWhenTheFileIsGone_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");

        QTest::newRow("save") << "a.csv" << Qt::KeyboardModifiers(Qt::ControlModifier);
        QTest::newRow("save as") << "b.csv" << (Qt::ControlModifier | Qt::ShiftModifier);
    }

    void tableInItsFileIsSavedWhenTheFileIsGone()
    {
        QFETCH(QString, name);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        Workbench::Preferences::memoryLimit.set(1);
        SavingTest test;
        const QByteArray contents = "a,b\n" + QByteArray("1,\"2,3\"\n").repeated(200000);
        test.open(test.file("work/a.csv", contents));
        QVERIFY(!test.document().holdsContents());
        QVERIFY(QFile::remove(test.inFolder("a.csv")));

        QString message;
        {
            const BrokenFolder broken(Fault::FullDisk, test.folder());
            test.onMessage(QMessageBox::Ok, message);
            if (modifiers & Qt::ShiftModifier)
                test.answerFileDialog(test.inFolder(name));
            test.press(Qt::Key_S, modifiers);
        }
        QVERIFY2(message.contains("disk is full"), qPrintable(message));
        QCOMPARE(test.filesInFolder(), QStringList());

        if (modifiers & Qt::ShiftModifier)
            test.answerFileDialog(test.inFolder(name));
        test.press(Qt::Key_S, modifiers);
        QCOMPARE(test.document().path(), test.inFolder(name));
        QVERIFY(contentsOf(test.inFolder(name)) == contents); // all of it is too long to be shown
        QCOMPARE(test.filesInFolder(), QStringList(name));
    }

#ifdef KELM_WORKBENCH_SCRIPTS
    void scriptThatIsNotSavedIsNotRun()
    {
        SavingTest test;
        const QString path = test.openSample("py");
        test.changeSample("py", "125");

        QString message;
        {
            const BrokenFolder broken(Fault::FullDisk, test.folder());
            test.onMessage(QMessageBox::Ok, message);
            test.press(Qt::Key_F8);
        }

        QVERIFY2(message.startsWith("The file is not saved."), qPrintable(message));
        QVERIFY2(message.contains("disk is full"), qPrintable(message));
        QVERIFY(test.document().isChanged());
        auto *const output = test.window().findChild<Workbench::OutputView *>("scriptOutput");
        output->flush();
        QCOMPARE(output->toPlainText(), QString());
        QCOMPARE(contentsOf(path), QByteArray("print 100\n"));

        test.press(Qt::Key_F8);
        QVERIFY(!test.document().isChanged());
        output->flush();
        QVERIFY2(output->toPlainText().contains("\n125\n"), qPrintable(output->toPlainText()));
    }
#endif

    void plotThatIsNotExportedLeavesTheOldFile_data() { addFaults({"png", "svg", "pdf"}); }

    void plotThatIsNotExportedLeavesTheOldFile()
    {
        QFETCH(QString, kind);
        QFETCH(Fault, fault);
        SavingTest test;
        test.open(test.sample("load_curve.csv"));
        test.plotAll();
        const QString path = test.file("work/plot." + kind, "old");

        QStringList messages;
        {
            // Without the folder there is no old file to ask for.
            const bool asks = fault != Fault::NoFolder;
            const BrokenFolder broken(fault, test.folder());
            test.answerFileDialog(path);
            test.onMessages(
                asks ? QList<QMessageBox::StandardButton>{QMessageBox::Yes, QMessageBox::Ok}
                     : QList<QMessageBox::StandardButton>{QMessageBox::Ok},
                messages);
            test.press(Qt::Key_E, Qt::ControlModifier);
        }

        QVERIFY(!messages.isEmpty());
        QVERIFY2(messages.last().contains(BrokenFolder::reason(fault)),
                 qPrintable(messages.join('\n')));
        QVERIFY2(messages.last().contains("plot." + kind), qPrintable(messages.join('\n')));
        QCOMPARE(contentsOf(path), QByteArray("old"));
        QCOMPARE(test.filesInFolder(), QStringList("plot." + kind));
        QVERIFY(!QApplication::activeModalWidget());

        test.answerFileDialog(path);
        test.onMessages({QMessageBox::Yes}, messages);
        test.press(Qt::Key_E, Qt::ControlModifier);
        QVERIFY(QFileInfo(path).size() > 4000);
    }

    void settingsThatAreNotStoredAreTold()
    {
        SavingTest test;
        SettingsDialog &dialog = test.openSettings();
        auto &digits = *dialog.findChild<QSpinBox *>("digits");
        const auto &problem = *dialog.findChild<QLabel *>("settingsProblem");
        QTest::keyClick(&digits, Qt::Key_Up);
        QCOMPARE(problem.text(), QString());
        QVERIFY(SettingsHome::storedInFile().contains("Workbench/digits=6"));

        const QString file = SettingsHome::file();
        {
            const ByteDisk disk(home.path(), 0);
            QTest::keyClick(&digits, Qt::Key_Up);
            QVERIFY2(problem.text().startsWith("The settings are lost at the end"),
                     qPrintable(problem.text()));
            QVERIFY2(problem.text().contains("No space left"), qPrintable(problem.text()));
            QCOMPARE(Workbench::Preferences::digits.value(), 7); // it holds until the end
            QVERIFY2(contentsOf(file).contains("digits=6"), contentsOf(file).constData());
        }

        QTest::keyClick(&digits, Qt::Key_Up);
        QCOMPARE(problem.text(), QString());
        QVERIFY(SettingsHome::storedInFile().contains("Workbench/digits=8"));
    }

    void settingsThatAreNotExportedLeaveTheOldFile_data() { addFaults({"ini"}); }

    void settingsThatAreNotExportedLeaveTheOldFile()
    {
        QFETCH(Fault, fault);
        SavingTest test;
        SettingsDialog &dialog = test.openSettings();
        TestWindow::enterInto(*dialog.findChild<QSpinBox *>("digits"), "7");
        const QString path = test.file("work/mine.ini", "old");
        const auto exportTo = [&](const QList<QMessageBox::StandardButton> &answers) {
            QStringList messages;
            test.answerFileDialog(path);
            test.onMessages(answers, messages);
            QTest::mouseClick(dialog.findChild<QPushButton *>("exportSettings"), Qt::LeftButton);
            return messages;
        };

        QFile::setPermissions(home.path(), QFile::Permissions(0x7777)); // of the settings
        QStringList messages;
        {
            const BrokenFolder broken(fault, test.folder());
            messages = fault == Fault::NoFolder ? exportTo({QMessageBox::Ok})
                                                : exportTo({QMessageBox::Yes, QMessageBox::Ok});
        }

        QVERIFY(!messages.isEmpty());
        QVERIFY2(messages.last().contains(BrokenFolder::reason(fault)),
                 qPrintable(messages.join('\n')));
        QCOMPARE(contentsOf(path), QByteArray("old"));
        QCOMPARE(test.filesInFolder(), QStringList("mine.ini"));

        exportTo({QMessageBox::Yes});
        QVERIFY2(contentsOf(path).contains("digits=7"), contentsOf(path).constData());
    }
};

QTEST_MAIN(tst_Workbench_saving)
#include "tst_Workbench_saving.moc"
