#pragma once

#include <QBitArray>
#include <QString>
#include <QVector>

#include <optional>

namespace Workbench {

class TableDocument;

// What looks at all rows of a table shows its progress, and returns nothing when the user cancels.

/// A condition that a cell meets or not:
///
///     text             => the cell contains the text, in upper or lower case
///     > 5, <= 2.5, ... => the number in the cell does; also =, !=, <, >=
///     -                => the cell is empty
class CellCondition
{
public:
    explicit CellCondition(const QString &text);

    bool holds(const QString &text, double number, bool isNumber) const;

    /// Whether the number of a cell decides, rather than its text.
    bool isOfNumbers() const { return m_kind != Contains && m_kind != Empty; }

private:
    enum Kind
    {
        Contains,
        Empty,
        Equal,
        Unequal,
        Less,
        LessOrEqual,
        Greater,
        GreaterOrEqual
    };

    Kind m_kind = Contains;
    QString m_text;
    double m_number = 0.0;
};

/// The rows of the document whose cell in the column \p col meets \p condition.
std::optional<QVector<int>> rowsWith(const TableDocument &document, int col,
                                     const CellCondition &condition);

/// The rows \p rows in the order of their cells in the column \p col: by number in a column of
/// numbers, otherwise by text. Cells that are no number are at the end. Rows that compare equal
/// keep their order.
std::optional<QVector<int>> sortedRows(const TableDocument &document, const QVector<int> &rows,
                                       int col, bool ascending);

/// Which rows of the document have a cell that contains \p text, in upper or lower case.
std::optional<QBitArray> rowsContaining(const TableDocument &document, const QString &text);

/// The numbers of columns, one for each row; Data::noValue for a hole and for a text that is no
/// number.
struct Numbers
{
    QVector<QVector<double>> columns;
    QVector<int> numNonNumbers; ///< of each column
};

std::optional<Numbers> numbersOf(const TableDocument &document, const QVector<int> &cols);

} // namespace Workbench
