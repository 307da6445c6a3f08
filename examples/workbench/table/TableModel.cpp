#include "examples/workbench/table/TableModel.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/TableDocument.h"

#include <QBrush>
#include <QFont>
#include <QGuiApplication>
#include <QLocale>
#include <QPalette>

#include <algorithm>

namespace Workbench {

using Utils::CSVColumn;

TableModel::TableModel(TableDocument &document, QObject *parent)
    : QAbstractTableModel(parent), m_document(document)
{
    connect(&document, &Document::contentsReplaced, this, [this] { reset(true, {}); });
    connect(&document, &TableDocument::cellChanged, this, &TableModel::tellChange);
}

void TableModel::reset(bool showsAll, const QVector<int> &rows)
{
    beginResetModel();
    m_showsAll = showsAll;
    m_rows = rows;
    m_partStart = 0;
    m_partSize = Preferences::rowsAtOnce.value();
    endResetModel();
}

void TableModel::showRows(const QVector<int> &rows) { reset(false, rows); }
void TableModel::showAll() { reset(true, {}); }

int TableModel::numShown() const { return m_showsAll ? m_document.numRows() : m_rows.size(); }

int TableModel::showPart(int position)
{
    if (position < m_partStart || position >= m_partStart + rowCount()) {
        beginResetModel();
        m_partStart =
            std::clamp(position - m_partSize / 2, 0, std::max(numShown() - m_partSize, 0));
        endResetModel();
    }
    return position - m_partStart;
}

void TableModel::tellChange(int row, int col)
{
    const int shown = (m_showsAll ? row : m_rows.indexOf(row)) - m_partStart;
    if (shown >= 0 && shown < rowCount())
        Q_EMIT dataChanged(index(shown, col), index(shown, col));
}

int TableModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return std::min(numShown() - m_partStart, m_partSize);
}

int TableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_document.numColumns();
}

/// How a cell that is no number is shown in a column of numbers, so that it is seen without
/// colours as well: a hole is hatched, a text is bold.
QVariant TableModel::numberFlaw(int row, int col, int role) const
{
    const TableDocument::CellKind kind = m_document.kindOf(row, col);
    if (kind == TableDocument::Number)
        return {};
    const bool isHole = kind == TableDocument::Hole;
    if (role == Qt::BackgroundRole && isHole) {
        QColor lines = QGuiApplication::palette().color(QPalette::Text);
        lines.setAlphaF(0.4); // seen in each palette, and below a text
        return QBrush(lines, Qt::BDiagPattern);
    }
    if (role == Qt::FontRole && !isHole) {
        QFont font;
        font.setBold(true);
        return font;
    }
    if (role == Qt::ToolTipRole || role == Qt::AccessibleDescriptionRole)
        return text(isHole ? ".msg.hole" : ".msg.noNumber");
    return {};
}

QVariant TableModel::data(const QModelIndex &index, int role) const
{
    const int row = documentRow(index.row());
    const int col = index.column();
    if (!index.isValid() || row < 0)
        return {};
    const bool isOfNumbers = m_document.columns().at(col).type == CSVColumn::Numbers;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return m_document.cell(row, col);
    case Qt::TextAlignmentRole:
        return int((isOfNumbers ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    case Qt::BackgroundRole:
    case Qt::FontRole:
    case Qt::ToolTipRole:
    case Qt::AccessibleDescriptionRole:
        return isOfNumbers ? numberFlaw(row, col, role) : QVariant();
    default:
        return {};
    }
}

QVariant TableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Vertical)
        return QLocale().toString(documentRow(section) + 1);
    const QString unit = m_document.columns().value(section).unit;
    const QString label = m_document.label(section);
    return unit.isEmpty() ? label : label + "\n[" + unit + ']';
}

Qt::ItemFlags TableModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return m_document.canChange() ? flags | Qt::ItemIsEditable : flags;
}

bool TableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole || !m_document.canChange())
        return false;
    m_document.setCell(documentRow(index.row()), index.column(), value.toString());
    return true;
}

} // namespace Workbench
