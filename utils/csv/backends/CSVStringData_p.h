#pragma once

#include "utils/csv/backends/CSVMemoryData_p.h"
#include "utils/csv/cells/TextChunk_p.h"

namespace Utils {

class LineSplitter;
class Progress;

/// The backend that holds text, with all that the format knows: delimiters that are patterns,
/// quotes, comments.
///
/// A table always has one, also while another backend is in use. What is set here outlives that.
///
/// A row that is asked for as a list is held as one from then on: whoever asks for it once most
/// often does so again.
class CSVStringData : public CSVMemoryData<QStringList, TextChunk>
{
public:
    QStringList delimiters;          ///< fragments of one pattern
    QStringList alternateDelimiters; ///< for a text whose first line has no first delimiter
    Data::String comment;            ///< the start of a comment line, "" for none
    Data::String commentException;   ///< the start of a line that is data all the same
    bool quoted = false;             ///< the first delimiter is plain text, and quotes count

    using CSVMemoryData::dataValue;
    using CSVMemoryData::setData;

    QStringList data(int row) override;
    Data::String data(int row, int col) override;
    double dataValue(int row, int col, bool *ok) override;

    /// Appends the lines of \p text that are no comments, split or, unless \p parseNow, as they
    /// are. Only the former reports, a tick a line. False, with nothing changed, when the memory
    /// does not suffice.
    bool setData(const Data::String &text, bool parseNow, Progress *progress,
                 const Data::String &label)
    {
        return setText(CSVText(text), parseNow, progress, label);
    }
    bool setText(const CSVText &text, bool parseNow, Progress *progress, const Data::String &label);

    /// The fields of \p line, which may also be a comment, trimmed.
    QStringList split(const QString &line) const override;

    /// Appends a row, which counts as split.
    void appendRow(const QStringList &fields) { appendParsed({fields}); }

    /// All rows as they are held.
    QList<QStringList> heldRows() const;

    /// Puts what \p rows has at the same numbers in the place of the rows from \p firstRow to
    /// \p lastRow, which exist, and leaves open whether they are split.
    void setHeldRows(int firstRow, int lastRow, const QList<QStringList> &rows)
    {
        for (int row = firstRow; row <= lastRow; ++row)
            rowToHold(row); // all the memory that it takes
        for (int row = firstRow; row <= lastRow; ++row)
            rowToChange(row) = rows.at(row);
    }

    /// Appends the fields of a row as it is held, with \p separator in between, in UTF-8.
    void appendHeldRow(int row, const QString &separator, QByteArray &to) const;

    /// Puts the rows from \p firstRow on into another order, and splits them: behind it, the row
    /// \p firstRow + \p order[i] is in the place \p firstRow + i.
    void reorder(int firstRow, const QList<int> &order);

    /// Forgets all rows, and which are split.
    void clear() { forgetRows(); }

protected:
    QString text(const QString &field) const override { return field; }
    double number(const QString &field, bool *ok) const override;
    QString encoded(const Data::String &text) const override { return text; }
    void rowChanges(int) override {}

private:
    Q_NEVER_INLINE QStringList listToKeep(int row);
    bool isComment(const QString &line) const;
    void appendText(const CSVText &text, bool parseNow, Progress *progress,
                    const Data::String &label);
    void appendSplit(const CSVText &text, const LineSplitter &splitter, Progress *progress,
                     const Data::String &label);
    void appendBlock(TextChunk block);
};

} // namespace Utils
