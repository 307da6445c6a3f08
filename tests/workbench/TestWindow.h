#pragma once

#include "examples/workbench/Document.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Session.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/SettingsHome.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCompleter>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

/// The workbench in a real window, with settings and files of its own. Use it in a program whose
/// settings are in a SettingsHome.
class TestWindow
{
    static constexpr int patience = 20000; // milliseconds; other programs may compute as well

public:
    explicit TestWindow(const QString &language = "en") { start(language); }

    /// Ends the program and starts it again, with the same settings and files.
    void restart(const QString &language = {})
    {
        m_session.reset();
        start(language);
    }

    Workbench::MainWindow &window() { return m_session->window(); }

    /// A copy of a file of examples/data that the test may change.
    QString sample(const QString &name)
    {
        const QString path = m_folder.filePath(name);
        QFile::copy(QString(KELMUTILS_SAMPLES) + '/' + name, path);
        return path;
    }

    /// A file with \p contents.
    QString file(const QString &name, const QByteArray &contents)
    {
        return makeFile(m_folder.filePath(name), contents);
    }

    QString path(const QString &name) const { return m_folder.filePath(name); }

    /// Opens a file by the dialog of the menu, with the keyboard.
    void open(const QString &path)
    {
        answerFileDialog(path);
        press(Qt::Key_O, Qt::ControlModifier);
    }

    /// Writes a file by the dialog that a key with Ctrl opens.
    void saveAs(const QString &path, Qt::Key key)
    {
        answerFileDialog(path);
        press(key, Qt::ControlModifier);
    }

    /// Types \p path into the next file dialog.
    void answerFileDialog(const QString &path)
    {
        onDialog([path](QWidget *dialog) {
            auto *const line = dialog->findChild<QLineEdit *>("fileNameEdit");
            line->setCompleter(nullptr); // whose list would take the keys
            // The dialog clears the line when it has listed its folder.
            const auto isTyped = [&] {
                if (line->text() == path)
                    return true;
                line->clear();
                QTest::keyClicks(line, path);
                return false;
            };
            QVERIFY(QTest::qWaitFor(isTyped));
            QTest::keyClick(line, Qt::Key_Return);
        });
    }

    /// Presses a key in the window, when it is the active one: after a dialog, the window manager
    /// takes a moment for that.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        window().activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window(), patience));
        QWidget *const focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : &window(), key, modifiers);
    }

    /// Chooses an entry of a menu that is shown, with the mouse. A command has its name as that of
    /// the object.
    void choose(const char *name)
    {
        choose([name](const QAction *entry) { return entry->objectName() == name; });
    }
    void choose(const QAction *wanted)
    {
        choose([wanted](const QAction *entry) { return entry == wanted; });
    }
    void choose(const std::function<bool(const QAction *entry)> &isWanted)
    {
        window().activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window(), patience));
        QMenuBar *const bar = window().menuBar();
        for (QAction *const title : bar->actions()) {
            QMenu *const menu = title->menu();
            const QList<QAction *> entries = menu->actions();
            const auto entry = std::find_if(entries.begin(), entries.end(), isWanted);
            if (!title->isVisible() || entry == entries.end())
                continue;
            QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(title).center());
            QTRY_VERIFY(menu->isVisible());
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(*entry).center());
            return;
        }
        QFAIL("no menu has this entry");
    }

    /// Types \p text into a field, in place of what it has.
    static void typeInto(QWidget &field, const QString &text)
    {
        field.setFocus();
        QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
        if (text.isEmpty())
            QTest::keyClick(&field, Qt::Key_Delete);
        QTest::keyClicks(&field, text);
    }

    /// The same, and then Return.
    static void enterInto(QWidget &field, const QString &text)
    {
        typeInto(field, text);
        QTest::keyClick(&field, Qt::Key_Return);
    }

    /// Moves the mouse over \p widget while its left button is pressed. The events are sent to the
    /// widget: QTest::mouseMove() moves the pointer of the X server, which tells so some time
    /// later.
    static void drag(QWidget &widget, const QPoint &from, const QPoint &to,
                     Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mousePress(&widget, Qt::LeftButton, modifiers, from);
        for (const QPoint &position : {(from + to) / 2, to}) {
            QMouseEvent move(QEvent::MouseMove, position, widget.mapToGlobal(position),
                             Qt::NoButton, Qt::LeftButton, modifiers);
            QCoreApplication::sendEvent(&widget, &move);
        }
        QTest::mouseRelease(&widget, Qt::LeftButton, modifiers, to);
    }

    /// Selects columns of a table by a click on their headers.
    static void clickHeaders(const QTableView &grid, const QList<int> &cols)
    {
        QHeaderView *const header = grid.horizontalHeader();
        Qt::KeyboardModifiers modifiers;
        for (const int col : cols) {
            const QPoint position(header->sectionViewportPosition(col) +
                                      header->sectionSize(col) / 2,
                                  header->height() / 2);
            QTest::mouseClick(header->viewport(), Qt::LeftButton, modifiers, position);
            modifiers = Qt::ControlModifier;
        }
    }

    /// Shows the document of a tab by a click on it.
    void showTab(int index)
    {
        QTabBar *const bar = window().findChild<QTabWidget *>()->tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
        QCOMPARE(bar->currentIndex(), index);
    }

    /// Clicks a cell of a table or tree, after it was scrolled to.
    static void clickCell(QAbstractItemView &view, const QModelIndex &index)
    {
        QVERIFY(index.isValid());
        view.scrollTo(index);
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.visualRect(index).center());
        QCOMPARE(view.currentIndex(), index);
    }

    /// The editor of a cell that is open in \p view, or null.
    static QWidget *cellEditor(const QAbstractItemView &view)
    {
        const auto parts =
            view.viewport()->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
        for (QWidget *const part : parts) {
            if (qobject_cast<QLineEdit *>(part) || qobject_cast<QPlainTextEdit *>(part))
                return part;
        }
        return nullptr;
    }

    /// Replaces the text of a cell, and accepts it.
    static void changeCell(QAbstractItemView &view, const QModelIndex &index, const QString &text)
    {
        // Otherwise the focus does not go back from the editor to the view. After a dialog, the
        // window manager does not always make it the active one by itself.
        view.window()->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(view.window(), patience));
        clickCell(view, index);
        QTest::keyClick(&view, Qt::Key_F2);
        QWidget *const editor = cellEditor(view);
        QVERIFY(editor);
        enterInto(*editor, text);
        QTRY_VERIFY(!cellEditor(view));
    }

    /// The view in the current tab as its class, or null.
    template <typename View>
    View *view()
    {
        Workbench::DocumentTab *const tab = window().currentTab();
        return tab ? qobject_cast<View *>(&tab->view()) : nullptr;
    }

    Workbench::Document &document() { return window().currentTab()->document(); }

    /// The command of the window or of one of its panes with the name \p name.
    QAction *command(const char *name) { return window().findChild<QAction *>(name); }

    /// Calls \p answer once with the next modal dialog, when it is shown. The test fails when the
    /// answer does not close the dialog.
    void onDialog(const std::function<void(QWidget *dialog)> &answer) { onNext<QWidget>(answer); }

    /// Answers the next message boxes with \p buttons, one after the other, and adds their texts to
    /// \p messages. Dialogs of other kinds before and between them are left to others.
    void onMessages(const QList<QMessageBox::StandardButton> &buttons, QStringList &messages)
    {
        onNext<QMessageBox>([this, buttons, &messages](QMessageBox *box) {
            messages.append(box->text());
            pressButton(box, buttons.constFirst());
            if (buttons.size() > 1)
                onMessages(buttons.mid(1), messages);
        });
    }

    /// Answers the next message with \p button, and returns its text by \p message.
    void onMessage(QMessageBox::StandardButton button, QString &message)
    {
        onNext<QMessageBox>([button, &message](QMessageBox *box) {
            message = box->text();
            pressButton(box, button);
        });
    }

    /// Presses the button of a message box that \p standard names.
    static void pressButton(QWidget *dialog, QMessageBox::StandardButton standard)
    {
        auto *const box = qobject_cast<QMessageBox *>(dialog);
        QVERIFY(box);
        QTest::mouseClick(box->button(standard), Qt::LeftButton);
    }

private:
    /// As onDialog(), with the next modal dialog of the class \p Dialog.
    template <typename Dialog>
    void onNext(const std::function<void(Dialog *dialog)> &answer)
    {
        auto *const timer = new QTimer(&window());
        QObject::connect(timer, &QTimer::timeout, timer, [timer, answer] {
            QPointer<Dialog> dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isActiveWindow() || !QApplication::focusWidget())
                return;
            timer->stop();
            timer->deleteLater();
            answer(dialog);
            const auto isClosed = [dialog] { return !dialog || !dialog->isVisible(); };
            if (!QTest::qWaitFor(isClosed)) {
                QTest::qFail("the dialog is still open", __FILE__, __LINE__);
                dialog->close();
            }
        });
        timer->start(20);
    }

    void start(const QString &language)
    {
        QMap<QString, QString> variables = Workbench::hostVariables();
        variables["RES_DIR"] = qEnvironmentVariable("KELM_RES_DIR", WORKBENCH_RESOURCES);
        // Those of Windows are no windows of Qt.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        m_session = std::make_unique<Workbench::Session>(variables, language);
        window().restoreLayout();
        window().show();
        QApplication::setActiveWindow(&window());
        QVERIFY(QTest::qWaitForWindowActive(&window(), patience));
    }

    QTemporaryDir m_folder;
    std::unique_ptr<Workbench::Session> m_session;
};
