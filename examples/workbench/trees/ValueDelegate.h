#pragma once

#include <QPlainTextEdit>
#include <QPointer>
#include <QStyledItemDelegate>

QT_FORWARD_DECLARE_CLASS(QLabel)

namespace Workbench {

/// The editor of a name or a value, with the reason below it why its text cannot be accepted.
class ValueEditor : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit ValueEditor(QWidget *parent);
    ~ValueEditor() override;

    /// The text. Unlike that of toPlainText() it has its no-break spaces.
    QString value() const;
    void setValue(const QString &value);

    /// Whether the user has changed the text.
    bool isChanged() const { return value() != m_initial; }

    QString problem() const { return m_problem; }
    void setProblem(const QString &problem);

    /// Fits the height to the lines, in the cell \p cell.
    void fit(const QRect &cell);

protected:
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void placeReason();

    QPointer<QLabel> m_reason; // a child of the parent
    QString m_problem;
    QString m_initial;
    QRect m_cell;
};

/// Edits names and values of a TreeModel in their cells. Each change of the text is checked by the
/// document. Return accepts a text that it can hold, Shift+Return begins a new line, and Esc
/// discards.
class ValueDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// Makes the next editor accept values of any kind.
    void acceptAnyKind() { m_acceptsAny = true; }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;

Q_SIGNALS:
    /// The editor was left with a text that was not accepted, for the reason \p problem.
    void discarded(const QString &problem) const;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    mutable bool m_acceptsAny = false;
};

} // namespace Workbench
