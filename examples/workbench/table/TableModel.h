#pragma once

#include <QAbstractTableModel>
#include <QVector>

namespace Workbench {

class TableDocument;

/// The rows of a TableDocument for a view: all of them, or some in another order.
///
/// The view gets at most Preferences::rowsAtOnce of them, as it needs memory for each, and its
/// pixels are counted by an int. These are a part of the rows that are shown, of which showPart()
/// chooses another one.
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

    /// The number of rows that are shown in all parts.
    int numShown() const;

    /// The row of the document at a position among those that are shown in all parts.
    int rowAt(int position) const { return m_showsAll ? position : m_rows.value(position, -1); }

    /// The position of the first row of the part.
    int partStart() const { return m_partStart; }

    /// Chooses a part with \p position, unless the current one has it. Returns the row of the view.
    int showPart(int position);

    /// The row of the document for a row of the view.
    int documentRow(int row) const { return rowAt(row + m_partStart); }

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
    int m_partStart = 0;
    int m_partSize = 0; // at most
};

} // namespace Workbench
