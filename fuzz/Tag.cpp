// The properties of a tag as lines and as text.

#include "utils/tagfile/TagFile.h"

#include "fuzz/Input.h"

using Utils::TagFile;

static void checkLines(const QStringList &lines, int options)
{
    TagFile::Tag tag("tag");
    tag.fromList(lines, options);
    requireEqual(tag.keys.size(), tag.values.size(), "each key has a value");
    const QStringList written = tag.toStringList(0, options);
    if (tag.contains("$") || (options & TagFile::DropNone) != 0)
        return; // a comment is not read, nor is what says that there is nothing

    // One entry may hold a line feed where a value has several lines.
    const QStringList entries = written.join(QLatin1Char('\n')).split(QLatin1Char('\n'));
    TagFile::Tag again("tag");
    again.fromList(entries, options);
    requireEqual(again.toStringList(0, options), written, "what was written is written again");
}

static void checkProperties(const QStringList &lines)
{
    TagFile::Tag tag("tag");
    for (int i = 0; i + 1 < lines.size(); i += 2)
        tag.add(lines.at(i), Data::String(lines.at(i + 1)));
    for (int i = 0; i < tag.numProps(); ++i) {
        Data::String key;
        Data::String value;
        require(tag.get(i, key, value), "a property is there");
        const int skip = tag.keys.mid(0, i).count(key);
        requireEqual(tag.indexOf(key, skip), i, "a property is found");
        requireEqual<QString>(tag.get(key, skip), value, "with its value");
        require(tag.count(key) > skip && tag.contains(key), "and counted");
        tag.getBool(key, skip);
        tag.getInt(key, skip);
        tag.getDouble(key, skip);
        tag.getBytes(key, skip);

        const QStringList items = value.split(QLatin1Char(';'));
        TagFile::Tag list("list");
        list.add("items", items, ";");
        if (!value.isEmpty())
            requireEqual(list.getList("items", ";", 0), items, "a list comes back");
        list.add("bytes", value.toUtf8());
        requireEqual(list.getBytes("bytes", 0), value.toUtf8(), "bytes come back");
    }
    if (tag.numProps() > 0) {
        const Data::String key = tag.keys.first();
        const int count = tag.count(key);
        tag.replace(key, "new");
        requireEqual<QString>(tag.get(key, 0), QStringLiteral("new"), "a value is replaced");
        requireEqual(tag.remove(key).count(key), count - 1, "a property is removed");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const bool hasLines = input.flag();
    const int options = input.choice(64);
    const QStringList lines = textOf(input.rest()).split(QLatin1Char('\n'));
    if (hasLines)
        checkLines(lines, options);
    else
        checkProperties(lines);
    return 0;
}
