#include "utils/csv/CSVReader.h"

#include "utils/base/ByteScan_p.h"
#include "utils/base/Checksum_p.h"
#include "utils/base/LastError_p.h"
#include "utils/csv/CSVReader_p.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>

namespace Utils {

static bool hasReturns(const char *begin, const char *end)
{
    return begin != end && std::memchr(begin, '\r', static_cast<std::size_t>(end - begin));
}

static QByteArray withoutReturns(const char *begin, const char *end)
{
    QByteArray bytes(begin, static_cast<int>(end - begin));
    if (hasReturns(begin, end))
        bytes.truncate(
            static_cast<int>(std::remove(bytes.begin(), bytes.end(), '\r') - bytes.begin()));
    return bytes;
}

/// Returns the result of \p task, an operation that reads rows, or an empty one, with a reason,
/// when the memory does not suffice.
template <typename Task>
static auto readRows(const Task &task) -> decltype(task())
{
    const LastError operation;
    try {
        return task();
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return decltype(task())();
    }
}

void CSVReaderPrivate::addDelimiter(char delimiter)
{
    if (delimiter == '\0' || delimiters.contains(delimiter))
        return;
    delimiters.append(delimiter);
    isDelimiter[static_cast<unsigned char>(delimiter)] = delimiter != '\r';
}

void CSVReaderPrivate::setSource(const std::shared_ptr<LineSource> &newSource)
{
    if (source)
        source->close();
    source = newSource;
    firstRow.clear();
    lastRow.clear();
    lastRowIndex = -1;
}

/// The fields of a line without carriage returns.
QList<QByteArray> CSVReaderPrivate::split(const char *next, const char *end) const
{
    QList<QByteArray> fields;
    const auto append = [&](const char *begin, const char *fieldEnd) {
        fields.append(QByteArray(begin, static_cast<int>(fieldEnd - begin)));
    };
    const auto isAt = [&](char byte) { return isDelimiter[static_cast<unsigned char>(byte)]; };
    if (delimiters.size() == 1) {
        const char delimiter = delimiters.at(0);
        while (const char *const nextField = skipFieldsPlainly(next, end, delimiter, 1)) {
            append(next, nextField - 1);
            next = nextField;
        }
        append(next, end);
    } else if (!delimiters.isEmpty()) {
        while (true) {
            const char *const begin = std::find_if_not(next, end, isAt);
            if (begin == end)
                break;
            next = std::find_if(begin, end, isAt);
            append(begin, next);
        }
    }
    return fields;
}

void CSVReaderPrivate::cutField(const char *&begin, const char *&end, int col) const
{
    const char *const lineEnd = end;
    if (delimiters.size() == 1) {
        const char delimiter = delimiters.at(0);
        // Carriage returns are removed before a line is split, so as a delimiter they never match.
        const bool isWhole = delimiter == '\r';
        if (!isWhole)
            begin = skipFields(begin, lineEnd, delimiter, col);
        else if (col > 0)
            begin = nullptr;
        if (!begin)
            begin = lineEnd;
        else if (const char *const next = isWhole ? nullptr : skipFields(begin, end, delimiter, 1))
            end = next - 1;
        return;
    }
    const auto isAt = [&](char byte) { return isDelimiter[static_cast<unsigned char>(byte)]; };
    for (const char *next = begin; !delimiters.isEmpty() && next != lineEnd;) {
        begin = std::find_if_not(next, lineEnd, isAt);
        next = std::find_if(begin, lineEnd, isAt);
        const bool isField = std::any_of(begin, next, [](char byte) { return byte != '\r'; });
        if (isField && col-- == 0) {
            end = next;
            return;
        }
    }
    begin = end;
}

/// Stores why a line is not complete.
void CSVReaderPrivate::storeReason(const LineSource::Line &line) const
{
    if (line.isRead)
        LastError::setFor(".err.shorter", path);
    else
        LastError::cannotRead(path, line.error);
}

QList<QByteArray> CSVReaderPrivate::fieldsOf(int row, bool *isComplete)
{
    if (isComplete)
        *isComplete = true;
    if (row == lastRowIndex)
        return lastRow;
    if (row == 0 && !firstRow.isEmpty())
        return firstRow;

    QList<QByteArray> fields;
    if (isComplete)
        *isComplete = false;
    try {
        const LineSource::Line line = this->line(row);
        if (!line.isRead)
            return split(nullptr, nullptr); // an empty line; the next call retries
        if (hasReturns(line.begin, line.end)) {
            const QByteArray bytes = withoutReturns(line.begin, line.end);
            fields = split(bytes.constData(), bytes.constData() + bytes.size());
        } else {
            fields = split(line.begin, line.end);
        }
        if (line.isCut)
            return fields;
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return {};
    }
    if (isComplete)
        *isComplete = true;
    lastRow = fields;
    lastRowIndex = row;
    if (row == 0)
        firstRow = fields;
    return fields;
}

template <typename List, typename Convert>
List CSVReaderPrivate::column(int col, int fromRow, const Convert &convert)
{
    const qint64 count = qint64(numRows()) - fromRow;
    if (col < 0 || count <= 0 || fromRow < -csvReach)
        return {};
    List column;
    column.reserve(static_cast<int>(count)); // more than fits into a list exceeds the memory
    walkColumn(col, fromRow,
               [&](const char *begin, const char *end) { column.append(convert(begin, end)); });
    return column;
}

/// Passes the field of each row to \p append, without its carriage returns.
///
/// Leaves the same rows in the cache as calls of fieldsOf() for all rows: row 0 and the last row.
/// The rows in between are split only up to the field.
template <typename Append>
void CSVReaderPrivate::walkColumn(int col, int fromRow, const Append &append)
{
    for (int row = fromRow; row < 0; ++row)
        append(nullptr, nullptr);
    const int last = numRows() - 1;
    for (int row = std::max(fromRow, 0); row <= last; ++row) {
        if (row == 0 || row == last || row == lastRowIndex) {
            const QList<QByteArray> fields = fieldsOf(row);
            const bool isEmpty =
                fields.isEmpty() || (fields.size() == 1 && fields.constFirst().isEmpty());
            if (row == last && isEmpty)
                return;
            const QByteArray field = fields.value(col);
            append(field.constData(), field.constData() + field.size());
            continue;
        }

        lastRowIndex = -1;
        lastRow.clear();
        LineSource::Line line = this->line(row);
        cutField(line.begin, line.end, col);
        if (hasReturns(line.begin, line.end)) {
            const QByteArray field = withoutReturns(line.begin, line.end);
            append(field.constData(), field.constData() + field.size());
        } else {
            append(line.begin, line.end);
        }
    }
}

CSVReader::CSVReader(char delimiter) : d(std::make_unique<CSVReaderPrivate>())
{
    d->addDelimiter(delimiter); // throws: without it, other fields would be read
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
    try {
        d->addDelimiter(delimiter);
    } catch (const std::bad_alloc &) {
        // the delimiter is not added
    }
}

bool CSVReader::read(const Data::String &path, Progress *progress)
{
    LastError operation;
    d->path = path;
    d->setSource(nullptr);
    d->decoded = {};
    try {
        // Opening a pipe waits for a writer, and its content could not be read twice.
        if (path.isEmpty())
            return LastError::set(".err.noname");
        const auto entry = Platform::entryStatus(path.toStdString(), /*followLinks=*/true).entry;
        if (entry == Platform::Entry::Unknown)
            return LastError::cannotRead(path, errno);
        if (entry != Platform::Entry::File)
            return LastError::isNoFile(path);
        OwnedFile file(File::openRead(path));
        FileEncoding encoding;
        if (!file || !d->findEncoding(encoding))
            return false;

        // Set only when the index of lines is complete: the host may call the reader while progress
        // is reported.
        const auto source = std::make_shared<LineSource>(std::move(file), d->mostRows);
        if (progress) {
            const qint64 steps = File::size(path) / LineSource::blockSize;
            const qint64 most = std::numeric_limits<int>::max();
            progress->setMaxSteps(static_cast<int>(std::min(steps, most)));
        }
        errno = 0;
        if (!source->findLines(progress)) {
            if (source->hasTooManyLines())
                return csvTooManyRows(path, d->mostRows);
            return LastError::cannotRead(path, errno == 0 ? ENOMEM : errno);
        }
        d->path = path;
        d->setSource(source);
        d->decoded = encoding;
        return operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

void CSVReader::setHoleValue(double value) { d->holeValue = value; }

void CSVReader::setDecimalPoint(char point)
{
    if (point == '.' || point == ',')
        d->decimalPoint = point;
}

char CSVReader::decimalPoint() const { return d->decimalPoint; }

bool CSVReader::isValid() const { return numRows() > 0; }

Data::String CSVReader::path() const { return d->path; }

int CSVReader::numRows() const { return d->numRows(); }

int CSVReader::numColumns(int row) const { return data(row).size(); }

bool CSVReader::hasHeader() const
{
    return readRows([this] {
        const QList<QByteArray> fields = data(0);
        return std::any_of(fields.begin(), fields.end(), [this](const QByteArray &field) {
            bool isNumber = false;
            csvToDouble(field.trimmed(), d->decimalPoint, &isNumber);
            return !isNumber;
        });
    });
}

unsigned short CSVReader::checksum(int rows) const
{
    const LastError operation;
    Checksum sum;
    char count[16];
    const char *const countEnd = std::to_chars(count, count + sizeof(count), numRows()).ptr;
    sum.add(count, static_cast<std::size_t>(countEnd - count));
    const int end = rows < 0 ? numRows() : std::min(rows, numRows());
    for (int row = 0; row < end; ++row) {
        const LineSource::Line line = d->line(row);
        for (const char *next = line.begin; next != line.end;) {
            const char *const nextPiece = skipFieldsPlainly(next, line.end, '\r', 1);
            const char *const pieceEnd = nextPiece ? nextPiece - 1 : line.end;
            sum.add(next, static_cast<std::size_t>(pieceEnd - next));
            next = nextPiece ? nextPiece : line.end;
        }
    }
    return sum.value();
}

QByteArray CSVReader::data(int row, int col) const
{
    const LastError operation;
    if (row < 0 || row >= numRows())
        return {};
    if (col < 0)
        return readLine(row);
    return d->fieldsOf(row).value(col);
}

QList<QByteArray> CSVReader::data(int row) const
{
    const LastError operation;
    if (row < 0 || row >= numRows())
        return {};
    return d->fieldsOf(row);
}

QList<QByteArray> CSVReader::rowData(int row, int firstCol, int lastCol) const
{
    return readRows([&] { return csvPart(data(row), firstCol, lastCol); });
}

QList<QByteArray> CSVReader::colData(int col, int firstRow) const
{
    return readRows([&] {
        return d->column<QList<QByteArray>>(col, firstRow, [](const char *begin, const char *end) {
            return QByteArray(begin, static_cast<int>(end - begin));
        });
    });
}

Data::String CSVReader::dataD(int row, int col) const
{
    return readRows([&]() -> Data::String {
        const QByteArray field = data(row, col);
        return d->toText(field.constData(), field.constData() + field.size());
    });
}

QStringList CSVReader::dataD(int row) const
{
    return readRows([&] { return baToStrList(data(row)); });
}

QStringList CSVReader::rowDataD(int row, int firstCol, int lastCol) const
{
    return readRows([&] { return baToStrList(rowData(row, firstCol, lastCol)); });
}

QStringList CSVReader::colDataD(int col, int firstRow) const
{
    return readRows([&] {
        return d->column<QStringList>(col, firstRow, [this](const char *begin, const char *end) {
            return d->toText(begin, end);
        });
    });
}

double CSVReader::dataValue(int row, int col, bool *ok) const
{
    if (ok)
        *ok = false;
    return readRows([&] { return toValue(data(row, col), ok); });
}

QList<double> CSVReader::dataValue(int row) const
{
    return readRows([&] { return toValues(data(row)); });
}

QList<double> CSVReader::rowDataValue(int row, int firstCol, int lastCol) const
{
    return readRows([&] { return toValues(rowData(row, firstCol, lastCol)); });
}

QList<double> CSVReader::colDataValue(int col, int firstRow) const
{
    return readRows([&] {
        return d->column<QList<double>>(col, firstRow, [this](const char *begin, const char *end) {
            return d->toNumber(begin, end, nullptr);
        });
    });
}

QStringList CSVReader::baToStrList(const QList<QByteArray> &fields) const
{
    QStringList texts;
    texts.reserve(fields.size());
    for (const QByteArray &field : fields)
        texts.append(d->toText(field.constData(), field.constData() + field.size()));
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
    return d->toNumber(bytes.constData(), bytes.constData() + bytes.size(), ok);
}

QByteArray CSVReader::readLine(int row) const
{
    return readRows([&] {
        const LineSource::Line line = d->line(row);
        return withoutReturns(line.begin, line.end);
    });
}

} // namespace Utils
