// Lines of text, as a text stream reads them, pulled and pushed.

#include "utils/files/FileReader.h"

#include "fuzz/Input.h"

#include <QTextStream>

using Data::String;
using Utils::FileReader;

class Collector : public FileReader
{
public:
    explicit Collector(const String &path) : FileReader(path) {}
    QStringList lines;

protected:
    bool lineRead(const String &line) override
    {
        lines.append(line);
        return true;
    }
};

static QStringList plainLines(const QByteArray &bytes)
{
    QTextStream stream(bytes);
    stream.setCodec("UTF-8");
    QStringList lines;
    while (!stream.atEnd())
        lines.append(stream.readLine());
    return lines;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFile scratch("file.txt");
    Input input(data, size);
    const bool isTrimmed = input.flag();
    const int pulled = input.choice(8);
    const QByteArray bytes = input.rest();
    scratch.write(bytes);
    const QStringList plain = plainLines(bytes);

    FileReader reader(scratch.path());
    require(reader.isOpen(), "a file is open");
    String line("before");
    for (const QString &expected : plain) {
        require(reader.readLine(line, isTrimmed), "a line is there");
        requireEqual<QString>(line, isTrimmed ? expected.trimmed() : expected, "a line is read");
    }
    line = "before";
    require(!reader.readLine(line, isTrimmed), "no line is there");
    requireEqual<QString>(line, QStringLiteral("before"), "the line is left alone at the end");
    requireEqual(reader.lineCount(), plain.size(), "lines are counted");

    Collector collector(scratch.path());
    for (int i = 0; i < pulled; ++i)
        requireEqual<QString>(collector.nextLine(), plain.value(i), "a line is pulled");
    collector.readFile();
    requireEqual<QStringList>(collector.lines, plain.mid(pulled), "the rest is pushed");
    return 0;
}
