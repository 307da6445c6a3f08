// kelm strings: looks a text up in the catalogue.

#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/strings/StringTable.h"

namespace Kelm {

using Utils::StringTable;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"table", "Loads the table NAME as well. May be given several times.", "NAME"},
        {"item", "Prints only the item NUMBER, from 0, of a text such as \"mm; cm; m\".", "NUMBER"},
        {"part", "Prints only the value of NAME in a text such as \"[min=Least][max=Most]\".",
         "NAME"},
    });
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QStringList arguments = given.positionalArguments();
    const QString key = arguments.constFirst();
    const auto item = wholeNumber(given.value("item"), 0);
    if (given.isSet("item") && !item)
        return misused("--item must be a whole number from 0 on");

    for (const QString &table : given.values("table")) {
        if (!StringTable::load(table))
            return failed(QString("There is no table \"%1\"").arg(table));
    }

    QString text = StringTable::lookup(key);
    if (key.endsWith(text)) // what is not found is the key, or the part of it that is the id
        return failed(QString("There is no text for \"%1\"").arg(key));
    if (item)
        text = StringTable::lookupi(key, *item);
    else if (given.isSet("part"))
        text = StringTable::lookupk(key, given.value("part"), "");
    if (text.isEmpty())
        return failed(QString("The text of \"%1\" has no such part").arg(key));

    for (const QString &value : arguments.mid(1))
        text = text.arg(value);
    print(text);
    return good();
}

const Command stringsCommand = {
    "strings",
    "KEY [VALUE...]",
    1,
    -1,
    "Looks a text up in the catalogue, and puts values into it.",
    declare,
    run,
};

} // namespace Kelm
