// kelm strings: looks a text up in the catalogue, or checks string tables.

#include "examples/console/commands/Strings.h"

#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/strings/StringTable.h"

#include <QRegularExpression>

#include <algorithm>

namespace Kelm {

using Utils::StringTable;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"table", "Loads the table NAME as well. May be given several times.", "NAME"},
        {"item", "Prints only the item NUMBER, from 0, of a text such as \"mm; cm; m\".", "NUMBER"},
        {"part", "Prints only the value of NAME in a text such as \"[min=Least][max=Most]\".",
         "NAME"},
        {"count", "Prints the form of the text for NUMBER, as of \"1 file\" and \"2 files\".",
         "NUMBER"},
        {"check", "Prints the mistakes in the string tables FILE..., in each one and between the "
                  "languages of a table."},
        {"pseudo", "Prints the string table FILE for a language that nobody speaks: its texts are "
                   "longer and have accents."},
    });
}

/// Replaces the placeholders %1 to %99 of \p text by \p values: the first value replaces those with
/// the lowest number, and so on. A value may contain "%1". Returns false when there are more values
/// than placeholders.
static bool putValues(QString &text, const QStringList &values)
{
    static const QRegularExpression place("%([1-9][0-9]?)");
    QList<int> numbers;
    for (auto found = place.globalMatch(text); found.hasNext();) {
        const int number = found.next().captured(1).toInt();
        if (!numbers.contains(number))
            numbers.append(number);
    }
    if (values.size() > numbers.size())
        return false;
    std::sort(numbers.begin(), numbers.end());

    QString filled;
    int end = 0;
    for (auto found = place.globalMatch(text); found.hasNext();) {
        const QRegularExpressionMatch match = found.next();
        const int index = numbers.indexOf(match.captured(1).toInt());
        filled += text.midRef(end, match.capturedStart() - end);
        filled += index < values.size() ? values[index] : match.captured();
        end = match.capturedEnd();
    }
    text = filled + text.mid(end);
    return true;
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QStringList arguments = given.positionalArguments();
    if (given.isSet("check"))
        return checkStrings(arguments);
    if (given.isSet("pseudo"))
        return arguments.size() == 1 ? printPseudoLocale(arguments.constFirst())
                                     : misused("--pseudo needs one file");

    const QString key = arguments.constFirst();
    const auto item = wholeNumber(given.value("item"), 0);
    if (given.isSet("item") && !item)
        return misused("--item must be a whole number from 0 on");
    const QString count = given.value("count");
    bool isNumber = false;
    const double number = count.toDouble(&isNumber);
    if (given.isSet("count") && !isNumber)
        return misused("--count must be a number");

    for (const QString &table : given.values("table")) {
        if (!StringTable::load(table))
            return failed(QString("There is no table \"%1\"").arg(table));
    }

    QString text = given.isSet("count")
                       ? StringTable::lookupn(key, number, count.section('.', 1).size())
                       : StringTable::lookup(key);
    // When nothing is found, the text is the key, or its id, which begins with a dot.
    if (text == key || (text.startsWith('.') && key.endsWith(text)))
        return failed(QString("There is no text for \"%1\"").arg(key));
    if (item)
        text = StringTable::lookupi(key, *item);
    else if (given.isSet("part"))
        text = StringTable::lookupk(key, given.value("part"), "");
    if (text.isEmpty() && (item || given.isSet("part")))
        return failed(QString("The text of \"%1\" has no such part").arg(key));

    if (!putValues(text, arguments.mid(1)))
        return failed(QString("The text of \"%1\" has no place for so many values").arg(key));
    print(text);
    return good();
}

const Command stringsCommand = {
    "strings",
    "KEY [VALUE...] | --check FILE... | --pseudo FILE",
    1,
    -1,
    "Looks a text up in the catalogue and puts values into it, or checks string tables.",
    declare,
    run,
};

} // namespace Kelm
