#pragma once

#include "examples/workbench/Pane.h"

#include <QVector>

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)
QT_FORWARD_DECLARE_CLASS(QModelIndex)
QT_FORWARD_DECLARE_CLASS(QTreeView)

namespace Workbench {

class TreeDocument;
class TreeModel;
class ValueDelegate;

/// The view of a tag file or of an XML document: its tree, with a line above that tells what the
/// file is, and a line to find texts.
class TreeView : public Pane
{
    Q_OBJECT

public:
    TreeView(TreeDocument &document, QWidget *parent);

    TreeDocument &document() const { return m_document; }
    QTreeView &tree() const { return *m_tree; }

    void updateTexts() override;

private:
    QAction *addTreeCommand(const char *name, const QKeySequence &shortcut,
                            const std::function<void()> &run);
    void addCommands();
    void layOut();
    void connectParts();
    void find(int step);
    void copy();
    void paste();
    void add(bool branch);
    void editValue();
    void editAsText();
    void move(int step);
    void select(int node, int column);
    int currentNode() const;
    void updateHeading();
    void updateCommands();

    TreeDocument &m_document;
    TreeModel *m_model;
    ValueDelegate *m_delegate;
    QTreeView *m_tree;
    QLabel *m_heading;
    QLineEdit *m_find;
    QLabel *m_state;
    QVector<int> m_pathBefore; // of the current node, while the contents are replaced
};

} // namespace Workbench
