#pragma once

#include <QStyledItemDelegate>
#include <QWidget>

namespace Workbench {

/// Draws cells that are aligned to the right, which are numbers, from left to right: also in a
/// window from right to left, "-1.5 kN" is not "kN 1.5-".
class NumberDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    /// An editor with the title of its column as its accessible name.
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override
    {
        QWidget *const editor = QStyledItemDelegate::createEditor(parent, option, index);
        const QVariant title = index.model()->headerData(index.column(), Qt::Horizontal);
        editor->setAccessibleName(title.toString().simplified());
        return editor;
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->displayAlignment & Qt::AlignRight)
            option->direction = Qt::LeftToRight;
    }
};

} // namespace Workbench
