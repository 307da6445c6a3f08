#pragma once

#include <QAbstractTableModel>
#include <QVector>

namespace Workbench {

class TableDocument;

/// The rows of a TableDocument for a view: all of them, or some in another order.
class TableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit TableModel(TableDocument &document, QObject *parent = nullptr);

    /// Shows the rows \p rows of the document, in this order.
    void showRows(const QVector<int> &rows);

    /// Shows all rows in the order of the file.
    void showAll();

    /// Whether all rows are shown in the order of the file.
    bool showsAll() const { return m_showsAll; }

    /// The row of the document for a row of the view.
    int documentRow(int row) const { return m_showsAll ? row : m_rows.value(row, -1); }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

private:
    QVariant numberFlaw(int row, int col, int role) const;
    void reset(bool showsAll, const QVector<int> &rows);
    void tellChange(int row, int col);

    TableDocument &m_document;
    QVector<int> m_rows;
    bool m_showsAll = true;
};

} // namespace Workbench
