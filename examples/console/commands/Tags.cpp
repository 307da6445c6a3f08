// kelm tags: shows a tag file, or some of its tags and values, and writes them to another file.

#include "examples/console/Files.h"
#include "examples/console/Output.h"
#include "examples/console/commands/Commands.h"
#include "utils/tagfile/TagFile.h"

namespace Kelm {

using Utils::TagFile;

static void declare(QCommandLineParser &parser)
{
    parser.addOptions({
        {"name", "Selects only the tags with this name.", "NAME"},
        {"where", "Selects only the tags whose first KEY has that value.", "KEY=VALUE"},
        {"list", "Prints the type of the file, and a line for each tag."},
        {"key", "Prints only the values of KEY, each on its own line.", "KEY"},
        {"to", "Writes the tags to FILE; comments are not kept.", "FILE"},
    });
}

static void printList(const TagFile &file, const TagFile &tags)
{
    print(QString("Type %1, version %2").arg(file.fileType(), file.fileVersion()));
    for (int i = 0; i < tags.numTags(); ++i) {
        const TagFile::Tag &tag = tags.tag(i);
        const QString first =
            tag.numProps() > 0 ? ": " + tag.keys[0] + " " + tag.values[0] : QString();
        print(QString("%1%2, %3 properties").arg(tag.name, first).arg(tag.numProps()));
    }
}

static Result printValues(const TagFile &tags, const QString &key)
{
    bool isFound = false;
    for (int i = 0; i < tags.numTags(); ++i) {
        const TagFile::Tag &tag = tags.tag(i);
        for (int skip = 0; skip < tag.count(key); ++skip) {
            print(tag.get(key, skip));
            isFound = true;
        }
    }
    return isFound ? good() : failed(QString("No tag has the key \"%1\"").arg(key));
}

static Result run(const QCommandLineParser &given, Host &)
{
    const QString path = given.positionalArguments().constFirst();
    const QString name = given.value("name");
    const QString key = given.value("where").section('=', 0, 0);
    const QString value = given.value("where").section('=', 1);
    if (given.isSet("where") && (key.isEmpty() || !given.value("where").contains('=')))
        return misused("--where must be KEY=VALUE");
    if (given.isSet("key") && given.isSet("to"))
        return misused("--key and --to exclude each other");

    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        return failed(problem);
    TagFile file;
    Data::String error;
    if (!file.read(path, error))
        return failed(error);
    if (file.numTags() == 0)
        return failed(QString("No tags are in \"%1\"").arg(path));

    TagFile chosen;
    for (int i = 0; i < file.numTags(); ++i) {
        const TagFile::Tag &tag = file.tag(i);
        const bool hasName = !given.isSet("name") || tag.name == name;
        const bool hasValue = key.isEmpty() || (tag.contains(key) && tag.get(key, 0) == value);
        if (hasName && hasValue)
            chosen.addTag(tag);
    }
    if (chosen.numTags() == 0)
        return failed(QString("No such tag is in \"%1\"").arg(path));

    if (given.isSet("list"))
        printList(file, chosen);
    if (given.isSet("key"))
        return printValues(chosen, given.value("key"));
    const QString text = chosen.toString();
    if (given.isSet("to")) {
        const QString failure = writeFile(given.value("to"), text);
        return failure.isEmpty() ? good() : failed(failure);
    }
    if (!given.isSet("list"))
        print(text.trimmed());
    return good();
}

const Command tagsCommand = {
    "tags", "FILE", 1, 1, "Shows a tag file, or some of its tags and values.", declare, run,
};

} // namespace Kelm
