#include "utils/base/EncodingFinder_p.h"

#include "tests/support/Bytes.h"

#include <QtEndian>
#include <QtTest>

#include <vector>

using Utils::EncodingFinder;

/// \p units as UTF-16, little.
static QByteArray utf16(const std::vector<quint16> &units)
{
    QByteArray bytes;
    for (const quint16 unit : units) {
        char two[2];
        qToLittleEndian(unit, two);
        bytes.append(two, 2);
    }
    return bytes;
}

/// \p codes as UTF-32, big.
static QByteArray utf32(const std::vector<quint32> &codes)
{
    QByteArray bytes;
    for (const quint32 code : codes) {
        char four[4];
        qToBigEndian(code, four);
        bytes.append(four, 4);
    }
    return bytes;
}

static EncodingFinder::Result found(const QByteArray &bytes)
{
    EncodingFinder finder;
    finder.add(bytes.constData(), bytes.size());
    return finder.result();
}

class tst_EncodingFinder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsWhatIsNoText_data()
    {
        QTest::addColumn<quint32>("code");
        QTest::addColumn<bool>("isOfText");

        QTest::newRow("a letter") << quint32('x') << true;
        QTest::newRow("a tab") << quint32('\t') << true;
        QTest::newRow("a line feed") << quint32('\n') << true;
        QTest::newRow("a carriage return") << quint32('\r') << true;
        QTest::newRow("an escape") << quint32(0x1b) << true;
        QTest::newRow("a backspace") << quint32(0x08) << false;
        QTest::newRow("a shift") << quint32(0x0e) << false;
        QTest::newRow("the last control character of ASCII") << quint32(0x7f) << false;
        QTest::newRow("a turned byte order mark") << quint32(0xfffe) << false;
        QTest::newRow("the last code unit") << quint32(0xffff) << false;
    }

    void knowsWhatIsNoText()
    {
        QFETCH(quint32, code);
        QFETCH(bool, isOfText);

        const auto little = found(utf16({'a', 'b', 'c', quint16(code), 'd', 'e', 'f', 'g', 'h'}));
        const auto big = found(utf32({'a', 'b', code, 'c'}));

        QCOMPARE(little.name, QByteArray(isOfText ? "UTF-16LE" : code < 0x80 ? "UTF-8" : ""));
        QCOMPARE(big.name == "UTF-32BE", isOfText);
        QVERIFY(little.isGuess && big.isGuess);
    }

    void takesNoOtherNumbersForUtf32_data()
    {
        QTest::addColumn<quint32>("code");
        QTest::addColumn<bool>("isOfText");

        QTest::newRow("the last character") << quint32(0x10fffd) << true;
        QTest::newRow("beyond Unicode") << quint32(0x110000) << false;
        QTest::newRow("half a pair") << quint32(0xd800) << false;
        QTest::newRow("the other half") << quint32(0xdfff) << false;
    }

    void takesNoOtherNumbersForUtf32()
    {
        QFETCH(quint32, code);
        QFETCH(bool, isOfText);

        QCOMPARE(found(utf32({'a', code, 'b'})).name == "UTF-32BE", isOfText);
    }

    void findsPairsOfUtf16_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isFound");

        QTest::newRow("a pair") << utf16({'a', 0xd83d, 0xde00, 'b', 'c'}) << true;
        QTest::newRow("half a pair") << utf16({'a', 0xd83d, 'b', 'c', 'd'}) << false;
        QTest::newRow("the other half") << utf16({'a', 0xde00, 'b', 'c', 'd'}) << false;
    }

    void findsPairsOfUtf16()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isFound);

        QCOMPARE(found(bytes).name == "UTF-16LE", isFound);
    }

    void guessesUtf8AfterAnEscape()
    {
        EncodingFinder finder;

        QVERIFY(finder.add("plain", 5));
        QVERIFY(!finder.result().isGuess);
        QVERIFY(finder.add("\x1b[0m", 4));
        QVERIFY(finder.add("plain", 5));

        QCOMPARE(finder.result().name, QByteArray("UTF-8"));
        QVERIFY(finder.result().isGuess);
    }

    void isNotChangedByNoBytes()
    {
        EncodingFinder finder;

        QVERIFY(finder.add("", 0));
        QVERIFY(finder.add("\xff", 1)); // in the first bytes there may be zeros
        QVERIFY(finder.add("", 0));

        QCOMPARE(finder.result().name, QByteArray());
    }

    void findsSequencesOfUtf8InSingleBytes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isUtf8");

        QTest::newRow("two bytes") << QByteArray("a\xc3\xa4") << true;
        QTest::newRow("three bytes") << QByteArray("a\xe2\x82\xac") << true;
        QTest::newRow("four bytes") << QByteArray("a\xf0\x9f\x98\x80") << true;
        QTest::newRow("all of them") << QByteArray("\xf0\x9f\x98\x80\xe2\x82\xac\xc3\xa4") << true;
        QTest::newRow("none ends") << QByteArray("a\xc3") << false;
        QTest::newRow("one is too long") << QByteArray("\xc3\xa4\xa4") << false;
        QTest::newRow("one is cut off by ASCII") << QByteArray("\xe2\x82z") << false;
    }

    void findsSequencesOfUtf8InSingleBytes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isUtf8);
        EncodingFinder finder;

        for (const char &byte : bytes)
            finder.add(&byte, 1);

        QCOMPARE(finder.isUtf8(), isUtf8);
        QCOMPARE(finder.result().name, QByteArray(isUtf8 ? "UTF-8" : ""));
    }

    void skipsTheEndOfACharacterAfterAGap_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isUtf8");

        QTest::newRow("a whole character") << QByteArray("\xc3\xa4") << true;
        QTest::newRow("one byte") << QByteArray("\xa4 and \xc3\xa4") << true;
        QTest::newRow("two bytes") << QByteArray("\x82\xac and \xc3\xa4") << true;
        QTest::newRow("three bytes") << QByteArray("\x9f\x98\x80 and \xc3\xa4") << true;
        QTest::newRow("four bytes") << QByteArray("\x9f\x98\x80\x80 and \xc3\xa4") << false;
        QTest::newRow("nothing else") << QByteArray("\x98\x80") << true;
        QTest::newRow("only ASCII") << QByteArray("text") << true;
    }

    void skipsTheEndOfACharacterAfterAGap()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isUtf8);
        const QByteArray head(EncodingFinder::headSize, 'x');
        EncodingFinder finder;
        finder.add(head.constData(), head.size());

        finder.skip();
        finder.add(bytes.constData(), bytes.size());

        QCOMPARE(finder.result().name, QByteArray(isUtf8 ? "UTF-8" : ""));
        // Only once after each gap
        finder.add("\xa4", 1);
        QCOMPARE(finder.result().name, QByteArray());
    }

    void forgetsACharacterBeforeAGap()
    {
        const QByteArray head = QByteArray(EncodingFinder::headSize, 'x') + "\xe2\x82";
        EncodingFinder finder;
        finder.add(head.constData(), head.size());

        finder.skip();

        QCOMPARE(finder.result().name, QByteArray("UTF-8"));
    }
};

QTEST_GUILESS_MAIN(tst_EncodingFinder)
#include "tst_EncodingFinder.moc"
