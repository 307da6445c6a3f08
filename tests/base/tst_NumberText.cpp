#include "utils/base/NumberText_p.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using Data::String;
using Utils::numberText;

static const double infinity = std::numeric_limits<double>::infinity();
static const double notANumber = std::numeric_limits<double>::quiet_NaN();
static const double largest = std::numeric_limits<double>::max();
static const double smallest = std::numeric_limits<double>::denorm_min();
static const double smallestNormal = std::numeric_limits<double>::min();

/// Says where the text of \p value, or of its negative, is not that of QString::number(), for
/// \p format and all of 1 to 17 digits; "" when it nowhere is.
static QString difference(double value, char format = 'g')
{
    for (int precision = 1; precision <= 17; ++precision) {
        for (const double signedValue : {value, -value}) {
            const QString expected = QString::number(signedValue, format, precision);
            const QString actual = numberText(signedValue, format, precision);
            if (actual != expected)
                return QString("%1 '%2' %3: %4, not %5")
                    .arg(QString::number(signedValue, 'g', 17), QString(format))
                    .arg(precision)
                    .arg(actual, expected);
        }
    }
    return {};
}

/// The same for six digits only.
static QString differenceInSix(double value)
{
    const QString expected = QString::number(value);
    const QString actual = numberText(value);
    return actual == expected ? QString() : QString("%1, not %2").arg(actual, expected);
}

class tst_NumberText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isInTheGeneralFormatWithSixDigits()
    {
        QCOMPARE(numberText(1234567.0), String("1.23457e+06"));
        QCOMPARE(numberText(0.1 + 0.2), String("0.3"));
        QCOMPARE(numberText(0.5, 'g'), String("0.5"));
    }

    void showsNumbersInTheCLocale_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("precision");
        QTest::addColumn<QString>("text");

        // clang-format off
        QTest::newRow("zero") << 0.0 << "g" << 6 << "0";
        QTest::newRow("minus zero has no sign") << -0.0 << "g" << 6 << "0";
        QTest::newRow("minus zero, fixed") << -0.0 << "f" << 2 << "0.00";
        QTest::newRow("a sign stays on what rounds to zero") << -0.0001 << "f" << 2 << "-0.00";
        QTest::newRow("largest whole number that is plain") << 999999.0 << "g" << 6 << "999999";
        QTest::newRow("smallest that is not") << 1000000.0 << "g" << 6 << "1e+06";
        QTest::newRow("negative") << -999999.0 << "g" << 6 << "-999999";
        QTest::newRow("rounds up into one digit more") << 999999.5 << "g" << 6 << "1e+06";
        QTest::newRow("rounds down below it") << 999999.4 << "g" << 6 << "999999";
        QTest::newRow("a tie goes away from zero") << 841752.5 << "g" << 6 << "841753";
        QTest::newRow("a negative tie, too") << -841752.5 << "g" << 6 << "-841753";
        QTest::newRow("a tie, fixed") << 2.5 << "f" << 0 << "3";
        QTest::newRow("a tie in the fraction") << 0.125 << "f" << 2 << "0.13";
        QTest::newRow("a tie in general") << 0.125 << "g" << 2 << "0.13";
        QTest::newRow("last one without exponent") << 0.0001 << "g" << 6 << "0.0001";
        QTest::newRow("first one with it") << 0.00001 << "g" << 6 << "1e-05";
        QTest::newRow("rounds up into having none") << 0.0000999999999 << "g" << 6 << "0.0001";
        QTest::newRow("exponent of three digits") << 1e100 << "g" << 6 << "1e+100";
        QTest::newRow("small exponent of three digits") << 1.5e-100 << "g" << 6 << "1.5e-100";
        QTest::newRow("no value is a number here") << 1e300 << "g" << 6 << "1e+300";
        QTest::newRow("capital") << 1e10 << "G" << 6 << "1E+10";
        QTest::newRow("exponent always") << 12.5 << "e" << 1 << "1.3e+01";
        QTest::newRow("precision 0 is 1") << 25.0 << "g" << 0 << "3e+01";
        QTest::newRow("precision below 0 is 6") << 1.23456789 << "g" << -1 << "1.23457";
        QTest::newRow("unknown format is fixed") << 1.5 << "x" << 3 << "1.500";
        QTest::newRow("not a number") << notANumber << "g" << 6 << "nan";
        QTest::newRow("infinity") << infinity << "g" << 6 << "inf";
        QTest::newRow("minus infinity") << -infinity << "g" << 6 << "-inf";
        QTest::newRow("17 digits") << 0.1 << "g" << 17 << "0.10000000000000001";
        // clang-format on
    }

    void showsNumbersInTheCLocale()
    {
        QFETCH(double, value);
        QFETCH(QString, format);
        QFETCH(int, precision);
        QFETCH(QString, text);

        const char formatCharacter = format.at(0).toLatin1();

        QCOMPARE(numberText(value, formatCharacter, precision), String(text));
        QCOMPARE(QString::number(value, formatCharacter, precision), text);
    }

    void isTheTextOfQtForSpecialNumbers()
    {
        for (const double value : {0.0,
                                   infinity,
                                   notANumber,
                                   largest,
                                   smallest,
                                   smallestNormal,
                                   1e300,
                                   0.5,
                                   1.5,
                                   2.5,
                                   0.1,
                                   0.3,
                                   9007199254740993.0,
                                   5e-324,
                                   9.5,
                                   99.5,
                                   999999.5,
                                   999999.4999,
                                   0.00099999995,
                                   4.35,
                                   1.005})
        {
            for (const char format : {'g', 'G', 'e', 'E', 'f', 'x', '\0'})
                QCOMPARE(difference(value, format), QString());
        }
        for (const int precision : {0, -1, -2, -128, 18, 25, 400, std::numeric_limits<int>::min()})
        {
            for (const double value : {0.0, 1.0, 0.1, 123456.0, 1234567.0, largest, smallest})
                QCOMPARE(numberText(value, 'g', precision),
                         String(QString::number(value, 'g', precision)));
        }
    }

    void isTheTextOfQtAroundPowersOfTen()
    {
        for (int exponent = -323; exponent <= 308; ++exponent) {
            const double power = QString("1e%1").arg(exponent).toDouble();
            for (const double value : {power, std::nextafter(power, 0.0),
                                       std::nextafter(power, infinity), power * 5, power * 9.5})
                QCOMPARE(difference(value), QString());
        }
    }

    void isTheTextOfQtAroundPowersOfTwo()
    {
        for (int exponent = -1074; exponent <= 1023; ++exponent) {
            const double power = std::ldexp(1.0, exponent);
            for (const double value :
                 {power, std::nextafter(power, 0.0), std::nextafter(power, infinity)})
                QCOMPARE(difference(value), QString());
        }
    }

    // Numbers whose digits end in a 5, which lies a little below, on or above it.
    void isTheTextOfQtAtAndBesideTies()
    {
        std::mt19937_64 random(1);
        for (int i = 0; i < 8000; ++i) {
            const int digits = 1 + static_cast<int>(random() % 16);
            qint64 mantissa = 0;
            for (int digit = 0; digit < digits; ++digit)
                mantissa = mantissa * 10 + static_cast<qint64>(random() % 10);
            const int exponent = static_cast<int>(random() % 40) - 25;
            const double value = QString("%15e%2").arg(mantissa).arg(exponent).toDouble();
            for (const double near :
                 {value, std::nextafter(value, 0.0), std::nextafter(value, infinity)})
                QCOMPARE(difference(near), QString());
        }
    }

    void isTheTextOfQtForWholeNumbers()
    {
        for (int value = -1000100; value <= 1000100; value += value % 997 == 0 ? 1 : 7)
            QCOMPARE(differenceInSix(value), QString());
        for (int value = 999900; value <= 1000100; ++value)
            QCOMPARE(difference(value), QString());
    }

    void isTheTextOfQtForRandomNumbers()
    {
        std::mt19937_64 random(2);
        for (int i = 0; i < 40000; ++i) {
            const quint64 bits = random();
            double value = 0.0; // any there is, subnormal, infinite and no number included
            std::memcpy(&value, &bits, sizeof(value));
            const double common = static_cast<double>(random() % 2000000) / 1000.0 - 1000.0;
            const double unit = std::ldexp(static_cast<double>(random() >> 11), -53);
            const double subnormal = smallest * static_cast<double>(random() >> (12 + i % 52));
            const double decimal =
                static_cast<double>(random() % 100000000) / std::pow(10.0, i % 12);
            const int precision = 1 + i % 17;
            for (const double number : {value, common, unit, subnormal, decimal}) {
                QCOMPARE(differenceInSix(number), QString());
                QCOMPARE(numberText(number, 'g', precision),
                         String(QString::number(number, 'g', precision)));
            }
        }
    }

    void bearsMoreDigitsThanMemoryHolds()
    {
        const int most = std::numeric_limits<int>::max();

        QCOMPARE(numberText(0.1, 'f', most).size(), 2 + Utils::mostDigits);
        QCOMPARE(numberText(0.5, 'g', most), String("0.5"));
        QCOMPARE(numberText(0.1, 'f', Utils::mostDigits),
                 String(QString::number(0.1, 'f', Utils::mostDigits)));
    }
};

QTEST_GUILESS_MAIN(tst_NumberText)
#include "tst_NumberText.moc"
