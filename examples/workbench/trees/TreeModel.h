#pragma once

#include "examples/workbench/trees/TreeDocument.h"

#include <QAbstractItemModel>

namespace Workbench {

/// The nodes of a TreeDocument for a view. The model holds nothing of them: the internal id of an
/// index is the number of its node.
class TreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit TreeModel(TreeDocument &document, QObject *parent = nullptr);

    TreeDocument &document() const { return m_document; }

    int nodeOf(const QModelIndex &index) const;
    QModelIndex indexOf(int node, int column = TreeDocument::Name) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

private:
    bool showsSummary(int node, TreeDocument::Column column) const;

    TreeDocument &m_document;
};

} // namespace Workbench
