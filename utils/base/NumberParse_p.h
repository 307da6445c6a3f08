#pragma once

#include <QByteArray>
#include <QString>

namespace Utils {

/// The powers of ten that a double holds exactly.
inline constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int mostExactPower = 22;

// Fast conversion of text to numbers in the C locale, for tables of numbers. Each function returns
// exactly the value and success of Qt's conversion of the same text, and calls Qt in doubtful
// cases.

/// The result of QByteArray::toDouble() for the \p size bytes at \p text, which need no terminating
/// zero. Blanks at the ends are accepted, but make the conversion slower.
double parseNumber(const char *text, int size, bool *ok = nullptr);
double parseNumber(const QByteArray &text, bool *ok = nullptr);

/// The result of QString::toDouble() for \p text. It accepts some texts that the overload for bytes
/// rejects, such as "INF", and rejects white space alone, which that overload converts to 0.
double parseNumber(const QString &text, bool *ok = nullptr);

/// The same for a text in UTF-8. A byte order mark at the start is not part of the text.
double parseUtf8Number(const char *text, int size, bool *ok = nullptr);

/// Converts a \p text that consists only of digits with an optional sign, point and exponent. False
/// for all other texts, some of which Qt accepts.
bool parsePureNumber(const char *text, int size, double &value);
bool parsePureNumber(const QChar *text, int size, double &value);

} // namespace Utils
