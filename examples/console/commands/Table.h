#pragma once

#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

namespace Kelm {

// The steps of the command "table": detect how fields are separated, read the file, choose rows and
// columns, and print them.

// Table_guess.cpp

/// The delimiter of columns that are aligned with blanks, a pattern.
inline const char *const blanks = "\\s+";

/// What starts a comment, unless a file shows another marker.
inline const char *const usualComment = "#";

/// From which confidence on a detected property is applied although it can do harm.
inline const double probable = 0.5;

/// Detects how the table in the file \p path is read. What \p known sets is kept. With \p
/// sizeLimit, in megabytes, quotes are known only if they are set, and a table that is held as
/// bytes has no comments. The result is not valid when the file cannot be read.
Utils::CSVDialect detectApplied(const QString &path, const Utils::CSVDialect &known,
                                std::optional<int> sizeLimit, bool isRowPerLine);

/// Whether the table is held as bytes, or left on the disk.
bool isHeldAsBytes(const QString &path, const Utils::CSVDialect &dialect,
                   std::optional<int> sizeLimit, bool isRowPerLine);

// Table_choose.cpp

/// Which rows and columns are wanted, and in which order.
struct TableChoice
{
    QVector<int> columns; ///< none for all
    int sortColumn = -1;  ///< -1 for the order of the file
    bool isAscending = true;
    int headerRow = -1;   ///< the row of the labels, -1 for none
    int firstDataRow = 0; ///< the rows from the labels to this one are header rows
    int numRows = -1;     ///< besides the header rows, -1 for all
};

/// Removes the empty rows at the end of a table, such as the one after the last line feed.
void removeEmptyEnd(Utils::CSVTable &table);

/// Returns why the row that was accessed last could not be read completely from the file; "" when
/// it could, and for a table in memory.
QString whyIncomplete(const Utils::CSVTable &table);

/// The number of the first row that is not empty; -1 when there is no such row, or a row before it
/// cannot be read.
int topRow(const Utils::CSVTable &table);

/// Determines the header row and the first row of data: those of \p dialect if they are probable.
/// Otherwise the first row that is not empty is the header when one of its fields is not a number,
/// and \p dialect is set to that. There is no header unless \p mayHaveHeader is set.
void chooseHeader(const Utils::CSVTable &table, bool mayHaveHeader, Utils::CSVDialect &dialect,
                  TableChoice &choice);

/// The label of a column in a table without a header: "Column 1" for the first.
QString numberedLabel(int column);
QStringList numberedLabels(int count);

/// The index in a row of labels of the column that \p name names, -1 when there is none.
int findColumn(const QStringList &labels, const QString &name);

/// Whether the choice is the whole of \p table, in the order of the file and without empty rows.
bool isAllOf(const Utils::CSVTable &table, const TableChoice &choice);

/// Appends the chosen part of \p table to \p chosen, which holds text even if the other does not.
/// Returns the number of its header rows, which are the first ones. Rows before the labels are left
/// out. Ends at a row that cannot be read completely, and sets \p reason.
int choose(const Utils::CSVTable &table, const TableChoice &choice, Utils::CSVTable &chosen,
           QString &reason);

// Table_print.cpp. The first of the header rows, if any, has the labels.

/// Whether a column of \p table has numbers.
bool hasNumbers(const Utils::CSVTable &table, int headerRows);

/// Prints count, mean, deviation and quartiles of each column that has numbers.
void printStatistics(const Utils::CSVTable &table, int headerRows);

/// Draws a histogram of each column that has numbers. \p bins is 0 for Scott's rule.
void printHistograms(const Utils::CSVTable &table, int headerRows, int bins);

/// Prints the table, with texts at the left and numbers at the right.
void printTable(const Utils::CSVTable &table, int headerRows);

} // namespace Kelm
