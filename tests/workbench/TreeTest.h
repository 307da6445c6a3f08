#pragma once

#include "examples/workbench/trees/TreeView.h"
#include "tests/workbench/TestWindow.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QLabel>
#include <QScrollBar>
#include <QTreeView>

#include <algorithm>

/// The workbench with a tree in its current tab, used by keyboard and mouse.
class TreeTest : public TestWindow
{
public:
    using TestWindow::TestWindow;

    QTreeView &tree() { return view<Workbench::TreeView>()->tree(); }

    /// The cell that the rows \p path lead to.
    QModelIndex cell(const QList<int> &path, int column = 0)
    {
        QModelIndex index;
        for (const int row : path)
            index = tree().model()->index(row, 0, index);
        return index.sibling(index.row(), column);
    }

    QString text(const QList<int> &path, int column = 0)
    {
        return cell(path, column).data().toString();
    }

    /// The names of the children, from the first on.
    QString names(const QList<int> &path)
    {
        const QModelIndex parent = cell(path);
        QStringList names;
        for (int row = 0; row < tree().model()->rowCount(parent); ++row)
            names.append(tree().model()->index(row, 0, parent).data().toString());
        return names.join(' ');
    }

    /// Clicks on a cell, after it was scrolled to.
    void click(const QList<int> &path, int column = 0) { clickCell(tree(), cell(path, column)); }

    /// Presses a key in the tree.
    void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        press(Qt::Key_F6); // to the first pane
        tree().setFocus();
        QTest::keyClick(&tree(), Qt::Key(key), modifiers);
    }

    /// The editor that is open, or null.
    QPlainTextEdit *editor() { return tree().findChild<QPlainTextEdit *>("valueEditor"); }

    /// Replaces the text of the open editor.
    void type(const QString &text)
    {
        QVERIFY(editor());
        typeInto(*editor(), text);
    }

    /// Accepts the text of the open editor.
    void accept()
    {
        QTest::keyClick(editor(), Qt::Key_Return);
        QTRY_VERIFY(!editor());
    }

    /// Changes a cell.
    void change(const QList<int> &path, int column, const QString &text)
    {
        changeCell(tree(), cell(path, column), text);
    }

    /// The reason that is shown below the editor, or "".
    QString reason()
    {
        const auto *const label = tree().findChild<QLabel *>("reason");
        return label && label->isVisible() ? label->text() : QString();
    }

    QString label(const char *name)
    {
        return window().currentTab()->findChild<QLabel *>(name)->text();
    }

    /// Changes a file as another program does, five seconds later: a watch compares seconds.
    void changeOnDisk(const QString &name, const QByteArray &contents)
    {
        QFile file(this->file(name, contents));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(5),
                                 QFileDevice::FileModificationTime));
    }

    /// The button of the bar above the document that is shown after that, or null.
    QPushButton *reloadButton()
    {
        const auto buttons = window().currentTab()->findChildren<QPushButton *>();
        const auto isReload = [](const QPushButton *button) {
            return button->isVisible() && button->text() == "&Reload";
        };
        const auto found = std::find_if(buttons.begin(), buttons.end(), isReload);
        return found == buttons.end() ? nullptr : *found;
    }

    void find(const QString &wanted)
    {
        press(Qt::Key_F, Qt::ControlModifier);
        auto *const line = window().currentTab()->findChild<QLineEdit *>("findLine");
        QCOMPARE(QApplication::focusWidget(), line);
        enterInto(*line, wanted);
    }

    /// The longest of many jumps through the tree, in milliseconds.
    qint64 longestJump()
    {
        QScrollBar &bar = *tree().verticalScrollBar();
        qint64 longest = 0;
        for (int i = 0; i < 50; ++i) {
            QElapsedTimer timer;
            timer.start();
            bar.setValue(int(qint64(i) * 7919 * 1009 % (bar.maximum() + 1)));
            tree().viewport()->repaint();
            longest = std::max(longest, timer.elapsed());
        }
        return longest;
    }
};
