#include "examples/console/Output.h"

#include "examples/console/Terminal.h"
#include "utils/csv/CSVTable.h"

#include <QFile>
#include <QProcess>
#include <QRegExp>

#include <cerrno>
#include <cstdio>
#include <tuple>

namespace Kelm {

static int outputError = 0; // errno of the first failure

static bool writeLine(std::FILE *stream, const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    const std::size_t size = static_cast<std::size_t>(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, stream) == size;
}

QString withoutControls(QString text)
{
    for (QChar &sign : text) {
        if (sign.category() == QChar::Other_Control && sign != '\n' && sign != '\t')
            sign = QChar::ReplacementCharacter;
    }
    return text;
}

static QString fitFor(Terminal::Stream stream, const QString &line)
{
    return Terminal::isTerminal(stream) ? withoutControls(line) : line;
}

void print(const QString &line) { printUnchanged(fitFor(Terminal::Stream::Output, line)); }

void printUnchanged(const QString &line)
{
    if (!outputError && !writeLine(stdout, line))
        outputError = errno;
}

void printAligned(const Utils::CSVTable &table, int leftColumn)
{
    if (table.numRows() == 0)
        return;
    const QString text = table.alignedStringData(/*maxWidth=*/0, leftColumn);
    for (QString line : text.split('\n'))
        print(line.remove(QRegExp("\\s+$")));
}

void writeError(const QString &line)
{
    flushOutput(); // so that both are in order where they have the same target
    writeLine(stderr, fitFor(Terminal::Stream::Error, line));
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
    if (outputError != EPIPE)
        error = "Cannot write the output";
    if (outputError && outputError != EPIPE)
        error += ": " + qt_error_string(outputError);
    // Python flushes the stream at its end. It would try to write the rest of the buffer again and
    // report an error.
    std::ignore = std::freopen(QFile::encodeName(QProcess::nullDevice()), "w", stdout);
    return false;
}

} // namespace Kelm
