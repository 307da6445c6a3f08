#include "examples/workbench/trees/TreeView.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/trees/TreeDocument.h"
#include "examples/workbench/trees/TreeModel.h"
#include "examples/workbench/trees/ValueDelegate.h"
#include "utils/feedback/WaitCursor.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTreeView>

namespace Workbench {

TreeView::TreeView(TreeDocument &document, QWidget *parent)
    : Pane(document.words().title, parent), m_document(document),
      m_model(new TreeModel(document, this)), m_delegate(new ValueDelegate(this)),
      m_tree(new QTreeView(this)), m_heading(new QLabel(this)), m_find(new QLineEdit(this)),
      m_state(new QLabel(this))
{
    addCommands();
    layOut();
    connectParts();
    setFocusProxy(m_tree);
    TreeView::updateTexts();
}

/// Adds a command whose shortcut works in the tree only: keys such as Del have another task in the
/// other parts of the window.
QAction *TreeView::addTreeCommand(const char *name, const QKeySequence &shortcut,
                                  const std::function<void()> &run)
{
    QAction *const command = addCommand(name, shortcut, run);
    command->setShortcutContext(Qt::WidgetShortcut);
    return command;
}

void TreeView::addCommands()
{
    const auto remove = [this] { m_document.remove(currentNode()); };
    const auto duplicate = [this] {
        select(m_document.duplicate(currentNode()), TreeDocument::Name);
    };
    const TreeDocument::Words words = m_document.words();

    addCommand("find", QKeySequence::Find, [this] { m_find->setFocus(Qt::ShortcutFocusReason); });
    addCommand("findNext", QKeySequence::FindNext, [this] { find(1); });
    addCommand("findPrevious", QKeySequence::FindPrevious, [this] { find(-1); });
    addSeparator();
    addTreeCommand("editValue", Qt::Key_Return, [this] { editValue(); });
    addTreeCommand("editAsText", Qt::SHIFT + Qt::Key_F2, [this] { editAsText(); });
    addSeparator();
    addTreeCommand(words.addBranch, Qt::CTRL + Qt::Key_Insert, [this] { add(true); });
    addTreeCommand(words.addLeaf, Qt::Key_Insert, [this] { add(false); });
    addTreeCommand("duplicate", Qt::CTRL + Qt::Key_D, duplicate);
    addTreeCommand("remove", QKeySequence::Delete, remove);
    addTreeCommand("moveUp", Qt::CTRL + Qt::SHIFT + Qt::Key_Up, [this] { move(-1); });
    addTreeCommand("moveDown", Qt::CTRL + Qt::SHIFT + Qt::Key_Down, [this] { move(1); });
    addSeparator();
    addTreeCommand("copy", QKeySequence::Copy, [this] { copy(); });
    addTreeCommand("paste", QKeySequence::Paste, [this] { paste(); });
}

void TreeView::layOut()
{
    m_tree->setModel(m_model);
    m_tree->setItemDelegate(m_delegate);
    m_tree->setUniformRowHeights(true); // which hundreds of thousands of rows need
    m_tree->setSelectionBehavior(QAbstractItemView::SelectItems);
    m_tree->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::DoubleClicked);
    m_tree->setAlternatingRowColors(true);
    m_tree->setExpandsOnDoubleClick(false);
    m_tree->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_tree->addActions(actions());
    bindText(m_tree, "accessibleName", m_document.words().title);
    QHeaderView *const columns = m_tree->header();
    const int unit = fontMetrics().averageCharWidth();
    columns->resizeSection(TreeDocument::Name, unit * 32);
    columns->resizeSection(TreeDocument::Kind, unit * 31);
    columns->setStretchLastSection(false);
    columns->setSectionResizeMode(TreeDocument::Value, QHeaderView::Stretch);
    columns->setMinimumSectionSize(unit * 8);

    m_heading->setObjectName("heading");
    m_heading->setWordWrap(true);
    m_heading->setMargin(unit / 2);
    m_heading->setTextFormat(Qt::PlainText);
    m_heading->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_state->setObjectName("state");
    m_state->setTextFormat(Qt::PlainText);
    m_state->setWordWrap(true);
    m_find->setObjectName("findLine");
    m_find->setClearButtonEnabled(true);
    bindText(m_find, "placeholderText", ".ctx.findHint");
    bindText(m_find, "accessibleName", ".ctx.findHint");
    auto *const line = new QHBoxLayout;
    line->addWidget(m_find, 2);
    line->addWidget(m_state, 3);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_heading);
    layout->addLayout(line);
    layout->addWidget(m_tree, 1);
}

void TreeView::connectParts()
{
    connect(m_find, &QLineEdit::returnPressed, this, [this] { find(1); });
    connect(m_delegate, &ValueDelegate::discarded, this, [this](const QString &problem) {
        m_state->setText(text(".msg.discarded").arg(problem));
    });
    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &TreeView::updateCommands);
    connect(&m_document.changes(), &QUndoStack::indexChanged, this, [this] {
        m_state->clear();
        updateHeading();
        updateCommands();
    });
    connect(&m_document, &TreeDocument::aboutToReplace, this,
            [this] { m_pathBefore = m_document.pathOf(currentNode()); });
    connect(m_model, &QAbstractItemModel::modelReset, this, [this] {
        if (m_model->rowCount() == 1)
            m_tree->expand(m_model->index(0, 0));
        const int before = m_document.nodeAt(m_pathBefore);
        select(before == TreeDocument::root ? m_document.child(before, 0) : before,
               TreeDocument::Name);
        updateHeading();
        updateCommands();
    });
}

void TreeView::updateTexts()
{
    updateHeading();
    updateCommands();
    m_tree->header()->viewport()->update();
    m_tree->viewport()->update();
}

void TreeView::updateHeading() { m_heading->setText(m_document.heading()); }

void TreeView::updateCommands()
{
    const int node = currentNode();
    const TreeDocument::Words words = m_document.words();
    const auto enable = [this](const char *name, bool isEnabled) {
        findChild<QAction *>(name)->setEnabled(isEnabled);
    };
    const bool isNode = node != TreeDocument::root;
    enable("editValue", isNode);
    enable("editAsText", isNode && m_document.canEdit(node, TreeDocument::Value));
    enable(words.addBranch, m_document.canAdd(node, /*branch=*/true));
    enable(words.addLeaf, m_document.canAdd(node, /*branch=*/false));
    enable("duplicate", isNode && m_document.canDuplicate(node));
    enable("remove", m_document.canRemove(node));
    enable("moveUp", m_document.canMove(node, -1));
    enable("moveDown", m_document.canMove(node, 1));
    enable("copy", isNode);
    enable("paste", isNode || m_document.canAdd(node, /*branch=*/true));
}

int TreeView::currentNode() const { return m_model->nodeOf(m_tree->currentIndex()); }

void TreeView::select(int node, int column)
{
    const QModelIndex index = m_model->indexOf(node, column);
    m_tree->setCurrentIndex(index);
    m_tree->scrollTo(index); // which expands what it is in
}

void TreeView::find(int step)
{
    const QString wanted = m_find->text();
    if (wanted.isEmpty()) {
        m_find->setFocus(Qt::ShortcutFocusReason);
        return;
    }
    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    const int found = m_document.find(currentNode(), step, wanted);
    m_state->setText(found == TreeDocument::root ? text(".msg.notFound").arg(wanted) : QString());
    if (found == TreeDocument::root)
        return;
    const bool isInName =
        m_document.canEdit(found, TreeDocument::Name) &&
        m_document.textOf(found, TreeDocument::Name).contains(wanted, Qt::CaseInsensitive);
    select(found, isInName ? TreeDocument::Name : TreeDocument::Value);
}

void TreeView::copy()
{
    const QModelIndex index = m_tree->currentIndex();
    const auto column = TreeDocument::Column(index.column());
    const int node = currentNode();
    QApplication::clipboard()->setText(
        column == TreeDocument::Name ? m_document.fileText(node) : m_document.textOf(node, column));
}

/// Puts a value in place of that in the current cell; beside a name, what copy() copies of a row.
void TreeView::paste()
{
    const QString pasted = QApplication::clipboard()->text().replace("\r\n", "\n");
    const int node = currentNode();
    const bool isValue = m_tree->currentIndex().column() == TreeDocument::Value &&
                         m_document.canEdit(node, TreeDocument::Value);
    QString problem;
    if (isValue) {
        problem = m_document.problem(node, TreeDocument::Value, pasted, /*asText=*/false);
        if (problem.isEmpty())
            m_document.setText(node, TreeDocument::Value, pasted);
    } else {
        const int added = m_document.paste(node, pasted, problem);
        if (added != TreeDocument::root)
            select(added, TreeDocument::Name);
    }
    m_state->setText(problem.isEmpty() ? QString() : text(".msg.discarded").arg(problem));
}

void TreeView::add(bool branch)
{
    const int node = m_document.add(currentNode(), branch);
    select(node, TreeDocument::Name);
    m_tree->edit(m_tree->currentIndex());
}

void TreeView::editValue()
{
    const int node = currentNode();
    const bool hasValue = m_document.canEdit(node, TreeDocument::Value);
    select(node, hasValue ? TreeDocument::Value : TreeDocument::Name);
    if (m_model->flags(m_tree->currentIndex()) & Qt::ItemIsEditable)
        m_tree->edit(m_tree->currentIndex());
}

void TreeView::editAsText()
{
    m_delegate->acceptAnyKind();
    editValue();
}

void TreeView::move(int step)
{
    const int node = currentNode();
    m_document.move(node, step);
    select(node, m_tree->currentIndex().column());
}

} // namespace Workbench
