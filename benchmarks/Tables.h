#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <random>
#include <stdexcept>

// The inputs of the programs that measure tables. The same seed gives the same table everywhere.

/// Rows of a time and nine measured values of one to six digits before and up to six behind the
/// point, as a logger writes them.
inline QByteArray makeNumericTable(int rows, int columns, unsigned seed = 1)
{
    std::mt19937 random(seed);
    QByteArray table;
    table.reserve(rows * columns * 11);
    for (int row = 0; row < rows; ++row) {
        table += QByteArray::number(row * 0.0005, 'f', 4);
        for (int column = 1; column < columns; ++column) {
            // Not a distribution of the library, which may differ from one to the next.
            const double value = (static_cast<int>(random()) % 1000000) / 1000.0 * column;
            table += ',';
            table += QByteArray::number(value, 'g', 4 + static_cast<int>(random() % 5));
        }
        table += '\n';
    }
    return table;
}

inline void writeTable(const QString &path, const QByteArray &table)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(table) != table.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}
