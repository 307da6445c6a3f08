#include "utils/base/DecimalParse_p.h"

#include "tests/support/Qemu.h"

#include <QtTest>

#include <cstring>
#include <limits>
#include <random>

using Utils::parseDecimal;
using Utils::parseNumber;
using Utils::parseUtf8Number;

using Random = std::mt19937_64;

/// Value and success in one, to the last bit.
struct Outcome
{
    explicit Outcome(double value, bool isNumber) : ok(isNumber)
    {
        std::memcpy(&bits, &value, sizeof bits);
    }
    bool operator==(const Outcome &other) const { return bits == other.bits && ok == other.ok; }

    quint64 bits;
    bool ok;
};

template <typename Convert>
static Outcome outcome(const Convert &convert)
{
    bool ok = false;
    const double value = convert(&ok);
    bool opposite = true;
    convert(&opposite); // the initial flag must not matter
    return Outcome(value, ok && opposite);
}

/// "" when all forms return what Qt returns, else the form that does not.
static QByteArray difference(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes.constData(), bytes.size());
    const Outcome ofBytes = outcome([&](bool *ok) { return bytes.toDouble(ok); });
    const Outcome ofText = outcome([&](bool *ok) { return text.toDouble(ok); });
    // The bytes after the number must not matter.
    const QByteArray longer = bytes + "7e1";

    if (!(outcome([&](bool *ok) { return parseNumber(bytes, ok); }) == ofBytes))
        return "bytes " + bytes;
    if (!(outcome([&](bool *ok) { return parseNumber(longer.constData(), bytes.size(), ok); }) ==
          ofBytes))
        return "span of bytes " + bytes;
    if (!(outcome([&](bool *ok) { return parseNumber(text, ok); }) == ofText))
        return "text " + bytes;
    if (!(outcome([&](bool *ok) {
              return parseUtf8Number(longer.constData(), bytes.size(), ok);
          }) == ofText))
        return "UTF-8 " + bytes;
    // Nor those before it. parseDecimal() may leave a number to the other functions.
    const QByteArray bytesBehind = "9.8,7;-5e+43210." + bytes;
    const QString textBehind = QString::fromLatin1("9.8,7;-5e+43210.") + text;
    double value = 0.0;
    if (parseDecimal(bytesBehind.constEnd() - bytes.size(), bytesBehind.constEnd(), value) &&
        !(Outcome(value, true) == ofBytes))
        return "decimal " + bytes;
    if (parseDecimal(textBehind.constEnd() - text.size(), textBehind.constEnd(), value) &&
        !(Outcome(value, true) == ofText))
        return "decimal text " + bytes;
    return QByteArray();
}

static int below(Random &random, int count) { return int(random() % quint64(count)); }

static QByteArray digits(Random &random, int most)
{
    QByteArray text;
    for (int count = below(random, most + 1); count > 0; --count)
        text += char('0' + below(random, 10));
    return text;
}

static QByteArray decimal(Random &random, int most)
{
    QByteArray text = below(random, 3) == 0 ? "-" : "";
    text += digits(random, most);
    if (below(random, 4) > 0)
        text += "." + digits(random, most);
    if (below(random, 4) == 0) {
        static const char *const exponents[] = {"e", "E", "e+", "e-"};
        text += exponents[below(random, 4)] + digits(random, 3);
    }
    return text;
}

static QByteArray anyDouble(Random &random)
{
    const quint64 bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    static const int precisions[] = {6, 15, 16, 17, 20, 25};
    return QByteArray::number(value, 'g', precisions[below(random, 6)]);
}

/// Near the middle between two doubles, where rounding is decided by the last digit.
static QByteArray nearTie(Random &random)
{
    const quint64 odd = (quint64(1) << 53) + random() % (quint64(1) << 53) * 2 + 1;
    QByteArray text = QByteArray::number(odd);
    if (below(random, 2) == 0)
        text += "." + QByteArray(below(random, 30), '0') + (below(random, 2) ? "1" : "0");
    return text;
}

static QByteArray jumble(Random &random)
{
    static const QByteArray pieces = "00123456789..-+eE ,\tnaif\xc2\xa0x{";
    QByteArray text;
    for (int count = below(random, 9); count > 0; --count)
        text += pieces[below(random, pieces.size())];
    return text;
}

class tst_NumberParse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesWhatQtTakes_data()
    {
        QTest::addColumn<QByteArray>("text");

        // clang-format off
        const QList<QByteArray> texts = {
            "", "0", "-0", "-0.0", "+0", "1", "-1", "+1", "1.", ".5", "-.5", "-5.", ".", "-.", "-",
            "+", "--1", "-+1", "1-", "1.5.5", "1..5", "007", "-007.250", "1E5", "1e5", "1e+5",
            "1e-5", "1e", "1e+", "e5", ".e5", "1d5", "1 000", "1,000", "1,5", "1;5", "0x10", "0X1p3", "1p3",
            " 1", "1 ", "\t1\v", "1\n", "1\r\n", " ", "\t", " - 1", "inf", "-inf", "+inf", "INF",
            "Inf", "infinity", "nan", "NaN", "-nan", "nan(1)", " inf", "nan ", "1e400", "-1e400",
            "1e-400", "-1e-400", "1e308", "1.7976931348623157e308", "1.7976931348623158e308",
            "1.7976931348623159e308", "1.8e308", "2.2250738585072014e-308",
            "2.2250738585072011e-308", "4.9e-324", "5e-324", "2.4703282292062327e-324",
            "2.4703282292062328e-324", "1e-323", "9007199254740992", "9007199254740993",
            "9007199254740994", "-9007199254740993", "900719925474099.3", "90071992547409.925",
            "9007199254740993.0", "9007199254740992.5", "9007199254740993.00000000000000000001",
            "0.1", "0.2", "0.3", "123456789012345678", "999999999999999999", "0.12345678901234567",
            "0.000000000000000001", "1234567890123456789", "12345678901234567890",
            "0.3000000000000000166", "8.41750e5", "1e22", "1e23", "8.5e22", "2.074764871048294e+30", "0e0", "0e999999999",
            "1e999999999999", "1e-999999999999", "0.0000000000000000000000000000000000001",
            "1_000", "1'000", "1{mm}", "0b1", "true", "\xc2\xa0" "1", "1\xc2\xa0", "\xe2\x88\x92" "1",
            "\xd9\xa1", "\xc4\xb1", "1\xc4\xb1", "\xff" "1", "\xef\xbb\xbf" "1", "\xc3\xa4", "1\xc3",
        };
        // clang-format on
        for (const QByteArray &text : texts)
            QTest::newRow(text.toPercentEncoding(" +,;{}'()").constData()) << text;
        QTest::newRow("a zero byte after it") << QByteArray("1\0", 2);
        QTest::newRow("a zero byte before it") << QByteArray("\0001", 2);
        QTest::newRow("a zero byte after nan") << QByteArray("nan\0", 4);
        QTest::newRow("only a zero byte") << QByteArray(1, '\0');
        QTest::newRow("many digits") << QByteArray(5000, '7');
        QTest::newRow("many decimals") << "0." + QByteArray(5000, '3');
        QTest::newRow("many zeros") << QByteArray(5000, '0') + "1.5";
        QTest::newRow("many blanks") << QByteArray(5000, ' ') + "1.5";
        for (int length = 60; length < 70; ++length)
            QTest::addRow("%d characters", length) << "0." + QByteArray(length - 2, '4');
    }

    void takesWhatQtTakes()
    {
        QFETCH(QByteArray, text);

        QCOMPARE(difference(text), QByteArray());
    }

    void givesTheNumbersThatAreMeant()
    {
        bool ok = false;
        QCOMPARE(parseNumber(QByteArray("-12.75"), &ok), -12.75);
        QVERIFY(ok);
        QCOMPARE(parseNumber(QByteArray("abc"), &ok), 0.0);
        QVERIFY(!ok);
        QCOMPARE(parseNumber(QString("1e3"), &ok), 1000.0);
        QVERIFY(ok);
        QCOMPARE(parseNumber(QString("INF")), std::numeric_limits<double>::infinity());
        QCOMPARE(parseNumber(QByteArray("INF")), 0.0);
        QCOMPARE(parseUtf8Number("2.5,7", 3), 2.5);
        QCOMPARE(parseNumber("2.5,7", 5), 0.0);
        QCOMPARE(parseNumber("", 0), 0.0);
        QCOMPARE(parseNumber(nullptr, 0), 0.0);
        QCOMPARE(parseNumber(QString()), 0.0);
    }

    void takesShortDecimalsSixteenCharactersAtATime_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("expected");

        // clang-format off
        QTest::newRow("a digit") << "7" << 7.0;
        QTest::newRow("negative") << "-12.75" << -12.75;
        QTest::newRow("no digit at the start") << ".5" << 0.5;
        QTest::newRow("no digit after it") << "5." << 5.0;
        QTest::newRow("sixteen characters") << "12345678.1234567" << 12345678.1234567;
        QTest::newRow("sixteen and a sign") << "-1234567890123456" << -1234567890123456.0;
        QTest::newRow("the largest whole number") << "9007199254740992" << 9007199254740992.0;
        // clang-format on
    }

    void takesShortDecimalsSixteenCharactersAtATime()
    {
        QFETCH(QString, text);
        QFETCH(double, expected);
        const QString padded = "0123456789abcdef" + text;
        const QByteArray bytes = padded.toLatin1();
        double ofText = 0.0;
        double ofBytes = 0.0;

        QVERIFY(parseDecimal(padded.constEnd() - text.size(), padded.constEnd(), ofText));
        QVERIFY(parseDecimal(bytes.constEnd() - text.size(), bytes.constEnd(), ofBytes));

        QCOMPARE(ofText, expected);
        QCOMPARE(ofBytes, expected);
    }

    void agreesWithQtOnAnyText_data()
    {
        QTest::addColumn<int>("kind");

        QTest::newRow("short decimals") << 0;
        QTest::newRow("long decimals") << 1;
        QTest::newRow("any double") << 2;
        QTest::newRow("near ties") << 3;
        QTest::newRow("jumble") << 4;
    }

    void agreesWithQtOnAnyText()
    {
        QFETCH(int, kind);
#ifdef __SANITIZE_ADDRESS__
        const int count = 100 * 1000;
#else
        const int count = (isRunByQemu() ? 30 : 300) * 1000; // which is slow
#endif
        const quint64 seed = std::random_device()();
        qInfo("seed %llu", seed);
        Random random(seed);

        int numbers = 0;
        for (int i = 0; i < count; ++i) {
            const QByteArray text = kind == 0   ? decimal(random, 9)
                                    : kind == 1 ? decimal(random, 24)
                                    : kind == 2 ? anyDouble(random)
                                    : kind == 3 ? nearTie(random)
                                                : jumble(random);
            QCOMPARE(difference(text), QByteArray());
            bool ok = false;
            parseNumber(text, &ok);
            numbers += ok;
        }

        QVERIFY(numbers > count / 20); // it is numbers that were compared
    }
};

QTEST_GUILESS_MAIN(tst_NumberParse)
#include "tst_NumberParse.moc"
