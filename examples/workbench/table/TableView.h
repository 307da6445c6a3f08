#pragma once

#include "examples/workbench/Pane.h"

#include <QBitArray>
#include <QVector>

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)
QT_FORWARD_DECLARE_CLASS(QTableView)

namespace Workbench {

class TableDocument;
class TableModel;

/// The view of a table: its cells, with a line to find texts and a line to filter by a column.
class TableView : public Pane
{
    Q_OBJECT

public:
    TableView(TableDocument &document, QWidget *parent);

    TableDocument &document() const { return m_document; }
    QTableView &grid() const { return *m_grid; }

    /// The columns with a selected cell, in their order; the current one when none is selected.
    QVector<int> selectedColumns() const;

    /// The rows of the document that are shown, in ascending order. When part of a column is
    /// selected, those of the selection. Empty for all rows.
    QVector<int> chosenRows() const;

    void updateTexts() override;

Q_SIGNALS:
    /// The selection, the rows that are shown, or the cells have changed.
    void choiceChanged();

private:
    void addCommands();
    void layOut();
    void connectParts();
    void sort(bool ascending);
    void filter();
    void showRows();
    void find(int step);
    void selectColumn();
    void copy();
    void goToRow();
    void changeFormat();
    void updateFilterLabel();
    void widenColumns();

    TableDocument &m_document;
    TableModel *m_model;
    QTableView *m_grid;
    QLineEdit *m_filter;
    QLineEdit *m_find;
    QLabel *m_state;

    int m_filterColumn = -1; // of the filter that is applied; negative for none
    QString m_filterText;
    int m_sortColumn = -1; // negative for the order of the file
    bool m_isAscending = true;
    QString m_foundText; // of which m_found has the rows
    QBitArray m_found;
};

} // namespace Workbench
