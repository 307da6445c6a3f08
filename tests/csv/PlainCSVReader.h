#pragma once

#include "utils/files/File.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QStringList>
#include <QVector>

#include <cstdio>
#include <cstring>

/// What CSVReader does, in the shortest way and as slow as that is: the reference that the fast way
/// is compared with.
class PlainCSVReader
{
public:
    PlainCSVReader() = default;
    PlainCSVReader(const PlainCSVReader &) = delete;
    PlainCSVReader &operator=(const PlainCSVReader &) = delete;
    ~PlainCSVReader() { close(); }

    void addDelimiter(char delimiter)
    {
        if (delimiter != '\0' && !delimiters.contains(delimiter))
            delimiters.append(delimiter);
    }

    bool read(const char *path)
    {
        lineOffsets.clear();
        firstRow.clear();
        lastRow.clear();
        lastRowIndex = -1;
        ticks = 0;
        close();
        // Not by fopen(), with which Windows lets nobody remove it.
        file = Utils::File::openRead(QFile::decodeName(path));
        if (!file)
            return false;

        lineOffsets.append(0);
        char bytes[block + 1];
        int position = 0;
        while (const auto count = int(std::fread(bytes, 1, block, file))) {
            bytes[count] = '\0';
            for (const char *next = bytes; (next = std::strchr(next, '\n'));)
                lineOffsets.append(position + int(++next - bytes));
            position += count;
            ++ticks;
        }
        return true;
    }

    int numRows() const { return lineOffsets.size(); }

    QByteArray readLine(int row) const
    {
        QByteArray line;
        std::fseek(file, lineOffsets[row], SEEK_SET);
        char bytes[block + 1];
        while (const auto count = int(std::fread(bytes, 1, block, file))) {
            bytes[count] = '\0';
            char *const feed = std::strchr(bytes, '\n');
            if (feed)
                *feed = '\0';
            line.append(bytes);
            if (feed)
                break;
        }
        return line.replace("\r", "");
    }

    QList<QByteArray> data(int row)
    {
        if (row < 0 || row >= numRows())
            return {};
        if (row == lastRowIndex)
            return lastRow;
        if (row == 0 && !firstRow.isEmpty())
            return firstRow;

        QByteArray line = readLine(row);
        QList<QByteArray> fields;
        if (delimiters.size() == 1) {
            fields = line.split(delimiters[0]);
        } else if (delimiters.size() > 1) {
            char *field = std::strtok(line.data(), delimiters.constData());
            for (; field; field = std::strtok(nullptr, delimiters.constData()))
                fields.append(field);
        }
        lastRow = fields;
        lastRowIndex = row;
        if (row == 0)
            firstRow = fields;
        return fields;
    }

    QByteArray data(int row, int col)
    {
        if (row < 0 || row >= numRows())
            return {};
        return col < 0 ? readLine(row) : data(row).value(col);
    }

    QList<QByteArray> rowData(int row, int firstCol, int lastCol)
    {
        const QList<QByteArray> fields = data(row);
        if (firstCol >= fields.size())
            return {};
        return fields.mid(firstCol, lastCol < firstCol ? -1 : lastCol - firstCol + 1);
    }

    QList<QByteArray> colData(int col, int fromRow)
    {
        QList<QByteArray> column;
        if (col < 0 || fromRow >= numRows())
            return column;
        for (int row = fromRow; row < numRows(); ++row) {
            const QList<QByteArray> fields = data(row);
            if (row == numRows() - 1 &&
                (fields.isEmpty() || (fields.size() == 1 && fields[0].isEmpty())))
                break;
            column.append(fields.value(col));
        }
        return column;
    }

    QString text(const QByteArray &field) const { return QString::fromUtf8(field).trimmed(); }

    QStringList texts(const QList<QByteArray> &fields) const
    {
        QStringList texts;
        for (const QByteArray &field : fields)
            texts.append(text(field));
        return texts;
    }

    double value(const QByteArray &field, bool *ok) const
    {
        const QByteArray trimmed = field.trimmed();
        if (!trimmed.isEmpty())
            return trimmed.toDouble(ok);
        if (ok)
            *ok = false;
        return holeValue;
    }

    QList<double> values(const QList<QByteArray> &fields) const
    {
        QList<double> values;
        for (const QByteArray &field : fields)
            values.append(value(field, nullptr));
        return values;
    }

    bool hasHeader()
    {
        for (const QByteArray &field : data(0)) {
            bool ok = false;
            field.trimmed().toDouble(&ok);
            if (!ok)
                return true;
        }
        return false;
    }

    unsigned short checksum(int rows) const
    {
        QByteArray bytes = QByteArray::number(numRows());
        for (int row = 0; row < (rows < 0 ? numRows() : qMin(rows, numRows())); ++row)
            bytes += readLine(row);
        return qChecksum(bytes.constData(), uint(bytes.size()));
    }

    static constexpr int block = 10240;

    QByteArray delimiters;
    QVector<int> lineOffsets;
    double holeValue = 0.0;
    QList<QByteArray> firstRow;
    QList<QByteArray> lastRow;
    int lastRowIndex = -1;
    std::FILE *file = nullptr;
    int ticks = 0;

private:
    void close()
    {
        if (file)
            std::fclose(file);
        file = nullptr;
    }
};
