#pragma once

#include <QKeySequence>
#include <QWidget>

#include <functional>

QT_FORWARD_DECLARE_CLASS(QAction)

namespace Workbench {

/// A part of the main window with a task of its own: the view of a document, in a tab, or a tool in
/// a dock.
///
/// To add a pane: derive a class in a folder of its own, list it in Kinds.cpp, and add its texts to
/// res/locale. The main window makes the dock or the tab, the menu and the shortcuts of the pane.
class Pane : public QWidget
{
    Q_OBJECT

public:
    /// \p title is the id of the text that is the title of the pane and of its menu.
    Pane(const char *title, QWidget *parent);

    const char *title() const { return m_title; }

    /// Tells a tool which view of a document is current; null when there is none. The view may be
    /// of any kind: qobject_cast tells whether it is one that the tool knows.
    virtual void setCurrentView(Pane *view);

    /// Sets the texts that are not bound by bindText(), after a change of the language.
    virtual void updateTexts();

    /// Asks the user when closing the window would lose something, such as a program that runs.
    /// False keeps the window open. After true the pane may be destroyed at any time.
    virtual bool mayClose();

    /// Stores what the user has chosen in the pane, and does it again; called at the end and at the
    /// start of the program. Values belong in a group of the pane's own.
    virtual void saveState() const;
    virtual void restoreState();

Q_SIGNALS:
    void openWanted(const QString &path); ///< a file, in a tab
    void noteWanted(const QString &text); ///< for some seconds in the status bar

protected:
    /// Shows the dock of a tool, in front of others.
    void reveal();

    /// Adds the action of makeCommand() to the menu of the pane: QWidget::actions() are the
    /// entries, in their order.
    QAction *addCommand(const char *name, const QKeySequence &shortcut,
                        const std::function<void()> &run);
    void addSeparator();

    void changeEvent(QEvent *event) override;

private:
    const char *const m_title;
};

} // namespace Workbench
