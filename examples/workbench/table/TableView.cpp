#include "examples/workbench/table/TableView.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/table/FormatDialog.h"
#include "examples/workbench/table/NumberDelegate.h"
#include "examples/workbench/table/RowSearch.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableModel.h"
#include "utils/signals/SignalBlocker.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QTableView>

#include <algorithm>
#include <numeric>

namespace Workbench {

static const int mostCopied = 1000000; // cells; the clipboard holds the text of all of them
static const int usualWidth = 16;      // of a column, in characters
static const int widestAtFirst = 40;
static const int mostWidened = 30; // columns
static const int numMeasured = 50; // rows

TableView::TableView(TableDocument &document, QWidget *parent)
    : Pane(".ctx.table", parent), m_document(document), m_model(new TableModel(document, this)),
      m_grid(new QTableView(this)), m_filter(new QLineEdit(this)), m_find(new QLineEdit(this)),
      m_state(new QLabel(this))
{
    addCommands();
    layOut();
    connectParts();
    setFocusProxy(m_grid);
    TableView::updateTexts();
}

void TableView::addCommands()
{
    addCommand("find", QKeySequence::Find, [this] { m_find->setFocus(Qt::ShortcutFocusReason); });
    addCommand("findNext", QKeySequence::FindNext, [this] { find(1); });
    addCommand("findPrevious", QKeySequence::FindPrevious, [this] { find(-1); });
    addCommand("filter", Qt::CTRL + Qt::SHIFT + Qt::Key_F,
               [this] { m_filter->setFocus(Qt::ShortcutFocusReason); });
    addCommand("goToRow", Qt::CTRL + Qt::Key_G, [this] { goToRow(); });
    addSeparator();
    addCommand("sortAscending", Qt::CTRL + Qt::SHIFT + Qt::Key_Up, [this] { sort(true); });
    addCommand("sortDescending", Qt::CTRL + Qt::SHIFT + Qt::Key_Down, [this] { sort(false); });
    addCommand("allRows", Qt::CTRL + Qt::SHIFT + Qt::Key_A, [this] {
        m_filter->clear();
        m_filterColumn = m_sortColumn = -1;
        showRows();
    });
    addSeparator();
    addCommand("selectColumn", Qt::CTRL + Qt::Key_Space, [this] { selectColumn(); });
    addCommand("copy", QKeySequence::Copy, [this] { copy(); });
    addSeparator();
    addCommand("fitColumn", {}, [this] {
        m_grid->resizeColumnToContents(std::max(m_grid->currentIndex().column(), 0));
    });
    addCommand("format", {}, [this] { changeFormat(); });
}

void TableView::layOut()
{
    m_grid->setModel(m_model);
    m_grid->setItemDelegate(new NumberDelegate(m_grid));
    bindText(m_grid, "accessibleName", ".ctx.table");
    m_grid->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_grid->addActions(actions());
    m_grid->setWordWrap(false);
    m_grid->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // All rows have one height: the view never asks for that of ten million. The headers do not
    // show the selection, for which they would look at each row of a selected column.
    QHeaderView *const rows = m_grid->verticalHeader();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() * 3 / 2);
    rows->setHighlightSections(false);
    QHeaderView *const columns = m_grid->horizontalHeader();
    columns->setHighlightSections(false);
    columns->setSelectionModel(new QItemSelectionModel(m_model, columns));
    columns->setSortIndicatorShown(true);
    columns->setSortIndicator(-1, Qt::AscendingOrder);
    columns->setDefaultSectionSize(fontMetrics().averageCharWidth() * usualWidth);
    columns->setResizeContentsPrecision(numMeasured);

    m_find->setClearButtonEnabled(true);
    m_filter->setClearButtonEnabled(true);
    m_find->setObjectName("findLine");
    m_filter->setObjectName("filterLine");
    bindText(m_find, "placeholderText", ".ctx.findHint");
    bindText(m_find, "accessibleName", ".ctx.findHint");
    bindText(m_filter, "toolTip", ".msg.filterHelp");
    auto *const lines = new QHBoxLayout;
    lines->addWidget(m_find, 2);
    lines->addWidget(m_filter, 3);
    lines->addWidget(m_state);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(lines);
    layout->addWidget(m_grid, 1);
}

void TableView::connectParts()
{
    connect(m_find, &QLineEdit::returnPressed, this, [this] { find(1); });
    connect(m_filter, &QLineEdit::returnPressed, this, &TableView::filter);
    connect(m_filter, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (text.isEmpty() && m_filterColumn >= 0)
            filter();
    });
    connect(m_grid->horizontalHeader(), &QHeaderView::sectionDoubleClicked, this, [this](int col) {
        m_grid->setCurrentIndex(m_model->index(0, col));
        sort(m_sortColumn != col || !m_isAscending);
    });
    // A click on the header selects the column; only a double click sorts.
    connect(m_grid->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this,
            &TableView::updateFilterLabel);
    const QItemSelectionModel *const selection = m_grid->selectionModel();
    connect(selection, &QItemSelectionModel::currentColumnChanged, this,
            &TableView::updateFilterLabel);
    connect(selection, &QItemSelectionModel::selectionChanged, this, &TableView::choiceChanged);
    connect(m_model, &QAbstractItemModel::modelReset, this, &TableView::choiceChanged);
    connect(m_model, &QAbstractItemModel::dataChanged, this, [this] {
        m_foundText.clear(); // the rows that were found may have changed
        Q_EMIT choiceChanged();
    });
    connect(&m_document, &Document::contentsReplaced, this, [this] {
        m_foundText.clear();
        m_filterColumn = m_sortColumn = -1;
        m_filter->clear();
        m_grid->setCurrentIndex(m_model->index(0, 0));
        widenColumns();
        updateTexts();
    });
}

/// Widens columns for what is in their first rows.
void TableView::widenColumns()
{
    const int most = fontMetrics().averageCharWidth() * widestAtFirst;
    for (int col = 0; col < std::min(m_model->columnCount(), mostWidened); ++col) {
        const int before = m_grid->columnWidth(col);
        m_grid->resizeColumnToContents(col);
        m_grid->setColumnWidth(col, std::max(before, std::min(m_grid->columnWidth(col), most)));
    }
}

void TableView::updateTexts()
{
    findChild<QAction *>("format")->setEnabled(true);
    updateFilterLabel();
    m_grid->viewport()->update();
}

void TableView::updateFilterLabel()
{
    const int col = std::max(m_grid->currentIndex().column(), 0);
    const QString hint = text(".ctx.filterHint").arg(m_document.label(col));
    m_filter->setPlaceholderText(hint);
    m_filter->setAccessibleName(hint);

    QStringList state;
    if (m_filterColumn >= 0)
        state.append(m_document.label(m_filterColumn) + ' ' + m_filterText + ": " +
                     textFor(".msg.rows", m_model->numShown()));
    if (m_model->rowCount() < m_model->numShown()) {
        const QLocale locale;
        state.append(text(".msg.part")
                         .arg(locale.toString(m_model->partStart() + 1),
                              locale.toString(m_model->partStart() + m_model->rowCount()),
                              locale.toString(m_model->numShown())));
    }
    if (!m_foundText.isEmpty())
        state.append(textFor(".msg.found", m_found.count(true)));
    m_state->setText(state.join(" \u00b7 "));
    m_state->setToolTip(m_state->text());
    const Utils::SignalBlocker blocker(m_grid->horizontalHeader());
    m_grid->horizontalHeader()->setSortIndicator(m_sortColumn, m_isAscending ? Qt::AscendingOrder
                                                                             : Qt::DescendingOrder);
}

void TableView::sort(bool ascending)
{
    m_sortColumn = std::max(m_grid->currentIndex().column(), 0);
    m_isAscending = ascending;
    showRows();
}

void TableView::filter()
{
    m_filterText = m_filter->text();
    m_filterColumn = m_filterText.isEmpty() ? -1 : std::max(m_grid->currentIndex().column(), 0);
    showRows();
}

void TableView::showRows()
{
    const int col = std::max(m_grid->currentIndex().column(), 0);
    std::optional<QVector<int>> rows;
    if (m_filterColumn >= 0) {
        rows = rowsWith(m_document, m_filterColumn, CellCondition(m_filterText));
        if (!rows)
            m_filterColumn = -1; // cancelled
    }
    if (m_sortColumn >= 0) {
        QVector<int> all = rows.value_or(QVector<int>());
        if (!rows) {
            all.resize(m_document.numRows());
            std::iota(all.begin(), all.end(), 0);
        }
        const auto sorted = sortedRows(m_document, all, m_sortColumn, m_isAscending);
        if (sorted)
            rows = sorted;
        else
            m_sortColumn = -1;
    }
    if (rows)
        m_model->showRows(*rows);
    else
        m_model->showAll();
    m_grid->setCurrentIndex(m_model->index(0, col));
    updateFilterLabel();
}

void TableView::find(int step)
{
    const QString wanted = m_find->text();
    if (wanted.isEmpty()) {
        m_find->setFocus(Qt::ShortcutFocusReason);
        return;
    }
    if (wanted != m_foundText) {
        const std::optional<QBitArray> found = rowsContaining(m_document, wanted);
        if (!found)
            return; // cancelled
        m_found = *found;
        m_foundText = wanted;
    }
    updateFilterLabel();

    const int numRows = m_model->numShown();
    const int numColumns = m_model->columnCount();
    const auto contains = [&](int position, int col) {
        return m_document.cell(m_model->rowAt(position), col).contains(wanted, Qt::CaseInsensitive);
    };
    // From the cell after the current one to the end, then on from the start.
    int position = m_model->partStart() + std::max(m_grid->currentIndex().row(), 0);
    int col = m_grid->currentIndex().column() + step;
    for (int visited = 0; numRows > 0 && visited <= numRows; ++visited) {
        if (m_found.testBit(m_model->rowAt(position))) {
            for (; col >= 0 && col < numColumns; col += step) {
                if (contains(position, col)) {
                    m_grid->setCurrentIndex(m_model->index(m_model->showPart(position), col));
                    updateFilterLabel();
                    return;
                }
            }
        }
        position = (position + step + numRows) % numRows;
        col = step > 0 ? 0 : numColumns - 1;
    }
}

/// Selects or deselects the column of the current cell, as a click on its header with Ctrl does.
void TableView::selectColumn()
{
    const QModelIndex current = m_grid->currentIndex();
    const QItemSelection selection = m_grid->selectionModel()->selection();
    const bool isSelected =
        std::any_of(selection.begin(), selection.end(), [&](const QItemSelectionRange &range) {
            return range.left() <= current.column() && current.column() <= range.right() &&
                   range.height() == m_model->rowCount();
        });
    m_grid->selectionModel()->select(
        current, QItemSelectionModel::Columns |
                     (isSelected ? QItemSelectionModel::Deselect : QItemSelectionModel::Select));
}

void TableView::copy()
{
    const QItemSelection selection = m_grid->selectionModel()->selection();
    if (selection.isEmpty())
        return;
    // The rectangle around the selection, with empty cells where nothing is selected.
    int top = selection.first().top();
    int bottom = selection.first().bottom();
    int left = selection.first().left();
    int right = selection.first().right();
    for (const QItemSelectionRange &range : selection) {
        top = std::min(top, range.top());
        bottom = std::max(bottom, range.bottom());
        left = std::min(left, range.left());
        right = std::max(right, range.right());
    }
    const int numRows = bottom - top + 1;
    const int numCopied = std::clamp(mostCopied / (right - left + 1), 1, numRows);
    bottom = top + numCopied - 1;
    QString copied;
    for (int row = top; row <= bottom; ++row) {
        QStringList cells;
        for (int col = left; col <= right; ++col) {
            const bool isChosen = selection.contains(m_model->index(row, col));
            cells.append(isChosen ? m_document.cell(m_model->documentRow(row), col) : QString());
        }
        copied += cells.join('\t') + '\n';
    }
    QApplication::clipboard()->setText(copied);
    if (numCopied < numRows)
        Q_EMIT noteWanted(textFor(".msg.firstRows", numRows).arg(QLocale().toString(numCopied)));
}

void TableView::goToRow()
{
    const int most = std::max(m_model->numShown(), 1);
    const int current = m_model->partStart() + m_grid->currentIndex().row();
    bool isGiven = false;
    const int row = QInputDialog::getInt(this, text(".ctx.goToTitle"),
                                         text(".msg.goToRow").arg(QLocale().toString(most)),
                                         current + 1, 1, most, 1, &isGiven);
    if (!isGiven)
        return;
    const int col = std::max(m_grid->currentIndex().column(), 0);
    m_grid->setCurrentIndex(m_model->index(m_model->showPart(row - 1), col));
    updateFilterLabel();
}

void TableView::changeFormat() { FormatDialog(m_document, this).exec(); }

QVector<int> TableView::selectedColumns() const
{
    QVector<int> cols;
    const QItemSelection selection = m_grid->selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        for (int col = range.left(); col <= range.right(); ++col)
            cols.append(col);
    }
    if (cols.isEmpty() && m_grid->currentIndex().isValid())
        cols.append(m_grid->currentIndex().column());
    std::sort(cols.begin(), cols.end());
    cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
    return cols;
}

QVector<int> TableView::chosenRows() const
{
    const int numRows = m_model->rowCount();
    QVector<QPair<int, int>> spans; // of positions
    const QItemSelection selection = m_grid->selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        if (range.height() != numRows)
            spans.append(
                {range.top() + m_model->partStart(), range.bottom() + m_model->partStart()});
    }
    // One row is where the cursor is, rather than a choice of rows.
    const bool isOneRow = std::all_of(spans.begin(), spans.end(), [&](const auto &span) {
        return span.first == spans.first().first && span.second == span.first;
    });
    if (isOneRow)
        spans.clear();
    if (spans.isEmpty() && m_model->showsAll())
        return {};
    if (spans.isEmpty())
        spans.append({0, m_model->numShown() - 1});
    QVector<int> rows;
    for (const auto &span : qAsConst(spans)) {
        for (int position = span.first; position <= span.second; ++position)
            rows.append(m_model->rowAt(position));
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

} // namespace Workbench
