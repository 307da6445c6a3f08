#include "examples/workbench/trees/TreeModel.h"

#include "examples/workbench/Texts.h"

#include <QFont>

#include <algorithm>

namespace Workbench {

static const int mostShown = 300;   // characters of a value in its cell
static const int mostTipped = 2000; // in its tool tip

TreeModel::TreeModel(TreeDocument &document, QObject *parent)
    : QAbstractItemModel(parent), m_document(document)
{
    connect(&document, &TreeDocument::aboutToReplace, this, [this] { beginResetModel(); });
    connect(&document, &TreeDocument::contentsReplaced, this, [this] { endResetModel(); });
    connect(&document, &TreeDocument::aboutToInsert, this,
            [this](int node, int row) { beginInsertRows(indexOf(node), row, row); });
    connect(&document, &TreeDocument::inserted, this, [this] { endInsertRows(); });
    connect(&document, &TreeDocument::aboutToRemove, this,
            [this](int node, int row) { beginRemoveRows(indexOf(node), row, row); });
    connect(&document, &TreeDocument::removed, this, [this] { endRemoveRows(); });
    connect(&document, &TreeDocument::aboutToMove, this, [this](int node, int from, int to) {
        const QModelIndex owner = indexOf(node);
        beginMoveRows(owner, from, from, owner, to > from ? to + 1 : to);
    });
    connect(&document, &TreeDocument::moved, this, [this] { endMoveRows(); });
    connect(&document, &TreeDocument::changed, this, [this](int node) {
        if (node != TreeDocument::root)
            Q_EMIT dataChanged(indexOf(node), indexOf(node, TreeDocument::NumColumns - 1));
    });
}

int TreeModel::nodeOf(const QModelIndex &index) const
{
    return index.isValid() ? int(index.internalId()) : TreeDocument::root;
}

QModelIndex TreeModel::indexOf(int node, int column) const
{
    if (node == TreeDocument::root)
        return {};
    return createIndex(m_document.rowOf(node), column, quintptr(node));
}

QModelIndex TreeModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, quintptr(m_document.child(nodeOf(parent), row)));
}

QModelIndex TreeModel::parent(const QModelIndex &index) const
{
    return index.isValid() ? indexOf(m_document.parentOf(nodeOf(index))) : QModelIndex();
}

int TreeModel::rowCount(const QModelIndex &parent) const
{
    return parent.column() > 0 ? 0 : m_document.numChildren(nodeOf(parent));
}

int TreeModel::columnCount(const QModelIndex &) const { return TreeDocument::NumColumns; }

bool TreeModel::hasChildren(const QModelIndex &parent) const
{
    return parent.column() <= 0 && m_document.hasChildren(nodeOf(parent));
}

/// A value in one line.
static QString shown(const QString &value)
{
    const int end = value.indexOf('\n');
    QString line = value.left(end < 0 ? mostShown : std::min(end, mostShown));
    if (line.size() < value.size())
        line += " \u2026";
    if (end >= 0)
        line += ' ' + textFor(".msg.lines", value.count('\n') + 1);
    return line;
}

static QVariant italics()
{
    QFont font;
    font.setItalic(true);
    return font;
}

bool TreeModel::showsSummary(int node, TreeDocument::Column column) const
{
    return column == TreeDocument::Value && m_document.textOf(node, column).isEmpty();
}

QVariant TreeModel::data(const QModelIndex &index, int role) const
{
    const auto column = TreeDocument::Column(index.column());
    const int node = nodeOf(index);
    switch (role) {
    case Qt::DisplayRole:
        return shown(showsSummary(node, column) ? m_document.summaryOf(node)
                                                : m_document.textOf(node, column));
    case Qt::FontRole:
        return showsSummary(node, column) ? italics() : QVariant();
    case Qt::EditRole:
        return m_document.textOf(node, column);
    case Qt::ToolTipRole:
        if (column == TreeDocument::Value)
            return m_document.textOf(node, column)
                .left(mostTipped)
                .toHtmlEscaped()
                .prepend("<p style='white-space:pre-wrap'>");
        return {};
    default:
        return {};
    }
}

QVariant TreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const char *const titles[] = {".ctx.columnName", ".ctx.columnValue", ".ctx.columnKind"};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole ||
        section >= TreeDocument::NumColumns)
        return {};
    return text(titles[section]);
}

Qt::ItemFlags TreeModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractItemModel::flags(index);
    const bool canEdit =
        index.isValid() && m_document.canEdit(nodeOf(index), TreeDocument::Column(index.column()));
    return canEdit ? flags | Qt::ItemIsEditable : flags;
}

bool TreeModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable))
        return false;
    m_document.setText(nodeOf(index), TreeDocument::Column(index.column()), value.toString());
    return true;
}

} // namespace Workbench
