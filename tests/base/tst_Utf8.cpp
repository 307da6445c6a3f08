#include "utils/base/Utf8_p.h"

#include <QTextCodec>
#include <QtTest>

#include <random>

/// The state of a decoding: how many bytes were taken, whether they went on validly, and the text.
struct Decoded
{
    int taken;
    bool isValid;
    QString text;
};

/// Whether \p bytes are valid when they come in pieces of \p pieceSize bytes.
static bool isValidInPieces(const QByteArray &bytes, int pieceSize)
{
    Utils::Utf8Validator validator(bytes.constData());
    for (int end = pieceSize; end < bytes.size(); end += pieceSize)
        validator.advance(bytes.constData() + end);
    return validator.finish(bytes.constData() + bytes.size());
}

static Decoded decode(const QByteArray &bytes)
{
    QString text(bytes.size(), QChar('?')); // as much room as is asked for, and no more
    const char *source = bytes.constData();
    QChar *target = text.data();
    const bool isValid = Utils::decodeUtf8(source, bytes.constData() + bytes.size(), target);
    text.resize(static_cast<int>(target - text.constData()));
    const bool isWhole = isValid && source == bytes.constData() + bytes.size();
    // At some distance from the start, too: several bytes are checked at once.
    static int distance = 0;
    distance = distance % 70 + 1;
    const QByteArray moved = QByteArray(distance, 'x') + bytes;
    if (Utils::isValidUtf8(bytes.constData(), bytes.constData() + bytes.size()) != isWhole ||
        Utils::isValidUtf8(moved.constData(), moved.constData() + moved.size()) != isWhole ||
        Utils::isValidUtf8Plainly(moved.constData(), moved.constData() + moved.size()) != isWhole ||
        isValidInPieces(moved, 1 + distance % 67) != isWhole)
        qFatal("taken for valid or invalid: %s", bytes.toHex().constData());
    return {static_cast<int>(source - bytes.constData()), isValid, text};
}

/// Whether Qt takes all of \p bytes for valid UTF-8.
static bool isValid(const QByteArray &bytes)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

class tst_Utf8 : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesEachCodePoint()
    {
        for (uint code = 0; code <= 0x10ffff; ++code) {
            if (QChar::isSurrogate(code))
                continue;
            const QString text = QString::fromUcs4(&code, 1);
            const QByteArray bytes = text.toUtf8();

            const Decoded result = decode(bytes);

            if (!result.isValid || result.taken != bytes.size() || result.text != text)
                QFAIL(qPrintable(QString::number(code, 16)));
        }
    }

    void acceptsOfTwoAndThreeBytesWhatIsValid()
    {
        for (int first = 0x80; first < 0x100; ++first) {
            for (int second = 0; second < 0x100; ++second) {
                for (const char *third : {"", "a", "\x7f", "\x80", "\xbf", "\xc0"}) {
                    const QByteArray bytes = QByteArray(1, char(first)) + char(second) + third;

                    const Decoded result = decode(bytes);

                    if ((result.isValid && result.taken == bytes.size()) != isValid(bytes))
                        QFAIL(bytes.toHex());
                }
            }
        }
    }

    void acceptsOfFourBytesWhatIsValid()
    {
        for (int first = 0xef; first < 0x100; ++first) {
            for (int second = 0x7f; second <= 0xc0; ++second) {
                for (const char *rest : {"\x80\x80", "\xbf\xbf", "\x80\x7f", "\x7f\x80", "\xc0\x80",
                                         "\x80\xc0", "\x80", ""})
                {
                    const QByteArray bytes = QByteArray(1, char(first)) + char(second) + rest;

                    const Decoded result = decode(bytes);

                    if ((result.isValid && result.taken == bytes.size()) != isValid(bytes))
                        QFAIL(bytes.toHex());
                }
            }
        }
    }

    void stopsInFrontOfWhatIsInvalidOrCutOff_data()
    {
        QTest::addColumn<QByteArray>("sequence");
        QTest::addColumn<bool>("isCutOff");

        QTest::newRow("invalid") << QByteArray("\x80") << false;
        QTest::newRow("invalid, further on") << QByteArray("\xe2\x82z") << false;
        QTest::newRow("cut off after one byte") << QByteArray("\xf0") << true;
        QTest::newRow("cut off after two bytes") << QByteArray("\xe2\x82") << true;
        QTest::newRow("cut off after three bytes") << QByteArray("\xf0\x9f\x98") << true;
    }

    void stopsInFrontOfWhatIsInvalidOrCutOff()
    {
        QFETCH(QByteArray, sequence);
        QFETCH(bool, isCutOff);
        for (int before = 0; before < 40; ++before) {
            for (const char *unit : {"x", "\xc3\xa4"}) {
                const QByteArray valid = QByteArray(unit).repeated(before);

                const Decoded result = decode(valid + sequence);

                QCOMPARE(result.taken, valid.size());
                QCOMPARE(result.isValid, isCutOff);
                QCOMPARE(result.text, QString::fromUtf8(valid));
            }
        }
    }

    void decodesAnyMixture()
    {
        static const char *const pieces[] = {"a", "some words of ASCII", "\xc3\xa4", "\xe2\x82\xac",
                                             "\xf0\x9f\x98\x80"};
        std::mt19937 random(1);
        for (int i = 0; i < 2000; ++i) {
            QByteArray bytes;
            for (int piece = 0; piece < 30; ++piece)
                bytes += pieces[random() % std::size(pieces)];

            const Decoded result = decode(bytes);

            QVERIFY(result.isValid);
            QCOMPARE(result.taken, bytes.size());
            QCOMPARE(result.text, QString::fromUtf8(bytes));
        }
    }

    void decodesZeroBytesAndMarksAsText()
    {
        const QByteArray bytes("\0\xef\xbb\xbf\0", 5);

        QCOMPARE(decode(bytes).text, QString(QChar(0)) + QChar(0xfeff) + QChar(0));
    }
};

QTEST_APPLESS_MAIN(tst_Utf8)
#include "tst_Utf8.moc"
