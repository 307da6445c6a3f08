#pragma once

#include <QString>

namespace Utils {
class CSVTable;
}

namespace Kelm {

/// \p text with U+FFFD for each control character besides tabs and line ends: on a terminal they
/// would be commands.
QString withoutControls(QString text);

/// Writes \p line and a line end to standard output, as UTF-8, on a terminal withoutControls().
void print(const QString &line);

/// The same, but as it is: for what another program writes.
void printUnchanged(const QString &line);

/// Prints a table in columns whose fields stand at the right; those of \p leftColumn at the left.
void printAligned(const Utils::CSVTable &table, int leftColumn);

/// Writes \p line and a line end to standard error, as UTF-8, on a terminal withoutControls().
void writeError(const QString &line);

/// Writes out what was printed so far.
void flushOutput();

/// Writes out what was printed. False, with what is to be told in \p error, when not all of it
/// could be written; that is "" when the reader has closed the pipe, which is nobody's fault.
bool finishOutput(QString &error);

} // namespace Kelm
