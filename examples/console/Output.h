#pragma once

#include <QString>

namespace Utils {
class CSVTable;
}

namespace Kelm {

/// Writes \p line and a line end to standard output, as UTF-8.
void print(const QString &line);

/// Prints a table in columns whose fields stand at the right; those of \p leftColumn at the left.
void printAligned(const Utils::CSVTable &table, int leftColumn);

/// Writes \p line and a line end to standard error, as UTF-8.
void writeError(const QString &line);

/// Writes out what was printed so far.
void flushOutput();

/// Writes out what was printed. False, with the reason in \p error, when not all of it could be
/// written; the reason is "" when the reader has closed the pipe, which is nobody's fault.
bool finishOutput(QString &error);

} // namespace Kelm
