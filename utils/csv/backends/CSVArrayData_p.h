#pragma once

#include "utils/csv/backends/CSVMemoryData_p.h"
#include "utils/csv/cells/ByteChunk_p.h"

namespace Utils {

class Progress;

/// The backend that holds bytes, between single delimiter bytes: no patterns, quotes or comments,
/// and no "{" in a number.
///
/// Two oddities are meant. A cell asked for by row and column is read as Latin-1, while rows and
/// columns of text are read as UTF-8; both end at a zero byte. And the number of a cell that does
/// not exist is 0.0, not the hole number.
///
/// A row that is asked for as a list of text is held as one from then on, besides its bytes.
class CSVArrayData : public CSVMemoryData<QList<QByteArray>, ByteChunk>
{
public:
    explicit CSVArrayData(char delimiter) : m_delimiter(delimiter) {}

    using CSVMemoryData::dataValue;
    using CSVMemoryData::setData;

    QStringList data(int row) override;
    Data::String data(int row, int col) override;
    double dataValue(int row, int col, bool *ok) override;

    /// Appends the lines of \p bytes, split or, unless \p parseNow, as they are. Only the former
    /// reports, a tick a line.
    void setData(const QByteArray &bytes, bool parseNow, Progress *progress,
                 const Data::String &label);

    /// Appends the text of the fields of a row, with \p separator in between, in UTF-8.
    void appendRow(int row, char separator, QByteArray &to);

protected:
    QList<QByteArray> split(const QByteArray &line) const override;
    QString text(const QByteArray &field) const override;
    double number(const QByteArray &field, bool *ok) const override;
    QByteArray encoded(const Data::String &text) const override { return text.toUtf8(); }
    void rowChanges(int id) override { m_texts.remove(id); }

private:
    RowStore<QStringList> m_texts;
    const char m_delimiter;
};

} // namespace Utils
