#pragma once

#include <QByteArray>
#include <QString>

namespace Utils {

/// The powers of ten that a double holds exactly.
inline constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int mostExactPower = 22;

// Text to number in the C locale, as fast as a table of numbers needs it. Each gives the very value
// and success that Qt's conversion of the same text gives, and asks Qt where it is not sure.

/// What QByteArray::toDouble() gives for the \p size bytes at \p text, which need no zero behind
/// them. Blanks at the ends do no harm, but slow it down.
double parseNumber(const char *text, int size, bool *ok = nullptr);
double parseNumber(const QByteArray &text, bool *ok = nullptr);

/// What QString::toDouble() gives for \p text. It takes some texts that the form for bytes does
/// not, as "INF", and refuses white space alone, which is 0 there.
double parseNumber(const QString &text, bool *ok = nullptr);

/// The same for a text in UTF-8. A byte order mark in front is no part of the text.
double parseUtf8Number(const char *text, int size, bool *ok = nullptr);

/// The value of a \p text that is digits, with a sign, point or exponent or not, and nothing else.
/// False for all others, of which Qt takes some.
bool parsePureNumber(const char *text, int size, double &value);
bool parsePureNumber(const QChar *text, int size, double &value);

} // namespace Utils
