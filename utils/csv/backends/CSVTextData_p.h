#pragma once

#include "utils/csv/backends/CSVData_p.h"

namespace Utils {

class CSVText;
class Progress;

/// A backend that holds text, and supports the whole format: delimiters that are patterns, quotes
/// and comments.
///
/// A table always has one, even while another backend is in use; its settings are kept then.
class CSVTextData : public CSVData
{
public:
    QStringList delimiters;          ///< fragments of one pattern
    QStringList alternateDelimiters; ///< for a text without the first delimiter in its first line
    Data::String comment;            ///< the start of a comment line, "" for none
    Data::String commentException;   ///< the start of a line that is data, not a comment
    bool quoted = false;             ///< the first delimiter is literal text, and quotes count
    bool isRfc4180 = false;          ///< lines are split as in RFC 4180; quoted does not matter

    /// When a quote is not closed in the text that was appended last, the number of the line in
    /// the text, from 1 on, where its row starts; otherwise 0.
    int openQuoteLine = 0;

    using CSVData::setData;

    /// Appends the lines of \p text that are not comments, split or, unless \p parseNow, as they
    /// are. Progress is reported, one tick per line, only when they are split. Returns false and
    /// changes nothing when the memory does not suffice.
    virtual bool appendText(const CSVText &text, bool parseNow, Progress *progress,
                            const Data::String &label) = 0;

    /// The fields of \p line, trimmed. A comment is split like any other line.
    virtual QStringList split(const QString &line) const = 0;

    /// Appends a row, which counts as split.
    virtual void appendRow(const QStringList &fields) = 0;

    /// Whether a cell exists, or is so near that setData() creates it.
    virtual bool isInReach(int row, int col) const = 0;

    /// Splits a row, unless it is split already or does not exist.
    virtual void parseRow(int row) = 0;

    /// Whether the index \p row is marked as split. It may lie after the last row.
    virtual bool isParsed(int row) const = 0;

    /// A row as it is held: a single item, its raw line, while it is not split. Empty when the row
    /// does not exist.
    virtual QStringList heldRow(int row) const = 0;

    /// Whether there is a single delimiter of one character that is neither a quote nor a line
    /// break, as RFC 4180 needs.
    bool hasQuotableDelimiter() const;

    /// The start of a comment line. "" when it contains a line break: no row starts with it, not
    /// even one that has line breaks in quotes.
    Data::String usableComment() const;

    /// All rows as they are held.
    QList<QStringList> heldRows() const;

    /// Replaces the rows from \p firstRow to \p lastRow, which must exist, by the rows of \p rows
    /// with the same indexes. Does not change whether they are marked as split.
    virtual void setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows) = 0;

    /// Appends the fields of a row as it is held, in UTF-8, separated by \p separator.
    virtual void appendHeldRow(int row, const QString &separator, QByteArray &to) const = 0;

    /// Splits the rows from \p firstRow on and reorders them: the row \p firstRow + \p order[i]
    /// moves to \p firstRow + i.
    virtual void reorder(int firstRow, const QList<int> &order) = 0;

    /// Removes all rows and all marks of split rows.
    virtual void clear() = 0;

protected:
    bool isComment(const QString &line) const;
};

} // namespace Utils
