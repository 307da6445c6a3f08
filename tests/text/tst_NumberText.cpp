#include "utils/text/NumberText_p.h"

#include "tests/support/Print.h"

#include <QtTest>

#include <limits>

using Data::String;
using Utils::numberText;

static const double infinity = std::numeric_limits<double>::infinity();
static const double notANumber = std::numeric_limits<double>::quiet_NaN();

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
};

QTEST_GUILESS_MAIN(tst_NumberText)
#include "tst_NumberText.moc"
