#include "examples/workbench/trees/TreeDocument.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "utils/files/File.h"

#include <QUndoCommand>

#include <algorithm>

namespace Workbench {

// The commands know nodes by their paths: a node that was removed comes back with another number.

class TreeDocument::TextChange : public QUndoCommand
{
public:
    TextChange(TreeDocument &document, int node, Column column, const QString &text)
        : m_document(document), m_path(document.pathOf(node)), m_column(column), m_text(text)
    {}

    void redo() override
    {
        const int node = m_document.nodeAt(m_path);
        m_old = m_document.putText(node, m_column, m_text);
        Q_EMIT m_document.changed(node);
    }

    void undo() override
    {
        const int node = m_document.nodeAt(m_path);
        m_document.resetText(node, m_column, m_old);
        Q_EMIT m_document.changed(node);
    }

private:
    TreeDocument &m_document;
    const QVector<int> m_path;
    const Column m_column;
    const QString m_text;
    std::any m_old;
};

class TreeDocument::Insertion : public QUndoCommand
{
public:
    Insertion(TreeDocument &document, int parent, int row, const Part &part)
        : m_document(document), m_parent(document.pathOf(parent)), m_row(row), m_part(part)
    {}

    void redo() override { m_document.putNode(m_document.nodeAt(m_parent), m_row, m_part); }

    void undo() override
    {
        m_part = m_document.takeNode(m_document.child(m_document.nodeAt(m_parent), m_row));
    }

private:
    TreeDocument &m_document;
    const QVector<int> m_parent;
    const int m_row;
    Part m_part;
};

class TreeDocument::Removal : public QUndoCommand
{
public:
    Removal(TreeDocument &document, int node)
        : m_document(document), m_parent(document.pathOf(document.parentOf(node))),
          m_row(document.rowOf(node))
    {}

    void redo() override
    {
        m_part = m_document.takeNode(m_document.child(m_document.nodeAt(m_parent), m_row));
    }

    void undo() override { m_document.putNode(m_document.nodeAt(m_parent), m_row, m_part); }

private:
    TreeDocument &m_document;
    const QVector<int> m_parent;
    const int m_row;
    Part m_part;
};

class TreeDocument::Movement : public QUndoCommand
{
public:
    Movement(TreeDocument &document, int node, int to)
        : m_document(document), m_parent(document.pathOf(document.parentOf(node))),
          m_from(document.rowOf(node)), m_to(to)
    {}

    void redo() override { m_document.moveNode(m_document.nodeAt(m_parent), m_from, m_to); }
    void undo() override { m_document.moveNode(m_document.nodeAt(m_parent), m_to, m_from); }

private:
    TreeDocument &m_document;
    const QVector<int> m_parent;
    const int m_from;
    const int m_to;
};

TreeDocument::TreeDocument(const QString &path) : Document(path) { m_nodes = {{-1, 0, true, {}}}; }

bool TreeDocument::fitsMemory(const QString &path)
{
    const qint64 megabyte = qint64(1) << 20;
    const int limit = Preferences::memoryLimit.value();
    const qint64 size = Utils::File::size(path);
    return size <= limit * megabyte ||
           fail(text(".err.tooLarge").arg(path).arg(size / megabyte).arg(limit));
}

// The tree

void TreeDocument::resetNodes()
{
    Q_EMIT aboutToReplace();
    m_nodes = {{-1, 0, false, {}}};
}

int TreeDocument::addNode(int parent)
{
    const int node = int(m_nodes.size());
    const int row = m_nodes[std::size_t(parent)].children.size();
    m_nodes.push_back({parent, row, false, {}});
    m_nodes[std::size_t(parent)].children.append(node);
    return node;
}

int TreeDocument::numChildren(int node)
{
    if (!m_nodes[std::size_t(node)].isListed) {
        m_nodes[std::size_t(node)].isListed = true;
        listChildren(node);
    }
    return m_nodes[std::size_t(node)].children.size();
}

int TreeDocument::child(int node, int row)
{
    return row >= 0 && row < numChildren(node) ? m_nodes[std::size_t(node)].children[row] : root;
}

QVector<int> TreeDocument::pathOf(int node) const
{
    QVector<int> path;
    for (; node != root; node = parentOf(node))
        path.append(rowOf(node));
    std::reverse(path.begin(), path.end());
    return path;
}

int TreeDocument::nodeAt(const QVector<int> &path)
{
    int node = root;
    for (const int row : path) {
        node = child(node, row);
        if (node == root)
            break;
    }
    return node;
}

void TreeDocument::renumber(int parent, int first)
{
    const QVector<int> &children = m_nodes[std::size_t(parent)].children;
    for (int row = first; row < children.size(); ++row)
        m_nodes[std::size_t(children[row])].row = row;
}

int TreeDocument::putNode(int parent, int row, const Part &part)
{
    numChildren(parent);
    Q_EMIT aboutToInsert(parent, row);
    const int node = addNode(parent); // at the end
    m_nodes[std::size_t(parent)].children.removeLast();
    m_nodes[std::size_t(parent)].children.insert(row, node);
    renumber(parent, row);
    insertPart(node, part);
    Q_EMIT inserted();
    Q_EMIT changed(parent);
    return node;
}

TreeDocument::Part TreeDocument::takeNode(int node)
{
    const int parent = parentOf(node);
    const int row = rowOf(node);
    Q_EMIT aboutToRemove(parent, row);
    Part part = removePart(node);
    m_nodes[std::size_t(parent)].children.remove(row);
    renumber(parent, row);
    Q_EMIT removed();
    Q_EMIT changed(parent);
    return part;
}

void TreeDocument::moveNode(int parent, int from, int to)
{
    const int node = child(parent, from);
    if (node == root || from == to)
        return;
    Q_EMIT aboutToMove(parent, from, to);
    const Part part = removePart(node);
    m_nodes[std::size_t(parent)].children.move(from, to);
    renumber(parent, std::min(from, to));
    insertPart(node, part);
    Q_EMIT moved();
}

// Searching

int TreeDocument::next(int node)
{
    if (numChildren(node) > 0)
        return child(node, 0);
    while (node != root && rowOf(node) + 1 == numChildren(parentOf(node)))
        node = parentOf(node);
    return node == root ? root : child(parentOf(node), rowOf(node) + 1);
}

int TreeDocument::previous(int node)
{
    if (node != root && rowOf(node) == 0)
        return parentOf(node);
    // The last one below the sibling before, or of all.
    node = node == root ? root : child(parentOf(node), rowOf(node) - 1);
    while (numChildren(node) > 0)
        node = child(node, numChildren(node) - 1);
    return node;
}

bool TreeDocument::contains(int node, const QString &wanted)
{
    for (const Column column : {Name, Value}) {
        if (canEdit(node, column) && textOf(node, column).contains(wanted, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

int TreeDocument::find(int node, int step, const QString &wanted)
{
    const int start = node;
    do {
        node = step > 0 ? next(node) : previous(node);
        if (node != root && contains(node, wanted))
            return node;
    } while (node != start);
    return root;
}

// Changes

QString TreeDocument::problem(int node, Column column, const QString &text, bool asText) const
{
    QString flaw = formProblem(node, column, text);
    if (!flaw.isEmpty() || column != Value || asText)
        return flaw;
    return problemOf(text, kindOfValue(textOf(node, Value)));
}

void TreeDocument::setText(int node, Column column, const QString &text)
{
    if (text != textOf(node, column))
        changes().push(new TextChange(*this, node, column, text));
}

void TreeDocument::remove(int node)
{
    if (canRemove(node))
        changes().push(new Removal(*this, node));
}

int TreeDocument::insert(int parent, int row, const Part &part)
{
    changes().push(new Insertion(*this, parent, row, part));
    return child(parent, row);
}

int TreeDocument::duplicate(int node)
{
    if (!canDuplicate(node))
        return root;
    return insert(parentOf(node), rowOf(node) + 1, copyOf(node));
}

void TreeDocument::moveTo(int node, int row)
{
    if (row != rowOf(node))
        changes().push(new Movement(*this, node, row));
}

void TreeDocument::move(int node, int step)
{
    if (canMove(node, step))
        moveTo(node, rowOf(node) + step);
}

bool TreeDocument::canAdd(int node, bool branch) { return positionFor(node, branch).parent >= 0; }

int TreeDocument::add(int node, bool branch)
{
    const Position position = positionFor(node, branch);
    if (position.parent < 0)
        return root;
    return insert(position.parent, position.row, newPart(position.parent, branch));
}

int TreeDocument::paste(int node, const QString &text, QString &problem)
{
    const std::vector<Addition> added = additions(node, text, problem);
    if (added.empty()) {
        if (problem.isEmpty())
            problem = Workbench::text(".msg.nothingToPaste");
        return root;
    }
    changes().beginMacro(QString());
    for (const Addition &addition : added)
        insert(addition.position.parent, addition.position.row, addition.part);
    changes().endMacro();
    return child(added.front().position.parent, added.front().position.row);
}

} // namespace Workbench
