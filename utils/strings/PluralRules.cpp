#include "utils/strings/PluralRules_p.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <optional>

namespace Utils {
namespace PluralRules {

static const QLatin1String other("other");
static const int mostDecimals = 300;

namespace {

/// The operands of CLDR for a number, which depend on its digits.
struct Operands
{
    QByteArray integer;  ///< the digits before the point
    QByteArray fraction; ///< those after it that are shown
    int exponent = 0;
};

/// The value of an operand or of its remainder. A number with a fraction equals no number in a
/// rule.
struct Amount
{
    bool isWhole;
    qint64 value;
};

} // namespace

static bool areDigits(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

static std::optional<Operands> operandsOf(const QByteArray &number)
{
    QByteArray digits = number.startsWith('-') ? number.mid(1) : number;
    const auto mark =
        std::find_if(digits.begin(), digits.end(), [](char c) { return c == 'c' || c == 'e'; });
    const int length = static_cast<int>(mark - digits.begin());
    Operands operands;
    if (length < digits.size()) {
        bool isNumber = false;
        operands.exponent = digits.mid(length + 1).toInt(&isNumber);
        if (!isNumber || operands.exponent < 0 || operands.exponent > mostDecimals)
            return std::nullopt;
        digits.truncate(length);
    }
    const int point = digits.indexOf('.');
    operands.integer = digits.left(point < 0 ? digits.size() : point);
    operands.fraction = point < 0 ? QByteArray() : digits.mid(point + 1);
    if (operands.integer.isEmpty() || !areDigits(operands.integer) || !areDigits(operands.fraction))
        return std::nullopt;

    const int moved = std::min(operands.exponent, operands.fraction.size());
    operands.integer += operands.fraction.left(moved);
    operands.integer += QByteArray(operands.exponent - moved, '0');
    operands.fraction.remove(0, moved);
    return operands;
}

static QByteArray withoutZerosAtEnd(QByteArray digits)
{
    while (digits.endsWith('0'))
        digits.chop(1);
    return digits;
}

/// The number in \p digits, or its remainder when it is divided by \p divisor, which may be 0. A
/// number that is larger than all numbers in rules may be replaced by any other such number.
static qint64 valueOf(const QByteArray &digits, qint64 divisor)
{
    static constexpr qint64 huge = 1000000000000;
    qint64 value = 0;
    for (const char digit : digits) {
        value = value * 10 + (digit - '0');
        value = divisor > 0 ? value % divisor : std::min(value, huge);
    }
    return value;
}

static Amount amountOf(const Operands &operands, char operand, qint64 divisor)
{
    const QByteArray significant = withoutZerosAtEnd(operands.fraction);
    const auto count = [&](qint64 number) {
        return Amount{true, divisor > 0 ? number % divisor : number};
    };
    switch (operand) {
    case 'n':
        return {significant.isEmpty(), valueOf(operands.integer, divisor)};
    case 'i':
        return {true, valueOf(operands.integer, divisor)};
    case 'f':
        return {true, valueOf(operands.fraction, divisor)};
    case 't':
        return {true, valueOf(significant, divisor)};
    case 'v':
        return count(operands.fraction.size());
    default: // "c" or "e"; no language has a rule with "w"
        return count(operands.exponent);
    }
}

/// Whether \p amount is in \p ranges, such as "0,2..4".
static bool isIn(const Amount &amount, const QByteArray &ranges)
{
    const QList<QByteArray> parts = ranges.split(',');
    return amount.isWhole && std::any_of(parts.begin(), parts.end(), [&](const QByteArray &part) {
               const int dots = part.indexOf("..");
               const qint64 least = part.left(dots < 0 ? part.size() : dots).toLongLong();
               const qint64 most = dots < 0 ? least : part.mid(dots + 2).toLongLong();
               return amount.value >= least && amount.value <= most;
           });
}

/// Whether a relation such as "n % 10 = 2..4" is true.
static bool isTrue(const QByteArray &relation, const Operands &operands)
{
    const QList<QByteArray> words = relation.trimmed().split(' ');
    const bool hasDivisor = words.value(1) == "%";
    const Amount amount =
        amountOf(operands, words.constFirst().at(0), hasDivisor ? words.value(2).toLongLong() : 0);
    const bool isWanted = words.value(hasDivisor ? 3 : 1) == "=";
    return isIn(amount, words.constLast()) == isWanted;
}

static QList<QByteArray> split(const QByteArray &text, const char *separator)
{
    QByteArray marked = text;
    return marked.replace(separator, "\n").split('\n');
}

/// Whether a rule such as "n = 1 or t != 0 and i = 0,1" is true. "and" binds tighter than "or".
static bool isRuleTrue(const QByteArray &rule, const Operands &operands)
{
    const QList<QByteArray> choices = split(rule, " or ");
    return std::any_of(choices.begin(), choices.end(), [&](const QByteArray &choice) {
        const QList<QByteArray> relations = split(choice, " and ");
        return std::all_of(relations.begin(), relations.end(),
                           [&](const QByteArray &relation) { return isTrue(relation, operands); });
    });
}

/// The rules of \p language, each as "one: n = 1".
static QList<QByteArray> rulesOf(const QString &language)
{
    const QByteArray whole = language.toLatin1().replace('_', '-');
    const int end = whole.indexOf('-');
    for (const QByteArray &name : {whole, whole.left(end)}) {
        for (int i = 0; i < numRuleSets; ++i) {
            const RuleSet &set = ruleSets[i];
            if (QByteArray(set.languages).split(' ').contains(name))
                return *set.rules ? split(set.rules, "; ") : QList<QByteArray>();
        }
    }
    return {};
}

QStringList forms(const QString &language)
{
    QStringList names;
    for (const QByteArray &rule : rulesOf(language))
        names.append(QString::fromLatin1(rule.left(rule.indexOf(':'))));
    return names << other;
}

QString form(const QString &language, const QByteArray &number)
{
    const std::optional<Operands> operands = operandsOf(number);
    if (!operands)
        return other;
    for (const QByteArray &rule : rulesOf(language)) {
        const int colon = rule.indexOf(':');
        if (isRuleTrue(rule.mid(colon + 1), *operands))
            return QString::fromLatin1(rule.left(colon));
    }
    return other;
}

QString form(const QString &language, double number, int decimals)
{
    if (!std::isfinite(number))
        return other;
    QLocale plain = QLocale::c();
    plain.setNumberOptions(QLocale::OmitGroupSeparator);
    const int precision =
        decimals < 0 ? int(QLocale::FloatingPointShortest) : std::min(decimals, mostDecimals);
    return form(language, plain.toString(number, 'f', precision).toLatin1());
}

} // namespace PluralRules
} // namespace Utils
