#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVTable_p.h"

namespace Utils {

static const QLatin1Char openBrace('{');
static const QLatin1Char closeBrace('}');
static const QLatin1String arrow("->");

static QList<double> toNumbers(const QStringList &texts, char point)
{
    QList<double> numbers;
    numbers.reserve(texts.size());
    for (const QString &text : texts)
        numbers.append(csvNumber(text, nullptr, point));
    return numbers;
}

// Text

QStringList CSVTable::data(int row) const
{
    return d->readCells([&] { return d->current().data(row); });
}

Data::String CSVTable::data(int row, int col) const
{
    return d->readCells([&] { return d->current().data(row, col); });
}

QStringList CSVTable::data(int row, int col, const Data::String &separator) const
{
    const bool isBlank = separator == QLatin1String(" ");
    const Qt::SplitBehavior parts = isBlank ? Qt::SkipEmptyParts : Qt::KeepEmptyParts;
    return d->readCells([&] { return data(row, col).split(separator, parts); });
}

Data::String CSVTable::data(int row, const Data::String &label) const
{
    return d->readCells([&] { return data(row, data(0).indexOf(label)); });
}

Data::String CSVTable::data(const Data::String &key, int col, int firstRow, int *foundRow,
                            bool exact) const
{
    if (firstRow < 0 && key.isEmpty()) { // cells above row 0 are empty
        if (foundRow)
            *foundRow = firstRow;
        return {};
    }
    return d->readCells([&] {
        const int row = d->keys.find(d->current(), {key, col, exact}, std::max(firstRow, 0));
        if (foundRow)
            *foundRow = row;
        const bool hasNext = row >= 0 && col < std::numeric_limits<int>::max();
        return hasNext ? data(row, col + 1) : Data::String();
    });
}

void CSVTable::data(int row, int col, Data::String &annotation, Data::String &value) const
{
    unlessOutOfMemory([&] {
        const Data::String cell = data(row, col);
        const int brace = cell.indexOf(openBrace);
        const Data::String number = brace >= 0 ? Data::String(cell.left(brace)) : cell;
        if (brace >= 0)
            annotation = cell.mid(brace + 1).remove(closeBrace);
        value = number;
    });
}

QStringList CSVTable::rowData(int row, int firstCol, int lastCol) const
{
    return d->readCells([&] { return csvPart(data(row), firstCol, lastCol); });
}

QStringList CSVTable::colData(int col, int firstRow) const
{
    return d->readCells([&] { return d->current().colData(col, firstRow); });
}

// Numbers

QList<double> CSVTable::dataValue(int row) const
{
    return d->readCells([&] { return d->current().dataValue(row); });
}

double CSVTable::dataValue(int row, int col, bool *ok) const
{
    if (ok)
        *ok = false;
    return d->readCells([&] { return d->current().dataValue(row, col, ok); });
}

QList<double> CSVTable::dataValue(int row, int col, const Data::String &separator) const
{
    return d->readCells([&] { return toNumbers(data(row, col, separator), d->decimalPoint()); });
}

double CSVTable::dataValue(int row, const Data::String &label, bool *ok) const
{
    if (ok)
        *ok = false;
    return d->readCells([&] { return csvNumber(data(row, label), ok, d->decimalPoint()); });
}

double CSVTable::dataValue(const Data::String &key, int col, int firstRow, int *foundRow,
                           bool exact, bool *ok) const
{
    if (ok)
        *ok = false;
    return d->readCells([&] {
        return csvNumber(data(key, col, firstRow, foundRow, exact), ok, d->decimalPoint());
    });
}

void CSVTable::dataValue(int row, int col, Data::String &annotation, double &value) const
{
    unlessOutOfMemory([&] {
        Data::String text;
        Data::String unit = annotation;
        data(row, col, unit, text);
        value = csvNumber(text, nullptr, d->decimalPoint());
        annotation = unit;
    });
}

QList<double> CSVTable::rowDataValue(int row, int firstCol, int lastCol) const
{
    return d->readCells([&] { return csvPart(dataValue(row), firstCol, lastCol); });
}

QList<double> CSVTable::colDataValue(int col, int firstRow) const
{
    return d->readCells([&] { return d->current().colDataValue(col, firstRow); });
}

QList<QList<double>> CSVTable::colDataValues(const QList<int> &cols, int firstRow) const
{
    return d->readCells([&] { return d->current().colDataValues(cols, firstRow); });
}

bool CSVTable::visit(int firstRow, int lastRow, const RowVisitor &visitor) const
{
    const std::shared_ptr<CSVData> kept = d->backend; // the visitor may change the table
    // No operation while the visitor runs, because those that it calls have reasons of their own.
    LastError().succeeded();
    try {
        const int last = lastRow < 0 ? std::numeric_limits<int>::max() : lastRow;
        return d->current().visit(std::max(firstRow, 0), last, visitor) && LastError().succeeded();
    } catch (const std::bad_alloc &) {
        const LastError operation;
        return LastError::set(".err.memory");
    }
}

// Properties and names

QMap<Data::String, Data::Variant> CSVTable::propertyValues(int row, bool normalizeKeys) const
{
    return d->readCells([&] { return d->propertyValues(row, normalizeKeys); });
}

QMap<Data::String, Data::Variant> CSVTablePrivate::propertyValues(int row, bool normalizeKeys) const
{
    QMap<Data::String, Data::Variant> values;
    const auto store = [&](const QString &key, const Data::Variant &value) {
        values.insert(
            normalizeKeys ? key.toLower().replace(QLatin1Char(' '), QLatin1Char('_')) : key, value);
    };

    const int count = current().numColumns(row);
    for (int col = 0; col < count; ++col) {
        const QString cell = current().data(row, col);
        const int brace = cell.indexOf(openBrace);
        const int arrowAt = cell.indexOf(arrow);
        if (brace >= 0 && cell.contains(closeBrace)) {
            const int end = cell.indexOf(closeBrace, brace);
            store(cell.mid(brace + 1, end < 0 ? -1 : end - brace - 1), cell.left(brace));
        } else if (arrowAt >= 0) {
            QStringList list;
            const QString first = cell.mid(arrowAt + arrow.size());
            if (!first.isEmpty())
                list.append(first);
            for (; col + 1 < count; ++col) {
                const QString next = current().data(row, col + 1);
                if (next.contains(openBrace) || next.contains(arrow))
                    break;
                list.append(next);
            }
            store(cell.left(arrowAt).trimmed(), list);
        }
    }
    return values;
}

int CSVTable::columnIndex(const Data::String &label, int *row)
{
    const auto digit = std::find_if(label.begin(), label.end(),
                                    [](QChar character) { return character.isDigit(); });
    const int length = static_cast<int>(digit - label.begin());
    if (row && length < label.size())
        *row = label.midRef(length).toInt() - 1;

    // Unsigned, so that a label that is too long for an int overflows without undefined behaviour.
    unsigned index = 0;
    for (int i = 0; i < length; ++i) {
        const auto character = static_cast<unsigned char>(label.at(i).toLatin1());
        index = index * 26 + character - 64;
    }
    return static_cast<int>(index - 1);
}

Data::String CSVTable::columnLabel(int col, int row)
{
    const auto letter = [](int number) {
        return QChar(static_cast<ushort>(static_cast<unsigned>(number) + 'A'));
    };
    return emptyWithoutMemory([&]() -> Data::String {
        QString label;
        while (col >= 26) {
            const int quotient = col / 26;
            label.prepend(letter(col - 26 * quotient));
            col = quotient - 1;
        }
        label.prepend(letter(col));
        if (row >= 0)
            label.append(QString::number(qint64(row) + 1));
        return label;
    });
}

} // namespace Utils
