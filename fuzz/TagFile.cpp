// Tag files: the library reads and writes them as the plain code of its tests does, and what was
// written once is written again as it is.

#include "utils/tagfile/TagFile.h"

#include "fuzz/Input.h"
#include "tests/tagfile/PlainTagFile.h"

#include <algorithm>

using Utils::TagFile;

static const ScratchFile &scratch()
{
    static const ScratchFile file("file.tag");
    return file;
}

static void setOptions(TagFile &file, int options)
{
    file.setOption(-1, false);
    file.setOption(options, true);
}

static bool isAlike(const TagFile &file, const PlainTags &plain)
{
    if (file.numTags() != static_cast<int>(plain.size()))
        return false;
    for (int i = 0; i < file.numTags(); ++i) {
        const TagFile::Tag &tag = file.tag(i);
        const TagFile::Tag &other = *plain[static_cast<std::size_t>(i)];
        if (tag.line != other.line || tag.name != other.name || tag.comment != other.comment ||
            tag.keys != other.keys || tag.values != other.values)
            return false;
    }
    return true;
}

static void read(TagFile &file, const QByteArray &bytes)
{
    scratch().write(bytes);
    Data::String error;
    require(file.read(scratch().path(), error), "a tag file is read");
}

static QByteArray save(TagFile &file)
{
    Data::String error;
    require(file.save(scratch().path(), error), "a tag file is saved");
    return scratch().read();
}

/// How many properties each tag has.
static QList<int> numbersOfProperties(const TagFile &file)
{
    QList<int> numbers;
    for (int i = 0; i < file.numTags(); ++i)
        numbers.append(file.tag(i).numProps());
    return numbers;
}

/// Whether some of \p file is not read back: a tag without a name, a colon that a block escapes in
/// vain, or a carriage return or a mark that stands where a line or the file ends or starts.
static bool losesSomething(const TagFile &file, const QByteArray &written)
{
    for (int i = 0; i < file.numTags(); ++i) {
        const TagFile::Tag &tag = file.tag(i);
        if (tag.name.isEmpty() || tag.name == QLatin1String("$"))
            return true;
        for (const QString &value : tag.values) {
            if (value.contains(QLatin1String("\\:")) || value.contains(QLatin1String("*COLON*")))
                return true;
        }
    }
    return written.contains("\r\n") || written.contains("\xef\xbb\xbf");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const int options = input.choice(64);
    const QByteArray bytes = input.rest();

    TagFile file;
    setOptions(file, options);
    read(file, bytes);
    QTextStream stream(bytes);
    stream.setCodec("UTF-8");
    PlainTags plain;
    readPlainly(stream, options, plain);
    require(isAlike(file, plain), "tags are read as plainly");

    const QByteArray written = save(file);
    QByteArray writtenPlainly;
    QTextStream out(&writtenPlainly);
    out.setCodec("UTF-8");
    writePlainly(out, options, plain);
    out.flush();
    requireEqual(written, writtenPlainly, "tags are written as plainly");

    TagFile again;
    setOptions(again, options);
    read(again, written);
    if (numbersOfProperties(again) == numbersOfProperties(file) && !losesSomething(file, written))
        requireEqual(save(again), written, "what was written is written again");
    return 0;
}
