#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/tagfile/PlainTagFile.h"
#include "tests/tagfile/Tags.h"
#include "utils/tagfile/TagFile.h"
#include "utils/tagfile/TagReader_p.h"

#include <QBuffer>
#include <QTextStream>
#include <QtTest>

#include <algorithm>
#include <random>

using Utils::TagFile;
using Utils::TagList;

// Files of random lines, read and written by the library and by the plain code of the tests. Every
// file has a seed of its own, which a failure shows.

// The sanitizers make everything slow.
#if defined(__SANITIZE_ADDRESS__)
static constexpr int filesPerRow = 2500;
#else
static constexpr int filesPerRow = 25000;
#endif

/// Numbers that are the same on every machine, as those of the library's distributions are not.
class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    int below(int count) { return static_cast<int>(m_engine() % static_cast<unsigned int>(count)); }
    bool oneIn(int count) { return below(count) == 0; }

private:
    std::mt19937 m_engine;
};

using Pieces = QByteArrayList;

static Pieces ordinaryPieces()
{
    return {"*",        "*a",      "*bc",    "*a\n",      "$",
            "$ c",      "$:2",     "k",      "key",       "k: ",
            "k: v",     "a: b: c", ": ",     ":",         "k:",
            "k:1\n",    "k:2\n",   "k:3\n",  "k:x",       "k:-2",
            "\n",       "\n",      "\n",     "\n",        "\n\n",
            "\r\n",     "\r\n",    "\r",     "\\:",       "\\",
            "a\\:b: c", "*COLON*", "*COLON", "COLON*",    " ",
            "  ",       "\t",      "NONE",   "k: NONE\n", "yes",
            "1",        "22",      "%1",     "\xc3\xa4",  "\xf0\x9d\x84\x9e"};
}

/// With bytes that are no UTF-8, or only with others.
static Pieces brokenPieces()
{
    return ordinaryPieces() + Pieces{QByteArray(1, '\0'),
                                     QByteArray("\0\n", 2),
                                     "\xef\xbb\xbf",
                                     "\xef\xbb",
                                     "\xef",
                                     "\xbb\xbf",
                                     "\xc3",
                                     "\x80",
                                     "\xe4\xb8",
                                     "\xf0\x9d\x84",
                                     "\xf0\x9d",
                                     "\xff",
                                     "\xfe",
                                     "\xff\xfe",
                                     "\xed\xa0\x80",
                                     "\xc0\x80",
                                     "\xf5\x80\x80\x80",
                                     "\xe2\x80\xa8",
                                     "\x0b",
                                     "\x0c",
                                     "\xef\xbf\xbe"};
}

static QByteArray randomText(Random &random, const Pieces &pieces, int maxPieces)
{
    QByteArray text;
    for (int left = random.below(maxPieces + 1); left > 0; --left)
        text += pieces[random.below(pieces.size())];
    return text;
}

static int randomOptions(Random &random) { return random.below(64); }

static bool isAlike(const PlainTags &some, const PlainTags &others)
{
    return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                      [](const auto &one, const auto &other) {
                          return one->line == other->line && one->name == other->name &&
                                 one->comment == other->comment && one->keys == other->keys &&
                                 one->values == other->values;
                      });
}

static QStringList shown(const PlainTags &tags)
{
    QStringList texts;
    for (const auto &tag : tags)
        texts.append(describe(*tag));
    return texts;
}

class tst_TagFile_random : public QObject
{
    Q_OBJECT

private:
    /// Whether the library reads \p content as the plain code does, from a device and from a
    /// stream.
    static bool readsAlike(const QByteArray &content, int options, int maxLineLength)
    {
        QTextStream plainStream(content);
        plainStream.setCodec("UTF-8");
        PlainTags plain;
        readPlainly(plainStream, options, plain, maxLineLength);

        QTextStream stream(content);
        stream.setCodec("UTF-8");
        TagList fromStream;
        Utils::readTags(stream, options, fromStream, maxLineLength);

        QBuffer device;
        device.setData(content);
        device.open(QIODevice::ReadOnly);
        TagList fromDevice;
        Utils::readTags(device, options, fromDevice, maxLineLength);

        if (isAlike(fromStream, plain) && isAlike(fromDevice, plain))
            return true;
        qDebug() << "content" << content.right(300).toPercentEncoding("*$:\\ \n");
        qDebug() << "plain" << shown(plain);
        qDebug() << "from the stream" << shown(fromStream);
        qDebug() << "from the device" << shown(fromDevice);
        return false;
    }

private Q_SLOTS:
    void readsWhatThePlainReaderReads_data()
    {
        QTest::addColumn<unsigned int>("seed");
        QTest::addColumn<QByteArrayList>("pieces");
        QTest::addColumn<QByteArrayList>("starts");
        QTest::addColumn<bool>("cut"); // lines that are longer than a few characters

        const Pieces none = {""};
        const Pieces marks = {"",
                              "\xef\xbb\xbf",
                              "\xff\xfe",
                              "\xfe\xff",
                              QByteArray("\xff\xfe\0\0", 4),
                              QByteArray("\0\0\xfe\xff", 4),
                              "\xef",
                              "\xef\xbb"};
        QTest::newRow("text") << 1000000u << ordinaryPieces() << none << false;
        QTest::newRow("broken text") << 2000000u << brokenPieces() << none << false;
        QTest::newRow("marks at the start") << 3000000u << brokenPieces() << marks << false;
        QTest::newRow("long lines") << 4000000u << brokenPieces() << marks << true;
    }

    void readsWhatThePlainReaderReads()
    {
        QFETCH(unsigned int, seed);
        QFETCH(QByteArrayList, pieces);
        QFETCH(QByteArrayList, starts);
        QFETCH(bool, cut);

        for (int i = 0; i < filesPerRow; ++i, ++seed) {
            Random random(seed);
            QByteArray content = starts[random.below(starts.size())];
            if (random.oneIn(2))
                content += "*t\n";
            content += randomText(random, pieces, 40);
            const int maxLineLength = cut ? 1 + random.below(6) : Utils::maxTagLineLength;

            QVERIFY2(readsAlike(content, randomOptions(random), maxLineLength),
                     qPrintable(QString("seed %1").arg(seed)));
        }
    }

    // A stream reads and decodes blocks of 16384 bytes, and what is cut between two of them is not
    // always what it is elsewhere.
    void readsWhatThePlainReaderReadsBetweenBlocks_data()
    {
        QTest::addColumn<unsigned int>("seed");
        QTest::addColumn<QByteArray>("filler");

        // clang-format off
        QTest::newRow("after one line") << 5000000u << QByteArray("x");
        QTest::newRow("after many lines") << 6000000u << "*t\nkey: " + QByteArray(300, 'v') + "\n";
        QTest::newRow("after text beyond ASCII") << 7000000u << "k: " + QByteArray("\xc3\xa4").repeated(100) + "\n";
        // clang-format on
    }

    void readsWhatThePlainReaderReadsBetweenBlocks()
    {
        QFETCH(unsigned int, seed);
        QFETCH(QByteArray, filler);
        const Pieces pieces = brokenPieces();
        const QByteArray block = "*t\n" + filler.repeated(2 * 16384 / filler.size() + 1);

        for (int i = 0; i < filesPerRow / 20; ++i, ++seed) {
            Random random(seed);
            const int blocks = 1 + random.below(2);
            const QByteArray content =
                block.left(blocks * 16384 - random.below(30)) + randomText(random, pieces, 20);

            QVERIFY2(readsAlike(content, randomOptions(random), Utils::maxTagLineLength),
                     qPrintable(QString("seed %1").arg(seed)));
        }
    }

    void readsFilesAsThePlainReaderDoes()
    {
        const QTemporaryDir folder;
        unsigned int seed = 8000000;
        for (int i = 0; i < filesPerRow / 50; ++i, ++seed) {
            Random random(seed);
            QFile::remove(folder.filePath("a")); // faster than to replace it
            const QString path =
                makeFile(folder.filePath("a"), randomText(random, brokenPieces(), 40));
            const int options = randomOptions(random);
            QFile plainFile(path);
            QVERIFY(plainFile.open(QIODevice::ReadOnly));
            QTextStream plainStream(&plainFile);
            plainStream.setCodec("UTF-8");
            PlainTags plain;
            readPlainly(plainStream, options, plain);

            TagFile file;
            file.setOption(-1, false);
            file.setOption(options, true);
            Data::String error;
            QVERIFY(file.read(path, error));

            QVERIFY2(describe(file) == shown(plain), qPrintable(QString("seed %1").arg(seed)));
        }
    }

    void writesWhatThePlainWriterWrites()
    {
        const QTemporaryDir folder;
        const QStringList texts = {"",
                                   "a",
                                   "k:",
                                   ":",
                                   "true",
                                   "false",
                                   "NONE",
                                   "\n",
                                   "a\nb",
                                   "\r\n",
                                   "$",
                                   "$c",
                                   "*",
                                   "\\:",
                                   "ä",
                                   "𝄞",
                                   "€",
                                   "%1",
                                   "*COLON*",
                                   " ",
                                   "yes",
                                   QString(QChar(0)),
                                   QString(QChar(0xd834)),
                                   QString(QChar(0xdd1e)),
                                   QString(QChar(0xfeff)),
                                   QString(QChar(0xffff)),
                                   QString(20000, 'x'),
                                   QString(70000, 'x'),
                                   QString(30000, QChar(0x20ac))};
        const int ordinary = texts.size() - 3;
        unsigned int seed = 9000000;
        for (int i = 0; i < filesPerRow / 5; ++i, ++seed) {
            Random random(seed);
            const auto randomText = [&] {
                QString text = texts[random.below(random.oneIn(500) ? texts.size() : ordinary)];
                while (random.oneIn(2))
                    text += texts[random.below(ordinary)];
                return text;
            };
            TagFile file;
            file.setOption(-1, false);
            file.setOption(randomOptions(random), true);
            PlainTags plain;
            for (int tags = random.below(6); tags > 0; --tags) {
                TagFile::Tag &tag = file.addTag(randomText(), random.oneIn(2) ? randomText() : "");
                for (int properties = random.below(5); properties > 0; --properties)
                    tag.add(randomText(), Data::String(randomText()));
                plain.push_back(std::make_unique<TagFile::Tag>(tag));
            }
            QByteArray expected;
            QString expectedText;
            {
                QTextStream stream(&expected);
                stream.setCodec("UTF-8");
                writePlainly(stream, file.options(), plain);
                QTextStream textStream(&expectedText);
                writePlainly(textStream, file.options(), plain);
            }

            const QString path = folder.filePath("a");
            QFile::remove(path); // some systems write a file out at once when it replaces another
            Data::String error;
            const bool isSaved = file.save(path, error);
            QFile saved(path);
            const bool isSame = isSaved && saved.open(QIODevice::ReadOnly) &&
                                saved.readAll() == expected && file.toString() == expectedText;

            QVERIFY2(isSame, qPrintable(QString("seed %1").arg(seed)));
        }
    }

    void writesManyTextsAsThePlainWriterDoes()
    {
        const QTemporaryDir folder;
        Random random(1);
        TagFile file;
        PlainTags plain;
        for (int i = 0; i < 3000; ++i) {
            TagFile::Tag &tag = file.addTag(QString(1 + random.below(40), 'n'), "");
            for (int properties = random.below(30); properties > 0; --properties) {
                const QString key(random.below(20), random.oneIn(50) ? ':' : 'k');
                const QString value(random.below(30), random.oneIn(50) ? QChar(0xe4) : 'v');
                tag.add(key, Data::String(value));
            }
            plain.push_back(std::make_unique<TagFile::Tag>(tag));
        }
        QByteArray expected;
        {
            QTextStream stream(&expected);
            stream.setCodec("UTF-8");
            writePlainly(stream, file.options(), plain);
        }
        Data::String error;

        QVERIFY(file.save(folder.filePath("a"), error));

        QFile saved(folder.filePath("a"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QVERIFY(saved.readAll() == expected);
        QVERIFY(file.toString() == Data::String(QString::fromUtf8(expected)));
    }

    // What ends a block and a line at once is rare in random text.
    void readsTheEndsOfBlocksAsAStreamDoes_data()
    {
        QTest::addColumn<QByteArray>("end"); // its first byte is the last of the first block
        QTest::addColumn<QByteArray>("filler");

        const QByteArray ascii = "x";
        const QByteArray beyond = "x\xc3\xa4";
        const auto row = [&](const char *name, const QByteArray &end) {
            QTest::newRow(name) << end << ascii;
            QTest::newRow(qPrintable(QString(name) + ", beyond ASCII")) << end << beyond;
        };
        row("a cut sequence after the block", "\n\xe4\xb8");
        row("a cut sequence across", "\xe4\xb8");
        row("a whole sequence across", "\xc3\xa4\n*b\nx: 1");
        row("a broken sequence across", "\xe4\x41\xb8\n*b\nx: 1");
        row("CR LF across", "\r\n*b\nx: 1");
        row("CR across", "\rx\n*b\nx: 1");
        row("CR at the end", "\r");
        row("CR at the end", "x\r");
        row("a mark later", "x\xef\xbb\xbfk: 1\n");
        row("a mark across", "\xef\xbb\xbfk: 1\n");
        row("a mark at the start of a line", "\n\xef\xbb\xbfk: 1\n");
        row("an escape across", "\\:k: 1\n");
        row("a tag after it", "\n*b\n");
        row("a tag after it, with a cut sequence", "\n*b\n\xe4");
    }

    void cutsLongLinesAsAStreamDoes()
    {
        // A CR at the end of a piece goes when the device has nothing more, and stays before.
        const QByteArray content = "*t\nk:99999\n" + QByteArray("aaa\r").repeated(10000);

        for (const int maxLineLength : {8, 12, 13})
            QVERIFY(readsAlike(content, 0, maxLineLength));
    }

    void readsTheEndsOfBlocksAsAStreamDoes()
    {
        QFETCH(QByteArray, end);
        QFETCH(QByteArray, filler);
        const QByteArray start = "*t\nk: ";
        const QByteArray whole = start + filler.repeated(16384);
        const QByteArray block = whole.left(16383);

        QVERIFY(readsAlike(block + end, 0, Utils::maxTagLineLength));
        QVERIFY(readsAlike(block.left(16372) + "\nk: *COLON" + end, 0, Utils::maxTagLineLength));
        QVERIFY(readsAlike(block.left(16376) + "\n*c\n*c\n" + end, 0, Utils::maxTagLineLength));
    }
};

QTEST_GUILESS_MAIN(tst_TagFile_random)
#include "tst_TagFile_random.moc"
