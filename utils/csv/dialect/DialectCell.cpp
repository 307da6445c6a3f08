#include "utils/csv/dialect/DialectCell_p.h"

#include <QLatin1String>
#include <QString>

#include <algorithm>

namespace Utils {

static bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

/// Reads a text from its start.
class CellScanner
{
public:
    explicit CellScanner(QStringView text) : m_next(text.begin()), m_end(text.end()) {}

    bool isAtEnd() const { return m_next == m_end; }
    QChar peek() const { return isAtEnd() ? QChar() : *m_next; }

    bool skip(char character)
    {
        if (isAtEnd() || *m_next != QLatin1Char(character))
            return false;
        ++m_next;
        return true;
    }

    /// Skips one of \p characters and returns it, or 0.
    char skipOneOf(const char *characters)
    {
        for (; *characters; ++characters) {
            if (skip(*characters))
                return *characters;
        }
        return 0;
    }

    /// Skips digits. Returns their number; \p value is the number that they are, if it is small.
    int skipDigits(int *value = nullptr)
    {
        int count = 0;
        int number = 0;
        for (; !isAtEnd() && isDigit(*m_next); ++m_next, ++count) {
            if (count < 8)
                number = number * 10 + (m_next->unicode() - '0');
        }
        if (value)
            *value = number;
        return count;
    }

    /// Skips letters and returns them.
    QStringView skipLetters()
    {
        const QChar *const begin = m_next;
        while (!isAtEnd() && m_next->isLetter())
            ++m_next;
        return {begin, m_next};
    }

    const QChar *position() const { return m_next; }
    void setPosition(const QChar *position) { m_next = position; }

private:
    const QChar *m_next;
    const QChar *m_end;
};

// Numbers

/// Skips an exponent, if there is one.
static void skipExponent(CellScanner &scanner)
{
    const QChar *const before = scanner.position();
    if (!scanner.skipOneOf("eEdD"))
        return;
    scanner.skipOneOf("+-");
    if (scanner.skipDigits() == 0)
        scanner.setPosition(before);
}

/// The separators of a number up to its exponent: "1.234.567,8" has two points and a comma.
struct Separators
{
    int points = 0;
    int commas = 0;
    int others = 0; // blanks and apostrophes
    QChar last;
    int digitsAfterLast = 0;
    int digitsBeforeFirst = 0;
    bool areGroups = true; // three digits between any two separators
    bool startsWithZero = false;

    int count() const { return points + commas + others; }
};

static bool isOtherSeparator(QChar character)
{
    return character == QLatin1Char('\'') || character == QLatin1Char(' ') ||
           character == QChar(0x00a0) || character == QChar(0x202f) || character == QChar(0x2019);
}

/// Skips digits and separators. False when they cannot be those of a number.
static bool skipSeparated(CellScanner &scanner, Separators &found)
{
    found.startsWithZero = scanner.peek() == QLatin1Char('0');
    int digits = scanner.skipDigits();
    found.digitsBeforeFirst = digits;
    int all = digits;
    const int most = 12;
    while (found.count() < most) {
        const QChar next = scanner.peek();
        const bool isOther = isOtherSeparator(next);
        if (next != QLatin1Char('.') && next != QLatin1Char(',') && !isOther)
            break;
        const QChar *const before = scanner.position();
        scanner.setPosition(before + 1);
        const int after = scanner.skipDigits();
        if (isOther && after != 3) { // the unit after a number, or the end of it
            scanner.setPosition(before);
            break;
        }
        if (found.count() > 0 && found.digitsAfterLast != 3)
            found.areGroups = false;
        found.points += next == QLatin1Char('.');
        found.commas += next == QLatin1Char(',');
        found.others += isOther;
        found.last = next;
        found.digitsAfterLast = after;
        all += after;
    }
    return all > 0;
}

/// What the separators of a number are. False when it is no number after all.
static bool classifySeparators(const Separators &found, CellClass &result)
{
    result.kind = CellKind::Number;
    if (found.count() == 0)
        return true;
    const bool endsInGroup = found.digitsAfterLast == 3;
    const bool startsAsGroup = found.digitsBeforeFirst >= 1 && found.digitsBeforeFirst <= 3;
    const bool isPoint = found.last == QLatin1Char('.');
    const bool isOther = isOtherSeparator(found.last);
    const int same = isOther ? found.others : isPoint ? found.points : found.commas;

    if (found.count() == 1 && !isOther) {
        if (!isPoint && found.digitsAfterLast == 0)
            return false; // "5." is a number, "5," is the end of a clause
        result.decimalPoint = isPoint ? '.' : ',';
        result.isPointAmbiguous = endsInGroup && startsAsGroup && !found.startsWithZero;
        return true;
    }
    if (!startsAsGroup || !found.areGroups)
        return false;
    if (same == found.count()) { // separators between thousands only
        result.isGrouped = true;
        return endsInGroup;
    }
    if (same != 1 || isOther || (found.points > 0 && found.commas > 0 && found.others > 0))
        return false;
    result.isGrouped = true;
    result.decimalPoint = isPoint ? '.' : ',';
    return true;
}

/// Whether what follows a number may do so: a unit in braces, a percent sign.
static bool isAfterNumber(CellScanner &scanner)
{
    while (scanner.skip(' ')) {
    }
    if (scanner.skip('%'))
        return scanner.isAtEnd();
    if (!scanner.skip('{'))
        return scanner.isAtEnd();
    while (!scanner.isAtEnd() && scanner.peek() != QLatin1Char('}'))
        scanner.setPosition(scanner.position() + 1);
    return scanner.skip('}') && scanner.isAtEnd();
}

static bool classifyNumber(QStringView text, CellClass &result)
{
    CellScanner scanner(text);
    scanner.skipOneOf("+-");
    if (scanner.peek() == QChar(0x2212))
        scanner.setPosition(scanner.position() + 1);
    if (scanner.skipOneOf("$") || scanner.peek() == QChar(0x20ac))
        scanner.setPosition(scanner.position() + (scanner.peek() == QChar(0x20ac)));
    Separators found;
    if (!skipSeparated(scanner, found))
        return false;
    skipExponent(scanner);
    CellClass number;
    if (!isAfterNumber(scanner) || !classifySeparators(found, number))
        return false;
    result = number;
    return true;
}

// Dates

static bool isMonthName(QStringView name)
{
    static const char *const names[] = {"jan", "feb", "mar", "apr", "may", "jun", "jul", "aug",
                                        "sep", "oct", "nov", "dec", "mai", "okt", "dez", "mrz"};
    const int most = 9;
    return name.size() >= 3 && name.size() <= most &&
           std::any_of(std::begin(names), std::end(names), [&](const char *month) {
               return name.startsWith(QLatin1String(month), Qt::CaseInsensitive);
           });
}

static bool skipNumericDate(CellScanner &scanner)
{
    int first = 0;
    int second = 0;
    int third = 0;
    const int firstDigits = scanner.skipDigits(&first);
    if (firstDigits == 0 || firstDigits == 3 || firstDigits > 4)
        return false;
    const char separator = scanner.skipOneOf("-./");
    if (!separator)
        return false;
    const QStringView month = scanner.skipLetters();
    if (!month.isEmpty() ? !isMonthName(month) : scanner.skipDigits(&second) == 0)
        return false;
    if (second > 31 || !scanner.skip(separator))
        return false;
    const int thirdDigits = scanner.skipDigits(&third);
    if (thirdDigits == 0 || thirdDigits == 3 || thirdDigits > 4)
        return false;
    const bool hasYear = firstDigits == 4 || thirdDigits >= 2;
    const int day = firstDigits == 4 ? third : first;
    return hasYear && day >= 1 && (day <= 31 || firstDigits == 2) &&
           !(firstDigits == 4 && thirdDigits == 4);
}

/// "Jan 1 2000", "1 January 2000", "Jan 1, 2000", "Jan 2000"
static bool skipNamedDate(CellScanner &scanner)
{
    int day = 0;
    if (scanner.skipDigits(&day) > 0) {
        scanner.skip('.');
        if (day > 31 || !scanner.skip(' '))
            return false;
    }
    if (!isMonthName(scanner.skipLetters()))
        return false;
    scanner.skip('.');
    scanner.skipOneOf(" -");
    if (scanner.skipDigits() == 0)
        return false;
    scanner.skip(',');
    const QChar *const before = scanner.position();
    if (scanner.skip(' ') && scanner.skipDigits() != 4)
        scanner.setPosition(before);
    return true;
}

/// "12:30", "12:30:05.125", "1:30 PM", with a time zone or without
static bool skipTime(CellScanner &scanner)
{
    int hour = 0;
    int minute = 0;
    if (scanner.skipDigits(&hour) == 0 || !scanner.skip(':') || scanner.skipDigits(&minute) != 2 ||
        minute > 59)
        return false;
    if (scanner.skip(':')) {
        if (scanner.skipDigits() != 2)
            return false;
        const QChar *const before = scanner.position();
        if (scanner.skipOneOf(".,") && scanner.skipDigits() == 0)
            scanner.setPosition(before);
    }
    const QChar *const before = scanner.position();
    scanner.skip(' ');
    const QStringView half = scanner.skipLetters();
    const bool isHalf = half.compare(QLatin1String("am"), Qt::CaseInsensitive) == 0 ||
                        half.compare(QLatin1String("pm"), Qt::CaseInsensitive) == 0;
    const bool isZone = half == QLatin1String("Z") || half == QLatin1String("UTC");
    if (!isHalf && !isZone)
        scanner.setPosition(before);
    if (scanner.skipOneOf("+-")) {
        scanner.skipDigits();
        if (scanner.skip(':'))
            scanner.skipDigits();
    }
    return true;
}

static bool isDate(QStringView text)
{
    const int longest = 40;
    if (text.size() > longest)
        return false;
    CellScanner scanner(text);
    if (skipTime(scanner) && scanner.isAtEnd())
        return true;
    scanner.setPosition(text.begin());
    if (!skipNumericDate(scanner)) {
        scanner.setPosition(text.begin());
        if (!skipNamedDate(scanner))
            return false;
    }
    if (scanner.isAtEnd())
        return true;
    scanner.skip(',');
    while (scanner.skipOneOf(" T_")) {
    }
    return skipTime(scanner) && scanner.isAtEnd();
}

static bool isMissing(QStringView text)
{
    static const char *const words[] = {"-",   "--",  "---", "?",    ".",    "n/a",     "na",
                                        "nan", "nil", "inf", "-inf", "null", "missing", "#n/a"};
    const int longest = 7;
    return text.size() <= longest &&
           std::any_of(std::begin(words), std::end(words), [&](const char *word) {
               return text.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
           });
}

CellClass classifyCell(QStringView text)
{
    CellClass result;
    if (text.isEmpty())
        return result;
    result.kind = CellKind::Text;
    const QChar first = text.front();
    const bool mayBeNumber = isDigit(first) || first == QLatin1Char('.') ||
                             first == QLatin1Char(',') || first == QLatin1Char('+') ||
                             first == QLatin1Char('-') || first == QLatin1Char('$') ||
                             first == QChar(0x20ac) || first == QChar(0x2212);
    if (mayBeNumber && classifyNumber(text, result))
        return result;
    if (isMissing(text))
        result.kind = CellKind::Missing;
    else if ((isDigit(first) || isDigit(text.back()) || text.back() == QLatin1Char('M') ||
              text.back() == QLatin1Char('Z')) &&
             isDate(text))
        result.kind = CellKind::Date;
    return result;
}

// Units

static bool isPlainUnit(QStringView text)
{
    static const char *const units[] = {
        "s",   "sec", "min", "h",  "hr",  "d",    "m",   "g",   "t",   "N",    "Pa",  "bar",
        "psi", "V",   "A",   "W",  "Hz",  "K",    "C",   "F",   "deg", "rad",  "rpm", "U",
        "l",   "L",   "J",   "S",  "dB",  "lx",   "mol", "in",  "ft",  "lb",   "lbf", "ksi",
        "Nm",  "Wh",  "VA",  "Ah", "ppm", "degC", "ohm", "Ohm", "px",  "inch", "mph", "kn",
        "eV",  "cd",  "lm",  "T",  "H",   "Bq",   "Gy",  "Sv",  "kt",  "yr",   "day", "a"};
    const auto isOne = [](QStringView unit) {
        return std::any_of(std::begin(units), std::end(units),
                           [&](const char *known) { return unit == QLatin1String(known); });
    };
    if (isOne(text) || text == QLatin1String("%") || text == QLatin1String("1"))
        return true;
    const QChar prefix = text.isEmpty() ? QChar() : text.front();
    if (prefix == QChar(0x00b0)) // degrees of any kind
        return true;
    if (text == QString(QChar(0x2126)) || text == QString(QChar(0x03a9)))
        return true;
    const bool isPrefixed = QStringLiteral("numckMGTdhp").contains(prefix) ||
                            prefix == QChar(0x00b5) || prefix == QChar(0x03bc);
    return isPrefixed && text.size() > 1 &&
           (isOne(text.mid(1)) || text.mid(1) == QString(QChar(0x03a9)));
}

bool isUnit(QStringView text)
{
    const int longest = 16;
    if (text.isEmpty() || text.size() > longest)
        return false;
    const QChar first = text.front();
    const QChar last = text.back();
    const bool isBracketed = (first == QLatin1Char('[') && last == QLatin1Char(']')) ||
                             (first == QLatin1Char('(') && last == QLatin1Char(')')) ||
                             (first == QLatin1Char('{') && last == QLatin1Char('}')) ||
                             (first == QLatin1Char('<') && last == QLatin1Char('>'));
    if (isBracketed)
        return true;
    // Each factor is a unit with an exponent.
    const QString whole = text.toString();
    int begin = 0;
    for (int i = 0; i <= whole.size(); ++i) {
        const bool isEnd = i == whole.size() || whole.at(i) == QLatin1Char('/') ||
                           whole.at(i) == QLatin1Char('*') || whole.at(i) == QChar(0x00b7);
        if (!isEnd)
            continue;
        QStringView factor = QStringView(whole).mid(begin, i - begin);
        while (factor.size() > 1 &&
               (isDigit(factor.back()) || factor.back() == QLatin1Char('^') ||
                factor.back() == QLatin1Char('-') || factor.back() == QChar(0x00b2) ||
                factor.back() == QChar(0x00b3)))
            factor = factor.chopped(1);
        if (!isPlainUnit(factor))
            return false;
        begin = i + 1;
    }
    return true;
}

} // namespace Utils
