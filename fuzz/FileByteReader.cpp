// Lines of bytes by their index, compared with a plain one, back and forth.

#include "utils/files/FileByteReader.h"

#include "fuzz/Input.h"

#include <algorithm>
#include <vector>

using Utils::FileByteReader;

/// Where lines start. Line feeds after a zero byte are not found up to the end of the block, which
/// counts from \p start.
static std::vector<int> lineStarts(const QByteArray &bytes, int start)
{
    const int block = 10240;
    std::vector<int> starts{0};
    for (int from = start; from < bytes.size(); from += block) {
        const QByteArray part = bytes.mid(from, block);
        const int zero = part.indexOf('\0');
        const int end = zero < 0 ? part.size() : zero;
        for (int i = 0; i < end; ++i) {
            if (part.at(i) == '\n')
                starts.push_back(from + i + 1);
        }
    }
    return starts;
}

/// A line, and the same without its carriage return.
static QByteArray lineAt(const QByteArray &bytes, const std::vector<int> &starts, int index)
{
    const auto i = static_cast<std::size_t>(index);
    return bytes.mid(starts[i], starts[i + 1] - starts[i] - 1);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFile scratch("file.bytes");
    Input input(data, size);
    const int before = input.flag() ? input.choice(64) : 0; // bytes read before the index
    const bool isTrimmed = input.flag();
    const int stride = input.choice(5);
    const QByteArray filler(input.choice(3) * 10200, 'x'); // to be near the end of a block
    const QByteArray bytes = filler + input.rest();
    scratch.write(bytes);

    FileByteReader reader(scratch.path());
    require(reader.isOpen(), "a file is open");
    const QByteArray head = reader.read(before);
    requireEqual(head, bytes.left(before), "bytes are read");
    const std::vector<int> starts = lineStarts(bytes, head.size());
    const int count = static_cast<int>(starts.size()) - 1;
    int backwards = 0;
    for (int index = 0; index < count; ++index) {
        const QByteArray whole = lineAt(bytes, starts, index);
        QByteArray expected = whole.endsWith('\r') ? whole.chopped(1) : whole;
        if (isTrimmed)
            expected = expected.trimmed();
        requireEqual(reader.lineCount(), index, "lines are counted");
        QByteArray line("before");
        requireEqual(reader.readLine(line, isTrimmed), !whole.isEmpty(),
                     "a line is there unless it is empty");
        requireEqual(line, expected, "a line is read");
        if (stride > 0 && index % 7 == stride && ++backwards < 20) {
            const int steps = std::min(stride, index + 1);
            for (int i = 0; i < steps; ++i)
                reader.rereadLine();
            index -= steps;
        }
    }
    QByteArray line("before");
    require(!reader.readLine(line, isTrimmed) && line.isEmpty(), "no line is there at the end");
    return 0;
}
