#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <random>
#include <stdexcept>

// The inputs of the programs that measure tables. The same seed yields the same table everywhere.

/// Rows of a time and nine measured values of one to six digits before and up to six after the
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

/// Rows of eight fields of words, codes and remarks, until there are \p size bytes of UTF-8. A
/// third of the remarks is in quotes, with commas and doubled quotes; some words are not ASCII.
///
/// No quote is next to a comma within a field, where readers differ.
inline QByteArray makeMixedTable(int size, unsigned seed = 2)
{
    static const char *const words[] = {"bolt",
                                        "washer",
                                        "flange",
                                        "M\xc3\xbcnchen",
                                        "gr\303\266\303\237e",
                                        "steel",
                                        "coating",
                                        "\xce\xa9",
                                        "\xc2\xb5m",
                                        "torque",
                                        "rechts",
                                        "vis",
                                        "\xc3\xa9paisseur",
                                        "lot",
                                        "\xe6\xb8\xac\xe5\xae\x9a"};
    static const int wordCount = sizeof words / sizeof *words;
    std::mt19937 random(seed);
    const auto upTo = [&](unsigned int count) { return static_cast<int>(random() % count); };
    const auto word = [&] { return words[upTo(wordCount)]; };

    QByteArray table;
    table.reserve(size + 1024);
    for (int row = 0; table.size() < size; ++row) {
        table += QByteArray::number(row) + ',' + word() + ',' + word() + ' ' + word() + ',';
        table += QByteArray::number(upTo(1000000) / 100.0, 'g', 8) + ',';
        table += QByteArray(upTo(8) == 0 ? "" : word()) + ',';
        if (upTo(3) != 0) {
            table += QByteArray(word()) + ' ' + word();
        } else if (upTo(4) != 0) {
            table += QByteArray("\"") + word() + ", " + word() + ' ' + word() + '"';
        } else {
            table += QByteArray("\"") + word() + " \"\"" + word() + "\"\" " + word() + ", " +
                     word() + '"';
        }
        table += QByteArray(",R-") + QByteArray::number(upTo(100000)) + ',' + word() + '\n';
    }
    return table;
}

inline void writeTable(const QString &path, const QByteArray &table)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(table) != table.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}
