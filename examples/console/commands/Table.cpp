// kelm table: reads a delimited table of any kind; prints it, sums it up, draws it, writes it.

#include "examples/console/Files.h"
#include "examples/console/Output.h"
#include "examples/console/Terminal.h"
#include "examples/console/commands/Commands.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/files/FileReader.h"
#include "utils/text/Statistics.h"
#include "utils/text/StringUtil.h"

#include <QRegExp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Kelm {

using Utils::CSVTable;
using Utils::File;
using Utils::Statistics;
using Utils::StringUtil;

static const QString blanks = "\\s+"; // the delimiter of columns that are aligned with blanks

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {{"d", "delimiter"},
         "What is between fields: a text, \"tab\" or \"blanks\". Without this option it is "
         "guessed.",
         "TEXT"},
        {"comment",
         "Lines that begin with TEXT are comments; \"\" for none. It is \"#\" otherwise.", "TEXT",
         "#"},
        {"quotes", "Whether fields may be in quotes: yes, no or guess. It is guess otherwise.",
         "WHETHER", "guess"},
        {"no-header", "The first row is no header."},
        {"size-limit",
         "Holds a file of up to MB megabytes as bytes and leaves a larger one on the disk. "
         "Comments "
         "and quotes are not known then, as long as there is one delimiter of one character.",
         "MB"},
        {{"c", "column"},
         "Takes only the column NAME: its label, with the unit in braces or without, or its number "
         "from 1. May be given several times.",
         "NAME"},
        {{"s", "sort"}, "Sorts the rows by the column NAME.", "NAME"},
        {"descending", "Sorts from the largest to the smallest."},
        {"rows", "Takes only the first COUNT rows.", "COUNT"},
        {"stats", "Tells count, mean, deviation and quartiles of each column of numbers."},
        {"histogram", "Draws a histogram of each column of numbers."},
        {"bins", "Number of bins of the histogram; by Scott's rule otherwise.", "COUNT"},
        {"to", "Writes the rows to FILE: with tabs between fields in a .tsv, else commas.", "FILE"},
    });
}

/// How fields are told apart.
struct Layout
{
    QString delimiter; ///< the plain text, or the pattern blanks
    bool isQuoted = false;
};

/// The delimiter that all of \p lines have equally often, and most often.
static QString guessDelimiter(const QStringList &lines)
{
    QString guess;
    int fields = 0;
    for (const char *const delimiter : {",", ";", "\t", "|"}) {
        int fewest = lines.isEmpty() ? 0 : std::numeric_limits<int>::max();
        int most = 0;
        for (QString line : lines) {
            const int count = line.remove(QRegExp("\"[^\"]*\"")).count(delimiter);
            fewest = std::min(fewest, count);
            most = std::max(most, count);
        }
        if (fewest == most && fewest > fields) {
            fields = fewest;
            guess = delimiter;
        }
    }
    if (guess.isEmpty())
        guess = lines.indexOf(QRegExp(".*\\S\\s+\\S.*")) < 0 ? QString(",") : blanks;
    return guess;
}

/// Guesses from the first lines of a file, the delimiter unless \p delimiter tells it.
static Layout guessLayout(const QString &path, const QString &comment, const QString &delimiter)
{
    const int numLines = 20;
    const QString head = File::read(path, numLines);
    const bool hasComments = !comment.isEmpty();
    QStringList lines;
    for (const QString &line : head.split('\n', Qt::SkipEmptyParts)) {
        if (!hasComments || !line.startsWith(comment))
            lines.append(line);
    }

    Layout layout;
    layout.delimiter = delimiter.isEmpty() ? guessDelimiter(lines) : delimiter;
    const QRegExp openingQuote("(^|" + QRegExp::escape(layout.delimiter) + ")\"");
    layout.isQuoted = layout.delimiter != blanks &&
                      std::any_of(lines.cbegin(), lines.cend(),
                                  [&](const QString &line) { return line.contains(openingQuote); });
    return layout;
}

static void read(const QString &path, const Layout &layout, int sizeLimit, CSVTable &table)
{
    if (layout.delimiter == blanks) {
        // Blanks at the ends of a line separate nothing, which a table is not to know.
        Utils::FileReader reader(path);
        Data::String line;
        while (reader.readLine(line, /*trim=*/true)) {
            if (table.comment().isEmpty() || !line.startsWith(table.comment()))
                table.appendData(line);
        }
        return;
    }
    Utils::Progress progress(0, "Reading " + File::base(path, /*withExtension=*/true));
    table.setProgress(&progress);
    table.read(path, sizeLimit, layout.isQuoted);
    table.setProgress(nullptr);
}

static bool isEmptyRow(const QStringList &fields)
{
    return fields.size() < 2 && fields.value(0).isEmpty();
}

/// The first row that is not empty. None when there is no such row.
static QStringList topRow(const CSVTable &table)
{
    for (int row = 0; row < table.numRows(); ++row) {
        const QStringList fields = table.data(row);
        if (!isEmptyRow(fields))
            return fields;
    }
    return {};
}

static bool isHeader(const QStringList &fields)
{
    CSVTable table;
    table.appendData(fields);
    return table.hasHeader();
}

/// What columns are called in a table without a header.
static QString numberedLabel(int col) { return QString("Column %1").arg(col + 1); }

static QStringList numberedLabels(int count)
{
    QStringList labels;
    for (int col = 0; col < count; ++col)
        labels.append(numberedLabel(col));
    return labels;
}

/// The column in a row of labels that \p name names, -1 when there is none.
static int findColumn(const QStringList &labels, const QString &name)
{
    const int exact = labels.indexOf(name);
    if (exact >= 0)
        return exact;
    for (int col = 0; col < labels.size(); ++col) {
        if (labels[col].section('{', 0, 0).trimmed() == name)
            return col;
    }
    const int number = wholeNumber(name, 1).value_or(0);
    return number <= labels.size() ? number - 1 : -1;
}

/// Which rows and columns are wanted, and in which order.
struct Choice
{
    QVector<int> columns; ///< none for all
    int sortColumn = -1;  ///< -1 for the order of the file
    bool isAscending = true;
    bool hasHeader = true;
    int numRows = -1; ///< besides the header, -1 for all
};

/// Adds what is wanted of \p table to \p chosen, which holds text whatever the other one does.
static void choose(const CSVTable &table, const Choice &choice, CSVTable &chosen)
{
    const bool isSorted = choice.sortColumn >= 0;
    const int numRows = choice.numRows < 0 || choice.numRows >= table.numRows()
                            ? table.numRows()
                            : choice.numRows + choice.hasHeader;

    CSVTable rows;
    for (int row = 0; row < table.numRows() && (isSorted || rows.numRows() < numRows); ++row) {
        const QStringList all = table.data(row);
        if (isEmptyRow(all))
            continue;
        QStringList fields = choice.columns.isEmpty() ? all : QStringList();
        for (const int col : choice.columns)
            fields.append(all.value(col));
        if (isSorted)
            fields.prepend(all.value(choice.sortColumn)); // which may not be a wanted column
        rows.appendData(fields);
    }
    if (isSorted) {
        rows.sort(0, choice.hasHeader, choice.isAscending);
        rows.removeColumn(0);
    }
    for (int row = 0; row < std::min(rows.numRows(), numRows); ++row)
        chosen.appendData(rows.data(row));
}

static QString label(const CSVTable &table, bool hasHeader, int col)
{
    return hasHeader ? QString(table.data(0, col)) : numberedLabel(col);
}

/// The numbers of a column, with the no-value number for cells that have none. There is nothing to
/// count with in "nan" and "inf".
static QVector<double> numbers(const CSVTable &table, int col, int firstRow)
{
    QVector<double> values;
    for (int row = firstRow; row < table.numRows(); ++row) {
        bool isNumber = false;
        const double value = table.dataValue(row, col, &isNumber);
        values.append(isNumber && std::isfinite(value) ? value : Data::noValue);
    }
    return values;
}

static Data::Array view(const QVector<double> &values)
{
    return {values.constData(), static_cast<quint64>(values.size())};
}

static bool hasNumbers(const CSVTable &table, bool hasHeader)
{
    for (int col = 0; col < table.numColumns(0); ++col) {
        if (Statistics::length(view(numbers(table, col, hasHeader))) > 0)
            return true;
    }
    return false;
}

static void printStatistics(const CSVTable &table, bool hasHeader)
{
    CSVTable summary("  ");
    summary.appendData(QStringList{"Column", "Count", "Mean", "Deviation", "Minimum", "Quartile 1",
                                   "Median", "Quartile 3", "Maximum"});
    for (int col = 0; col < table.numColumns(0); ++col) {
        const QVector<double> values = numbers(table, col, hasHeader);
        const Data::Array column = view(values);
        const int count = Statistics::length(column);
        if (count == 0)
            continue;
        double minimum, lower, median, upper, maximum;
        Statistics::quartiles(column, minimum, lower, median, upper, maximum);
        QStringList fields{label(table, hasHeader, col), QString::number(count)};
        for (const double value : {Statistics::mean(column), Statistics::standardDeviation(column),
                                   minimum, lower, median, upper, maximum})
            fields.append(StringUtil::display(value));
        summary.appendData(fields);
    }
    printAligned(summary, /*leftColumn=*/0);
}

static void printHistogram(const QVector<double> &values, int bins)
{
    const int mostGuessed = 30; // Scott's rule makes very many where a few values are far away
    const Data::Array column = view(values);
    QList<int> counts;
    QList<double> edges;
    if (Statistics::histogramData(column, bins, counts, edges) > mostGuessed && bins == 0) {
        counts.clear();
        edges.clear();
        Statistics::histogramData(column, mostGuessed, counts, edges);
    }
    if (counts.isEmpty())
        return; // fewer than two values

    CSVTable ranges("  ");
    double lower = Statistics::minimum(column);
    for (const double upper : qAsConst(edges)) {
        ranges.appendData(QStringList{StringUtil::display(lower), StringUtil::display(upper)});
        lower = upper;
    }
    const QStringList scale = QString(ranges.alignedStringData()).split('\n');
    const int largest = *std::max_element(counts.cbegin(), counts.cend());
    const int figures = scale[0].size() + QString::number(largest).size() + 5;
    const int room = std::max(Terminal::width(Terminal::Stream::Output) - figures, 10);
    for (int bin = 0; bin < counts.size(); ++bin) {
        // Rounded up, so that what is not empty can be seen.
        const int length = static_cast<int>((qint64(counts[bin]) * room + largest - 1) / largest);
        print(scale[bin] + "  " + QString(length, QChar(0x2588)) + (length > 0 ? " " : "") +
              QString::number(counts[bin]));
    }
}

static void printHistograms(const CSVTable &table, bool hasHeader, int bins)
{
    for (int col = 0; col < table.numColumns(0); ++col) {
        const QVector<double> values = numbers(table, col, hasHeader);
        if (Statistics::length(view(values)) == 0)
            continue;
        print(label(table, hasHeader, col));
        printHistogram(values, bins);
    }
}

/// Prints the table, with texts at the left and numbers at the right.
static void printTable(const CSVTable &table, bool hasHeader)
{
    // Of the columns of text the first one counts: one at most can begin at its left.
    int textColumn = -1;
    for (int col = table.numColumns(0) - 1; col >= 0; --col) {
        if (Statistics::length(view(numbers(table, col, hasHeader))) == 0)
            textColumn = col;
    }
    printAligned(table, textColumn);
}

static Result write(const CSVTable &table, const QString &path)
{
    const QString delimiter = File::extension(path).toLower() == "tsv" ? "\t" : ",";
    CSVTable written(delimiter);
    for (int row = 0; row < table.numRows(); ++row) {
        QStringList fields = table.data(row);
        for (QString &field : fields) {
            if (field.contains(delimiter))
                field.replace('"', "\"\""); // the table quotes the field, and doubles no quotes
        }
        written.appendData(fields);
    }
    const QString end = table.numRows() > 0 ? "\n" : "";
    const QString error = writeFile(path, written.stringData() + end);
    return error.isEmpty() ? good() : failed(error);
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QString path = given.positionalArguments().constFirst();
    const QString comment = given.value("comment");
    const QString quotes = given.value("quotes");
    const auto sizeLimit = wholeNumber(given.value("size-limit"), 1);
    const int mostBins = 1000;
    const auto bins = wholeNumber(given.value("bins"), 2);
    const auto rows = wholeNumber(given.value("rows"), 0);

    if (!QStringList{"yes", "no", "guess"}.contains(quotes))
        return misused("--quotes must be yes, no or guess");
    if (given.isSet("size-limit") && !sizeLimit)
        return misused("--size-limit must be a whole number from 1 on");
    if (given.isSet("bins") && bins.value_or(0) > mostBins)
        return misused(QString("--bins must be at most %1").arg(mostBins));
    if (given.isSet("bins") && !bins)
        return misused("--bins must be a whole number from 2 on");
    if (given.isSet("rows") && !rows)
        return misused("--rows must be a whole number from 0 on");
    if (given.isSet("bins") && !given.isSet("histogram"))
        return misused("--bins needs --histogram");
    if (given.isSet("descending") && !given.isSet("sort"))
        return misused("--descending needs --sort");
    if (given.isSet("delimiter") && given.value("delimiter").isEmpty())
        return misused("--delimiter must not be empty");

    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);

    const QString delimiter = given.value("delimiter");
    Layout layout = guessLayout(path, comment,
                                delimiter == "tab"      ? QString("\t")
                                : delimiter == "blanks" ? blanks
                                                        : delimiter);
    if (quotes != "guess")
        layout.isQuoted = quotes == "yes";
    else if (sizeLimit)
        layout.isQuoted = false;

    // A delimiter is a pattern, unless there are quotes or the table is held as bytes.
    const bool isBytes = sizeLimit && layout.delimiter.size() == 1;
    const bool isPlain = layout.isQuoted || isBytes || layout.delimiter == blanks;
    CSVTable table(isPlain ? layout.delimiter : QRegExp::escape(layout.delimiter));
    table.setComment(comment);
    read(path, layout, sizeLimit.value_or(0), table);
    const QStringList top = topRow(table);
    const bool isRead = layout.delimiter != blanks && !top.isEmpty(); // by what refuses other text
    if (!isRead && File::size(path) > 0 && File::read(path).isEmpty())
        return failed(QString("Cannot read \"%1\": It is no text in UTF-8").arg(path));
    if (top.isEmpty())
        return failed(QString("No table is in \"%1\"").arg(path));

    Choice choice;
    choice.hasHeader = !given.isSet("no-header") && isHeader(top);
    choice.isAscending = !given.isSet("descending");
    choice.numRows = rows.value_or(-1);
    for (const QString &name : given.values("column") + given.values("sort")) {
        const int col = findColumn(choice.hasHeader ? top : numberedLabels(top.size()), name);
        if (col < 0)
            return failed(QString("\"%1\" has no column \"%2\"").arg(path, name));
        choice.columns.append(col);
    }
    if (given.isSet("sort"))
        choice.sortColumn = choice.columns.takeLast();

    CSVTable chosen("  "); // which puts nothing in quotes
    choose(table, choice, chosen);
    if ((given.isSet("stats") || given.isSet("histogram")) && !hasNumbers(chosen, choice.hasHeader))
        return failed(QString("No numbers are in \"%1\"").arg(path));
    if (given.isSet("stats"))
        printStatistics(chosen, choice.hasHeader);
    if (given.isSet("histogram"))
        printHistograms(chosen, choice.hasHeader, bins.value_or(0));
    if (given.isSet("to"))
        return write(chosen, given.value("to"));
    if (!given.isSet("stats") && !given.isSet("histogram"))
        printTable(chosen, choice.hasHeader);
    return good();
}

const Command tableCommand = {
    "table", "FILE", 1, 1, "Reads a delimited table: prints it, sums it up, draws it.",
    declare, run,
};

} // namespace Kelm
