#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Utils {

/// The plural forms of languages, by the rules of CLDR.
namespace PluralRules {

/// The rules that some languages share, as CLDR writes them: "one: i = 1 and v = 0; few: ...". A
/// number that no rule is true of has the form "other".
struct RuleSet
{
    const char *languages; ///< separated by spaces
    const char *rules;
};
extern const RuleSet ruleSets[];
extern const int numRuleSets;

/// The forms of \p language, such as "en", "pt_BR" or "pt-PT", in the order of CLDR: "one" and
/// "other", for example. A language without rules in CLDR has only "other".
QStringList forms(const QString &language);

/// The form of \p number, which is written in the digits that are shown: "1" and "1.0" differ in
/// some languages. An exponent follows a "c" or an "e", as in "1c6". "other" for any other text.
QString form(const QString &language, const QByteArray &number);

/// The same with \p decimals digits after the point; with a negative \p decimals, as many as the
/// number needs.
QString form(const QString &language, double number, int decimals);

} // namespace PluralRules
} // namespace Utils
