#pragma once

#include "examples/workbench/Document.h"
#include "utils/csv/CSVColumn.h"
#include "utils/csv/CSVDialect.h"

namespace Utils {
class CSVTable;
}

namespace Workbench {

/// A dialect in one short line in the language of the program: what is unusual of it. "(?)" follows
/// what is doubtful, as in CSVDialect::toText().
QString describe(const Utils::CSVDialect &dialect);

/// The first rows of the file \p path, read in \p dialect, into \p head. False when the file cannot
/// be read, with the reason in File::lastError().
bool readHead(const QString &path, const Utils::CSVDialect &dialect, Utils::CSVTable &head);

/// The dialect of the file \p path, as it is detected. Where it is not certain where the data
/// begin, they begin below the labels and units: rows that may be data are not taken for header
/// rows.
Utils::CSVDialect detectDialect(const QString &path);

/// A table of delimited text.
///
/// Rows and columns of the document count from 0 and have no header rows: row 0 is the first row of
/// data. A large table stays in its file and cannot be changed.
class TableDocument : public Document
{
    Q_OBJECT

public:
    explicit TableDocument(const QString &path);
    ~TableDocument() override;

    const Utils::CSVTable &table() const { return *m_table; }
    const Utils::CSVDialect &dialect() const { return m_dialect; }

    /// Reads the file again in \p dialect. False when it cannot be read, with the contents and the
    /// dialect as they were.
    bool readAs(const Utils::CSVDialect &dialect);

    int numRows() const { return m_numRows; }
    int numColumns() const { return m_columns.size(); }

    /// The row of table() for a row of the document.
    int tableRow(int row) const { return row + m_firstRow; }

    /// Label, unit and type of each column. The type is that of the first rows.
    const QList<Utils::CSVColumn> &columns() const { return m_columns; }

    /// The label of a column, or its letters as in a spreadsheet when it has none.
    QString label(int col) const;

    QString cell(int row, int col) const;

    /// What a cell has of a number.
    enum CellKind
    {
        Number,
        Hole,
        NoNumber
    };
    CellKind kindOf(int row, int col) const;

    bool canChange() const;

    /// Changes a cell. The change can be undone.
    void setCell(int row, int col, const QString &text);

    QString description() const override;
    bool holdsContents() const override { return canChange(); }
    QString whatSavingLoses() const override;
    QString saveFilter() const override;

Q_SIGNALS:
    void cellChanged(int row, int col);

protected:
    bool readFile(const QString &path) override;
    bool writeFile(const QString &path) override;

private:
    class Change;

    bool isSavedAsCopy() const;
    bool readSaved(const QString &path);
    void putCell(int row, int col, const QString &text);

    std::unique_ptr<Utils::CSVTable> m_table;
    Utils::CSVDialect m_dialect;
    bool m_isChosen = false; // the dialect, rather than detected
    QList<Utils::CSVColumn> m_columns;
    int m_firstRow = 0;
    int m_numRows = 0;
};

} // namespace Workbench
