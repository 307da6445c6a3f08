#pragma once

#include "utils/csv/backends/CSVData_p.h"

namespace Utils {

class CSVText;
class Progress;

/// A backend that holds text, with all that the format knows: delimiters that are patterns, quotes,
/// comments.
///
/// A table always has one, also while another backend is in use. What is set here outlives that.
class CSVTextData : public CSVData
{
public:
    QStringList delimiters;          ///< fragments of one pattern
    QStringList alternateDelimiters; ///< for a text whose first line has no first delimiter
    Data::String comment;            ///< the start of a comment line, "" for none
    Data::String commentException;   ///< the start of a line that is data all the same
    bool quoted = false;             ///< the first delimiter is plain text, and quotes count

    using CSVData::setData;

    /// Appends the lines of \p text that are no comments, split or, unless \p parseNow, as they
    /// are. Only the former reports, a tick a line. False, with nothing changed, when the memory
    /// does not suffice.
    virtual bool setText(const CSVText &text, bool parseNow, Progress *progress,
                         const Data::String &label) = 0;

    /// The fields of \p line, which may also be a comment, trimmed.
    virtual QStringList split(const QString &line) const = 0;

    /// Appends a row, which counts as split.
    virtual void appendRow(const QStringList &fields) = 0;

    /// Whether a cell is there or so near that setData() makes it.
    virtual bool isInReach(int row, int col) const = 0;

    /// Splits a row, unless that is done or it does not exist.
    virtual void parseRow(int row) = 0;

    /// Whether the index \p row is marked as split. It may lie after the last row.
    virtual bool isParsed(int row) const = 0;

    /// A row as it is held: one item, its raw line, while it is not split. None when it does not
    /// exist.
    virtual QStringList heldRow(int row) const = 0;

    /// All rows as they are held.
    QList<QStringList> heldRows() const;

    /// Puts what \p rows has at the same numbers in the place of the rows from \p firstRow to
    /// \p lastRow, which exist, and leaves open whether they are split.
    virtual void setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows) = 0;

    /// Appends the fields of a row as it is held, with \p separator in between, in UTF-8.
    virtual void appendHeldRow(int row, const QString &separator, QByteArray &to) const = 0;

    /// Puts the rows from \p firstRow on into another order, and splits them: after it, the row
    /// \p firstRow + \p order[i] is at \p firstRow + i.
    virtual void reorder(int firstRow, const QList<int> &order) = 0;

    /// Forgets all rows, and which are split.
    virtual void clear() = 0;

protected:
    bool isComment(const QString &line) const;
};

} // namespace Utils
