#pragma once

#include "utils/csv/CSVMemoryData_p.h"

namespace Utils {

class Progress;

/// The backend that holds text, with all that the format knows: delimiters that are patterns,
/// quotes, comments.
///
/// A table always has one, also while another backend is in use. What is set here outlives that.
class CSVStringData : public CSVMemoryData<QStringList>
{
public:
    QStringList delimiters;          ///< fragments of one pattern
    QStringList alternateDelimiters; ///< for a text whose first line has no first delimiter
    Data::String comment;            ///< the start of a comment line, "" for none
    Data::String commentException;   ///< the start of a line that is data all the same
    bool quoted = false;             ///< the first delimiter is plain text, and quotes count

    using CSVMemoryData::data;
    using CSVMemoryData::dataValue;
    using CSVMemoryData::setData;

    Data::String data(int row, int col) override;
    double dataValue(int row, int col, bool *ok) override;

    /// Appends the lines of \p text that are no comments, split or, unless \p parseNow, as they
    /// are. Only the former reports, a tick a line.
    void setData(const Data::String &text, bool parseNow, Progress *progress,
                 const Data::String &label);

    /// The fields of \p line, which may also be a comment, trimmed.
    QStringList split(const QString &line) const override;

    /// Appends a row, which counts as split.
    void appendRow(const QStringList &fields) { appendParsed(fields); }

    /// A row as it is held: one item, its raw line, while it is not split.
    QStringList heldRow(int row) const { return m_rows.value(row); }

    /// All rows as they are held, to be changed in place.
    QList<QStringList> &heldRows() { return m_rows; }

    /// Puts the rows from \p firstRow on into another order, and splits them: behind it, the row
    /// \p firstRow + \p order[i] is in the place \p firstRow + i.
    void reorder(int firstRow, const QList<int> &order);

    /// Forgets all rows, and which are split.
    void clear();

protected:
    QString text(const QString &field) const override { return field; }
    double number(const QString &field, bool *ok) const override { return csvNumber(field, ok); }
    QString encoded(const Data::String &text) const override { return text; }

private:
    bool isComment(const QString &line) const;
};

} // namespace Utils
