#pragma once

#include "tests/csv/PlainCSVData.h"
#include "utils/files/File.h"

#include <QFile>
#include <QTextCodec>
#include <QTextStream>
#include <QVector>

#include <limits>
#include <memory>

/// CSVTable on top of the plain way to hold cells: the reference that it is compared with.
namespace PlainCSV {

using Utils::File;

class CSVTablePrivate
{
public:
    CSVTablePrivate() = default;
    CSVTablePrivate(const CSVTablePrivate &) = delete;
    CSVTablePrivate &operator=(const CSVTablePrivate &) = delete;
    ~CSVTablePrivate() { useText(); }

    void useText() { use(&textData); }

    void use(std::unique_ptr<CSVData> backend) { use(backend.release()); }

    bool isText() const { return data == &textData; }

    bool hasSingleDelimiter() const
    {
        return textData.delimiters.size() == 1 && textData.delimiters.first().size() == 1;
    }

    char byteDelimiter() const { return textData.delimiters.first().at(0).toLatin1(); }

    Data::String outputDelimiter() const
    {
        return textData.delimiters.value(0, QStringLiteral(","));
    }

    bool demandParse = false;
    double holeValue = 0.0; // of this table; those in memory read the one of the process
    Data::String progressLabel;
    Data::String path;
    Progress *progress = nullptr; // not owned
    CSVStringData textData;
    CSVData *data = &textData; // or a backend on the heap, owned

private:
    void use(CSVData *backend)
    {
        if (data != &textData)
            delete data;
        data = backend;
    }
};

class CSVTable
{
public:
    explicit CSVTable(const Data::String &delimiter = QStringLiteral(","));
    CSVTable(const CSVTable &) = delete;
    CSVTable &operator=(const CSVTable &) = delete;
    ~CSVTable();

    void addDelimiter(const Data::String &delimiter, bool alternate = false);

    void setComment(const Data::String &comment, char except = 0);
    Data::String comment() const;

    void setDemandParse(bool on);

    bool isDemandRead() const;

    void setHoleValue(double value);

    void setProgress(Progress *progress, const Data::String &label = Data::String());
    Progress *progress() const;

    // Reading

    bool read(const Data::String &path, int fileSizeLimit = 0, bool quoted = false);

    bool setData(const Data::String &text, bool quoted = false);
    bool setData(const char *text, bool quoted = false);

    bool setData(const QByteArray &bytes);

    Data::String path() const;
    void clearPath();

    // What is there

    bool isValid() const;
    int numRows() const;

    int numColumns(int row = -1) const;

    bool isEmpty(int row, int col = -1) const;

    bool hasHeader() const;

    // Cells as text

    QStringList data(int row) const;

    Data::String data(int row, int col) const;

    QStringList data(int row, int col, const Data::String &separator) const;

    Data::String data(int row, const Data::String &label) const;

    Data::String data(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                      bool exact = false) const;

    void data(int row, int col, Data::String &annotation, Data::String &value) const;

    QStringList rowData(int row, int firstCol = 0, int lastCol = -1) const;

    QStringList colData(int col, int firstRow = 0) const;

    // Cells as numbers: 0.0 for what is no number, the hole number for what is empty

    QList<double> dataValue(int row) const;

    double dataValue(int row, int col, bool *ok = nullptr) const;

    // These take the text and make it a number, also of bytes and in the file: up to a "{", and
    // with the hole number of all tables.
    QList<double> dataValue(int row, int col, const Data::String &separator) const;
    double dataValue(int row, const Data::String &label, bool *ok = nullptr) const;
    double dataValue(const Data::String &key, int col, int firstRow = 0, int *foundRow = nullptr,
                     bool exact = false, bool *ok = nullptr) const;
    void dataValue(int row, int col, Data::String &annotation, double &value) const;

    QList<double> rowDataValue(int row, int firstCol = 0, int lastCol = -1) const;
    QList<double> colDataValue(int col, int firstRow = 0) const;

    // Changes

    CSVTable &setData(int row, int col, const Data::String &text);

    CSVTable &setData(int row, int col, double value, char format = 'g', int precision = 6);
    CSVTable &setData_g(int row, int col, double value);

    CSVTable &appendData(const Data::String &line);
    CSVTable &appendData(const QStringList &fields);
    CSVTable &appendData(const QList<double> &values, char format = 'g', int precision = 6);
    CSVTable &appendData(const QVector<double> &values, char format = 'g', int precision = 6);

    void removeColumn(int col);

    int removeEmptyRows(int firstRow = 0, int lastRow = -1);

    void sort(int col, int firstRow = 0, bool ascending = true);

    CSVTable &alignColumns(int firstRow = 0, int lastRow = -1, int numColumns = -1,
                           bool left = false);

    void clear();

    // Output, with the first delimiter between fields as it is written, or "," without one

    Data::String stringData(int row) const;

    Data::String stringData() const;

    QStringList lineData(int firstRow = 0, int lastRow = -1) const;

    QStringList escapedData(int row, char escape) const;

    Data::String alignedStringData(int maxWidth = 0, int leftColumn = -1, int firstRow = 0) const;

    unsigned short checksum(int rows = -1) const;

    bool write(const Data::String &path) const;

    // Names of cells in spreadsheets

private:
    void clearCSV();
    bool needsEscape(const Data::String &delimiter) const;
    void alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                   int maxWidth, int leftColumn, const QString &delimiter) const;

    const std::unique_ptr<CSVTablePrivate> d;
};

inline CSVTable::CSVTable(const Data::String &delimiter) : d(new CSVTablePrivate)
{
    addDelimiter(delimiter);
}

inline CSVTable::~CSVTable() = default;

inline void CSVTable::addDelimiter(const Data::String &delimiter, bool alternate)
{
    QStringList &list = alternate ? d->textData.alternateDelimiters : d->textData.delimiters;
    if (!delimiter.isEmpty() && !list.contains(delimiter))
        list.append(delimiter);
}

inline void CSVTable::setComment(const Data::String &comment, char except)
{
    d->textData.comment = comment;
    if (except != 0)
        d->textData.commentException = comment + except;
}

inline Data::String CSVTable::comment() const { return d->textData.comment; }

inline void CSVTable::setDemandParse(bool on) { d->demandParse = on; }
inline bool CSVTable::isDemandRead() const { return d->data->isReadOnly(); }

inline void CSVTable::setHoleValue(double value)
{
    d->holeValue = value;
    csvHoleValue() = value;
}

inline void CSVTable::setProgress(Progress *progress, const Data::String &label)
{
    d->progress = progress;
    d->progressLabel = label;
}

inline Progress *CSVTable::progress() const { return d->progress; }

inline Data::String CSVTable::path() const { return d->path; }
inline void CSVTable::clearPath() { d->path = Data::String(); }

inline void CSVTable::clear()
{
    QStringList &delimiters = d->textData.delimiters;
    while (delimiters.size() > 1)
        delimiters.removeLast();
    d->textData.clear();
    clearCSV();
}

inline void CSVTable::clearCSV() { d->useText(); }

namespace {

class SavedProgress
{
public:
    explicit SavedProgress(Progress *progress) : m_progress(progress)
    {
        if (m_progress)
            m_progress->save();
    }
    SavedProgress(const SavedProgress &) = delete;
    SavedProgress &operator=(const SavedProgress &) = delete;
    ~SavedProgress()
    {
        if (m_progress)
            m_progress->restore();
    }

private:
    Progress *const m_progress;
};

inline int inBytes(int megabytes)
{
    return static_cast<int>(static_cast<unsigned>(megabytes) << 20);
}

} // namespace

// A backend becomes the current one when it is whole: the host may call the table while its
// progress is reported.

inline bool CSVTable::read(const Data::String &path, int fileSizeLimit, bool quoted)
{
    d->path = path;
    const bool limited = fileSizeLimit >= 1;
    if (limited && File::exists(path) && File::size(path) > inBytes(fileSizeLimit) &&
        d->hasSingleDelimiter())
    {
        auto backend = std::make_unique<CSVFileData>(d->byteDelimiter());
        backend->reader.setHoleValue(d->holeValue);
        Progress *const progress = d->progress;
        const SavedProgress saved(progress);
        if (progress) {
            progress->setMaxSteps(0);
            progress->setLabel(d->progressLabel);
        }
        clearCSV();
        const bool isRead = backend->reader.read(path, progress);
        d->use(std::move(backend));
        return isRead;
    }

    static const bool isRawReadOff = qEnvironmentVariableIsSet("KLT_NORAWREAD");
    if (limited && !quoted && d->hasSingleDelimiter() && !isRawReadOff)
        return setData(File::readRaw(path));
    return setData(File::read(path), quoted);
}

inline bool CSVTable::setData(const Data::String &text, bool quoted)
{
    if (text.isEmpty())
        return false;

    clearCSV();
    d->textData.quoted = quoted && d->textData.delimiters.size() < 2;
    {
        const SavedProgress saved(d->progress);
        d->textData.setData(text, /*parseNow=*/!d->demandParse, d->progress, d->progressLabel);
    }
    return isValid();
}

inline bool CSVTable::setData(const char *text, bool quoted)
{
    return setData(Data::String(text), quoted);
}

inline bool CSVTable::setData(const QByteArray &bytes)
{
    if (!d->hasSingleDelimiter())
        return setData(Data::String(QString::fromLatin1(bytes.constData())), /*quoted=*/false);
    if (bytes.isEmpty())
        return false;

    clearCSV();
    auto backend = std::make_unique<CSVArrayData>(d->byteDelimiter());
    {
        const SavedProgress saved(d->progress);
        backend->setData(bytes, /*parseNow=*/!d->demandParse, d->progress, d->progressLabel);
    }
    d->use(std::move(backend));
    return isValid();
}

inline bool CSVTable::hasHeader() const
{
    const QStringList fields = data(0);
    return std::any_of(fields.begin(), fields.end(), [](const QString &field) {
        bool isNumber = false;
        field.toDouble(&isNumber);
        return !isNumber;
    });
}

inline bool CSVTable::isValid() const { return d->data->isValid(); }
inline int CSVTable::numRows() const { return d->data->numRows(); }
inline int CSVTable::numColumns(int row) const { return d->data->numColumns(row); }
inline bool CSVTable::isEmpty(int row, int col) const { return d->data->isEmpty(row, col); }

static const QLatin1Char openBrace('{');
static const QLatin1Char closeBrace('}');

inline QList<double> toNumbers(const QStringList &texts)
{
    QList<double> numbers;
    numbers.reserve(texts.size());
    for (const QString &text : texts)
        numbers.append(csvNumber(text, nullptr));
    return numbers;
}

// Text

inline QStringList CSVTable::data(int row) const { return d->data->data(row); }

inline Data::String CSVTable::data(int row, int col) const { return d->data->data(row, col); }

inline QStringList CSVTable::data(int row, int col, const Data::String &separator) const
{
    const bool isBlank = separator == QLatin1String(" ");
    return data(row, col).split(separator, isBlank ? Qt::SkipEmptyParts : Qt::KeepEmptyParts);
}

inline Data::String CSVTable::data(int row, const Data::String &label) const
{
    return data(row, data(0).indexOf(label));
}

inline Data::String CSVTable::data(const Data::String &key, int col, int firstRow, int *foundRow,
                                   bool exact) const
{
    if (firstRow < 0 && key.isEmpty()) { // what is above row 0 is empty
        if (foundRow)
            *foundRow = firstRow;
        return {};
    }
    for (int row = std::max(firstRow, 0); row < numRows(); ++row) {
        const Data::String cell = data(row, col);
        // Asked for a null text, startsWith() would tell it from an empty one.
        if (exact ? cell == key : key.isEmpty() || cell.startsWith(key)) {
            if (foundRow)
                *foundRow = row;
            return col < std::numeric_limits<int>::max() ? data(row, col + 1) : Data::String();
        }
    }
    if (foundRow)
        *foundRow = -1;
    return {};
}

inline void CSVTable::data(int row, int col, Data::String &annotation, Data::String &value) const
{
    const Data::String cell = data(row, col);
    const int brace = cell.indexOf(openBrace);
    if (brace >= 0)
        annotation = cell.mid(brace + 1).remove(closeBrace);
    value = brace >= 0 ? Data::String(cell.left(brace)) : cell;
}

inline QStringList CSVTable::rowData(int row, int firstCol, int lastCol) const
{
    return csvPart(data(row), firstCol, lastCol);
}

inline QStringList CSVTable::colData(int col, int firstRow) const
{
    return d->data->colData(col, firstRow);
}

// Numbers

inline QList<double> CSVTable::dataValue(int row) const { return d->data->dataValue(row); }

inline double CSVTable::dataValue(int row, int col, bool *ok) const
{
    return d->data->dataValue(row, col, ok);
}

inline QList<double> CSVTable::dataValue(int row, int col, const Data::String &separator) const
{
    return toNumbers(data(row, col, separator));
}

inline double CSVTable::dataValue(int row, const Data::String &label, bool *ok) const
{
    return csvNumber(data(row, label), ok);
}

inline double CSVTable::dataValue(const Data::String &key, int col, int firstRow, int *foundRow,
                                  bool exact, bool *ok) const
{
    return csvNumber(data(key, col, firstRow, foundRow, exact), ok);
}

inline void CSVTable::dataValue(int row, int col, Data::String &annotation, double &value) const
{
    Data::String text;
    data(row, col, annotation, text);
    value = csvNumber(text, nullptr);
}

inline QList<double> CSVTable::rowDataValue(int row, int firstCol, int lastCol) const
{
    return csvPart(dataValue(row), firstCol, lastCol);
}

inline QList<double> CSVTable::colDataValue(int col, int firstRow) const
{
    return d->data->colDataValue(col, firstRow);
}

inline bool isInteger(double value)
{
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max() &&
           value == static_cast<int>(value);
}

inline QString cellText(double value, char format, int precision, double hole)
{
    if (hole != 0.0 && value == hole)
        return QString();
    return isInteger(value) ? QString::number(value, 'g', 6)
                            : QString::number(value, format, precision);
}

template <typename List>
inline QStringList cellTexts(const List &values, char format, int precision, double hole)
{
    QStringList texts;
    texts.reserve(values.size());
    for (const double value : values)
        texts.append(cellText(value, format, precision, hole));
    return texts;
}

inline CSVTable &CSVTable::setData(int row, int col, const Data::String &text)
{
    if (d->data->isReadOnly()) {
        if (!d->textData.isInReach(row, col))
            return *this;
        clearCSV();
    }
    d->data->setData(row, col, text);
    return *this;
}

inline CSVTable &CSVTable::setData(int row, int col, double value, char format, int precision)
{
    return setData(row, col, cellText(value, format, precision, d->holeValue));
}

inline CSVTable &CSVTable::setData_g(int row, int col, double value)
{
    return setData(row, col, value, 'g', 6);
}

inline CSVTable &CSVTable::appendData(const Data::String &line)
{
    return appendData(d->textData.split(line));
}

inline CSVTable &CSVTable::appendData(const QStringList &fields)
{
    d->textData.appendRow(fields);
    return *this;
}

inline CSVTable &CSVTable::appendData(const QList<double> &values, char format, int precision)
{
    return appendData(cellTexts(values, format, precision, d->holeValue));
}

inline CSVTable &CSVTable::appendData(const QVector<double> &values, char format, int precision)
{
    return appendData(cellTexts(values, format, precision, d->holeValue));
}

inline void CSVTable::removeColumn(int col)
{
    if (!d->data->isReadOnly())
        d->data->removeColumn(col);
}

inline int CSVTable::removeEmptyRows(int firstRow, int lastRow)
{
    if (d->data->isReadOnly())
        return 0;

    if (lastRow < 0 || lastRow >= numRows())
        lastRow = numRows() - 1;
    int removed = 0;
    for (int row = lastRow; row >= std::max(firstRow, 0); --row) {
        const QStringList fields = d->data->data(row);
        if (fields.isEmpty() || (fields.size() == 1 && fields.first().isEmpty())) {
            d->data->removeRow(row);
            ++removed;
        }
    }
    return removed;
}

inline void CSVTable::sort(int col, int firstRow, bool ascending)
{
    // The rows that would be put in order are those of the text, whatever the current ones are.
    if (!d->isText())
        return;

    firstRow = std::max(firstRow, 0);
    const Data::String cell = data(firstRow, col);
    bool isNumeric = false;
    cell.toDouble(&isNumeric);
    QList<int> order;
    if (cell.isEmpty() || isNumeric) {
        QList<double> values;
        for (int row = firstRow; row < numRows(); ++row)
            values.append(dataValue(row, col));
        order = List::indexSort(values, ascending);
    } else {
        QStringList texts;
        for (int row = firstRow; row < numRows(); ++row)
            texts.append(data(row, col));
        order = List::indexSort(texts, ascending, /*caseSensitive=*/true);
    }
    if (!order.isEmpty())
        d->textData.reorder(firstRow, order);
}

static const QLatin1Char quote('"');

// Rows as text

inline Data::String CSVTable::stringData(int row) const
{
    if (!d->textData.isParsed(row))
        return d->textData.heldRow(row).value(0);

    const Data::String delimiter = d->outputDelimiter();
    QStringList fields = data(row);
    if (needsEscape(delimiter)) {
        for (QString &field : fields) {
            if (field.contains(delimiter))
                field = quote + field + quote;
        }
    }
    return fields.join(delimiter);
}

inline Data::String CSVTable::stringData() const
{
    QStringList lines;
    for (int row = 0; row < numRows(); ++row)
        lines.append(stringData(row));
    return lines.join(lineFeed);
}

inline QStringList CSVTable::lineData(int firstRow, int lastRow) const
{
    QStringList lines;
    const qint64 end = lastRow > firstRow ? qint64(lastRow) + 1 : numRows();
    if (firstRow < -csvReach || end - numRows() > csvReach)
        return lines;

    for (int row = firstRow; row < end; ++row)
        lines.append(stringData(row));
    return lines;
}

inline QStringList CSVTable::escapedData(int row, char escape) const
{
    const QStringList &delimiters = d->textData.delimiters;
    if (delimiters.isEmpty() || (delimiters.size() == 1 && !needsEscape(delimiters.first())))
        return data(row);

    const QString marker = QStringLiteral("**ESCAPE**");
    const QString target = QLatin1Char(escape) + delimiters.first();
    QString line = stringData(row);
    if (!line.contains(target))
        return data(row);

    QStringList fields = d->textData.split(line.replace(target, marker));
    return fields.replaceInStrings(marker, delimiters.first());
}

inline unsigned short CSVTable::checksum(int rows) const
{
    if (const auto file = dynamic_cast<const CSVFileData *>(d->data))
        return file->reader.checksum(rows);

    QByteArray bytes = QByteArray::number(numRows());
    const int end = rows < 0 ? numRows() : std::min(rows, numRows());
    for (int row = 0; row < end; ++row)
        bytes.append(d->data->data(row).join(QLatin1Char(',')).toUtf8());
    return qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
}

inline bool CSVTable::write(const Data::String &path) const
{
    QFile file(path);
    if (path.isEmpty() || path.contains(QChar(0)) || !file.open(QIODevice::WriteOnly))
        return false;

    QTextStream stream(&file);
    stream.setCodec(QTextCodec::codecForName("UTF-8"));
    const Data::String delimiter = d->outputDelimiter();
    for (const QStringList &row : qAsConst(d->textData.heldRows()))
        stream << row.join(delimiter) << lineFeed;
    return true;
}

// Columns of one width

inline CSVTable &CSVTable::alignColumns(int firstRow, int lastRow, int numColumns, bool left)
{
    alignData(firstRow, lastRow, numColumns, d->textData.heldRows(), /*maxWidth=*/0,
              /*leftColumn=*/left ? -2 : -1, /*delimiter=*/QString());
    return *this;
}

inline Data::String CSVTable::alignedStringData(int maxWidth, int leftColumn, int firstRow) const
{
    QList<QStringList> rows = d->textData.heldRows();
    const Data::String delimiter = d->outputDelimiter();
    alignData(firstRow, /*lastRow=*/-1, /*numColumns=*/-1, rows, maxWidth, leftColumn, delimiter);
    QStringList lines;
    for (const QStringList &row : qAsConst(rows))
        lines.append(row.join(delimiter));
    return lines.join(lineFeed);
}

inline void CSVTable::alignData(int firstRow, int lastRow, int numColumns, QList<QStringList> &rows,
                                int maxWidth, int leftColumn, const QString &delimiter) const
{
    firstRow = std::max(firstRow, 0);
    // Looked up each time: the rows may be those of the table, which the host may change while
    // progress is reported.
    const auto end = [&] {
        return lastRow < 0 || lastRow >= rows.size() ? rows.size() : lastRow + 1;
    };
    if (numColumns < 0 && firstRow < rows.size())
        numColumns = d->textData.numColumns(firstRow);
    const bool quotes = !delimiter.isEmpty() && needsEscape(delimiter);

    Progress *const progress = numColumns >= 2 ? d->progress : nullptr;
    if (progress) {
        progress->save();
        progress->setMaxSteps(numColumns);
        progress->setLabel(d->progressLabel);
    }
    bool isBehind = false; // no row has so many columns
    for (int col = 0; col < numColumns; ++col) {
        int width = 0;
        const int rowsEnd = isBehind ? firstRow : end();
        isBehind = true;
        for (int row = firstRow; row < rowsEnd; ++row) {
            if (col >= rows.at(row).size())
                continue;
            isBehind = false;
            // Only ever the first one, which is meant: the others are measured as they are held.
            d->textData.parseRow(firstRow);
            QString &field = rows[row][col];
            if (quotes && field.contains(delimiter))
                field = quote + field + quote;
            if (maxWidth <= 0 || field.size() <= maxWidth)
                width = std::max(width, field.size());
        }
        const bool isLeft = col == leftColumn || leftColumn == -2;
        for (int row = firstRow; row < rowsEnd; ++row) {
            if (col >= rows.at(row).size())
                continue;
            QString &field = rows[row][col];
            field = isLeft ? field.leftJustified(width + 1) : field.rightJustified(width + 1);
        }
        if (isBehind && numColumns > csvReach)
            break; // as good as endless
        if (progress)
            progress->tick(1);
    }
    if (progress)
        progress->restore();
}

inline bool CSVTable::needsEscape(const Data::String &delimiter) const
{
    return delimiter != QLatin1String("  ");
}

} // namespace PlainCSV
