#include "examples/workbench/trees/ValueDelegate.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/trees/TreeModel.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPersistentModelIndex>
#include <QStyle>
#include <QTextDocument>

#include <algorithm>

namespace Workbench {

static const int mostLines = 10; // that an editor shows at once

ValueEditor::ValueEditor(QWidget *parent) : QPlainTextEdit(parent), m_reason(new QLabel(parent))
{
    setObjectName("valueEditor");
    setLineWrapMode(NoWrap);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTabChangesFocus(true);
    document()->setDocumentMargin(1);
    m_reason->setObjectName("reason");
    m_reason->setAutoFillBackground(true);
    m_reason->setBackgroundRole(QPalette::ToolTipBase);
    m_reason->setForegroundRole(QPalette::ToolTipText);
    m_reason->setFrameStyle(int(QFrame::Box) | int(QFrame::Plain)); // seen in each palette
    m_reason->setWordWrap(true);
    m_reason->setTextFormat(Qt::PlainText);
    m_reason->hide();
    connect(this, &QPlainTextEdit::blockCountChanged, this, [this] { fit(m_cell); });
}

ValueEditor::~ValueEditor() { delete m_reason; }

QString ValueEditor::value() const
{
    return document()
        ->toRawText()
        .replace(QChar::ParagraphSeparator, '\n')
        .replace(QChar::LineSeparator, '\n');
}

void ValueEditor::setValue(const QString &value)
{
    setPlainText(value);
    m_initial = this->value();
    selectAll();
}

void ValueEditor::setProblem(const QString &problem)
{
    m_problem = problem;
    setAccessibleDescription(problem);
    m_reason->setText(problem);
    m_reason->setVisible(!problem.isEmpty());
    placeReason();
}

void ValueEditor::fit(const QRect &cell)
{
    m_cell = cell;
    const int numLines = std::clamp(blockCount(), 1, mostLines);
    setVerticalScrollBarPolicy(blockCount() > mostLines ? Qt::ScrollBarAsNeeded
                                                        : Qt::ScrollBarAlwaysOff);
    const int wanted = fontMetrics().lineSpacing() * numLines + 2 * (frameWidth() + 1);
    QRect area = cell;
    area.setHeight(std::max(cell.height(), wanted));
    // Up rather than out of sight.
    const int below = area.bottom() - parentWidget()->height() + 1;
    if (below > 0)
        area.translate(0, -std::min(below, area.top()));
    setGeometry(area);
}

void ValueEditor::placeReason()
{
    if (m_problem.isEmpty())
        return;
    const QWidget &around = *parentWidget();
    const int width =
        std::min(std::max(this->width(), fontMetrics().averageCharWidth() * 50), around.width());
    const int height = m_reason->heightForWidth(width);
    const int left = std::clamp(x(), 0, around.width() - width);
    const bool isBelow = geometry().bottom() + height < around.height();
    m_reason->setGeometry(left, isBelow ? geometry().bottom() + 1 : y() - height, width, height);
    m_reason->raise();
}

void ValueEditor::moveEvent(QMoveEvent *event)
{
    QPlainTextEdit::moveEvent(event);
    placeReason();
}

void ValueEditor::resizeEvent(QResizeEvent *event)
{
    QPlainTextEdit::resizeEvent(event);
    placeReason();
}

QWidget *ValueDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                     const QModelIndex &index) const
{
    auto *const editor = new ValueEditor(parent);
    editor->setAccessibleName(index.model()->headerData(index.column(), Qt::Horizontal).toString());
    const bool asText = m_acceptsAny;
    m_acceptsAny = false;
    const QPersistentModelIndex edited(index);
    connect(editor, &QPlainTextEdit::textChanged, editor, [editor, edited, asText] {
        if (!edited.isValid())
            return;
        const auto &model = *static_cast<const TreeModel *>(edited.model());
        const bool isChanged = editor->isChanged();
        editor->setProblem(isChanged
                               ? model.document().problem(model.nodeOf(edited),
                                                          TreeDocument::Column(edited.column()),
                                                          editor->value(), asText)
                               : QString());
    });
    return editor;
}

void ValueDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto &value = *static_cast<ValueEditor *>(editor);
    if (!value.isChanged()) // while the user types, other changes do not disturb
        value.setValue(index.data(Qt::EditRole).toString());
}

void ValueDelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                 const QModelIndex &index) const
{
    const auto &value = *static_cast<ValueEditor *>(editor);
    if (!value.problem().isEmpty())
        Q_EMIT discarded(value.problem());
    else if (value.isChanged())
        model->setData(index, value.value());
}

void ValueDelegate::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                         const QModelIndex &) const
{
    static_cast<ValueEditor *>(editor)->fit(option.rect);
}

void ValueDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    // From right to left, the numbers of a value would change their order.
    option->displayAlignment =
        QStyle::visualAlignment(option->direction, option->displayAlignment) | Qt::AlignAbsolute;
    option->direction = Qt::LeftToRight;
}

bool ValueDelegate::eventFilter(QObject *object, QEvent *event)
{
    auto *const editor = qobject_cast<ValueEditor *>(object);
    if (!editor || event->type() != QEvent::KeyPress)
        return QStyledItemDelegate::eventFilter(object, event);

    const auto &key = *static_cast<QKeyEvent *>(event);
    const bool isReturn = key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter;
    const bool isTab = key.key() == Qt::Key_Tab || key.key() == Qt::Key_Backtab;
    if (isReturn && (key.modifiers() & Qt::ShiftModifier))
        return false; // a new line
    if ((isReturn || isTab) && !editor->problem().isEmpty())
        return true; // it stays open
    if (!isReturn)
        return QStyledItemDelegate::eventFilter(object, event);
    QWidget *const view = editor->parentWidget()->parentWidget();
    Q_EMIT commitData(editor);
    Q_EMIT closeEditor(editor);
    view->setFocus(); // also when the row has moved, which closes the editor before
    return true;
}

} // namespace Workbench
