#pragma once

#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable.h"

#include <QString>
#include <QStringList>
#include <QVector>

namespace Kelm {

// The steps of the command "table": detect how fields are separated, read the file, choose rows and
// columns, and print them.

// Table_guess.cpp

/// The delimiter of columns that are aligned with blanks, a pattern.
inline const char *const blanks = "\\s+";

/// What starts a comment, unless a file shows another marker.
inline const char *const usualComment = "#";

/// How a table is read.
struct TableLayout
{
    QString delimiter; ///< the plain text, or the pattern blanks
    QString comment;   ///< "" for none
    bool isQuoted = false;

    bool isAligned() const { return delimiter == blanks; }
};

/// The layout of a table of the dialect \p dialect.
TableLayout layoutOf(const Utils::CSVDialect &dialect);

// Table_choose.cpp

/// Which rows and columns are wanted, and in which order.
struct TableChoice
{
    QVector<int> columns; ///< none for all
    int sortColumn = -1;  ///< -1 for the order of the file
    bool isAscending = true;
    bool hasHeader = true;
    int numRows = -1; ///< besides the header, -1 for all
};

/// Removes the empty rows at the end of a table, such as the one after the last line feed.
void removeEmptyEnd(Utils::CSVTable &table);

/// The first row that is not empty. None when there is no such row.
QStringList topRow(const Utils::CSVTable &table);

/// Whether the fields of the first row are a header. \p point is the decimal point of numbers.
bool isHeader(const QStringList &fields, char point);

/// The label of a column in a table without a header: "Column 1" for the first.
QString numberedLabel(int column);
QStringList numberedLabels(int count);

/// The index in a row of labels of the column that \p name names, -1 when there is none.
int findColumn(const QStringList &labels, const QString &name);

/// Whether the choice is the whole of \p table, in the order of the file and without empty rows.
bool isAllOf(const Utils::CSVTable &table, const TableChoice &choice);

/// Appends the chosen part of \p table to \p chosen, which holds text even if the other does not.
void choose(const Utils::CSVTable &table, const TableChoice &choice, Utils::CSVTable &chosen);

// Table_print.cpp

/// Whether a column of \p table has numbers.
bool hasNumbers(const Utils::CSVTable &table, bool hasHeader);

/// Prints count, mean, deviation and quartiles of each column that has numbers.
void printStatistics(const Utils::CSVTable &table, bool hasHeader);

/// Draws a histogram of each column that has numbers. \p bins is 0 for Scott's rule.
void printHistograms(const Utils::CSVTable &table, bool hasHeader, int bins);

/// Prints the table, with texts at the left and numbers at the right.
void printTable(const Utils::CSVTable &table, bool hasHeader);

} // namespace Kelm
