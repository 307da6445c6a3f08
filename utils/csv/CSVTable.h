#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QStringList>
#include <QVector>

#include <memory>

namespace Utils {

class CSVTablePrivate;
class Progress;

/// A table of delimited text: read, asked for cells in many forms, changed and written.
///
///     CSVTable table;
///     if (!table.read("load.csv"))
///         return false;
///     const QStringList labels = table.data(0);
///     const QList<double> forces = table.colDataValue(1, /*firstRow=*/1);
///
/// Rows and columns count from 0. What is out of range gives an empty result, and rows may have
/// different numbers of fields. An index that would add more than 16 million empty rows or fields
/// is out of range, too.
///
/// *Format.* Lines end at line feeds, so that a text that ends in one has a last row of one empty
/// field. Delimiters are fragments of one QRegExp, joined by "|" and not escaped: "." is every
/// character and "\\s+" any run of blanks. Of several that match in one place the longest counts,
/// and one that is no valid pattern splits nothing. Fields are trimmed, and empty ones stay.
///
/// *Three ways to hold cells.* As text; as bytes, which needs one delimiter of one character; or
/// not at all, in the file, which needs the same. They do not read alike, which is meant:
///
///                      text                   bytes              file, as CSVReader
///     delimiters       patterns, several      one byte           one byte
///     quotes           on request             no                 no
///     comment lines    dropped                data               data
///     alternates       yes                    no                 no
///     trimmed          when split             when split         when asked for
///     empty last line  a row                  a row              a row
///     "1.5{mm}"        1.5                    no number, 0.0     no number, 0.0
///     no such cell     the hole number        0.0, see below     the hole number of its read()
///     largest row      numColumns(-1)         numColumns(-1)     0
///     changes          yes                    yes                start an empty table
///
/// In bytes a cell that is not there is 0.0 for dataValue() by row and column alone:
/// colDataValue(), and what makes a number of a text, return the hole number.
///
/// A table keeps its text rows while it holds cells in another way. Only clear() empties them:
/// reading text adds to what is there. Some operations look at the text rows and at nothing else,
/// which is meant; they say so.
///
/// *Numbers* are those of the C locale. A cell may have an annotation in braces, as "1.5{mm}", and
/// only what stands before it is the number. "{mm}" is 0.0 and no number. An empty cell gives the
/// hole number. setHoleValue() of any table sets it for all tables that hold their cells in memory,
/// which is meant; one in the file keeps what its own table had when it was read. What is written
/// is compared with the table's own.
///
/// Text and bytes are held as they came, with four bytes a cell besides: text given as a string is
/// shared. A row that is asked for as a list is kept as one, so that a walk over all rows takes the
/// memory of their strings; columns and single cells take none.
///
/// *Faults.* Where the memory does not suffice for a change, nothing is changed, and nobody is
/// told; rows may be split afterwards as if they had been read. An answer is empty then: "", no
/// entries, false, 0, or 0.0. In the file, a row that the disk does not give any more is an empty
/// line, never a part of the row: its cells are empty, its numbers holes, and checksum() takes it
/// for an empty line. Nothing else tells of it, and the next access tries again. See CSVReader.
///
/// Access is const but may split rows and read the file: no two threads may use one table.
class KELMUTILS_EXPORT CSVTable
{
public:
    /// An empty \p delimiter is none. A text is split between any two characters then.
    explicit CSVTable(const Data::String &delimiter = QStringLiteral(","));
    CSVTable(const CSVTable &) = delete;
    CSVTable &operator=(const CSVTable &) = delete;
    ~CSVTable();

    /// Adds a delimiter, unless it is empty or there already.
    ///
    /// The alternates take the place of the others, for this text and all later ones, when text is
    /// read whose first line, be it a comment, has no first delimiter as plain text. A delimiter
    /// that is a pattern is hardly ever there.
    void addDelimiter(const Data::String &delimiter, bool alternate = false);

    /// Lines that begin with \p comment, untrimmed and case-sensitively, are dropped when text is
    /// read, but for those where \p except follows. "" drops none.
    ///
    /// Without \p except the exception stays as it was, though it begins with the marker of then,
    /// which is meant.
    void setComment(const Data::String &comment, char except = 0);
    Data::String comment() const;

    /// Whether rows are split when they are first used, rather than when they are read. A row that
    /// is changed before that is never split: its line is its first field, which is meant.
    void setDemandParse(bool on);

    /// Whether the cells are in the file: read on demand, which is not setDemandParse().
    bool isDemandRead() const;

    /// The number that stands for an empty field, 0.0 at first: for writing in this table, and for
    /// reading in all tables that hold their cells in memory.
    void setHoleValue(double value);

    /// A reporter for reading and aligning, which is not owned, or null. It cannot cancel, which is
    /// meant. Between its save() and restore() it gets a step per line, per block of 10,240 bytes
    /// of a table in the file, or per column that is aligned; none while rows are not split yet.
    void setProgress(Progress *progress, const Data::String &label = Data::String());
    Progress *progress() const;

    // Reading

    /// Reads a file of UTF-8, in the way that \p fileSizeLimit tells:
    ///
    ///     0 or less   as text
    ///     1 and more  in the file, when it has more megabytes than that; else as bytes, unless
    ///                 quotes are asked for or the environment variable KLT_NORAWREAD is set,
    ///                 whatever to. Only with one delimiter of one character, else as text.
    ///
    /// The bytes are counted in 32 bits, which wrap, which is meant: from 2048 on nearly every file
    /// is too large. The variable is looked at once in the process. A table in the file knows no
    /// quotes, also when they are asked for.
    ///
    /// \p quoted lets fields be quoted, where there are fewer than two delimiters: the first is
    /// plain text then, a quote at the start of a field opens it, and two in it are one. A field in
    /// quotes without a delimiter in it keeps them. A blank before the opening quote, or a carriage
    /// return behind the closing one, makes it an ordinary character.
    ///
    ///     a,"b,c",d    => three fields
    ///     "a",b        => the first with its quotes
    ///
    /// As text, a single byte that is not UTF-8 makes it fail, but for a file of UTF-16 or UTF-32
    /// with a byte order mark, which is read. As bytes and in the file any bytes are taken.
    ///
    /// False when it cannot be opened, cannot be read to its end, is larger than the memory, or is
    /// empty; a table in the file takes an empty one. Then none of its rows is there, and the text
    /// rows are as they were. What the table held as bytes or in the file may be gone; where the
    /// file was to be read as a table in the file, the table is one without rows. The path is kept
    /// in any case.
    bool read(const Data::String &path, int fileSizeLimit = 0, bool quoted = false);

    /// Reads text, and adds it to the text rows. False, with nothing changed, when it is empty;
    /// when it had comments only; and, with the text rows as they were, when the memory does not
    /// suffice: what the table held as bytes or in the file may be gone then. Text and bytes are
    /// shared, unless they were made by fromRawData(), which copies.
    bool setData(const Data::String &text, bool quoted = false);
    bool setData(const char *text, bool quoted = false);

    /// Reads bytes, in the place of what is there. With no delimiter, several, or one of several
    /// characters they are text in Latin-1 up to the first zero byte, without quotes, and add to
    /// the text rows.
    ///
    /// As bytes a cell asked for by row and column is Latin-1, while rows and columns are UTF-8,
    /// which is meant; both end at a zero byte. A delimiter that is not in Latin-1 is a zero byte
    /// here, and none in a file.
    bool setData(const QByteArray &bytes);

    /// What was last given to read().
    Data::String path() const;
    void clearPath();

    // What is there

    bool isValid() const; ///< whether there is a row
    int numRows() const;

    /// The number of fields of a row, or, with a negative one and in memory, the largest of all
    /// rows, which splits them.
    int numColumns(int row = -1) const;

    /// Whether a cell is empty, or with a negative \p col the row. In memory a row that is not
    /// split yet is not empty if it has a blank, which is meant.
    bool isEmpty(int row, int col = -1) const;

    /// Whether a field of row 0 is no number, as an empty one and "1.5{mm}" are not.
    bool hasHeader() const;

    // Cells as text

    QStringList data(int row) const;

    /// The cell. In the file a negative \p col gives the whole line, which is meant.
    Data::String data(int row, int col) const;

    /// The cell split at \p separator: without empty parts where that is one blank, else with them.
    QStringList data(int row, int col, const Data::String &separator) const;

    /// The cell under the label \p label of row 0. Without such a label "", but in the file the
    /// whole line, which is meant.
    Data::String data(int row, const Data::String &label) const;

    /// The cell to the right of the first one in column \p col, from \p firstRow on, that is \p key
    /// or, unless \p exact, begins with it. An empty key is the beginning of every cell, and
    /// stands in every negative row. \p foundRow gets the row, or -1 when there is none.
    Data::String data(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                      bool exact = false) const;

    /// The cell in two parts: what is before its first "{", and what is behind, without any "}".
    /// Where there is no "{", \p annotation is left as it was.
    void data(int row, int col, Data::String &annotation, Data::String &value) const;

    /// The fields from \p firstCol to \p lastCol, or to the end when that is smaller.
    QStringList rowData(int row, int firstCol = 0, int lastCol = -1) const;

    /// The column from \p firstRow on: an entry a row, empty where the row is too short or
    /// negative. The last row gives none when it has no fields or one that is empty.
    QStringList colData(int col, int firstRow = 0) const;

    // Cells as numbers: 0.0 for what is no number, the hole number for what is empty

    QList<double> dataValue(int row) const;

    /// \p ok tells, if given, whether there is a number.
    double dataValue(int row, int col, bool *ok = nullptr) const;

    // These take the text and make it a number, also of bytes and in the file: up to a "{", and
    // with the hole number of all tables.
    QList<double> dataValue(int row, int col, const Data::String &separator) const;
    double dataValue(int row, const Data::String &label, bool *ok = nullptr) const;
    double dataValue(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                     bool exact = false, bool *ok = nullptr) const;
    void dataValue(int row, int col, Data::String &annotation, double &value) const;

    QList<double> rowDataValue(int row, int firstCol = 0, int lastCol = -1) const;
    QList<double> colDataValue(int col, int firstRow = 0) const;

    /// A row as named values:
    ///
    ///     2.5{Max Load}   => "Max Load": "2.5", as text
    ///     modes->a, b, c  => "modes": the list "a", "b", "c", up to a cell with "{" or "->"
    ///     else            => nothing
    ///
    /// Of two with one key the later stays. \p normalizeKeys makes keys lower-case, with "_" for
    /// each blank.
    QMap<Data::String, Data::Variant> propertyValues(int row, bool normalizeKeys = false) const;

    // Changes

    /// Puts \p text into a cell, and makes the rows and fields before it that are missing.
    ///
    /// In the file the table is left for the text rows, which are normally none, and the file is
    /// gone from it, which is meant.
    CSVTable &setData(int row, int col, const Data::String &text);

    /// The number as text of the C locale, "" for this table's hole number unless that is 0.0.
    ///
    /// A whole number of 32 bits goes by 'g' and 6 digits whatever is asked for, which is meant:
    /// 7.0 is "7" and 1234567.0 is "1.23457e+06".
    CSVTable &setData(int row, int col, double value, char format = 'g', int precision = 6);
    CSVTable &setData_g(int row, int col, double value);

    /// Appends a row to the text rows, where it is not seen while the table holds its cells in
    /// another way, which is meant. A line is split, and is never a comment; fields are taken as
    /// they are; numbers are written as by setData().
    CSVTable &appendData(const Data::String &line);
    CSVTable &appendData(const QStringList &fields);
    CSVTable &appendData(const QList<double> &values, char format = 'g', int precision = 6);
    CSVTable &appendData(const QVector<double> &values, char format = 'g', int precision = 6);

    /// Removes a field from each row that has it. Of a row that is not split yet column 0 is the
    /// whole line, and there are no others, which is meant.
    void removeColumn(int col);

    /// Removes the rows from \p firstRow to \p lastRow that have no fields or one that is empty,
    /// and gives their number. A \p lastRow that is negative or too large is the last one.
    ///
    /// What is known to be split does not move up with the rows behind, which is meant. While rows
    /// are split on demand, one that moves up may so stay unsplit for good, or, if it was split, be
    /// split again at its next use: then only what its first field holds is left of it.
    int removeEmptyRows(int firstRow = 0, int lastRow = -1);

    /// Sorts the text rows from \p firstRow on by a column; other tables are left as they are.
    ///
    /// By number when the cell of \p firstRow is empty or a number, "1.5{mm}" being none, else by
    /// text, case-sensitively; that cell alone decides. By number an empty cell is the hole number,
    /// and what is no number 0.0. Rows that are equal keep their order, and have it reversed when
    /// not \p ascending.
    void sort(int col, int firstRow = 0, bool ascending = true);

    /// Pads the fields of the text rows in place, each to one more than the longest of its column:
    /// in front, or with \p left behind. A \p lastRow that is negative or too large is the last
    /// one, and a negative \p numColumns the number of fields of \p firstRow, which alone is split.
    CSVTable &alignColumns(int firstRow = 0, int lastRow = -1, int numColumns = -1,
                           bool left = false);

    /// Empties the table and its text rows, and drops all delimiters but the first. Path, comment,
    /// alternates and hole number stay.
    void clear();

    // Output, with the first delimiter between fields as it is written, or "," without one

    /// A row of the text rows as one line: as it was read while it is not split, else its trimmed
    /// fields, in quotes where one holds the delimiter, unless that is two blanks. Quotes in a
    /// field are not doubled, which is meant.
    ///
    /// Of other tables "", unless appendData() made a text row of that number, which is meant.
    Data::String stringData(int row) const;

    /// All rows, with "\n" between them.
    Data::String stringData() const;

    /// stringData() of the rows from \p firstRow to \p lastRow, or to the end of the table unless
    /// that is larger. Rows behind the end give "".
    QStringList lineData(int firstRow = 0, int lastRow = -1) const;

    /// The fields of a row, where \p escape in front of the first delimiter makes that a part of
    /// the field. Looked for in stringData(), and split as a line is, which may be quoted.
    QStringList escapedData(int row, char escape) const;

    /// The text rows, padded as by alignColumns() in columns as many as \p firstRow has, with the
    /// delimiter between fields, which are quoted as by stringData(), and "\n" between rows. Rows
    /// that are not split yet are one field, \p firstRow too. The cells of the table stay as they
    /// are, but \p firstRow is split from then on: stringData() and a second call show it so.
    ///
    /// Fields longer than \p maxWidth, if above 0, do not count for the width of a column. Padding
    /// is in front, but behind in \p leftColumn, which is -2 for all.
    Data::String alignedStringData(int maxWidth = 0, int leftColumn = -1, int firstRow = 0) const;

    /// CRC-16, as by qChecksum(), of the number of all rows in decimal and the first \p rows rows,
    /// all when that is negative: their fields joined by "," whatever the delimiter, with nothing
    /// in between. In the file that of CSVReader, which is of the lines.
    unsigned short checksum(int rows = -1) const;

    /// Replaces the file \p path by the text rows in UTF-8, each followed by "\n", and so with one
    /// more empty line than was read. Nothing is quoted, which is meant, unlike stringData(); a row
    /// that is not split yet is written as it was read.
    ///
    /// Other tables make an empty file, and the result is true, which is meant. So a table in the
    /// file that is written to its own path empties that file, and its rows are lost: read it with
    /// no limit before it is changed or written.
    ///
    /// False when the file cannot be opened, which leaves it as it was, and when the memory does
    /// not suffice for a row, which leaves the rows in front of it in the file or some of them.
    /// Whether all could be written is not told, which is meant: on a full disk the result is true
    /// and the file ends where the disk was full. A file that was there keeps its permissions.
    bool write(const Data::String &path) const;

    // Names of cells in spreadsheets

    /// The column of a name such as "C" or "C5", whose row goes into \p row; without one it is left
    /// as it was. Capitals are expected, and nothing is checked: "a" is 32, and "" is -1. A number
    /// that cannot be read gives the row -1.
    static int columnIndex(const Data::String &label, int *row = nullptr);

    /// The name of a column, with a row unless that is negative: (0, -1) is "A", (26, 0) is "AA1".
    /// A negative column is one character in front of "A".
    static Data::String columnLabel(int col, int row = -1);

private:
    void clearCSV();
    bool needsEscape(const Data::String &delimiter) const;
    void alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                   int maxWidth, int leftColumn, const QString &delimiter) const;

    const std::unique_ptr<CSVTablePrivate> d;
};

} // namespace Utils
