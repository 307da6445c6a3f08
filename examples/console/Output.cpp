#include "examples/console/Output.h"

#include "examples/console/Terminal.h"
#include "utils/csv/CSVTable.h"

#include <QFile>
#include <QProcess>
#include <QVector>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <tuple>
#include <vector>

namespace Kelm {

static int outputError = 0; // errno of the first failure

static bool write(std::FILE *stream, const QByteArray &bytes)
{
    const std::size_t size = static_cast<std::size_t>(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, stream) == size;
}

static bool writeLine(std::FILE *stream, const QString &line)
{
    return write(stream, line.toUtf8() + '\n');
}

static void writeOutput(const QByteArray &bytes)
{
    if (!outputError && !write(stdout, bytes))
        outputError = errno;
}

/// Determined once, and not for each line: standard output stays what it is.
static bool isOutputTerminal()
{
    static const bool isTerminal = Terminal::isTerminal(Terminal::Stream::Output);
    return isTerminal;
}

QString withoutControls(QString text)
{
    for (QChar &sign : text) {
        if (sign.category() == QChar::Other_Control && sign != '\n' && sign != '\t')
            sign = QChar::ReplacementCharacter;
    }
    return text;
}

void print(const QString &line)
{
    printUnchanged(isOutputTerminal() ? withoutControls(line) : line);
}

void printUnchanged(const QString &line) { writeOutput(line.toUtf8() + '\n'); }

/// Appends \p text as UTF-8.
static void append(const QString &text, QByteArray &bytes)
{
    const auto isAscii = [](QChar sign) { return sign.unicode() < 0x80; };
    if (!std::all_of(text.begin(), text.end(), isAscii)) {
        bytes += text.toUtf8();
        return;
    }
    const int size = bytes.size();
    bytes.resize(size + text.size());
    std::transform(text.begin(), text.end(), bytes.begin() + size,
                   [](QChar sign) { return static_cast<char>(sign.unicode()); });
}

namespace {

/// The fields of all rows of a table, one after the other, so that each is read only once.
struct Fields
{
    explicit Fields(const Utils::CSVTable &table);

    QByteArray text;          // UTF-8
    std::vector<int> sizes;   // of each field in bytes
    std::vector<int> lengths; // of each field in characters
    std::vector<int> counts;  // fields in each row
    QVector<int> widths;      // the longest field of each column, for as many as the first row has
};

} // namespace

Fields::Fields(const Utils::CSVTable &table) : widths(table.numColumns(0))
{
    for (int row = 0; row < table.numRows(); ++row) {
        const int count = table.numColumns(row);
        counts.push_back(count);
        for (int col = 0; col < count; ++col) {
            const QString field = table.data(row, col);
            const int before = text.size();
            append(field, text);
            sizes.push_back(text.size() - before);
            lengths.push_back(field.size());
            if (col < widths.size())
                widths[col] = std::max(widths[col], field.size());
        }
    }
}

static QString withoutEnd(QString line)
{
    while (!line.isEmpty() && line.back().isSpace())
        line.chop(1);
    return line;
}

/// Writes a row, which may be several lines, without white space at the ends of lines.
static void writeRow(const QByteArray &row, QByteArray &bytes)
{
    const auto isPlain = [](char byte) { return static_cast<signed char>(byte) > ' '; };
    const auto end = std::find_if(row.rbegin(), row.rend(), [](char byte) { return byte != ' '; });
    if (end == row.rend() || (isPlain(*end) && !isOutputTerminal() && !row.contains('\n'))) {
        bytes.append(row.constData(), static_cast<int>(row.rend() - end));
        bytes += '\n';
        return;
    }
    for (const QString &line : QString::fromUtf8(row).split('\n')) {
        const QString fit = withoutEnd(line);
        bytes += (isOutputTerminal() ? withoutControls(fit) : fit).toUtf8() + '\n';
    }
}

void printAligned(const Utils::CSVTable &table, int leftColumn)
{
    const int pieceSize = 64 * 1024;
    const Fields fields(table);
    const char *text = fields.text.constData();
    std::size_t field = 0;
    QByteArray line;
    QByteArray bytes;
    for (const int count : fields.counts) {
        line.resize(0); // which keeps the memory
        for (int col = 0; col < count; ++col, ++field) {
            const bool isPadded = col < fields.widths.size();
            const int padding = isPadded ? fields.widths[col] + 1 - fields.lengths[field] : 0;
            const bool isLeft = col == leftColumn;
            line.append((col > 0 ? 2 : 0) + (isLeft ? 0 : padding), ' ');
            line.append(text, fields.sizes[field]);
            line.append(isLeft ? padding : 0, ' ');
            text += fields.sizes[field];
        }
        writeRow(line, bytes);
        if (bytes.size() >= pieceSize) {
            writeOutput(bytes);
            bytes.resize(0);
        }
    }
    writeOutput(bytes);
}

void writeError(const QString &line)
{
    flushOutput(); // so that both are in order where they have the same target
    writeLine(stderr, Terminal::isTerminal(Terminal::Stream::Error) ? withoutControls(line) : line);
}

void flushOutput()
{
    if (std::fflush(stdout) != 0 && !outputError)
        outputError = errno;
}

bool finishOutput(QString &error)
{
    flushOutput();
    // Scripts write to the stream, too. The reason of a flush that failed there is not known.
    if (!outputError && !std::ferror(stdout))
        return true;
    if (!Terminal::isReaderGone(outputError))
        error = "Cannot write the output";
    if (outputError && !Terminal::isReaderGone(outputError))
        error += ": " + QString::fromStdString(Terminal::errorText(outputError));
    // Python flushes the stream at its end. It would try to write the rest of the buffer again and
    // report an error.
    std::ignore = std::freopen(QFile::encodeName(QProcess::nullDevice()), "w", stdout);
    return false;
}

} // namespace Kelm
