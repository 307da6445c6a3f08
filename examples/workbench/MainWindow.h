#pragma once

#include "examples/workbench/RecentFiles.h"
#include "utils/settings/SettingsSlot.h"
#include "utils/settings/SettingsWatch.h"
#include "utils/signals/PublicSignal.h"

#include <QMainWindow>
#include <QUndoGroup>

QT_FORWARD_DECLARE_CLASS(QActionGroup)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QStackedWidget)
QT_FORWARD_DECLARE_CLASS(QTabWidget)
QT_FORWARD_DECLARE_CLASS(QToolButton)

namespace Workbench {

class DocumentTab;
class Pane;

/// The window: documents in tabs, tools in docks, and a menu for each of them.
///
/// On the signal bus it sends "DocumentOpened" and "DocumentSaved" after a file was opened or
/// saved, and "DocumentClosed" after its tab is gone. Their payload is "path", the absolute path of
/// the file, and "kind", the DocumentKind::id.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();
    ~MainWindow() override;

    /// Restores size, docks and the choices in the panes from the settings. They are stored when
    /// the window is closed.
    void restoreLayout();

    /// Opens files in tabs of their own; a file that is open already becomes the current one. Tells
    /// the user which ones cannot be read.
    void openFiles(const QStringList &paths);

    /// The same for one file, without telling the user. Returns why it cannot be read; "" when it
    /// is open.
    QString open(const QString &path);

    /// Closes a tab, after asking about unsaved changes. False when it stays open.
    bool closeTab(DocumentTab *tab);

    /// All tabs, in their order.
    QList<DocumentTab *> tabs() const;

    /// The tab that is shown, or null when there is none.
    DocumentTab *currentTab() const;

    /// The tool that has the name \p name in toolKinds(), or null.
    Pane *tool(const QString &name) const;

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QAction *addCommand(QMenu *menu, const char *name, const QKeySequence &shortcut,
                        const std::function<void()> &run);
    QMenu *addMenu(const char *title);
    void addFileMenu();
    void addEditMenu();
    void addToolBar();
    void addTools();
    void addWindowMenu();
    void addSettingsMenu();
    void addHelpMenu();
    void addStatusBar();
    void setFormatColours();
    void fillRecentMenu();
    void fillLanguageMenu();
    void showSettings();
    void takeSetting(const Data::VariantCollection &change);

    // In MainWindow_files.cpp.
    void addCloseButton(DocumentTab *tab);
    void askForFiles();
    bool save(DocumentTab &tab);
    bool saveAs(DocumentTab &tab);
    bool write(DocumentTab &tab, const QString &path);
    bool mayClose(DocumentTab &tab);
    void reload(DocumentTab &tab);
    void tell(const QString &message);
    static void send(Utils::PublicSignal &signal, const DocumentTab &tab);

    void updateCurrent();
    void updateTitles();
    void updateTexts();

    // In MainWindow_layout.cpp.
    void saveLayout() const;
    static void focusOn(QWidget &pane);
    void moveFocus(int step);
    void moveTab(int step);
    void resizePane(Qt::Orientation orientation, int step);
    void floatPane();

    QStackedWidget *m_center;
    QLabel *m_welcome;
    QTabWidget *m_tabs;
    QToolButton *m_format = nullptr;
    QMenu *m_recent = nullptr;
    QMenu *m_viewMenu = nullptr;
    QMenu *m_languages = nullptr;
    QActionGroup *m_languageGroup = nullptr; // of the menu above
    QList<QAction *> m_needDocument;
    QList<Pane *> m_tools;
    QUndoGroup m_changes;
    Utils::PublicSignal m_opened{"DocumentOpened", nullptr};
    Utils::PublicSignal m_saved{"DocumentSaved", nullptr};
    Utils::PublicSignal m_closed{"DocumentClosed", nullptr};
    RecentFiles m_recentFiles; // receives the signals above
    Utils::SettingsWatch m_otherInstances;
    Utils::SettingsSlot m_settings{"Workbench/", nullptr};
};

} // namespace Workbench
