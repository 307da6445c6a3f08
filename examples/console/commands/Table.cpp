// kelm table: reads a delimited table; prints it, sums it up, draws it, or writes it.

#include "examples/console/commands/Table.h"

#include "examples/console/Files.h"
#include "examples/console/Host.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/files/FileReader.h"

#include <optional>

namespace Kelm {

using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::File;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {{"d", "delimiter"},
         "What is between fields: a text, \"tab\" or \"blanks\". Without this option it is "
         "detected.",
         "TEXT"},
        {"comment",
         "Lines that begin with TEXT are comments; \"\" for none. Without this option it is "
         "detected.",
         "TEXT"},
        {"quotes",
         "Whether fields may be in quotes: yes, no, rfc for quotes as in RFC 4180, with line "
         "breaks "
         "in them, or guess, which is rfc when quotes are detected. It is guess otherwise.",
         "WHETHER", "guess"},
        {"encoding",
         "The encoding of the file, such as windows-1252. Without this option, and for auto, it is "
         "detected.",
         "NAME"},
        {"decimal-comma", "Numbers have a decimal comma, as 2,5. Without this option it is "
                          "detected, and applied when "
                          "that is certain."},
        {"no-header", "No row is a header: all are data, also those before detected labels."},
        {"size-limit",
         "Holds a file of up to MB megabytes as bytes and leaves a larger one on the disk. "
         "Comments "
         "and quotes are not known then, as long as there is one delimiter of one character.",
         "MB"},
        {{"c", "column"},
         "Selects only the column NAME: its label, with the unit in braces or without, or its "
         "number "
         "from 1. May be given several times.",
         "NAME"},
        {{"s", "sort"}, "Sorts the rows by the column NAME.", "NAME"},
        {"descending", "Sorts from the largest to the smallest."},
        {"rows", "Selects only the first COUNT rows.", "COUNT"},
        {"stats", "Prints count, mean, deviation and quartiles of each column of numbers."},
        {"histogram", "Draws a histogram of each column of numbers."},
        {"bins", "Number of bins of the histogram; by Scott's rule otherwise.", "COUNT"},
        {"dialect", "Prints how FILE is laid out, and nothing else."},
        {"json", "With --dialect: prints it as JSON, with the confidence of each property."},
        {"to", "Writes the rows to FILE: with tabs between fields in a .tsv, else commas.", "FILE"},
    });
}

/// The text of the file in the encoding; in UTF-8 if that is "".
static QString textOf(const QString &path, const QString &encoding)
{
    return encoding.isEmpty() ? File::read(path) : File::read(path, encoding);
}

/// Returns why the file has no text, or "" when it has some or is empty.
static QString whyWithoutText(const QString &path, const QString &encoding)
{
    const bool hasText = !textOf(path, encoding).isEmpty();
    const QString reason = File::lastError();
    if (hasText || !reason.isEmpty())
        return hasText ? QString() : reason;
    File::readRaw(path); // a file that only seems to be empty is decoded without a fault
    return File::lastError();
}

/// Appends the line of a table whose columns are aligned with blanks. Blanks at both ends of a line
/// do not separate fields, so they are removed before.
static void appendAligned(const Data::String &trimmed, CSVTable &table)
{
    if (table.comment().isEmpty() || !trimmed.startsWith(table.comment()))
        table.appendData(trimmed);
}

/// Reads a table whose columns are aligned with blanks.
static void readAligned(const QString &path, const CSVDialect &dialect, CSVTable &table)
{
    if (dialect.hasCarriageReturns()) {
        for (const QString &line : textOf(path, table.encoding()).split('\r'))
            appendAligned(line.trimmed(), table);
        return;
    }
    Utils::FileReader reader = table.encoding().isEmpty()
                                   ? Utils::FileReader(path)
                                   : Utils::FileReader(path, table.encoding());
    Data::String line;
    while (reader.readLine(line, /*trim=*/true))
        appendAligned(line, table);
}

/// Reads the file. Returns why it cannot be read, or "".
static QString read(const QString &path, const CSVDialect &dialect, int sizeLimit, CSVTable &table)
{
    if (dialect.isAligned()) {
        readAligned(path, dialect, table);
        return {};
    }
    Utils::Progress progress(0, "Reading " + File::base(path, /*withExtension=*/true));
    table.setProgress(&progress);
    const bool isQuoted =
        table.quoting() == CSVTable::Classic && dialect.quotes() != CSVDialect::NoQuotes;
    const bool isRead = table.read(path, sizeLimit, isQuoted);
    table.setProgress(nullptr);
    return isRead || table.quoting() == CSVTable::Classic ? QString() : QString(File::lastError());
}

static Result write(const CSVTable &table, const QString &path)
{
    const QString delimiter = File::extension(path).toLower() == "tsv" ? "\t" : ",";
    CSVTable written(delimiter);
    written.setQuoting(table.quoting());
    written.setComment(table.comment()); // what looks like a comment is put in quotes
    for (int row = 0; row < table.numRows(); ++row) {
        QStringList fields = table.data(row);
        for (QString &field : fields) {
            if (table.quoting() == CSVTable::Classic && field.contains(delimiter))
                field.replace('"', "\"\""); // the table quotes the field, and doubles no quotes
        }
        written.appendData(fields);
    }
    const QString end = table.numRows() > 0 ? "\n" : "";
    const QString error = writeFile(path, written.stringData() + end);
    return error.isEmpty() ? good() : failed(error);
}

/// Returns what is wrong with the options, or "".
static QString whyMisused(const QCommandLineParser &given)
{
    const int mostBins = 1000;
    const auto bins = wholeNumber(given.value("bins"), 2);

    if (!QStringList{"yes", "no", "guess", "rfc"}.contains(given.value("quotes")))
        return "--quotes must be yes, no, guess or rfc";
    if (given.isSet("encoding") && !isEncoding(given.value("encoding")))
        return "--encoding must be the name of an encoding, or auto";
    if (given.isSet("size-limit") && !wholeNumber(given.value("size-limit"), 1))
        return "--size-limit must be a whole number from 1 on";
    if (bins.value_or(0) > mostBins)
        return QString("--bins must be at most %1").arg(mostBins);
    if (given.isSet("bins") && !bins)
        return "--bins must be a whole number from 2 on";
    if (given.isSet("rows") && !wholeNumber(given.value("rows"), 0))
        return "--rows must be a whole number from 0 on";
    if (given.isSet("bins") && !given.isSet("histogram"))
        return "--bins needs --histogram";
    if (given.isSet("descending") && !given.isSet("sort"))
        return "--descending needs --sort";
    if (given.isSet("delimiter") && given.value("delimiter").isEmpty())
        return "--delimiter must not be empty";
    if (given.isSet("json") && !given.isSet("dialect"))
        return "--json needs --dialect";
    return {};
}

/// Returns the plain text of the option --delimiter, or the pattern blanks. "" without the option.
static QString wantedDelimiter(const QCommandLineParser &given)
{
    const QString delimiter = given.value("delimiter");
    if (delimiter == "tab")
        return "\t";
    return delimiter == "blanks" ? QString(blanks) : delimiter;
}

/// Returns the dialect with the properties that the options set.
static CSVDialect knownDialect(const QCommandLineParser &given)
{
    CSVDialect known;
    if (given.isSet("delimiter"))
        known.setDelimiter(wantedDelimiter(given));
    if (given.isSet("comment"))
        known.setComment(given.value("comment"));
    if (given.isSet("decimal-comma"))
        known.setDecimalPoint(',');
    const QString encoding = given.value("encoding");
    if (!encoding.isEmpty() && encoding != "auto")
        known.setEncoding(encoding);
    if (given.value("quotes") != "guess")
        known.setQuotes(given.value("quotes") == "no" ? CSVDialect::NoQuotes
                                                      : CSVDialect::Rfc4180Quotes);
    if (given.isSet("no-header"))
        known.setHeader(-1, -1, 0);
    return known;
}

/// Prepares \p table for reading. With \p isPlain, its delimiter is no pattern although its fields
/// are not read as in RFC 4180. False when that is impossible.
static bool setDialect(const CSVDialect &dialect, bool isPlain, CSVTable &table)
{
    CSVDialect adapted = dialect;
    if (isPlain)
        adapted.setQuotes(CSVDialect::Rfc4180Quotes); // with which the table has a plain delimiter
    if (!table.setDialect(adapted))
        return false;
    if (isPlain)
        table.setQuoting(CSVTable::Classic);
    return true;
}

/// Reads the choice of rows and columns. Returns the name of a column that is not there, if any.
static std::optional<QString> readChoice(const QCommandLineParser &given, const CSVTable &table,
                                         TableChoice &choice)
{
    choice.isAscending = !given.isSet("descending");
    choice.numRows = wholeNumber(given.value("rows"), 0).value_or(-1);
    const QStringList labels = choice.headerRow >= 0
                                   ? table.data(choice.headerRow)
                                   : numberedLabels(table.numColumns(topRow(table)));
    for (const QString &name : given.values("column") + given.values("sort")) {
        const int col = findColumn(labels, name);
        if (col < 0)
            return name;
        choice.columns.append(col);
    }
    if (given.isSet("sort"))
        choice.sortColumn = choice.columns.takeLast();
    return std::nullopt;
}

/// Prints or writes the chosen rows of the file \p path.
static Result show(const QCommandLineParser &given, const QString &path, const CSVTable &table,
                   int headerRows)
{
    const bool isSummary = given.isSet("stats") || given.isSet("histogram");
    if (isSummary && !hasNumbers(table, headerRows))
        return failed(QString("No numbers are in \"%1\"").arg(path));
    if (given.isSet("stats"))
        printStatistics(table, headerRows);
    if (given.isSet("histogram"))
        printHistograms(table, headerRows, wholeNumber(given.value("bins"), 2).value_or(0));
    if (given.isSet("to"))
        return write(table, given.value("to"));
    if (!isSummary)
        printTable(table, headerRows);
    return good();
}

/// Prints or writes what is chosen of \p table, which was read from the file \p path.
static Result showChoice(const QCommandLineParser &given, const QString &path, CSVTable &table,
                         TableChoice &choice)
{
    if (const std::optional<QString> missing = readChoice(given, table, choice))
        return failed(QString("\"%1\" has no column \"%2\"").arg(path, *missing));
    const bool hasSizeLimit = given.isSet("size-limit");
    if (!hasSizeLimit)
        removeEmptyEnd(table);
    // Copied only if needed. A table that is held as bytes has other numbers.
    if (!hasSizeLimit && isAllOf(table, choice))
        return show(given, path, table, choice.firstDataRow);
    CSVTable chosen("  "); // which puts nothing in quotes
    chosen.setQuoting(table.quoting());
    chosen.setDecimalPoint(table.decimalPoint());
    QString reason;
    const int headerRows = choose(table, choice, chosen, reason);
    if (!reason.isEmpty())
        return failed(reason);
    return show(given, path, chosen, headerRows);
}

static Result showFile(const QCommandLineParser &given, const QString &path, Host &host)
{
    const auto sizeLimit = wholeNumber(given.value("size-limit"), 1);
    const bool isRowPerLine = given.value("quotes") == "yes";
    CSVDialect dialect = detectApplied(path, knownDialect(given), sizeLimit, isRowPerLine);
    const bool isPlain = isRowPerLine || isHeldAsBytes(path, dialect, sizeLimit, isRowPerLine);
    CSVTable table;
    if (!setDialect(dialect, isPlain, table))
        return failed(File::lastError());
    if (table.encoding() == "UTF-8" && !given.isSet("encoding"))
        table.setEncoding(QString()); // so that a table that is held as bytes may have any bytes
    const QString reason = read(path, dialect, sizeLimit.value_or(0), table);

    TableChoice choice;
    const bool isEmpty = topRow(table) < 0;
    const QString missing = isEmpty ? whyIncomplete(table) : QString();
    if (!isEmpty)
        chooseHeader(table, !given.isSet("no-header"), dialect, choice);
    host.logMessage("Dialect of \"" + path + "\": " + dialect.toText(), 3);
    if (!reason.isEmpty())
        return failed(reason.contains(path) ? reason
                                            : QString("Cannot read \"%1\": %2").arg(path, reason));
    if (!missing.isEmpty())
        return failed(missing);
    const bool isRead = !dialect.isAligned() && !isEmpty; // as valid text
    const QString fault = isRead ? QString() : whyWithoutText(path, table.encoding());
    if (!fault.isEmpty())
        return failed(fault);
    if (isEmpty)
        return failed(QString("No table is in \"%1\"").arg(path));
    return showChoice(given, path, table, choice);
}

static Result run(const QCommandLineParser &given, Host &host)
{
    const QString misuse = whyMisused(given);
    if (!misuse.isEmpty())
        return misused(misuse);
    const QString path = given.positionalArguments().constFirst();
    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);

    if (given.isSet("dialect")) {
        const CSVDialect dialect = CSVDialect::detect(path, knownDialect(given));
        if (!dialect.isValid())
            return failed(File::lastError());
        print(given.isSet("json") ? dialect.toJson() : dialect.toText());
        return good();
    }
    return showFile(given, path, host);
}

const Command tableCommand = {
    "table", "FILE", 1, 1, "Reads a delimited table: prints it, sums it up, draws it.",
    declare, run,
};

} // namespace Kelm
