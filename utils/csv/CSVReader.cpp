#include "utils/csv/CSVReader.h"

#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

#include <QVector>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <new>

namespace Utils {

static const int maxOffset = std::numeric_limits<int>::max();
static const int maxSize = maxOffset - 64; // a byte array has a few bytes of its own

static const int maxEntries = maxSize / static_cast<int>(sizeof(void *)); // of a list

// The rules about zero bytes and the steps of the progress go by such blocks.
static const int blockSize = 10240;

namespace {

/// The open file, which copies of a reader share.
class Source
{
public:
    explicit Source(std::FILE *file) : m_file(file) {}
    ~Source() { close(); }
    Source(const Source &) = delete;
    Source &operator=(const Source &) = delete;

    void close()
    {
        if (m_file)
            std::fclose(m_file);
        m_file = nullptr;
    }

    bool seek(int offset) { return m_file && std::fseek(m_file, offset, SEEK_SET) == 0; }

    int read(char *bytes, int size)
    {
        if (!m_file)
            return 0;
        return static_cast<int>(std::fread(bytes, 1, static_cast<std::size_t>(size), m_file));
    }

private:
    std::FILE *m_file;
};

} // namespace

class CSVReaderPrivate
{
public:
    QByteArray delimiters;
    QVector<int> lineOffsets;
    double holeValue = 0.0;
    Data::String path;
    mutable QList<QByteArray> firstRow;
    mutable QList<QByteArray> lastRow;
    mutable int lastRowIndex = -1;
    std::shared_ptr<Source> source;

    /// Forgets what was read, and closes its file, also for copies.
    void setSource(const std::shared_ptr<Source> &newSource, const QVector<int> &newOffsets);

    QList<QByteArray> split(const QByteArray &line) const;
};

void CSVReaderPrivate::setSource(const std::shared_ptr<Source> &newSource,
                                 const QVector<int> &newOffsets)
{
    if (source)
        source->close();
    source = newSource;
    lineOffsets = newOffsets;
    firstRow.clear();
    lastRow.clear();
    lastRowIndex = -1;
}

/// The places of all lines of \p source. A pipe or device may have no end, and nothing in it can
/// be read again.
static QVector<int> findLines(Source &source, Progress *progress)
{
    QVector<int> offsets(1, 0);
    char block[blockSize];
    qint64 start = 0;
    while (start <= maxOffset) {
        const int count = source.read(block, blockSize);
        if (count == 0)
            break;
        const char *next = block;
        const char *end = block + count;
        if (const void *zero = std::memchr(next, '\0', static_cast<std::size_t>(end - next)))
            end = static_cast<const char *>(zero);
        while (const void *feed = std::memchr(next, '\n', static_cast<std::size_t>(end - next))) {
            next = static_cast<const char *>(feed) + 1;
            const qint64 offset = start + (next - block);
            if (offset <= maxOffset)
                offsets.append(static_cast<int>(offset));
        }
        start += count;
        if (progress)
            progress->tick(1);
    }
    offsets.squeeze();
    return offsets;
}

QList<QByteArray> CSVReaderPrivate::split(const QByteArray &line) const
{
    if (delimiters.isEmpty())
        return {};
    if (delimiters.size() == 1)
        return line.split(delimiters.at(0));

    QList<QByteArray> fields;
    const char *next = line.constData();
    const char *const end = next + line.size();
    const auto isDelimiter = [&](char byte) { return delimiters.contains(byte); };
    while (true) {
        const char *const start = std::find_if_not(next, end, isDelimiter);
        if (start == end)
            return fields;
        next = std::find_if(start, end, isDelimiter);
        fields.append(QByteArray(start, static_cast<int>(next - start)));
    }
}

CSVReader::CSVReader(char delimiter) : d(std::make_unique<CSVReaderPrivate>())
{
    addDelimiter(delimiter);
}

CSVReader::CSVReader(const CSVReader &other) : d(std::make_unique<CSVReaderPrivate>(*other.d)) {}

CSVReader &CSVReader::operator=(const CSVReader &other)
{
    *d = *other.d;
    return *this;
}

CSVReader::~CSVReader()
{
    if (d->source)
        d->source->close();
}

void CSVReader::addDelimiter(char delimiter)
{
    if (delimiter != '\0' && !d->delimiters.contains(delimiter))
        d->delimiters.append(delimiter);
}

bool CSVReader::read(const Data::String &path, Progress *progress)
{
    d->path = path;
    d->setSource(nullptr, {});

    // The open of a pipe waits for a writer, and what is in it could not be read twice.
    std::error_code error;
    if (path.isEmpty() ||
        !std::filesystem::is_regular_file(std::filesystem::u8path(path.toStdString()), error))
        return false;
    std::FILE *const file = File::openRead(path);
    if (!file)
        return false;

    // In place only when all is there: the host, which is told of progress, may come back to here.
    const auto source = std::make_shared<Source>(file);
    if (progress)
        progress->setMaxSteps(
            static_cast<int>(std::min<qint64>(File::size(path) / blockSize, maxOffset)));
    try {
        const QVector<int> lineOffsets = findLines(*source, progress);
        d->path = path;
        d->setSource(source, lineOffsets);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void CSVReader::setHoleValue(double value) { d->holeValue = value; }

bool CSVReader::isValid() const { return numRows() > 0; }

Data::String CSVReader::path() const { return d->path; }

int CSVReader::numRows() const { return d->lineOffsets.size(); }

int CSVReader::numColumns(int row) const { return data(row).size(); }

bool CSVReader::hasHeader() const
{
    const QList<QByteArray> fields = data(0);
    return std::any_of(fields.begin(), fields.end(), [](const QByteArray &field) {
        bool isNumber = false;
        field.trimmed().toDouble(&isNumber);
        return !isNumber;
    });
}

unsigned short CSVReader::checksum(int rows) const
{
    QByteArray bytes = QByteArray::number(numRows());
    const int end = rows < 0 ? numRows() : std::min(rows, numRows());
    for (int row = 0; row < end; ++row)
        bytes += readLine(row);
    return qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
}

QByteArray CSVReader::data(int row, int col) const
{
    if (row < 0 || row >= numRows())
        return {};
    if (col < 0)
        return readLine(row);
    return data(row).value(col);
}

QList<QByteArray> CSVReader::data(int row) const
{
    if (row < 0 || row >= numRows())
        return {};
    if (row == d->lastRowIndex)
        return d->lastRow;
    if (row == 0 && !d->firstRow.isEmpty())
        return d->firstRow;

    QList<QByteArray> fields;
    try {
        fields = d->split(readLine(row));
    } catch (const std::bad_alloc &) {
        return {};
    }
    d->lastRow = fields;
    d->lastRowIndex = row;
    if (row == 0)
        d->firstRow = fields;
    return fields;
}

QList<QByteArray> CSVReader::rowData(int row, int firstCol, int lastCol) const
{
    const QList<QByteArray> fields = data(row);
    const int start = std::max(firstCol, 0);
    if (lastCol < firstCol)
        return fields.mid(start);
    const int end = std::min(lastCol, fields.size() - 1) + 1;
    return start < end ? fields.mid(start, end - start) : QList<QByteArray>();
}

QList<QByteArray> CSVReader::colData(int col, int firstRow) const
{
    QList<QByteArray> column;
    if (col < 0 || firstRow >= numRows() || qint64(numRows()) - firstRow > maxEntries)
        return column;

    const int last = numRows() - 1;
    for (int row = firstRow; row <= last; ++row) {
        const QList<QByteArray> fields = data(row);
        const bool isEmpty =
            fields.isEmpty() || (fields.size() == 1 && fields.constFirst().isEmpty());
        if (row == last && isEmpty)
            break;
        column.append(fields.value(col));
    }
    return column;
}

Data::String CSVReader::dataD(int row, int col) const
{
    return QString::fromUtf8(data(row, col)).trimmed();
}

QStringList CSVReader::dataD(int row) const { return baToStrList(data(row)); }

QStringList CSVReader::rowDataD(int row, int firstCol, int lastCol) const
{
    return baToStrList(rowData(row, firstCol, lastCol));
}

QStringList CSVReader::colDataD(int col, int firstRow) const
{
    return baToStrList(colData(col, firstRow));
}

double CSVReader::dataValue(int row, int col, bool *ok) const
{
    return toValue(data(row, col), ok);
}

QList<double> CSVReader::dataValue(int row) const { return toValues(data(row)); }

QList<double> CSVReader::rowDataValue(int row, int firstCol, int lastCol) const
{
    return toValues(rowData(row, firstCol, lastCol));
}

QList<double> CSVReader::colDataValue(int col, int firstRow) const
{
    return toValues(colData(col, firstRow));
}

QStringList CSVReader::baToStrList(const QList<QByteArray> &fields) const
{
    QStringList texts;
    texts.reserve(fields.size());
    for (const QByteArray &field : fields)
        texts.append(QString::fromUtf8(field).trimmed());
    return texts;
}

QList<double> CSVReader::toValues(const QList<QByteArray> &fields) const
{
    QList<double> values;
    values.reserve(fields.size());
    for (const QByteArray &field : fields)
        values.append(toValue(field, nullptr));
    return values;
}

double CSVReader::toValue(const QByteArray &bytes, bool *ok) const
{
    const QByteArray trimmed = bytes.trimmed();
    if (!trimmed.isEmpty())
        return trimmed.toDouble(ok);
    if (ok)
        *ok = false;
    return d->holeValue;
}

QByteArray CSVReader::readLine(int row) const
{
    const int offset = d->lineOffsets.at(row);
    QByteArray line;
    if (!d->source || !d->source->seek(offset))
        return line;

    char block[blockSize];
    qint64 left = qint64(maxOffset) - offset;
    while (left > 0) {
        const int count =
            d->source->read(block, static_cast<int>(std::min<qint64>(left, blockSize)));
        if (count == 0)
            break;
        left -= count;
        const char *end = block + count;
        if (const void *zero = std::memchr(block, '\0', static_cast<std::size_t>(count)))
            end = static_cast<const char *>(zero);
        const void *feed = std::memchr(block, '\n', static_cast<std::size_t>(end - block));
        if (feed)
            end = static_cast<const char *>(feed);
        line.append(block, static_cast<int>(end - block));
        if (feed)
            break;
    }
    return line.replace("\r", "");
}

} // namespace Utils
