#include "examples/workbench/MainWindow.h"

#include "examples/workbench/Command.h"
#include "examples/workbench/Document.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/Kinds.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/settings/SettingsDialog.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>

namespace Workbench {

MainWindow::MainWindow()
    : m_center(new QStackedWidget(this)), m_welcome(new QLabel(m_center)),
      m_tabs(new QTabWidget(m_center))
{
    setObjectName("MainWindow");
    setAcceptDrops(true);
    setDockNestingEnabled(true);
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);

    m_welcome->setAlignment(Qt::AlignCenter);
    m_welcome->setWordWrap(true);
    bindText(m_welcome, "text", ".msg.welcome");
    m_tabs->setDocumentMode(true);
    m_tabs->setMovable(true);
    bindText(m_tabs, "accessibleName", ".ctx.documents");
    m_center->addWidget(m_welcome);
    m_center->addWidget(m_tabs);
    setCentralWidget(m_center);

    addFileMenu();
    addEditMenu();
    addToolBar();
    m_viewMenu = addMenu(".ctx.tables");
    addTools();
    addWindowMenu();
    addSettingsMenu();
    addHelpMenu();
    addStatusBar();

    connect(m_tabs, &QTabWidget::currentChanged, this, &MainWindow::updateCurrent);
    m_settings.setCallback(this, &MainWindow::takeSetting);
    updateCurrent();

    // From the font rather than in pixels, for screens of any resolution.
    const QSize wanted = fontMetrics().averageCharWidth() * QSize(190, 120);
    resize(wanted.boundedTo(screen()->availableSize()));
    for (const ToolKind &kind : toolKinds()) {
        if (kind.area == Qt::LeftDockWidgetArea || kind.area == Qt::RightDockWidgetArea)
            resizeDocks({findChild<QDockWidget *>(kind.name)}, {width() * 2 / 5}, Qt::Horizontal);
    }
}

MainWindow::~MainWindow()
{
    disconnect(m_tabs, nullptr, this, nullptr);
    for (Pane *const tool : qAsConst(m_tools))
        tool->setCurrentView(nullptr); // before the views end
    for (DocumentTab *const tab : tabs()) {
        tab->disconnect(this);
        m_tabs->removeTab(m_tabs->indexOf(tab));
        send(m_closed, *tab);
        delete tab;
    }
}

DocumentTab *MainWindow::currentTab() const
{
    return qobject_cast<DocumentTab *>(m_tabs->currentWidget());
}

Pane *MainWindow::tool(const QString &name) const
{
    const auto *const dock = findChild<QDockWidget *>(name);
    return dock ? qobject_cast<Pane *>(dock->widget()) : nullptr;
}

QAction *MainWindow::addCommand(QMenu *menu, const char *name, const QKeySequence &shortcut,
                                const std::function<void()> &run)
{
    QAction *const action = makeCommand(this, name, shortcut, run);
    menu->addAction(action);
    return action;
}

QMenu *MainWindow::addMenu(const char *title)
{
    auto *const menu = new QMenu(this);
    bindText(menu, "title", title);
    menuBar()->addMenu(menu);
    return menu;
}

/// Adds the usual keys of the system, which differ, to the key of a command, which is the same on
/// each.
static void addUsualKeys(QAction *command, QKeySequence::StandardKey usual)
{
    QList<QKeySequence> keys = command->shortcuts();
    for (const QKeySequence &key : QKeySequence::keyBindings(usual)) {
        if (!keys.contains(key))
            keys.append(key);
    }
    command->setShortcuts(keys);
}

void MainWindow::addFileMenu()
{
    QMenu *const menu = addMenu(".ctx.file");
    const auto icon = [this](QStyle::StandardPixmap name) { return style()->standardIcon(name); };
    addCommand(menu, "open", QKeySequence::Open, [this] {
        askForFiles();
    })->setIcon(icon(QStyle::SP_DialogOpenButton));
    m_recent = menu->addMenu(QString());
    bindText(m_recent, "title", ".ctx.recent");
    connect(m_recent, &QMenu::aboutToShow, this, &MainWindow::fillRecentMenu);
    menu->addSeparator();

    QAction *const saves =
        addCommand(menu, "save", QKeySequence::Save, [this] { save(*currentTab()); });
    saves->setIcon(icon(QStyle::SP_DialogSaveButton));
    QAction *const savesAs = addCommand(menu, "saveAs", Qt::CTRL + Qt::SHIFT + Qt::Key_S,
                                        [this] { saveAs(*currentTab()); });
    QAction *const reloads =
        addCommand(menu, "reload", QKeySequence::Refresh, [this] { reload(*currentTab()); });
    QAction *const closes =
        addCommand(menu, "close", Qt::CTRL + Qt::Key_W, [this] { closeTab(currentTab()); });
    addUsualKeys(closes, QKeySequence::Close);
    m_needDocument = {saves, savesAs, reloads, closes};
    menu->addSeparator();
    addCommand(menu, "quit", Qt::CTRL + Qt::Key_Q, [this] { close(); });
}

void MainWindow::addEditMenu()
{
    QMenu *const menu = addMenu(".ctx.edit");
    QAction *const undo =
        addCommand(menu, "undo", QKeySequence::Undo, [this] { m_changes.undo(); });
    QAction *const redo =
        addCommand(menu, "redo", Qt::CTRL + Qt::SHIFT + Qt::Key_Z, [this] { m_changes.redo(); });
    addUsualKeys(redo, QKeySequence::Redo);
    undo->setIcon(style()->standardIcon(QStyle::SP_ArrowBack));
    redo->setIcon(style()->standardIcon(QStyle::SP_ArrowForward));
    undo->setEnabled(false);
    redo->setEnabled(false);
    connect(&m_changes, &QUndoGroup::canUndoChanged, undo, &QAction::setEnabled);
    connect(&m_changes, &QUndoGroup::canRedoChanged, redo, &QAction::setEnabled);
}

void MainWindow::addToolBar()
{
    QToolBar *const bar = QMainWindow::addToolBar(QString());
    bar->setObjectName("toolBar");
    bindText(bar, "windowTitle", ".ctx.toolBar");
    for (const char *name : {"open", "save", "undo", "redo"})
        bar->addAction(findChild<QAction *>(name));
}

void MainWindow::addTools()
{
    QMap<Qt::DockWidgetArea, QDockWidget *> lastIn;
    for (const ToolKind &kind : toolKinds()) {
        auto *const dock = new QDockWidget(this);
        dock->setObjectName(kind.name);
        Pane *const tool = kind.make(dock);
        bindText(dock, "windowTitle", tool->title());
        dock->setWidget(tool);
        addDockWidget(kind.area, dock);
        if (lastIn.contains(kind.area))
            tabifyDockWidget(lastIn.value(kind.area), dock);
        lastIn[kind.area] = dock;
        dock->setHidden(kind.isHiddenAtFirst);
        m_tools.append(tool);
        connect(tool, &Pane::openWanted, this, [this](const QString &path) { openFiles({path}); });
        connect(dock->toggleViewAction(), &QAction::triggered, dock, [dock](bool isShown) {
            if (!isShown)
                return;
            dock->raise();
            focusOn(*dock->widget());
        });
        if (!tool->actions().isEmpty())
            addMenu(tool->title())->addActions(tool->actions());
    }
}

void MainWindow::addWindowMenu()
{
    QMenu *const menu = addMenu(".ctx.window");
    for (const ToolKind &kind : toolKinds())
        menu->addAction(findChild<QDockWidget *>(kind.name)->toggleViewAction());
    menu->addAction(findChild<QToolBar *>("toolBar")->toggleViewAction());
    menu->addSeparator();
    addCommand(menu, "nextPane", Qt::Key_F6, [this] { moveFocus(1); });
    addCommand(menu, "previousPane", Qt::SHIFT + Qt::Key_F6, [this] { moveFocus(-1); });
    addCommand(menu, "nextDocument", Qt::CTRL + Qt::Key_Tab, [this] { moveTab(1); });
    addCommand(menu, "previousDocument", Qt::CTRL + Qt::SHIFT + Qt::Key_Tab,
               [this] { moveTab(-1); });
    menu->addSeparator();
    const int key = Qt::Key_F11;
    addCommand(menu, "wider", key, [this] { resizePane(Qt::Horizontal, 1); });
    addCommand(menu, "narrower", Qt::SHIFT + key, [this] { resizePane(Qt::Horizontal, -1); });
    addCommand(menu, "taller", Qt::CTRL + key, [this] { resizePane(Qt::Vertical, 1); });
    addCommand(menu, "shorter", Qt::CTRL + Qt::SHIFT + key,
               [this] { resizePane(Qt::Vertical, -1); });
    addCommand(menu, "floatPane", {}, [this] { floatPane(); });
}

void MainWindow::addSettingsMenu()
{
    QMenu *const menu = addMenu(".ctx.settings");
    m_languages = menu->addMenu(QString());
    bindText(m_languages, "title", ".ctx.languages");
    connect(m_languages, &QMenu::aboutToShow, this, &MainWindow::fillLanguageMenu);
    menu->addSeparator();
    addCommand(menu, "preferences", Qt::CTRL + Qt::Key_Comma, [this] { showSettings(); });
}

void MainWindow::addHelpMenu()
{
    QMenu *const menu = addMenu(".ctx.help");
    addCommand(menu, "about", {}, [this] {
        QMessageBox::about(this, text(".ctx.program"),
                           text(".msg.about").arg(QCoreApplication::applicationVersion()));
    });
    addCommand(menu, "aboutQt", {}, [] { QApplication::aboutQt(); });
}

void MainWindow::addStatusBar()
{
    m_format = new QToolButton(this);
    m_format->setAutoRaise(true);
    m_format->setFocusPolicy(Qt::TabFocus);
    m_format->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    bindText(m_format, "accessibleName", ".ctx.format");
    statusBar()->addWidget(m_format, 1);
    setFormatColours();
    // A pane whose documents have a format that can be changed has a command of this name.
    connect(m_format, &QToolButton::clicked, this, [this] {
        QAction *const change = currentTab()->view().findChild<QAction *>("format");
        if (change && change->isEnabled())
            change->trigger();
    });
}

/// A format that cannot be changed is read as well as one that can.
void MainWindow::setFormatColours()
{
    QPalette colours = palette();
    colours.setColor(QPalette::Disabled, QPalette::ButtonText,
                     colours.color(QPalette::Active, QPalette::ButtonText));
    m_format->setPalette(colours);
}

void MainWindow::fillRecentMenu()
{
    m_recent->clear();
    const QStringList paths = RecentFiles::paths();
    for (const QString &path : paths) {
        QString shown = path;
        QAction *const action = m_recent->addAction(shown.replace('&', "&&"));
        connect(action, &QAction::triggered, this, [this, path] { openFiles({path}); });
    }
    if (paths.isEmpty())
        m_recent->addAction(text(".ctx.none"))->setEnabled(false);
}

void MainWindow::fillLanguageMenu()
{
    m_languages->clear();
    delete m_languageGroup;
    m_languageGroup = new QActionGroup(this);
    for (const QString &language : languages()) {
        QAction *const action = m_languages->addAction(nameOf(language));
        action->setCheckable(true);
        action->setChecked(language == Utils::StringTable::language());
        m_languageGroup->addAction(action);
        connect(action, &QAction::triggered, this,
                [language] { Preferences::language.set(language); });
    }
}

void MainWindow::showSettings()
{
    auto *dialog = findChild<SettingsDialog *>();
    if (!dialog)
        dialog = new SettingsDialog(this);
    dialog->show(); // the program is used meanwhile
    dialog->raise();
    dialog->activateWindow();
}

void MainWindow::takeSetting(const Data::VariantCollection &change)
{
    const QString key = change["key"].toString();
    if (key == Preferences::flushFiles.key())
        Utils::File::setSafeWriting(true, Preferences::flushFiles.value());
    if (key == Preferences::language.key() && !setLanguage(Preferences::language.value()))
        tell(text(".err.language").arg(Preferences::language.value()));
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        updateTexts();
    if (event->type() == QEvent::PaletteChange)
        setFormatColours();
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        for (DocumentTab *const tab : tabs())
            tab->checkFile();
    }
    QMainWindow::changeEvent(event);
}

void MainWindow::updateTexts()
{
    retranslate(this);
    updateTitles();
}

void MainWindow::updateCurrent()
{
    statusBar()->clearMessage(); // of another document
    DocumentTab *const tab = currentTab();
    Pane *const view = tab ? &tab->view() : nullptr;
    m_center->setCurrentWidget(tab ? static_cast<QWidget *>(m_tabs) : m_welcome);
    m_changes.setActiveStack(tab ? &tab->document().changes() : nullptr);
    for (QAction *const action : qAsConst(m_needDocument))
        action->setEnabled(tab);

    m_viewMenu->clear();
    m_viewMenu->menuAction()->setVisible(view && !view->actions().isEmpty());
    if (view) {
        bindText(m_viewMenu, "title", view->title());
        m_viewMenu->addActions(view->actions());
        view->setFocus();
    }
    for (Pane *const tool : qAsConst(m_tools))
        tool->setCurrentView(view);
    updateTitles();
}

void MainWindow::updateTitles()
{
    for (DocumentTab *const tab : tabs()) {
        const int index = m_tabs->indexOf(tab);
        m_tabs->setTabText(index, tab->title().replace('&', "&&"));
        m_tabs->setTabToolTip(index, tab->document().path());
    }
    const DocumentTab *const tab = currentTab();
    const QString program = text(".ctx.program");
    setWindowTitle(tab ? QFileInfo(tab->document().path()).fileName() + "[*] \u2013 " + program
                       : program);
    setWindowModified(tab && tab->document().isChanged());
    // In an isolate, so that a number at its start stays there in a window from right to left.
    m_format->setText(tab ? QChar(0x2068) + tab->document().description() + QChar(0x2069)
                          : QString());
    const bool canChange = tab && tab->view().findChild<QAction *>("format");
    m_format->setEnabled(canChange);
    m_format->setToolTip(canChange ? text(".msg.format") : QString());
}

} // namespace Workbench
