#pragma once

#include <QStyledItemDelegate>

namespace Workbench {

/// Draws cells that are aligned to the right, which are numbers, from left to right: also in a
/// window from right to left, "-1.5 kN" is not "kN 1.5-".
class NumberDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->displayAlignment & Qt::AlignRight)
            option->direction = Qt::LeftToRight;
    }
};

} // namespace Workbench
