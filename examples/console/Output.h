#pragma once

#include <QString>

namespace Utils {
class CSVTable;
}

namespace Kelm {

/// Returns \p text with U+FFFD for each control character besides tabs and line feeds: a terminal
/// would execute them.
QString withoutControls(QString text);

/// Writes \p line and a line feed to standard output, as UTF-8, on a terminal withoutControls().
void print(const QString &line);

/// Writes \p line as it is, also on a terminal: for the output of another program.
void printUnchanged(const QString &line);

/// Prints a table with the delimiter "  " in columns that are aligned to the right; \p leftColumn
/// is aligned to the left. White space at the end of a line is left out.
void printAligned(const Utils::CSVTable &table, int leftColumn);

/// Writes \p line and a line feed to standard error, as UTF-8, on a terminal withoutControls().
void writeError(const QString &line);

/// Flushes what was printed.
void flushOutput();

/// Flushes what was printed, at the end. Returns false when it could not all be written, with the
/// text for the user in \p error. That is "" when the reader has closed the pipe, which is no
/// error.
bool finishOutput(QString &error);

} // namespace Kelm
