#pragma once

#include "utils/base/LastError_p.h"
#include "utils/csv/CSVTable.h"
#include "utils/csv/KeyIndex_p.h"
#include "utils/csv/backends/CSVTextData_p.h"
#include "utils/csv/cells/CSVText_p.h"
#include "utils/feedback/Progress.h"

#include <memory>
#include <new>
#include <optional>

namespace Utils {

/// What \p task returns, or an empty result when the memory does not suffice.
template <typename Task>
auto emptyWithoutMemory(const Task &task) -> decltype(task())
{
    try {
        return task();
    } catch (const std::bad_alloc &) {
        return decltype(task())();
    }
}

/// Returns the result of \p task; false, with a reason, when the memory does not suffice.
template <typename Task>
bool falseWithoutMemory(const Task &task)
{
    try {
        return task();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

/// Runs \p task, which changes all or nothing. A lack of memory is not reported.
template <typename Task>
void unlessOutOfMemory(const Task &task)
{
    try {
        task();
    } catch (const std::bad_alloc &) {
        // nothing has changed
    }
}

/// Uses a reporter for a task of the table during its own lifetime. The reporter may be null.
class TaskProgress
{
public:
    explicit TaskProgress(Progress *progress) : m_progress(progress)
    {
        if (m_progress)
            m_progress->save();
    }
    TaskProgress(const TaskProgress &) = delete;
    TaskProgress &operator=(const TaskProgress &) = delete;
    ~TaskProgress()
    {
        if (m_progress)
            m_progress->restore();
    }

    void start(int steps, const Data::String &label)
    {
        if (!m_progress)
            return;
        m_progress->setMaxSteps(steps);
        m_progress->setLabel(label);
    }

    void tick()
    {
        if (m_progress)
            m_progress->tick(1);
    }

private:
    Progress *const m_progress;
};

/// How a table holds its cells in memory.
struct CSVBackends
{
    /// The backends of the library.
    static CSVBackends standard();

    std::unique_ptr<CSVTextData> (*makeText)();

    /// A backend for bytes, as CSVArrayData.
    std::unique_ptr<CSVData> (*makeBytes)(const QByteArray &bytes, char delimiter, bool parseNow,
                                          Progress *progress, const Data::String &label);
};

/// The rows above the data. A row that is -1 or not above the data is missing.
struct CSVHeaders
{
    int count = 0;
    int labels = 0;
    int units = 1;
    int objects = 2;
};

/// How the classic format differs for a table with a dialect.
struct CSVDialectRules
{
    QString delimiter;          // a pattern
    QString outputDelimiter;    // the text that is written in its place
    bool skipsComments = false; // in each kind of storage
    bool endsAtReturns = false; // lines of a text without line feeds
};

struct DecodedFile;

class CSVTablePrivate
{
public:
    CSVTablePrivate() = default;
    CSVTablePrivate(const CSVTablePrivate &) = delete;
    CSVTablePrivate &operator=(const CSVTablePrivate &) = delete;

    /// Makes \p table hold its cells in \p newBackends, and discards its cells, delimiters and
    /// comment settings. For tests, which have simple backends.
    static void useBackends(CSVTable &table, const CSVBackends &newBackends);

    /// Sets the largest number of rows of a table in the file. For tests, too.
    static void setMostRows(CSVTable &table, int count) { table.d->mostRows = count; }

    void addDelimiter(const Data::String &delimiter, bool alternate);

    /// The current backend: the one in use, or the text rows.
    CSVData &current() const { return backend ? *backend : *textData; }

    /// Makes the text rows the current backend again, unchanged.
    void useText() { backend.reset(); }

    bool isText() const { return !backend; }
    bool isInFile() const { return backend && !backend->source.isEmpty(); }

    /// Returns the result of \p task, which reads cells, or an empty one when the memory does not
    /// suffice. For a table in the file it is an operation that stores a reason.
    template <typename Task>
    auto readCells(const Task &task) const -> decltype(task())
    {
        std::optional<LastError> operation;
        if (isInFile())
            operation.emplace();
        try {
            return task();
        } catch (const std::bad_alloc &) {
            if (operation)
                LastError::set(".err.memory");
            return decltype(task())();
        }
    }

    /// Whether there is exactly one delimiter of one character, which all backends support.
    bool hasSingleDelimiter() const
    {
        return textData->delimiters.size() == 1 && textData->delimiters.first().size() == 1;
    }

    /// The delimiter for backends that read bytes: in Latin-1, or 0 when Latin-1 does not have it.
    char byteDelimiter() const { return textData->delimiters.first().at(0).toLatin1(); }

    /// The same, and the delimiter is a single byte in the encoding that is set, as the other
    /// backends need it. False, too, when comments are to be skipped, which only text supports.
    bool hasPlainDelimiter() const;

    /// Replaces carriage returns by line feeds where the dialect requires it.
    template <typename Text>
    void endLinesAtFeeds(Text &text) const
    {
        if (dialect.endsAtReturns && !textData->isRfc4180)
            csvReplaceReturns(text);
    }

    /// Determines the encoding of the file. Returns whether its lines and cells can be found in the
    /// bytes.
    bool canReadInFile();

    /// Reads the bytes of the file and decodes them to UTF-8 by the encoding that is set, if any.
    /// False, with a reason, when they are not valid. Without an encoding, they are "" when the
    /// file cannot be read, and *\p isUtf8, if that is wanted, tells whether they are valid UTF-8.
    bool readFile(QByteArray &bytes, bool *isUtf8 = nullptr);

    /// The same for bytes of no file.
    bool decode(QByteArray &bytes);
    bool setDecoded(const DecodedFile &decoded, QByteArray &bytes);

    /// The text of the file; "" when it cannot be read or decoded.
    CSVText textOfFile();

    /// Reads the file as bytes.
    bool readBytes();

    /// As CSVTable::setData(), and the same for bytes that are decoded.
    bool setBytes(QByteArray bytes);
    bool setDecodedBytes(QByteArray bytes);

    /// Appends \p text to the text rows, which become the current backend.
    bool appendText(const CSVText &text, bool quoted);

    /// Opens the file as a backend that reads rows on demand. It becomes the current backend even
    /// when the file cannot be read; it has no rows then.
    bool readInFile();

    /// The same for a file that is quoted as in RFC 4180.
    bool readRecords();

    /// Makes a backend for bytes that are quoted as in RFC 4180 the current one.
    bool setQuotedBytes(const QByteArray &bytes);

    /// Makes \p newBackend the current backend.
    void use(std::unique_ptr<CSVData> newBackend)
    {
        newBackend->setDecimalPoint(textData->decimalPoint());
        backend = std::move(newBackend);
    }

    char decimalPoint() const { return textData->decimalPoint(); }

    /// Sorts the text rows from \p firstRow on. Changes nothing when it throws std::bad_alloc.
    void sort(int col, int firstRow, bool ascending);

    QMap<Data::String, Data::Variant> propertyValues(int row, bool normalizeKeys) const;

    QList<CSVColumn> columns() const;

    /// A text row as one line, as CSVTable::stringData() returns it, or without escaped formulas.
    Data::String line(int row, bool escapes) const;

    // Output as CSVTable::setQuoting() and setEscapeFormulas() request it

    bool isClassicOutput() const
    {
        return !textData->isRfc4180 && !escapesFormulas && !quotesNumbers();
    }

    /// How many rows are written.
    int numOutputRows() const
    {
        return textData->isRfc4180 ? current().numRows() : textData->numRows();
    }

    /// Whether the rows cannot be written to the file \p target, because they are read from it.
    bool isReadFrom(const QString &target) const;

    /// Appends a row as write() writes it. False when the row cannot be read from the file.
    bool appendOutputRow(int row, QByteArray &to) const;

    /// Appends a text row as write() writes it with escaped formulas or quoted numbers.
    void appendClassicRow(int row, QByteArray &to) const;

    /// A row as one line that is quoted as in RFC 4180.
    QString quotedLine(int row, bool escapes) const;

    /// \p field, with an apostrophe before it if it is a formula.
    QString withoutFormula(const QString &field) const;

    /// The text that is written between fields.
    Data::String outputDelimiter() const
    {
        const Data::String first = textData->delimiters.value(0, QStringLiteral(","));
        return first == dialect.delimiter ? dialect.outputDelimiter : first; // never ""
    }

    /// Whether fields are put in quotes by write() where they contain the delimiter: numbers with a
    /// decimal comma between commas.
    bool quotesNumbers() const
    {
        return decimalPoint() != '.' && outputDelimiter().contains(QLatin1Char(decimalPoint()));
    }

    int mostRows = csvMostRows; // of a table in the file
    bool demandParse = false;
    bool escapesFormulas = false;
    CSVHeaders headers;
    CSVDialectRules dialect;
    double holeValue = 0.0; // of this table; tables in memory use that of the process
    Data::String progressLabel;
    Data::String path;
    QString encoding;             // as set: a name, "auto" or ""
    QString detectedEncoding;     // of the last text
    bool isEncodingGuess = false; // whether it may be wrong
    Progress *progress = nullptr; // not owned
    CSVBackends backends = CSVBackends::standard();
    std::unique_ptr<CSVTextData> textData = backends.makeText(); // never null
    std::shared_ptr<CSVData> backend; // null while text is current; shared with visitors
    KeyIndex keys;                    // of the current backend
};

} // namespace Utils
