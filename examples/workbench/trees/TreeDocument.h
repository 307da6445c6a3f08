#pragma once

#include "examples/workbench/Document.h"
#include "examples/workbench/trees/ValueKind.h"

#include <QVector>

#include <any>
#include <vector>

namespace Workbench {

/// A file whose contents are a tree of names with values: what tag files and XML documents have in
/// common. The contents stay in the object of the library; each derived class leads to it.
///
/// A node has a number, which stays the same until the contents are replaced, also when other nodes
/// are added, moved or removed. The children of a node are numbered when they are first asked for,
/// so that a large tree is shown at once.
///
/// There are two sorts of nodes to add: branches (tags, elements) and leaves (keys, attributes).
class TreeDocument : public Document
{
    Q_OBJECT

public:
    enum Column
    {
        Name,
        Value,
        Kind,
        NumColumns
    };

    /// The ids of texts in which the two kinds of files differ.
    struct Words
    {
        const char *title;     ///< of the view and its menu
        const char *addBranch; ///< a command, as for Pane::addCommand()
        const char *addLeaf;
    };

    static constexpr int root = 0; // the node of the whole file; it is not shown

    explicit TreeDocument(const QString &path);

    // The tree

    virtual bool hasChildren(int node) const = 0;
    int numChildren(int node);
    int child(int node, int row);
    int parentOf(int node) const { return m_nodes[std::size_t(node)].parent; }
    int rowOf(int node) const { return m_nodes[std::size_t(node)].row; }

    /// The rows that lead from the root to a node, and back; the root when there is none.
    QVector<int> pathOf(int node) const;
    int nodeAt(const QVector<int> &path);

    /// The next node in the order of the file from \p node on in which a text that can be changed
    /// contains \p wanted in any case, or the previous one with a \p step of -1. After the last
    /// node it is the first one. The root when there is none.
    int find(int node, int step, const QString &wanted);

    // Texts

    virtual Words words() const = 0;

    /// What the file is, for the line above the tree.
    virtual QString heading() const = 0;

    virtual QString textOf(int node, Column column) const = 0;

    /// What is shown of a node without a value: the name that the user knows it by.
    virtual QString summaryOf(int node) const = 0;
    virtual bool canEdit(int node, Column column) = 0;

    /// Why the file cannot hold \p text as the name or the value of \p node, or why the value is
    /// not of the kind that it was, unless \p asText. In a sentence for the user; "" when it can.
    QString problem(int node, Column column, const QString &text, bool asText) const;

    /// The node and all nodes below it, as they stand in the file.
    virtual QString fileText(int node) const = 0;

    // Changes, which can be undone

    virtual void setText(int node, Column column, const QString &text);

    virtual bool canRemove(int node) const = 0;
    void remove(int node);

    virtual bool canDuplicate(int node) const = 0;
    int duplicate(int node); ///< the copy, after the node

    virtual bool canMove(int node, int step) const = 0;
    void move(int node, int step); ///< by \p step rows among its siblings

    bool canAdd(int node, bool branch);

    /// Adds a node in \p node or beside it, where that is possible. Returns the new node.
    int add(int node, bool branch);

    /// Adds what fileText() returns of other nodes, in \p node or beside it, as one change. Returns
    /// the first new node; the root, with the reason in \p problem, when the text has none, or when
    /// the file cannot hold them there.
    int paste(int node, const QString &text, QString &problem);

Q_SIGNALS:
    void aboutToReplace(); ///< followed by contentsReplaced()
    void aboutToInsert(int parent, int row);
    void inserted();
    void aboutToRemove(int parent, int row);
    void removed();
    void aboutToMove(int parent, int from, int to);
    void moved();
    void changed(int node);

protected:
    /// Content of a node without its number: of a class of the derived class.
    using Part = std::any;

    struct Position
    {
        int parent = -1; // no position
        int row = 0;
    };

    /// Whether the file \p path is small enough to be held in memory as a tree, which takes many
    /// times its size. When it is not, failure() tells so.
    bool fitsMemory(const QString &path);

    /// Calls addNode() for each child of \p node, in their order.
    virtual void listChildren(int node) = 0;
    int addNode(int parent);

    /// Forgets all nodes, before the contents are replaced.
    void resetNodes();

    /// Where add() puts a node, and what.
    virtual Position positionFor(int node, bool branch) = 0;
    virtual Part newPart(int parent, bool branch) const = 0;
    virtual Part copyOf(int node) const = 0;

    /// A part to insert, and where, when those before it are there.
    struct Addition
    {
        Position position;
        Part part;
    };

    /// What paste() adds: the nodes in \p text. None, with the reason in \p problem, as there.
    virtual std::vector<Addition> additions(int node, const QString &text, QString &problem) = 0;

    /// Puts \p part into the contents, at the parent and row of \p node, or takes that of \p node
    /// out of them. The nodes themselves are the task of this class.
    virtual void insertPart(int node, const Part &part) = 0;
    virtual Part removePart(int node) = 0;

    /// Changes a text, and returns what resetText() needs to take that back.
    virtual std::any putText(int node, Column column, const QString &text) = 0;
    virtual void resetText(int node, Column column, const std::any &old) = 0;

    /// As problem(), without regard to the kind of the value.
    virtual QString formProblem(int node, Column column, const QString &text) const = 0;

    int insert(int parent, int row, const Part &part);
    void moveTo(int node, int row);

private:
    class TextChange;
    class Insertion;
    class Removal;
    class Movement;

    struct Node
    {
        int parent;
        int row;
        bool isListed;
        QVector<int> children;
    };

    int putNode(int parent, int row, const Part &part);
    Part takeNode(int node);
    void moveNode(int parent, int from, int to);
    void renumber(int parent, int first);
    int next(int node);
    int previous(int node);
    bool contains(int node, const QString &wanted);

    std::vector<Node> m_nodes;
};

} // namespace Workbench
