#include "utils/csv/CSVReader.h"

#include "tests/csv/PlainCSVReader.h"
#include "utils/feedback/Progress.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <random>

using Utils::CSVReader;

using Random = std::mt19937_64;

static int below(Random &random, int count) { return int(random() % quint64(count)); }

/// A few bytes, of which all that matter are frequent.
static QByteArray smallFile(Random &random)
{
    static const QByteArray pieces[] = {
        QByteArray("a,\n"),
        QByteArray("ab,; \t\n\r"),
        QByteArray("12.e-,\n 0"),
        QByteArray("a, \n\r\0\0", 7),
        QByteArray("x,\xc3\xa4\xef\xbb\xbf\xa0\xc2\n"),
    };
    const QByteArray &alphabet = pieces[below(random, 5)];
    QByteArray contents;
    for (int count = below(random, 60); count > 0; --count)
        contents += alphabet[below(random, alphabet.size())];
    return contents;
}

/// Around one block to three of them, with few bytes that matter, many of them near the ends.
static QByteArray fileOfBlocks(Random &random)
{
    const int block = PlainCSVReader::block;
    QByteArray contents(block * (1 + below(random, 3)) + below(random, 9) - 4, 'x');
    for (int count = below(random, 30); count > 0; --count) {
        int position = below(random, contents.size());
        if (below(random, 3) > 0)
            position = position / block * block + below(random, 40) - 20;
        static const QByteArray bytes("\n\n\n,,\r 1\0\0", 10);
        if (position >= 0 && position < contents.size())
            contents[position] = bytes[below(random, bytes.size())];
    }
    return contents;
}

static QByteArray fileOfBytes(Random &random)
{
    QByteArray contents(below(random, 50 * 1000), '\0');
    const int least = below(random, 2); // with zero bytes or without
    for (char &byte : contents)
        byte = char(least + below(random, 256 - least));
    return contents;
}

/// Larger than what is read in one go.
static QByteArray largeFile(Random &random)
{
    const int longest = below(random, 4) == 0 ? 400 * 1000 : 2000;
    const bool hasZeros = below(random, 2) == 0;
    const int size = 300 * 1000 + below(random, 700 * 1000);
    QByteArray contents;
    while (contents.size() < size) {
        contents += QByteArray::number(below(random, 1000)) + "," +
                    QByteArray(below(random, longest), ' ') + "," +
                    QByteArray::number(below(random, 1000) / 8.0);
        if (hasZeros && below(random, 100) == 0)
            contents += '\0';
        contents += below(random, 5) == 0 ? "\r\n" : "\n";
    }
    return contents;
}

static bool isSame(double left, double right)
{
    return std::memcmp(&left, &right, sizeof left) == 0 || (std::isnan(left) && std::isnan(right));
}

static bool isSame(const QList<double> &left, const QList<double> &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](double a, double b) { return isSame(a, b); });
}

class tst_CSVReader_random : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersAsThePlainOneDoes_data()
    {
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<int>("files");
        QTest::addColumn<int>("calls"); // of each

#ifdef __SANITIZE_ADDRESS__
        const int share = 10;
#else
        const int share = 1;
#endif
        QTest::newRow("small files") << QByteArray("small") << 100 * 1000 / share << 8;
        QTest::newRow("files of some blocks") << QByteArray("blocks") << 2 * 1000 / share << 20;
        QTest::newRow("files of any bytes") << QByteArray("bytes") << 300 / share << 20;
        QTest::newRow("large files") << QByteArray("large") << 20 / share << 40;
    }

    void answersAsThePlainOneDoes()
    {
        QFETCH(QByteArray, kind);
        QFETCH(int, files);
        QFETCH(int, calls);
        const quint64 seed = std::random_device()();
        qInfo("seed %llu", seed);
        Random random(seed);
        // In memory, if there is such a place: a loaded disk takes its time for so many files.
        const QString memory = "/dev/shm";
        const QTemporaryDir folder((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                                   "/tst_CSVReader_random");
        CSVReader reader('\0');
        PlainCSVReader plain;

        for (int i = 0; i < files; ++i) {
            const QByteArray contents = kind == "small"    ? smallFile(random)
                                        : kind == "blocks" ? fileOfBlocks(random)
                                        : kind == "bytes"  ? fileOfBytes(random)
                                                           : largeFile(random);
            // A new one each time: some file systems wait for the disk when one is written over.
            const QString path = folder.filePath(QString::number(i));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(contents), qint64(contents.size()));
            file.close();
            if (below(random, 4) > 0) {
                // Settings of its own, else those of the file before.
                reader = CSVReader('\0');
                plain.delimiters.clear();
                plain.holeValue = 0.0;
                static const QByteArray sets[] = {",", ",", ", ", " \t;", "\r", ",\r", ""};
                for (const char delimiter : sets[below(random, 7)]) {
                    reader.addDelimiter(delimiter);
                    plain.addDelimiter(delimiter);
                }
            }
            Utils::Progress progress(0);
            QVERIFY(reader.read(path, &progress));
            QVERIFY(plain.read(QFile::encodeName(path).constData()));
            const QByteArray difference = compare(random, reader, plain, calls, progress.count());
            QVERIFY2(difference.isEmpty(), difference + " in file " + QByteArray::number(i) + ": " +
                                               contents.left(200).toPercentEncoding());
            QVERIFY(QFile::remove(path)); // both have it open
        }
    }

private:
    /// The call whose result differs, or "".
    static QByteArray compare(Random &random, CSVReader &reader, PlainCSVReader &plain, int calls,
                              int ticks)
    {
        if (reader.numRows() != plain.numRows() || ticks != plain.ticks)
            return "read";
        for (int i = 0; i < calls; ++i) {
            int row = below(random, plain.numRows() + 2) - 1;
            if (below(random, 3) == 0)
                row = plain.lastRowIndex + below(random, 3) - 1; // a neighbour
            const int col = below(random, 6) - 1;
            const int last = below(random, 6) - 1;
            const QByteArray place = QByteArray::number(row) + " " + QByteArray::number(col) + " " +
                                     QByteArray::number(last);
            bool isSameHere = true;
            const int call = below(random, 21);
            switch (call) {
            case 0:
                isSameHere = reader.data(row) == plain.data(row);
                break;
            case 1:
                isSameHere = reader.data(row, col) == plain.data(row, col);
                break;
            case 2:
                isSameHere = reader.rowData(row, col, last) == plain.rowData(row, col, last);
                break;
            case 3:
                isSameHere = reader.colData(col, row) == plain.colData(col, row);
                break;
            case 4:
                isSameHere = reader.dataD(row) == plain.texts(plain.data(row));
                break;
            case 5:
                isSameHere = reader.dataD(row, col) == plain.text(plain.data(row, col));
                break;
            case 6:
                isSameHere =
                    reader.rowDataD(row, col, last) == plain.texts(plain.rowData(row, col, last));
                break;
            case 7:
            case 8:
                isSameHere = reader.colDataD(col, row) == plain.texts(plain.colData(col, row));
                break;
            case 9:
                isSameHere = isSame(reader.dataValue(row), plain.values(plain.data(row)));
                break;
            case 10: {
                bool ok = false;
                bool plainOk = true;
                isSameHere = isSame(reader.dataValue(row, col, &ok),
                                    plain.value(plain.data(row, col), &plainOk)) &&
                             ok == plainOk;
                break;
            }
            case 11:
                isSameHere = isSame(reader.rowDataValue(row, col, last),
                                    plain.values(plain.rowData(row, col, last)));
                break;
            case 12:
            case 13:
                isSameHere =
                    isSame(reader.colDataValue(col, row), plain.values(plain.colData(col, row)));
                break;
            case 14:
                isSameHere = reader.numColumns(row) == plain.data(row).size();
                break;
            case 15:
                isSameHere = reader.hasHeader() == plain.hasHeader();
                break;
            case 16:
                isSameHere = reader.checksum(row) == plain.checksum(row);
                break;
            case 17:
                for (const int number : {-1, 0, 1, 2})
                    isSameHere &= reader.data(row + number) == plain.data(row + number);
                break;
            case 18:
                for (const int number : {2, 1, 0, -1})
                    isSameHere &= reader.data(row + number) == plain.data(row + number);
                break;
            case 19:
                if (below(random, 2) == 0) {
                    const char delimiter = ",; \tax"[below(random, 6)];
                    reader.addDelimiter(delimiter);
                    plain.addDelimiter(delimiter);
                }
                break;
            default:
                reader.setHoleValue(i);
                plain.holeValue = i;
                break;
            }
            if (!isSameHere)
                return "call " + QByteArray::number(call) + " of " + place + " with delimiters '" +
                       plain.delimiters.toPercentEncoding() + "'";
        }
        return QByteArray();
    }
};

QTEST_GUILESS_MAIN(tst_CSVReader_random)
#include "tst_CSVReader_random.moc"
