#include "utils/files/FileByteReader.h"

#include "utils/platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace Utils {

static const int maxOffset = std::numeric_limits<int>::max();
static const int maxSize = maxOffset - 64; // a byte array has a few bytes of its own

// Line feeds behind a zero byte are not seen up to the end of such a block.
static const int indexBlock = 10240;

// Read in one go for the index: whole blocks, and whole buffers of a stream, which is so passed by.
static const int indexRead = 32 * indexBlock;

namespace {

struct StreamCloser
{
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};

} // namespace

class FileByteReaderPrivate
{
public:
    void buildIndex();
    bool hasLine(); // builds the index when it is not there
    bool takeLine(QByteArray &line);
    int read(char *bytes, int size); // at the position

    std::unique_ptr<std::FILE, StreamCloser> file;
    bool isBroken = false; // the last read has failed, so that it may be short
    std::vector<int> lineOffsets;
    int currentLine = 0;
    qint64 position = 0;

private:
    void readOffsets();
    bool readNext(QByteArray &line);

    /// A part of the file that lines are cut from: a seek and a read a line would be slow.
    struct Window
    {
        bool holds(int offset, int size) const
        {
            return offset >= start && qint64(offset) + size <= start + count;
        }

        static const int capacity = 128 * 1024;
        std::vector<char> bytes;
        qint64 start = 0;
        int count = 0;
    };

    void moveWindow(int offset, int size);

    Window window;
    qint64 streamPosition = 0;
};

void FileByteReaderPrivate::buildIndex()
{
    if (!lineOffsets.empty() || !file)
        return;

    lineOffsets.push_back(0);
    try {
        readOffsets();
    } catch (const std::bad_alloc &) {
        lineOffsets = {0}; // more lines than the memory holds: none
    }
}

void FileByteReaderPrivate::readOffsets()
{
    std::vector<char> bytes(indexRead);
    while (position <= maxOffset) {
        const qint64 start = position;
        const int count = read(bytes.data(), indexRead);
        if (isBroken)
            lineOffsets = {0}; // not only the lines up to there, which would pass for all
        if (isBroken || count == 0)
            return;
        for (int block = 0; block < count; block += indexBlock) {
            const char *next = bytes.data() + block;
            const char *end = next + std::min(indexBlock, count - block);
            if (const void *zero = std::memchr(next, '\0', static_cast<std::size_t>(end - next)))
                end = static_cast<const char *>(zero);
            while (const void *feed = std::memchr(next, '\n', static_cast<std::size_t>(end - next)))
            {
                next = static_cast<const char *>(feed) + 1;
                const qint64 offset = start + (next - bytes.data());
                if (offset > maxOffset)
                    return;
                lineOffsets.push_back(static_cast<int>(offset));
            }
        }
    }
}

bool FileByteReaderPrivate::hasLine()
{
    buildIndex();
    return static_cast<std::size_t>(currentLine) + 1 < lineOffsets.size();
}

bool FileByteReaderPrivate::takeLine(QByteArray &line)
{
    try {
        return readNext(line);
    } catch (const std::bad_alloc &) {
        return false; // larger than the memory
    }
}

bool FileByteReaderPrivate::readNext(QByteArray &line)
{
    const auto index = static_cast<std::size_t>(currentLine);
    const int offset = lineOffsets[index];
    const int length = lineOffsets[index + 1] - offset - 1;
    ++currentLine;

    position = offset;
    int count = 0; // smaller than the length where the file was cut meanwhile
    if (length > Window::capacity && length <= maxSize) {
        line.resize(length);
        count = read(line.data(), length);
        line.resize(count);
        if (line.endsWith('\r'))
            line.chop(1);
    } else if (length > 0 && length <= Window::capacity) {
        if (!window.holds(offset, length))
            moveWindow(offset, length);
        const qint64 first = offset - window.start;
        count = static_cast<int>(qBound<qint64>(0, window.count - first, length));
        position = offset + count;

        // One resize, as it is what a short line costs.
        const char *const bytes = window.bytes.data() + first;
        const int size = count > 0 && bytes[count - 1] == '\r' ? count - 1 : count;
        line.resize(size);
        std::memcpy(line.data(), bytes, static_cast<std::size_t>(size));
    }
    return count > 0 && (count == length || !isBroken);
}

int FileByteReaderPrivate::read(char *bytes, int size)
{
    isBroken = position != streamPosition &&
               std::fseek(file.get(), static_cast<long>(position), SEEK_SET) != 0;
    if (isBroken)
        return 0;
    const std::size_t count = std::fread(bytes, 1, static_cast<std::size_t>(size), file.get());
    isBroken = std::ferror(file.get()) != 0;
    std::clearerr(file.get());
    position += static_cast<qint64>(count);
    streamPosition = isBroken ? -1 : position; // no read tells where it has failed
    return static_cast<int>(count);
}

void FileByteReaderPrivate::moveWindow(int offset, int size)
{
    // Whoever goes back may go back further.
    const bool goesBack = offset < window.start;
    window.start = goesBack ? std::max(0, offset + size - Window::capacity) : offset;
    window.bytes.resize(Window::capacity);
    position = window.start;
    window.count = read(window.bytes.data(), Window::capacity);
}

FileByteReader::FileByteReader(const Data::String &path)
    : d(std::make_unique<FileByteReaderPrivate>())
{
    d->file.reset(Platform::openFile(path.toStdString(), "rb"));
}

FileByteReader::~FileByteReader() = default;

bool FileByteReader::isOpen() const { return d->file != nullptr; }

bool FileByteReader::readLine(QByteArray &line, bool trim)
{
    if (!d->hasLine() || !d->takeLine(line)) {
        line.clear();
        return false;
    }
    if (trim)
        line = line.trimmed();
    return true;
}

QByteArray FileByteReader::nextLine()
{
    QByteArray line;
    readLine(line, /*trim=*/false);
    return line;
}

void FileByteReader::rereadLine()
{
    if (d->currentLine > 0)
        --d->currentLine;
}

int FileByteReader::lineCount() const { return d->currentLine; }

void FileByteReader::readFile()
{
    QByteArray line;
    while (d->hasLine() && d->takeLine(line)) {
        if (!lineRead(line))
            return;
    }
}

QByteArray FileByteReader::read(long n)
{
    QByteArray bytes;
    if (!d->file || n <= 0)
        return bytes;

    // Grows with what is found, so that a caller may ask for more than there is.
    const int wanted = static_cast<int>(std::min<long>(n, maxSize));
    int size = 0;
    int asked = 0;
    int count = 0;
    try {
        do {
            asked = std::min(wanted - size, std::max(size, 1 << 20));
            bytes.resize(size + asked);
            count = d->read(bytes.data() + size, asked);
            size += count;
        } while (count == asked && size < wanted);
        bytes.resize(size);
        return bytes;
    } catch (const std::bad_alloc &) {
        return {}; // larger than the memory
    }
}

bool FileByteReader::lineRead(const QByteArray &) { return true; }

} // namespace Utils
