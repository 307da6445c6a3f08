#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "utils/Export.h"
#include "utils/csv/CSVColumn.h"
#include "utils/csv/CSVRow.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QStringList>
#include <QVector>

#include <functional>
#include <memory>

namespace Utils {

class CSVDialect;
class CSVTablePrivate;
class Progress;

/// A table of delimited text, which can be read, accessed, changed and written.
///
///     CSVTable table;
///     if (!table.read("load.csv"))
///         return false;
///     const QStringList labels = table.data(0);
///     const QList<double> forces = table.colDataValue(1, /*firstRow=*/1);
///
/// Rows and columns count from 0. Rows may have different numbers of fields. An index out of range
/// yields an empty result. An index that would add more than 16 million empty rows or fields is out
/// of range, too.
///
/// *Format.* Lines end at line feeds, so a text that ends with a line feed has a last row of one
/// empty field. The delimiters are joined by "|" to one QRegExp, without escaping: "." is any
/// character and "\\s+" any run of white space. When several delimiters match at a position, the
/// longest match counts. An invalid pattern splits nothing. Fields are trimmed; empty fields are
/// kept.
///
/// *Numbers* are those of the C locale. A cell may have an annotation in braces, as in "1.5{mm}";
/// only the text before the brace is read as the number. "{mm}" is not a number and yields 0.0. An
/// empty cell is a hole; its number is the hole number, see setHoleValue().
///
/// *Storage.* A table is stored in one of three ways: as text; as bytes; or "in the file", which
/// means that the cells stay in the file and are read from it on access. Storage as bytes or in the
/// file needs a single delimiter of one character. read() and setData() describe which way is used.
///
/// \compat The three kinds of storage differ. Alternates are the alternate delimiters, see
/// addDelimiter(); for quotes see read(), for comment lines setComment():
///
///                      text                   bytes              file, by a CSVReader
///     delimiters       patterns, several      one byte           one byte
///     quotes           on request             no                 no
///     comment lines    skipped                data               data
///     alternates       yes                    no                 no
///     trimmed          when split             when split         when accessed
///     empty last line  a row                  a row              a row
///     "1.5{mm}"        1.5                    no number, 0.0     no number, 0.0
///     no such cell     the hole number        0.0, see below     its own hole number
///     largest row      numColumns(-1)         numColumns(-1)     0
///     changes          yes                    yes                start an empty table
///
/// In bytes, a cell that does not exist is 0.0 only for dataValue() by row and column. For
/// colDataValue(), and for the functions that convert a text to a number, such a cell is the hole
/// number.
///
/// \compat setHoleValue() of any table sets the hole number for reading in all tables stored as
/// text or bytes. A table in the file keeps the value that it had when it was read. Numbers that
/// are written are compared with the table's own value.
///
/// *Text rows* are the rows of a table stored as text. They are kept when another read() or
/// setData() stores the table in another way. Reading text appends to them; only clear() removes
/// them all.
///
/// \compat Some functions use the text rows only, even while the table is stored in another way.
/// Their descriptions say so.
///
/// *Memory.* Text and bytes are stored as they were read, plus two bytes for each cell. Text
/// passed as a string is shared with the caller. A row that is accessed as a list a second time is
/// kept as a list; loops that access all rows as lists several times need memory for all their
/// strings. Access to columns and single cells, and visit(), need no such memory.
///
/// *Faults.* A change for which the memory does not suffice is not made, and this is not reported;
/// it may leave rows split, as an access does. A result for which the memory does not suffice is
/// empty: "", an empty list, false, 0, or 0.0. In the file, a row that can no longer be read is an
/// empty line, never a part of the row: its cells are empty, its numbers are holes, and checksum()
/// counts it as an empty line. The next access tries again. When the file was cut off within a row,
/// the row is what is left of it. After each call that accesses cells in the file,
/// File::lastError() has the reason of the first row that could not be read completely; "" when
/// there was none. visit() and write() end at such a row. See CSVReader.
///
/// Although access is const, it may split rows and read the file: a table must not be used by
/// several threads.
class KELMUTILS_EXPORT CSVTable
{
public:
    /// How fields are quoted, see setQuoting().
    enum Quoting
    {
        Classic, ///< as read() and stringData() describe
        Rfc4180
    };

    /// Constructs a table without rows. With an empty \p delimiter the table has no delimiter, and
    /// text is split between all characters.
    explicit CSVTable(const Data::String &delimiter = QStringLiteral(","));
    CSVTable(const CSVTable &) = delete;
    CSVTable &operator=(const CSVTable &) = delete;
    ~CSVTable();

    /// Adds a delimiter, or with \p alternate an alternate delimiter. Does nothing when it is empty
    /// or exists already.
    ///
    /// Alternates are for text only. They replace the delimiters when the first line of the text,
    /// even a comment, does not contain the first delimiter as plain text. A pattern such as "\\s+"
    /// hardly ever occurs as plain text. Alternates that have replaced the delimiters stay the
    /// delimiters for all later texts.
    void addDelimiter(const Data::String &delimiter, bool alternate = false);

    /// Sets the text that starts a comment line. When text is read, lines that start with
    /// \p comment are skipped, except those in which the character \p except follows the comment
    /// text. Lines are not trimmed before the comparison, which is case-sensitive. When \p comment
    /// is "", no lines are skipped.
    ///
    /// \compat Without \p except a previous exception is kept. It consists of the comment text of
    /// that earlier call and its character.
    void setComment(const Data::String &comment, char except = 0);
    Data::String comment() const;

    /// With \p on, rows are split when they are first accessed, not when they are read. Access a
    /// row before you change it.
    ///
    /// \compat A row that is changed before it was split is never split: its whole line stays its
    /// first field.
    void setDemandParse(bool on);

    /// Whether the cells stay in the file and are read on access. This does not depend on
    /// setDemandParse().
    bool isDemandRead() const;

    /// Sets the encoding of the files and bytes that are read from then on, such as "windows-1252";
    /// "auto" for their File::encoding(). With "", as at first, files are read as UTF-8, and bytes
    /// as read() and setData() describe. False, with nothing changed, when there is no encoding of
    /// that name.
    ///
    /// With an encoding, a byte order mark is not part of the text, and the encoding is the same in
    /// each kind of storage, for each function:
    ///
    ///     text    decoded when it is read
    ///     bytes   decoded when they are read, and stored as UTF-8
    ///     file    decoded when accessed; bytes that are not valid in the encoding become U+FFFD
    ///
    /// As text and bytes, a file that is not valid in the encoding is not read: read() returns
    /// false and File::lastError() has the reason. A file in an encoding in which a line feed or
    /// the delimiter can be part of another character, such as UTF-16, is never read in the file:
    /// it is read into memory, even when it is larger than the limit. The same applies to a
    /// delimiter that is not ASCII, with which a table is always stored as text.
    ///
    /// Texts passed as strings, addresses, and files that are written are not affected.
    bool setEncoding(const Data::String &name);

    /// The name last set: "" or "auto", or the usual name of the encoding.
    Data::String encoding() const;

    /// The encoding of the file or bytes that were read last. \p isGuess, if not null, is set to
    /// whether it may be wrong, as for File::encoding(); false unless "auto" was set. "" when no
    /// encoding was set.
    Data::String detectedEncoding(bool *isGuess = nullptr) const;

    /// Sets the number that stands for an empty field, 0.0 at first: for writing in this table, and
    /// for reading in all tables that are stored as text or bytes.
    void setHoleValue(double value);

    /// Sets how fields are quoted in all that is read and written from now on, Classic at first.
    ///
    /// Rfc4180 is the format of spreadsheets and of the csv modules of other languages. With it,
    /// all three kinds of storage have the same cells:
    ///
    /// - A quote at the start of a field opens it. Delimiters, line breaks and blanks up to the
    ///   closing quote are content, and two quotes stand for one.
    /// - Text after the closing quote is content, too: "\"a\"b" is "ab". There, and in a field that
    ///   does not start with a quote, quotes are ordinary characters.
    /// - Nothing is trimmed: blanks beside delimiters are content.
    /// - A row ends at LF, CR LF, or CR; a file may mix them. A line break at the end adds no row.
    ///   Any other empty line is a row of one empty field.
    /// - Comment lines are skipped. Quotes in them do not count. A row that starts with a quote is
    ///   no comment.
    /// - Zero bytes are content. Bytes that are not UTF-8 become U+FFFD; a table stored as text is
    ///   not read then. A byte order mark at the start is skipped.
    /// - The number of a cell is that of text: "1.5{mm}" is 1.5. A cell of blanks only is not
    ///   empty: its number is 0.0.
    /// - The argument "quoted" and setDemandParse() have no effect, and a table in the file needs a
    ///   file with rows. There, checksum() is that of the fields.
    ///
    /// read() and setData() fail when a quote is not closed, because its field has probably taken
    /// in rows. The field extends to the end of the text, and the rows are in the table
    /// nevertheless; File::lastError() has the number of the line. They also fail unless there is a
    /// single delimiter of one character that is neither a quote nor a line break, and for a table
    /// in the file is ASCII.
    ///
    /// A line passed to appendData() is split in the same way; a line break outside quotes ends a
    /// field of it.
    ///
    /// stringData(), lineData() and write() use the rows of the table in each kind of storage. They
    /// put fields in quotes where this is needed, and double the quotes in them: reading the result
    /// yields the same fields. A row of a single empty field is two quotes. write() fails for the
    /// file from which a table in the file is read. alignedStringData() does not change.
    ///
    /// Set it before reading. Rows that were read before stay as they are, unless they are not
    /// split yet.
    void setQuoting(Quoting quoting);
    Quoting quoting() const;

    /// Sets the decimal point of the numbers in cells, '.' at first. Only '.' and ',' are accepted;
    /// the call does nothing for another character.
    ///
    /// With a comma, all functions that return numbers read "2,5" as 2.5, and numbers that are set
    /// or appended are written with a comma. A text with a point, or with two commas, is not a
    /// number, because "1.500" may be 1500 or 1.5. The same applies to hasHeader() and sort().
    /// Cells that are stored do not change.
    ///
    /// When the delimiter contains a comma, too, write() puts fields with the delimiter in quotes,
    /// as stringData() does. Read such a file with "quoted", or with Rfc4180, which also supports
    /// quotes in these fields.
    void setDecimalPoint(char point);
    char decimalPoint() const;

    /// With \p on, stringData(), lineData() and write() put an apostrophe before each field that
    /// starts with "=", "+", "-" or "@" and is not a number. Spreadsheets would run such a field as
    /// a formula. "-1.5{mm}" is not a number here. Rows are split for this. It is off at first.
    void setEscapeFormulas(bool on);
    bool escapeFormulas() const;

    /// Sets how many rows before the data are header rows, 0 at first: the labels of the columns,
    /// then their units, then the objects that they belong to. Further ones are only skipped.
    ///
    /// Only columns() uses them. The numbers of rows do not change: row 0 is still the first row
    /// of the table, and the first row of data is row headerRows(). A negative \p count stands for
    /// 0.
    void setHeaderRows(int count);
    int headerRows() const;

    /// The columns with their labels and units, and with the kinds of cells in the rows after the
    /// header rows. There are as many columns as the longest row has fields. An empty last row is
    /// left out, as in colData(). Rows are split for this. In the file, a row that cannot be read
    /// completely and the rows after it are not counted; File::lastError() has the reason.
    ///
    ///     label row     unit row   => label, unit
    ///     "Force{kN}"              => "Force", "kN"
    ///     "Force [kN]"             => "Force", "kN"
    ///     "Force"       "[kN]"     => "Force", "kN"     the same with "kN", "{kN}" and "(kN)"
    ///     "Force{kN}"   "N"        => "Force", "N"
    QList<CSVColumn> columns() const;

    /// Sets delimiter, comment, encoding, quoting, decimal point and header rows to those of
    /// \p dialect, such as a result of CSVDialect::detect(). Alternate delimiters are removed.
    /// False, with nothing changed, when the dialect is not valid, or when there is no encoding of
    /// that name.
    ///
    ///     CSVTable table;
    ///     table.setDialect(CSVDialect::detect(path)) && table.read(path);
    ///
    /// Set it before reading. Leave the argument "quoted" of read() and setData() false: fields in
    /// quotes are read as Rfc4180. columns() uses the label row and the unit row of the dialect,
    /// wherever they are; a preamble before them stays in the table. UTF-8 that was detected
    /// without certainty becomes "auto", because the sample may lack what is in another encoding. A
    /// single column with decimal commas is not split at them. With columns aligned by blanks, a
    /// row that starts with a blank has an empty first field.
    ///
    /// The table then differs from the classic format in these points:
    ///
    /// - The delimiter is plain text. It is also what is written between fields: "|" for the
    ///   delimiter "|", and one space for columns aligned by blanks.
    /// - Comments are skipped in each kind of storage, until setComment() is called.
    /// - With CSVDialect::hasCarriageReturns(), the lines of a text without line feeds end at its
    ///   carriage returns.
    ///
    /// Without quotes, a table with comments or such line ends, or with a delimiter that is a
    /// pattern character, is always stored as text, even above the limit of read().
    ///
    /// A dialect that does not fit the file is not an error by itself: a line without the delimiter
    /// is one field, and a number with another decimal point is a text. read() fails, with a
    /// reason, when bytes are not valid in the encoding, when a quote is not closed, when there is
    /// nothing but comments, and when there are quotes and the delimiter is not a single character.
    /// A decimal point other than '.' and ',' leaves that of the table unchanged.
    bool setDialect(const CSVDialect &dialect);

    /// Sets a reporter for reading and aligning, with the label that it shows meanwhile; null means
    /// no reporter. The table does not own it. It receives a step for each line, for each block of
    /// 10,240 bytes of a table in the file, or for each column that is aligned. The steps come
    /// after a call of its save() and before one of its restore(). Reading with setDemandParse()
    /// reports nothing.
    ///
    /// \compat Reading and aligning continue when the reporter is cancelled.
    void setProgress(Progress *progress, const Data::String &label = Data::String());
    Progress *progress() const;

    // Reading

    /// Reads a UTF-8 file. It is stored as text, unless \p fileSizeLimit is 1 or more and there is
    /// a single delimiter of one character. In that case the storage depends on the size:
    ///
    ///     more than fileSizeLimit megabytes   in the file
    ///     otherwise                           as bytes; but as text when quotes are requested, or
    ///                                         when the environment variable KLT_NORAWREAD is set
    ///                                         to any value
    ///
    /// The variable is read once in the process. When the storage is text, \p path may also be an
    /// address that starts with "http://"; see File::read().
    ///
    /// \p quoted allows quoted fields, in text with fewer than two delimiters. The delimiter is
    /// then plain text, not a pattern. A quote at the start of a field opens a quoted field, in
    /// which two quotes stand for one. A quoted field that contains no delimiter keeps its quotes.
    /// An opening quote after a space is an ordinary character, and so is a closing quote before a
    /// carriage return. Quotes have no meaning in a table stored as bytes or in the file.
    ///
    ///     a,"b,c",d    => three fields
    ///     "a",b        => two fields, the first with its quotes
    ///
    /// For text, a single byte that is not valid UTF-8 makes the call fail, unless the file starts
    /// with a byte order mark of UTF-16 or UTF-32 and is decoded accordingly. A table stored as
    /// bytes or in the file accepts all bytes.
    ///
    /// False when the file cannot be opened or read to its end, is larger than the memory, or is
    /// empty. False, too, when it has comments only and the table therefore has no rows; a line
    /// feed at the end of the file makes an empty row. A table in the file accepts an empty file.
    /// After a failure none of the file's rows are in the table, and the text rows are unchanged.
    /// Rows stored as bytes or in a file may be lost. After a failure to read a table in the file,
    /// the table has no rows. path() returns \p path in each case.
    ///
    /// \compat The limit in bytes is a 32-bit number that overflows: from 2048 megabytes on almost
    /// every file exceeds it.
    bool read(const Data::String &path, int fileSizeLimit = 0, bool quoted = false);

    /// Reads text and appends it to the text rows. The data of \p text are shared, not copied,
    /// unless they were created by fromRawData().
    ///
    /// False when the text is empty; nothing is changed then. False, too, when it has comments only
    /// and the table therefore has no rows. False when the memory does not suffice; the text rows
    /// are then unchanged, but rows stored as bytes or in a file may be lost.
    bool setData(const Data::String &text, bool quoted = false);
    bool setData(const char *text, bool quoted = false);

    /// Reads bytes, which replace the rows of the table. The bytes are shared like text. False when
    /// \p bytes is empty and when the memory does not suffice.
    ///
    /// Without a single delimiter of one character, the bytes up to the first zero byte are read as
    /// text in Latin-1, without quotes, and appended to the text rows.
    ///
    /// A delimiter outside Latin-1 means a zero byte as the delimiter here, and no delimiter for a
    /// table in the file.
    ///
    /// \compat A cell stored as bytes is decoded as Latin-1 by data(row, col), but as UTF-8 by the
    /// functions that return rows and columns. Both stop at a zero byte.
    bool setData(const QByteArray &bytes);

    /// The path last passed to read().
    Data::String path() const;
    void clearPath();

    // Size and contents

    bool isValid() const; ///< whether the table has rows
    int numRows() const;

    /// The number of fields of \p row. When \p row is negative, the number of fields of the longest
    /// row: all rows are split for this. In the file, that number is 0.
    int numColumns(int row = -1) const;

    /// Whether a cell is empty; when \p col is negative, whether a row is empty.
    ///
    /// \compat As text or bytes, a row that is not split yet is empty only if its line has no
    /// characters; white space counts.
    bool isEmpty(int row, int col = -1) const;

    /// Whether row 0 has a field that is not a number. An empty field and "1.5{mm}" are not numbers
    /// here.
    bool hasHeader() const;

    // Cells as text

    QStringList data(int row) const;

    /// The text of a cell.
    ///
    /// \compat In the file a negative \p col returns the whole line.
    Data::String data(int row, int col) const;

    /// The parts of a cell, split at \p separator. Empty parts are left out when the separator is a
    /// single space, and kept otherwise.
    QStringList data(int row, int col, const Data::String &separator) const;

    /// The cell in the column that has the label \p label in row 0, or "" without such a column.
    ///
    /// \compat In the file, the result is the whole line when there is no such column.
    Data::String data(int row, const Data::String &label) const;

    /// The cell to the right of a key. The key is the first cell in column \p col, from \p firstRow
    /// on, that starts with \p key, or with \p exact equals it; case-sensitive. \p foundRow, if not
    /// null, is set to its row. Without such a cell the result is "" and \p foundRow is set to -1.
    ///
    /// Cells in negative rows are empty: an empty \p key with a negative \p firstRow is found in
    /// that row.
    ///
    /// A table in memory that is searched often keeps an index, of 8 bytes for each row and length
    /// of the keys, until a cell changes.
    Data::String data(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                      bool exact = false) const;

    /// A cell in two parts: \p value is the text before its first "{", and \p annotation the text
    /// after it, without any "}". Without a "{", \p annotation is unchanged.
    void data(int row, int col, Data::String &annotation, Data::String &value) const;

    /// The fields from \p firstCol to \p lastCol. When \p lastCol is smaller than \p firstCol, all
    /// fields from \p firstCol on.
    QStringList rowData(int row, int firstCol = 0, int lastCol = -1) const;

    /// The fields of a column, from \p firstRow on, one for each row. A row that is too short, or
    /// negative, yields an empty field. The last row is left out if it has no fields or a single
    /// empty one.
    QStringList colData(int col, int firstRow = 0) const;

    // Cells as numbers: 0.0 for a text that is not a number, the hole number for an empty cell

    QList<double> dataValue(int row) const;

    /// \p ok, if not null, is set to whether the cell is a number.
    double dataValue(int row, int col, bool *ok = nullptr) const;

    // The following convert the text of the cells in each kind of storage, up to a "{". An empty
    // cell yields the hole number that all tables share.
    QList<double> dataValue(int row, int col, const Data::String &separator) const;
    double dataValue(int row, const Data::String &label, bool *ok = nullptr) const;
    double dataValue(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                     bool exact = false, bool *ok = nullptr) const;
    void dataValue(int row, int col, Data::String &annotation, double &value) const;

    QList<double> rowDataValue(int row, int firstCol = 0, int lastCol = -1) const;
    QList<double> colDataValue(int col, int firstRow = 0) const;

    /// The result of colDataValue() for each column of \p cols, in less time than one by one. Empty
    /// when the memory does not suffice for all of them.
    QList<QList<double>> colDataValues(const QList<int> &cols, int firstRow = 0) const;

    // Cells without copies

    /// A function that receives a row. Returns whether to continue with the next row.
    using RowVisitor = std::function<bool(const CSVRow &row)>;

    /// Calls \p visitor with each row from \p firstRow to \p lastRow, one after the other: the
    /// fastest way to read many cells. A negative \p firstRow stands for row 0. A \p lastRow that
    /// is negative or too large stands for the last row.
    ///
    /// A row has the fields of data(row); an empty last row is not left out. The row and its cells
    /// are valid only until \p visitor returns. No copies are made except for quoted fields, for
    /// rows that are split when they are accessed, and for a table in the file.
    ///
    /// False when \p visitor has returned false, when the memory does not suffice for a row, and
    /// when a row cannot be read completely from the file. No further rows are visited then. In the
    /// last two cases File::lastError() has the reason; it is "" when all rows were visited.
    ///
    /// \p visitor may change the table. When it replaces the rows of a table stored as bytes or in
    /// the file, the old rows are visited to their end; otherwise the next rows are as changed. It
    /// must not destroy the table.
    bool visit(int firstRow, int lastRow, const RowVisitor &visitor) const;

    /// The named values in a row:
    ///
    ///     2.5{Max Load}   => "Max Load": "2.5", as text
    ///     modes->a, b, c  => "modes": the list "a", "b", "c", up to a cell with "{" or "->"
    ///     other cells     => nothing
    ///
    /// Of two values with the same key the later one is kept. With \p normalizeKeys the keys are in
    /// lower case, with "_" for each space.
    QMap<Data::String, Data::Variant> propertyValues(int row, bool normalizeKeys = false) const;

    // Changes

    /// Sets the text of a cell. Missing rows, and missing fields before the cell, are added.
    ///
    /// \compat A table in the file closes the file, loses the rows of the file, and is stored as
    /// text from then on. Its rows are then the text rows, of which there are normally none.
    CSVTable &setData(int row, int col, const Data::String &text);

    /// Sets a cell to a number, in the C locale; \p format and \p precision are those of
    /// QString::number(). The table's own hole number is written as "", unless it is 0.0.
    ///
    /// \compat A whole number that fits into 32 bits is always written with the format 'g' and the
    /// precision 6: 7.0 is "7" and 1234567.0 is "1.23457e+06".
    CSVTable &setData(int row, int col, double value, char format = 'g', int precision = 6);
    CSVTable &setData_g(int row, int col, double value);

    /// Appends a row to the text rows. A line is split, and is never a comment. Fields are stored
    /// unchanged. Numbers are written as by setData().
    ///
    /// \compat While the table is stored as bytes or in a file, the row is not part of it.
    CSVTable &appendData(const Data::String &line);
    CSVTable &appendData(const QStringList &fields);
    CSVTable &appendData(const QList<double> &values, char format = 'g', int precision = 6);
    CSVTable &appendData(const QVector<double> &values, char format = 'g', int precision = 6);

    /// Removes a column: the field \p col of each row that has it. Does nothing in the file.
    ///
    /// \compat A row that is not split yet has only the column 0, which is its whole line.
    void removeColumn(int col);

    /// Removes the rows from \p firstRow to \p lastRow that have no fields or a single empty one.
    /// Returns their number; in the file always 0. A \p lastRow that is negative or too large
    /// stands for the last row.
    ///
    /// \compat Whether a row is split is stored by row number, and these marks do not move up with
    /// the rows. With setDemandParse(), a row that moves up may therefore never be split. Or it is
    /// split a second time when it is next accessed: only the contents of its first field then
    /// remain.
    int removeEmptyRows(int firstRow = 0, int lastRow = -1);

    /// Sorts the text rows from \p firstRow on by a column. A table stored as bytes or in a file is
    /// not changed.
    ///
    /// The cell of \p firstRow decides how. If it is empty or a number, the rows are sorted by
    /// numbers, otherwise by text, case-sensitively. "1.5{mm}" is not a number here. For a sort by
    /// numbers, an empty cell is the hole number, and a text that is not a number is 0.0. Rows that
    /// compare equal keep their order when \p ascending is true, and are reversed when it is false.
    void sort(int col, int firstRow = 0, bool ascending = true);

    /// Pads the fields of the text rows with spaces, each to one character more than the longest
    /// field of its column: before the text, or with \p left after it. A \p lastRow that is
    /// negative or too large stands for the last row. A negative \p numColumns stands for the
    /// number of fields of \p firstRow. Only \p firstRow is split for this; other rows that are not
    /// split yet count as one field.
    CSVTable &alignColumns(int firstRow = 0, int lastRow = -1, int numColumns = -1,
                           bool left = false);

    /// Removes all rows, also the text rows, and all delimiters except the first. Path, comment,
    /// alternates and hole number are kept.
    void clear();

    // Output. The delimiter between fields is the text of the first delimiter, or "," when there is
    // none.

    /// The text row \p row as one line. A row that is not split yet is returned as it was read.
    /// Otherwise its fields are joined by the delimiter. Fields that contain the delimiter are in
    /// quotes, unless the delimiter is two spaces.
    ///
    /// \compat Quotes within a field are not doubled. For a table stored as bytes or in a file the
    /// result is "", unless a text row with this number exists, as after appendData(). If that row
    /// is split, the result has the fields of the table instead.
    Data::String stringData(int row) const;

    /// stringData() of all rows, with "\n" between them.
    Data::String stringData() const;

    /// stringData() of each row from \p firstRow to \p lastRow; "" for rows after the end of the
    /// table. When \p lastRow is not larger than \p firstRow, up to the last row of the table.
    QStringList lineData(int firstRow = 0, int lastRow = -1) const;

    /// The fields of a row. The character \p escape before the first delimiter makes this delimiter
    /// part of the field. The text of stringData() is split for this like a line that is read, with
    /// quotes if the text rows were last read with quotes.
    QStringList escapedData(int row, char escape) const;

    /// The text rows as aligned text, with the delimiter between fields and "\n" between rows.
    /// There are as many columns as \p firstRow has fields. Fields that contain the delimiter are
    /// in quotes, as in stringData(). A row that is not split yet is one field, even \p firstRow.
    ///
    /// Fields are padded as by alignColumns(), with spaces before the text. In the column
    /// \p leftColumn, or in all columns when that is -2, the spaces are after the text. If
    /// \p maxWidth is above 0, fields of more than \p maxWidth characters do not count for the
    /// width of their column.
    ///
    /// The cells of the table do not change, but \p firstRow is split by the call, as stringData()
    /// and a second call show.
    Data::String alignedStringData(int maxWidth = 0, int leftColumn = -1, int firstRow = 0) const;

    /// A CRC-16, as computed by qChecksum(), of the number of all rows in decimal followed by the
    /// first \p rows rows, or all rows when \p rows is negative or too large. The fields of a row
    /// are joined by ",", for any delimiter; there is no separator between rows. In the file the
    /// checksum is that of CSVReader, which is computed from the lines.
    unsigned short checksum(int rows = -1) const;

    /// Replaces the contents of the file \p path by the text rows in UTF-8, each followed by "\n".
    /// So the file has one line feed more than the text that was read. A row that is not split yet
    /// is written as it was read. An existing file keeps its permissions.
    ///
    /// False when the file cannot be opened; it is then unchanged. False, too, when the memory does
    /// not suffice for a row, and when a row of a table in the file cannot be read any more; the
    /// file then contains the rows before it, or some of them.
    ///
    /// With File::setSafeWriting() the file has all rows when the result is true, and otherwise its
    /// old contents.
    ///
    /// \compat Three corners:
    /// - Nothing is quoted, unlike in stringData(), except as setDecimalPoint() describes.
    /// - A table stored as bytes or in a file has no text rows: the written file is empty and the
    ///   result is true. Writing a table in the file to its own path loses its rows. Read it
    ///   without a limit before you change or write it.
    /// - Write errors are not reported: on a full disk the result is true, and the file ends where
    ///   the disk was full. Only File::lastError() has the reason.
    bool write(const Data::String &path) const;

    // Names of cells in spreadsheets

    /// The column of a name such as "C" or "C5". \p row, if not null, is set to the row of the
    /// name, or to -1 when its number cannot be read; \p row is unchanged when the name has no row.
    /// Letters must be in upper case, but this is not checked: "a" is 32, and "" is -1.
    static int columnIndex(const Data::String &label, int *row = nullptr);

    /// The name of the column \p col, followed by the number of \p row counted from 1, unless
    /// \p row is negative: (0, -1) is "A", (26, 0) is "AA1". A negative column yields a character
    /// before "A".
    static Data::String columnLabel(int col, int row = -1);

private:
    friend class CSVTablePrivate;

    void clearCSV();
    bool needsEscape(const Data::String &delimiter) const;
    void alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                   int maxWidth, int leftColumn, const QString &delimiter) const;

    const std::unique_ptr<CSVTablePrivate> d;
};

} // namespace Utils
